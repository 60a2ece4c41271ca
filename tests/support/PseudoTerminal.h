// A pseudo-terminal pair for tests: the master plays the headset's side of
// the serial line, the slave's path is what the library opens.
#pragma once

#include <fcntl.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

#include <stdexcept>
#include <string>

namespace QVT::testing {

class PseudoTerminal {
 public:
  PseudoTerminal() {
    master_ = posix_openpt(O_RDWR | O_NOCTTY);
    if (master_ < 0 || grantpt(master_) != 0 || unlockpt(master_) != 0)
      throw std::runtime_error("cannot create a pseudo-terminal");
    slavePath_ = ptsname(master_);
    // Held open so that the line stays up (and raw) while the library's
    // descriptor comes and goes.
    keeper_ = open(slavePath_.c_str(), O_RDWR | O_NOCTTY);
    termios raw{};
    tcgetattr(keeper_, &raw);
    cfmakeraw(&raw);
    tcsetattr(keeper_, TCSANOW, &raw);
  }
  ~PseudoTerminal() {
    if (keeper_ >= 0) close(keeper_);
    if (master_ >= 0) close(master_);
  }
  PseudoTerminal(const PseudoTerminal&) = delete;
  PseudoTerminal& operator=(const PseudoTerminal&) = delete;

  const std::string& SlavePath() const { return slavePath_; }
  int Master() const { return master_; }
  int Keeper() const { return keeper_; }

  void Write(const std::string& bytes) const {
    if (write(master_, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
      throw std::runtime_error("short write to the pseudo-terminal");
  }

  // What the library wrote, waiting up to timeout seconds for want bytes.
  std::string Read(std::size_t want, double timeout) const {
    std::string got;
    const int flags = fcntl(master_, F_GETFL);
    fcntl(master_, F_SETFL, flags | O_NONBLOCK);
    for (double waited = 0.0; got.size() < want && waited < timeout; waited += 0.001) {
      char buffer[4096];
      const ssize_t r = read(master_, buffer, sizeof buffer);
      if (r > 0)
        got.append(buffer, static_cast<std::size_t>(r));
      else
        usleep(1000);
    }
    fcntl(master_, F_SETFL, flags);
    return got;
  }

 private:
  int master_ = -1;
  int keeper_ = -1;
  std::string slavePath_;
};

}  // namespace QVT::testing
