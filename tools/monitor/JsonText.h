// Writing the little JSON the page reads: strings quoted and escaped,
// numbers that are not finite as null.
#pragma once

#include <string>
#include <string_view>

namespace QVT::Monitor {

std::string JsonString(std::string_view text);
// Up to `digits` decimals, trailing zeros kept short.
std::string JsonNumber(double value, int digits = 2);

}  // namespace QVT::Monitor
