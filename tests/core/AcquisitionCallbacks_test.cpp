// Calls from a callback on a real acquisition thread that could only wait
// for themselves are refused with a clear error. Callbacks that read reports
// or are changed while they are delivered are the stress client's ground,
// against the virtual headset.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "headset/HeadsetWire.h"
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

}  // namespace
