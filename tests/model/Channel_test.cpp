#include "model/Channel.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>

using namespace QVT;

namespace {

class ChannelTest : public ::testing::Test {
 protected:
  // Channels own a ring buffer and cannot be moved, so they live on the heap.
  static std::unique_ptr<Channel> Make(std::vector<Source*> sources, std::vector<double> weights) {
    auto c = std::make_unique<Channel>();
    c->sources = std::move(sources);
    c->weights = std::move(weights);
    return c;
  }

  Source fz{SourceID::Fz, "Fz", 0, 1.0, 0.0};
  Source cz{SourceID::Cz, "Cz", 0, 1.0, 0.0};
  Source a1{SourceID::A1, "A1", 0, 1.0, 0.0};
  Source a2{SourceID::A2, "A2", 0, 1.0, 0.0};
};

std::string LookBackError(const Channel& c, unsigned long n) {
  try {
    c.LookBack(n, true);
  } catch (const std::string& e) {
    return e;
  }
  return "";
}

}  // namespace

TEST_F(ChannelTest, RawSignalIsAFusedSumOverNonNullSources) {
  EXPECT_EQ(Channel().CalculateRawSignal(), 0.0);
  fz.SetRawSignal(-1.0);
  cz.SetRawSignal(3.0);
  // Rounding the product separately would give exactly 0 here.
  EXPECT_EQ(Make({&fz, nullptr, &cz}, {1.0, 5.0, 1.0 / 3.0})->CalculateRawSignal(),
            std::fma(1.0 / 3.0, 3.0, -1.0));
}

TEST_F(ChannelTest, NameAndReferenceProperties) {
  EXPECT_EQ(Make({nullptr, &fz, &cz}, {9.0, 2.0, 2.0})->Name(), "Fz");
  auto negative = Make({&fz, &cz}, {-1.0, -2.0});
  EXPECT_EQ(negative->MaxPositiveSource(), nullptr);
  EXPECT_EQ(negative->Name(), "");
  EXPECT_TRUE(negative->IsReferentialEEG());
  Source ecg(SourceID::ECG, "ECG", 0, 1.0, 0.0);
  EXPECT_FALSE(Make({&fz, &ecg}, {1.0, -1.0})->IsReferentialEEG());
  EXPECT_FALSE(Channel().IsReferentialEEG());
}

TEST_F(ChannelTest, AutoSwapRepairsOnlyAnElectrodeAgainstItself) {
  auto self = Make({&cz, &a1, &cz}, {1.0, 0.0, -1.0});
  EXPECT_TRUE(self->AutoSwap(&fz));
  EXPECT_EQ(self->sources, (std::vector<Source*>{&fz, &a1, &cz}));

  auto twoPositive = Make({&cz, &fz, &cz}, {1.0, 1.0, -1.0});
  auto otherFirstNegative = Make({&cz, &a1, &cz}, {1.0, -1.0, -1.0});
  auto noNegative = Make({&cz}, {1.0});
  for (Channel* c : {twoPositive.get(), otherFirstNegative.get(), noNegative.get()}) {
    const auto before = c->sources;
    EXPECT_FALSE(c->AutoSwap(&a2));
    EXPECT_EQ(c->sources, before);
  }
}

TEST_F(ChannelTest, LookBackReachesOnlyUnreadValues) {
  Channel c;
  c.buffer.Allocate(4);
  for (double v : {1.0, 2.0, 3.0}) c.buffer.Write(v);
  c.buffer.Read();
  EXPECT_EQ(c.LookBack(1, true), 2.0);
  EXPECT_EQ(c.LookBack(2, false), 0.0);
  EXPECT_EQ(LookBackError(c, 2), "cannot look back 2 steps: 2 samples available");
  EXPECT_EQ(LookBackError(c, 4), "cannot look back 4 steps: buffer size is 4");
}

TEST_F(ChannelTest, FormulaWritesSmallRatiosAndSigns) {
  EXPECT_EQ(Make({&fz, &cz}, {1.0, -1.0})->String(true), "Fz-Cz");
  const auto ears = Make({&a1, &a2}, {0.5, 0.5});
  EXPECT_EQ(ears->String(true), "A1/2+A2/2");
  EXPECT_EQ(ears->String(false), "A1/2");
  EXPECT_EQ(Make({&cz}, {3.0})->String(true), "Cz*3");
  EXPECT_EQ(Make({&cz}, {-1.5})->String(true), "-Cz*3/2");
  EXPECT_EQ(Make({&cz}, {1.0 / 24.0 + 1e-12})->String(true), "Cz/24");
  EXPECT_EQ(Make({&cz}, {25.0})->String(true), "Cz25");
  // A weight without a ratio does not end a short formula.
  EXPECT_EQ(Make({&fz, &cz, &a1}, {0.123, -1.0, 1.0})->String(false), "Fz0.123-Cz");
  // Only index 0 goes without "+", even when its weight is skipped.
  EXPECT_EQ(Make({&fz, &cz}, {0.0, 1.0})->String(true), "+Cz");
}
