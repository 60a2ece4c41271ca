// The global functions, through the shared library and the public header only.
#include <gtest/gtest.h>
#include <stdlib.h>

#include "qvt/qvt.h"

TEST(GlobalFunctions, PythonStringTakesAnyNonZeroFlag) {
  const unsigned char bytes[] = {0x41, 0x22, 0x5C, 0x0A, 0xFF};
  EXPECT_STREQ(QVT_PythonString(bytes, sizeof bytes, 0), "\"A\\x22\\x5C\\n\\xFF\"");
  EXPECT_STREQ(QVT_PythonString(bytes, 1, 7), "\"\\x41\"");
}

TEST(GlobalFunctions, DefaultPortFollowsTheEnvironment) {
  setenv("QVTSerialPort", "/dev/ttyUSB3", 1);
  EXPECT_STREQ(QVT_GetDefaultPort(), "/dev/ttyUSB3");
  unsetenv("QVTSerialPort");
  EXPECT_STREQ(QVT_GetDefaultPort(), "");
}

TEST(GlobalFunctions, ConsoleReturnsTheLevelAndAcceptsNull) {
  QVT_ClearError();
  EXPECT_EQ(QVT_Console(nullptr, 3), 3);
  EXPECT_EQ(QVT_Console("console check", -1), -1);
  QVT_Sleep(-5.0);
  EXPECT_EQ(QVT_Error(), nullptr);
}
