// The byte pipe to one headset: a serial device opened raw at 921600 baud
// with DTR and RTS raised, or a simulated input queue standing in for one.
// It knows nothing of packets, and has no lock of its own.
#pragma once

#include <termios.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>

namespace QVT {

class SerialConnection {
 public:
  using ByteQueue = std::deque<std::uint8_t>;

  SerialConnection();
  ~SerialConnection();
  SerialConnection(const SerialConnection&) = delete;
  SerialConnection& operator=(const SerialConnection&) = delete;

  // Back to closed with no queue attached.
  void Init();

  // Opens the device named by portText up to its first ":" and locks it
  // against other openers. An empty name leaves the connection closed; with
  // a simulated queue attached no device is opened. Throws a string naming
  // the device (and the system's reason, or the program holding it) when a
  // step fails, after closing what it opened.
  void Open(const std::string& portText);

  // Lowers DTR and RTS and closes the device; never throws.
  void Close();

  // Close, forget the queue (without freeing it) and the saved settings.
  void CleanUp();

  // One write; the count written, 0 when closed, n when a queue is attached,
  // or minus errno on failure. Short writes are not retried.
  int Send(const void* bytes, std::size_t n);

  // As Send; the time limit is accepted but not used.
  int SendBounded(const void* bytes, std::size_t n, double timeLimit);

  // Reads up to n bytes. A positive timeout ends the call after that much
  // silence counted from the last byte received; 0.0 returns what is waiting;
  // a negative one waits for all n bytes. Silence on a device is waited out
  // in the kernel; a simulated queue is looked at every millisecond.
  int Receive(void* buffer, std::size_t n, double timeout);

  // Ends a Receive with a positive time limit that is waiting for its first
  // byte as if its time had run out, so that a thread reading the link
  // notices a stop request at once. A Receive that has bytes already
  // finishes its read. Safe from any thread.
  void Interrupt();
  // Takes back a wake-up that no Receive used, so that it cannot cut short a
  // later wait.
  void ClearInterrupt();

  // Seconds since the port was opened.
  double Elapsed() const;

  void AttachSimulatedInput(ByteQueue* queue) { simulatedInput = queue; }
  ByteQueue* SimulatedInput() const { return simulatedInput; }
  const std::string& Name() const { return name; }
  bool IsOpen() const { return fd != 0; }
  int Descriptor() const { return fd; }
  double OpenTime() const { return openTime; }

 private:
  // Closes the device and throws what, the name in quotes and the reason.
  void Fail(const char* what, const std::string& reason = "");
  // Waits up to `seconds` (for ever when negative) for the device to become
  // readable, and for Interrupt when watchInterrupt; true when interrupted.
  bool WaitForInput(double seconds, bool watchInterrupt);

  std::string name;
  double openTime = 0.0;
  int fd = 0;
  std::unique_ptr<termios> savedSettings;
  ByteQueue* simulatedInput = nullptr;
  // A pipe whose read end wakes a waiting Receive; -1 when none could be had,
  // and then only the time limit ends a wait.
  int interruptRead = -1;
  int interruptWrite = -1;
};

// The value of an environment variable, or "" when it is not set.
std::string ReadEnvironmentVariable(const std::string& variable);

// The serial port from "QVTSerialPort"; empty when none is configured.
std::string DefaultPort();

}  // namespace QVT
