// The exported functions that wait for data within a time limit, wake such
// waits, and read many samples of many channels at once. Like every later
// function, they let no exception at all reach the client.
#include <span>

#include "api/Boundary.h"
#include "core/Headset.h"

using QVT::api::GuardedAll;
using QVT::api::GuardedVoid;
using QVT::api::kHeadset;
using Outcome = QVT::Headset::WaitOutcome;

static_assert(static_cast<int>(Outcome::Ready) == QVT_WAIT_READY);
static_assert(static_cast<int>(Outcome::TimedOut) == QVT_WAIT_TIMEOUT);
static_assert(static_cast<int>(Outcome::Woken) == QVT_WAIT_WOKEN);

extern "C" {

QVT_API int QVT_Headset_WaitForBatchTimeout(QVT_Headset* headset, double timeoutSeconds, double* batchTime) {
  return GuardedAll(0, [&] {
    QVT::Headset& h = *POINTER(headset, kHeadset);
    double timestamp = 0.0;
    const Outcome outcome = h.WaitForBatch(h.BoundedWait(timeoutSeconds), timestamp);
    if (outcome == Outcome::Ready && batchTime != nullptr) *batchTime = timestamp;
    return static_cast<int>(outcome);
  });
}

QVT_API int QVT_Headset_WaitForSamplesTimeout(QVT_Headset* headset, unsigned long n, double timeoutSeconds,
                                              unsigned long* buffered) {
  return GuardedAll(0, [&] {
    QVT::Headset& h = *POINTER(headset, kHeadset);
    const Outcome outcome = h.WaitForSamples(n, h.BoundedWait(timeoutSeconds));
    if (buffered != nullptr) *buffered = h.Buffered();
    return static_cast<int>(outcome);
  });
}

QVT_API void QVT_Headset_WakeWaiters(QVT_Headset* headset) {
  GuardedVoid<QVT::api::Foreign::Catch>([&] { POINTER(headset, kHeadset)->WakeWaiters(); });
}

QVT_API size_t QVT_Headset_ReadChannels(QVT_Headset* headset, QVT_Channel* const* channels, unsigned count,
                                        double* out, size_t maxSamples, unsigned long long* firstIndex) {
  return GuardedAll<size_t>(0, [&] {
    QVT::Headset& h = *POINTER(headset, kHeadset);
    if (channels == nullptr && count > 0) throw std::string("NULL channel list pointer");
    std::uint64_t first = 0;
    const size_t taken =
        h.ReadChannels(std::span<QVT::Channel* const>(channels, count), out, maxSamples, &first);
    if (firstIndex != nullptr) *firstIndex = first;
    return taken;
  });
}

}  // extern "C"
