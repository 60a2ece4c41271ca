// The tables qvt-stream prints: electrode impedances and the per-channel
// summary at the end of a stream.
#pragma once

#include <string>
#include <vector>

#include "ChannelStatistics.h"
#include "ElectrodeImpedance.h"

namespace QVT::Stream {

using Tools::ElectrodeImpedance;

struct ChannelRow {
  std::string name;
  ChannelStatistics statistics;
  double impedanceKOhm = -1.0;
};

// One line per electrode, marked "good" when its value as printed is below
// goodBelowKOhm and "poor" otherwise.
std::string FormatImpedanceTable(const std::vector<ElectrodeImpedance>& electrodes, double goodBelowKOhm);

// One line per channel: name, mean, RMS, standard deviation and, when any
// channel has one, the impedance.
std::string FormatChannelTable(const std::vector<ChannelRow>& rows);

}  // namespace QVT::Stream
