// Connecting, the watchdog's start and stop, the reports of an unconnected
// headset, and reading a simulated link on the client's thread and in the
// background.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <chrono>
#include <functional>
#include <string>

#include "core/Headset.h"
#include "headset/HeadsetWire.h"
#include "support/TestHeadsets.h"
#include "util/Timing.h"

namespace {

using QVT::Headset;
using QVT::testing::ThrownMessage;

bool WaitUntil(const std::function<bool()>& condition, double seconds) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    QVT::Sleep(0.005);
  }
  return true;
}

// A block holding one BatteryLevel alarm (code 527).
std::string BatteryAlarmBlock() {
  using namespace QVT::testing;
  return EncodeBlock(0, 0, WireClock{}, EncodeAlarm(2, 15, 0x82, U16LE(80) + U16LE(81)));
}

TEST(Connect, DefaultOrEmptyPortTakesTheEnvironmentVariable) {
  const std::string noPort =
      "the serial port name must be given explicitly, because the QVTSerialPort environment variable is "
      "empty";
  unsetenv("QVTSerialPort");
  Headset headset("deferred");
  for (const char* port : {"DEFAULT", "default", "Default", ""}) {
    SCOPED_TRACE(port);
    EXPECT_EQ(ThrownMessage([&] { headset.Connect(port, true); }), noPort);
  }
  EXPECT_EQ(ThrownMessage([] { Headset failed("DEFAULT"); }), noPort);

  setenv("QVTSerialPort", "/nonexistent/qvt-port", 1);
  EXPECT_EQ(ThrownMessage([&] { headset.Connect("default", true); }),
            "Failed to open COM port \"/nonexistent/qvt-port\"");
  unsetenv("QVTSerialPort");
  EXPECT_FALSE(headset.serial.IsOpen());
}

TEST(SetWatchdogInterval, StartsOnlyOnALinkAndZeroStopsIt) {
  Headset headset("deferred");
  headset.SetWatchdogInterval(5.0);
  EXPECT_EQ(headset.watchdogInterval, 5.0);
  EXPECT_FALSE(headset.dataWatchdog.Running());

  headset.SimulateInput();
  headset.SetWatchdogInterval(5.0);
  EXPECT_TRUE(headset.dataWatchdog.Running());
  EXPECT_FALSE(headset.dataWatchdog.Finished());

  headset.SetWatchdogInterval(0.0);
  EXPECT_TRUE(headset.dataWatchdog.Finished());
  headset.SetWatchdogInterval(-1.0);
  EXPECT_TRUE(headset.dataWatchdog.Finished());
}

// The layout of the report is pinned on a connected headset; here, only how
// unknown values read.
TEST(Reports, DeferredHeadsetKnowsNothingYet) {
  const Headset headset("deferred");
  const std::string info = headset.InfoString();
  for (const char* line :
       {"\n           'HardwareModel' : '?\?\?',\n", "\n            'SerialNumber' : 4294967295,\n",
        "\n'CalibrationLayoutVersion' : -1,\n", "\n     'TimeOnboardClockSet' : '',\n",
        "\n         'AnalogResetMode' : -1,\n}"})
    EXPECT_NE(info.find(line), std::string::npos) << line << " not in\n" << info;
}

TEST(Reports, BatteryAndFirmwareTexts) {
  Headset headset("deferred");
  headset.batteryLevel1 = 87.5;
  headset.batteryLevel2 = 1234567.0;
  EXPECT_EQ(headset.BatteryLevel(), "[ 87.5, 1.23457e+06 ]");
  headset.firmwareRevisionMaster = "M 2.1";
  headset.firmwareRevisionSlave = "S 1.9";
  headset.firmwareSubRevisionMaster = {{3, 4}, {1, 2}};
  headset.firmwareSubRevisionSlave = {{0, 7}};
  EXPECT_EQ(headset.FirmwareRevision(), "M 2.1 (1:2,3:4) + S 1.9 (0:7)");
}

TEST(Reports, RelativeTimeStampIsSixWideWithThreeDecimals) {
  Headset headset("deferred");
  EXPECT_EQ(headset.RelativeTimeStamp(0.5), " 0.500");
  EXPECT_EQ(headset.RelativeTimeStamp(12.3456), "12.346");
  EXPECT_EQ(headset.RelativeTimeStamp(1234.5), "1234.500");
  headset.SimulateInput();  // the link's clock starts now
  const std::string now = headset.RelativeTimeStamp(-1.0);
  EXPECT_EQ(now.size(), 6u);
  EXPECT_EQ(now.substr(0, 3), " 0.") << now;
}

TEST(SimulatedLink, IdleAndBackgroundAcquisitionReadWhatArrives) {
  Headset headset("deferred");
  headset.messageCallback.Set(nullptr);
  headset.SimulateInput();
  const std::string block = BatteryAlarmBlock();

  headset.FeedFakeData(block.data(), block.size());
  headset.Idle(0.01);
  EXPECT_EQ(headset.NumberOfAlarms(), 1u);
  EXPECT_EQ(headset.batteryLevel1, 80.0);

  // The mode was never reported, so the thread reads without starting a
  // stream, and keeps reading until asked to stop.
  ASSERT_TRUE(headset.StartBackgroundAcquisition());
  EXPECT_TRUE(headset.BackgroundAcquisitionRunning());
  headset.FeedFakeData(block.data(), block.size());
  EXPECT_TRUE(WaitUntil([&] { return headset.NumberOfAlarms() == 2; }, 3.0));
  EXPECT_TRUE(headset.IsConnected());
  headset.StopBackgroundAcquisition();
  ASSERT_TRUE(WaitUntil([&] { return headset.acquisitionThread.Finished(); }, 3.0));
  EXPECT_FALSE(headset.acquisitionThread.Failed()) << headset.acquisitionThread.ErrorMessage();
}

}  // namespace
