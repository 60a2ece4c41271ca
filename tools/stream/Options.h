// Command-line options of qvt-stream, parsed apart from any headset so that
// they can be checked on their own.
#pragma once

#include <string>

#include "CommandLine.h"

namespace QVT::Stream {

struct Options {
  std::string port = "DEFAULT";   // "DEFAULT": the port named by QVTSerialPort
  double seconds = 0.0;           // how long to stream; 0: until Ctrl-C
  double impedanceSeconds = 0.0;  // 0: impedances are not measured
  double goodBelowKOhm = 10.0;    // impedances below this are marked good
  int verbosity = 1;  // level of library messages shown on stderr: no per-packet ones unless asked
};

Tools::ProgramText StreamProgramText(const std::string& version);

// The option table; `options` receives the values as the line is parsed.
void DeclareStreamOptions(Tools::CommandLine& line, Options& options);

}  // namespace QVT::Stream
