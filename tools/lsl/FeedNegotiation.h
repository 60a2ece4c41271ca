// The stream-feed handshake: the inlet's header lines, and the outlet's
// answer, which either agrees on how samples travel or refuses plainly.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "ChannelFormat.h"
#include "Request.h"

namespace QVT::Lsl {

// What an inlet says about itself after "LSL:streamfeed/110 <uid>".
struct FeedHeaders {
  int byteOrder = 1234;
  bool ieee754Floats = true;
  bool supportsSubnormals = true;
  std::optional<std::size_t> valueSize;
  int dataProtocolVersion = 110;
  long maxBufferLength = -1;  // samples the inlet wants kept for it; -1 if unsaid
};

// Nothing when a known header carries a value that is no number.
std::optional<FeedHeaders> ParseFeedHeaders(std::string_view headerLines);

struct FeedTerms {
  bool accepted = false;
  std::string reply;  // the status line and headers to send back, "\r\n\r\n"-terminated when accepted
  bool suppressSubnormals = false;
};

// The answer to a stream-feed request for the stream (uid, format).
FeedTerms NegotiateFeed(const RequestLine& request, const std::optional<FeedHeaders>& headers,
                        std::string_view uid, ChannelFormat format);

}  // namespace QVT::Lsl
