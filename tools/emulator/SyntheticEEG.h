// Signals that look like a scalp recording, computed from the time alone so
// that a run repeats exactly for a given seed: a 1/f background, alpha
// strongest at the back of the head, eye blinks at the front, 50 Hz mains
// pick-up, a trigger pulse every second and, with the impedance driver on,
// the 110 and 130 Hz carriers of a chosen electrode impedance.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "model/CalibrationLayout.h"

namespace QVT::emulator {

struct SignalSettings {
  std::uint64_t seed = 1;
  bool eyesClosed = false;
  double impedanceKiloOhms = 5.0;
};

class SyntheticEEG {
 public:
  SyntheticEEG(const CalibrationImage& calibration, const SignalSettings& settings);

  // The 49-byte body of a data packet: trigger byte (a pulse of 1 each second,
  // in the upper half on a seven-electrode headset, as those carry their
  // trigger lines), then the 24 slot values in raw counts. The signal is taken
  // at t, the carriers at the packet's time stamp as the host reads it (their
  // phase is what the host demodulates against).
  std::string PacketBody(double t, double stampSeconds, bool impedanceDriver) const;

  // One slot's value in microvolts at time t, carriers excluded.
  double Microvolts(int slot, double t) const;

  // The accelerometer (raw counts, about 1024 per g): gravity on z, a slow
  // nod and sway of the head.
  std::array<std::int16_t, 3> Accelerometer(double t) const;

 private:
  struct Slot {
    bool electrode = false;  // a scalp electrode that takes carriers
    double gain = 0.0;       // microvolts per raw count
    double alpha = 0.0;      // alpha amplitude, microvolts
    double blink = 0.0;      // blink amplitude, microvolts
    std::vector<double> phases;
  };

  double BlinkShape(double t) const;

  SignalSettings settings_;
  std::array<Slot, CalibrationLayout::kSlots> slots_;
  std::vector<double> blinkTimes_;  // within a repeating 20 s pattern
  int triggerShift_ = 0;
};

}  // namespace QVT::emulator
