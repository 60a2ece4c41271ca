#include "MarkerQueue.h"

#include <gtest/gtest.h>

#include "CommandLine.h"
#include "MarkerOptions.h"
#include "ParseWith.h"

namespace QVT::Markers {
namespace {

TEST(MarkerQueue, BoundsCountAndBytesAndCountsWhatItRefusesOrCutsPerSource) {
  MarkerQueue queue({3, 10, 4});
  queue.AddSource("quiet");
  EXPECT_TRUE(queue.Push({"a", "12345678", 1.0}));  // cut to 4
  EXPECT_TRUE(queue.Push({"a", "1234", 2.0}));
  EXPECT_FALSE(queue.Push({"b", "1234", 3.0}));  // 12 bytes: over
  EXPECT_TRUE(queue.Push({"b", "12", 4.0}));
  EXPECT_FALSE(queue.Push({"b", "", 5.0}));  // 4 markers: over
  const auto counts = queue.Counts();
  EXPECT_EQ(counts.at("a").received, 2u);
  EXPECT_EQ(counts.at("a").cut, 1u);
  EXPECT_EQ(counts.at("b").received, 1u);
  EXPECT_EQ(counts.at("b").dropped, 2u);
  EXPECT_EQ(counts.at("quiet").received, 0u);
  const auto taken = queue.Take();
  ASSERT_EQ(taken.size(), 3u);
  EXPECT_EQ(taken[0].text, "1234");
  EXPECT_EQ(taken[2].time, 4.0);
  EXPECT_TRUE(queue.Push({"b", "room again", 6.0}));
}

TEST(MarkerOptions, QueriesRepeatWithoutSwallowingTheFileAndAddressesAreChecked) {
  struct Options {
    MarkerOptions markers;
    std::string file;
  };
  const auto declare = +[](Tools::CommandLine& line, Options& options) {
    AddMarkerOptions(line, options.markers);
    line.App().add_option("FILE", options.file)->required();
  };
  const Tools::ProgramText text{"qvt-test", "1", "test", "test", {}, ""};
  const auto options = Tools::ParseWith<Options>(
      text, declare,
      {"--markers-from", "stim", "--markers-from", "type='Markers'", "--marker-port", "5000", "f.bdf"});
  EXPECT_EQ(options.markers.lslQueries, (std::vector<std::string>{"stim", "type='Markers'"}));
  EXPECT_EQ(options.markers.udpPort, 5000);
  EXPECT_EQ(options.markers.udpListen, "127.0.0.1");
  EXPECT_EQ(options.file, "f.bdf");
  for (const auto& bad : std::vector<std::vector<std::string>>{{"--marker-listen", "localhost", "f.bdf"},
                                                               {"--marker-port", "0", "f.bdf"},
                                                               {"--marker-port", "70000", "f.bdf"}})
    EXPECT_THROW(Tools::ParseWith<Options>(text, declare, bad), Tools::UsageError) << bad[0] << " " << bad[1];
}

}  // namespace
}  // namespace QVT::Markers
