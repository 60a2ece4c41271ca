#include "Tables.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace QVT::Stream {

namespace {

std::size_t NameWidth(std::size_t longest) { return std::max<std::size_t>(longest, 8); }

std::string Padded(const std::string& text, std::size_t width) {
  return text + std::string(width > text.size() ? width - text.size() : 0, ' ');
}

std::string Number(const char* format, double value) {
  char text[64];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

}  // namespace

std::string FormatImpedanceTable(const std::vector<ElectrodeImpedance>& electrodes, double goodBelowKOhm) {
  std::size_t longest = 0;
  for (const auto& electrode : electrodes) longest = std::max(longest, electrode.name.size());
  const std::size_t width = NameWidth(longest);
  std::string table = Padded("electrode", width + 2) + "impedance\n";
  for (const auto& electrode : electrodes) {
    table += Padded(electrode.name, width + 2);
    if (electrode.reference)
      table += "      reference\n";
    else if (electrode.kOhm < 0.0)
      table += "   not measured\n";
    else {
      // Judged as printed: two lines that read the same never differ.
      const std::string shown = Number("%8.1f", electrode.kOhm);
      table +=
          shown + " kOhm" + (std::strtod(shown.c_str(), nullptr) < goodBelowKOhm ? "  good\n" : "  poor\n");
    }
  }
  return table;
}

std::string FormatChannelTable(const std::vector<ChannelRow>& rows) {
  std::size_t longest = 0;
  bool impedances = false;
  for (const auto& row : rows) {
    longest = std::max(longest, row.name.size());
    impedances = impedances || row.impedanceKOhm >= 0.0;
  }
  const std::size_t width = NameWidth(longest);
  std::string table = Padded("channel", width) + "          mean           rms            sd";
  table += impedances ? "      impedance\n" : "\n";
  for (const auto& row : rows) {
    const ChannelStatistics& s = row.statistics;
    table += Padded(row.name, width) + Number("%14.3f", s.Mean()) + Number("%14.3f", s.Rms()) +
             Number("%14.3f", s.StandardDeviation());
    if (impedances)
      table +=
          row.impedanceKOhm >= 0.0 ? Number("%10.1f kOhm", row.impedanceKOhm) : std::string("             -");
    table += "\n";
  }
  return table;
}

}  // namespace QVT::Stream
