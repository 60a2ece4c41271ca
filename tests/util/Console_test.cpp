#include "util/Console.h"

#include <gtest/gtest.h>

#include <iostream>
#include <sstream>

namespace {

// Points std::cerr at a string for the life of the object.
class CapturedStandardError {
 public:
  CapturedStandardError() : saved_(std::cerr.rdbuf(text_.rdbuf())) {}
  ~CapturedStandardError() {
    std::cerr.rdbuf(saved_);
    std::cerr.clear();
  }
  std::string Text() const { return text_.str(); }

 private:
  std::ostringstream text_;
  std::streambuf* saved_;
};

}  // namespace

TEST(Console, WritesOneLinePerMessageAndReturnsTheLevelUnfiltered) {
  CapturedStandardError captured;
  EXPECT_EQ(QVT::Console("first", 9), 9);
  EXPECT_EQ(QVT::Console(std::string("second"), -2), -2);
  EXPECT_EQ(captured.Text(), "first\nsecond\n");
}

TEST(Console, NullMessageWritesNothingNotEvenTheNewline) {
  CapturedStandardError captured;
  EXPECT_EQ(QVT::Console(static_cast<const char*>(nullptr), 3), 3);
  EXPECT_EQ(captured.Text(), "");
  EXPECT_TRUE(std::cerr.bad());
}
