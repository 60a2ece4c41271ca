// The one command-line convention of the qvt programs, over CLI11: short and
// long options, --help and --version everywhere, -v/--verbose (repeatable)
// and --log-level, --port, --seconds and --impedance with the same meaning
// wherever a program has them, exit statuses listed in the help, and a man
// page written from the same option table (the hidden --man).
#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "ExitStatus.h"
#include "ManPage.h"

namespace QVT::Tools {

// A bad command line; what() is one line for the user.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The impedance estimates average over this much signal (the library's
// default, which the programs keep): a shorter check reads low.
inline constexpr double kImpedanceAveragingSeconds = 1.0;

class CommandLine {
 public:
  explicit CommandLine(ProgramText text);
  CommandLine(const CommandLine&) = delete;
  CommandLine& operator=(const CommandLine&) = delete;

  // The program's own options are added here.
  CLI::App& App() { return app; }

  // --port/-p: a serial device, or "auto" (ResolvePort); the default
  // "DEFAULT" means the device the QVTSerialPort environment variable names.
  CLI::Option* AddPort(std::string& port);
  // --seconds/-s: how long, 0 (the default) until Ctrl-C.
  CLI::Option* AddSeconds(double& seconds, const std::string& what);
  // --impedance/-i: seconds of impedance check first; 0 for none, else at
  // least the averaging time.
  CLI::Option* AddImpedance(double& seconds);
  // -v/--verbose raises the level of library messages shown on stderr by one
  // from `level`'s value; --log-level sets it.
  void AddVerbosity(int& level);
  // Everything after the first "--" is a command for the program to run.
  void TakeCommandAfterDashes(std::vector<std::string>& command);

  // Parses the arguments after the program name. Returns the text to print
  // before exiting with status 0 (--help, --version, --man), or nothing when
  // the program should run. Throws UsageError.
  std::optional<std::string> Parse(std::vector<std::string> arguments);

  // For main(): parses argv, prints what --help and the like ask for or a
  // bad command line's one-line error, and returns the status to exit with,
  // or nothing when the program should run.
  std::optional<int> ParseOrExit(int argc, char** argv);

  std::string Help() const;
  std::string ManPage() const;

 private:
  ProgramText text;
  CLI::App app;
  std::vector<std::string>* command = nullptr;
  std::string synopsisTail;
  int* verbosity = nullptr;
  int verboseCount = 0;
  int logLevel = -1;
};

// A CLI11 check that the value is a finite number within [lowest, highest].
CLI::Validator NumberFrom(double lowest, double highest);

}  // namespace QVT::Tools
