// The global functions, through the shared library and the public header only.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <string>
#include <vector>

#include "qvt/qvt.h"

namespace {

std::vector<std::pair<std::string, int>> gCallbackCalls;

int RecordingCallback(const char* message, int level) {
  gCallbackCalls.emplace_back(message, level);
  return 0;
}

class GlobalFunctions : public ::testing::Test {
 protected:
  void SetUp() override {
    QVT_ClearError();
    QVT_SetErrorCallback(nullptr);
    gCallbackCalls.clear();
  }
  void TearDown() override { QVT_SetErrorCallback(nullptr); }
};

}  // namespace

TEST_F(GlobalFunctions, VersionAndInitialiser) {
  EXPECT_STREQ(QVT_GetAPIVersion(), "1.20.4");
  EXPECT_EQ(Load_QVT_API(), 0);
}

TEST_F(GlobalFunctions, ReturnedStringsSurviveThirtyOneFurtherCalls) {
  const char* first = QVT_GetAPIVersion();
  std::vector<const char*> others;
  for (int i = 1; i <= 31; ++i) {
    const unsigned char byte = static_cast<unsigned char>(i);
    others.push_back(QVT_PythonString(&byte, 1, 1));
  }
  EXPECT_STREQ(first, "1.20.4");
  EXPECT_STREQ(others.front(), "\"\\x01\"");
  EXPECT_EQ(QVT_GetAPIVersion(), first);  // the 33rd call reuses the first slot
}

TEST_F(GlobalFunctions, PythonStringFormatsBytesThroughTheInterface) {
  const unsigned char bytes[] = {0x41, 0x22, 0x5C, 0x0A, 0xFF};
  EXPECT_STREQ(QVT_PythonString(bytes, sizeof bytes, 0), "\"A\\x22\\x5C\\n\\xFF\"");
  EXPECT_STREQ(QVT_PythonString(bytes, 1, 7), "\"\\x41\"");
}

TEST_F(GlobalFunctions, DefaultPortFollowsTheEnvironment) {
  setenv("QVTSerialPort", "/dev/ttyUSB3", 1);
  EXPECT_STREQ(QVT_GetDefaultPort(), "/dev/ttyUSB3");
  unsetenv("QVTSerialPort");
  EXPECT_STREQ(QVT_GetDefaultPort(), "");
}

TEST_F(GlobalFunctions, ConsoleReturnsTheLevelAndAcceptsNull) {
  EXPECT_EQ(QVT_Console(nullptr, 3), 3);
  EXPECT_EQ(QVT_Console("console check", -1), -1);
}

TEST_F(GlobalFunctions, SuccessfulCallsLeaveNoErrorAndCallNoCallback) {
  QVT_SetErrorCallback(RecordingCallback);
  QVT_SanityCheck();
  QVT_Sleep(0.001);
  QVT_Sleep(-5.0);
  EXPECT_EQ(QVT_Error(), nullptr);
  EXPECT_EQ(QVT_ClearError(), nullptr);
  EXPECT_TRUE(gCallbackCalls.empty());
}
