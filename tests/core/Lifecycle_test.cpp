// Connecting, the watchdog's start and stop, report texts, and reading a simulated link on the client's
// thread. Streaming in the background is left to the tests against a headset peer.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <string>

#include "core/Headset.h"
#include "headset/HeadsetWire.h"
#include "support/TestHeadsets.h"

namespace {

using QVT::Headset;
using QVT::testing::ThrownMessage;

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
            "Failed to open COM port \"/nonexistent/qvt-port\": No such file or directory");
  unsetenv("QVTSerialPort");
  EXPECT_FALSE(headset.serial.IsOpen());
}

// Without a link it only stores the interval, as the peer tests show.
TEST(SetWatchdogInterval, StartsOnALinkAndZeroOrLessStopsIt) {
  Headset headset("deferred");
  headset.SimulateInput();
  headset.SetWatchdogInterval(5.0);
  EXPECT_TRUE(headset.dataWatchdog.Running());
  headset.SetWatchdogInterval(0.0);
  EXPECT_TRUE(headset.dataWatchdog.Finished());
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

TEST(SimulatedLink, IdleReadsWhatArrivesWithoutStartingAStreamAndFreshDataMeansConnected) {
  using namespace QVT::testing;
  Headset headset("deferred");
  headset.messageCallback.Set(nullptr);
  headset.SimulateInput();
  // A block holding one BatteryLevel alarm (code 527).
  const std::string block = EncodeBlock(0, 0, WireClock{}, EncodeAlarm(2, 15, 0x82, U16LE(80) + U16LE(81)));
  headset.FeedFakeData(block.data(), block.size());
  headset.Idle(0.0);  // reads at least one block
  EXPECT_EQ(headset.GetAlarm(false), 527);
  EXPECT_EQ(headset.batteryLevel1, 80.0);
  EXPECT_EQ(headset.DataAcquisitionModeNow(), -1);
  // Fresh data answers without an echo, unless the link was given up.
  EXPECT_TRUE(headset.IsConnected());
  headset.linkLost = true;
  EXPECT_FALSE(headset.IsConnected());
}

}  // namespace
