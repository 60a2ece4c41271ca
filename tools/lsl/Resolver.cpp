#include "Resolver.h"

#include <algorithm>
#include <array>
#include <functional>
#include <memory>
#include <random>

#include <asio.hpp>

#include "Log.h"
#include "NetworkInterfaces.h"
#include "Request.h"

namespace QVT::Lsl {

using asio::ip::udp;

ResolveTargets ResolveTargets::Multicast(const std::vector<std::string>& groups, std::uint16_t port) {
  ResolveTargets targets;
  for (const auto& group : groups) targets.endpoints.emplace_back(asio::ip::make_address(group), port);
  return targets;
}

ResolveTargets ResolveTargets::Peer(const asio::ip::address& host, std::uint16_t firstPort, std::uint16_t lastPort) {
  ResolveTargets targets;
  for (unsigned port = firstPort; port <= lastPort; ++port)
    targets.endpoints.emplace_back(host, static_cast<std::uint16_t>(port));
  return targets;
}

namespace {

// One family's socket: the query leaves by it and the answers come back to it.
struct Asker {
  explicit Asker(asio::io_context& io) : socket(io) {}
  udp::socket socket;
  udp::endpoint sender;
  std::array<char, 65536> answer{};
};

// A socket for the targets of protocol's family, multicast leaving by the
// targets' interface; nothing when the family has no targets or this
// machine cannot open it (no IPv6).
std::unique_ptr<Asker> OpenAsker(asio::io_context& io, const udp& protocol, const ResolveTargets& targets) {
  if (std::none_of(targets.endpoints.begin(), targets.endpoints.end(),
                   [&](const udp::endpoint& endpoint) { return endpoint.protocol() == protocol; }))
    return nullptr;
  auto asker = std::make_unique<Asker>(io);
  auto& socket = asker->socket;
  asio::error_code error;
  if (socket.open(protocol, error) || socket.bind({protocol, 0}, error)) return nullptr;
  if (protocol == udp::v4()) {
    socket.set_option(asio::ip::multicast::outbound_interface(targets.multicastInterface), error);
    socket.set_option(asio::socket_base::broadcast(true), error);  // for targets such as 255.255.255.255
  } else if (const unsigned index = InterfaceIndexOf(targets.multicastInterface); index != 0) {
    socket.set_option(asio::ip::multicast::outbound_interface(index), error);
  }
  socket.set_option(asio::ip::multicast::enable_loopback(true), error);
  socket.set_option(asio::ip::multicast::hops(1), error);
  return asker;
}

}  // namespace

std::vector<ResolvedStream> Resolve(std::string_view query, const ResolveTargets& targets,
                                    std::chrono::milliseconds wait) {
  asio::io_context io;
  std::random_device entropy;
  const std::string queryId = std::to_string((std::uint64_t{entropy()} << 32) | entropy());
  std::vector<std::unique_ptr<Asker>> askers;
  for (const auto& protocol : {udp::v4(), udp::v6()}) {
    auto asker = OpenAsker(io, protocol, targets);
    if (!asker) continue;
    const std::string message = "LSL:shortinfo\r\n" + std::string(query) + "\r\n" +
                                std::to_string(asker->socket.local_endpoint().port()) + " " + queryId + "\r\n";
    for (const auto& endpoint : targets.endpoints) {
      asio::error_code error;  // an unreachable target is no failure
      if (endpoint.protocol() == protocol) asker->socket.send_to(asio::buffer(message), endpoint, 0, error);
    }
    askers.push_back(std::move(asker));
  }

  std::vector<ResolvedStream> found;
  std::function<void(Asker&)> receive = [&](Asker& asker) {
    asker.socket.async_receive_from(
        asio::buffer(asker.answer), asker.sender, [&](const asio::error_code& error, std::size_t length) {
          if (error == asio::error::operation_aborted) return;
          if (!error) {
            const auto [id, xml] = SplitLine(std::string_view(asker.answer.data(), length));
            auto info = Trim(id) == queryId ? StreamInfo::Parse(xml) : std::nullopt;
            const bool known = info && std::any_of(found.begin(), found.end(), [&](const ResolvedStream& s) {
                                 return s.info.Uid() == info->Uid();
                               });
            if (info && !known) found.push_back({std::move(*info), asker.sender.address()});
          }
          receive(asker);
        });
  };
  for (const auto& asker : askers) receive(*asker);
  io.run_for(wait);
  return found;
}

}  // namespace QVT::Lsl
