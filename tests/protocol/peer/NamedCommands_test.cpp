// The named commands as the headset receives them: destination, family and
// payload of each, whether it waits for its reply, and the composite
// operations built on them.
#include <gtest/gtest.h>

#include <chrono>
#include <ctime>
#include <functional>
#include <initializer_list>
#include <string>

#include "core/Headset.h"
#include "headset/HeadsetPeer.h"
#include "headset/HeadsetWire.h"
#include "headset/PseudoTerminal.h"
#include "support/MessageRecorder.h"
#include "util/Text.h"

namespace {

using QVT::Headset;
using QVT::testing::HeadsetPeer;
using QVT::testing::MessageRecorder;
using QVT::testing::PeerReaction;
using QVT::testing::PseudoTerminal;
using QVT::testing::WrittenCommand;
namespace Family = QVT::CommandFamily;

constexpr int kMaster = 1, kSlave = 2;

std::string Literal(std::initializer_list<unsigned> bytes) {
  std::string s;
  for (const unsigned b : bytes) s += static_cast<char>(b);
  return s;
}

struct Expected {
  int destination;
  int family;
  std::string payload;
  bool operator==(const Expected&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Expected& e) {
  return out << "{" << e.destination << ", 0x" << std::hex << e.family << std::dec << ", "
             << QVT::PythonString(e.payload.data(), e.payload.size(), true) << "}";
}

double SecondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

class NamedCommands : public ::testing::Test {
 protected:
  NamedCommands() : peer(pty), headset("deferred") {
    headset.messageCallback.Set(MessageRecorder::Callback);
    headset.Connect(pty.SlavePath(), false);
    MessageRecorder::Clear();
    headset.verbosity = 1;
  }

  // What the headset received since the last call.
  std::vector<Expected> Received() {
    const auto seen = peer.Commands();
    std::vector<Expected> result;
    for (std::size_t i = consumed; i < seen.size(); ++i) {
      EXPECT_TRUE(seen[i].crcValid);
      result.push_back({seen[i].destination, seen[i].family, seen[i].payload});
    }
    consumed = seen.size();
    return result;
  }

  // The peer outlives the headset, so that the headset's clean-up is answered.
  PseudoTerminal pty;
  HeadsetPeer peer;
  Headset headset;
  std::size_t consumed = 0;
};

// The connect handshake pins the queries it makes; these are the others.
TEST_F(NamedCommands, EachSendsItsPacketAndIsAnswered) {
  struct Case {
    const char* name;
    std::function<bool()> call;
    std::vector<Expected> packets;
  };
  const std::string u16_0 = Literal({0, 0}), u16_1 = Literal({1, 0}), u16_2 = Literal({2, 0}),
                    u16_3 = Literal({3, 0});
  const Case cases[] = {
      {"QueryAcquisitionSettings",
       [&] { return headset.QueryAcquisitionSettings(); },
       {{kMaster, Family::AcquisitionSettings, u16_0}}},
      {"ConfigureAcquisitionSettings",
       [&] { return headset.ConfigureAcquisitionSettings(0x0102, 600); },
       {{kMaster, Family::AcquisitionSettings, Literal({0x02, 0x01, 0x58, 0x02})}}},
      {"QueryDataAcquisitionMode",
       [&] { return headset.QueryDataAcquisitionMode(); },
       {{kMaster, Family::DataAcquisitionMode, u16_0}}},
      {"StopDataAcquisition",
       [&] { return headset.StopDataAcquisition(); },
       {{kMaster, Family::DataAcquisitionMode, u16_1}}},
      {"StartDataAcquisition",
       [&] { return headset.StartDataAcquisition(); },
       {{kMaster, Family::DataAcquisitionMode, u16_2}}},
      {"StartImpedanceDriver",
       [&] { return headset.StartImpedanceDriver(); },
       {{kSlave, Family::ImpedanceDriverMode, u16_2}}},
      {"StartAnalogResetWaiting",
       [&] { return headset.StartAnalogReset(true); },
       {{kMaster, Family::AnalogResetMode, u16_2}}},
      {"LockAnalogReset",
       [&] { return headset.LockAnalogReset(); },
       {{kMaster, Family::AnalogResetMode, u16_3}}},
      {"ChangeLEDs",
       [&] { return headset.ChangeLEDs(0x1234); },
       {{kMaster, Family::LED, Literal({0x34, 0x12})}}},
      {"Echo", [&] { return headset.Echo("ping", -1.0, -1); }, {{kMaster, Family::Echo, "ping"}}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_TRUE(c.call());
    EXPECT_EQ(Received(), c.packets);
    EXPECT_EQ(headset.pendingCommand.load(), nullptr);
  }
  EXPECT_TRUE(MessageRecorder::All().empty()) << "no resends, no lost link";
}

TEST_F(NamedCommands, CommandsThatDoNotWaitReturnAtOnce) {
  // The headset keeps quiet: a command that waited would take 20 attempts.
  peer.SetPolicy([](const WrittenCommand&) { return PeerReaction::Silence(); });
  struct Case {
    const char* name;
    std::function<bool()> call;
    Expected packet;
  };
  const Case cases[] = {
      {"StartBatteryMonitor",
       [&] { return headset.StartBatteryMonitor(); },
       {kMaster, Family::BatteryMonitor, Literal({1, 0})}},
      {"StartAnalogResetNoWait",
       [&] { return headset.StartAnalogReset(false); },
       {kMaster, Family::AnalogResetMode, Literal({2, 0})}},
      {"Shutdown", [&] { return headset.Shutdown(); }, {kMaster, Family::Shutdown, Literal({1, 0})}},
      {"SelfTest", [&] { return headset.SelfTest(); }, {kMaster, Family::SelfTest, Literal({0, 0})}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(c.call());
    EXPECT_LT(SecondsSince(start), 0.4);
    ASSERT_TRUE(peer.WaitForCommands(consumed + 1, 2.0));
    EXPECT_EQ(Received(), std::vector<Expected>{c.packet});
  }
}

TEST_F(NamedCommands, CalibrationWritesCarryPageKeyAndData) {
  for (std::size_t i = 0; i < headset.calibrationImage.size(); ++i)
    headset.calibrationImage[i] = static_cast<std::uint8_t>(i);
  EXPECT_TRUE(headset.WriteCalibrationMemory(6));
  std::vector<Expected> pages;
  for (unsigned page = 6; page < 8; ++page) {
    std::string payload = Literal({0xA0 + page, 0x5A});
    for (unsigned i = 0; i < 16; ++i) payload += static_cast<char>(16 * page + i);
    pages.push_back({kMaster, Family::CalibrationMemory, payload});
  }
  EXPECT_EQ(Received(), pages);

  const std::uint8_t data[16] = {};
  try {
    headset.WriteCalibrationMemoryPage(8, data);
    FAIL() << "page 8 accepted";
  } catch (const std::string& message) {
    EXPECT_EQ(message, "cannot write to page number 8: must be in range 0 to 8");
  }
  EXPECT_TRUE(headset.WriteCalibrationMemory(8));
  EXPECT_TRUE(Received().empty());
}

TEST_F(NamedCommands, SetClockSendsTheComputersLocalTime) {
  const std::time_t before = std::time(nullptr);
  EXPECT_TRUE(headset.SetClock());
  const std::time_t after = std::time(nullptr);
  const auto sent = Received();
  ASSERT_EQ(sent.size(), 1u);
  EXPECT_EQ(sent[0].destination, kMaster);
  EXPECT_EQ(sent[0].family, Family::RealTimeClock);
  ASSERT_EQ(sent[0].payload.size(), 6u);
  const auto field = [&](int i) { return static_cast<std::uint8_t>(sent[0].payload[i]); };
  std::tm local{};
  local.tm_mon = field(0) - 1;
  local.tm_mday = field(1);
  local.tm_year = field(2) + 100;
  local.tm_hour = field(3);
  local.tm_min = field(4);
  local.tm_sec = field(5);
  local.tm_isdst = -1;
  const std::time_t sentTime = std::mktime(&local);
  EXPECT_GE(sentTime, before);
  EXPECT_LE(sentTime, after);
}

TEST_F(NamedCommands, AccelerometerRateIsCheckedAgainstTheReply) {
  headset.SetAccelerometerRate(250);
  EXPECT_EQ(Received(), std::vector<Expected>({{kSlave, Family::AccelerometerRate, Literal({250, 0})}}));
  EXPECT_EQ(headset.accelerometerRate, 250.0);
  EXPECT_TRUE(MessageRecorder::All().empty());

  peer.SetAnswer(Family::AccelerometerRate, Literal({100, 0}));
  headset.SetAccelerometerRate(250);
  EXPECT_EQ(MessageRecorder::StartingWith("failed"),
            std::vector<std::string>{"failed to change accelerometer rate to 250: it is now 100"});

  peer.Refuse(0xF0);
  try {
    headset.SetAccelerometerRate(250);
    FAIL() << "refusal accepted";
  } catch (const std::string& message) {
    EXPECT_EQ(message, "failed to change accelerometer rate to 250");
  }
}

TEST_F(NamedCommands, KillDataStreamStopsAcquisitionAndForgetsTheStreamState) {
  headset.expectedSequenceNumber = 34;
  headset.KillDataStream(true);
  EXPECT_EQ(Received(), std::vector<Expected>({{kMaster, Family::DataAcquisitionMode, Literal({1, 0})}}));
  EXPECT_EQ(headset.expectedBlockNumber, -1);  // the reply's block had set it
  EXPECT_EQ(headset.expectedSequenceNumber, -1);

  // Without waiting nothing is read, so a pending resynchronisation is simply
  // dropped.
  peer.StaySilent(1);
  headset.resynchronizationNeeded = true;
  const auto start = std::chrono::steady_clock::now();
  headset.KillDataStream(false);
  EXPECT_LT(SecondsSince(start), 0.4);
  EXPECT_FALSE(headset.resynchronizationNeeded);
  ASSERT_TRUE(peer.WaitForCommands(consumed + 1, 2.0));
  EXPECT_EQ(Received(), std::vector<Expected>({{kMaster, Family::DataAcquisitionMode, Literal({1, 0})}}));
}

TEST(NamedCommandsSimulated, ReturnAtOnceWithoutWriting) {
  Headset headset("deferred");
  headset.SimulateInput();
  headset.messageCallback.Set(nullptr);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_TRUE(headset.QueryDeviceID());
  EXPECT_TRUE(headset.QuerySensorInfo());
  EXPECT_TRUE(headset.StartDataAcquisition());
  EXPECT_TRUE(headset.Echo("QVT Ready", 2.0, 10));
  EXPECT_TRUE(headset.VerifyConnection());
  EXPECT_LT(SecondsSince(start), 0.5);
}

}  // namespace
