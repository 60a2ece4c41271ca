// Finding streams: a query sent to the multicast groups and addresses where
// outlets listen, over IPv4 and IPv6, and the distinct streams that answer
// within the wait.
#pragma once

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include <asio/ip/address.hpp>
#include <asio/ip/udp.hpp>

#include "StreamInfo.h"

namespace QVT::Lsl {

struct ResolveTargets {
  std::vector<asio::ip::udp::endpoint> endpoints;
  // The interface multicast queries leave by, named by its IPv4 address
  // (IPv6 queries leave by the same interface).
  asio::ip::address_v4 multicastInterface = asio::ip::address_v4::loopback();

  // The discovery port's multicast groups.
  static ResolveTargets Multicast(const std::vector<std::string>& groups, std::uint16_t port = 16571);
  // Every service port of one host, as with KnownPeers.
  static ResolveTargets Peer(const asio::ip::address& host, std::uint16_t firstPort = 16572,
                             std::uint16_t lastPort = 16604);
};

struct ResolvedStream {
  StreamInfo info;
  asio::ip::address host;  // where the answer came from: where to connect
};

// The streams matching query (see QueryFor) that answer within wait; one
// entry per uid. Answers that are not for this query or not an info are
// ignored.
std::vector<ResolvedStream> Resolve(std::string_view query, const ResolveTargets& targets,
                                    std::chrono::milliseconds wait);

}  // namespace QVT::Lsl
