#include "Resolver.h"

#include <algorithm>
#include <array>
#include <functional>
#include <random>

#include <asio.hpp>

#include "Log.h"
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

std::vector<ResolvedStream> Resolve(std::string_view query, const ResolveTargets& targets,
                                    std::chrono::milliseconds wait) {
  asio::io_context io;
  udp::socket socket(io, udp::endpoint(udp::v4(), 0));
  socket.set_option(asio::ip::multicast::outbound_interface(targets.multicastInterface));
  socket.set_option(asio::ip::multicast::enable_loopback(true));
  socket.set_option(asio::ip::multicast::hops(1));
  socket.set_option(asio::socket_base::broadcast(true));  // for targets such as 255.255.255.255

  std::random_device entropy;
  const std::string queryId = std::to_string((std::uint64_t{entropy()} << 32) | entropy());
  const std::string message = "LSL:shortinfo\r\n" + std::string(query) + "\r\n" +
                              std::to_string(socket.local_endpoint().port()) + " " + queryId + "\r\n";
  for (const auto& endpoint : targets.endpoints) {
    asio::error_code error;
    socket.send_to(asio::buffer(message), endpoint, 0, error);  // an unreachable target is no failure
  }

  std::vector<ResolvedStream> found;
  std::array<char, 65536> answer{};
  udp::endpoint sender;
  std::function<void()> receive = [&] {
    socket.async_receive_from(asio::buffer(answer), sender, [&](const asio::error_code& error, std::size_t length) {
      if (error == asio::error::operation_aborted) return;
      if (!error) {
        const auto [id, xml] = SplitLine(std::string_view(answer.data(), length));
        auto info = Trim(id) == queryId ? StreamInfo::Parse(xml) : std::nullopt;
        const bool known = info && std::any_of(found.begin(), found.end(),
                                               [&](const ResolvedStream& s) { return s.info.Uid() == info->Uid(); });
        if (info && !known) found.push_back({std::move(*info), sender.address()});
      }
      receive();
    });
  };
  receive();
  io.run_for(wait);
  return found;
}

}  // namespace QVT::Lsl
