// Answers the datagrams an outlet receives: a resolver's query, when the
// stream matches, with the query id and the short info, sent to the return
// port the query names at the address it came from; a time probe with its
// wave id, its sending time and this machine's clock on arrival and on reply.
#pragma once

#include <array>
#include <memory>

#include <asio.hpp>

#include "ServiceState.h"

namespace QVT::Lsl {

class DatagramResponder : public std::enable_shared_from_this<DatagramResponder> {
 public:
  // Receives on receiving; replies to queries through replying (a socket
  // bound to a multicast group cannot be the source of a reply), to probes
  // through receiving, and only if answersTimeProbes.
  DatagramResponder(std::shared_ptr<asio::ip::udp::socket> receiving, std::shared_ptr<asio::ip::udp::socket> replying,
                    ServiceState& state, bool answersTimeProbes);

  void Start();

 private:
  void Receive();
  void Handle(std::size_t length, double arrival);
  void Send(asio::ip::udp::socket& socket, std::string message, const asio::ip::udp::endpoint& to);

  std::shared_ptr<asio::ip::udp::socket> receiving;
  std::shared_ptr<asio::ip::udp::socket> replying;
  ServiceState& state;
  const bool answersTimeProbes;
  asio::ip::udp::endpoint sender;
  std::array<char, 65536> datagram{};
};

}  // namespace QVT::Lsl
