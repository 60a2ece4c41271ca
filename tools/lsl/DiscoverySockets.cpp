#include "DiscoverySockets.h"

#include "BoundSockets.h"
#include "Log.h"
#include "NetworkInterfaces.h"

namespace QVT::Lsl {
namespace {

using asio::ip::udp;

// Where a socket joins the groups: IPv4 interfaces are named by address,
// IPv6 ones by index.
struct Interfaces {
  std::vector<asio::ip::address_v4> v4;
  std::vector<unsigned> v6;
};

Interfaces InterfacesFor(const asio::ip::address& listen) {
  if (listen.is_unspecified()) return {MulticastInterfaces(), MulticastInterfacesV6()};
  if (listen.is_v4()) return {{listen.to_v4()}, {}};
  return {{}, {InterfaceIndexOf(listen)}};
}

// Joins group on every interface of its family, logging those that fail;
// whether any join succeeded.
bool Join(udp::socket& socket, const std::string& name, const asio::ip::address& group, const Interfaces& on) {
  bool joined = false;
  asio::error_code error;
  const auto outcome = [&](const std::string& where) {
    if (error)
      Log("cannot join " + name + " on " + where + ": " + error.message());
    else
      joined = true;
  };
  if (group.is_v4()) {
    for (const auto& interface : on.v4) {
      socket.set_option(asio::ip::multicast::join_group(group.to_v4(), interface), error);
      outcome(interface.to_string());
    }
  } else {
    for (const unsigned interface : on.v6) {
      socket.set_option(asio::ip::multicast::join_group(group.to_v6(), interface), error);
      outcome("interface " + std::to_string(interface));
    }
  }
  return joined;
}

}  // namespace

std::vector<std::shared_ptr<DatagramResponder>> OpenDiscovery(asio::io_context& io, const asio::ip::address& listen,
                                                              ServiceState& state, std::uint16_t servicePort) {
  const auto& config = state.config;
  std::vector<std::shared_ptr<DatagramResponder>> responders;
  asio::error_code error;
  // Several outlets on one host share the discovery port.
  auto unicast = BoundDatagramSocket(io, {listen, config.discoveryPort}, true, error);
  if (!unicast) {
    Log("discovery on " + listen.to_string() + " port " + std::to_string(config.discoveryPort) + " unavailable (" +
        error.message() + "); resolvers find this stream there only by unicast to port " + std::to_string(servicePort));
    return responders;
  }
  responders.push_back(std::make_shared<DatagramResponder>(unicast, unicast, state, false));
  const auto interfaces = InterfacesFor(listen);
  for (const auto& name : config.multicastGroups) {
    auto group = asio::ip::make_address(name, error);
    if (error || !group.is_multicast()) {
      Log("not a multicast group: " + name);
      continue;
    }
    if (group.is_v4() != listen.is_v4()) continue;
    // Bound to every address, the one socket hears the groups joined on
    // every interface (and IPv4 broadcast).
    if (listen.is_unspecified()) {
      Join(*unicast, name, group, interfaces);
      continue;
    }
    // Bound to one address, the socket hears no multicast: each group gets a
    // socket bound to it, joined on the listening interface only. A
    // link-local group is only an address with its interface.
    if (group.is_v6() && group.to_v6().is_multicast_link_local()) {
      auto scoped = group.to_v6();
      scoped.scope_id(interfaces.v6.front());
      group = scoped;
    }
    auto member = BoundDatagramSocket(io, {group, config.discoveryPort}, true, error);
    if (!member) {
      Log("cannot listen to " + name + " on " + listen.to_string() + ": " + error.message());
      continue;
    }
    if (Join(*member, name, group, interfaces))
      responders.push_back(std::make_shared<DatagramResponder>(member, unicast, state, false));
  }
  return responders;
}

}  // namespace QVT::Lsl
