#include "Options.h"

#include <charconv>
#include <cmath>
#include <limits>
#include <optional>

namespace QVT::Stream {

namespace {

double PositiveNumber(const std::string& option, const std::string& text, double largest) {
  double value = 0.0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (text.empty() || error != std::errc() || stop != end || !std::isfinite(value) || value <= 0.0 ||
      value > largest)
    throw UsageError(option + " needs a positive number of at most " +
                     std::to_string(static_cast<long>(largest)) + ", not '" + text + "'");
  return value;
}

int LevelNumber(const std::string& option, const std::string& text) {
  int value = -1;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (text.empty() || error != std::errc() || stop != end || value < 0 || value > 7)
    throw UsageError(option + " needs a level from 0 to 7, not '" + text + "'");
  return value;
}

}  // namespace

Options ParseOptions(const std::vector<std::string>& arguments) {
  // Durations are capped at a day: longer runs are mistakes, and the cap keeps
  // sample counts far from overflow.
  constexpr double kDay = 86400.0;
  Options options;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    std::string name = arguments[i];
    std::optional<std::string> value;
    if (name.rfind("--", 0) == 0) {
      if (const auto equals = name.find('='); equals != std::string::npos) {
        value = name.substr(equals + 1);
        name.resize(equals);
      }
    } else {
      throw UsageError("unexpected argument '" + name + "'");
    }
    if (name == "--help" || name == "--version") {
      if (value) throw UsageError(name + " takes no value");
      (name == "--help" ? options.help : options.version) = true;
      continue;
    }
    const bool known = name == "--port" || name == "--seconds" || name == "--impedance" ||
                       name == "--good-below" || name == "--verbose";
    if (!known) throw UsageError("unknown option '" + name + "'");
    if (!value) {
      if (i + 1 == arguments.size()) throw UsageError(name + " needs a value");
      value = arguments[++i];
    }
    if (name == "--port") {
      if (value->empty()) throw UsageError("--port needs a device name");
      options.port = *value;
    } else if (name == "--seconds") {
      options.seconds = PositiveNumber(name, *value, kDay);
    } else if (name == "--impedance") {
      options.impedanceSeconds = PositiveNumber(name, *value, kDay);
    } else if (name == "--good-below") {
      options.goodBelowKOhm = PositiveNumber(name, *value, std::numeric_limits<int>::max());
    } else {
      options.verbosity = LevelNumber(name, *value);
    }
  }
  return options;
}

std::string UsageText() {
  return "Usage: qvt-stream [OPTION]...\n"
         "Connects to a headset, prints what it reports about itself, optionally measures\n"
         "electrode impedances, streams its channels and prints per-channel statistics.\n"
         "\n"
         "  --port PORT          serial device (default: the QVTSerialPort environment variable)\n"
         "  --seconds N          stream for N seconds (default 10)\n"
         "  --impedance N        measure impedances for N seconds before streaming\n"
         "  --good-below KOHM    impedances below KOHM kOhm are good (default 10)\n"
         "  --verbose LEVEL      library messages up to LEVEL (0-7, default 2) on stderr\n"
         "  --help               show this help and exit\n"
         "  --version            show the program's and the library's versions and exit\n"
         "\n"
         "Ctrl-C ends streaming early; the statistics are still printed.\n"
         "Exit status: 0 on success, 1 when the headset fails, 2 for a bad command line.\n";
}

}  // namespace QVT::Stream
