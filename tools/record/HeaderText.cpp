#include "HeaderText.h"

#include <array>
#include <cstdint>
#include <optional>

namespace QVT::Record {

namespace {

// U+00C0 to U+00FF, one entry each.
constexpr std::array<std::string_view, 64> kLatin1 = {
    "A", "A", "A", "A", "Ae", "A", "AE", "C", "E", "E", "E", "E", "I",  "I", "I",  "I",
    "D", "N", "O", "O", "O",  "O", "Oe", "x", "O", "U", "U", "U", "Ue", "Y", "Th", "ss",
    "a", "a", "a", "a", "ae", "a", "ae", "c", "e", "e", "e", "e", "i",  "i", "i",  "i",
    "d", "n", "o", "o", "o",  "o", "oe", "/", "o", "u", "u", "u", "ue", "y", "th", "y"};

// U+0100 to U+017F: the letter without its mark; '*' where it takes two.
constexpr std::string_view kLatinExtendedA =
    "AaAaAaCcCcCcCcDdDdEeEeEeEeEeGgGgGgGgHhHhIiIiIiIiIi**JjKkkLlLlLlLlLlNnNnNnnNnOoOoOo**"
    "RrRrRrSsSsSsSsTtTtTtUuUu"
    "UuUuUuUuWwYyYZzZzZzs";
static_assert(kLatinExtendedA.size() == 0x80);

std::string_view Plain(std::uint32_t code) {
  if (code >= 0xC0 && code <= 0xFF) return kLatin1[code - 0xC0];
  if (code >= 0x100 && code <= 0x17F) {
    switch (code) {
      case 0x132:
        return "IJ";
      case 0x133:
        return "ij";
      case 0x152:
        return "OE";
      case 0x153:
        return "oe";
      default:
        return kLatinExtendedA.substr(code - 0x100, 1);
    }
  }
  switch (code) {
    case 0xA0:
      return " ";
    case 0xB5:
      return "u";
    case 0x2010:
    case 0x2011:
    case 0x2012:
    case 0x2013:
    case 0x2014:
      return "-";
    case 0x2018:
    case 0x2019:
      return "'";
    case 0x201C:
    case 0x201D:
      return "\"";
    default:
      return "?";
  }
}

// The code point starting at text[at], and how many bytes it took; none
// for a byte that starts no valid sequence.
std::optional<std::uint32_t> Decode(std::string_view text, std::size_t at, std::size_t& length) {
  const auto byte = [&](std::size_t i) { return static_cast<std::uint8_t>(text[i]); };
  const std::uint8_t lead = byte(at);
  length = 1;
  if (lead < 0x80) return lead;
  const std::size_t extra = lead >= 0xF0 && lead < 0xF5 ? 3 : lead >= 0xE0 ? 2 : lead >= 0xC2 ? 1 : 0;
  if (extra == 0 || lead >= 0xF5 || at + extra >= text.size()) return std::nullopt;
  std::uint32_t code = lead & (0x3F >> extra);
  for (std::size_t i = 1; i <= extra; ++i) {
    if ((byte(at + i) & 0xC0) != 0x80) return std::nullopt;
    code = (code << 6) | (byte(at + i) & 0x3F);
  }
  // Overlong forms and surrogates are not text.
  constexpr std::uint32_t kLeast[] = {0, 0x80, 0x800, 0x10000};
  if (code < kLeast[extra] || (code >= 0xD800 && code <= 0xDFFF) || code > 0x10FFFF) return std::nullopt;
  length = extra + 1;
  return code;
}

}  // namespace

std::string AsciiText(std::string_view utf8) {
  std::string ascii;
  ascii.reserve(utf8.size());
  std::size_t length = 1;
  for (std::size_t at = 0; at < utf8.size(); at += length) {
    const std::optional<std::uint32_t> code = Decode(utf8, at, length);
    if (!code)
      ascii += '?';
    else if (*code < 0x20 || *code == 0x7F)
      ascii += ' ';
    else if (*code < 0x80)
      ascii += static_cast<char>(*code);
    else
      ascii += Plain(*code);
  }
  return ascii;
}

HeaderField FitHeaderField(std::string_view utf8, std::size_t width) {
  HeaderField field{AsciiText(utf8), false};
  for (char& c : field.text)
    if (c == ' ') c = '_';
  if (field.text.size() > width) {
    field.text.resize(width);
    field.cut = true;
  }
  return field;
}

}  // namespace QVT::Record
