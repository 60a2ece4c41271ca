// The arithmetic of the buffering controller, kept apart from the headset's
// state and clocks so that it can be checked on its own.
#pragma once

namespace QVT::Buffering {

// Whole samples in `seconds` at `rate`: rate * seconds + 0.5, truncated.
// 0 when the product is negative or undefined (a rate still unknown), the
// largest count when it is beyond the type's range.
unsigned long SamplesIn(double rate, double seconds);

// a + b, held at the largest count instead of wrapping.
unsigned long SaturatingAdd(unsigned long a, unsigned long b);

// interval rounded to the nearest whole multiple of step, halves rounding
// up. Unchanged when step is no positive duration (a batch of no samples),
// which would otherwise divide by zero.
double RoundToMultiple(double interval, double step);

struct ControllerGains {
  double p = 0.0;
  double i = 0.0;
  double d = 0.0;
};

struct ControllerUpdate {
  double integratedError = 0.0;
  double derivative = 0.0;
  // Seconds taken off the sample period; never more than half a period
  // either way, so one update cannot run away with the rate.
  double correction = 0.0;
  // 1 / (1/fs - correction): too much buffered raises the rate.
  double sampleRate = 0.0;
};

// One step of the PID law on error (seconds of buffered data above the
// target) after dt seconds. A restart drops the integral and takes error as
// the previous one, so the step has no derivative kick.
ControllerUpdate UpdateController(double error, double integral, double previousError, bool restart,
                                  double dt, const ControllerGains& gains, double fs);

}  // namespace QVT::Buffering
