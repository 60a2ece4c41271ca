// The truth file of the virtual headset: one line per stream, "stream T0
// RATE STAMP0" (see StreamTruth), so that tests and benchmarks can tell how
// far a client's time stamps are off.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace QVT::testing {

// When a stream's samples were truly taken: sample k of the stream (counting
// from 0 each time streaming starts, lost ones included) was complete at
// firstSample + k / rate on CLOCK_MONOTONIC, and carries the headset time
// stamp firstStamp + k / nominal rate.
struct StreamTruth {
  double firstSample = 0.0;  // seconds, CLOCK_MONOTONIC
  double rate = 0.0;         // samples per real second, drift included
  double firstStamp = 0.0;   // seconds on the headset's clock
};

std::string TruthLine(const StreamTruth& stream);

// Every stream of the file, in order; empty when it cannot be read.
std::vector<StreamTruth> ReadTruthFile(const std::string& path);

// When the sample stamped headsetTime by the headset was truly taken
// (seconds, CLOCK_MONOTONIC), by the latest stream that began at or before
// that stamp; nullopt when no stream did.
std::optional<double> TrueTime(const std::vector<StreamTruth>& streams, double nominalRate, double headsetTime);

}  // namespace QVT::testing
