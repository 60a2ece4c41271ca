#include "BoundSockets.h"

namespace QVT::Lsl {

std::shared_ptr<asio::ip::udp::socket> BoundDatagramSocket(asio::io_context& io, const asio::ip::udp::endpoint& at,
                                                           bool shared, asio::error_code& error) {
  auto socket = std::make_shared<asio::ip::udp::socket>(io);
  if (socket->open(at.protocol(), error)) return nullptr;
  if (at.address().is_v6() && socket->set_option(asio::ip::v6_only(true), error)) return nullptr;
  if (shared && socket->set_option(asio::socket_base::reuse_address(true), error)) return nullptr;
  if (socket->bind(at, error)) return nullptr;
  return socket;
}

bool Listen(asio::ip::tcp::acceptor& acceptor, const asio::ip::tcp::endpoint& at, asio::error_code& error) {
  acceptor.close(error);
  return !acceptor.open(at.protocol(), error) &&
         !(at.address().is_v6() && acceptor.set_option(asio::ip::v6_only(true), error)) &&
         !acceptor.set_option(asio::ip::tcp::acceptor::reuse_address(true), error) && !acceptor.bind(at, error) &&
         !acceptor.listen(asio::socket_base::max_listen_connections, error);
}

}  // namespace QVT::Lsl
