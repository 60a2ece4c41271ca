#include "FeedNegotiation.h"

#include <algorithm>
#include <cctype>
#include <charconv>

namespace QVT::Lsl {
namespace {

constexpr int kProtocolVersion = 110;

template <typename Number>
bool ParseNumber(std::string_view text, Number& value) {
  const auto* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  return error == std::errc() && stop == end;
}

std::string Lowercase(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return lower;
}

FeedTerms Refusal(std::string_view status) {
  return {false, "LSL/" + std::to_string(kProtocolVersion) + " " + std::string(status) + "\r\n\r\n", false};
}

}  // namespace

std::optional<FeedHeaders> ParseFeedHeaders(std::string_view headerLines) {
  FeedHeaders headers;
  while (!headerLines.empty()) {
    auto [line, rest] = SplitLine(headerLines);
    headerLines = rest;
    line = line.substr(0, line.find(';'));  // a comment
    const auto colon = line.find(':');
    if (colon == std::string_view::npos) continue;
    const auto key = Lowercase(Trim(line.substr(0, colon)));
    const auto value = Trim(line.substr(colon + 1));
    bool ok = true;
    if (key == "native-byte-order") {
      ok = ParseNumber(value, headers.byteOrder);
    } else if (key == "has-ieee754-floats") {
      int flag = 0;
      ok = ParseNumber(value, flag);
      headers.ieee754Floats = flag != 0;
    } else if (key == "supports-subnormals") {
      int flag = 0;
      ok = ParseNumber(value, flag);
      headers.supportsSubnormals = flag != 0;
    } else if (key == "value-size") {
      std::size_t size = 0;
      ok = ParseNumber(value, size);
      headers.valueSize = size;
    } else if (key == "data-protocol-version") {
      ok = ParseNumber(value, headers.dataProtocolVersion);
    } else if (key == "max-buffer-length") {
      ok = ParseNumber(value, headers.maxBufferLength) && headers.maxBufferLength >= 0;
    }
    if (!ok) return std::nullopt;
  }
  return headers;
}

FeedTerms NegotiateFeed(const RequestLine& request, const std::optional<FeedHeaders>& headers,
                        std::string_view uid, ChannelFormat format) {
  // Only the binary protocol of 1.10 is spoken; 1.00's serialized archives are not.
  if (request.kind == RequestKind::LegacyStreamFeed || request.version < kProtocolVersion ||
      request.version / 100 != kProtocolVersion / 100)
    return Refusal("505 Version not supported");
  if (!request.uid.empty() && request.uid != uid) return Refusal("404 Not found");
  if (!headers) return Refusal("400 Bad request");
  if (headers->dataProtocolVersion < kProtocolVersion) return Refusal("505 Version not supported");
  if (format != ChannelFormat::String && headers->valueSize && *headers->valueSize != ValueSize(format))
    return Refusal("415 Value size not supported");
  if (IsFloatingPoint(format) && !headers->ieee754Floats) return Refusal("415 Non-IEEE754 floats not supported");

  FeedTerms terms;
  terms.accepted = true;
  terms.suppressSubnormals = IsFloatingPoint(format) && !headers->supportsSubnormals;
  // Samples go in this machine's little-endian order; an inlet of the other
  // order converts, as the header tells it to.
  terms.reply = "LSL/" + std::to_string(kProtocolVersion) + " 200 OK\r\nUID: " + std::string(uid) +
                "\r\nByte-Order: 1234\r\nSuppress-Subnormals: " + (terms.suppressSubnormals ? "1" : "0") +
                "\r\nData-Protocol-Version: " + std::to_string(kProtocolVersion) + "\r\n\r\n";
  return terms;
}

}  // namespace QVT::Lsl
