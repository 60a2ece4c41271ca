// Command-line options of qvt-stream, parsed apart from any headset so that
// they can be checked on their own.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace QVT::Stream {

struct Options {
  std::string port = "DEFAULT";   // "DEFAULT": the port named by QVTSerialPort
  double seconds = 10.0;          // how long to stream
  double impedanceSeconds = 0.0;  // 0: impedances are not measured
  double goodBelowKOhm = 10.0;    // impedances below this are marked good
  int verbosity = 2;              // level of library messages shown on stderr
  bool help = false;
  bool version = false;
};

// A bad command line; what() is one line for the user.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Parses the arguments that follow the program name; accepts "--name VALUE"
// and "--name=VALUE". Throws UsageError.
Options ParseOptions(const std::vector<std::string>& arguments);

// The text printed by --help.
std::string UsageText();

}  // namespace QVT::Stream
