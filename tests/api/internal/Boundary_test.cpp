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

struct Headset {};

}  // namespace

TEST_F(Boundary, NullHandleBecomesTheLastErrorAndOneCallbackAtLevelOne) {
  Headset* none = nullptr;
  const int result = Guarded(0, [&] {
    POINTER(none, "Headset");
    return 5;
  });
  EXPECT_EQ(result, 0);
  EXPECT_STREQ(QVT_Error(), "NULL Headset pointer");
  ASSERT_EQ(gCalls.size(), 1u);
  EXPECT_EQ(gCalls[0], std::make_pair(std::string("NULL Headset pointer"), 1));
}

TEST_F(Boundary, ErrorPersistsThroughSuccessUntilCleared) {
  EXPECT_EQ(Guarded(0.0, []() -> double { throw DataStreamError("stream broke"); }), 0.0);
  EXPECT_EQ(Guarded(2.5, [] { return 1.5; }), 1.5);
  EXPECT_STREQ(GuardedString([] { return std::string("fine"); }), "fine");
  EXPECT_STREQ(QVT_Error(), "stream broke");
  EXPECT_STREQ(QVT_ClearError(), "stream broke");
  EXPECT_EQ(QVT_Error(), nullptr);
}

TEST_F(Boundary, FailureValuesPerResultType) {
  EXPECT_EQ(GuardedString([]() -> std::string { throw std::string("no text"); }), nullptr);
  bool ran = false;
  GuardedVoid([&] {
    ran = true;
    throw std::string("void failed");
  });
  EXPECT_TRUE(ran);
  EXPECT_STREQ(QVT_Error(), "void failed");
  Headset headset;
  EXPECT_EQ(Guarded<Headset*>(nullptr, [&] { return POINTER(&headset, "Headset"); }), &headset);
}

TEST_F(Boundary, TheErrorTextIsOverwrittenAfterThirtyTwoStringCalls) {
  GuardedVoid([] { throw std::string("old news"); });
  const char* error = QVT_Error();
  for (int i = 0; i < 31; ++i) QVT_OutputString("filler");
  EXPECT_STREQ(error, "old news");
  QVT_OutputString("filler");
  EXPECT_STREQ(error, "filler");
}

TEST_F(Boundary, ForeignExceptionsPassThrough) {
  EXPECT_THROW(Guarded(0, []() -> int { throw std::runtime_error("not ours"); }), std::runtime_error);
  EXPECT_EQ(QVT_Error(), nullptr);
  EXPECT_TRUE(gCalls.empty());
}
