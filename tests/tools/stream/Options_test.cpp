#include "Options.h"

#include <gtest/gtest.h>

#include "tools/common/ParseWith.h"

namespace QVT::Stream {
namespace {

Options Parse(const std::vector<std::string>& arguments) {
  return Tools::ParseWith(StreamProgramText("qvt-stream"), DeclareStreamOptions, arguments);
}

TEST(StreamOptions, StreamsUntilCtrlCByDefaultAndJudgesImpedancesAgainstGoodBelow) {
  const Options defaults = Parse({});
  EXPECT_EQ(defaults.seconds, 0.0);
  EXPECT_EQ(defaults.goodBelowKOhm, 10.0);
  EXPECT_EQ(Parse({"-s", "4", "--good-below=5"}).goodBelowKOhm, 5.0);
  for (const char* refused : {"0", "-3", "x"}) EXPECT_THROW(Parse({"--good-below", refused}), Tools::UsageError);
}

}  // namespace
}  // namespace QVT::Stream
