// The discovery port at one address: where resolvers' queries arrive, sent
// to the multicast groups of the address's family, by broadcast or by
// unicast.
#pragma once

#include <memory>
#include <vector>

#include <asio.hpp>

#include "DatagramResponder.h"
#include "ServiceState.h"

namespace QVT::Lsl {

// Responders for the sockets opened, not yet started. What cannot be
// opened or joined is logged; resolvers then still find the stream by
// unicast to servicePort.
std::vector<std::shared_ptr<DatagramResponder>> OpenDiscovery(asio::io_context& io, const asio::ip::address& listen,
                                                              ServiceState& state, std::uint16_t servicePort);

}  // namespace QVT::Lsl
