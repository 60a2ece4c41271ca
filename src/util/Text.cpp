#include "util/Text.h"

#include <cctype>
#include <cstdint>
#include <cstdlib>

namespace QVT {

namespace {

bool IsMember(char c, const std::string& chars) { return chars.find(c) != std::string::npos; }

void AppendHexByte(std::string& out, unsigned char byte) {
  static const char digits[] = "0123456789ABCDEF";
  out += "\\x";
  out += digits[byte >> 4];
  out += digits[byte & 0x0F];
}

}  // namespace

std::string RemoveAllWhitespace(std::string s) {
  std::string out;
  out.reserve(s.size());
  for (char c : s)
    if (!std::isspace(static_cast<unsigned char>(c))) out += c;
  return out;
}

std::string Upper(std::string s) {
  for (char& c : s) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return s;
}

std::string TrimLeft(std::string s, const std::string& chars) {
  std::size_t i = 0;
  while (i < s.size() && IsMember(s[i], chars)) ++i;
  s.erase(0, i);
  return s;
}

std::string TrimRight(std::string s, const std::string& chars) {
  std::size_t n = s.size();
  while (n > 0 && IsMember(s[n - 1], chars)) --n;
  s.resize(n);
  return s;
}

std::string Trim(std::string s, const std::string& chars) {
  return TrimLeft(TrimRight(std::move(s), chars), chars);
}

bool Similar(const std::string& a, const std::string& b) { return Trim(Upper(a)) == Trim(Upper(b)); }

std::string ChompWord(std::string& s, const std::string& delimiters) {
  s = TrimLeft(std::move(s), delimiters);
  std::size_t n = 0;
  while (n < s.size() && !IsMember(s[n], delimiters)) ++n;
  std::string word = s.substr(0, n);
  s.erase(0, n);
  return word;
}

bool Chomp(std::string& s, const std::string& prefix) {
  if (s.compare(0, prefix.size(), prefix) != 0) return false;
  s.erase(0, prefix.size());
  return true;
}

std::string Join(const std::string& separator, const std::vector<std::string>& parts) {
  std::string out;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    if (i) out += separator;
    out += parts[i];
  }
  return out;
}

std::vector<std::string> Split(std::string s, const std::string& delimiters) {
  std::vector<std::string> words;
  s = Trim(std::move(s));
  while (!s.empty()) words.push_back(ChompWord(s, delimiters));
  return words;
}

bool String2Integer(std::string s, int& out) {
  s = Trim(std::move(s));
  if (s.empty()) return false;
  for (char c : s)
    if (c < '0' || c > '9') return false;
  out = static_cast<int>(std::strtol(s.c_str(), nullptr, 10));
  return true;
}

bool String2Double(std::string s, double& out) {
  s = Trim(std::move(s));
  if (s.empty()) return false;
  char* end = nullptr;
  out = std::strtod(s.c_str(), &end);
  return end == s.c_str() + s.size();
}

std::string HexString(int value, int width, bool uppercase) {
  const char* digits = uppercase ? "0123456789ABCDEF" : "0123456789abcdef";
  auto bits = static_cast<std::uint32_t>(value);
  std::string out;
  do {
    out.insert(out.begin(), digits[bits & 0xF]);
    bits >>= 4;
  } while (bits);
  if (static_cast<int>(out.size()) < width) out.insert(0, static_cast<std::size_t>(width) - out.size(), '0');
  return out;
}

std::string PythonString(const void* data, unsigned long length, bool allHex) {
  const auto* bytes = static_cast<const unsigned char*>(data);
  std::string out = "\"";
  out.reserve(length * 4 + 2);
  for (unsigned long i = 0; i < length; ++i) {
    unsigned char b = bytes[i];
    if (allHex) {
      AppendHexByte(out, b);
    } else if (b == '\t') {
      out += "\\t";
    } else if (b == '\n') {
      out += "\\n";
    } else if (b == '\r') {
      out += "\\r";
    } else if (b >= 0x20 && b <= 0x7F && b != '\\' && b != '"') {
      out += static_cast<char>(b);  // 0x7F included on purpose
    } else {
      AppendHexByte(out, b);
    }
  }
  out += '"';
  return out;
}

}  // namespace QVT
