#include "JsonText.h"

#include <cmath>
#include <cstdio>

namespace QVT::Monitor {

std::string JsonString(std::string_view text) {
  std::string quoted = "\"";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      quoted += '\\';
      quoted += c;
    } else if (byte < 0x20 || byte == 0x7f) {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\u%04x", byte);
      quoted += escaped;
    } else {
      quoted += c;  // UTF-8 passes as it is; a stray byte is the page's to show
    }
  }
  return quoted + "\"";
}

std::string JsonNumber(double value, int digits) {
  if (!std::isfinite(value)) return "null";
  char text[48];
  std::snprintf(text, sizeof text, "%.*f", digits, value);
  std::string number = text;
  if (number.find('.') != std::string::npos) {
    number.erase(number.find_last_not_of('0') + 1);
    if (number.back() == '.') number.pop_back();
  }
  return number == "-0" ? "0" : number;
}

}  // namespace QVT::Monitor
