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
  bool NameMatches(const std::string& candidate, bool includeAliases) const;

  double Signal() const { return signal; }
  double Gain() const { return gain; }
  // Worked out from the averages when asked; safe from any thread.
  double ImpedanceEEG() const { return CurrentEstimates().impedanceEEG; }
  double ImpedanceCMF() const { return CurrentEstimates().impedanceCMF; }
  double DCOffset() const { return CurrentEstimates().dcOffset; }

  // A new averaging length, or averages that start again from 0, keeping
  // the estimates until the next sample. Only while nobody processes
  // samples.
  void AllocateAverages(unsigned long n);
  void FlushAverages();
  const std::string& Name() const { return name; }

  std::string name;
  std::vector<std::string> aliases;
  SourceID::Code id;
  double gain;
  double offset = 0.0;
  double rawSignal = 0.0;
  double signal = 0.0;  // always (rawSignal - offset) * gain
  MovingAverages averages;

 private:
  struct Estimates {
    double impedanceEEG = -1.0;
    double impedanceCMF = -1.0;
    double dcOffset = 0.0;
  };
  // The tags of the averages' writes: which carriers were on.
  static constexpr unsigned kEEGCarrier = 1;
  static constexpr unsigned kCMFCarrier = 2;

  Estimates CurrentEstimates() const;
  Estimates kept;
};

}  // namespace QVT
