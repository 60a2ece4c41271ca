// Commands as a scripted headset on the far end of a pseudo-terminal receives
// them: the packets of the named commands, replies, silence and refusals,
// resends, numbering, the command prefix and the loss of the link. A silent
// attempt costs at least one 0.5 s block read, so the tests keep their
// attempts few.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <string>
#include <tuple>

#include "core/Headset.h"
#include "headset/HeadsetPeer.h"
#include "headset/HeadsetWire.h"
#include "headset/PseudoTerminal.h"
#include "support/MessageRecorder.h"
#include "support/TestHeadsets.h"
#include "util/Text.h"

namespace {

using QVT::Command;
using QVT::Headset;
using QVT::testing::HeadsetPeer;
using QVT::testing::MessageRecorder;
using QVT::testing::PseudoTerminal;
using QVT::testing::ThrownMessage;
using QVT::testing::U16LE;
namespace Dest = QVT::CommandDestination;
namespace Family = QVT::CommandFamily;

// Destination, family and payload of a command as the headset read it.
using Sent = std::tuple<int, int, std::string>;
using SentList = std::vector<Sent>;

double SecondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

Command EchoCommand() {
  Command command;
  command.Init(Dest::Master, Family::Echo, "Hi", 2);
  return command;
}

class Commands : public ::testing::Test {
 protected:
  // The peer outlives the headset, so that the headset's clean-up is answered.
  Commands() : peer(pty), headset("deferred") {
    headset.messageCallback.Set(MessageRecorder::Callback);
    headset.Connect(pty.SlavePath(), false);
    MessageRecorder::Clear();
    headset.verbosity = 3;
  }

  // What the headset received since the last call.
  SentList NewCommands() {
    const auto seen = peer.Commands();
    SentList result;
    for (std::size_t i = consumed; i < seen.size(); ++i) {
      EXPECT_TRUE(seen[i].crcValid);
      result.emplace_back(seen[i].destination, seen[i].family, seen[i].payload);
    }
    consumed = seen.size();
    return result;
  }

  std::vector<int> SeenIDs() const {
    std::vector<int> ids;
    for (const auto& c : peer.Commands()) ids.push_back(c.id);
    return ids;
  }

  static int Count(const std::string& text, int level) { return MessageRecorder::Count(text, level); }

  PseudoTerminal pty;
  HeadsetPeer peer;
  Headset headset;
  std::size_t consumed = 0;
};

// The connect handshake and the watchdog pin the commands they send; these
// are the others.
TEST_F(Commands, NamedCommandsSendTheirPacketAndWaitOnlyWhenTheyShould) {
  headset.verbosity = 1;
  const std::string text = "abcdefghijklmnopqrstuvwxyz0123";
  struct Case {
    std::function<bool()> call;
    Sent packet;
    bool waits = true;
  };
  const Case cases[] = {
      {[&] { return headset.QueryAcquisitionSettings(); },
       {Dest::Master, Family::AcquisitionSettings, U16LE(0)}},
      {[&] { return headset.ConfigureAcquisitionSettings(0x0102, 600); },
       {Dest::Master, Family::AcquisitionSettings, U16LE(0x0102) + U16LE(600)}},
      {[&] { return headset.QueryDataAcquisitionMode(); },
       {Dest::Master, Family::DataAcquisitionMode, U16LE(0)}},
      {[&] { return headset.StartImpedanceDriver(); }, {Dest::Slave, Family::ImpedanceDriverMode, U16LE(2)}},
      {[&] { return headset.StartAnalogReset(true); }, {Dest::Master, Family::AnalogResetMode, U16LE(2)}},
      {[&] { return headset.LockAnalogReset(); }, {Dest::Master, Family::AnalogResetMode, U16LE(3)}},
      {[&] { return headset.ChangeLEDs(0x1234); }, {Dest::Master, Family::LED, U16LE(0x1234)}},
      {[&] { return headset.Echo(text, -1.0, -1); }, {Dest::Master, Family::Echo, text.substr(0, 24)}},
      {[&] { return headset.StartAnalogReset(false); },
       {Dest::Master, Family::AnalogResetMode, U16LE(2)},
       false},
      {[&] { return headset.Shutdown(); }, {Dest::Master, Family::Shutdown, U16LE(1)}, false},
      {[&] { return headset.SelfTest(); }, {Dest::Master, Family::SelfTest, U16LE(0)}, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.packet));
    // Unanswered: a command that waited would take 20 attempts.
    if (!c.waits) peer.StaySilent(1);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(c.call());
    if (!c.waits) {
      EXPECT_LT(SecondsSince(start), 0.4);
      ASSERT_TRUE(peer.WaitForCommands(consumed + 1, 2.0));
    }
    EXPECT_EQ(NewCommands(), SentList{c.packet});
    EXPECT_EQ(headset.pendingCommand.load(), nullptr);
  }
  EXPECT_TRUE(MessageRecorder::All().empty()) << "no resends, no lost link";
}

// Wrong mode and reserved codes are resent; a bad parameter settles at once.
TEST_F(Commands, RefusalsAreResentUnlessAParameterIsBad) {
  const std::pair<int, std::string> refusals[] = {{0x80, "headset is in wrong mode"},
                                                  {0xE0, "headset responded with reserved code 0xE0"},
                                                  {0xE7, "headset responded with reserved code 0xE7"},
                                                  {0xF0, "parameter[0] is bad"},
                                                  {0xFF, "parameter[15] is bad"}};
  for (const auto& [status, reason] : refusals) {
    SCOPED_TRACE(status);
    const bool resent = status < 0xF0;
    MessageRecorder::Clear();
    headset.nextCommandID = 10;
    const std::size_t before = peer.Commands().size();
    peer.Refuse(static_cast<std::uint8_t>(status));
    Command command = EchoCommand();
    EXPECT_TRUE(headset.Send(command, 0.5, 3, 0.0));
    EXPECT_EQ(peer.Commands().size(), before + (resent ? 2 : 1));
    EXPECT_EQ(Count("command 10 rejected: " + reason, 3), 1);
    EXPECT_EQ(MessageRecorder::StartingWith("Command failed - resending"),
              resent ? std::vector<std::string>{"Command failed - resending (attempt #1) as command 11: "
                                                "Master.Echo( 48 69 )"}
                     : std::vector<std::string>{});
    EXPECT_TRUE(command.ReplyIsFinal());
    EXPECT_EQ(command.ReplyRefused(), !resent);
  }
}

TEST_F(Commands, ExhaustedAttemptsLoseTheLinkOnce) {
  // No attempts at all: nothing is written.
  Command command = EchoCommand();
  EXPECT_EQ(ThrownMessage([&] { headset.Send(command, 0.5, 0, 0.0); }), "Command failed too many times.");
  EXPECT_EQ(Count("Sending command 0: Master.Echo( 48 69 )", 3), 1);
  EXPECT_TRUE(headset.linkLost);

  headset.linkLost = false;
  MessageRecorder::Clear();
  peer.StaySilent(10);
  EXPECT_EQ(ThrownMessage([&] { headset.Send(command, 0.05, 2, 0.0); }), "Command failed too many times.");
  EXPECT_EQ(SeenIDs(), (std::vector<int>{1, 2}));
  EXPECT_TRUE(headset.linkLost);
  EXPECT_EQ(headset.pendingCommand.load(), nullptr);
  EXPECT_EQ(Count("QVT link lost: command failed too many times", 1), 1);

  // A lost link refuses at once and writes nothing; it stays lost.
  EXPECT_EQ(ThrownMessage([&] { headset.Send(command, 0.05, 2, 0.0); }),
            "QVT link lost: cannot send command");
  EXPECT_FALSE(headset.VerifyConnection());
  EXPECT_EQ(peer.Commands().size(), 2u);
  EXPECT_EQ(MessageRecorder::StartingWith("QVT link lost").size(), 1u);
}

// A silent headset gets the command again under a new ID.
TEST_F(Commands, PrefixGoesBeforeTheFirstWriteOnly) {
  headset.verbosity = 7;
  headset.commandPrefix = "~";
  peer.StaySilent(1);
  Command command;
  command.Init(Dest::Master, Family::DeviceIdentification, nullptr, 0);
  EXPECT_TRUE(headset.Send(command, 0.05, 2, 0.0));
  EXPECT_TRUE(command.ReplyIsFinal());

  const auto seen = peer.Commands();
  ASSERT_EQ(seen.size(), 2u);
  // The first write is the prefix and the 6-byte packet; the resend is the
  // re-signed packet and, to make up the same 7 bytes, the zero behind it.
  const std::string first = "~" + seen[0].packet;
  EXPECT_EQ(peer.Received(), first + seen[1].packet + std::string(1, '\0'));
  EXPECT_EQ(Count("Raw command is " + QVT::PythonString(first.data(), first.size(), true), 7), 1);
  EXPECT_EQ(MessageRecorder::StartingWith("No reply"),
            std::vector<std::string>{
                "No reply received - resending (attempt #1) as command 1: Master.DeviceIdentification()"});
}

TEST_F(Commands, CommandIDsSkip95AndWrap) {
  for (const int first : {94, 255}) {
    headset.nextCommandID = first;
    for (int i = 0; i < 2; ++i) {
      Command command = EchoCommand();
      EXPECT_TRUE(headset.Send(command, 0.5, 1, 0.0));
    }
  }
  EXPECT_EQ(SeenIDs(), (std::vector<int>{94, 96, 255, 0}));
  EXPECT_EQ(Count("Skipping command ID 95", 3), 1);
}

TEST_F(Commands, CalibrationWritesCarryPageKeyAndData) {
  for (std::size_t i = 0; i < headset.calibrationImage.size(); ++i)
    headset.calibrationImage[i] = static_cast<std::uint8_t>(i);
  EXPECT_TRUE(headset.WriteCalibrationMemory(6));
  SentList pages;
  for (unsigned page = 6; page < 8; ++page) {
    std::string payload{static_cast<char>(0xA0 + page), 'Z'};
    for (unsigned i = 0; i < 16; ++i) payload += static_cast<char>(16 * page + i);
    pages.emplace_back(Dest::Master, Family::CalibrationMemory, payload);
  }
  EXPECT_EQ(NewCommands(), pages);

  const std::uint8_t data[16] = {};
  EXPECT_EQ(ThrownMessage([&] { headset.WriteCalibrationMemoryPage(8, data); }),
            "cannot write to page number 8: must be in range 0 to 8");
  EXPECT_TRUE(headset.WriteCalibrationMemory(8));
  EXPECT_TRUE(NewCommands().empty());
}

TEST_F(Commands, AccelerometerRateIsCheckedAgainstTheReply) {
  headset.verbosity = 1;
  headset.SetAccelerometerRate(250);
  EXPECT_EQ(NewCommands(), (SentList{{Dest::Slave, Family::AccelerometerRate, U16LE(250)}}));
  EXPECT_EQ(headset.accelerometerRate, 250.0);
  EXPECT_TRUE(MessageRecorder::All().empty());

  peer.SetAnswer(Family::AccelerometerRate, U16LE(100));
  headset.SetAccelerometerRate(250);
  EXPECT_EQ(MessageRecorder::StartingWith("failed"),
            std::vector<std::string>{"failed to change accelerometer rate to 250: it is now 100"});

  peer.Refuse(0xF0);
  EXPECT_EQ(ThrownMessage([&] { headset.SetAccelerometerRate(250); }),
            "failed to change accelerometer rate to 250");
}

TEST_F(Commands, KillDataStreamStopsAcquisitionAndForgetsTheStreamState) {
  const SentList stop{{Dest::Master, Family::DataAcquisitionMode, U16LE(1)}};
  headset.expectedSequenceNumber = 34;
  headset.KillDataStream(true);
  EXPECT_EQ(NewCommands(), stop);
  EXPECT_EQ(headset.expectedBlockNumber, -1);  // the reply's block had set it
  EXPECT_EQ(headset.expectedSequenceNumber, -1);

  // Without waiting nothing is read, so a pending resynchronisation is simply
  // dropped and a block already in flight stays for the caller.
  peer.StaySilent(1);
  ASSERT_TRUE(peer.SendPackets(""));
  headset.resynchronizationNeeded = true;
  const auto start = std::chrono::steady_clock::now();
  headset.KillDataStream(false);
  EXPECT_LT(SecondsSince(start), 0.4);
  EXPECT_FALSE(headset.resynchronizationNeeded);
  ASSERT_TRUE(peer.WaitForCommands(consumed + 1, 2.0));
  EXPECT_EQ(NewCommands(), stop);
  EXPECT_TRUE(headset.TryToReadBlock());
}

TEST(CommandsWithoutLink, RefuseBeforeWriting) {
  Headset headset("deferred");
  Command command = EchoCommand();
  EXPECT_EQ(ThrownMessage([&] { headset.Send(command, 0.5, 1, 0.0); }),
            "Cannot send commands to headset: serial-port connection not yet established.");
  EXPECT_FALSE(headset.VerifyConnection());
  EXPECT_FALSE(headset.linkLost);
}

// A line whose other end is gone: writes fail with EIO.
TEST(CommandsOnADeadLine, FailedWritesAndProbesLoseTheLink) {
  Headset headset("deferred");
  const int master = posix_openpt(O_RDWR | O_NOCTTY);
  ASSERT_TRUE(master >= 0 && grantpt(master) == 0 && unlockpt(master) == 0);
  headset.messageCallback.Set(MessageRecorder::Callback);
  headset.Connect(ptsname(master), false);
  close(master);
  MessageRecorder::Clear();

  Command command = EchoCommand();
  EXPECT_EQ(ThrownMessage([&] { headset.Send(command, 0.5, 3, 0.0); }),
            "Write to serial port failed with errno 5");
  EXPECT_TRUE(headset.linkLost);
  EXPECT_EQ(MessageRecorder::StartingWith("QVT link lost"),
            (std::vector<std::string>{"QVT link lost: write to serial port failed with errno 5"}));

  // Send reports the loss first, so VerifyConnection adds nothing.
  headset.linkLost = false;
  MessageRecorder::Clear();
  EXPECT_FALSE(headset.VerifyConnection());
  EXPECT_TRUE(headset.linkLost);
  EXPECT_EQ(MessageRecorder::StartingWith("QVT link lost"),
            (std::vector<std::string>{"QVT link lost: bounded write probe did not complete within 3 s"}));

  headset.linkLost = false;
  EXPECT_EQ(ThrownMessage([&] { headset.Send(command, 0.5, 1, 2.5); }),
            "Bounded write probe did not complete within 2.5 s (link likely dead)");
}

}  // namespace
