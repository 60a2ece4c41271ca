#include "model/Source.h"

#include <gtest/gtest.h>

using namespace QVT;

TEST(Source, ScalesRawValuesAndStartsUnmeasured) {
  Source s(SourceID::Cz, "Cz", 4, 2.0, 0.0);
  EXPECT_EQ(s.ImpedanceEEG(), -1.0);
  EXPECT_EQ(s.ImpedanceCMF(), -1.0);
  s.offset = 1.0;
  s.SetRawSignal(3.0);
  EXPECT_EQ(s.Signal(), 4.0);
}

TEST(Source, EstimatesRampUpOverTheAveragingLength) {
  constexpr double kEEG = 0.01950289701, kCMF = 0.023916328222799998;
  Source s(SourceID::Fz, "Fz", 4, 1.0, 0.0);
  s.SetRawSignal(2.0);
  s.ComputeImpedance(1.0, 0.0, 3.0, 4.0);
  EXPECT_DOUBLE_EQ(s.DCOffset(), 0.5);
  EXPECT_DOUBLE_EQ(s.ImpedanceEEG(), 0.5 * kEEG);
  EXPECT_DOUBLE_EQ(s.ImpedanceCMF(), 2.5 * kCMF);  // |(6, 8)| / 4
  for (int i = 0; i < 5; ++i) s.ComputeImpedance(1.0, 0.0, 3.0, 4.0);
  EXPECT_DOUBLE_EQ(s.DCOffset(), 2.0);
  EXPECT_DOUBLE_EQ(s.ImpedanceEEG(), 2.0 * kEEG);
  EXPECT_DOUBLE_EQ(s.ImpedanceCMF(), 10.0 * kCMF);
  s.ComputeImpedance(0.0, 0.0, 0.0, 0.0);  // carriers off
  EXPECT_EQ(s.ImpedanceEEG(), -1.0);
  EXPECT_EQ(s.ImpedanceCMF(), -1.0);

  Source unaveraged(SourceID::Fz, "Fz", 0, 1.0, 0.0);
  unaveraged.SetRawSignal(5.0);
  unaveraged.ComputeImpedance(0.0, 1.0, 0.0, 0.0);
  EXPECT_EQ(unaveraged.DCOffset(), 0.0);
  EXPECT_EQ(unaveraged.ImpedanceEEG(), 0.0);
  EXPECT_EQ(unaveraged.ImpedanceCMF(), -1.0);
}

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
