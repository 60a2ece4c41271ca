#include "RecordOptions.h"

#include <charconv>
#include <cmath>
#include <optional>

namespace QVT::Record {

namespace {

double Number(const std::string& option, const std::string& text, double lowest, double highest) {
  double value = 0.0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (text.empty() || error != std::errc() || stop != end || !std::isfinite(value) || value < lowest ||
      value > highest)
    throw RecordUsageError(option + " needs a number from " + std::to_string(static_cast<long>(lowest)) +
                           " to " + std::to_string(static_cast<long>(highest)) + ", not '" + text + "'");
  return value;
}

bool EndsWith(const std::string& text, const std::string& tail) {
  return text.size() >= tail.size() && text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

}  // namespace

RecordOptions ParseRecordOptions(const std::vector<std::string>& arguments) {
  constexpr double kWeek = 7 * 86400.0;
  RecordOptions options;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    std::string name = arguments[i];
    if (name.rfind("--", 0) != 0) {
      if (!options.file.empty()) throw RecordUsageError("more than one file: '" + name + "'");
      options.file = name;
      continue;
    }
    std::optional<std::string> value;
    if (const auto equals = name.find('='); equals != std::string::npos) {
      value = name.substr(equals + 1);
      name.resize(equals);
    }
    const auto flag = [&](bool& target) {
      if (value) throw RecordUsageError(name + " takes no value");
      target = true;
    };
    const auto take = [&]() -> std::string {
      if (value) return *value;
      if (i + 1 >= arguments.size()) throw RecordUsageError(name + " needs a value");
      return arguments[++i];
    };
    if (name == "--help") {
      flag(options.help);
    } else if (name == "--version") {
      flag(options.version);
    } else if (name == "--reconnect") {
      flag(options.reconnect);
    } else if (name == "--port") {
      options.port = take();
      if (options.port.empty()) throw RecordUsageError("--port needs a device");
    } else if (name == "--seconds") {
      options.seconds = Number(name, take(), 0.0, kWeek);
    } else if (name == "--impedance") {
      options.impedanceSeconds = Number(name, take(), 0.0, 600.0);
    } else if (name == "--subject") {
      options.subject = take();
    } else if (name == "--verbose") {
      options.verbosity = static_cast<int>(Number(name, take(), 0.0, 7.0));
    } else if (name == "--slow-disk") {
      options.slowDiskSeconds = Number(name, take(), 0.0, 10.0);
    } else {
      throw RecordUsageError("unknown option '" + name + "'");
    }
  }
  if (!options.help && !options.version) {
    if (options.file.empty()) throw RecordUsageError("no file to record to");
    if (!EndsWith(options.file, ".bdf") && !EndsWith(options.file, ".BDF"))
      throw RecordUsageError("the file must end in .bdf, not '" + options.file + "'");
  }
  return options;
}

std::string RecordUsageText() {
  return "Usage: qvt-record [OPTIONS] FILE.bdf\n"
         "\n"
         "Records a headset's montage channels, trigger and accelerometer to a BDF+ file\n"
         "(24-bit, opened by EDFbrowser, MNE and others), with triggers, lost samples, alarms,\n"
         "impedances and link losses as annotations.\n"
         "\n"
         "  --port PORT        serial device (default: the one QVTSerialPort names)\n"
         "  --seconds N        stop after N seconds of signal (default: at Ctrl-C)\n"
         "  --impedance N      measure impedances for N seconds first\n"
         "  --subject TEXT     the subject's name or code, for the file's header\n"
         "  --reconnect        when the link is lost, reconnect every 2 s and go on\n"
         "  --verbose LEVEL    library messages shown on stderr, 0 to 7 (default 2)\n"
         "  --slow-disk S      wait S seconds before writing each 0.1 s record (testing)\n"
         "  --help, --version\n";
}

}  // namespace QVT::Record
