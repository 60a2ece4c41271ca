#include "NetworkInterfaces.h"

#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <optional>

namespace QVT::Lsl {
namespace {

std::optional<asio::ip::address> AddressOf(const sockaddr* socketAddress) {
  if (socketAddress == nullptr) return std::nullopt;
  if (socketAddress->sa_family == AF_INET)
    return asio::ip::address_v4(ntohl(reinterpret_cast<const sockaddr_in*>(socketAddress)->sin_addr.s_addr));
  if (socketAddress->sa_family == AF_INET6) {
    asio::ip::address_v6::bytes_type bytes{};
    std::memcpy(bytes.data(), reinterpret_cast<const sockaddr_in6*>(socketAddress)->sin6_addr.s6_addr, bytes.size());
    return asio::ip::address_v6(bytes);
  }
  return std::nullopt;
}

// Calls visit with each address of each interface.
void ForEachAddress(const std::function<void(const ifaddrs&, const asio::ip::address&)>& visit) {
  ifaddrs* list = nullptr;
  if (getifaddrs(&list) != 0) return;
  for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next)
    if (const auto address = AddressOf(entry->ifa_addr)) visit(*entry, *address);
  freeifaddrs(list);
}

bool CarriesMulticast(const ifaddrs& entry) {
  return (entry.ifa_flags & IFF_UP) != 0 && (entry.ifa_flags & IFF_MULTICAST) != 0;
}

template <typename T>
void AddOnce(std::vector<T>& found, const T& value) {
  if (std::find(found.begin(), found.end(), value) == found.end()) found.push_back(value);
}

}  // namespace

std::vector<asio::ip::address_v4> MulticastInterfaces() {
  std::vector<asio::ip::address_v4> found;
  ForEachAddress([&](const ifaddrs& entry, const asio::ip::address& address) {
    if (address.is_v4() && CarriesMulticast(entry)) AddOnce(found, address.to_v4());
  });
  return found;
}

std::vector<unsigned> MulticastInterfacesV6() {
  std::vector<unsigned> found;
  ForEachAddress([&](const ifaddrs& entry, const asio::ip::address& address) {
    if (address.is_v6() && CarriesMulticast(entry)) AddOnce(found, if_nametoindex(entry.ifa_name));
  });
  std::erase(found, 0u);
  return found;
}

unsigned InterfaceIndexOf(const asio::ip::address& wanted) {
  unsigned index = 0;
  ForEachAddress([&](const ifaddrs& entry, const asio::ip::address& address) {
    // A link-local IPv6 address may come with or without its scope.
    const bool same = address.is_v6() && wanted.is_v6() ? address.to_v6().to_bytes() == wanted.to_v6().to_bytes()
                                                        : address == wanted;
    if (index == 0 && same) index = if_nametoindex(entry.ifa_name);
  });
  return index;
}

}  // namespace QVT::Lsl
