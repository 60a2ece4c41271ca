// One TCP connection to an outlet, on the network thread: it reads the
// request within the time limit, answers an info request and closes, or
// negotiates a stream feed and then feeds the consumer until either side
// goes away: the pusher sends while the socket takes samples at once, this
// session whenever it would block (FeedWriter).
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <asio.hpp>

#include "ConsumerQueue.h"
#include "FeedNegotiation.h"
#include "FeedWriter.h"
#include "ServiceState.h"

namespace QVT::Lsl {

class FeedSession : public std::enable_shared_from_this<FeedSession> {
 public:
  FeedSession(asio::ip::tcp::socket socket, ServiceState& state);
  ~FeedSession();

  void Start();

 private:
  void OnRequestLine(const asio::error_code& error, std::size_t lineLength);
  void OnQuery(const asio::error_code& error, std::size_t lineLength);
  void OnFeedHeaders(const RequestLine& request, const asio::error_code& error, std::size_t length);
  void StartFeed(const FeedTerms& terms, const FeedHeaders& headers);
  void WriteQueued();
  // Reads and discards until the peer closes, then closes.
  void DrainUntilClosed();
  void ArmDeadline(std::string onExpiry);
  // Sends text, then closes.
  void ReplyAndClose(std::string text);
  void Close();
  bool ReadFailed(const asio::error_code& error, const char* what);
  std::string TakeLine(std::size_t length);

  asio::ip::tcp::socket socket;
  asio::steady_timer deadline;
  asio::streambuf request;
  ServiceState& state;
  std::string peer;
  std::string reply;
  std::shared_ptr<ConsumerQueue> queue;
  std::uint64_t consumerId = 0;
  std::shared_ptr<FeedWriter> writer;
  bool writeInFlight = false;
  std::array<char, 512> ignored{};
};

}  // namespace QVT::Lsl
