// Callbacks on a real acquisition thread: a message callback that reads what
// the reader is in the middle of changing, and calls that could only wait
// for themselves refused with a clear error. Callbacks changed by another
// thread while they are delivered are the stress client's ground, against
// the virtual headset.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
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

// The callbacks are plain functions, as a C client's are; they reach the
// test through these.
Headset* gHeadset = nullptr;
std::atomic<int> gAlarmsSeenInCallback{-1};

// Reads the queue and the reports, as a client reacting to an alarm would.
int ReactToAlarm(const char* message, int) {
  if (std::string(message).find("issued alarm") != std::string::npos) {
    gHeadset->InfoString();
    gHeadset->BatteryLevel();
    gHeadset->GetAlarm(false);
    gAlarmsSeenInCallback = static_cast<int>(gHeadset->NumberOfAlarms());
  }
  return 0;
}

class AcquisitionCallbacks : public ::testing::Test {
 protected:
  void SetUp() override {
    gHeadset = h.get();
    gAlarmsSeenInCallback = -1;
    h->messageCallback.Set(nullptr);
    h->SimulateInput();
    h->samplingRate = 300.0;
    h->ChooseChannels("Fz Cz", "", false);
  }
  // A simulated link counts as streaming, so the thread reads what is fed.
  // While the queue is empty the thread waits for bytes holding the read
  // lock, which also holds up feeding; so the tests feed first where it
  // matters.
  void Start() { ASSERT_TRUE(h->StartBackgroundAcquisition()); }
  void TearDown() override { h.reset(); }

  void Feed(const std::string& packets) {
    const std::string block = Wire::EncodeBlock(blockNumber++, 0, {}, packets);
    h->FeedFakeData(block.data(), block.size());
  }

  std::unique_ptr<Headset> h = MakeHeadset(TenTwentyLayout());
  std::uint16_t blockNumber = 0;
};

TEST_F(AcquisitionCallbacks, AMessageCallbackMayReadTheAlarmQueueAndReports) {
  h->messageCallback.Set(ReactToAlarm);
  Feed(Wire::EncodeAlarm(2, 36, 0, "") + Wire::EncodeAlarm(2, 36, 0, ""));  // two "SDCardAbsent"
  Start();
  ASSERT_TRUE(WaitUntil([] { return gAlarmsSeenInCallback >= 1; }, 2.0)) << "the callback hung";
  EXPECT_TRUE(WaitUntil([] { return gAlarmsSeenInCallback == 2; }, 2.0));
  EXPECT_EQ(h->GetAlarm(true), 548);
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

TEST_F(AcquisitionCallbacks, CallsThatWouldWaitForThemselvesAreRefused) {
  const std::string reading = " from inside a callback that runs while the headset reads its link.";
  gInside = {
      {"command", [](Headset& x) { x.StartDataAcquisition(); }, "Cannot send a command" + reading},
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
  gInsideResults.clear();
  gInsideDone = false;
  h->sampleCallback.Set(RunInsideCallback);
  Feed(Wire::EncodeDataPacket(0, std::string(49, '\0')));
  Start();
  ASSERT_TRUE(WaitUntil([] { return gInsideDone.load(); }, 2.0)) << "a call hung";
  ASSERT_EQ(gInsideResults.size(), gInside.size());
  for (std::size_t i = 0; i < gInside.size(); ++i)
    EXPECT_EQ(gInsideResults[i], gInside[i].expected) << gInside[i].what;
  EXPECT_TRUE(WaitUntil([&] { return h->acquisitionThread.Finished(); }, 2.0));
}

}  // namespace
