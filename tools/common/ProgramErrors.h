// How the programs that hold a headset end their main: a usage error names
// the program and points to --help, any other error comes after whatever
// the program had printed, and the status goes through ExitStatus (a
// headset let go of ends the process at once).
#pragma once

#include <functional>

namespace QVT::Tools {

// Runs `program` and returns its status; kUsageFailure for a UsageError,
// kRuntimeFailure for any other exception, each printed on stderr after
// `name`.
int RunReportingErrors(const char* name, const std::function<int()>& program);

}  // namespace QVT::Tools
