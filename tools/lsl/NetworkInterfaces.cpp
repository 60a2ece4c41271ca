#include "NetworkInterfaces.h"

#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>

#include <algorithm>

namespace QVT::Lsl {

std::vector<asio::ip::address_v4> MulticastInterfaces() {
  std::vector<asio::ip::address_v4> found;
  ifaddrs* list = nullptr;
  if (getifaddrs(&list) != 0) return found;
  for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
    if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET) continue;
    if ((entry->ifa_flags & IFF_UP) == 0 || (entry->ifa_flags & IFF_MULTICAST) == 0) continue;
    const auto* address = reinterpret_cast<const sockaddr_in*>(entry->ifa_addr);
    const asio::ip::address_v4 v4(ntohl(address->sin_addr.s_addr));
    if (std::find(found.begin(), found.end(), v4) == found.end()) found.push_back(v4);
  }
  freeifaddrs(list);
  return found;
}

}  // namespace QVT::Lsl
