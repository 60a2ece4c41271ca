#include <gtest/gtest.h>

#include <string>

#include "model/NamingScheme.h"
#include "model/SourceID.h"
#include "model/SourceNameFilter.h"
#include "support/TestHeadsets.h"

using namespace QVT;
using namespace QVT::testing;

namespace {

constexpr const char* kTenTwentyNames =
    "Fp1 Fp2 F7 F3 Fz F4 F8 A1 T3 C3 Cz C4 T4 A2 T5 P3 P4 T6 O1 O2 X1 X2 X3";
constexpr const char* kSevenSlotNames = "A1A2 F3 F4 C3 Cz C4";

std::string SchemeOf(std::initializer_list<SourceID::Code> slots) {
  StringCounter votes;
  votes.Count(kScheme1010) = 0;
  for (SourceID::Code code : slots) ResolveRedundantSourceIDs(code, votes);
  return ChooseNamingScheme(votes);
}

}  // namespace

TEST(SourceNames, FilterBitsAdmitTheirKindOfSource) {
  using namespace SourceNameFilter;
  const auto h = MakeHeadset(TenTwentyLayout());
  EXPECT_EQ(h->SourceNames(0), kTenTwentyNames);  // the two low bits filter nothing
  // The known names are in the failure message of MatchSource, below.

  const auto seven = MakeHeadset(SevenSlotLayout());
  std::string withEmptySlots = kSevenSlotNames;
  for (int i = 0; i < 17; ++i) withEmptySlots += " NC";
  EXPECT_EQ(seven->SourceNames(kEmptySlots), withEmptySlots);
  seven->factoryReferenceCode = SourceID::TRG;  // "Pz" is then an ordinary electrode
  EXPECT_EQ(seven->SourceNames(kTriggerWord), std::string(kSevenSlotNames) + " Pz");
  EXPECT_EQ(seven->SourceNames(kTriggerWord | kFactoryReference), std::string(kSevenSlotNames) + " TRG Pz");
}

TEST(MatchSource, TakesNamesCaseBlindAndNumbersInEveryNotation) {
  const auto h = MakeHeadset(SevenSlotLayout());
  EXPECT_EQ(h->MatchSource(" \tcz\r\n", true)->id, SourceID::Cz);
  for (const char* ref : {"CH2", "src2", "02", " Ch 2 "})
    EXPECT_EQ(h->MatchSource(ref, true), h->sources[1].get());
  EXPECT_EQ(h->MatchSource("NC", false), nullptr);  // empty slots only by number
  EXPECT_EQ(h->MatchSource("8", false)->id, SourceID::NC);
  EXPECT_EQ(ThrownMessage([&] { h->MatchSource("0", false); }),
            "Invalid source number 0 (use names, or numbers from 1 to 42).");
  EXPECT_EQ(ThrownMessage([&] { h->MatchSource("ch43", false); }),
            "Invalid source number 43 (use names, or numbers from 1 to 42).");
}

TEST(MatchSource, PrefersNamesToAliasesAndRefusesTiesWithinAPass) {
  const auto h = MakeHeadset(TenTenLayout());
  Source* t7 = h->MatchSource(SourceID::T3);
  ASSERT_EQ(t7->name, "T7");
  EXPECT_EQ(h->MatchSource("t3", true), t7);  // the alias left from its 10-20 name
  Source* fz = h->MatchSource("Fz", true);
  fz->name = "T3";
  EXPECT_EQ(h->MatchSource("T3", true), fz);
  h->MatchSource("Cz", true)->name = "T3";
  EXPECT_EQ(ThrownMessage([&] { h->MatchSource(" T3 ", false); }),
            "The name \"T3\" matches more than one source.");
}

TEST(MatchSource, FailureListsKnownNamesOrExplainsTheirAbsence) {
  EXPECT_EQ(
      ThrownMessage([] { MakeHeadset(SevenSlotLayout())->MatchSource(" foo ", true); }),
      "Failed to match desired source \"foo\" - known names are: \"A1A2 F3 F4 C3 Cz C4 TRG Pz SND RCV TRG0 "
      "TRG1 TRG2 TRG3 TRG4 TRG5 TRG6 TRG7 ACCT ACCX ACCY ACCZ JERK\"");
  SlotLayout unnamed;
  unnamed.fill(SourceID::NC);
  EXPECT_EQ(
      ThrownMessage([&] { MakeHeadset(unnamed)->MatchSource("Cz", true); }),
      "Failed to match desired source \"Cz\". Unfortunately, the flash memory of this headset contains no "
      "information about source IDs - but you can still use numbers or strings like \"SRC01\" instead of "
      "names.");
  // A name made of separators alone still counts as a name.
  unnamed[0] = SourceID::Cz;
  const auto comma = MakeHeadset(unnamed);
  comma->sources[0]->name = ",";
  EXPECT_EQ(ThrownMessage([&] { comma->MatchSource("Cz", true); }).substr(0, 40),
            "Failed to match desired source \"Cz\" - kn");
}

TEST(SourceEdits, RenamesSwitchesSchemesAndAddsAliasesWithoutClashes) {
  const auto h = MakeHeadset(TenTwentyLayout());
  Source* cz = h->MatchSource("Cz", true);
  Source* fz = h->MatchSource("Fz", true);
  EXPECT_TRUE(h->RenameSource("Cz", "cz"));
  EXPECT_TRUE(h->RenameSource("11", " Vertex "));
  EXPECT_EQ(cz->name, " Vertex ");
  EXPECT_FALSE(h->RenameSource("nothing", "Fz"));
  EXPECT_EQ(ThrownMessage([&] { h->RenameSource(" vertex", "Fz "); }),
            "cannot rename Source  vertex to Fz  because there is another Source already called Fz ");
  EXPECT_EQ(cz->name, " Vertex ");

  h->UseNamingScheme("10-10");
  h->UseNamingScheme("10-10");
  EXPECT_EQ(h->SourceNames(SourceNameFilter::kPlain),
            "Fp1 Fp2 F7 F3 Fz F4 F8 A1 T7 C3  Vertex  C4 T8 A2 P7 P3 P4 P8 O1 O2 X1 X2 X3");
  h->UseNamingScheme("1020");
  EXPECT_EQ(h->SourceNames(SourceNameFilter::kPlain),
            "Fp1 Fp2 F7 F3 Fz F4 F8 A1 T3 C3  Vertex  C4 T4 A2 T5 P3 P4 T6 O1 O2 X1 X2 X3");

  EXPECT_TRUE(h->AddSourceAliases("Fz Fz,fz"));
  EXPECT_TRUE(h->AddSourceAliases(" frontal,\tFZ  midline "));
  EXPECT_EQ(fz->aliases, (std::vector<std::string>{"Fz", "frontal", "midline"}));
  EXPECT_FALSE(h->AddSourceAliases(" ,, "));
  EXPECT_FALSE(h->AddSourceAliases("foo bar"));
  EXPECT_EQ(ThrownMessage([&] { h->AddSourceAliases("Fz T3"); }),
            "\"Fz T3\" matches more than one Source, and hence cannot be set as a list of aliases ");
}

// Folding the renamed positions and the plain majorities are covered by the
// calibration images; these are the weights no image shows.
TEST(NamingSchemeVotes, TenTenOnlyPositionsCountFiveButAFzNone) {
  using namespace SourceID;
  EXPECT_EQ(SchemeOf({AF3, T3, T4, T5, T6}), "10-10");
  EXPECT_EQ(SchemeOf({PO8, T3, T4, T5, T6}), "10-10");
  EXPECT_EQ(SchemeOf({AFz, T3}), "10-20");
}

TEST(SourceID, CodesOutsideTheTableHaveNoName) {
  EXPECT_STREQ(SourceIDName(272), "JERK");
  for (long code : {129L, 254L, -1L, 273L, (1L << 32) + 6}) {  // the last is "Fz" if truncated
    EXPECT_STREQ(SourceIDName(code), "UnknownSourceID") << code;
  }
}
