// One signal of a recording and how its values become 24-bit samples.
#pragma once

#include <string>

namespace QVT::Record {

struct Signal {
  std::string label;
  std::string unit;
  // Written to the file's header as they are: whole numbers, so that the
  // header's eight characters hold them exactly and a reader's scaling
  // equals the writer's.
  double physicalMinimum = -8388607.0;
  double physicalMaximum = 8388607.0;

  // One short of the format's lowest, so that 0 maps to 0 exactly.
  static constexpr int kDigitalMinimum = -8388607;
  static constexpr int kDigitalMaximum = 8388607;

  // The nearest digital sample, clipped to the range.
  int ToDigital(double value) const;
  // What a reader makes of a digital sample.
  double ToPhysical(int digital) const;
  // One digital step in physical units.
  double Step() const;
};

// An electrode signal in µV whose source has `gain` µV per count of the
// headset's converter: a step of a sixty-fourth of a count keeps every
// weighted sum of counts a montage makes, and the range holds the widest
// difference of two full-scale inputs with room to spare.
Signal ElectrodeSignal(const std::string& label, double gain);

// Triggers, accelerometer axes and other counts: steps of 1/256 over
// plus or minus 32768.
Signal CountSignal(const std::string& label, const std::string& unit);

}  // namespace QVT::Record
