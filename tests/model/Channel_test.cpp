#include "model/Channel.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>

#include "support/TestHeadsets.h"

using namespace QVT;
using QVT::testing::ThrownMessage;

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
  EXPECT_EQ(ThrownMessage([&] { c.LookBack(2, true); }), "cannot look back 2 steps: 2 samples available");
  EXPECT_EQ(ThrownMessage([&] { c.LookBack(4, true); }), "cannot look back 4 steps: buffer size is 4");
}

TEST_F(ChannelTest, FormulaWritesSmallRatiosAndSigns) {
  const struct {
    std::vector<Source*> sources;
    std::vector<double> weights;
    const char *full, *shortForm;
  } cases[] = {
      {{&fz, &cz}, {1.0, -1.0}, "Fz-Cz", "Fz"},
      {{&a1, &a2}, {0.5, 0.5}, "A1/2+A2/2", "A1/2"},
      {{&cz}, {3.0}, "Cz*3", "Cz*3"},
      {{&cz}, {-1.5}, "-Cz*3/2", "-Cz*3/2"},
      {{&cz}, {1.0 / 24.0 + 1e-12}, "Cz/24", "Cz/24"},
      {{&cz}, {25.0}, "Cz25", "Cz25"},
      // A weight without a ratio does not end a short formula.
      {{&fz, &cz, &a1}, {0.123, -1.0, 1.0}, "Fz0.123-Cz+A1", "Fz0.123-Cz"},
      // Only index 0 goes without "+", even when its weight is skipped.
      {{&fz, &cz}, {0.0, 1.0}, "+Cz", "+Cz"},
  };
  for (const auto& c : cases) {
    const auto channel = Make(c.sources, c.weights);
    EXPECT_EQ(channel->String(true), c.full);
    EXPECT_EQ(channel->String(false), c.shortForm);
  }
}
