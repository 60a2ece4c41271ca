// The serial connection without modem-line emulation: failures of Open and
// the simulated input queue.
#include "serial/SerialConnection.h"

#include <gtest/gtest.h>

#include "headset/PseudoTerminal.h"
#include "support/TestHeadsets.h"

using QVT::SerialConnection;
using QVT::testing::ThrownMessage;

// One connection throughout: a failed open must leave it closed, or the next
// attempt would be refused as a re-open.
TEST(SerialConnection, OpenFailuresNameTheDeviceInQuotesAndTheReasonAndLeaveItClosed) {
  QVT::testing::PseudoTerminal pty;  // without the preload library it has no modem lines
  const std::pair<std::string, std::string> cases[] = {
      {"/nonexistent/tty:ignored", "Failed to open COM port \"/nonexistent/tty\": No such file or directory"},
      {"/dev/null", "Failed to read settings from COM port \"/dev/null\""},
      {pty.SlavePath(), "Failed to query status from COM port \"" + pty.SlavePath() + "\""},
      {"", "(no failure)"},
      {":9600", "(no failure)"},
  };
  SerialConnection connection;
  for (const auto& [port, message] : cases) {
    EXPECT_EQ(ThrownMessage([&] { connection.Open(port); }), message);
    EXPECT_FALSE(connection.IsOpen()) << port;
    EXPECT_EQ(connection.OpenTime(), 0.0) << port;
  }
  char byte = 0;
  EXPECT_EQ(connection.Receive(&byte, 1, 0.1), 0);
  EXPECT_EQ(connection.Send("abc", 3), 0);
}

TEST(SerialConnection, SimulatedInputIsReadInOrderButNothingIsSent) {
  SerialConnection connection;
  SerialConnection::ByteQueue queue{1, 2, 3, 4};
  connection.AttachSimulatedInput(&queue);
  connection.Open("first");
  connection.Open("second");  // fd stays 0, so this is no re-open
  EXPECT_EQ(connection.Name(), "second");
  // The closed check comes before the pretend-to-write one.
  EXPECT_EQ(connection.Send("abc", 3), 0);
  EXPECT_EQ(connection.SendBounded("abc", 3, 1.0), 0);

  unsigned char buffer[10] = {};
  EXPECT_EQ(connection.Receive(buffer, 3, 0.0), 3);
  EXPECT_EQ(connection.Receive(buffer, 10, 0.0), 1);
  EXPECT_EQ(buffer[0], 4);

  queue.push_back(7);
  connection.CleanUp();
  EXPECT_EQ(connection.SimulatedInput(), nullptr);
  EXPECT_EQ(queue.size(), 1u);  // forgotten, not emptied or freed
}
