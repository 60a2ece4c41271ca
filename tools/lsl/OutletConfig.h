// How an outlet serves: where it listens, which ports, and the limits that
// keep hostile or slow peers from costing more than they should.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace QVT::Lsl {

struct OutletConfig {
  // The address the outlet's sockets bind: loopback by default, so that
  // nothing off this machine sees the stream unless a program asks, e.g.
  // with "0.0.0.0" for the lab network. Loopback and every address are
  // served over IPv6 too where the machine has it.
  std::string listenAddress = "127.0.0.1";
  // The first free port of this range carries the TCP service and the UDP
  // unicast queries and time probes.
  std::uint16_t firstPort = 16572;
  std::uint16_t lastPort = 16604;
  // Where resolvers send their queries, to the groups below and by broadcast.
  std::uint16_t discoveryPort = 16571;
  // The IPv4 groups of link and site scope, and one IPv6 group in link,
  // site and organisation scope.
  std::vector<std::string> multicastGroups = {"224.0.0.183",
                                              "224.0.0.1",
                                              "239.255.172.215",
                                              "ff02:113d:6fdd:2c17:a643:ffe2:1bd1:3cd2",
                                              "ff05:113d:6fdd:2c17:a643:ffe2:1bd1:3cd2",
                                              "ff08:113d:6fdd:2c17:a643:ffe2:1bd1:3cd2"};

  // Samples kept for a consumer that falls behind (an inlet may ask fewer).
  std::size_t maxQueuedSamples = 60000;
  std::size_t maxConnections = 64;
  // A peer must have sent its whole request by then.
  std::chrono::milliseconds requestTimeout{5000};
};

}  // namespace QVT::Lsl
