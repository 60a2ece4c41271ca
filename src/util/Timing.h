// The library's time base: a monotonic clock shifted to equal the wall clock
// at its first reading, and millisecond sleeps that can be interrupted
// between polls.
#pragma once

namespace Timing {

// Wall-clock seconds since the epoch, millisecond resolution.
double SecondsSinceEpoch();

// Monotonic seconds, equal to SecondsSinceEpoch() at the first call in the
// process; -1.0 when the clock cannot be read.
double MonotonicSeconds();

// Waits s seconds to the microsecond; the sign is not checked.
void SleepSeconds(double s);

// Waits s seconds rounded to the millisecond; negative s returns at once.
void Sleep(double s);

}  // namespace Timing

namespace QVT {

inline double PrecisionTime() { return Timing::MonotonicSeconds(); }
inline void SleepSeconds(double s) { Timing::SleepSeconds(s); }
inline void Sleep(double s) { Timing::Sleep(s); }

}  // namespace QVT
