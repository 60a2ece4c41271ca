#include "serial/SerialConnection.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <system_error>

#include "serial/PortHolder.h"
#include "util/Timing.h"

namespace QVT {

namespace {

constexpr std::size_t kMaxChunk = 4096;

termios RawSettings(const termios& saved) {
  termios raw = saved;  // keeps the line discipline, control characters and speeds
  raw.c_iflag = IGNPAR;
  raw.c_oflag = 0;
  raw.c_cflag = B921600 | CS8 | CREAD | CLOCAL;
  raw.c_lflag = 0;
  raw.c_cc[VMIN] = 0;
  raw.c_cc[VTIME] = 0;
  return raw;
}

// The system's words for an error number; unlike strerror, safe from any thread.
std::string SystemReason(int error) { return std::error_code(error, std::generic_category()).message(); }

bool MakeNonBlocking(int descriptor) {
  const int flags = fcntl(descriptor, F_GETFL);
  return flags >= 0 && fcntl(descriptor, F_SETFL, flags | O_NONBLOCK) == 0 &&
         fcntl(descriptor, F_SETFD, FD_CLOEXEC) == 0;
}

}  // namespace

SerialConnection::SerialConnection() {
  Init();
  int ends[2];
  if (pipe(ends) != 0) return;
  if (MakeNonBlocking(ends[0]) && MakeNonBlocking(ends[1])) {
    interruptRead = ends[0];
    interruptWrite = ends[1];
  } else {
    ::close(ends[0]);
    ::close(ends[1]);
  }
}

SerialConnection::~SerialConnection() {
  CleanUp();
  if (interruptRead >= 0) ::close(interruptRead);
  if (interruptWrite >= 0) ::close(interruptWrite);
}

void SerialConnection::Interrupt() {
  if (interruptWrite < 0) return;
  const char wake = 1;
  // A full pipe already holds a wake-up.
  [[maybe_unused]] const ssize_t written = ::write(interruptWrite, &wake, 1);
}

void SerialConnection::ClearInterrupt() {
  if (interruptRead < 0) return;
  char drained[64];
  while (::read(interruptRead, drained, sizeof drained) > 0) {
  }
}

bool SerialConnection::WaitForInput(double seconds, bool watchInterrupt) {
  pollfd watched[2] = {{fd, POLLIN, 0}, {interruptRead, POLLIN, 0}};
  const nfds_t count = watchInterrupt && interruptRead >= 0 ? 2 : 1;
  // Rounded up, so that a wait never ends before its time limit.
  const double milliseconds = std::ceil(seconds * 1000.0);
  const int limit = seconds < 0.0 ? -1 : milliseconds >= INT_MAX ? INT_MAX : static_cast<int>(milliseconds);
  if (::poll(watched, count, limit) <= 0) return false;
  if (count == 2 && (watched[1].revents & POLLIN) != 0) {
    ClearInterrupt();
    return true;
  }
  // A hung-up device reports itself at once, again and again; without data
  // to read, that would spin.
  if ((watched[0].revents & (POLLHUP | POLLERR | POLLNVAL)) != 0) Timing::Sleep(0.001);
  return false;
}

void SerialConnection::Init() {
  openTime = 0.0;
  fd = 0;
  simulatedInput = nullptr;
  savedSettings = std::make_unique<termios>();
}

void SerialConnection::Fail(const char* what, const std::string& reason) {
  ::close(fd);
  fd = 0;
  throw std::string(what) + " \"" + name + "\"" + (reason.empty() ? "" : ": " + reason);
}

void SerialConnection::Open(const std::string& portText) {
  const std::string device = portText.substr(0, portText.find(':'));
  if (fd != 0) throw "Serial port " + name + " must be closed before it can be re-opened.";
  name = device;
  if (name.empty()) return;
  if (simulatedInput != nullptr) {
    if (openTime == 0.0) openTime = Timing::MonotonicSeconds();
    return;
  }
  if (!savedSettings) Init();

  fd = ::open(name.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK);
  if (fd <= 0) {
    const std::string reason = fd < 0 ? SystemReason(errno) : "";
    // A descriptor of 0 would be taken for "closed": never keep it.
    if (fd == 0) ::close(fd);
    fd = 0;
    throw "Failed to open COM port \"" + name + "\"" + (reason.empty() ? "" : ": " + reason);
  }
  if (tcgetattr(fd, savedSettings.get()) != 0) Fail("Failed to read settings from COM port");
  // One program per headset: a second one would steal the first one's
  // replies and data. Taken before the settings change, so that a refused
  // opener leaves the port as its user set it.
  if (flock(fd, LOCK_EX | LOCK_NB) != 0) {
    const int error = errno;
    if (error != EWOULDBLOCK) Fail("Failed to open COM port", SystemReason(error));
    const std::string holder = PortHolder(fd);
    Fail("Failed to open COM port", "busy, in use by " + (holder.empty() ? "another program" : holder));
  }
  const termios raw = RawSettings(*savedSettings);
  if (tcsetattr(fd, TCSANOW, &raw) != 0) Fail("Failed to update settings for COM port");

  int status = 0;
  if (ioctl(fd, TIOCMGET, &status) != 0) Fail("Failed to query status from COM port");
  status |= TIOCM_DTR | TIOCM_RTS;
  if (ioctl(fd, TIOCMSET, &status) != 0) Fail("Failed to update status for COM port");

  openTime = Timing::MonotonicSeconds();
}

void SerialConnection::Close() {
  if (fd == 0) return;
  int status = 0;
  if (ioctl(fd, TIOCMGET, &status) == 0) {
    status &= ~(TIOCM_DTR | TIOCM_RTS);
    ioctl(fd, TIOCMSET, &status);
  }
  ::close(fd);
  // After the close on purpose: the device keeps the settings Open gave it.
  if (savedSettings) tcsetattr(fd, TCSANOW, savedSettings.get());
  fd = 0;
}

void SerialConnection::CleanUp() {
  Close();
  openTime = 0.0;
  simulatedInput = nullptr;
  savedSettings.reset();
}

int SerialConnection::Send(const void* bytes, std::size_t n) {
  if (fd == 0) return 0;
  if (simulatedInput != nullptr) return static_cast<int>(n);
  const ssize_t written = ::write(fd, bytes, n);
  if (written < 0) return -errno;
  return static_cast<int>(written);
}

int SerialConnection::SendBounded(const void* bytes, std::size_t n, double /*timeLimit*/) {
  return Send(bytes, n);
}

int SerialConnection::Receive(void* buffer, std::size_t n, double timeout) {
  if (fd == 0 && simulatedInput == nullptr) return 0;
  auto* out = static_cast<std::uint8_t*>(buffer);
  // The clock is read only once a read comes back empty: silence is counted
  // from then, which is the last byte give or take one read.
  double deadline = -1.0;
  std::size_t got = 0;
  for (;;) {
    const std::size_t chunk = std::min(n - got, kMaxChunk);
    std::size_t r = 0;
    if (ByteQueue* queue = simulatedInput) {
      while (r < chunk && !queue->empty()) {
        out[got + r++] = queue->front();
        queue->pop_front();
      }
    } else {
      // A failed read (a hung-up device, say) counts as no bytes: the caller
      // sees the silence as a time-out.
      const ssize_t result = ::read(fd, out + got, chunk);
      r = result > 0 ? static_cast<std::size_t>(result) : 0;
    }
    got += r;
    if (got >= n) return static_cast<int>(got);

    if (timeout == 0.0) {
      if (r == 0) return static_cast<int>(got);
    } else if (r != 0) {
      deadline = -1.0;
    } else {
      const double now = timeout > 0.0 ? Elapsed() : 0.0;
      if (timeout > 0.0 && deadline < 0.0) deadline = now + timeout;
      if (timeout > 0.0 && deadline < now) return static_cast<int>(got);
      if (simulatedInput != nullptr || fd == 0) {
        Timing::Sleep(0.001);
      } else if (WaitForInput(timeout > 0.0 ? deadline - now : -1.0, got == 0 && timeout > 0.0)) {
        return static_cast<int>(got);  // interrupted between reads
      }
    }
  }
}

double SerialConnection::Elapsed() const { return Timing::MonotonicSeconds() - openTime; }

std::string ReadEnvironmentVariable(const std::string& variable) {
  const char* value = std::getenv(variable.c_str());
  return value ? value : "";
}

std::string DefaultPort() { return ReadEnvironmentVariable("QVTSerialPort"); }

}  // namespace QVT
