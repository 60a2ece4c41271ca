// What arrives at an outlet, parsed: the first line of a TCP request, and
// the datagrams of discovery and time probes. Pure functions of the bytes,
// so that garbage of any kind gives a refusal, never a fault.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

namespace QVT::Lsl {

enum class RequestKind { ShortInfo, FullInfo, StreamFeed, LegacyStreamFeed, Unknown };

struct RequestLine {
  RequestKind kind = RequestKind::Unknown;
  int version = 0;  // of a stream feed, e.g. 110
  std::string uid;  // of a stream feed; empty when the inlet takes any
};

RequestLine ParseRequestLine(std::string_view line);

// "LSL:shortinfo": the query, then where to send a match.
struct ShortInfoQuery {
  std::string query;
  std::uint16_t returnPort = 0;
  std::string queryId;
};

// "LSL:timedata": a probe's wave id and the inlet's clock when it left.
struct TimeProbe {
  std::int64_t waveId = 0;
  double sentAt = 0.0;
};

using Datagram = std::variant<std::monostate, ShortInfoQuery, TimeProbe>;

// Nothing (monostate) for a datagram that is neither, or malformed.
Datagram ParseDatagram(std::string_view bytes);

// The line at the front of text without its line ending, and what follows
// it; accepts "\r\n" or "\n".
std::pair<std::string_view, std::string_view> SplitLine(std::string_view text);

std::string_view Trim(std::string_view text);

}  // namespace QVT::Lsl
