#include "Interrupt.h"

#include <semaphore.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <mutex>
#include <thread>

#include "ExitStatus.h"

namespace QVT::Tools {

namespace {

volatile std::sig_atomic_t interrupted = 0;
sem_t secondInterrupt;
std::mutex lastActionLock;
std::function<void()> lastAction;

extern "C" void OnInterrupt(int) {
  if (interrupted != 0) sem_post(&secondInterrupt);  // async-signal-safe
  interrupted = 1;
}

void EndOnSecondInterrupt() {
  while (sem_wait(&secondInterrupt) != 0) {
  }
  std::fprintf(stderr, "\n%s: interrupted again; stopping at once\n", program_invocation_short_name);
  {
    std::lock_guard<std::mutex> guard(lastActionLock);
    if (lastAction) lastAction();
  }
  std::fflush(stdout);
  std::fflush(stderr);
  // The main thread may be inside the library, waiting on the headset.
  _exit(kInterruptedTwice);
}

}  // namespace

void InstallInterruptHandler() {
  sem_init(&secondInterrupt, 0, 0);
  std::thread(EndOnSecondInterrupt).detach();
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

void SetLastAction(std::function<void()> action) {
  std::lock_guard<std::mutex> guard(lastActionLock);
  lastAction = std::move(action);
}

}  // namespace QVT::Tools
