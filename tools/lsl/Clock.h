// The clock every stamp and time probe of the network speaks: the tools'
// one clock, CLOCK_MONOTONIC in seconds, the same on every process of this
// machine.
#pragma once

#include "MonotonicClock.h"

namespace QVT::Lsl {

inline double LocalClock() { return Tools::MonotonicSeconds(); }

}  // namespace QVT::Lsl
