#include "ArrivalStage.h"

#include <algorithm>

namespace QVT::Tools {

namespace {

constexpr unsigned kArrivalChannel = 0;
constexpr unsigned kHeadsetTimeChannel = 1;

void WriteArrival(QVT_Headset* /*headset*/, double sampleTime, void* stage) {
  auto* self = static_cast<QVT_ProcessingStage*>(stage);
  QVT_ProcessingStage_Write(self, kArrivalChannel, MonotonicSeconds());
  QVT_ProcessingStage_Write(self, kHeadsetTimeChannel, sampleTime);
}

}  // namespace

std::optional<ArrivalStage> AddArrivalStage(QVT_Headset* headset, double bufferSeconds) {
  ArrivalStage added;
  added.stage = QVT_Headset_AddProcessingStage(headset, "arrival", WriteArrival, nullptr, nullptr);
  if (added.stage == nullptr) return std::nullopt;
  // It starts with copies of its input's channels, which it would never fill.
  QVT_ProcessingStage_ClearChannels(added.stage);
  const double samples = std::max(1.0, bufferSeconds * QVT_Headset_GetSamplingRate(headset));
  const auto size = static_cast<size_t>(std::min(samples, 16777216.0));
  added.arrival = QVT_ProcessingStage_AddChannel(added.stage, "Arrival", size);
  added.headsetTime = QVT_ProcessingStage_AddChannel(added.stage, "HeadsetTime", size);
  if (added.arrival == nullptr || added.headsetTime == nullptr) return std::nullopt;
  return added;
}

std::size_t ReadArrivals(QVT_Headset* headset, const ArrivalStage& stage, std::vector<double>& headsetTimes,
                         std::vector<double>& arrivals, std::size_t most) {
  constexpr std::size_t kChunk = 4096;
  QVT_Channel* const channels[] = {stage.headsetTime, stage.arrival};
  std::vector<double> out(2 * kChunk);
  std::size_t total = 0;
  while (total < most) {
    const std::size_t chunk = std::min(kChunk, most - total);
    const std::size_t taken = QVT_Headset_ReadChannels(headset, channels, 2, out.data(), chunk, nullptr);
    headsetTimes.insert(headsetTimes.end(), out.begin(), out.begin() + static_cast<std::ptrdiff_t>(taken));
    arrivals.insert(arrivals.end(), out.begin() + static_cast<std::ptrdiff_t>(chunk),
                    out.begin() + static_cast<std::ptrdiff_t>(chunk + taken));
    total += taken;
    if (taken < chunk) break;
  }
  return total;
}

}  // namespace QVT::Tools
