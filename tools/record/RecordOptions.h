// The command line of qvt-record, parsed apart from any headset.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace QVT::Record {

struct RecordOptions {
  std::string port = "DEFAULT";   // "DEFAULT": the port named by QVTSerialPort
  double seconds = 0.0;           // of signal in the file; 0: until interrupted
  double impedanceSeconds = 0.0;  // 0: impedances are not measured
  std::string subject;
  bool reconnect = false;
  int verbosity = 2;
  double slowDiskSeconds = 0.0;  // added to every record written, for tests
  std::string file;
  bool help = false;
  bool version = false;
};

class RecordUsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The arguments after the program name; "--name VALUE" or "--name=VALUE",
// and the file. Throws RecordUsageError.
RecordOptions ParseRecordOptions(const std::vector<std::string>& arguments);

std::string RecordUsageText();

}  // namespace QVT::Record
