// The texts a headset gives about itself.
#include <cstdio>

#include "core/Headset.h"

namespace QVT {

std::string Headset::RelativeTimeStamp(double t) const {
  if (t < 0.0) t = serial.Elapsed();
  if (t < 0.0) return "---";
  char text[64];
  std::snprintf(text, sizeof text, "%6.3f", t);
  return text;
}

}  // namespace QVT
