// Extended-data packets: the accelerometer's readings are queued here and
// taken up by the sample path as they fall due.
#include <cmath>
#include <cstdint>
#include <iomanip>
#include <sstream>
#include <string>

#include "core/Headset.h"
#include "protocol/Codes.h"
#include "util/Text.h"

namespace QVT {

namespace {

// Offsets from the start of an accelerometer packet: three readings of x, y
// and z; the second and third are preceded by their time after the first.
constexpr std::size_t kFirstReadingOffset = 8;
constexpr std::size_t kSecondTimeOffset = 14;
constexpr std::size_t kSecondReadingOffset = 16;
constexpr std::size_t kThirdTimeOffset = 22;
constexpr std::size_t kThirdReadingOffset = 24;

}  // namespace

void Headset::ProcessExtendedData(ExtendedDataHeaderStruct& header, double /*blockTime*/, double t) {
  const int subtype = header.subtype;
  if (subtype != ExtendedDataSubtype::AccelerometerData) {
    if (WouldIssue(3))
      IssueMessage("Ignoring class-4 extended data packet of subtype 0x" + HexString(subtype, 2) + " (" +
                       ExtendedDataSubtypeName(subtype) + ").",
                   3);
    return;
  }
  if (header.header.length < kMinimumAccelerometerPacketLength) {
    if (WouldIssue(2)) IssueMessage("malformed accelerometer data packet", 2);
    return;
  }
  if (header.header.length != kMinimumAccelerometerPacketLength && WouldIssue(3))
    IssueMessage("extraneous bytes in accelerometer data packet", 3);

  // The packet lies in the block buffer, whose slack behind the block keeps
  // these 30 bytes in bounds even when the length byte overstates them.
  const std::uint8_t* const packet = reinterpret_cast<const std::uint8_t*>(&header);
  const auto reading = [&](std::size_t offset, double time) {
    HandleAccelerometerSample(time, ReadI16LE(packet + offset), ReadI16LE(packet + offset + 2),
                              ReadI16LE(packet + offset + 4));
  };
  // Both offsets count from the first reading, not from each other.
  reading(kFirstReadingOffset, t);
  reading(kSecondReadingOffset, t + ReadI16LE(packet + kSecondTimeOffset) * kSecondsPerTick);
  reading(kThirdReadingOffset, t + ReadI16LE(packet + kThirdTimeOffset) * kSecondsPerTick);
}

void Headset::HandleAccelerometerSample(double t, double x, double y, double z) {
  // A full queue loses its oldest reading.
  accelerometerQueue[0].Write(t);
  accelerometerQueue[1].Write(x);
  accelerometerQueue[2].Write(y);
  accelerometerQueue[3].Write(z);
  if (!WouldIssue(3)) return;
  std::ostringstream text;
  text << "accelerometer data"
       << ": t=" << std::fixed << std::setprecision(3) << std::setfill('0') << std::setw(7) << t
       << std::setprecision(0) << std::showpos << std::setfill(' ') << ", x=" << std::setw(4) << x
       << ", y=" << std::setw(4) << y << ", z=" << std::setw(4) << z;
  IssueMessage(text.str(), 3);
}

double Headset::AccelerometerSample::CalculateJerk(const AccelerometerSample& previous) {
  const double dt = t - previous.t;
  if (dt == 0.0) return -1.0;
  const double dx = (x - previous.x) / dt;
  const double dy = (y - previous.y) / dt;
  const double dz = (z - previous.z) / dt;
  jerk = std::sqrt(dx * dx + dy * dy + dz * dz);
  return jerk;
}

}  // namespace QVT
