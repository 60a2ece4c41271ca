// The clock every stamp and time probe of the network speaks: CLOCK_MONOTONIC
// in seconds, the same on every process of this machine.
#pragma once

namespace QVT::Lsl {

double LocalClock();

}  // namespace QVT::Lsl
