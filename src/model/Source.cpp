#include "model/Source.h"

#include <cmath>
#include <cstring>
#include <utility>

namespace QVT {

namespace {

// Converts the demodulated carrier amplitude into an impedance, one factor per
// carrier frequency.
constexpr double kEEGImpedanceFactor = 0.01950289701;
constexpr double kCMFImpedanceFactor = 0.023916328222799998;

// Two doubles worked on side by side, the EEG carrier's in the first lane and
// the CMF carrier's in the second. Each lane rounds exactly as the scalar
// operation would; the pairs only halve the number of divisions issued.
using Pair = double __attribute__((vector_size(2 * sizeof(double))));

Pair LoadPair(const double* p) {
  Pair v;
  std::memcpy(&v, p, sizeof v);
  return v;
}

}  // namespace

Source::Source(SourceID::Code code, std::string initialName, unsigned long averagingLength,
               double initialGain, double /*initialOffset*/)
    : name(std::move(initialName)), id(code), gain(initialGain) {
  AllocateAverages(averagingLength);
}

void Source::SetRawSignal(double raw) {
  rawSignal = raw;
  signal = (raw - offset) * gain;
}

void Source::ComputeImpedance(double eegI, double eegQ, double cmfI, double cmfQ) {
  using A = MovingAverages;
  A::Values products;
  products.of[A::kEEGInPhase] = eegI * signal;
  products.of[A::kEEGQuadrature] = eegQ * signal;
  products.of[A::kCMFInPhase] = cmfI * signal;
  products.of[A::kCMFQuadrature] = cmfQ * signal;
  products.of[A::kPlain] = signal;
  // The estimates are worked out when asked for, from the sums and these
  // flags: the same operations on the same numbers as after every sample,
  // without their divisions and roots on the path of every sample.
  averages.Write(products, ((eegI != 0.0 || eegQ != 0.0) ? kEEGCarrier : 0u) |
                               ((cmfI != 0.0 || cmfQ != 0.0) ? kCMFCarrier : 0u));
}

Source::Estimates Source::CurrentEstimates() const {
  using A = MovingAverages;
  const A::Snapshot snapshot = averages.Read();
  // Until the first sample after a flush or a new size, the estimates stay
  // what they were.
  if (!snapshot.written) return kept;
  // The averages include the zeros of fresh slots, so they ramp up over the
  // first averaging length of samples. Without slots every mean is 0.
  Pair inPhase = {0.0, 0.0};
  Pair quadrature = {0.0, 0.0};
  double plain = 0.0;
  if (averages.Capacity() != 0) {
    const double n = static_cast<double>(averages.Capacity());
    inPhase = LoadPair(&snapshot.sums.of[A::kEEGInPhase]) / n;
    quadrature = LoadPair(&snapshot.sums.of[A::kEEGQuadrature]) / n;
    plain = snapshot.sums.of[A::kPlain] / n;
  }
  // One square root instruction for both lanes, each correctly rounded as
  // std::sqrt is.
  const Pair magnitude = __builtin_ia32_sqrtpd(inPhase * inPhase + quadrature * quadrature);
  return {(snapshot.tag & kEEGCarrier) != 0 ? magnitude[0] * kEEGImpedanceFactor : -1.0,
          (snapshot.tag & kCMFCarrier) != 0 ? magnitude[1] * kCMFImpedanceFactor : -1.0, plain};
}

void Source::AllocateAverages(unsigned long n) {
  kept = CurrentEstimates();
  averages.Allocate(n);
}

void Source::FlushAverages() {
  kept = CurrentEstimates();
  averages.Flush();
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
