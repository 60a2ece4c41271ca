// Sending commands over a pseudo-terminal to a scripted headset: replies,
// silence and refusals, resends, numbering, the command prefix and the loss
// of the link. A silent attempt costs at least one 0.5 s block read, so the
// tests keep their attempts few.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>

#include "core/Headset.h"
#include "headset/HeadsetPeer.h"
#include "headset/HeadsetWire.h"
#include "headset/PseudoTerminal.h"
#include "support/MessageRecorder.h"
#include "util/Text.h"

namespace {

using QVT::Command;
using QVT::Headset;
using QVT::testing::HeadsetPeer;
using QVT::testing::MessageRecorder;
using QVT::testing::PseudoTerminal;
using QVT::testing::WrittenCommand;
namespace Dest = QVT::CommandDestination;
namespace Family = QVT::CommandFamily;

std::string Thrown(const std::function<void()>& call) {
  try {
    call();
  } catch (const std::string& text) {
    return text;
  }
  return "nothing thrown";
}

class CommandExchange : public ::testing::Test {
 protected:
  CommandExchange() : headset("deferred"), peer(pty) {
    headset.messageCallback.Set(MessageRecorder::Callback);
    headset.Connect(pty.SlavePath(), false);
    MessageRecorder::Clear();
    headset.verbosity = 3;
  }

  Command EchoCommand(const std::string& text = "Hi") {
    Command command;
    command.Init(Dest::Master, Family::Echo, text.data(), text.size());
    return command;
  }

  std::vector<int> SeenIDs() const {
    std::vector<int> ids;
    for (const WrittenCommand& c : peer.Commands()) ids.push_back(c.id);
    return ids;
  }

  static int Count(const std::string& text, int level) { return MessageRecorder::Count(text, level); }

  PseudoTerminal pty;
  Headset headset;
  HeadsetPeer peer;
};

TEST_F(CommandExchange, AnsweredCommandIsWrittenOnceAndSettled) {
  Command command = EchoCommand();
  EXPECT_TRUE(headset.Send(command, 0.5, 3, 0.0));

  const auto seen = peer.Commands();
  ASSERT_EQ(seen.size(), 1u);
  EXPECT_FALSE(seen[0].prefixed);
  EXPECT_TRUE(seen[0].crcValid);
  EXPECT_EQ(seen[0].destination, Dest::Master);
  EXPECT_EQ(seen[0].family, Family::Echo);
  EXPECT_EQ(seen[0].id, 0);
  EXPECT_EQ(seen[0].payload, "Hi");
  EXPECT_EQ(peer.Received(), seen[0].packet);

  EXPECT_TRUE(command.ReplyIsFinal());
  EXPECT_FALSE(command.ReplyRefused());
  EXPECT_EQ(headset.pendingCommand.load(), nullptr);
  EXPECT_EQ(Count("Sending command 0: Master.Echo( 48 69 )", 3), 1);
  EXPECT_FALSE(headset.linkLost);
}

TEST_F(CommandExchange, RawDumpAtVerbositySeven) {
  headset.verbosity = 7;
  Command command = EchoCommand();
  headset.Send(command, 0.5, 1, 0.0);
  const std::string packet = peer.Commands().at(0).packet;
  EXPECT_EQ(Count("Raw command is " + QVT::PythonString(packet.data(), packet.size(), true), 7), 1);
}

TEST_F(CommandExchange, RepliesToOtherCommandsDoNotSettleIt) {
  peer.SetPolicy([this](const WrittenCommand& c) {
    peer.SendPackets(QVT::testing::EncodeResponse(1, c.family, static_cast<std::uint8_t>(c.id + 1), "x"));
    return QVT::testing::PeerReaction::Answer();
  });
  Command command = EchoCommand();
  EXPECT_TRUE(headset.Send(command, 0.5, 2, 0.0));
  EXPECT_EQ(SeenIDs(), std::vector<int>{0});
  EXPECT_EQ(headset.expectedBlockNumber, 2);  // both blocks were read
}

TEST_F(CommandExchange, ReplyReadOnAnotherThreadSettlesTheCommand) {
  // As with background acquisition: another thread reads blocks too, and
  // whichever reads the reply settles the command.
  std::atomic<bool> stop{false};
  std::thread reader([&] {
    while (!stop) {
      headset.TryToReadBlock();
      usleep(1000);  // as the acquisition thread does, leaving the lock to others
    }
  });
  for (int i = 0; i < 5; ++i) {
    Command command = EchoCommand();
    EXPECT_TRUE(headset.Send(command, 2.0, 3, 0.0));
    EXPECT_TRUE(command.ReplyIsFinal());
  }
  stop = true;
  reader.join();
  EXPECT_EQ(SeenIDs(), (std::vector<int>{0, 1, 2, 3, 4}));
  EXPECT_FALSE(headset.linkLost);
}

TEST_F(CommandExchange, SilenceIsAnsweredByResendingUnderANewID) {
  peer.StaySilent(2);
  Command command = EchoCommand();
  EXPECT_TRUE(headset.Send(command, 0.05, 4, 0.0));

  EXPECT_EQ(SeenIDs(), (std::vector<int>{0, 1, 2}));
  for (const WrittenCommand& c : peer.Commands()) EXPECT_TRUE(c.crcValid);
  EXPECT_EQ(MessageRecorder::StartingWith("No reply"),
            (std::vector<std::string>{
                "No reply received - resending (attempt #1) as command 1: Master.Echo( 48 69 )",
                "No reply received - resending (attempt #2) as command 2: Master.Echo( 48 69 )"}));
  EXPECT_TRUE(command.ReplyIsFinal());
  EXPECT_FALSE(headset.linkLost);
}

// Wrong mode and reserved codes are resent; a bad parameter settles at once.
TEST_F(CommandExchange, RefusalsAreResentUnlessAParameterIsBad) {
  for (const int status : {0x80, 0xE0, 0xE3, 0xE7, 0xF0, 0xF2, 0xFF}) {
    SCOPED_TRACE(status);
    const bool resent = status < 0xF0;
    MessageRecorder::Clear();
    headset.nextCommandID = 10;
    const std::size_t before = peer.Commands().size();
    peer.Refuse(static_cast<std::uint8_t>(status));
    Command command = EchoCommand();
    EXPECT_TRUE(headset.Send(command, 0.5, 3, 0.0));
    EXPECT_EQ(peer.Commands().size(), before + (resent ? 2 : 1));
    EXPECT_EQ(MessageRecorder::StartingWith("Command failed - resending"),
              resent ? std::vector<std::string>{"Command failed - resending (attempt #1) as command 11: "
                                                "Master.Echo( 48 69 )"}
                     : std::vector<std::string>{});
    EXPECT_TRUE(command.ReplyIsFinal());
    EXPECT_EQ(command.ReplyRefused(), !resent);
  }
}

TEST_F(CommandExchange, ExhaustedAttemptsLoseTheLinkOnce) {
  peer.StaySilent(10);
  Command command = EchoCommand();
  EXPECT_EQ(Thrown([&] { headset.Send(command, 0.05, 2, 0.0); }), "Command failed too many times.");
  EXPECT_EQ(SeenIDs(), (std::vector<int>{0, 1}));
  EXPECT_TRUE(headset.linkLost);
  EXPECT_EQ(headset.pendingCommand.load(), nullptr);
  EXPECT_EQ(Count("QVT link lost: command failed too many times", 1), 1);

  // A lost link refuses at once and writes nothing; it stays lost.
  Command next = EchoCommand();
  EXPECT_EQ(Thrown([&] { headset.Send(next, 0.05, 2, 0.0); }), "QVT link lost: cannot send command");
  EXPECT_FALSE(headset.VerifyConnection());
  EXPECT_EQ(peer.Commands().size(), 2u);
  EXPECT_EQ(MessageRecorder::StartingWith("QVT link lost").size(), 1u);
}

TEST_F(CommandExchange, NoAttemptsWriteNothingAndLoseTheLink) {
  Command command = EchoCommand();
  EXPECT_EQ(Thrown([&] { headset.Send(command, 0.5, 0, 0.0); }), "Command failed too many times.");
  EXPECT_EQ(Count("Sending command 0: Master.Echo( 48 69 )", 3), 1);
  EXPECT_EQ(Count("QVT link lost: command failed too many times", 1), 1);
  EXPECT_TRUE(headset.linkLost);
  usleep(50000);
  EXPECT_EQ(peer.Received(), "");
}

TEST_F(CommandExchange, ZeroTimeoutDoesNotWait) {
  peer.StaySilent(1);
  Command command = EchoCommand();
  EXPECT_TRUE(headset.Send(command, 0.0, 5, 0.0));
  EXPECT_EQ(headset.pendingCommand.load(), nullptr);
  ASSERT_TRUE(peer.WaitForCommands(1, 2.0));
  usleep(50000);
  EXPECT_EQ(peer.Commands().size(), 1u);
}

TEST_F(CommandExchange, PrefixGoesBeforeTheFirstWriteOnly) {
  headset.commandPrefix = "~";
  peer.StaySilent(1);
  Command command;
  command.Init(Dest::Master, Family::DeviceIdentification, nullptr, 0);
  EXPECT_TRUE(headset.Send(command, 0.05, 2, 0.0));

  const auto seen = peer.Commands();
  ASSERT_EQ(seen.size(), 2u);
  EXPECT_TRUE(seen[0].prefixed);
  EXPECT_FALSE(seen[1].prefixed);
  // The first write is the prefix and the 6-byte packet; the resend is the
  // re-signed packet and, to make up the same 7 bytes, the zero behind it.
  EXPECT_EQ(peer.Received(), "~" + seen[0].packet + seen[1].packet + std::string(1, '\0'));
  EXPECT_EQ(seen[0].packet.size(), 6u);
}

TEST_F(CommandExchange, CommandIDsSkip95AndWrap) {
  headset.nextCommandID = 94;
  for (int i = 0; i < 2; ++i) {
    Command command = EchoCommand();
    EXPECT_TRUE(headset.Send(command, 0.5, 1, 0.0));
  }
  headset.nextCommandID = 255;
  for (int i = 0; i < 2; ++i) {
    Command command = EchoCommand();
    EXPECT_TRUE(headset.Send(command, 0.5, 1, 0.0));
  }
  EXPECT_EQ(SeenIDs(), (std::vector<int>{94, 96, 255, 0}));
  EXPECT_EQ(Count("Skipping command ID 95", 3), 1);
}

TEST_F(CommandExchange, EchoIsCutTo24Bytes) {
  const std::string text = "abcdefghijklmnopqrstuvwxyz0123";
  EXPECT_TRUE(headset.Echo(text, 0.5, 1));
  ASSERT_EQ(peer.Commands().size(), 1u);
  EXPECT_EQ(peer.Commands()[0].payload, text.substr(0, 24));
}

TEST_F(CommandExchange, VerifyConnectionEchoesHi) {
  EXPECT_TRUE(headset.VerifyConnection());
  ASSERT_EQ(peer.Commands().size(), 1u);
  EXPECT_EQ(peer.Commands()[0].destination, Dest::Master);
  EXPECT_EQ(peer.Commands()[0].family, Family::Echo);
  EXPECT_EQ(peer.Commands()[0].payload, "Hi");
}

TEST_F(CommandExchange, VerifyConnectionFailsOnSilenceAndReportsTheLossOnce) {
  peer.StaySilent(1);
  EXPECT_FALSE(headset.VerifyConnection());  // one attempt, 2 s
  EXPECT_TRUE(headset.linkLost);
  EXPECT_EQ(MessageRecorder::StartingWith("QVT link lost"),
            (std::vector<std::string>{"QVT link lost: command failed too many times"}));
}

TEST(CommandExchangeWithoutLink, RefusesBeforeWriting) {
  Headset headset("deferred");
  Command command;
  command.Init(Dest::Master, Family::Echo, nullptr, 0);
  EXPECT_EQ(Thrown([&] { headset.Send(command, 0.5, 1, 0.0); }),
            "Cannot send commands to headset: serial-port connection not yet established.");
  EXPECT_FALSE(headset.VerifyConnection());
  EXPECT_FALSE(headset.linkLost);

  headset.SimulateInput();  // nothing is written and nothing awaited
  EXPECT_TRUE(headset.Send(command, 0.5, 0, 0.0));
  EXPECT_TRUE(headset.VerifyConnection());
}

// A line whose other end is gone: writes fail with EIO.
class DeadLine : public ::testing::Test {
 protected:
  DeadLine() : headset("deferred") {
    const int master = posix_openpt(O_RDWR | O_NOCTTY);
    if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0) throw std::string("no pseudo-terminal");
    headset.messageCallback.Set(MessageRecorder::Callback);
    headset.Connect(ptsname(master), false);
    close(master);
    MessageRecorder::Clear();
  }
  Headset headset;
};

TEST_F(DeadLine, FailedWriteLosesTheLinkWithErrno) {
  Command command;
  command.Init(Dest::Master, Family::Echo, nullptr, 0);
  EXPECT_EQ(Thrown([&] { headset.Send(command, 0.5, 3, 0.0); }), "Write to serial port failed with errno 5");
  EXPECT_TRUE(headset.linkLost);
  EXPECT_EQ(MessageRecorder::StartingWith("QVT link lost"),
            (std::vector<std::string>{"QVT link lost: write to serial port failed with errno 5"}));
}

TEST_F(DeadLine, VerifyConnectionReportsTheBoundedProbe) {
  EXPECT_FALSE(headset.VerifyConnection());
  EXPECT_TRUE(headset.linkLost);
  // Send reported the loss first, so VerifyConnection adds nothing.
  EXPECT_EQ(MessageRecorder::StartingWith("QVT link lost"),
            (std::vector<std::string>{"QVT link lost: bounded write probe did not complete within 3 s"}));

  headset.linkLost = false;
  Command command;
  command.Init(Dest::Master, Family::Echo, nullptr, 0);
  EXPECT_EQ(Thrown([&] { headset.Send(command, 0.5, 1, 2.5); }),
            "Bounded write probe did not complete within 2.5 s (link likely dead)");
}

}  // namespace
