// Which of a stream info's address fields: an outlet serves over IPv4, IPv6
// or both, on ports of each family's own.
#pragma once

#include <asio/ip/address.hpp>

namespace QVT::Lsl {

enum class IpFamily { V4, V6 };

inline IpFamily FamilyOf(const asio::ip::address& address) { return address.is_v4() ? IpFamily::V4 : IpFamily::V6; }

}  // namespace QVT::Lsl
