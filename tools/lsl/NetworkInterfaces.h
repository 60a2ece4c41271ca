// This machine's interfaces that are up and carry multicast: where an outlet
// listening on every address joins the groups, since a join without an
// interface picks only the default route's.
#pragma once

#include <vector>

#include <asio/ip/address.hpp>
#include <asio/ip/address_v4.hpp>

namespace QVT::Lsl {

// Their IPv4 addresses (an IPv4 join names the interface by address).
std::vector<asio::ip::address_v4> MulticastInterfaces();
// The indexes of those with IPv6 (an IPv6 join names the interface by index).
std::vector<unsigned> MulticastInterfacesV6();
// The index of the interface that has address, of either family; 0 if none.
unsigned InterfaceIndexOf(const asio::ip::address& address);

}  // namespace QVT::Lsl
