#include "CommandLine.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>

namespace QVT::Tools {

namespace {

constexpr double kWeek = 7 * 86400.0;
constexpr double kLongestImpedanceCheck = 600.0;
constexpr int kMostVerbose = 7;

// Ends parsing with a text to print: --help, --version, --man.
struct Finished {
  std::string text;
};

std::string Number(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%g", value);
  return text;
}

std::optional<double> ParseNumber(const std::string& text) {
  double value = 0.0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (text.empty() || error != std::errc() || stop != end || !std::isfinite(value)) return std::nullopt;
  return value;
}

// CLI11's messages may span lines; the user gets one.
std::string OneLine(std::string text) {
  std::replace(text.begin(), text.end(), '\n', ' ');
  while (!text.empty() && text.back() == ' ') text.pop_back();
  return text;
}

std::string ExitStatusText(const ProgramText& text) {
  std::string footer = "Exit status:\n";
  for (const auto& [status, meaning] : text.exitStatuses) {
    footer += "  " + status + std::string(status.size() < 5 ? 5 - status.size() : 1, ' ') + meaning + "\n";
  }
  if (!text.environment.empty()) footer += "\nEnvironment:\n  " + text.environment + "\n";
  return footer;
}

}  // namespace

CLI::Validator NumberFrom(double lowest, double highest) {
  return CLI::Validator(
      [lowest, highest](std::string& text) -> std::string {
        const std::optional<double> value = ParseNumber(text);
        if (value && *value >= lowest && *value <= highest) return "";
        return "needs a number from " + Number(lowest) + " to " + Number(highest) + ", not '" + text + "'";
      },
      "");
}

CommandLine::CommandLine(ProgramText programText) : text(std::move(programText)), app(text.description + "\n", text.name) {
  // Flags that end parsing come first: their callbacks run before any other
  // option's check, so that --help shows help whatever else is wrong.
  app.set_help_flag();
  app.add_flag_callback("-h,--help", [this] { throw Finished{Help()}; }, "show this help and exit");
  app.add_flag_callback("-V,--version", [this] { throw Finished{text.version + "\n"}; },
                        "show the version and exit");
  app.add_flag_callback("--man", [this] { throw Finished{ManPage()}; }, "write the man page in roff")->group("");
  app.footer(ExitStatusText(text));
}

CLI::Option* CommandLine::AddPort(std::string& port) {
  return app
      .add_option("-p,--port", port, "serial device of the headset, or auto for the one headset qvt-doctor finds "
                   "(default: the one QVTSerialPort names)")
      ->type_name("PORT")
      ->check(CLI::Validator([](std::string& value) { return value.empty() ? "needs a device" : ""; }, ""));
}

CLI::Option* CommandLine::AddSeconds(double& seconds, const std::string& what) {
  return app.add_option("-s,--seconds", seconds, what + "; 0 or absent: until Ctrl-C")
      ->type_name("SECONDS")
      ->check(NumberFrom(0.0, kWeek));
}

CLI::Option* CommandLine::AddImpedance(double& seconds) {
  return app
      .add_option("-i,--impedance", seconds,
                  "measure electrode impedances for SECONDS first, at least " +
                      Number(kImpedanceAveragingSeconds) + " (the averaging time); 0: no check")
      ->type_name("SECONDS")
      ->check(CLI::Validator(
          [](std::string& value) -> std::string {
            const std::optional<double> number = ParseNumber(value);
            if (number && (*number == 0.0 || (*number >= kImpedanceAveragingSeconds &&
                                                *number <= kLongestImpedanceCheck)))
              return "";
            return "needs 0 (no check) or " + Number(kImpedanceAveragingSeconds) + " to " +
                   Number(kLongestImpedanceCheck) +
                   " seconds: a shorter check than the impedance averaging time reads low, not '" + value +
                   "'";
          },
          ""));
}

void CommandLine::AddVerbosity(int& level) {
  verbosity = &level;
  app.add_flag("-v,--verbose", verboseCount,
               "show more of the library's messages on stderr; repeatable (from level " +
                   std::to_string(level) + ")");
  app.add_option("--log-level", logLevel, "show the library's messages up to LEVEL, 0 to 7")
      ->type_name("LEVEL")
      ->check(CLI::Validator(
          [](std::string& value) -> std::string {
            int number = -1;
            const char* end = value.data() + value.size();
            const auto [stop, error] = std::from_chars(value.data(), end, number);
            if (value.empty() || error != std::errc() || stop != end || number < 0 || number > kMostVerbose)
              return "needs a level from 0 to 7, not '" + value + "'";
            return "";
          },
          ""));
}

void CommandLine::TakeCommandAfterDashes(std::vector<std::string>& target) {
  command = &target;
  synopsisTail = "[-- COMMAND [ARGS...]]";
}

std::optional<std::string> CommandLine::Parse(std::vector<std::string> arguments) {
  if (command != nullptr) {
    if (const auto dashes = std::find(arguments.begin(), arguments.end(), "--"); dashes != arguments.end()) {
      command->assign(dashes + 1, arguments.end());
      arguments.erase(dashes, arguments.end());
    }
  }
  std::reverse(arguments.begin(), arguments.end());  // CLI11 takes them last first
  try {
    app.parse(arguments);
  } catch (Finished& finished) {
    return std::move(finished.text);
  } catch (const CLI::ParseError& error) {
    // A mistyped option is the mistake to report, not what it left missing.
    if (const std::vector<std::string> extra = app.remaining(); !extra.empty())
      throw UsageError((extra.front().rfind('-', 0) == 0 ? "unknown option '" : "unexpected argument '") +
                       extra.front() + "'");
    throw UsageError(OneLine(error.what()));
  }
  if (verbosity != nullptr)
    *verbosity = logLevel >= 0 ? logLevel : std::min(kMostVerbose, *verbosity + verboseCount);
  return std::nullopt;
}

std::optional<int> CommandLine::ParseOrExit(int argc, char** argv) {
  try {
    if (const std::optional<std::string> output = Parse(std::vector<std::string>(argv + 1, argv + argc))) {
      std::fputs(output->c_str(), stdout);
      return std::fflush(stdout) == 0 ? 0 : kRuntimeFailure;
    }
    return std::nullopt;
  } catch (const UsageError& error) {
    std::fprintf(stderr, "%s: %s (see --help)\n", text.name.c_str(), error.what());
    return kUsageFailure;
  }
}

std::string CommandLine::Help() const {
  std::string help = app.help();
  // CLI11's usage line knows nothing of what follows "--".
  if (const auto usage = help.find("Usage: "); usage != std::string::npos && !synopsisTail.empty())
    help.insert(help.find('\n', usage), " " + synopsisTail);
  return help;
}

std::string CommandLine::ManPage() const { return Tools::ManPage(app, text, synopsisTail); }

}  // namespace QVT::Tools
