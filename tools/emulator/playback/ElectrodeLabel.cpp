#include "ElectrodeLabel.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <utility>

namespace QVT::emulator {

namespace {

std::string Upper(std::string_view text) {
  std::string upper(text);
  for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return upper;
}

std::string_view Trimmed(std::string_view text) {
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front()))) text.remove_prefix(1);
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back()))) text.remove_suffix(1);
  return text;
}

// What a referential recording names as its reference after the dash.
constexpr std::array<std::string_view, 14> kReferenceWords = {
    "REF", "LE", "RE", "AR", "AV", "AVG", "CAR", "A1", "A2", "A1A2", "M1", "M2", "M1M2", "LM"};

}  // namespace

std::string ElectrodeOfLabel(std::string_view label) {
  std::string_view text = Trimmed(label);
  if (text.size() > 4 && Upper(text.substr(0, 4)) == "EEG ") text = Trimmed(text.substr(4));
  const std::size_t dash = text.find('-');
  if (dash != std::string_view::npos && dash > 0) {
    const std::string reference = Upper(Trimmed(text.substr(dash + 1)));
    if (std::find(kReferenceWords.begin(), kReferenceWords.end(), reference) != kReferenceWords.end())
      text = Trimmed(text.substr(0, dash));
  }
  return std::string(text);
}

double MicrovoltsPerUnit(std::string_view unit) {
  constexpr std::array<std::pair<std::string_view, double>, 5> kUnits = {
      {{"UV", 1.0}, {"\xC2\xB5V", 1.0}, {"MV", 1e3}, {"V", 1e6}, {"NV", 1e-3}}};
  const std::string key = Upper(Trimmed(unit));
  for (const auto& [name, factor] : kUnits)
    if (key == name) return factor;
  return 1.0;
}

}  // namespace QVT::emulator
