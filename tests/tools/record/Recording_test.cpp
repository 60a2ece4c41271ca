#include "Recording.h"

#include <gtest/gtest.h>

#include <cmath>
#include <deque>
#include <set>
#include <tuple>

#include "Signal.h"

namespace QVT::Record {
namespace {

TEST(RecordSignal, DigitalSamplesComeBackWithinOneStep) {
  const Signal electrode = ElectrodeSignal("Fp1", 0.301);
  const Signal counts = CountSignal("TRG", "");
  const std::vector<std::tuple<const Signal*, double, double>> cases = {
      // signal, value, what a reader gets back
      {&electrode, 0.0, 0.0},
      {&electrode, 12.3456, 12.3456},
      {&electrode, -9863.0, -9863.0},
      {&electrode, 1e9, 39453.0},
      {&counts, 0.0, 0.0},
      {&counts, 255.0, 255.0},
      {&counts, -1e9, -32768.0},
      {&counts, NAN, 0.0},
  };
  for (const auto& [signal, value, expected] : cases)
    EXPECT_NEAR(signal->ToPhysical(signal->ToDigital(value)), expected, signal->Step())
        << signal->label << " " << value;
  // A sixty-fourth of a converter count, and whole numbers in the header.
  EXPECT_NEAR(electrode.Step(), 0.301 / 64, 1e-6);
  EXPECT_EQ(electrode.physicalMaximum, std::round(electrode.physicalMaximum));
}

class Collected : public RecordSink {
 public:
  void WriteRecord(std::vector<int> digital) override { records.push_back(std::move(digital)); }
  void Annotate(double onset, double duration, std::string text) override {
    annotations.push_back({onset, duration, std::move(text), records.size()});
  }
  struct Annotation {
    double onset;
    double duration;
    std::string text;
    std::size_t recordsBefore;  // written before it was handed on
  };
  std::vector<std::vector<int>> records;
  std::vector<Annotation> annotations;
};

TEST(Recording, KeepsTheTimeLineTrueAcrossGapsAndMarksTriggersAndTheEnd) {
  Collected sink;
  const Signal counts = CountSignal("x", "");
  // Two signals, the second the trigger; records of 4 samples at 10 Hz.
  Recording recording({counts, counts}, 10.0, 4, 1, sink, 3);
  recording.Add({1, 0});
  recording.Add({2, 5});  // trigger onset at sample 1
  recording.Add({3, 5});  // held: no new onset
  recording.Lose(2);
  recording.Add({4, 0});
  recording.Add({5, 7});  // onset at sample 6
  recording.Finish();     // 7 samples: one padded

  ASSERT_EQ(sink.records.size(), 2u);
  const auto value = [&](int sample, int signal) {
    return counts.ToPhysical(sink.records[sample / 4][signal * 4 + sample % 4]);
  };
  const double first[] = {1, 2, 3, 3, 3, 4, 5, 5};
  for (int k = 0; k < 8; ++k) EXPECT_NEAR(value(k, 0), first[k], counts.Step()) << k;

  ASSERT_EQ(sink.annotations.size(), 4u);
  const std::vector<std::tuple<double, double, std::string>> expected = {
      {0.1, -1.0, "TRG 5"},
      {0.3, 0.2, "BAD gap: 2 samples lost"},
      {0.6, -1.0, "TRG 7"},
      {0.7, 0.1, "BAD end: 1 samples padded"}};
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_NEAR(sink.annotations[i].onset, std::get<0>(expected[i]), 1e-9) << i;
    EXPECT_NEAR(sink.annotations[i].duration, std::get<1>(expected[i]), 1e-9) << i;
    EXPECT_EQ(sink.annotations[i].text, std::get<2>(expected[i]));
  }
  EXPECT_EQ(recording.FilledSamples(), 2u);
  EXPECT_EQ(recording.Triggers(), 2u);
}

// A file cut short after any record must not hold an annotation later than
// its end: readers drop those.
TEST(Recording, NoAnnotationGoesIntoARecordThatEndsBeforeIt) {
  Collected sink;
  const Signal counts = CountSignal("x", "");
  // Records of 4 samples at 10 Hz; the trigger held back by 6 samples.
  Recording recording({counts, counts}, 10.0, 4, 1, sink, 8, 6);
  for (int i = 0; i < 30; ++i) {
    recording.Add({static_cast<double>(i), i % 7 == 0 ? 1.0 : 0.0});
    if (i % 5 == 2) recording.Lose(1);
    if (i % 9 == 4) recording.Annotate("ALARM x");
  }
  recording.Finish();
  ASSERT_GT(sink.annotations.size(), 10u);
  for (const auto& note : sink.annotations)
    EXPECT_LT(note.onset * 10.0, static_cast<double>(note.recordsBefore + 1) * 4.0 - 0.5) << note.text << " at " << note.onset;
  EXPECT_EQ(sink.records.size() * 4, recording.Samples());
  EXPECT_GE(sink.records.size() * 8, sink.annotations.size());
}

TEST(Recording, GapsShareAnnotationsRatherThanOutrunTheFilesRoom) {
  Collected sink;
  const Signal counts = CountSignal("x", "");
  // Records of 4 samples with room for 2 annotations each; a gap after
  // every sample and a trigger every fourth.
  Recording recording({counts, counts}, 10.0, 4, 1, sink, 2);
  for (int k = 0; k < 40; ++k) {
    recording.Add({0, k % 4 == 0 ? 1.0 : 0.0});
    recording.Lose(1);
  }
  recording.Finish();
  std::uint64_t lost = 0;
  unsigned triggers = 0;
  for (const auto& annotation : sink.annotations) {
    if (annotation.text.rfind("TRG", 0) == 0) ++triggers;
    if (annotation.text.rfind("BAD gap: ", 0) == 0) lost += std::stoull(annotation.text.substr(9));
  }
  EXPECT_EQ(triggers, 10u);
  EXPECT_EQ(lost, 40u);
  EXPECT_LE(sink.annotations.size(), sink.records.size() * 2);
  EXPECT_EQ(recording.AnnotationsBeyondRoom(), 0u);
}

// Readings the library shows three samples late land on their own samples,
// the lost sample's included.
TEST(Recording, PutsAccelerometerReadingsOnTheirOwnSamplesAcrossAGap) {
  Collected sink;
  const Signal counts = CountSignal("x", "");
  Recording recording({counts}, 8.0, 2, -1, sink, 3);
  recording.AlignAccelerometer({0}, 4.0);
  for (int k = 0; k < 12; ++k) {
    if (k == 6) continue;  // lost
    if (k == 7) recording.Lose(1);
    // Reading m (1, 2, ...) is stamped at sample 2(m - 1); 0: none yet.
    const int m = k < 3 ? 0 : (k - 3) / 2 + 1;
    recording.Add({static_cast<double>(m)}, {1.0 + k / 8.0, m == 0 ? 0.0 : 1.0 + (m - 1) / 4.0});
  }
  recording.Finish();
  std::vector<int> written;
  for (const auto& record : sink.records)
    for (const int digital : record)
      written.push_back(static_cast<int>(std::lround(counts.ToPhysical(digital))));
  // The last two wait in vain for reading 6: the one before stands.
  EXPECT_EQ(written, (std::vector<int>{1, 1, 2, 2, 3, 3, 4, 4, 5, 5, 5, 5}));
}

// The library delays the trigger through a line that advances once per
// sample received; the file must show each pulse where it was sent.
TEST(Recording, PutsTriggersBackOnTheirTrueSamplesAcrossGaps) {
  constexpr unsigned kDelay = 2;
  // Pulses sent at samples 5-7 (3) and 12-14 (9); without losses they show
  // kDelay later.
  const auto sent = [](int p) { return p >= 5 && p <= 7 ? 3.0 : p >= 12 && p <= 14 ? 9.0 : 0.0; };
  const std::vector<std::pair<std::set<int>, std::vector<int>>> cases = {
      // samples lost, trigger onsets in the file
      {{}, {7, 14}},
      {{9, 10}, {7, 14}},      // a gap between the pulses delays nothing
      {{12, 13}, {7, 16}},     // the pulse's first samples lost: the first after
      {{5, 6, 7}, {14}},       // a pulse lost whole is gone
      {{3, 4, 10, 11}, {7, 14}},
  };
  for (const auto& [lost, onsets] : cases) {
    Collected sink;
    const Signal counts = CountSignal("x", "");
    Recording recording({counts, counts}, 10.0, 4, 1, sink, 8, kDelay);
    std::deque<double> line(kDelay, 0.0);
    std::uint64_t gap = 0;
    for (int p = 0; p < 20; ++p) {
      if (lost.count(p) != 0) {
        ++gap;
        continue;
      }
      recording.Lose(std::exchange(gap, 0));
      line.push_back(sent(p));
      recording.Add({static_cast<double>(p), line.front()});
      line.pop_front();
    }
    recording.Finish();
    std::vector<int> found;
    for (const auto& annotation : sink.annotations)
      if (annotation.text.rfind("TRG", 0) == 0) found.push_back(static_cast<int>(std::lround(annotation.onset * 10)));
    EXPECT_EQ(found, onsets) << "lost " << lost.size() << " from " << (lost.empty() ? -1 : *lost.begin());
  }
}

}  // namespace
}  // namespace QVT::Record
