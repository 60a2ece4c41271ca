// The serial connection on a pseudo-terminal whose modem lines the preload
// library emulates: the real open, write and read paths.
#include <gtest/gtest.h>
#include <sys/ioctl.h>

#include <unistd.h>

#include <chrono>
#include <fstream>
#include <string>
#include <thread>

#include "headset/PseudoTerminal.h"
#include "serial/SerialConnection.h"
#include "support/TestHeadsets.h"

using QVT::SerialConnection;
using QVT::testing::PseudoTerminal;

namespace {

int DtrAndRts(int fd) {
  int lines = 0;
  if (ioctl(fd, TIOCMGET, &lines) != 0)
    ADD_FAILURE() << "modem lines are not emulated: run with the preload library";
  return lines & (TIOCM_DTR | TIOCM_RTS);
}

double SecondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// This process as the system names it.
std::string OwnName() {
  std::string name;
  std::getline(std::ifstream("/proc/self/comm"), name);
  return name;
}

void Pause(int milliseconds) { std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds)); }

class SerialConnectionOnPty : public ::testing::Test {
 protected:
  SerialConnectionOnPty() { connection.Open(pty.SlavePath() + ":921600,8N1"); }

  PseudoTerminal pty;
  SerialConnection connection;
};

}  // namespace

TEST_F(SerialConnectionOnPty, OpenAppliesRawSettingsRaisesDtrAndRtsAndRefusesASecondOpen) {
  PseudoTerminal other;
  ASSERT_TRUE(connection.IsOpen());
  EXPECT_EQ(DtrAndRts(pty.Keeper()), TIOCM_DTR | TIOCM_RTS);
  EXPECT_EQ(QVT::testing::ThrownMessage([&] { connection.Open(other.SlavePath()); }),
            "Serial port " + pty.SlavePath() + " must be closed before it can be re-opened.");
  EXPECT_EQ(connection.Name(), pty.SlavePath());

  termios settings{};
  ASSERT_EQ(tcgetattr(connection.Descriptor(), &settings), 0);
  EXPECT_EQ(settings.c_iflag, static_cast<tcflag_t>(IGNPAR));
  EXPECT_EQ(settings.c_cflag & (CSIZE | PARENB | CSTOPB | CRTSCTS), static_cast<tcflag_t>(CS8));
  EXPECT_EQ(cfgetospeed(&settings), static_cast<speed_t>(B921600));

  EXPECT_EQ(connection.Send("\x05\x01\xAA\xBB\x12\x00", 6), 6);
  EXPECT_EQ(pty.Read(6, 2.0), std::string("\x05\x01\xAA\xBB\x12\x00", 6));
  connection.Close();
  EXPECT_EQ(DtrAndRts(pty.Keeper()), 0);
  connection.Open(other.SlavePath());
  EXPECT_TRUE(connection.IsOpen());
}

TEST_F(SerialConnectionOnPty, ASecondOpenerIsRefusedAtOnceNamingThePortAndItsHolder) {
  SerialConnection second;
  const std::string refused = QVT::testing::ThrownMessage([&] { second.Open(pty.SlavePath()); });
  EXPECT_EQ(refused, "Failed to open COM port \"" + pty.SlavePath() + "\": busy, in use by " +
                         OwnName() + " (pid " + std::to_string(getpid()) + ")");
  EXPECT_FALSE(second.IsOpen());
  EXPECT_EQ(DtrAndRts(pty.Keeper()), TIOCM_DTR | TIOCM_RTS) << "the refused opener changed nothing";
  connection.Close();
  second.Open(pty.SlavePath());
  EXPECT_TRUE(second.IsOpen());
}

TEST_F(SerialConnectionOnPty, ZeroTimeoutTakesWhatIsWaitingOthersCountFromTheLastByte) {
  char buffer[10];
  pty.Write("abcd");
  Pause(50);
  EXPECT_EQ(connection.Receive(buffer, 10, 0.0), 4);
  EXPECT_EQ(std::string(buffer, 4), "abcd");
  EXPECT_EQ(connection.Receive(buffer, 10, 0.0), 0);

  std::thread writer([this] {
    pty.Write("ef");
    Pause(200);
    pty.Write("gh");
  });
  EXPECT_EQ(connection.Receive(buffer, 4, -1.0), 4);  // waits for every byte
  writer.join();
  EXPECT_EQ(std::string(buffer, 4), "efgh");

  auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(connection.Receive(buffer, 10, 0.2), 0);  // silence
  EXPECT_GE(SecondsSince(start), 0.2);

  std::thread peer([this] {
    for (int i = 0; i < 3; ++i) {
      Pause(300);
      pty.Write("wxyz");
    }
  });
  start = std::chrono::steady_clock::now();
  // Gaps of 0.3 s never reach the 0.5 s limit, so all ten bytes arrive.
  EXPECT_EQ(connection.Receive(buffer, 10, 0.5), 10);
  EXPECT_GE(SecondsSince(start), 0.85);
  peer.join();
  EXPECT_EQ(std::string(buffer, 10), "wxyzwxyzwx");
}

TEST_F(SerialConnectionOnPty, InterruptEndsAWaitForTheFirstByteOnly) {
  char buffer[4];
  std::thread stopper([this] {
    Pause(50);
    connection.Interrupt();
  });
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(connection.Receive(buffer, 4, 5.0), 0);  // as if the time had run out
  EXPECT_LT(SecondsSince(start), 2.0);
  stopper.join();

  // A read under way finishes: the rest of a block is not cut off.
  pty.Write("ab");
  std::thread peer([&] {
    Pause(50);
    connection.Interrupt();
    Pause(50);
    pty.Write("cd");
  });
  EXPECT_EQ(connection.Receive(buffer, 4, 1.0), 4);
  peer.join();
  EXPECT_EQ(std::string(buffer, 4), "abcd");

  // That wake-up went unused; taken back, it cannot cut the next wait short.
  connection.ClearInterrupt();
  const auto waited = std::chrono::steady_clock::now();
  EXPECT_EQ(connection.Receive(buffer, 1, 0.2), 0);
  EXPECT_GE(SecondsSince(waited), 0.2);
}
