#include <gtest/gtest.h>

#include <cmath>

#include "ChannelStatistics.h"
#include "ProgressDisplay.h"
#include "Tables.h"

namespace QVT::Stream {
namespace {

TEST(ChannelStatistics, MeanRmsAndSpreadOfAKnownSeries) {
  ChannelStatistics statistics;
  EXPECT_EQ(statistics.Rms(), 0.0);
  for (double value : {1.0, -1.0, 3.0, 5.0}) statistics.Add(value);
  EXPECT_DOUBLE_EQ(statistics.Mean(), 2.0);
  EXPECT_DOUBLE_EQ(statistics.Rms(), 3.0);  // sqrt((1 + 1 + 9 + 25) / 4)
  EXPECT_DOUBLE_EQ(statistics.StandardDeviation(), std::sqrt(5.0));
}

TEST(ChannelStatistics, SmallSignalSurvivesALargeOffset) {
  ChannelStatistics statistics;
  for (int i = 0; i < 100000; ++i) statistics.Add(1e9 + (i % 2 == 0 ? 1.0 : -1.0));
  EXPECT_NEAR(statistics.StandardDeviation(), 1.0, 1e-6);
}

TEST(StreamTables, ImpedancesAreGoodOnlyBelowTheThreshold) {
  // 9.96 reads 10.0 and is judged as it reads.
  EXPECT_EQ(
      FormatImpedanceTable({{"Fz", 9.9}, {"Cz", 10.0}, {"C3", 9.96}, {"Pz", -1.0}, {"A1", 0.0, true}}, 10.0),
      "electrode impedance\n"
      "Fz             9.9 kOhm  good\n"
      "Cz            10.0 kOhm  poor\n"
      "C3            10.0 kOhm  poor\n"
      "Pz           not measured\n"
      "A1              reference\n");
}

TEST(StreamTables, ImpedanceColumnAppearsOnlyWhenMeasured) {
  ChannelRow row{"Fz", {}, -1.0};
  row.statistics.Add(2.0);
  EXPECT_EQ(FormatChannelTable({row}).find("impedance"), std::string::npos);
  row.impedanceKOhm = 4.24;
  EXPECT_NE(FormatChannelTable({row}).find("4.2 kOhm"), std::string::npos);
}

TEST(StreamProgress, RateIsZeroBeforeAnyTimeHasPassed) {
  using Tools::FormatProgress;
  const auto progress = [](double elapsed, std::uint64_t samples, unsigned buffered, std::uint64_t lost,
                           unsigned gaps, std::int64_t fileBytes) {
    Tools::Progress made;
    made.elapsedSeconds = elapsed;
    made.samples = samples;
    made.buffered = buffered;
    made.lostSamples = lost;
    made.gaps = gaps;
    made.fileBytes = fileBytes;
    return made;
  };
  EXPECT_EQ(FormatProgress(progress(0.0, 10, 3, 7, 1, -1)),
            "elapsed 0.0 s  samples 10  rate 0.0 Hz  buffered 3  overflowed 0  lost 7 in 1 gap");
  EXPECT_NE(FormatProgress(progress(2.0, 600, 0, 0, 0, 1500000))
                .find("rate 300.0 Hz  buffered 0  overflowed 0  "
                      "lost 0 in 0 gaps  file 1.5 MB"),
            std::string::npos);
}

}  // namespace
}  // namespace QVT::Stream
