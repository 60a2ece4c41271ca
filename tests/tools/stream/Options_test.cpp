#include "Options.h"

#include <gtest/gtest.h>

namespace QVT::Stream {
namespace {

TEST(StreamOptions, DefaultsStreamTenSecondsOnTheDefaultPortWithoutImpedances) {
  const Options options = ParseOptions({});
  EXPECT_EQ(options.port, "DEFAULT");
  EXPECT_EQ(options.seconds, 10.0);
  EXPECT_EQ(options.impedanceSeconds, 0.0);
  EXPECT_EQ(options.verbosity, 2);
  EXPECT_FALSE(options.help || options.version);
}

TEST(StreamOptions, ValuesFollowEitherAsTheNextArgumentOrAfterAnEqualsSign) {
  const Options options = ParseOptions(
      {"--port", "/dev/ttyX", "--seconds=2.5", "--impedance", "3", "--good-below=5", "--verbose", "0"});
  EXPECT_EQ(options.port, "/dev/ttyX");
  EXPECT_EQ(options.seconds, 2.5);
  EXPECT_EQ(options.impedanceSeconds, 3.0);
  EXPECT_EQ(options.goodBelowKOhm, 5.0);
  EXPECT_EQ(options.verbosity, 0);
  EXPECT_TRUE(ParseOptions({"--version"}).version);
}

TEST(StreamOptions, RejectsDurationsThatAreNotPositiveFiniteNumbers) {
  for (const char* bad : {"0", "-1", "x", "2s", "", "nan", "inf", "1e9", " 3"})
    EXPECT_THROW(ParseOptions({"--seconds", bad}), UsageError) << '"' << bad << '"';
  EXPECT_THROW(ParseOptions({"--impedance=0"}), UsageError);
  EXPECT_THROW(ParseOptions({"--good-below", "-3"}), UsageError);
}

TEST(StreamOptions, RejectsVerbosityOutsideTheMessageLevels) {
  for (const char* bad : {"-1", "8", "2.5", "high"})
    EXPECT_THROW(ParseOptions({"--verbose", bad}), UsageError) << bad;
}

TEST(StreamOptions, RejectsUnknownOptionsStrayArgumentsAndMissingValues) {
  EXPECT_THROW(ParseOptions({"--sconds", "3"}), UsageError);
  EXPECT_THROW(ParseOptions({"-s", "3"}), UsageError);
  EXPECT_THROW(ParseOptions({"/dev/ttyX"}), UsageError);
  EXPECT_THROW(ParseOptions({"--seconds"}), UsageError);
  EXPECT_THROW(ParseOptions({"--port="}), UsageError);
  EXPECT_THROW(ParseOptions({"--help=yes"}), UsageError);
}

TEST(StreamOptions, ErrorNamesTheOffendingArgument) {
  try {
    ParseOptions({"--bogus"});
    FAIL();
  } catch (const UsageError& error) {
    EXPECT_NE(std::string(error.what()).find("--bogus"), std::string::npos);
  }
}

}  // namespace
}  // namespace QVT::Stream
