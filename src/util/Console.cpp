#include "util/Console.h"

#include <iostream>
#include <mutex>

namespace QVT {

namespace {
// Lines from the acquisition thread, the watchdog and the client would
// otherwise interleave mid-line.
std::mutex consoleLock;
}  // namespace

int Console(const char* message, int level) {
  std::lock_guard<std::mutex> hold(consoleLock);
  if (message == nullptr) {
    std::cerr.setstate(std::ios::badbit);
    return level;
  }
  std::cerr << message << '\n' << std::flush;
  return level;
}

int Console(const std::string& message, int level) { return Console(message.c_str(), level); }

}  // namespace QVT
