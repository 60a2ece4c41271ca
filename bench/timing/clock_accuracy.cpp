// How close the acquisition stamps come to the truth: run as the client of
// the virtual headset, which writes when each sample was truly taken.
//   qvt-emulator --rate 600 --drift 200 --jitter 10 --truth T --
//     clock_accuracy T SECONDS [CSV]
// Streams for SECONDS with the arrival stage on the acquisition thread,
// stamps every sample as a client would (SampleStamper, in order, causal),
// then prints against the truth:
//   - the rms of successive stamp differences minus the true period;
//   - the worst stamp error from 10 s on, and its mean;
//   - the fitted drift against the true one;
//   - the arrival latency (min, median, max), the delivery it had to see through.
// CSV, when named, gets one line per sample: true time from the first
// sample, stamp error and arrival latency in ms, for docs/timing_plot.py.
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

constexpr double kSettleSeconds = 10.0;  // errors count from here on

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: %s TRUTH_FILE SECONDS [CSV]\n", argv[0]);
    return 2;
  }
  const double seconds = std::stod(argv[2]);
  QVT_Headset* headset = QVT_Headset_New("DEFAULT");
  if (headset == nullptr) {
    std::fprintf(stderr, "clock_accuracy: cannot connect: %s\n", QVT_Error());
    return 1;
  }
  QVT_Headset_SetVerbosity(headset, 0);
  const double rate = QVT_Headset_GetSamplingRate(headset);
  const auto stage = QVT::Tools::AddArrivalStage(headset, seconds + 10.0);
  if (!stage) {
    std::fprintf(stderr, "clock_accuracy: no arrival stage: %s\n", QVT_Error());
    QVT_Headset_Delete(headset);
    return 1;
  }
  QVT_Headset_Receive(headset, seconds, 0.2);
  std::vector<double> headsetTimes, arrivals;
  QVT::Tools::ReadArrivals(headset, *stage, headsetTimes, arrivals);
  QVT_Headset_Delete(headset);

  const auto truth = QVT::testing::ReadTruthFile(argv[1]);
  if (truth.empty() || headsetTimes.empty()) {
    std::fprintf(stderr, "clock_accuracy: no truth or no samples\n");
    return 1;
  }
  std::FILE* csv = argc > 3 ? std::fopen(argv[3], "w") : nullptr;
  QVT::Tools::SampleStamper stamper(rate);
  const double trueRate = truth.back().rate;
  double firstTrue = 0.0, lastStamp = 0.0, lastTrue = 0.0, squares = 0.0, worst = 0.0, errorSum = 0.0;
  long steps = 0, settled = 0;
  std::vector<double> latencies;
  for (std::size_t i = 0; i < headsetTimes.size(); ++i) {
    const double stamp = stamper.Stamp(headsetTimes[i], arrivals[i]);
    const auto trueTime = QVT::testing::TrueTime(truth, rate, headsetTimes[i]);
    if (!trueTime) continue;
    if (i == 0) firstTrue = *trueTime;
    if (i > 0 && std::fabs(*trueTime - lastTrue - 1.0 / trueRate) < 0.25 / trueRate) {
      squares += std::pow(stamp - lastStamp - 1.0 / trueRate, 2);
      ++steps;
    }
    const double error = stamp - *trueTime;
    latencies.push_back(arrivals[i] - *trueTime);
    if (*trueTime - firstTrue >= kSettleSeconds) {
      worst = std::max(worst, std::fabs(error));
      errorSum += error;
      ++settled;
    }
    if (csv != nullptr)
      std::fprintf(csv, "%.6f,%.4f,%.4f\n", *trueTime - firstTrue, error * 1e3, latencies.back() * 1e3);
    lastStamp = stamp;
    lastTrue = *trueTime;
  }
  if (csv != nullptr) std::fclose(csv);
  std::sort(latencies.begin(), latencies.end());
  const auto& model = stamper.Model();
  std::printf("samples %zu  lost %llu in %u gaps  restarts %u\n", headsetTimes.size(),
              static_cast<unsigned long long>(stamper.Timeline().LostSamples()), stamper.Timeline().Gaps(),
              model.Restarts());
  std::printf("successive stamps - true period, rms: %.4f ms\n",
              steps > 0 ? std::sqrt(squares / static_cast<double>(steps)) * 1e3 : 0.0);
  std::printf("stamp error from %.0f s on: worst %.3f ms, mean %.3f ms\n", kSettleSeconds, worst * 1e3,
              settled > 0 ? errorSum / static_cast<double>(settled) * 1e3 : 0.0);
  std::printf("drift: fitted %.1f ppm, true %.1f ppm, error %.1f ppm\n", model.DriftPpm(),
              (trueRate / rate - 1.0) * 1e6, model.DriftPpm() - (trueRate / rate - 1.0) * 1e6);
  std::printf("arrival latency: min %.3f ms, median %.3f ms, max %.3f ms\n", latencies.front() * 1e3,
              latencies[latencies.size() / 2] * 1e3, latencies.back() * 1e3);
  return 0;
}
