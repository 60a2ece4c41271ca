// The exit statuses the programs share.
#pragma once

namespace QVT::Tools {

inline constexpr int kRuntimeFailure = 1;
inline constexpr int kUsageFailure = 2;
inline constexpr int kInterruptedTwice = 130;  // as a shell reports a process ended by Ctrl-C

}  // namespace QVT::Tools
