#include "util/Text.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdlib>

namespace QVT {

namespace {

bool IsMember(char c, std::string_view chars) { return chars.find(c) != std::string_view::npos; }

std::string_view TrimmedView(std::string_view s) {
  while (!s.empty() && IsMember(s.front(), kWhitespace)) s.remove_prefix(1);
  while (!s.empty() && IsMember(s.back(), kWhitespace)) s.remove_suffix(1);
  return s;
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

std::string TrimLeft(std::string s, std::string_view chars) {
  std::size_t i = 0;
  while (i < s.size() && IsMember(s[i], chars)) ++i;
  s.erase(0, i);
  return s;
}

std::string TrimRight(std::string s, std::string_view chars) {
  std::size_t n = s.size();
  while (n > 0 && IsMember(s[n - 1], chars)) --n;
  s.resize(n);
  return s;
}

std::string Trim(std::string s, std::string_view chars) {
  return TrimLeft(TrimRight(std::move(s), chars), chars);
}

// Called for every source and alias while matching names, so nothing is copied.
bool Similar(const std::string& a, const std::string& b) {
  const std::string_view x = TrimmedView(a), y = TrimmedView(b);
  return x.size() == y.size() && std::equal(x.begin(), x.end(), y.begin(), [](char p, char q) {
           return std::toupper(static_cast<unsigned char>(p)) == std::toupper(static_cast<unsigned char>(q));
         });
}

std::string ChompWord(std::string& s, std::string_view delimiters) {
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

// One pass over the text: lists of sources and channels can be long.
std::vector<std::string> Split(std::string_view s, std::string_view delimiters) {
  std::vector<std::string> words;
  s = TrimmedView(s);
  while (!s.empty()) {
    std::size_t start = 0;
    while (start < s.size() && IsMember(s[start], delimiters)) ++start;
    s.remove_prefix(start);
    std::size_t n = 0;
    while (n < s.size() && !IsMember(s[n], delimiters)) ++n;
    words.emplace_back(s.substr(0, n));
    s.remove_prefix(n);
  }
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
  static const char digits[] = "0123456789ABCDEF";
  const auto* bytes = static_cast<const unsigned char*>(data);
  if (length > (std::string().max_size() - 2) / 4)
    throw "cannot print a buffer of " + std::to_string(length) + " bytes";
  // Written through a pointer into room for the worst case, then cut to
  // size: every block is dumped this way at the highest verbosity.
  std::string out(length * 4 + 2, '\0');
  char* p = out.data();
  *p++ = '"';
  for (unsigned long i = 0; i < length; ++i) {
    const unsigned char b = bytes[i];
    const char escaped = b == '\t' ? 't' : b == '\n' ? 'n' : b == '\r' ? 'r' : '\0';
    if (!allHex && escaped) {
      *p++ = '\\';
      *p++ = escaped;
    } else if (!allHex && b >= 0x20 && b <= 0x7F && b != '\\' && b != '"') {
      *p++ = static_cast<char>(b);  // 0x7F included on purpose
    } else {
      *p++ = '\\';
      *p++ = 'x';
      *p++ = digits[b >> 4];
      *p++ = digits[b & 0x0F];
    }
  }
  *p++ = '"';
  out.resize(static_cast<std::size_t>(p - out.data()));
  return out;
}

}  // namespace QVT
