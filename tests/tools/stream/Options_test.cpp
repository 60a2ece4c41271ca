#include "Options.h"

#include <gtest/gtest.h>

namespace QVT::Stream {
namespace {

TEST(StreamOptions, ValuesFollowEitherAsTheNextArgumentOrAfterAnEqualsSign) {
  const Options defaults = ParseOptions({});
  EXPECT_EQ(defaults.port, "DEFAULT");
  EXPECT_EQ(defaults.seconds, 10.0);
  EXPECT_EQ(defaults.impedanceSeconds, 0.0);
  EXPECT_EQ(defaults.verbosity, 2);
  EXPECT_FALSE(defaults.help || defaults.version);

  const Options options = ParseOptions(
      {"--port", "/dev/ttyX", "--seconds=2.5", "--impedance", "3", "--good-below=5", "--verbose", "0"});
  EXPECT_EQ(options.port, "/dev/ttyX");
  EXPECT_EQ(options.seconds, 2.5);
  EXPECT_EQ(options.impedanceSeconds, 3.0);
  EXPECT_EQ(options.goodBelowKOhm, 5.0);
  EXPECT_EQ(options.verbosity, 0);
  EXPECT_TRUE(ParseOptions({"--version"}).version);
}

// Each error names the option or argument that gave it.
TEST(StreamOptions, RejectsBadValuesUnknownOptionsStrayArgumentsAndMissingValues) {
  const std::vector<std::vector<std::string>> rejected = {
      {"--seconds", "0"},  {"--seconds", "-1"},  {"--seconds", "x"},     {"--seconds", "2s"},
      {"--seconds", ""},   {"--seconds", "nan"}, {"--seconds", "inf"},   {"--seconds", "1e9"},
      {"--seconds", " 3"}, {"--impedance=0"},    {"--good-below", "-3"}, {"--verbose", "-1"},
      {"--verbose", "8"},  {"--verbose", "2.5"}, {"--verbose", "high"},  {"--sconds", "3"},
      {"-s", "3"},         {"/dev/ttyX"},        {"--seconds"},          {"--port="},
      {"--help=yes"},
  };
  for (const auto& arguments : rejected) {
    const std::string option = arguments.front().substr(0, arguments.front().find('='));
    SCOPED_TRACE(arguments.front() + " " + arguments.back());
    try {
      ParseOptions(arguments);
      ADD_FAILURE() << "accepted";
    } catch (const UsageError& error) {
      EXPECT_NE(std::string(error.what()).find(option), std::string::npos) << error.what();
    }
  }
}

}  // namespace
}  // namespace QVT::Stream
