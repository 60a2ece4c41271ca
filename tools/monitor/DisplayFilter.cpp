#include "DisplayFilter.h"

#include <cmath>
#include <numbers>

namespace QVT::Monitor {

namespace {

enum class Shape { kNotch, kHighPass, kLowPass };

constexpr double kNotchQ = 30.0;  // about 2 Hz wide at 50 Hz
constexpr double kButterworthQ = std::numbers::sqrt2 / 2.0;
constexpr double kLowCutHz = 1.0;
constexpr double kHighCutHz = 40.0;

}  // namespace

double DisplayFilter::Section::Apply(double x) {
  const double y = b0 * x + s1;
  s1 = b1 * x - a1 * y + s2;
  s2 = b2 * x - a2 * y;
  return y;
}

DisplayFilter::DisplayFilter(DisplayChoice choice, double rate) {
  // The usual bilinear-transform designs of the three second-order shapes.
  const auto add = [&](Shape shape, double hz, double q) {
    if (!(hz < rate / 2.0)) return;  // beyond what the rate can carry
    const double w = 2.0 * std::numbers::pi * hz / rate;
    const double alpha = std::sin(w) / (2.0 * q);
    const double c = std::cos(w);
    double b0 = 1, b1 = -2 * c, b2 = 1;
    if (shape == Shape::kHighPass) b0 = b2 = (1 + c) / 2, b1 = -(1 + c);
    if (shape == Shape::kLowPass) b0 = b2 = (1 - c) / 2, b1 = 1 - c;
    const double a0 = 1 + alpha;
    Section section;
    section.b0 = b0 / a0, section.b1 = b1 / a0, section.b2 = b2 / a0;
    section.a1 = -2 * c / a0, section.a2 = (1 - alpha) / a0;
    sections.push_back(section);
  };
  if (choice.notchHz > 0) add(Shape::kNotch, choice.notchHz, kNotchQ);
  if (choice.bandPass) {
    add(Shape::kHighPass, kLowCutHz, kButterworthQ);
    add(Shape::kLowPass, kHighCutHz, kButterworthQ);
  }
}

double DisplayFilter::Apply(double value) {
  for (Section& section : sections) value = section.Apply(value);
  return value;
}

}  // namespace QVT::Monitor
