#include "model/Source.h"

#include <cmath>
#include <utility>

namespace QVT {

namespace {

// Converts the demodulated carrier amplitude into an impedance, one factor per
// carrier frequency.
constexpr double kEEGImpedanceFactor = 0.01950289701;
constexpr double kCMFImpedanceFactor = 0.023916328222799998;

double Mean(const RingBuffer& b) {
  return b.Capacity() == 0 ? 0.0 : b.Sum() / static_cast<double>(b.Capacity());
}

double Magnitude(const RingBuffer& inPhase, const RingBuffer& quadrature) {
  const double i = Mean(inPhase);
  const double q = Mean(quadrature);
  return std::sqrt(i * i + q * q);
}

}  // namespace

Source::Source(SourceID::Code code, std::string initialName, unsigned long averagingLength,
               double initialGain, double /*initialOffset*/)
    : name(std::move(initialName)), id(code), gain(initialGain) {
  for (RingBuffer* b : {&eegInPhase, &eegQuadrature, &cmfInPhase, &cmfQuadrature, &plainSignal}) {
    b->Allocate(averagingLength);
  }
}

void Source::SetRawSignal(double raw) {
  rawSignal = raw;
  signal = (raw - offset) * gain;
}

void Source::ComputeImpedance(double eegI, double eegQ, double cmfI, double cmfQ) {
  // Only this thread reads these buffers, through their sums.
  eegInPhase.WriteUnshared(eegI * signal);
  eegQuadrature.WriteUnshared(eegQ * signal);
  cmfInPhase.WriteUnshared(cmfI * signal);
  cmfQuadrature.WriteUnshared(cmfQ * signal);
  plainSignal.WriteUnshared(signal);

  // The averages include the zeros of fresh slots, so they ramp up over the
  // first averaging length of samples.
  dcOffset = Mean(plainSignal);
  impedanceEEG =
      (eegI != 0.0 || eegQ != 0.0) ? Magnitude(eegInPhase, eegQuadrature) * kEEGImpedanceFactor : -1.0;
  impedanceCMF =
      (cmfI != 0.0 || cmfQ != 0.0) ? Magnitude(cmfInPhase, cmfQuadrature) * kCMFImpedanceFactor : -1.0;
}

bool Source::IsTrigger() const {
  return id == SourceID::TRG || (id >= SourceID::TRG0 && id <= SourceID::TRG7);
}

bool Source::IsAccelerometer() const { return id >= SourceID::ACCT && id <= SourceID::JERK; }

bool Source::IsSensor() const {
  switch (id) {
    case SourceID::NR:
    case SourceID::CM:
    case SourceID::NC:
    case SourceID::SND:
    case SourceID::RCV:
    case SourceID::NUL:
      return false;
    default:
      return !IsTrigger() && !IsAccelerometer();
  }
}

bool Source::IsReferentialEEG() const {
  switch (id) {
    case SourceID::X1:
    case SourceID::X2:
    case SourceID::X3:
    case SourceID::ECG:
    case SourceID::EMG:
    case SourceID::EOG:
      return false;
    default:
      return IsSensor();
  }
}

}  // namespace QVT
