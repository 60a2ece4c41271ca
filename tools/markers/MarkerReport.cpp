#include "MarkerReport.h"

#include <algorithm>
#include <utility>

namespace QVT::Markers {
namespace {

// The length of the well-formed UTF-8 character at the front of text, or 0.
std::size_t CharacterLength(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char lead = byte(0);
  std::size_t length = 0;
  unsigned lowest = 0;  // the smallest code point of that length: shorter forms are ill-formed
  if (lead < 0x80) return 1;
  if ((lead & 0xE0) == 0xC0) {
    length = 2;
    lowest = 0x80;
  } else if ((lead & 0xF0) == 0xE0) {
    length = 3;
    lowest = 0x800;
  } else if ((lead & 0xF8) == 0xF0) {
    length = 4;
    lowest = 0x10000;
  } else {
    return 0;
  }
  if (text.size() < length) return 0;
  unsigned code = lead & (0x7F >> length);
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return 0;
    code = (code << 6) | (byte(i) & 0x3F);
  }
  const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
  return code >= lowest && code <= 0x10FFFF && !surrogate ? length : 0;
}

}  // namespace

std::string MarkerStatus(const std::map<std::string, SourceCounts>& counts) {
  std::string text;
  for (const auto& [source, count] : counts)
    text += (text.empty() ? "markers " : ", ") + source + " " + std::to_string(count.received);
  return text;
}

std::string MarkerSummary(const std::map<std::string, SourceCounts>& counts, const MarkerPlacer& placer) {
  std::string text;
  for (const auto& [source, count] : counts) {
    text += "Markers from " + source + ": " + std::to_string(count.received) + " received";
    if (count.dropped > 0) text += ", " + std::to_string(count.dropped) + " dropped (they came too fast)";
    if (count.cut > 0) text += ", " + std::to_string(count.cut) + " cut to 64 KiB";
    text += "\n";
  }
  const std::pair<Placement, const char*> odd[] = {{Placement::BeforeFirst, "before the first sample"},
                                                   {Placement::AfterLast, "after the last sample"},
                                                   {Placement::InGap, "where samples were lost"},
                                                   {Placement::Late, "too late for their time"}};
  for (const auto& [where, what] : odd)
    if (const auto n = placer.Placed(where))
      text += std::to_string(n) + " markers " + what + " are at the nearest sample\n";
  if (placer.Dropped() > 0)
    text += std::to_string(placer.Dropped()) + " markers came with no sample to put them at\n";
  return text;
}

std::string PrintableText(std::string_view text) {
  std::string printable;
  printable.reserve(text.size());
  while (!text.empty()) {
    const std::size_t length = CharacterLength(text);
    const auto lead = static_cast<unsigned char>(text[0]);
    if (length == 0)
      printable += '?';
    else if (length == 1 && (lead < 0x20 || lead == 0x7F))
      printable += ' ';
    else
      printable.append(text.substr(0, length));
    text.remove_prefix(std::max<std::size_t>(length, 1));
  }
  return printable;
}

}  // namespace QVT::Markers
