// Bulk reads of channels and stage outputs, bounded waits as the client sees
// them, and the link's state learned without an echo.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/Headset.h"
#include "headset/HeadsetWire.h"
#include "qvt/qvt.h"
#include "support/TestHeadsets.h"
#include "util/Timing.h"

namespace {

using namespace QVT::testing;

void Write(QVT_Channel* channel, double first, int n) {
  for (int k = 0; k < n; ++k) channel->buffer.Write(first + k);
}

std::string LastError() { return QVT_Error() != nullptr ? QVT_Error() : "(none)"; }

TEST(ReadChannels, TakesTheFewestUnreadOfEveryChannelChannelMajorWithTheRunningIndex) {
  const auto h = MakeSimulatedHeadset();
  QVT_Channel* fz = QVT_Headset_GetChannelByIndex(h.get(), 0);
  QVT_Channel* cz = QVT_Headset_GetChannelByIndex(h.get(), 1);
  QVT_ProcessingStage* stage = QVT_Headset_AddProcessingStage(h.get(), "filtered", nullptr, nullptr, nullptr);
  QVT_Headset_ReallocateStageBuffers(h.get(), stage, 1.0);
  QVT_Channel* filtered = QVT_ProcessingStage_GetChannelByIndex(stage, 1);
  Write(fz, 0, 10);
  Write(cz, 100, 12);
  Write(filtered, 500, 3);

  std::vector<double> out(200, -1.0);
  unsigned long long first = 99;
  EXPECT_EQ(QVT_Headset_ReadChannels(h.get(), nullptr, 0, out.data(), 4, &first), 4u);
  EXPECT_EQ(std::vector<double>(out.begin(), out.begin() + 8),
            (std::vector<double>{0, 1, 2, 3, 100, 101, 102, 103}));
  EXPECT_EQ(first, 0u);

  // Cz now has 8 unread, Fz 6: six of each, Cz first as asked.
  QVT_Channel* const pair[] = {cz, fz};
  EXPECT_EQ(QVT_Headset_ReadChannels(h.get(), pair, 2, out.data(), 100, &first), 6u);
  EXPECT_EQ(out[0], 104.0);
  EXPECT_EQ(out[5], 109.0);
  EXPECT_EQ(out[100], 4.0);
  EXPECT_EQ(out[105], 9.0);
  EXPECT_EQ(first, 4u);
  EXPECT_EQ(QVT_Channel_GetNumberOfBufferedSamples(cz), 2u);

  QVT_Channel* const output[] = {filtered};
  EXPECT_EQ(QVT_Headset_ReadChannels(h.get(), output, 1, out.data(), 100, nullptr), 3u);
  EXPECT_EQ(out[2], 502.0);
  // Nothing left is no failure; the index says where the next sample is.
  QVT_ClearError();
  EXPECT_EQ(QVT_Headset_ReadChannels(h.get(), output, 1, out.data(), 100, &first), 0u);
  EXPECT_EQ(first, 3u);
  EXPECT_EQ(QVT_Error(), nullptr);
}

TEST(ReadChannels, RefusesChannelsItDoesNotOwnAndTakesNothingThen) {
  const auto h = MakeSimulatedHeadset();
  const auto other = MakeSimulatedHeadset();
  QVT_Channel* fz = QVT_Headset_GetChannelByIndex(h.get(), 0);
  QVT_Channel* foreign = QVT_Headset_GetChannelByIndex(other.get(), 0);
  Write(fz, 0, 5);
  std::vector<double> out(20);
  QVT_Channel* const withForeign[] = {fz, foreign};
  QVT_Channel* const twice[] = {fz, fz};
  QVT_Channel* const withNull[] = {nullptr};
  const struct {
    const char* what;
    QVT_Channel* const* channels;
    unsigned count;
    double* out;
    const char* error;
  } refused[] = {
      {"another headset's", withForeign, 2, out.data(),
       "channel 1 of the list is neither a montage channel nor a stage output of this headset"},
      {"twice", twice, 2, out.data(), "channel 1 of the list appears twice"},
      {"null channel", withNull, 1, out.data(), "channel 0 of the list is neither"},
      {"null list", nullptr, 2, out.data(), "NULL channel list pointer"},
      {"null array", nullptr, 0, nullptr, "NULL sample array pointer"},
  };
  for (const auto& r : refused) {
    QVT_ClearError();
    EXPECT_EQ(QVT_Headset_ReadChannels(h.get(), r.channels, r.count, r.out, 10, nullptr), 0u) << r.what;
    EXPECT_EQ(LastError().substr(0, std::string(r.error).size()), r.error) << r.what;
  }
  EXPECT_EQ(QVT_Channel_GetNumberOfBufferedSamples(fz), 5u);
  QVT_ClearError();
}

TEST(BoundedWaits, SayWhetherTheyWereReadyTimedOutOrWoken) {
  const auto h = MakeSimulatedHeadset();
  unsigned long buffered = 99;
  EXPECT_EQ(QVT_Headset_WaitForSamplesTimeout(h.get(), 2, 0.0, &buffered), QVT_WAIT_TIMEOUT);
  EXPECT_EQ(buffered, 0u);
  Write(QVT_Headset_GetChannelByIndex(h.get(), 0), 0, 2);
  Write(QVT_Headset_GetChannelByIndex(h.get(), 1), 0, 2);
  EXPECT_EQ(QVT_Headset_WaitForSamplesTimeout(h.get(), 2, 0.0, &buffered), QVT_WAIT_READY);
  EXPECT_EQ(buffered, 2u);
  // A wake-up reaches the waits under way, not those that begin later.
  QVT_Headset_WakeWaiters(h.get());
  EXPECT_EQ(QVT_Headset_WaitForSamplesTimeout(h.get(), 2, -1.0, nullptr), QVT_WAIT_READY);
  double stamp = -1.0;
  EXPECT_EQ(QVT_Headset_WaitForBatchTimeout(h.get(), 0.0, &stamp), QVT_WAIT_TIMEOUT);
  EXPECT_EQ(stamp, -1.0);
}

TEST(LinkState, FollowsOpeningStreamingAndLossWithoutSendingAnything) {
  QVT::Headset headset("deferred");
  headset.messageCallback.Set(nullptr);
  double since = -1.0;
  EXPECT_EQ(QVT_Headset_GetLinkState(&headset, &since), QVT_LINK_CLOSED);
  EXPECT_EQ(since, 0.0);
  headset.SimulateInput();
  EXPECT_EQ(QVT_Headset_GetLinkState(&headset, &since), QVT_LINK_CONNECTED);
  EXPECT_EQ(since, 0.0);

  QVT::Sleep(0.02);
  // The headset's own answer that it streams.
  const std::string reply =
      EncodeBlock(0, 0, WireClock{},
                  EncodeResponse(1, QVT::CommandFamily::DataAcquisitionMode, 1, U16LE(0x0101) + U16LE(300)));
  headset.FeedFakeData(reply.data(), reply.size());
  headset.Idle(0.0);
  EXPECT_EQ(QVT_Headset_GetLinkState(&headset, &since), QVT_LINK_STREAMING);
  EXPECT_GE(since, 0.02);
  EXPECT_LE(since, headset.serial.Elapsed());

  const double streamingSince = since;
  QVT::Sleep(0.02);
  EXPECT_TRUE(headset.MarkLinkLost());
  EXPECT_FALSE(headset.MarkLinkLost());  // reported once
  EXPECT_EQ(QVT_Headset_GetLinkState(&headset, nullptr), QVT_LINK_LOST);
  EXPECT_EQ(QVT_Headset_GetLinkState(&headset, &since), QVT_LINK_LOST);
  EXPECT_GE(since, streamingSince + 0.02);
}

}  // namespace
