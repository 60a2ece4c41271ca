#include "AcceptedConnections.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

namespace QVT::Monitor {
namespace {

int LocalPort(const sockaddr_storage& address) {
  if (address.ss_family == AF_INET) return ntohs(reinterpret_cast<const sockaddr_in&>(address).sin_port);
  if (address.ss_family == AF_INET6) return ntohs(reinterpret_cast<const sockaddr_in6&>(address).sin6_port);
  return -1;
}

bool IsAcceptedOn(int fd, int port) {
  int type = 0;
  socklen_t length = sizeof type;
  if (getsockopt(fd, SOL_SOCKET, SO_TYPE, &type, &length) != 0 || type != SOCK_STREAM) return false;
  sockaddr_storage local{};
  length = sizeof local;
  if (getsockname(fd, reinterpret_cast<sockaddr*>(&local), &length) != 0 || LocalPort(local) != port)
    return false;
  // The listening socket has the same port but no peer.
  sockaddr_storage peer{};
  length = sizeof peer;
  return getpeername(fd, reinterpret_cast<sockaddr*>(&peer), &length) == 0;
}

}  // namespace

int ShutDownAcceptedConnections(int port) {
  int count = 0;
  std::error_code error;
  // Descriptors come and go meanwhile: nothing here may throw.
  for (std::filesystem::directory_iterator entry("/proc/self/fd", error), last; !error && entry != last;
       entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    char* end = nullptr;
    const long fd = std::strtol(name.c_str(), &end, 10);
    if (end == name.c_str() || *end != '\0' || !IsAcceptedOn(static_cast<int>(fd), port)) continue;
    if (shutdown(static_cast<int>(fd), SHUT_RDWR) == 0) ++count;
  }
  return count;
}

}  // namespace QVT::Monitor
