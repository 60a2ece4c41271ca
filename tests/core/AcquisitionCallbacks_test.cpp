// Calls from a callback on a real acquisition thread that could only wait
// for themselves are refused with a clear error. Callbacks that read reports
// or are changed while they are delivered are the stress client's ground,
// against the virtual headset.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "headset/HeadsetWire.h"
#include "qvt/qvt.h"
#include "support/TestHeadsets.h"
#include "util/Timing.h"

namespace {

using namespace QVT;
using namespace QVT::testing;
namespace Wire = QVT::testing;

bool WaitUntil(const std::function<bool()>& condition, double seconds) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    Sleep(0.002);
  }
  return true;
}

// Run from inside a sample callback on the acquisition thread.
struct InsideCallback {
  const char* what;
  std::function<void(Headset&)> call;
  std::string expected;
};

std::vector<InsideCallback> gInside;
std::vector<std::string> gInsideResults;
std::atomic<bool> gInsideDone{false};

void RunInsideCallback(Headset* headset, double, void*) {
  if (gInsideDone) return;
  for (const InsideCallback& c : gInside) gInsideResults.push_back(ThrownMessage([&] { c.call(*headset); }));
  gInsideDone = true;
}

TEST(AcquisitionCallbacks, CallsThatWouldWaitForThemselvesAreRefused) {
  const auto h = MakeSimulatedHeadset();
  const std::string reading = " from inside a callback that runs while the headset reads its link.";
  gInside = {
      // A simulated link takes any command at once; a real one refuses (the stress client).
      {"command", [](Headset& x) { x.StartDataAcquisition(); }, "(no failure)"},
      {"samples", [](Headset& x) { x.WaitForSamples(1); }, "Cannot wait for samples" + reading},
      {"batch", [](Headset& x) { x.WaitForBatch(); }, "Cannot wait for a batch" + reading},
      {"restart", [](Headset& x) { x.StartBackgroundAcquisition(); },
       "Cannot start background acquisition" + reading},
      {"watchdog", [](Headset& x) { x.SetWatchdogInterval(1.0); },
       "Cannot change the watchdog interval" + reading},
      {"disconnect", [](Headset& x) { x.Disconnect(); }, "Cannot disconnect" + reading},
      {"idle", [](Headset& x) { x.Idle(0.1); },
       "Cannot read the headset's link from inside a callback of a block being read."},
      {"connected", [](Headset& x) { EXPECT_TRUE(x.IsConnected()); }, "(no failure)"},
      {"stop", [](Headset& x) { x.StopBackgroundAcquisition(); }, "(no failure)"},
  };
  h->sampleCallback.Set(RunInsideCallback);
  // Fed before the thread starts: a simulated link counts as streaming, and
  // while its queue is empty the thread holds the read lock that feeding needs.
  const std::string block = Wire::EncodeBlock(0, 0, {}, Wire::EncodeDataPacket(0, std::string(49, '\0')));
  h->FeedFakeData(block.data(), block.size());
  ASSERT_TRUE(h->StartBackgroundAcquisition());
  ASSERT_TRUE(WaitUntil([] { return gInsideDone.load(); }, 2.0)) << "a call hung";
  ASSERT_EQ(gInsideResults.size(), gInside.size());
  for (std::size_t i = 0; i < gInside.size(); ++i)
    EXPECT_EQ(gInsideResults[i], gInside[i].expected) << gInside[i].what;
  EXPECT_TRUE(WaitUntil([&] { return h->acquisitionThread.Finished(); }, 2.0));
}

// The acquisition thread's sample callback wakes two client threads that
// wait for more than will ever come.
TEST(AcquisitionCallbacks, ASampleCallbackWakesTheWaitersOfOtherThreads) {
  const auto h = MakeSimulatedHeadset();
  std::vector<std::thread> waiters;
  std::vector<int> outcomes(2, 0);
  for (int i = 0; i < 2; ++i)
    waiters.emplace_back([&, i] {
      double stamp = 0.0;
      outcomes[i] = i == 0 ? QVT_Headset_WaitForSamplesTimeout(h.get(), 2000, 30.0, nullptr)
                           : QVT_Headset_WaitForBatchTimeout(h.get(), 30.0, &stamp);
    });
  Sleep(0.1);
  h->sampleCallback.Set([](Headset* x, double, void*) { QVT_Headset_WakeWaiters(x); });
  const std::string block = Wire::EncodeBlock(0, 0, {}, Wire::EncodeDataPacket(0, std::string(49, '\0')));
  h->FeedFakeData(block.data(), block.size());
  ASSERT_TRUE(h->StartBackgroundAcquisition());
  for (std::thread& waiter : waiters) waiter.join();
  EXPECT_EQ(outcomes, (std::vector<int>{QVT_WAIT_WOKEN, QVT_WAIT_WOKEN}));
  h->StopBackgroundAcquisition();
}

// With the acquisition thread reading, a wait sleeps until the thread has
// read the samples it waits for, and a lost link ends it at once: well
// before the 30 s limit either way.
TEST(AcquisitionCallbacks, ThreadWakesWaitsWithTheirSamplesOrALostLink) {
  using Outcome = Headset::WaitOutcome;
  const auto h = MakeSimulatedHeadset();
  ASSERT_TRUE(h->StartBackgroundAcquisition());
  ASSERT_TRUE(WaitUntil([&] { return h->acquisitionReading.load(); }, 5.0));
  const std::function<void()> arrivals[] = {
      [&] {
        std::string packets;
        for (int n = 0; n < 3; ++n)
          packets += Wire::EncodeDataPacket(static_cast<std::uint8_t>(n), std::string(49, '\0'));
        const std::string block = Wire::EncodeBlock(0, 0, {}, packets);
        h->FeedFakeData(block.data(), block.size());
      },
      [&] { h->MarkLinkLost(); },
  };
  const std::string expected[] = {"(no failure)", "QVT link lost: cannot wait for samples"};
  for (int i = 0; i < 2; ++i) {
    Outcome outcome = Outcome::TimedOut;
    std::string thrown;
    double ended = 0.0;
    std::thread waiter([&] {
      thrown = ThrownMessage([&] { outcome = h->WaitForSamples(3 * (i + 1), h->BoundedWait(30.0)); });
      ended = PrecisionTime();
    });
    Sleep(0.1);
    const double arrived = PrecisionTime();
    arrivals[i]();
    waiter.join();
    EXPECT_EQ(thrown, expected[i]);
    EXPECT_LT(ended - arrived, 5.0) << expected[i];
    if (i == 0) {
      EXPECT_EQ(outcome, Outcome::Ready);
    }
  }
  h->StopBackgroundAcquisition();
}

// Bulk reads while the acquisition thread writes: every sample once, in
// order, the same number from each channel.
TEST(AcquisitionCallbacks, BulkReadsTakeEverySampleOnceWhileTheThreadWrites) {
  const auto h = MakeSimulatedHeadset();
  constexpr int kBlocks = 100, kPerBlock = 9;
  for (int block = 0; block < kBlocks; ++block) {
    std::string packets;
    for (int i = 0; i < kPerBlock; ++i) {
      // Fz (slot 4) counts the samples, so each value tells its index.
      const int n = block * kPerBlock + i;
      std::string body(49, '\0');
      body.replace(1 + 2 * 4, 2, Wire::U16LE(static_cast<std::uint16_t>(n)));
      packets += Wire::EncodeDataPacket(static_cast<std::uint8_t>(n), body);
    }
    const std::string bytes = Wire::EncodeBlock(static_cast<std::uint16_t>(block), 0, {}, packets);
    h->FeedFakeData(bytes.data(), bytes.size());
  }
  const double gain = h->GetChannelByIndex(0)->sources[0]->gain;
  ASSERT_TRUE(h->StartBackgroundAcquisition());
  std::vector<double> out(2 * 64);
  std::uint64_t taken = 0;
  bool inOrder = true;
  const double end = PrecisionTime() + 20.0;
  while (taken < kBlocks * kPerBlock && PrecisionTime() < end) {
    unsigned long long first = 0;
    const std::size_t n = QVT_Headset_ReadChannels(h.get(), nullptr, 0, out.data(), 64, &first);
    inOrder = inOrder && first == taken;
    for (std::size_t k = 0; k < n; ++k)
      inOrder = inOrder && std::lround(out[k] / gain) == static_cast<long>(taken + k);
    taken += n;
    if (n == 0) Sleep(0.001);
  }
  h->StopBackgroundAcquisition();
  EXPECT_EQ(taken, static_cast<std::uint64_t>(kBlocks * kPerBlock));
  EXPECT_TRUE(inOrder);
  EXPECT_EQ(h->GetChannelByIndex(1)->buffer.Count(), 0u);
}

}  // namespace
