#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "model/ChannelSpecification.h"
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

std::string Uninterpretable(const std::string& term) {
  return "could not interpret \"" + term + "\" as a valid channel specification";
}

void Filter(Headset*, double, void*) {}

// A 10-20 headset, for the montage, the channels built from text and the
// processing stages behind them.
class Montage : public ::testing::Test {
 protected:
  Source* S(const char* name) { return h->MatchSource(name, true); }
  std::string MatchFailure(const char* name) {
    return ThrownMessage([&] { h->MatchSource(name, true); });
  }
  std::string ConstructFailure(const std::string& specification) {
    return ThrownMessage([&] { h->ConstructChannel(specification, true); });
  }
  std::unique_ptr<Headset> h = MakeHeadset(TenTwentyLayout());
  Source* factory = h->sources[kFactoryReferencePosition - 1].get();
};

}  // namespace

TEST_F(Montage, KeepsEachSourceOnceInOrderOfFirstUse) {
  h->AddChannelToMontage("Fz-Cz", false);
  h->AddChannelToMontage(S("Cz"));
  h->AddChannelToMontage("C3", false);
  h->AddChannelToMontage(std::unique_ptr<Channel>());
  EXPECT_EQ(h->montageSources, (std::vector<Source*>{S("Fz"), S("Cz"), S("C3"), S("Pz")}));
  EXPECT_EQ(h->MontageString(true), "Fz-Cz Cz C3-Pz");
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

  const auto blank = MakeHeadset(Layout({}));
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

TEST_F(Montage, ChannelNamesMatchSourceThenFormulaThenAliasUntilForgotten) {
  h->ChooseChannels("Fz T3 Fz-Cz", "", false);
  EXPECT_EQ(h->GetChannelByName(" fz ", true), h->GetChannelByIndex(2));  // the last match of a pass wins
  EXPECT_EQ(h->GetChannelByName("fz-pz", true), h->GetChannelByIndex(0));
  EXPECT_EQ(h->GetChannelByName("t7", true), h->GetChannelByIndex(1));
  EXPECT_EQ(h->GetChannelByName("Cz", false), nullptr);

  // Forgetting the montage keeps the reference, forgetting the sources does not.
  h->SetDefaultReference("A1", false);
  h->ForgetMontage();
  EXPECT_TRUE(h->montage.empty() && h->montageSources.empty() && h->cascade.empty() &&
              h->chosenChannels.empty());
  EXPECT_EQ(h->ReferenceDescription(), "A1");
  h->ForgetSources();
  EXPECT_TRUE(h->sources.empty());
  EXPECT_EQ(h->ReferenceDescription(), "Pz");
}

TEST(ChannelSpecificationGrammar, ReadsSignedTermsWithFactorAndDivisor) {
  std::string text = "+-Cz+A1/2 - A2";
  EXPECT_EQ(CutChannelTerm(text), "+");
  EXPECT_EQ(text, "-Cz+A1/2 - A2");
  const ChannelTerm t = ReadChannelTerm("  -C3*2/3 ", 1.0);
  EXPECT_EQ(t.source, "C3");
  EXPECT_DOUBLE_EQ(t.weight, -2.0 / 3.0);
  EXPECT_DOUBLE_EQ(ReadChannelTerm("+-A1/2", -2.0).weight, 1.0);
  for (const char* bad : {"A1/0", "A1/2/3", "A1*2*3", "C3/3*2", "Cz*1e", "Cz*", "/"})
    EXPECT_EQ(ThrownMessage([&] { ReadChannelTerm(bad, 1.0); }), Uninterpretable(bad)) << bad;
  EXPECT_EQ(ThrownMessage([] { ReadChannelTerm(" A1/0.0\n", 1.0); }), Uninterpretable("A1/0.0"));
}

TEST_F(Montage, ConstructReferencesALoneElectrodeScaledByItsWeightButNeverAgainstItself) {
  const auto cz = h->ConstructChannel(" -Cz ", false);
  EXPECT_EQ(cz->sources, (std::vector<Source*>{S("Cz"), factory}));
  EXPECT_EQ(cz->weights, (std::vector<double>{-1.0, 1.0}));
  EXPECT_EQ(cz->buffer.Capacity(), 1u);
  h->defaultReference = "A1/2+A2/2";
  EXPECT_EQ(h->ConstructChannel("Cz*2", false)->String(true), "Cz*2-A1-A2");
  EXPECT_EQ(h->ConstructChannel("ch3", false)->String(true), "F7-A1/2-A2/2");
  for (const char* asWritten : {"Fz-Cz", "TRG", "X1", "CM"})
    EXPECT_EQ(h->ConstructChannel(asWritten, false)->String(true), asWritten);
  // Auto-swap keeps an electrode from reading against itself.
  const auto swapped = h->ConstructChannel("A1", true);
  EXPECT_EQ(swapped->sources, (std::vector<Source*>{factory, S("A1"), S("A2")}));
  EXPECT_EQ(h->ConstructChannel("A1", false)->sources, (std::vector<Source*>{S("A1"), S("A1"), S("A2")}));
  EXPECT_EQ(h->ConstructChannel("A1-A1/2-A2/2", true)->sources[0], S("A1"));  // written out: no swap
}

TEST_F(Montage, ConstructPassesGrammarAndMatchingFailuresThroughUnchanged) {
  EXPECT_EQ(ConstructFailure("Cz*1e-3"), Uninterpretable("Cz*1e"));
  EXPECT_EQ(ConstructFailure("Fz-Cz-A1/2/3"), Uninterpretable("-A1/2/3"));
  EXPECT_EQ(ConstructFailure("ch99"), "Invalid source number 99 (use names, or numbers from 1 to 42).");
  EXPECT_EQ(ConstructFailure("Fz - foo"), ThrownMessage([&] { h->MatchSource("foo", true); }));
  h->defaultReference = "A1/0";
  EXPECT_EQ(ConstructFailure("Cz"), Uninterpretable("A1/0"));
}

TEST_F(Montage, CascadeStageNamesAreUniqueIgnoringCaseAndBlanks) {
  ProcessingStage* f = h->AddProcessingStage(" FILTER\t", Filter, nullptr, nullptr);
  EXPECT_EQ(ThrownMessage([&] { h->AddProcessingStage("filter", Filter, nullptr, nullptr); }),
            "cannot add ProcessingStage \"filter\" because this name already exists in the cascade");
  EXPECT_EQ(h->MatchProcessingStage("Filter "), f);
  EXPECT_EQ(ThrownMessage([&] { h->GetProcessingStageByIndex(1); }),
            "ProcessingStage index 1 is out of range (1 stages available)");
  for (const char* name : {"a", "b", "c"}) f->AddChannel(name, 0);
  EXPECT_EQ(f->GetChannelByIndex(2)->buffer.Capacity(), 1u);
}

TEST_F(Montage, CascadeLaterStagesStartWithCopiesOfTheirInputsChannels) {
  ProcessingStage* first = h->AddProcessingStage("first", Filter, nullptr, nullptr);
  EXPECT_TRUE(first->channels.empty());
  Channel* out = first->AddChannel("alpha", 64);
  out->sources = {S("Cz")};
  out->weights = {2.0};

  ProcessingStage* second = h->AddProcessingStage("second", nullptr, nullptr, nullptr);
  EXPECT_EQ(second->input, first);
  ASSERT_EQ(second->channels.size(), 1u);
  EXPECT_EQ(second->channels[0]->String(true), "Cz*2");
  EXPECT_EQ(second->channels[0]->buffer.Capacity(), 0u);  // sized later by the buffering controller
  // Lookup goes by sources and formula, never by a channel's given name.
  EXPECT_EQ(second->GetChannelByName(" CZ*2 ", true), second->channels[0]);
  EXPECT_EQ(second->GetChannelByName("alpha", false), nullptr);
}

TEST_F(Montage, CascadeRawStageBorrowsTheMontageChannelsWithoutOwningThem) {
  h->ChooseChannels("Fz Cz-Fz", "", false);
  ProcessingStage* raw = h->cascade[0].get();
  ProcessingStage* next = h->AddProcessingStage("next", Filter, nullptr, nullptr);
  EXPECT_EQ(next->input, raw);
  EXPECT_FALSE(next->channelsBorrowed);
  EXPECT_EQ(next->channels[1]->String(true), "Cz-Fz");
  // Without an input of its own, a stage reads the newest stage, not the first.
  EXPECT_EQ(h->AddProcessingStage("last", nullptr, nullptr, nullptr)->input, next);

  // Clearing a view drops pointers only, so a channel added to it stays
  // valid for whoever holds it; the stage frees it when it goes.
  Channel* extra = raw->AddChannel("extra", 4);
  raw->ClearChannels();
  EXPECT_FALSE(raw->channelsBorrowed);
  EXPECT_EQ(extra->buffer.Capacity(), 4u);
  h->GetChannelByIndex(1)->buffer.Write(5.0);
  EXPECT_EQ(h->GetChannelByIndex(1)->LookBack(0, true), 5.0);
  h->ForgetCascade();
  EXPECT_TRUE(h->cascade.empty());
  EXPECT_EQ(h->MontageString(true), "Fz-Pz Cz-Fz");
}
