// What qvt-stream tells about a connected headset, and the impedance check.
#pragma once

#include <cstdio>
#include <vector>

#include "ProgressDisplay.h"
#include "Tables.h"
#include "qvt/qvt.h"

namespace QVT::Stream {

// Identity, firmware, battery, sampling rate and montage.
void PrintIdentity(QVT_Headset* headset, std::FILE* out);

// Runs the impedance driver while streaming for the given seconds and
// returns the impedance of every referential EEG electrode; the driver is
// stopped again, also on failure.
std::vector<ElectrodeImpedance> MeasureImpedances(QVT_Headset* headset, double seconds,
                                                  ProgressDisplay& display);

// The montage channels' names and batch-read statistics.
std::vector<ChannelRow> StreamChannels(QVT_Headset* headset, double seconds, ProgressDisplay& display,
                                       Progress& progress);

// The queued alarm codes, taken off the queue; at most limit of them.
std::vector<int> TakeAlarms(QVT_Headset* headset, unsigned& total, unsigned limit);

}  // namespace QVT::Stream
