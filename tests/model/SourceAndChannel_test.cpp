#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <random>

#include "model/Channel.h"
#include "model/RingBuffer.h"
#include "model/Source.h"
#include "support/TestHeadsets.h"

using namespace QVT;
using QVT::testing::ThrownMessage;

TEST(Source, PredicatesFollowTheCodeRanges) {
  // Expected IsTrigger, IsAccelerometer, IsSensor, IsReferentialEEG.
  const std::pair<SourceID::Code, const char*> rows[] = {
      {SourceID::NR, "0000"},   {SourceID::CM, "0000"},   {SourceID::NC, "0000"},   {SourceID::SND, "0000"},
      {SourceID::NUL, "0000"},  {SourceID::TRG, "1000"},  {SourceID::TRG0, "1000"}, {SourceID::TRG7, "1000"},
      {SourceID::ACCT, "0100"}, {SourceID::JERK, "0100"}, {SourceID::X1, "0010"},   {SourceID::X3, "0010"},
      {SourceID::ECG, "0010"},  {SourceID::EOG, "0010"},  {SourceID::Fp1, "0011"},  {SourceID::A1A2, "0011"},
      {SourceID::U128, "0011"},
  };
  for (const auto& [id, expected] : rows) {
    const Source s(id, SourceIDName(id), 0, 1.0, 0.0);
    const std::string actual{char('0' + s.IsTrigger()), char('0' + s.IsAccelerometer()),
                             char('0' + s.IsSensor()), char('0' + s.IsReferentialEEG())};
    EXPECT_EQ(actual, expected) << s.name;
  }
}

TEST(Source, SubtractsTheOffsetBeforeScaling) {
  Source s(SourceID::Cz, "Cz", 0, 2.0, 0.0);
  s.offset = 1.0;
  s.SetRawSignal(3.0);
  EXPECT_EQ(s.Signal(), 4.0);
}

// The five averages share one array of slots; every estimate must come out
// bit for bit as from five separate ring buffers, through wrap-around,
// non-finite values and a flush that leaves old slot values behind.
TEST(Source, AveragesMatchFiveSeparateBuffersBitForBit) {
  constexpr double kEEG = 0.01950289701, kCMF = 0.023916328222799998;
  const auto bits = [](double v) { return std::bit_cast<std::uint64_t>(v); };
  const auto estimates = [&](const Source& s) {
    return std::array{bits(s.ImpedanceEEG()), bits(s.ImpedanceCMF()), bits(s.DCOffset())};
  };
  const auto mean = [](const RingBuffer& b) {
    return b.Capacity() == 0 ? 0.0 : b.Sum() / static_cast<double>(b.Capacity());
  };
  const auto magnitude = [&](const RingBuffer& i, const RingBuffer& q, double factor, bool on) {
    return bits(on ? std::sqrt(mean(i) * mean(i) + mean(q) * mean(q)) * factor : -1.0);
  };
  for (unsigned long length : {0UL, 1UL, 3UL, 7UL, 300UL}) {
    Source s(SourceID::Cz, "Cz", length, 0.37, 0.0);
    RingBuffer ref[5];
    for (RingBuffer& b : ref) b.Allocate(length);
    std::mt19937_64 random(length);
    for (int i = 0; i < 2000; ++i) {
      double raw =
          std::ldexp(static_cast<double>(random() % 65536) - 32768.0, static_cast<int>(random() % 40) - 20);
      if (i % 97 == 5) raw = std::nan("");
      if (i % 131 == 7) raw = -std::numeric_limits<double>::infinity();
      // The two carriers go off and on independently.
      const bool eegOn = i % 500 < 400, cmfOn = i % 300 < 200;
      const double w = 6.283185307179586 * static_cast<double>(i) / 300.0;
      const double carriers[4] = {eegOn ? std::cos(110.0 * w) : 0.0, eegOn ? std::sin(110.0 * w) : 0.0,
                                  cmfOn ? std::cos(130.0 * w) : 0.0, cmfOn ? std::sin(130.0 * w) : 0.0};
      if (i == 1000) {
        const auto before = estimates(s);
        s.FlushAverages();
        ASSERT_EQ(estimates(s), before);  // kept until the next sample
        for (RingBuffer& b : ref) b.Flush();
      }
      s.SetRawSignal(raw);
      s.ComputeImpedance(carriers[0], carriers[1], carriers[2], carriers[3]);
      for (int k = 0; k < 5; ++k) ref[k].Write(k < 4 ? carriers[k] * s.signal : s.signal);
      ASSERT_EQ(estimates(s), (std::array{magnitude(ref[0], ref[1], kEEG, eegOn),
                                          magnitude(ref[2], ref[3], kCMF, cmfOn), bits(mean(ref[4]))}))
          << length << " " << i;
    }
  }
}

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
      {{&cz}, {24.0}, "Cz*24", "Cz*24"},
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
