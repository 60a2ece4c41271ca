#include "util/Console.h"

#include <gtest/gtest.h>

#include <iostream>
#include <sstream>

TEST(Console, WritesOneLinePerMessageAndANullMessageBreaksTheStream) {
  std::ostringstream text;
  std::streambuf* saved = std::cerr.rdbuf(text.rdbuf());
  const int levels[] = {QVT::Console("first", 9), QVT::Console(std::string("second"), -2),
                        QVT::Console(static_cast<const char*>(nullptr), 3)};
  const bool bad = std::cerr.bad();
  std::cerr.rdbuf(saved);
  std::cerr.clear();
  EXPECT_EQ(levels[0], 9);  // the level is returned, never used to filter
  EXPECT_EQ(levels[1], -2);
  EXPECT_EQ(levels[2], 3);
  EXPECT_EQ(text.str(), "first\nsecond\n");  // not even the newline after null
  EXPECT_TRUE(bad);
}
