#include "FeedSession.h"

#include <algorithm>

#include "Log.h"
#include "Request.h"
#include "SampleCodec.h"

namespace QVT::Lsl {
namespace {

// A request line, a query or the feed headers never come near this.
constexpr std::size_t kMaxRequestBytes = 16384;

std::string PeerOf(const asio::ip::tcp::socket& socket) {
  asio::error_code error;
  const auto endpoint = socket.remote_endpoint(error);
  if (error) return "(gone)";
  return endpoint.address().to_string() + ":" + std::to_string(endpoint.port());
}

}  // namespace

FeedSession::FeedSession(asio::ip::tcp::socket connected, ServiceState& serviceState)
    : socket(std::move(connected)),
      deadline(socket.get_executor()),
      request(kMaxRequestBytes),
      state(serviceState),
      peer(PeerOf(socket)) {
  ++state.connections;
}

FeedSession::~FeedSession() {
  if (writer) writer->Close();
  if (consumerId != 0) {
    state.consumers.Remove(consumerId);
    Log("consumer " + peer + " left");
  }
  --state.connections;
}

void FeedSession::ArmDeadline(std::string onExpiry) {
  deadline.expires_after(state.config.requestTimeout);
  deadline.async_wait([self = shared_from_this(), onExpiry = std::move(onExpiry)](const asio::error_code& error) {
    if (error) return;  // cancelled: the peer was in time
    if (!onExpiry.empty()) self->state.garbage(onExpiry);
    self->Close();
  });
}

void FeedSession::Start() {
  ArmDeadline("no complete request from " + peer + " in time; closing");
  asio::async_read_until(socket, request, "\n",
                         [self = shared_from_this()](const asio::error_code& error, std::size_t length) {
                           self->OnRequestLine(error, length);
                         });
}

bool FeedSession::ReadFailed(const asio::error_code& error, const char* what) {
  if (!error) return false;
  if (error == asio::error::not_found)
    state.garbage("a " + std::string(what) + " from " + peer + " too long; closing");
  else if (error != asio::error::operation_aborted && error != asio::error::eof)
    state.garbage("reading a " + std::string(what) + " from " + peer + ": " + error.message());
  Close();
  return true;
}

std::string FeedSession::TakeLine(std::size_t length) {
  std::string line(asio::buffers_begin(request.data()), asio::buffers_begin(request.data()) + length);
  request.consume(length);
  return std::string(Trim(line));
}

void FeedSession::OnRequestLine(const asio::error_code& error, std::size_t lineLength) {
  if (ReadFailed(error, "request")) return;
  // The feed headers are read with the line still in the buffer, so that a
  // request with no headers at all ends with its own blank line.
  const std::string line(asio::buffers_begin(request.data()), asio::buffers_begin(request.data()) + lineLength);
  const auto parsed = ParseRequestLine(line);
  switch (parsed.kind) {
    case RequestKind::ShortInfo:
      request.consume(lineLength);
      asio::async_read_until(socket, request, "\n",
                             [self = shared_from_this()](const asio::error_code& e, std::size_t length) {
                               self->OnQuery(e, length);
                             });
      return;
    case RequestKind::FullInfo:
      ReplyAndClose(state.fullInfo);
      return;
    case RequestKind::StreamFeed:
      asio::async_read_until(socket, request, "\r\n\r\n",
                             [self = shared_from_this(), parsed](const asio::error_code& e, std::size_t length) {
                               self->OnFeedHeaders(parsed, e, length);
                             });
      return;
    case RequestKind::LegacyStreamFeed:
      Log("refusing " + peer + " a stream feed of protocol 1.00, which is not spoken here");
      ReplyAndClose(NegotiateFeed(parsed, std::nullopt, state.info.Uid(), state.info.Format()).reply);
      return;
    case RequestKind::Unknown:
      break;
  }
  state.garbage("unknown request from " + peer + ": " + std::string(Trim(line)).substr(0, 80));
  Close();
}

void FeedSession::OnQuery(const asio::error_code& error, std::size_t lineLength) {
  if (ReadFailed(error, "query")) return;
  if (state.info.Matches(TakeLine(lineLength)))
    ReplyAndClose(state.shortInfo);
  else
    Close();
}

void FeedSession::OnFeedHeaders(const RequestLine& parsed, const asio::error_code& error, std::size_t length) {
  if (ReadFailed(error, "stream-feed request")) return;
  const std::string text(asio::buffers_begin(request.data()), asio::buffers_begin(request.data()) + length);
  request.consume(length);
  const auto headers = ParseFeedHeaders(SplitLine(text).second);
  const auto terms = NegotiateFeed(parsed, headers, state.info.Uid(), state.info.Format());
  if (!terms.accepted) {
    Log("refusing " + peer + " a stream feed: " + std::string(SplitLine(terms.reply).first));
    ReplyAndClose(terms.reply);
    return;
  }
  StartFeed(terms, *headers);
}

void FeedSession::StartFeed(const FeedTerms& terms, const FeedHeaders& headers) {
  deadline.cancel();
  asio::error_code ignoredError;
  socket.set_option(asio::ip::tcp::no_delay(true), ignoredError);
  socket.set_option(asio::socket_base::keep_alive(true), ignoredError);

  reply = terms.reply;
  AppendTestPattern(reply, state.info.Format(), state.info.ChannelCount());
  // An inlet that asks for no buffer takes the test pattern only.
  const bool feeds = headers.maxBufferLength != 0;
  if (feeds) {
    auto capacity = state.config.maxQueuedSamples;
    if (headers.maxBufferLength > 0) capacity = std::min(capacity, static_cast<std::size_t>(headers.maxBufferLength));
    queue = std::make_shared<ConsumerQueue>(capacity);
    writer = std::make_shared<FeedWriter>(socket.native_handle(), queue);
    std::weak_ptr<FeedSession> weak = shared_from_this();
    auto executor = socket.get_executor();
    // The session itself is only ever touched on the network thread.
    consumerId = state.consumers.Add({peer, queue, terms.suppressSubnormals, [weak, executor, writer = writer] {
                                        if (writer->SendFromPusher()) return;
                                        asio::post(executor, [weak] {
                                          if (auto self = weak.lock()) self->WriteQueued();
                                        });
                                      }});
    Log("consumer " + peer + " joined (" + std::to_string(state.consumers.Count()) + " now)");
  }
  writeInFlight = true;
  asio::async_write(socket, asio::buffer(reply),
                    [self = shared_from_this(), feeds](const asio::error_code& error, std::size_t) {
                      self->writeInFlight = false;
                      if (error || !feeds) {
                        self->Close();
                        return;
                      }
                      // An inlet says nothing once fed; reading shows when it goes away.
                      self->DrainUntilClosed();
                      self->WriteQueued();
                    });
}

void FeedSession::WriteQueued() {
  if (writeInFlight || !socket.is_open()) return;
  const std::vector<asio::const_buffer> buffers = writer->NextForNetwork();
  if (buffers.empty()) return;
  writeInFlight = true;
  asio::async_write(socket, buffers, [self = shared_from_this()](const asio::error_code& error, std::size_t) {
    self->writeInFlight = false;
    if (error) {
      self->Close();
      return;
    }
    self->WriteQueued();
  });
}

void FeedSession::ReplyAndClose(std::string text) {
  deadline.cancel();
  reply = std::move(text);
  asio::async_write(socket, asio::buffer(reply), [self = shared_from_this()](const asio::error_code& error, std::size_t) {
    if (error) {
      self->Close();
      return;
    }
    // Closing with the peer's unread bytes pending would reset the
    // connection and could lose the reply: wait for the peer to close first,
    // but not for long.
    asio::error_code ignoredError;
    self->socket.shutdown(asio::ip::tcp::socket::shutdown_send, ignoredError);
    self->ArmDeadline("");
    self->DrainUntilClosed();
  });
}

void FeedSession::DrainUntilClosed() {
  socket.async_read_some(asio::buffer(ignored), [self = shared_from_this()](const asio::error_code& error, std::size_t) {
    if (error) {
      self->Close();
      return;
    }
    self->DrainUntilClosed();
  });
}

void FeedSession::Close() {
  asio::error_code ignoredError;
  if (writer) writer->Close();
  deadline.cancel();
  socket.close(ignoredError);
}

}  // namespace QVT::Lsl
