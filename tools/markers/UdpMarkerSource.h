// Markers as UDP datagrams, one marker's text each, stamped on arrival: for
// scripts without LSL (printf stim1 > /dev/udp/127.0.0.1/PORT). A thread of
// its own receives, so a flood never reaches the acquisition thread; what the
// queue cannot take is counted there.
#pragma once

#include <cstdint>
#include <string>
#include <thread>

#include <asio.hpp>

#include "MarkerQueue.h"

namespace QVT::Markers {

class UdpMarkerSource {
 public:
  // Binds listenAddress:port (port 0: any free one) and starts receiving.
  // Throws std::runtime_error, naming the address, when it cannot bind.
  UdpMarkerSource(const std::string& listenAddress, std::uint16_t port, MarkerQueue& queue);
  ~UdpMarkerSource();
  UdpMarkerSource(const UdpMarkerSource&) = delete;
  UdpMarkerSource& operator=(const UdpMarkerSource&) = delete;

  std::uint16_t Port() const { return port_; }
  // The name its markers carry: "udp:PORT".
  const std::string& Source() const { return source_; }

 private:
  void Receive();

  MarkerQueue& queue_;
  asio::io_context io_;
  asio::ip::udp::socket socket_;
  std::uint16_t port_ = 0;
  std::string source_;
  std::string datagram_;
  std::thread thread_;
};

}  // namespace QVT::Markers
