#include "EmulatorOptions.h"

#include <gtest/gtest.h>

#include "tools/common/ParseWith.h"

namespace QVT::emulator {
namespace {

EmulatorOptions Parse(const std::vector<std::string>& arguments) {
  return Tools::ParseWith(EmulatorProgramText("qvt-emulator"), DeclareEmulatorOptions, arguments);
}

TEST(EmulatorOptions, RepeatedFaultsAddUpAndTheCommandFollowsTheDashes) {
  const EmulatorOptions options = Parse({"-r", "600", "--impedance", "7.5", "--outage", "3:2", "--outage=10:0.5",
                                         "--refuse", "led", "--refuse", "0x10", "--", "prog", "--rate", "1"});
  EXPECT_EQ(options.rate, 600u);
  EXPECT_EQ(options.impedanceKiloOhms, 7.5);
  EXPECT_EQ(options.outages, (std::vector<std::pair<double, double>>{{3, 2}, {10, 0.5}}));
  ASSERT_EQ(options.refusedFamilies.size(), 2u);
  EXPECT_EQ(options.refusedFamilies[1], 0x10);
  EXPECT_EQ(options.command, (std::vector<std::string>{"prog", "--rate", "1"}));

  for (const std::vector<std::string>& refused :
       {std::vector<std::string>{"--rate", "500"}, {"--layout", "10-5"}, {"--outage", "3"}, {"--outage", "a:1"},
        {"--refuse", "nothing"}, {"--seed", "1.5"}, {"--drop", "2"}, {"prog"}})
    EXPECT_THROW(Parse(refused), Tools::UsageError) << refused.front();
}

}  // namespace
}  // namespace QVT::emulator
