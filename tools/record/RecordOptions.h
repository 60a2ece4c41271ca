// The command line of qvt-record, parsed apart from any headset.
#pragma once

#include <optional>
#include <string>

#include "CommandLine.h"
#include "MarkerOptions.h"

namespace QVT::Record {

struct RecordOptions {
  std::string port = "DEFAULT";   // "DEFAULT": the port named by QVTSerialPort
  double seconds = 0.0;           // of signal in the file; 0: until interrupted
  double impedanceSeconds = 0.0;  // 0: impedances are not measured
  std::string subject;
  bool reconnect = false;
  bool overwrite = false;  // an existing file is replaced, not refused
  int verbosity = 1;  // link losses and serious warnings; -v adds resends, resynchronisation, alarms
  double slowDiskSeconds = 0.0;  // added to every record written, for tests
  std::string file;
  std::string repair;  // a file to mend instead of recording
  // Also publish on the Lab Streaming Layer, under this name (empty: the
  // default name); nothing: do not publish.
  std::optional<std::string> lsl;
  Markers::MarkerOptions markers;  // from the experiment's software
};

Tools::ProgramText RecordProgramText(const std::string& version);

// The option table; `options` receives the values as the line is parsed.
void DeclareRecordOptions(Tools::CommandLine& line, RecordOptions& options);

}  // namespace QVT::Record
