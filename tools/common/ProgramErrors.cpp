#include "ProgramErrors.h"

#include <cstdio>
#include <exception>

#include "Abandoned.h"
#include "CommandLine.h"

namespace QVT::Tools {

int RunReportingErrors(const char* name, const std::function<int()>& program) {
  try {
    return ExitStatus(program());
  } catch (const UsageError& error) {
    std::fprintf(stderr, "%s: %s (see --help)\n", name, error.what());
    return ExitStatus(kUsageFailure);
  } catch (const std::exception& error) {
    std::fflush(stdout);
    std::fprintf(stderr, "%s: %s\n", name, error.what());
    return ExitStatus(kRuntimeFailure);
  }
}

}  // namespace QVT::Tools
