// The command line of qvt-lsl, parsed apart from any headset.
#pragma once

#include <string>
#include <vector>

#include "CommandLine.h"
#include "MarkerOptions.h"

namespace QVT::Publish {

struct LslOptions {
  std::string port = "DEFAULT";  // "DEFAULT": the port named by QVTSerialPort
  std::string name;              // of the EEG stream; empty: "qvt <model> <serial>"
  std::vector<std::string> montage;  // channel specifications; empty: the headset's montage
  std::string listen = "127.0.0.1";  // where the streams are served
  double seconds = 0.0;
  double impedanceSeconds = 0.0;
  bool reconnect = false;
  int verbosity = 1;
  Markers::MarkerOptions markers;  // from the experiment's software, republished
};

Tools::ProgramText LslProgramText(const std::string& version);

// The option table; `options` receives the values as the line is parsed.
void DeclareLslOptions(Tools::CommandLine& line, LslOptions& options);

// The montage as given ("Fp1-M1 Cz"), split at blanks, with the trigger
// added when it names none: the stream always carries it.
std::vector<std::string> MontageWithTrigger(const std::string& montage);

}  // namespace QVT::Publish
