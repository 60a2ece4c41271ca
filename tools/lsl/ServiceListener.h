// An outlet's service at one address: TCP (info requests and stream feeds)
// and UDP (unicast queries and time probes) on the first port of the
// configured range that is free for both.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include <asio.hpp>

#include "ServiceState.h"

namespace QVT::Lsl {

class ServiceListener {
 public:
  ServiceListener(asio::io_context& io, ServiceState& state);

  // The port bound at address, or nothing (error says why the last port
  // failed) when no port of the range is free.
  std::optional<std::uint16_t> Bind(const asio::ip::address& address, asio::error_code& error);
  // The UDP socket on the bound port.
  std::shared_ptr<asio::ip::udp::socket> Datagrams() const { return datagrams; }

  // Accepts connections, on the network thread, until the io_context stops.
  void Start();

 private:
  void Accept();

  asio::io_context& io;
  ServiceState& state;
  asio::ip::tcp::acceptor acceptor;
  asio::steady_timer acceptRetry;
  std::shared_ptr<asio::ip::udp::socket> datagrams;
};

}  // namespace QVT::Lsl
