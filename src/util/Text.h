// Byte-string helpers shared by the parsers, the sample path and the C
// interface. They work on bytes and know nothing of multi-byte encodings.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace QVT {

// Space, tab, carriage return and line feed; vertical tab and form feed are
// deliberately not whitespace here.
inline constexpr const char* kWhitespace = " \t\r\n";
// Between the words of a list of names: whitespace or commas.
inline constexpr const char* kListSeparators = " \t\r\n,";

std::string RemoveAllWhitespace(std::string s);
std::string Upper(std::string s);
std::string TrimLeft(std::string s, std::string_view chars = kWhitespace);
std::string TrimRight(std::string s, std::string_view chars = kWhitespace);
std::string Trim(std::string s, std::string_view chars = kWhitespace);

// Equal once case and surrounding whitespace are ignored; inner blanks count.
bool Similar(const std::string& a, const std::string& b);

// Removes and returns the first word of s; s keeps the delimiter that ended it.
std::string ChompWord(std::string& s, std::string_view delimiters = kWhitespace);

// Removes prefix from the front of s when s begins with it.
bool Chomp(std::string& s, const std::string& prefix);

std::string Join(const std::string& separator, const std::vector<std::string>& parts);

// Runs of delimiters count as one; trailing delimiters give one empty word.
std::vector<std::string> Split(std::string_view s, std::string_view delimiters = kWhitespace);

// Digits only (no sign); out is untouched on failure.
bool String2Integer(std::string s, int& out);

// Stores whatever strtod parsed, but succeeds only if it consumed everything.
bool String2Double(std::string s, double& out);

// Zero-padded hexadecimal; negative values as 32-bit two's complement.
std::string HexString(int value, int width = 0, bool uppercase = false);

// The bytes as a double-quoted literal with \t \n \r and \xHH escapes.
std::string PythonString(const void* data, unsigned long length, bool allHex = false);

}  // namespace QVT
