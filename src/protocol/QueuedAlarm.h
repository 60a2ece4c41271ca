// One alarm as it waits in a headset's queue: its code, its parameters as the
// packet carried them, and when it arrived. The text is made from these only
// when asked for, so that an alarm nobody reads costs no formatting.
#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace QVT {

struct QueuedAlarm {
  // The most parameters a descriptor can announce (its six low bits).
  static constexpr int kMostParameters = 63;

  std::int32_t code = 0;  // species * 256 + alarm number
  int parameterCount = 0;
  int parameterWidth = 1;  // bytes per parameter: 1, or 2 for u16 LE
  std::array<std::uint8_t, 2 * kMostParameters> parameterBytes{};
  double time = 0.0;         // seconds since the link opened, when it arrived
  double headsetTime = 0.0;  // the packet's own time stamp, seconds on the headset's clock

  // Copies count parameters of width bytes from bytes (count is cut to 63).
  void SetParameters(const std::uint8_t* bytes, int count, int width);
  // Parameter i as an unsigned number; 0 beyond the count.
  int Parameter(int i) const;
  // The alarm's template filled with its parameters, as its message says it.
  std::string Text() const;
};

}  // namespace QVT
