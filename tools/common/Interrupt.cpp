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
}

bool Interrupted() { return interrupted != 0; }

}  // namespace QVT::Tools
