#include "headset/PseudoTerminal.h"

#include <fcntl.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

#include <stdexcept>

namespace QVT::testing {

PseudoTerminal::PseudoTerminal() {
  master_ = posix_openpt(O_RDWR | O_NOCTTY);
  if (master_ < 0 || grantpt(master_) != 0 || unlockpt(master_) != 0) {
    if (master_ >= 0) close(master_);
    throw std::runtime_error("cannot create a pseudo-terminal");
  }
  slavePath_ = ptsname(master_);
  keeper_ = open(slavePath_.c_str(), O_RDWR | O_NOCTTY);
  termios raw{};
  tcgetattr(keeper_, &raw);
  cfmakeraw(&raw);
  tcsetattr(keeper_, TCSANOW, &raw);
}

PseudoTerminal::~PseudoTerminal() {
  if (keeper_ >= 0) close(keeper_);
  if (master_ >= 0) close(master_);
}

void PseudoTerminal::Write(const std::string& bytes) const {
  std::size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t r = write(master_, bytes.data() + done, bytes.size() - done);
    if (r <= 0) throw std::runtime_error("cannot write to the pseudo-terminal");
    done += static_cast<std::size_t>(r);
  }
}

std::string PseudoTerminal::Read(std::size_t want, double timeout) const {
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

}  // namespace QVT::testing
