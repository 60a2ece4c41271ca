#include "model/ChannelSpecification.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/TestHeadsets.h"

using namespace QVT;
using namespace QVT::testing;

namespace {

std::string Uninterpretable(const std::string& term) {
  return "could not interpret \"" + term + "\" as a valid channel specification";
}

class ConstructChannel : public ::testing::Test {
 protected:
  Source* S(const char* name) { return h->MatchSource(name, true); }
  std::string Failure(const std::string& specification) {
    return ThrownMessage([&] { h->ConstructChannel(specification, true); });
  }
  std::unique_ptr<Headset> h = MakeHeadset(TenTwentyLayout());
  Source* factory = h->sources[kFactoryReferencePosition - 1].get();
};

}  // namespace

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

TEST_F(ConstructChannel, ReferencesALoneElectrodeScaledByItsWeight) {
  const auto cz = h->ConstructChannel(" -Cz ", false);
  EXPECT_EQ(cz->sources, (std::vector<Source*>{S("Cz"), factory}));
  EXPECT_EQ(cz->weights, (std::vector<double>{-1.0, 1.0}));
  EXPECT_EQ(cz->buffer.Capacity(), 1u);
  h->defaultReference = "A1/2+A2/2";
  EXPECT_EQ(h->ConstructChannel("Cz*2", false)->String(true), "Cz*2-A1-A2");
  EXPECT_EQ(h->ConstructChannel("ch3", false)->String(true), "F7-A1/2-A2/2");
  for (const char* asWritten : {"Fz-Cz", "TRG", "X1", "CM"})
    EXPECT_EQ(h->ConstructChannel(asWritten, false)->String(true), asWritten);
}

TEST_F(ConstructChannel, AutoSwapKeepsAnElectrodeFromReadingAgainstItself) {
  h->defaultReference = "A1/2+A2/2";
  const auto swapped = h->ConstructChannel("A1", true);
  EXPECT_EQ(swapped->sources, (std::vector<Source*>{factory, S("A1"), S("A2")}));
  EXPECT_EQ(h->ConstructChannel("A1", false)->sources, (std::vector<Source*>{S("A1"), S("A1"), S("A2")}));
  EXPECT_EQ(h->ConstructChannel("A1-A1/2-A2/2", true)->sources[0], S("A1"));  // written out: no swap
}

TEST_F(ConstructChannel, PassesGrammarAndMatchingFailuresThroughUnchanged) {
  EXPECT_EQ(Failure("Cz*1e-3"), Uninterpretable("Cz*1e"));
  EXPECT_EQ(Failure("Fz-Cz-A1/2/3"), Uninterpretable("-A1/2/3"));
  EXPECT_EQ(Failure("ch99"), "Invalid source number 99 (use names, or numbers from 1 to 42).");
  EXPECT_EQ(Failure("Fz - foo"), ThrownMessage([&] { h->MatchSource("foo", true); }));
  h->defaultReference = "A1/0";
  EXPECT_EQ(Failure("Cz"), Uninterpretable("A1/0"));
}
