// Accelerometer readings on the wire, and the readings that carry a signal
// known per EEG sample (a recording's) to the host sample for sample.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace QVT::testing {

using AccelerometerAxes = std::array<std::int16_t, 3>;  // x, y, z in counts

struct AccelerometerReading {
  std::uint32_t ticks = 0;  // the headset's clock, 1/1800 s
  AccelerometerAxes axes{};
  bool operator==(const AccelerometerReading&) const = default;
};

inline constexpr std::size_t kReadingsPerAccelerometerPacket = 3;
using AccelerometerPacketReadings = std::array<AccelerometerReading, kReadingsPerAccelerometerPacket>;

// The extended-data packet of three readings: stamped with the first, the
// others by their ticks after it (at most 32767).
std::string EncodeAccelerometerPacket(const AccelerometerPacketReadings& readings);

// The host queues readings and, on each EEG sample stamped t, makes the next
// one current once its stamp is no later than t: one per sample at most,
// never before its stamp, later when its packet comes late. A recorder puts
// each reading back on the samples from its stamp up to the next reading's,
// however late it was shown. So the value a sample should show comes back on
// exactly that sample when a reading goes out stamped with the first sample
// of every run of equal values: with the sample where the value changes, and
// with a stream's first sample, before which the host holds nothing.
// A still accelerometer still reports at its rate, and stamps further apart
// than a period and a half tell a recorder that a reading was lost, so a
// reading of the same value also goes out once a period has passed since
// the last one.
class HeldAccelerometerReadings {
 public:
  // The sample stamped ticks shows axes; periodTicks is the accelerometer's
  // period. Returns a packet's readings once three are waiting.
  std::optional<AccelerometerPacketReadings> Show(std::uint32_t ticks, const AccelerometerAxes& axes,
                                                  double periodTicks);
  // A new stream: its first sample starts a reading.
  void Restart();

 private:
  std::optional<AccelerometerReading> last_;
  std::vector<AccelerometerReading> waiting_;
};

}  // namespace QVT::testing
