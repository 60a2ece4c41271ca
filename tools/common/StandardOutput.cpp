#include "StandardOutput.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace QVT::Tools {

std::string StandardOutputFailure() {
  errno = 0;
  if (std::fflush(stdout) != 0 || std::ferror(stdout))
    return std::string("cannot write the output: ") + std::strerror(errno != 0 ? errno : EIO);
  // The writing end of a pipe or socket polls as an error once no one reads.
  pollfd output{STDOUT_FILENO, 0, 0};
  if (poll(&output, 1, 0) == 1 && (output.revents & (POLLERR | POLLHUP)) != 0)
    return "the output is gone (broken pipe)";
  return "";
}

}  // namespace QVT::Tools
