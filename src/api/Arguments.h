// Conversions of C arguments shared by the exported function families.
#pragma once

#include <string>

namespace QVT::api {

// A text argument; a null pointer reads as the empty text rather than
// crashing the client.
inline std::string TextArgument(const char* text) {
  return text != nullptr ? std::string(text) : std::string();
}

}  // namespace QVT::api
