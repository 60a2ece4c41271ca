// The one clock of this computer that every acquisition stamp, arrival and
// network time probe speaks: CLOCK_MONOTONIC in seconds, the same in every
// process of the machine and never set back.
#pragma once

namespace QVT::Tools {

double MonotonicSeconds();

}  // namespace QVT::Tools
