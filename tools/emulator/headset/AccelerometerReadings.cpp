#include "headset/AccelerometerReadings.h"

#include <algorithm>

#include "headset/HeadsetWire.h"

namespace QVT::testing {

namespace {

constexpr std::uint8_t kAccelerometerSubtype = 20;

}  // namespace

std::string EncodeAccelerometerPacket(const AccelerometerPacketReadings& readings) {
  std::string body(1, '\0');  // the byte after the subtype
  for (std::size_t k = 0; k < readings.size(); ++k) {
    if (k > 0) body += U16LE(readings[k].ticks - readings[0].ticks);
    for (const std::int16_t v : readings[k].axes) body += U16LE(static_cast<std::uint16_t>(v));
  }
  return EncodeExtendedData(kAccelerometerSubtype, body, readings[0].ticks);
}

std::optional<AccelerometerPacketReadings> HeldAccelerometerReadings::Show(std::uint32_t ticks,
                                                                           const AccelerometerAxes& axes,
                                                                           double periodTicks) {
  if (last_ && last_->axes == axes && ticks - last_->ticks < periodTicks) return std::nullopt;
  last_ = AccelerometerReading{ticks, axes};
  waiting_.push_back(*last_);
  if (waiting_.size() < kReadingsPerAccelerometerPacket) return std::nullopt;
  AccelerometerPacketReadings packet;
  std::copy(waiting_.begin(), waiting_.end(), packet.begin());
  waiting_.clear();
  return packet;
}

void HeldAccelerometerReadings::Restart() {
  last_.reset();
  waiting_.clear();
}

}  // namespace QVT::testing
