#include "core/BufferingController.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace QVT::Buffering {

unsigned long SamplesIn(double rate, double seconds) {
  const double samples = rate * seconds + 0.5;
  if (!(samples >= 0.0)) return 0;
  // Converting a value beyond the range is undefined; hold it at the top.
  if (samples >= static_cast<double>(std::numeric_limits<unsigned long>::max()))
    return std::numeric_limits<unsigned long>::max();
  return static_cast<unsigned long>(samples);
}

unsigned long SaturatingAdd(unsigned long a, unsigned long b) {
  return b > std::numeric_limits<unsigned long>::max() - a ? std::numeric_limits<unsigned long>::max()
                                                           : a + b;
}

double RoundToMultiple(double interval, double step) {
  if (!(step > 0.0)) return interval;
  return std::floor(interval / step + 0.5) * step;
}

ControllerUpdate UpdateController(double error, double integral, double previousError, bool restart,
                                  double dt, const ControllerGains& gains, double fs) {
  if (restart) {
    integral = 0.0;
    previousError = error;
  }
  ControllerUpdate update;
  update.integratedError = integral + error * dt;
  update.derivative = (error - previousError) / dt;
  const double u = gains.i * update.integratedError + gains.p * error + gains.d * update.derivative;
  const double limit = 0.5 / fs;
  update.correction = std::clamp(u, -std::abs(limit), std::abs(limit));
  update.sampleRate = 1.0 / (1.0 / fs - update.correction);
  return update;
}

}  // namespace QVT::Buffering
