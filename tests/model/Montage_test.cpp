#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "model/SourceNameFilter.h"
#include "support/MessageRecorder.h"
#include "support/TestHeadsets.h"

using namespace QVT;
using namespace QVT::testing;

namespace {

SlotLayout Layout(std::initializer_list<SourceID::Code> fitted) {
  SlotLayout slots;
  slots.fill(SourceID::NC);
  std::copy(fitted.begin(), fitted.end(), slots.begin());
  return slots;
}

class Montage : public ::testing::Test {
 protected:
  Source* S(const char* name) { return h->MatchSource(name, true); }
  std::string MatchFailure(const char* name) {
    return ThrownMessage([&] { h->MatchSource(name, true); });
  }
  std::unique_ptr<Headset> h = MakeHeadset(TenTwentyLayout());
};

}  // namespace

TEST_F(Montage, KeepsEachSourceOnceInOrderOfFirstUse) {
  h->AddChannelToMontage("Fz-Cz", false);
  h->AddChannelToMontage(S("Cz"));
  h->AddChannelToMontage("C3", false);
  h->AddChannelToMontage(std::unique_ptr<Channel>());
  EXPECT_EQ(h->montageSources, (std::vector<Source*>{S("Fz"), S("Cz"), S("C3"), S("Pz")}));
  EXPECT_EQ(h->MontageString(true), "Fz-Cz Cz C3-Pz");
  EXPECT_EQ(h->GetSourceByIndex(3, true), S("F3"));
  EXPECT_EQ(ThrownMessage([&] { h->GetSourceByIndex(4, false); }),
            "Source index 4 is out of range (4 sources available)");
}

TEST_F(Montage, ChooseChannelsKeepsTheGoodWordsAndReportsEveryBadOne) {
  h->ChooseChannels("Fz", "", false);
  EXPECT_EQ(ThrownMessage([&] { h->ChooseChannels("foo, Fz bar Cz", "", false); }),
            MatchFailure("foo") + "\n" + MatchFailure("bar"));
  EXPECT_EQ(h->MontageString(true), "Fz-Pz Cz-Pz");
  EXPECT_TRUE(h->chosenChannels.empty());
  EXPECT_TRUE(h->cascade.empty());
}

TEST_F(Montage, SuccessfulChoiceIsRememberedAndViewedByTheRawStage) {
  h->ChooseChannels(" Fz,Cz\tTRG ", "", false);
  EXPECT_EQ(h->chosenChannels, "Fz Cz TRG");
  ASSERT_EQ(h->cascade.size(), 1u);
  EXPECT_TRUE(h->cascade[0]->channelsBorrowed);

  h->SetDefaultReference("A1/2+A2/2", false);
  EXPECT_EQ(h->MontageString(true), "Fz-A1/2-A2/2 Cz-A1/2-A2/2 TRG");
  EXPECT_EQ(h->MontageString(false), "Fz Cz TRG");
  EXPECT_EQ(h->ReferenceDescription(), "A1/2+A2/2");
  EXPECT_EQ(h->cascade[0]->channels, h->MontageChannels());

  EXPECT_NE(ThrownMessage([&] { h->ChooseChannels("Cz", "A1/0", false); }), "(no failure)");
  EXPECT_EQ(h->MontageString(true), "Fz-A1/2-A2/2 Cz-A1/2-A2/2 TRG");  // a bad reference changes nothing
  h->ChooseChannels("factory", " Factory ", false);
  EXPECT_EQ(h->ReferenceDescription(), "Pz");
  EXPECT_EQ(h->chosenChannels, h->SourceNames(SourceNameFilter::kDefaultMontage));
  ASSERT_EQ(h->montage.size(), 27u);
  EXPECT_EQ(h->GetChannelByIndex(0)->String(true), "Fp1-Pz");
  EXPECT_EQ(h->GetChannelByIndex(26)->String(true), "ACCZ");
}

TEST(MontageWithoutNames, ChosenListWaitsForSourcesAndUnnamedSourcesBecomeChannels) {
  Headset h("deferred");
  h.ChooseChannels("Fz Cz", "no such reference", false);
  EXPECT_EQ(h.chosenChannels, "Fz Cz");
  for (SourceID::Code code : {SourceID::Cz, SourceID::Fz, SourceID::Pz})
    h.sources.push_back(std::make_unique<Source>(code, SourceIDName(code), 0, 1.0, 0.0));
  h.ChooseChannels("", "", false);
  EXPECT_EQ(h.MontageString(true), "Fz-Pz Cz-Pz");

  SlotLayout unnamed;
  unnamed.fill(SourceID::NC);
  const auto blank = MakeHeadset(unnamed);
  MessageRecorder::Clear();
  blank->messageCallback.Set(MessageRecorder::Callback);
  blank->verbosity = 1;
  blank->ChooseChannels("FACTORY", "FACTORY", false);
  EXPECT_TRUE(MessageRecorder::Contains("Headset flash memory contains no information about source IDs.", 1));
  ASSERT_EQ(blank->montage.size(), 42u);
  EXPECT_EQ(blank->GetChannelByIndex(24)->String(true), "TRG");
  EXPECT_TRUE(blank->cascade.empty());
}

TEST(TraditionalReference, PrefersLinkedEarsThenPairedEarsThenMastoids) {
  using namespace SourceID;
  struct Case {
    SlotLayout layout;
    std::string reference;
    std::string channel;
  };
  const Case cases[] = {
      {SevenSlotLayout(), "A1A2", "Cz-A1A2"},
      {TenTwentyLayout(), "A1/2+A2/2", "Cz-A1/2-A2/2"},
      {Layout({Cz, A1, M1, M2}), "M1/2+M2/2", "Cz-M1/2-M2/2"},  // one ear is not enough
      {Layout({Cz, A1, X1}), "", "Cz-Pz"},
  };
  for (const Case& c : cases) {
    const auto h = MakeHeadset(c.layout);
    h->ChooseChannels("Cz", "", false);
    EXPECT_EQ(h->SetTraditionalReference(true), c.reference);
    EXPECT_EQ(h->MontageString(true), c.channel);
  }
}

TEST_F(Montage, ChannelNamesMatchSourceThenFormulaThenAlias) {
  h->ChooseChannels("Fz T3 Fz-Cz", "", false);
  EXPECT_EQ(h->GetChannelByName(" fz ", true), h->GetChannelByIndex(2));  // the last match of a pass wins
  EXPECT_EQ(h->GetChannelByName("fz-pz", true), h->GetChannelByIndex(0));
  EXPECT_EQ(h->GetChannelByName("t7", true), h->GetChannelByIndex(1));
  EXPECT_EQ(h->GetChannelByName("Cz", false), nullptr);
  EXPECT_EQ(ThrownMessage([&] { h->GetChannelByName(" Cz ", true); }),
            "Could not match Channel \"Cz\" (known names are: Fz, T3, Fz)");
}

TEST_F(Montage, ForgettingTheMontageKeepsTheReferenceButForgettingSourcesDoesNot) {
  h->ChooseChannels("Fz", "A1", false);
  h->ForgetMontage();
  EXPECT_TRUE(h->montage.empty() && h->montageSources.empty() && h->cascade.empty() &&
              h->chosenChannels.empty());
  EXPECT_EQ(h->ReferenceDescription(), "A1");
  h->ForgetSources();
  EXPECT_TRUE(h->sources.empty());
  EXPECT_EQ(h->ReferenceDescription(), "Pz");
}
