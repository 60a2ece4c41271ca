// Sockets bound as an outlet binds them. An IPv6 socket serves IPv6 only, so
// that it can share its port number with its IPv4 twin on every address.
#pragma once

#include <memory>

#include <asio.hpp>

namespace QVT::Lsl {

// A UDP socket bound at; shared lets other outlets on this host bind the same
// port. Nothing, with error set, when it cannot be opened or bound.
std::shared_ptr<asio::ip::udp::socket> BoundDatagramSocket(asio::io_context& io, const asio::ip::udp::endpoint& at,
                                                           bool shared, asio::error_code& error);

// Opens acceptor, binds it at and listens; false, with error set, on failure.
bool Listen(asio::ip::tcp::acceptor& acceptor, const asio::ip::tcp::endpoint& at, asio::error_code& error);

}  // namespace QVT::Lsl
