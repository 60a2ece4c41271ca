#include <gtest/gtest.h>

#include <string>

#include "support/TestHeadsets.h"

using namespace QVT;
using namespace QVT::testing;

namespace {

void Filter(Headset*, double, void*) {}

}  // namespace

TEST(Cascade, StageNamesAreUniqueIgnoringCaseAndBlanks) {
  const auto h = MakeHeadset(TenTwentyLayout());
  ProcessingStage* f = h->AddProcessingStage(" FILTER\t", Filter, nullptr, nullptr);
  EXPECT_EQ(ThrownMessage([&] { h->AddProcessingStage("filter", Filter, nullptr, nullptr); }),
            "cannot add ProcessingStage \"filter\" because this name already exists in the cascade");
  EXPECT_EQ(h->MatchProcessingStage("Filter "), f);
  EXPECT_EQ(ThrownMessage([&] { h->MatchProcessingStage(" other"); }),
            "failed to match processing stage \" other\"");
  EXPECT_EQ(ThrownMessage([&] { h->GetProcessingStageByIndex(1); }),
            "ProcessingStage index 1 is out of range (1 stages available)");
  for (const char* name : {"a", "b", "c"}) f->AddChannel(name, 0);
  EXPECT_EQ(f->GetChannelByIndex(2)->buffer.Capacity(), 1u);
  EXPECT_EQ(ThrownMessage([&] { f->GetChannelByIndex(3); }),
            "Channel index 3 is out of range (3 channels available in ProcessingStage \" FILTER\t\")");
}

TEST(Cascade, LaterStagesStartWithCopiesOfTheirInputsChannels) {
  const auto h = MakeHeadset(TenTwentyLayout());
  ProcessingStage* first = h->AddProcessingStage("first", Filter, nullptr, nullptr);
  EXPECT_TRUE(first->channels.empty());
  Channel* out = first->AddChannel("alpha", 64);
  out->sources = {h->MatchSource("Cz", true)};
  out->weights = {2.0};

  ProcessingStage* second = h->AddProcessingStage("second", nullptr, nullptr, nullptr);
  EXPECT_EQ(second->input, first);
  ASSERT_EQ(second->channels.size(), 1u);
  EXPECT_NE(second->channels[0], out);
  EXPECT_EQ(second->channels[0]->String(true), "Cz*2");
  EXPECT_EQ(second->channels[0]->buffer.Capacity(), 0u);  // sized later by the buffering controller
  // Lookup goes by sources and formula, never by a channel's given name.
  EXPECT_EQ(second->GetChannelByName(" CZ*2 ", true), second->channels[0]);
  EXPECT_EQ(second->GetChannelByName("alpha", false), nullptr);
}

TEST(Cascade, RawStageBorrowsTheMontageChannelsWithoutOwningThem) {
  const auto h = MakeHeadset(TenTwentyLayout());
  h->ChooseChannels("Fz Cz-Fz", "", false);
  ProcessingStage* raw = h->cascade[0].get();
  ProcessingStage* next = h->AddProcessingStage("next", Filter, nullptr, nullptr);
  EXPECT_EQ(next->input, raw);
  EXPECT_FALSE(next->channelsBorrowed);
  EXPECT_EQ(next->channels[1]->String(true), "Cz-Fz");

  raw->AddChannel("extra", 4);  // owned by the stage although the rest is borrowed
  raw->ClearChannels();
  EXPECT_FALSE(raw->channelsBorrowed);
  h->GetChannelByIndex(1)->buffer.Write(5.0);
  EXPECT_EQ(h->GetChannelByIndex(1)->LookBack(0, true), 5.0);
  h->ForgetCascade();
  EXPECT_TRUE(h->cascade.empty());
  EXPECT_EQ(h->MontageString(true), "Fz-Pz Cz-Fz");
}
