#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <thread>
#include <vector>

#include "core/BufferingController.h"
#include "headset/HeadsetWire.h"
#include "support/MessageRecorder.h"
#include "support/TestHeadsets.h"
#include "util/Timing.h"

using namespace QVT;
using namespace QVT::testing;

TEST(BufferingController, ArithmeticRoundsAndFollowsTheErrorsSign) {
  EXPECT_DOUBLE_EQ(Buffering::RoundToMultiple(0.09, 0.06), 0.12);  // halves round up
  // Too little buffered lowers the rate; the derivative runs from the previous error.
  const auto small = Buffering::UpdateController(-0.02, 0.0, 0.0, false, 0.24, {0.01, 0, 0}, 300);
  EXPECT_DOUBLE_EQ(small.correction, -0.0002);
  EXPECT_DOUBLE_EQ(small.derivative, -0.02 / 0.24);
}

class HeadsetBuffering : public ::testing::Test {
 protected:
  void SetUp() override {
    MessageRecorder::Clear();
    h->messageCallback.Set(MessageRecorder::Callback);
    h->SimulateInput();
    h->samplingRate = 300.0;
    h->ReallocateBuffers(Headset::kDefaultBufferSeconds, Headset::kDefaultImpedanceSeconds);
    h->ChooseChannels("Fz C3 Cz", "", false);
    h->ConfigureBufferingController(0.25, 0.998, 0, 0, 0);
    h->ConfigureBatch(18, 0.05);
  }
  void Write(int n) {
    for (int i = 0; i < n; ++i)
      for (Channel* c : h->MontageChannels()) c->buffer.Write(i);
  }
  void TakeBatch() {
    for (Channel* c : h->MontageChannels())
      for (unsigned i = 0; i < h->batchSize; ++i) c->buffer.Read();
  }
  std::unique_ptr<Headset> h = MakeHeadset(TenTwentyLayout());
};

TEST_F(HeadsetBuffering, BuffersAreSizedFromTheSamplingRate) {
  // No rate yet: the least that can be built.
  h->samplingRate = -1.0;
  h->ReallocateBuffers(10.0, 0.5);
  EXPECT_EQ(h->montage[0]->buffer.Capacity(), 1u);
  EXPECT_EQ(h->sources[0]->averages.Capacity(), 0u);

  // The durations are kept, not the lengths: what is built after a rate
  // change is sized for the new rate.
  h->samplingRate = 600.0;
  h->AddChannelToMontage("Fp1", false);
  EXPECT_EQ(h->montage.back()->buffer.Capacity(), 6000u);
  h->InterpretCalibrationMemory(nullptr);
  EXPECT_EQ(h->sources[0]->averages.Capacity(), 300u);
}

TEST_F(HeadsetBuffering, FirstBatchPrimesWithBatchCushionAndTarget) {
  Write(50);
  h->WaitForBatch();
  EXPECT_EQ(h->Buffered(), 18u + 4 + 15);
  EXPECT_DOUBLE_EQ(h->smoothedDelay, 19.0 / 300);
  EXPECT_DOUBLE_EQ(h->updateInterval, 0.24);

  // The next release is due one batch duration after the rebase, not earlier.
  TakeBatch();
  Write(18);
  const double rebase = h->rebaseTime;
  h->WaitForBatch();
  EXPECT_GE(PrecisionTime(), rebase + 0.06 - 0.002);
  EXPECT_EQ(h->estimatedSampleRate, 300.0);
}

TEST_F(HeadsetBuffering, ControllerUpdatesAfterTheIntervalWithinHalfASamplePeriod) {
  h->verbosity = 4;
  h->ConfigureBufferingController(0.25, 0.998, 1.0, 0, 0);
  Write(50);
  for (int batch = 0; batch < 5; ++batch) {
    h->WaitForBatch();
    TakeBatch();
    Write(18);
  }
  EXPECT_EQ(
      MessageRecorder::StartingWith("Buffering error = "),
      std::vector<std::string>{
          "Buffering error = 0.0133333; integrated = 0.0032; derivative = 0; correction = -0.00166667"});
  EXPECT_TRUE(MessageRecorder::Contains("Estimated sample rate updated to 600", 3));
}

// Every reset restarts the pacing clock from now; only a full one forgets
// the controller's updates, and a zero rate keeps the estimate.
TEST_F(HeadsetBuffering, RebaseRestartsThePacingClockAndAFullOneTheController) {
  h->batchIndex = 7;
  h->driftCorrection = 0.5;
  h->updateCount = 3.0;
  h->RebaseBufferingController(0.0, false);
  EXPECT_EQ(h->driftCorrection, 0.0);
  EXPECT_EQ(h->updateCount, 3.0);
  EXPECT_EQ(h->lastUpdateBatchIndex, 7u);
  EXPECT_EQ(h->estimatedSampleRate, 300.0);
  h->RebaseBufferingController(450.0, true);
  EXPECT_EQ(h->updateCount, 0.0);
  EXPECT_EQ(h->estimatedSampleRate, 450.0);
}

TEST_F(HeadsetBuffering, OverfullBufferResetsWithoutUpdate) {
  h->verbosity = 4;
  h->updateInterval = 0.0;
  Write(50);
  h->WaitForBatch();
  Write(40);  // the client took nothing: 77 wait, above 3 * 18 + 15
  h->WaitForBatch();
  EXPECT_TRUE(MessageRecorder::Contains(
      "Discharging buffer and resetting controller (triggered by 77 samples in buffer)", 2));
  EXPECT_TRUE(MessageRecorder::StartingWith("Estimated sample rate").empty());
}

TEST_F(HeadsetBuffering, WasteCountsDeliveryButDrainsMontageAndFlushSparesSlots) {
  ProcessingStage* f = h->AddProcessingStage("f", nullptr, nullptr, nullptr);
  h->ReallocateStageBuffers(f, 0.5);
  h->ReallocateStageBuffers(nullptr, 0.5);
  EXPECT_EQ(f->channels[0]->buffer.Capacity(), 150u);
  Write(30);
  for (int i = 0; i < 160; ++i) f->channels[0]->buffer.Write(1.0);
  EXPECT_EQ(h->BufferOverflow(), 10u);
  EXPECT_EQ(h->Buffered(), 0u);  // the other outputs of f are empty
  for (Channel* c : f->channels) c->buffer.Write(2.0);
  h->WasteSamples(0);
  EXPECT_EQ(h->montage[0]->buffer.Count(), 29u);

  Source* cz = h->MatchSource("Cz", true);
  cz->averages.Write({{0.0, 0.0, 0.0, 0.0, 4.0}}, 0);
  h->FlushBuffers();
  EXPECT_EQ(cz->averages.Sum(MovingAverages::kPlain), 0.0);
  EXPECT_EQ(cz->averages.LookBack(MovingAverages::kPlain, 0), 4.0);
  EXPECT_EQ(f->channels[0]->buffer.Overflow(), 0u);
  EXPECT_EQ(h->Buffered(), 0u);
  // The montage is flushed only as the outputs of the "raw" stage, a view of it.
  EXPECT_EQ(h->montage[0]->buffer.Count(), 0u);
}

TEST_F(HeadsetBuffering, UnderflowRefillsFromTheLinkAndResets) {
  Write(50);
  h->WaitForBatch();
  for (Channel* c : h->MontageChannels())
    while (c->buffer.Count() > 0) c->buffer.Read();
  // Left on the link: the pacing wait reads nothing this close to a release.
  for (std::uint16_t block = 0; block < 2; ++block) {
    std::string packets;
    for (int i = 0; i < 9; ++i)
      packets += EncodeDataPacket(static_cast<std::uint8_t>(block * 9 + i), std::string(1, '\0'));
    const std::string bytes = EncodeBlock(block, 0, {}, packets);
    h->FeedFakeData(bytes.data(), bytes.size());
  }
  h->WaitForBatch();
  EXPECT_TRUE(
      MessageRecorder::Contains("Real-time violation - refilling buffer and resetting controller", 2));
  EXPECT_EQ(h->Buffered(), 18u);
  EXPECT_EQ(h->batchIndex, 2u);
}

TEST_F(HeadsetBuffering, WaitsEndOnceTheLinkIsLostUnlessTheSamplesAreThere) {
  Write(2);
  h->linkLost = true;
  h->WaitForSamples(2);
  EXPECT_EQ(ThrownMessage([&] { h->WaitForSamples(3); }), "QVT link lost: cannot wait for samples");
  EXPECT_EQ(ThrownMessage([&] { h->WaitForBatch(); }), "QVT link lost: cannot wait for samples");
}

// A wait that ends early leaves the batch to the next call: nothing is
// discarded, counted or drifted.
TEST_F(HeadsetBuffering, BoundedWaitsThatEndEarlySpendNothing) {
  using Outcome = Headset::WaitOutcome;
  double stamp = 0.0;
  Write(10);
  EXPECT_EQ(h->WaitForBatch(h->BoundedWait(0.0), stamp), Outcome::TimedOut);
  EXPECT_EQ(h->batchIndex, 0u);
  EXPECT_EQ(h->Buffered(), 10u);
  Write(40);
  EXPECT_EQ(h->WaitForBatch(h->BoundedWait(1.0), stamp), Outcome::Ready);
  EXPECT_EQ(h->Buffered(), 37u);  // primed as ever: batch, cushion and target

  TakeBatch();
  h->estimatedSampleRate = 301.0;  // a drift that a spent batch would accumulate
  EXPECT_EQ(h->WaitForBatch(h->BoundedWait(0.0), stamp), Outcome::TimedOut);
  EXPECT_EQ(h->batchIndex, 1u);
  EXPECT_EQ(h->driftCorrection, 0.0);
  EXPECT_EQ(h->WaitForBatch(h->BoundedWait(1.0), stamp), Outcome::Ready);
  EXPECT_EQ(h->batchIndex, 2u);
  EXPECT_NE(h->driftCorrection, 0.0);
  EXPECT_EQ(ThrownMessage([&] { h->BoundedWait(std::nan("")); }),
            "a time limit must be a number of seconds, not nan");
}

// Every waiter, whichever wait it is in, returns once woken; one wait for a
// batch waits out another's.
TEST_F(HeadsetBuffering, WakeWaitersEndsEveryWaitUnderWay) {
  using Outcome = Headset::WaitOutcome;
  std::vector<Outcome> outcomes(3, Outcome::Ready);
  std::vector<std::thread> waiters;
  for (int i = 0; i < 3; ++i)
    waiters.emplace_back([&, i] {
      double stamp = 0.0;
      outcomes[i] =
          i == 0 ? h->WaitForSamples(30, h->BoundedWait(-1.0)) : h->WaitForBatch(h->BoundedWait(30.0), stamp);
    });
  Sleep(0.1);
  const double woken = PrecisionTime();
  h->WakeWaiters();
  for (std::thread& waiter : waiters) waiter.join();
  EXPECT_LT(PrecisionTime() - woken, 5.0);
  EXPECT_EQ(outcomes, std::vector<Outcome>(3, Outcome::Woken));
  EXPECT_EQ(h->batchIndex, 0u);
}
