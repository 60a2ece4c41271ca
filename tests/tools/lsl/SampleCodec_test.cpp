#include "SampleCodec.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>

#include "CapturedExchange.h"

namespace QVT::Lsl {
namespace {

std::string EncodeFloats(double stamp, std::span<const float> values, bool suppressSubnormals = false) {
  std::string out;
  AppendNumericSample(out, ChannelFormat::Float32, stamp, std::as_bytes(values), suppressSubnormals);
  return out;
}

TEST(SampleCodec, SamplesAndTestPatternsAreTheCapturedBytes) {
  std::string eeg;
  AppendTestPattern(eeg, ChannelFormat::Float32, 8);
  EXPECT_EQ(eeg, Captured::EEGTestPattern());

  eeg.clear();
  for (int i = 0; i < 2; ++i) eeg += EncodeFloats(Captured::kEEGFirstStamps[i], Captured::kEEGFirstValues[i]);
  EXPECT_EQ(eeg, Captured::EEGFirstSamples());

  std::string markers;
  AppendTestPattern(markers, ChannelFormat::String, 1);
  EXPECT_EQ(markers, Captured::MarkerTestPattern());
  markers.clear();
  for (int i = 0; i < 2; ++i) {
    const std::string text = Captured::kMarkerTexts[i];
    AppendStringSample(markers, Captured::kMarkerStamps[i], {&text, 1});
  }
  EXPECT_EQ(markers, Captured::MarkerSamples());
}

TEST(SampleCodec, DecodingGivesBackWhatWasEncoded) {
  const std::vector<std::string> texts = {"", "TRG 5", std::string(300, 'x'), std::string("bin\0ary", 7)};
  std::string bytes;
  AppendStringSample(bytes, 12.5, texts);
  AppendTestPattern(bytes, ChannelFormat::Int64, 3);

  DecodedSample sample;
  std::size_t used = 0;
  ASSERT_EQ(DecodeSample(bytes, ChannelFormat::String, 4, sample, used), DecodeStatus::Complete);
  EXPECT_EQ(sample.stamp, 12.5);
  EXPECT_EQ(sample.strings, texts);
  EXPECT_EQ(static_cast<unsigned char>(bytes[9 + 1 + 1 + 1 + 1 + 5]), 4u) << "a 300-byte text has a 4-byte length";
  bytes.erase(0, used);
  ASSERT_EQ(DecodeSample(bytes, ChannelFormat::Int64, 3, sample, used), DecodeStatus::Complete);
  EXPECT_EQ(sample.numbers, (std::vector<double>{2147483653, -2147483654, 2147483655}));
  EXPECT_EQ(sample.stamp, 123456.789);
}

// What other implementations' inlets expect of each format (the first
// sample of the pattern); a wrong one makes them refuse the stream.
TEST(SampleCodec, EachFormatHasTheTestPatternInletsExpect) {
  const struct {
    ChannelFormat format;
    double first, second;
  } cases[] = {
      {ChannelFormat::Float32, 4, -5},           {ChannelFormat::Double64, 16777221, -16777222},
      {ChannelFormat::Int32, 65541, -65542},     {ChannelFormat::Int16, 261, -262},
      {ChannelFormat::Int8, 5, -6},              {ChannelFormat::Int64, 2147483653, -2147483654},
  };
  for (const auto& c : cases) {
    std::string bytes;
    AppendTestPattern(bytes, c.format, 2);
    DecodedSample sample;
    std::size_t used = 0;
    ASSERT_EQ(DecodeSample(bytes, c.format, 2, sample, used), DecodeStatus::Complete);
    EXPECT_EQ(sample.numbers, (std::vector<double>{c.first, c.second})) << FormatName(c.format);
    EXPECT_EQ(used * 2, bytes.size());
  }
}

TEST(SampleCodec, APartialSampleNeedsMoreAndABadOneIsMalformed) {
  const std::string text = "marker";
  std::string bytes;
  AppendStringSample(bytes, 1.0, {&text, 1});
  DecodedSample sample;
  std::size_t used = 0;
  for (std::size_t length = 0; length < bytes.size(); ++length)
    EXPECT_EQ(DecodeSample(bytes.substr(0, length), ChannelFormat::String, 1, sample, used), DecodeStatus::NeedMore)
        << length;
  EXPECT_EQ(DecodeSample("\x03", ChannelFormat::Float32, 1, sample, used), DecodeStatus::Malformed);
  bytes[9] = 3;  // no such length size
  EXPECT_EQ(DecodeSample(bytes, ChannelFormat::String, 1, sample, used), DecodeStatus::Malformed);
  EXPECT_EQ(DecodeSample(Captured::Bytes("01 08 ff ff ff ff ff ff ff 7f"), ChannelFormat::String, 1, sample, used),
            DecodeStatus::Malformed);
  ASSERT_EQ(DecodeSample(Captured::Bytes("01 00 00 80 3f"), ChannelFormat::Float32, 1, sample, used),
            DecodeStatus::Complete);
  EXPECT_TRUE(sample.stampDeduced);
  EXPECT_EQ(sample.numbers, std::vector<double>{1.0});
}

TEST(SampleCodec, SubnormalsBecomeZeroOnlyWhenAsked) {
  const float values[] = {std::numeric_limits<float>::denorm_min(), -1.5f};
  DecodedSample sample;
  std::size_t used = 0;
  for (bool suppress : {false, true}) {
    ASSERT_EQ(DecodeSample(EncodeFloats(0.0, values, suppress), ChannelFormat::Float32, 2, sample, used),
              DecodeStatus::Complete);
    EXPECT_EQ(sample.numbers[0] == 0.0, suppress);
    EXPECT_EQ(sample.numbers[1], -1.5);
  }
}

}  // namespace
}  // namespace QVT::Lsl
