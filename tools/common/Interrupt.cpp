#include "Interrupt.h"

#include <csignal>

namespace QVT::Tools {

namespace {

volatile std::sig_atomic_t interrupted = 0;

extern "C" void OnInterrupt(int) { interrupted = 1; }

}  // namespace

void InstallInterruptHandler() {
  struct sigaction action = {};
  action.sa_handler = OnInterrupt;
  sigemptyset(&action.sa_mask);
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
  // A closed terminal ends the run as Ctrl-C does, with the file closed.
  sigaction(SIGHUP, &action, nullptr);
  // A reader of the output that goes away must not end the run; the
  // failed writes are harmless.
  std::signal(SIGPIPE, SIG_IGN);
}

bool Interrupted() { return interrupted != 0; }

}  // namespace QVT::Tools
