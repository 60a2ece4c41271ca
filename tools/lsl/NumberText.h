// Numbers as the protocol's texts carry them, printf-formatted.
#pragma once

#include <array>
#include <cstdio>
#include <string>

namespace QVT::Lsl {

// format is a printf conversion for one double, e.g. "%.16g".
inline std::string NumberText(const char* format, double value) {
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), format, value);
  return text.data();
}

}  // namespace QVT::Lsl
