#include "SlotPacket.h"

#include <algorithm>
#include <cmath>

#include "headset/HeadsetWire.h"

namespace QVT::emulator {

namespace {

constexpr double kTwoPi = 6.283185307179586;
// What the host multiplies the averaged carrier products by to get kilo-ohms.
constexpr double kEEGImpedanceFactor = 0.01950289701;
constexpr double kCMFImpedanceFactor = 0.023916328222799998;
constexpr double kEEGCarrierHz = 110.0;
constexpr double kCMFCarrierHz = 130.0;

constexpr int kSevenElectrodeSlots = 7;

}  // namespace

int TriggerShift(const CalibrationImage& calibration) {
  return PresentSlotCount(calibration) == kSevenElectrodeSlots ? 4 : 0;
}

double CarrierCounts(double kiloOhms, double gain, double stampSeconds) {
  // The host averages carrier times signal: a cosine of amplitude A gives
  // A / 2, which it scales by the factor. The signal is raw counts times gain.
  const auto amplitude = [&](double factor) { return 2.0 * kiloOhms / (factor * gain); };
  return amplitude(kEEGImpedanceFactor) * std::cos(kTwoPi * kEEGCarrierHz * stampSeconds) +
         amplitude(kCMFImpedanceFactor) * std::cos(kTwoPi * kCMFCarrierHz * stampSeconds);
}

std::string SlotPacketBody(std::uint8_t trigger, const std::array<double, CalibrationLayout::kSlots>& raw) {
  std::string body(1, static_cast<char>(trigger));
  for (const double value : raw) {
    const long counts = std::lround(std::clamp(value, -32768.0, 32767.0));
    body += testing::U16LE(static_cast<unsigned>(counts) & 0xFFFFu);
  }
  return body;
}

}  // namespace QVT::emulator
