// The IPv4 addresses of this machine's interfaces that are up and carry
// multicast: where an outlet listening on every address joins the groups,
// since a join without an interface picks only the default route's.
#pragma once

#include <vector>

#include <asio/ip/address_v4.hpp>

namespace QVT::Lsl {

std::vector<asio::ip::address_v4> MulticastInterfaces();

}  // namespace QVT::Lsl
