// The error frame shared by every exported function.
#include "api/Boundary.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

#include "util/DataStreamError.h"

using QVT::api::Guarded;
using QVT::api::GuardedString;
using QVT::api::GuardedVoid;

namespace {

std::vector<std::pair<std::string, int>> gCalls;

int Record(const char* message, int level) {
  gCalls.emplace_back(message, level);
  return 0;
}

class Boundary : public ::testing::Test {
 protected:
  void SetUp() override {
    QVT_ClearError();
    gCalls.clear();
    QVT_SetErrorCallback(Record);
  }
  void TearDown() override { QVT_SetErrorCallback(nullptr); }
};

}  // namespace

// One callback at level 1 per failure; the error outlives later successes.
TEST_F(Boundary, ErrorPersistsThroughSuccessUntilCleared) {
  EXPECT_EQ(Guarded(0.0, []() -> double { throw DataStreamError("stream broke"); }), 0.0);
  EXPECT_EQ(Guarded(2.5, [] { return 1.5; }), 1.5);
  EXPECT_STREQ(GuardedString([] { return std::string("fine"); }), "fine");
  EXPECT_STREQ(QVT_Error(), "stream broke");
  EXPECT_EQ(gCalls, (std::vector<std::pair<std::string, int>>{{"stream broke", 1}}));
  EXPECT_STREQ(QVT_ClearError(), "stream broke");
  EXPECT_EQ(QVT_Error(), nullptr);
}

// The error shares the ring of returned strings: a client copies what it
// keeps.
TEST_F(Boundary, ReturnedStringsAndTheErrorLastThirtyOneFurtherStringCalls) {
  GuardedVoid([] { throw std::string("old news"); });
  const char* error = QVT_Error();
  const char* version = QVT_GetAPIVersion();
  for (int i = 0; i < 30; ++i) QVT_OutputString("filler");
  EXPECT_STREQ(error, "old news");
  EXPECT_STREQ(version, "1.20.4");
  EXPECT_EQ(QVT_GetAPIVersion(), error);  // the 32nd call takes its slot back
  EXPECT_STREQ(error, "1.20.4");
  QVT_OutputString("filler");
  EXPECT_STREQ(version, "filler");
}

TEST_F(Boundary, ForeignExceptionsPassThrough) {
  EXPECT_THROW(Guarded(0, []() -> int { throw std::runtime_error("not ours"); }), std::runtime_error);
  EXPECT_EQ(QVT_Error(), nullptr);
  EXPECT_TRUE(gCalls.empty());
}
