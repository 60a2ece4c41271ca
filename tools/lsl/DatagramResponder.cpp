#include "DatagramResponder.h"

#include <string_view>
#include <variant>

#include "Clock.h"
#include "NumberText.h"
#include "Request.h"

namespace QVT::Lsl {
DatagramResponder::DatagramResponder(std::shared_ptr<asio::ip::udp::socket> receivingSocket,
                                     std::shared_ptr<asio::ip::udp::socket> replyingSocket,
                                     ServiceState& serviceState, bool answersProbes)
    : receiving(std::move(receivingSocket)),
      replying(std::move(replyingSocket)),
      state(serviceState),
      answersTimeProbes(answersProbes) {}

void DatagramResponder::Start() { Receive(); }

void DatagramResponder::Receive() {
  receiving->async_receive_from(asio::buffer(datagram), sender,
                                [self = shared_from_this()](const asio::error_code& error, std::size_t length) {
                                  const double arrival = LocalClock();
                                  if (error == asio::error::operation_aborted || !self->receiving->is_open()) return;
                                  if (!error) self->Handle(length, arrival);
                                  self->Receive();
                                });
}

void DatagramResponder::Handle(std::size_t length, double arrival) {
  const auto parsed = ParseDatagram(std::string_view(datagram.data(), length));
  if (const auto* query = std::get_if<ShortInfoQuery>(&parsed)) {
    if (state.info.Matches(query->query))
      Send(*replying, query->queryId + "\r\n" + state.shortInfo, {sender.address(), query->returnPort});
  } else if (const auto* probe = std::get_if<TimeProbe>(&parsed)) {
    if (answersTimeProbes)
      Send(*receiving,
           " " + std::to_string(probe->waveId) + " " + NumberText("%.16g", probe->sentAt) + " " + NumberText("%.16g", arrival) + " " +
               NumberText("%.16g", LocalClock()),
           sender);
  } else {
    state.garbage("ignoring a datagram of " + std::to_string(length) + " bytes from " + sender.address().to_string() +
                  " that is no query or time probe");
  }
}

void DatagramResponder::Send(asio::ip::udp::socket& socket, std::string message, const asio::ip::udp::endpoint& to) {
  auto kept = std::make_shared<std::string>(std::move(message));
  socket.async_send_to(asio::buffer(*kept), to, [kept](const asio::error_code&, std::size_t) {});
}

}  // namespace QVT::Lsl
