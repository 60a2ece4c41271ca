// Run under qvt-emulator --rate 600 --drift PPM --jitter MS --truth FILE:
// the virtual headset's clock runs off by PPM, its blocks come late by up
// to MS in order, and FILE says when each sample was truly taken.
//   emulator_clock_client FILE PPM MS
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "ArrivalStage.h"
#include "SampleStamper.h"
#include "headset/TruthFile.h"
#include "qvt/qvt.h"

namespace {

// Long enough for the fitted drift to settle well inside its bound even when
// a busy machine delays some arrivals: the slope's error shrinks with the span.
constexpr double kSeconds = 10.0;
constexpr int kPacketsPerBlock = 6;  // the virtual headset's

int failures = 0;

void Check(bool ok, const char* what, double value) {
  if (ok) return;
  std::fprintf(stderr, "emulator_clock_client: %s (%g)\n", what, value);
  ++failures;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4) return 2;
  const double driftPpm = std::stod(argv[2]);
  const double jitterSeconds = std::stod(argv[3]) / 1000.0;
  QVT_Headset* headset = QVT_Headset_New("DEFAULT");
  if (headset == nullptr) return 1;
  const double rate = QVT_Headset_GetSamplingRate(headset);
  const auto stage = QVT::Tools::AddArrivalStage(headset, kSeconds + 5.0);
  if (!stage) return 1;
  QVT_Headset_Receive(headset, kSeconds, 0.2);
  std::vector<double> headsetTimes, arrivals;
  QVT::Tools::ReadArrivals(headset, *stage, headsetTimes, arrivals);
  QVT_Headset_Delete(headset);

  const auto truth = QVT::testing::ReadTruthFile(argv[1]);
  Check(truth.size() == 1, "one stream in the truth file", static_cast<double>(truth.size()));
  if (truth.empty() || static_cast<double>(headsetTimes.size()) < rate) return 1;
  Check(std::fabs(truth[0].rate - rate * (1.0 + driftPpm * 1e-6)) < 1e-6, "the true rate has the drift",
        truth[0].rate);

  QVT::Tools::SampleStamper stamper(rate);
  double earliest = 1e9;
  std::vector<double> blockEnds;  // latency of each block's last sample
  for (std::size_t i = 0; i < headsetTimes.size(); ++i) {
    stamper.Stamp(headsetTimes[i], arrivals[i]);
    const double latency = arrivals[i] - *QVT::testing::TrueTime(truth, rate, headsetTimes[i]);
    earliest = std::min(earliest, latency);
    const auto k = std::lround((headsetTimes[i] - truth[0].firstStamp) * rate);
    if (k % kPacketsPerBlock == kPacketsPerBlock - 1) blockEnds.push_back(latency);
    if (i > 0) Check(headsetTimes[i] > headsetTimes[i - 1], "blocks keep their order", headsetTimes[i]);
  }
  Check(earliest >= -1e-4, "no sample arrives before it was taken", earliest);
  std::sort(blockEnds.begin(), blockEnds.end());
  // Uniform delays up to MS, and no block overtaking the one before it.
  Check(blockEnds[blockEnds.size() / 2] > 0.3 * jitterSeconds, "blocks are held back", blockEnds[blockEnds.size() / 2]);
  Check(std::fabs(stamper.Model().DriftPpm() - driftPpm) < 300.0, "the drift shows in the arrivals",
        stamper.Model().DriftPpm());
  return failures == 0 ? 0 : 1;
}
