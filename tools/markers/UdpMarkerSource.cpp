#include "UdpMarkerSource.h"

#include <stdexcept>

#include "Clock.h"

namespace QVT::Markers {
namespace {

// Room for bursts while the thread is not scheduled.
constexpr int kReceiveBufferBytes = 4 << 20;

// `echo stim1 > /dev/udp/...` sends a line end that is no part of the text.
void DropLineEnd(std::string& text) {
  if (!text.empty() && text.back() == '\n') text.pop_back();
  if (!text.empty() && text.back() == '\r') text.pop_back();
}

}  // namespace

UdpMarkerSource::UdpMarkerSource(const std::string& listenAddress, std::uint16_t port, MarkerQueue& queue)
    : queue_(queue), socket_(io_), datagram_(65536, '\0') {
  asio::error_code error;
  const auto address = asio::ip::make_address(listenAddress, error);
  if (error) throw std::runtime_error("the marker address '" + listenAddress + "' is no IP address");
  const asio::ip::udp::endpoint at(address, port);
  socket_.open(at.protocol(), error);
  if (!error) socket_.bind(at, error);
  if (error)
    throw std::runtime_error("cannot receive markers on " + listenAddress + " port " + std::to_string(port) +
                             ": " + error.message());
  socket_.set_option(asio::socket_base::receive_buffer_size(kReceiveBufferBytes),
                     error);  // a smaller one still works
  port_ = socket_.local_endpoint().port();
  source_ = "udp:" + std::to_string(port_);
  queue_.AddSource(source_);
  Receive();
  thread_ = std::thread([this] { io_.run(); });
}

UdpMarkerSource::~UdpMarkerSource() {
  io_.stop();
  thread_.join();
}

void UdpMarkerSource::Receive() {
  socket_.async_receive(asio::buffer(datagram_), [this](const asio::error_code& error, std::size_t length) {
    if (error == asio::error::operation_aborted) return;
    if (!error) {
      const double arrival = Lsl::LocalClock();
      std::string text(datagram_.data(), length);
      DropLineEnd(text);
      if (!text.empty()) queue_.Push({source_, std::move(text), arrival});
    }
    Receive();
  });
}

}  // namespace QVT::Markers
