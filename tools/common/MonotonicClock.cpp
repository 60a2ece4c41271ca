#include "MonotonicClock.h"

#include <ctime>

namespace QVT::Tools {

double MonotonicSeconds() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

}  // namespace QVT::Tools
