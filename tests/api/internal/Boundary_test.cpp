// The error frame shared by every exported function.
#include "api/Boundary.h"

#include <gtest/gtest.h>

#include <functional>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "util/DataStreamError.h"

using QVT::api::Guarded;
using QVT::api::GuardedAll;
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

// The later functions' last resort: whatever escapes the library becomes the
// last error and the callback, and the failure value is returned.
TEST_F(Boundary, LaterFunctionsTurnEveryExceptionIntoAnInternalError) {
  const struct {
    std::function<void()> raise;
    const char* error;
  } cases[] = {
      {[] { throw std::bad_alloc(); }, "internal error: std::bad_alloc"},
      {[] { std::vector<int>().at(3); }, "internal error: vector::_M_range_check"},
      {[] { throw std::length_error("too long"); }, "internal error: too long"},
      {[] { throw 42; }, "internal error: unknown exception"},
      {[] { throw std::string("ours as ever"); }, "ours as ever"},
  };
  for (const auto& c : cases) {
    gCalls.clear();
    EXPECT_EQ(GuardedAll(-1,
                         [&] {
                           c.raise();
                           return 7;
                         }),
              -1);
    const std::string error = QVT_Error() != nullptr ? QVT_Error() : "";
    EXPECT_EQ(error.substr(0, std::string(c.error).size()), c.error);
    ASSERT_EQ(gCalls.size(), 1u);
    EXPECT_EQ(gCalls[0], (std::pair<std::string, int>{error, 1}));
  }
}
