// The serial connection without modem-line emulation: failures of Open and
// the simulated input queue.
#include "serial/SerialConnection.h"

#include <gtest/gtest.h>

#include "headset/PseudoTerminal.h"
#include "util/Timing.h"

using QVT::SerialConnection;

namespace {

std::string OpenError(SerialConnection& connection, const std::string& portText) {
  try {
    connection.Open(portText);
  } catch (const std::string& message) {
    return message;
  }
  return "(no error)";
}

}  // namespace

TEST(SerialConnection, OpenFailuresNameTheDeviceInQuotesAndLeaveItClosed) {
  SerialConnection connection;
  EXPECT_EQ(OpenError(connection, "/nonexistent/tty:ignored"), "Failed to open COM port \"/nonexistent/tty\"");
  EXPECT_FALSE(connection.IsOpen());
  EXPECT_EQ(OpenError(connection, "/dev/null"), "Failed to read settings from COM port \"/dev/null\"");
  EXPECT_FALSE(connection.IsOpen());
}

TEST(SerialConnection, PseudoTerminalsHaveNoModemLinesSoOpenRefusesThem) {
  QVT::testing::PseudoTerminal pty;
  SerialConnection connection;
  EXPECT_EQ(OpenError(connection, pty.SlavePath()),
            "Failed to query status from COM port \"" + pty.SlavePath() + "\"");
  EXPECT_FALSE(connection.IsOpen());
  EXPECT_EQ(connection.OpenTime(), 0.0);
}

TEST(SerialConnection, EmptyNameOpensNothing) {
  SerialConnection connection;
  EXPECT_EQ(OpenError(connection, ""), "(no error)");
  EXPECT_EQ(OpenError(connection, ":9600"), "(no error)");
  EXPECT_FALSE(connection.IsOpen());
  char byte = 0;
  EXPECT_EQ(connection.Receive(&byte, 1, 0.1), 0);
}

TEST(SerialConnection, ClosedConnectionSendsNothingEvenWithAQueueAttached) {
  SerialConnection connection;
  EXPECT_EQ(connection.Send("abc", 3), 0);
  SerialConnection::ByteQueue queue;
  connection.AttachSimulatedInput(&queue);
  connection.Open("simulated");
  EXPECT_EQ(connection.Send("abc", 3), 0);
  EXPECT_EQ(connection.SendBounded("abc", 3, 1.0), 0);
}

TEST(SerialConnection, ElapsedCountsFromTheFirstSimulatedOpen) {
  SerialConnection connection;
  const double before = Timing::MonotonicSeconds();
  EXPECT_GE(connection.Elapsed(), before);  // openTime is still 0.0
  SerialConnection::ByteQueue queue;
  connection.AttachSimulatedInput(&queue);
  connection.Open("first");
  const double opened = connection.OpenTime();
  EXPECT_GE(opened, before);
  connection.Open("second");  // fd stays 0, so this is no re-open
  EXPECT_EQ(connection.OpenTime(), opened);
  EXPECT_EQ(connection.Name(), "second");
  EXPECT_LT(connection.Elapsed(), 10.0);
}

TEST(SerialConnection, ReceiveTakesFromTheSimulatedQueueInOrder) {
  SerialConnection connection;
  SerialConnection::ByteQueue queue{1, 2, 3, 4};
  connection.AttachSimulatedInput(&queue);
  connection.Open("simulated");
  unsigned char buffer[10] = {};
  EXPECT_EQ(connection.Receive(buffer, 3, 0.0), 3);
  EXPECT_EQ(buffer[2], 3);
  EXPECT_EQ(queue.size(), 1u);
  EXPECT_EQ(connection.Receive(buffer, 10, 0.0), 1);
  EXPECT_EQ(buffer[0], 4);
  EXPECT_EQ(connection.Receive(buffer, 10, 0.01), 0);
}

TEST(SerialConnection, CleanUpForgetsTheQueueWithoutFreeingIt) {
  SerialConnection connection;
  SerialConnection::ByteQueue queue{7};
  connection.AttachSimulatedInput(&queue);
  connection.Open("simulated");
  connection.CleanUp();
  EXPECT_EQ(connection.SimulatedInput(), nullptr);
  EXPECT_EQ(connection.OpenTime(), 0.0);
  EXPECT_EQ(queue.size(), 1u);
}

TEST(DefaultPort, ComesFromTheEnvironment) {
  unsetenv("QVTSerialPort");
  EXPECT_EQ(QVT::DefaultPort(), "");
  setenv("QVTSerialPort", "/dev/rfcomm0", 1);
  EXPECT_EQ(QVT::DefaultPort(), "/dev/rfcomm0");
  unsetenv("QVTSerialPort");
}
