#include "ServiceListener.h"

#include "BoundSockets.h"
#include "FeedSession.h"

namespace QVT::Lsl {

ServiceListener::ServiceListener(asio::io_context& context, ServiceState& serviceState)
    : io(context), state(serviceState), acceptor(context), acceptRetry(context) {}

std::optional<std::uint16_t> ServiceListener::Bind(const asio::ip::address& address, asio::error_code& error) {
  for (unsigned candidate = state.config.firstPort; candidate <= state.config.lastPort; ++candidate) {
    const auto port = static_cast<std::uint16_t>(candidate);
    if (!Listen(acceptor, {address, port}, error)) continue;
    datagrams = BoundDatagramSocket(io, {address, port}, false, error);
    if (datagrams) return port;
  }
  asio::error_code ignored;
  acceptor.close(ignored);
  return std::nullopt;
}

void ServiceListener::Start() { Accept(); }

void ServiceListener::Accept() {
  acceptor.async_accept([this](const asio::error_code& error, asio::ip::tcp::socket socket) {
    if (error == asio::error::operation_aborted) return;
    if (error) {
      // Out of descriptors, most likely: let sessions end before trying again.
      state.refusals("cannot accept a connection: " + error.message());
      acceptRetry.expires_after(std::chrono::milliseconds(100));
      acceptRetry.async_wait([this](const asio::error_code& waitError) {
        if (!waitError) Accept();
      });
      return;
    }
    if (state.connections.load() >= state.config.maxConnections) {
      state.refusals("refusing a connection: already " + std::to_string(state.config.maxConnections) + " open");
    } else {
      std::make_shared<FeedSession>(std::move(socket), state)->Start();
    }
    Accept();
  });
}

}  // namespace QVT::Lsl
