// The other end of an outlet's sockets, for the tests: plain blocking
// exchanges on loopback with a time limit, so that a hang fails the test.
#pragma once

#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <thread>
#include <string>
#include <string_view>

#include <asio.hpp>

namespace QVT::Lsl::Testing {

class TcpPeer {
 public:
  explicit TcpPeer(std::uint16_t port, int receiveBuffer = 0,
                   const asio::ip::address& host = asio::ip::address_v4::loopback())
      : socket(io) {
    socket.open(host.is_v4() ? asio::ip::tcp::v4() : asio::ip::tcp::v6());
    // Set before connecting, so that a stalled peer's window stays small.
    if (receiveBuffer > 0) socket.set_option(asio::socket_base::receive_buffer_size(receiveBuffer));
    timeval limit{5, 0};
    setsockopt(socket.native_handle(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    socket.connect({host, port});
  }

  void Send(std::string_view bytes) { asio::write(socket, asio::buffer(bytes)); }

  // Exactly count bytes, or fewer when the outlet closes or 5 s pass.
  std::string Read(std::size_t count) {
    std::string bytes;
    while (bytes.size() < count && ReadSome(bytes, count - bytes.size()) > 0) {
    }
    return bytes;
  }

  // Everything until the outlet closes (true) or 5 s pass (false).
  bool ReadToEnd(std::string& bytes) {
    for (;;) {
      const auto got = ReadSome(bytes, 4096);
      if (got <= 0) return got == 0 || errno == ECONNRESET;
    }
  }

  void Close() { socket.close(); }

 private:
  // recv() itself, since asio's blocking reads wait past SO_RCVTIMEO.
  ssize_t ReadSome(std::string& bytes, std::size_t most) {
    char chunk[4096];
    const auto got = ::recv(socket.native_handle(), chunk, std::min(most, sizeof chunk), 0);
    if (got > 0) bytes.append(chunk, static_cast<std::size_t>(got));
    return got;
  }

  asio::io_context io;
  asio::ip::tcp::socket socket;
};

// One datagram to 127.0.0.1:port, and the first answer within 1 s (empty if none).
inline std::string ExchangeDatagram(std::uint16_t port, std::string_view message) {
  asio::io_context io;
  asio::ip::udp::socket socket(io, asio::ip::udp::endpoint(asio::ip::udp::v4(), 0));
  timeval limit{1, 0};
  setsockopt(socket.native_handle(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
  socket.send_to(asio::buffer(message), {asio::ip::address_v4::loopback(), port});
  std::string answer(65536, '\0');
  const auto got = ::recv(socket.native_handle(), answer.data(), answer.size(), 0);
  answer.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
  return answer;
}

// Whether this machine has IPv6 (a kernel may have it switched off).
inline bool HasIpv6() {
  asio::io_context io;
  asio::ip::udp::socket socket(io);
  asio::error_code error;
  return !socket.open(asio::ip::udp::v6(), error) && !socket.bind({asio::ip::address_v6::loopback(), 0}, error);
}

// Waits up to 5 s for a condition that the network thread makes true.
template <typename Condition>
bool Eventually(Condition condition) {
  const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > until) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return true;
}

}  // namespace QVT::Lsl::Testing
