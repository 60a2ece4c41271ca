// One physical signal of the headset: an electrode, a trigger line or an
// accelerometer axis. It keeps its latest value and derives its DC offset and
// impedance estimates from moving averages over the last samples.
#pragma once

#include <string>
#include <vector>

#include "model/MovingAverages.h"
#include "model/SourceID.h"

namespace QVT {

class Source {
 public:
  // The offset starts at 0 whatever is passed: no caller has a calibrated
  // offset yet. averagingLength 0 leaves the averages unallocated.
  Source(SourceID::Code code, std::string initialName, unsigned long averagingLength, double initialGain,
         double initialOffset);

  void SetRawSignal(double raw);

  // Takes this sample's carrier references (EEG in-phase and quadrature,
  // then common-mode follower ones); a pair of zeros means that carrier is
  // off and its impedance is reported as -1.0.
  void ComputeImpedance(double eegI, double eegQ, double cmfI, double cmfQ);

  bool IsTrigger() const;
  bool IsAccelerometer() const;
  bool IsSensor() const;
  bool IsReferentialEEG() const;

  // Whether candidate designates this source: its name, or with
  // includeAliases one of its aliases, ignoring case and surrounding
  // whitespace. No partial matches.
  bool NameMatches(std::string candidate, bool includeAliases) const;

  double Signal() const { return signal; }
  double Gain() const { return gain; }
  double ImpedanceEEG() const { return impedanceEEG; }
  double ImpedanceCMF() const { return impedanceCMF; }
  double DCOffset() const { return dcOffset; }
  const std::string& Name() const { return name; }

  std::string name;
  std::vector<std::string> aliases;
  SourceID::Code id;
  double gain;
  double offset = 0.0;
  double rawSignal = 0.0;
  double signal = 0.0;  // always (rawSignal - offset) * gain
  double impedanceEEG = -1.0;
  double impedanceCMF = -1.0;
  double dcOffset = 0.0;

  MovingAverages averages;
};

}  // namespace QVT
