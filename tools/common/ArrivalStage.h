// When each sample reached this computer, as data beside the signals: a
// processing stage whose function runs on the acquisition thread for every
// sample and writes the CLOCK_MONOTONIC time and the headset's own time
// stamp into output channels of its own, so that a client takes them with
// the signals in one QVT_Headset_ReadChannels and feeds a SampleStamper.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "MonotonicClock.h"
#include "qvt/qvt.h"

namespace QVT::Tools {

struct ArrivalStage {
  QVT_ProcessingStage* stage = nullptr;  // owned by the headset
  QVT_Channel* arrival = nullptr;        // seconds, CLOCK_MONOTONIC
  QVT_Channel* headsetTime = nullptr;    // seconds on the headset's clock
};

// Appends the stage (named "arrival") to the headset's cascade, its channels
// holding bufferSeconds of samples at the headset's rate; nullopt when the
// library refuses (its error is left for ThrowIfFailed).
std::optional<ArrivalStage> AddArrivalStage(QVT_Headset* headset, double bufferSeconds);

// Takes the buffered samples of the stage, up to `most`: (headset time,
// arrival) pairs appended to headsetTimes and arrivals, in order. Returns
// how many.
std::size_t ReadArrivals(QVT_Headset* headset, const ArrivalStage& stage, std::vector<double>& headsetTimes,
                         std::vector<double>& arrivals, std::size_t most = SIZE_MAX);

}  // namespace QVT::Tools
