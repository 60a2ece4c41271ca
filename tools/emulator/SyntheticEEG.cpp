#include "SyntheticEEG.h"

#include <algorithm>
#include <cmath>
#include <random>
#include <string_view>

#include "SlotPacket.h"
#include "model/SourceID.h"

namespace QVT::emulator {

namespace {

constexpr double kTwoPi = 6.283185307179586;
// Nominal microvolts per raw count of a sensor; the slot's gain trim scales it.
constexpr double kSensorGain = 0.301;

constexpr int kBackgroundComponents = 24;  // 1 to 24 Hz, amplitude 1/f
constexpr double kBackgroundMicrovolts = 8.0;
constexpr double kAlphaHz = 10.0;
constexpr double kEyesClosedAlphaGain = 2.5;
constexpr double kLineHz = 50.0;
constexpr double kLineMicrovolts = 4.0;
constexpr double kBlinkSeconds = 0.3;
constexpr double kBlinkPatternSeconds = 20.0;
constexpr double kTriggerPulseSeconds = 0.02;

constexpr double kCountsPerG = 1024.0;

bool StartsWith(std::string_view name, std::string_view prefix) {
  return name.substr(0, prefix.size()) == prefix;
}

// Alpha is strongest over the occipital cortex and fades towards the front.
double AlphaAmplitude(std::string_view name) {
  if (StartsWith(name, "O")) return 30.0;
  if (StartsWith(name, "P")) return 15.0;
  if (StartsWith(name, "T") || StartsWith(name, "C")) return 6.0;
  return 3.0;
}

// Blinks spread from the eyes: large at the forehead, small further back.
double BlinkAmplitude(std::string_view name) {
  if (StartsWith(name, "Fp") || StartsWith(name, "AF")) return 150.0;
  if (StartsWith(name, "F")) return 50.0;
  return 0.0;
}

}  // namespace

SyntheticEEG::SyntheticEEG(const CalibrationImage& calibration, const SignalSettings& settings)
    : settings_(settings), triggerShift_(TriggerShift(calibration)) {
  std::mt19937_64 random(settings.seed);
  std::uniform_real_distribution<double> phase(0.0, kTwoPi);
  for (int k = 0; k < CalibrationLayout::kSlots; ++k) {
    Slot& slot = slots_[static_cast<std::size_t>(k)];
    const int id = SlotIdentity(calibration, k);
    const std::string_view name = SourceIDName(id);
    const bool commonMode = id == SourceID::CM || id == FactoryReferenceByte(calibration);
    slot.electrode = !commonMode && id > 0 && id < SourceID::NC;
    slot.gain = std::fma(GainTrim(calibration, k), std::ldexp(1.0, -15), 1.0) * kSensorGain;
    slot.alpha = slot.electrode ? AlphaAmplitude(name) : 0.0;
    slot.blink = slot.electrode ? BlinkAmplitude(name) : 0.0;
    for (int i = 0; i <= kBackgroundComponents; ++i) slot.phases.push_back(phase(random));
  }
  std::uniform_real_distribution<double> when(0.0, kBlinkPatternSeconds - kBlinkSeconds);
  for (int i = 0; i < 5; ++i) blinkTimes_.push_back(when(random));
}

double SyntheticEEG::BlinkShape(double t) const {
  const double inPattern = std::fmod(t, kBlinkPatternSeconds);
  for (const double start : blinkTimes_)
    if (inPattern >= start && inPattern < start + kBlinkSeconds)
      return std::sin(kTwoPi * 0.5 * (inPattern - start) / kBlinkSeconds);
  return 0.0;
}

double SyntheticEEG::Microvolts(int slotIndex, double t) const {
  const Slot& slot = slots_[static_cast<std::size_t>(slotIndex)];
  if (!slot.electrode) return 0.0;
  double v = 0.0;
  for (int f = 1; f <= kBackgroundComponents; ++f)
    v += kBackgroundMicrovolts / f * std::sin(kTwoPi * f * t + slot.phases[static_cast<std::size_t>(f)]);
  // Alpha waxes and wanes over a few seconds.
  const double waxing = 0.75 + 0.25 * std::sin(kTwoPi * 0.15 * t + slot.phases[0]);
  const double alpha = slot.alpha * (settings_.eyesClosed ? kEyesClosedAlphaGain : 1.0) * waxing;
  v += alpha * std::sin(kTwoPi * kAlphaHz * t);
  v += slot.blink * BlinkShape(t);
  v += kLineMicrovolts * std::sin(kTwoPi * kLineHz * t);
  return v;
}

std::string SyntheticEEG::PacketBody(double t, double stampSeconds, bool impedanceDriver) const {
  const double sinceSecond = t - std::floor(t);
  const auto trigger = static_cast<std::uint8_t>(sinceSecond < kTriggerPulseSeconds ? 1 << triggerShift_ : 0);
  std::array<double, CalibrationLayout::kSlots> raw{};
  for (int k = 0; k < CalibrationLayout::kSlots; ++k) {
    const Slot& slot = slots_[static_cast<std::size_t>(k)];
    raw[static_cast<std::size_t>(k)] =
        Microvolts(k, t) / slot.gain +
        (impedanceDriver && slot.electrode ? CarrierCounts(settings_.impedanceKiloOhms, slot.gain, stampSeconds)
                                           : 0.0);
  }
  return SlotPacketBody(trigger, raw);
}

std::array<std::int16_t, 3> SyntheticEEG::Accelerometer(double t) const {
  const double nod = 0.05 * std::sin(kTwoPi * 0.2 * t);
  const double sway = 0.03 * std::sin(kTwoPi * 0.13 * t + 1.0);
  const double tremor = 0.005 * std::sin(kTwoPi * 7.0 * t);
  const auto counts = [](double g) { return static_cast<std::int16_t>(std::lround(g * kCountsPerG)); };
  return {counts(sway + tremor), counts(nod), counts(std::sqrt(1.0 - nod * nod - sway * sway))};
}

}  // namespace QVT::emulator
