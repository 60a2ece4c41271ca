#include "RecordingEvents.h"

#include <cctype>
#include <cmath>
#include <sstream>

namespace QVT::emulator {

namespace {

std::string Upper(std::string text) {
  for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

// The words of text; false when there are more than `most`.
bool Words(std::string_view text, std::size_t most, std::string* words) {
  std::istringstream in{std::string(text)};
  std::size_t n = 0;
  for (std::string word; in >> word; ++n) {
    if (n == most) return false;
    words[n] = word;
  }
  for (; n < most; ++n) words[n].clear();
  return true;
}

std::optional<double> Number(const std::string& word) {
  if (word.empty()) return std::nullopt;
  std::size_t used = 0;
  try {
    const double value = std::stod(word, &used);
    if (used == word.size() && std::isfinite(value)) return value;
  } catch (const std::exception&) {
  }
  return std::nullopt;
}

}  // namespace

std::optional<int> AnnotatedTrigger(std::string_view text) {
  std::string words[2];
  if (!Words(text, 2, words)) return std::nullopt;
  const std::string& number = words[1].empty() ? words[0] : words[1];
  if (!words[1].empty() && Upper(words[0]) != "TRG") return std::nullopt;
  const std::optional<double> value = Number(number);
  if (!value || *value != std::floor(*value) || *value < 1.0 || *value > 255.0) return std::nullopt;
  return static_cast<int>(*value);
}

std::optional<AnnotatedImpedance> AnnotatedImpedanceOf(std::string_view text) {
  std::string words[4];
  if (!Words(text, 4, words) || Upper(words[0]) != "Z" || Upper(words[3]) != "KOHM") return std::nullopt;
  const std::optional<double> value = Number(words[2]);
  if (!value || *value < 0.0) return std::nullopt;
  return AnnotatedImpedance{words[1], *value};
}

}  // namespace QVT::emulator
