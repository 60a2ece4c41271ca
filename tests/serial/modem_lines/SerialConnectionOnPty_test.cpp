// The serial connection on a pseudo-terminal whose modem lines the preload
// library emulates: the real open, write and read paths.
#include <gtest/gtest.h>
#include <sys/ioctl.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "headset/PseudoTerminal.h"
#include "serial/SerialConnection.h"

using QVT::SerialConnection;
using QVT::testing::PseudoTerminal;

namespace {

int ModemLines(int fd) {
  int lines = 0;
  if (ioctl(fd, TIOCMGET, &lines) != 0)
    ADD_FAILURE() << "modem lines are not emulated: run with the preload library";
  return lines;
}

double SecondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace

TEST(SerialConnectionOnPty, OpenAppliesRawSettingsAndRaisesDtrAndRts) {
  PseudoTerminal pty;
  SerialConnection connection;
  connection.Open(pty.SlavePath() + ":921600,8N1");
  ASSERT_TRUE(connection.IsOpen());
  EXPECT_EQ(connection.Name(), pty.SlavePath());
  EXPECT_EQ(ModemLines(pty.Keeper()) & (TIOCM_DTR | TIOCM_RTS), TIOCM_DTR | TIOCM_RTS);

  termios settings{};
  ASSERT_EQ(tcgetattr(connection.Descriptor(), &settings), 0);
  EXPECT_EQ(settings.c_iflag, static_cast<tcflag_t>(IGNPAR));
  EXPECT_EQ(settings.c_oflag, 0u);
  EXPECT_EQ(settings.c_lflag & (ICANON | ECHO | ISIG), 0u);
  EXPECT_EQ(settings.c_cflag & CSIZE, static_cast<tcflag_t>(CS8));
  EXPECT_EQ(settings.c_cflag & (PARENB | CSTOPB | CRTSCTS), 0u);
  EXPECT_EQ(cfgetospeed(&settings), static_cast<speed_t>(B921600));
  EXPECT_EQ(settings.c_cc[VMIN], 0);
  EXPECT_EQ(settings.c_cc[VTIME], 0);

  connection.Close();
  EXPECT_FALSE(connection.IsOpen());
  EXPECT_EQ(ModemLines(pty.Keeper()) & (TIOCM_DTR | TIOCM_RTS), 0);
}

TEST(SerialConnectionOnPty, SecondOpenNamesThePortStillOpen) {
  PseudoTerminal first, second;
  SerialConnection connection;
  connection.Open(first.SlavePath());
  try {
    connection.Open(second.SlavePath());
    FAIL() << "re-open accepted";
  } catch (const std::string& message) {
    EXPECT_EQ(message, "Serial port " + first.SlavePath() + " must be closed before it can be re-opened.");
  }
  EXPECT_EQ(connection.Name(), first.SlavePath());
  connection.Close();
  connection.Open(second.SlavePath());
  EXPECT_TRUE(connection.IsOpen());
}

TEST(SerialConnectionOnPty, SendWritesTheBytesToThePeer) {
  PseudoTerminal pty;
  SerialConnection connection;
  connection.Open(pty.SlavePath());
  EXPECT_EQ(connection.Send("\x05\x01\xAA\xBB\x12\x00", 6), 6);
  EXPECT_EQ(pty.Read(6, 2.0), std::string("\x05\x01\xAA\xBB\x12\x00", 6));
}

TEST(SerialConnectionOnPty, ZeroTimeoutReturnsWhatIsWaiting) {
  PseudoTerminal pty;
  SerialConnection connection;
  connection.Open(pty.SlavePath());
  pty.Write("abcd");
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  char buffer[10];
  EXPECT_EQ(connection.Receive(buffer, 10, 0.0), 4);
  EXPECT_EQ(std::string(buffer, 4), "abcd");
  EXPECT_EQ(connection.Receive(buffer, 10, 0.0), 0);
}

TEST(SerialConnectionOnPty, PositiveTimeoutCountsFromTheLastByte) {
  PseudoTerminal pty;
  SerialConnection connection;
  connection.Open(pty.SlavePath());
  std::thread peer([&pty] {
    for (int i = 0; i < 3; ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(300));
      pty.Write("wxyz");
    }
  });
  char buffer[10];
  const auto start = std::chrono::steady_clock::now();
  // Gaps of 0.3 s never reach the 0.5 s limit, so all ten bytes arrive.
  EXPECT_EQ(connection.Receive(buffer, 10, 0.5), 10);
  EXPECT_GE(SecondsSince(start), 0.85);
  peer.join();
  EXPECT_EQ(std::string(buffer, 10), "wxyzwxyzwx");
}

TEST(SerialConnectionOnPty, SilenceEndsAPositiveTimeout) {
  PseudoTerminal pty;
  SerialConnection connection;
  connection.Open(pty.SlavePath());
  char buffer[10];
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(connection.Receive(buffer, 10, 0.2), 0);
  EXPECT_GE(SecondsSince(start), 0.2);
}

TEST(SerialConnectionOnPty, NegativeTimeoutWaitsForEveryByte) {
  PseudoTerminal pty;
  SerialConnection connection;
  connection.Open(pty.SlavePath());
  std::thread peer([&pty] {
    pty.Write("ab");
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    pty.Write("cd");
  });
  char buffer[4];
  EXPECT_EQ(connection.Receive(buffer, 4, -1.0), 4);
  peer.join();
  EXPECT_EQ(std::string(buffer, 4), "abcd");
}

TEST(SerialConnectionOnPty, InterruptEndsAWaitForTheFirstByteOnly) {
  PseudoTerminal pty;
  SerialConnection connection;
  connection.Open(pty.SlavePath());
  char buffer[4];
  // Waiting for a first byte: ended at once, as if the time had run out.
  std::thread stopper([&connection] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    connection.Interrupt();
  });
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(connection.Receive(buffer, 4, 5.0), 0);
  EXPECT_LT(SecondsSince(start), 2.0);
  stopper.join();

  // A read under way finishes: the rest of a block is not cut off.
  pty.Write("ab");
  std::thread peer([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    connection.Interrupt();
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    pty.Write("cd");
  });
  EXPECT_EQ(connection.Receive(buffer, 4, 1.0), 4);
  peer.join();
  EXPECT_EQ(std::string(buffer, 4), "abcd");
}
