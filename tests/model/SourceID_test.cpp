#include "model/SourceID.h"

#include <gtest/gtest.h>

using namespace QVT;

TEST(SourceID, TableIsOrderedAndOnlyItsCodesHaveNames) {
  const auto table = SourceID::Table();
  ASSERT_EQ(table.size(), 147u);
  for (std::size_t i = 0; i < table.size(); ++i) {
    EXPECT_TRUE(i == 0 || table[i - 1].code < table[i].code) << i;
    EXPECT_STREQ(SourceIDName(table[i].code), table[i].name);
  }
  EXPECT_STREQ(SourceIDName(SourceID::CM), "CM");
  EXPECT_STREQ(SourceIDName(126), "G");
  EXPECT_STREQ(SourceIDName(255), "NC");
  EXPECT_STREQ(SourceIDName(272), "JERK");
  for (long code : {129L, 254L, -1L, 273L, (1L << 32) + 6}) {  // the last is "Fz" if truncated
    EXPECT_STREQ(SourceIDName(code), "UnknownSourceID") << code;
  }
}
