// The filters the page may ask for on its traces: a 50 or 60 Hz notch and a
// 1-40 Hz band-pass. They shape what is drawn only; recordings stay raw.
#pragma once

#include <vector>

namespace QVT::Monitor {

struct DisplayChoice {
  int notchHz = 0;  // 0, 50 or 60
  bool bandPass = false;
  bool operator==(const DisplayChoice&) const = default;
};

// One channel's filter chain, second-order sections in direct form II
// transposed.
class DisplayFilter {
 public:
  DisplayFilter() = default;
  DisplayFilter(DisplayChoice choice, double rate);

  double Apply(double value);

 private:
  struct Section {
    double b0 = 1, b1 = 0, b2 = 0, a1 = 0, a2 = 0;
    double s1 = 0, s2 = 0;
    double Apply(double x);
  };
  std::vector<Section> sections;
};

}  // namespace QVT::Monitor
