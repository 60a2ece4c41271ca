#include "MessageLog.h"

#include <unistd.h>

#include <cstdio>

namespace QVT::Tools {

namespace {

const bool stderrIsTerminal = isatty(STDERR_FILENO) == 1;

}  // namespace

int LogMessage(const char* message, int /*level*/) {
  if (message == nullptr) return 0;
  // On a terminal the progress line is cleared first and redrawn later.
  std::fprintf(stderr, "%s%s\n", stderrIsTerminal ? "\r\033[K" : "", message);
  return 0;
}

void RouteMessages(QVT_Headset* headset, int shown) {
  QVT_Headset_SetVerbosity(headset, shown);
  QVT_Headset_SetMessageCallback(headset, LogMessage);
}

}  // namespace QVT::Tools
