#include "Request.h"

#include <charconv>

namespace QVT::Lsl {
namespace {

constexpr std::string_view kStreamFeed = "LSL:streamfeed";
constexpr std::size_t kMaxQueryIdLength = 64;

template <typename Number>
bool ParseWhole(std::string_view text, Number& value) {
  const auto* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  return error == std::errc() && stop == end;
}

// Splits "first rest" at the first run of blanks.
std::pair<std::string_view, std::string_view> SplitWord(std::string_view text) {
  text = Trim(text);
  const auto blank = text.find_first_of(" \t");
  if (blank == std::string_view::npos) return {text, {}};
  return {text.substr(0, blank), Trim(text.substr(blank))};
}

Datagram ParseShortInfo(std::string_view body) {
  const auto [query, rest] = SplitLine(body);
  const auto [portText, idRest] = SplitWord(SplitLine(rest).first);
  const auto [queryId, extra] = SplitWord(idRest);
  ShortInfoQuery parsed;
  if (!ParseWhole(portText, parsed.returnPort) || parsed.returnPort == 0) return {};
  if (queryId.empty() || queryId.size() > kMaxQueryIdLength || !extra.empty()) return {};
  parsed.query = Trim(query);
  parsed.queryId = queryId;
  return parsed;
}

Datagram ParseTimeProbe(std::string_view body) {
  const auto [idText, rest] = SplitWord(SplitLine(body).first);
  const auto [timeText, extra] = SplitWord(rest);
  TimeProbe probe;
  if (!extra.empty() || !ParseWhole(idText, probe.waveId) || !ParseWhole(timeText, probe.sentAt)) return {};
  return probe;
}

}  // namespace

std::string_view Trim(std::string_view text) {
  const auto first = text.find_first_not_of(" \t\r\n");
  if (first == std::string_view::npos) return {};
  const auto last = text.find_last_not_of(" \t\r\n");
  return text.substr(first, last - first + 1);
}

std::pair<std::string_view, std::string_view> SplitLine(std::string_view text) {
  const auto newline = text.find('\n');
  if (newline == std::string_view::npos) return {text, {}};
  auto line = text.substr(0, newline);
  if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
  return {line, text.substr(newline + 1)};
}

RequestLine ParseRequestLine(std::string_view line) {
  line = Trim(line);
  if (line == "LSL:shortinfo") return {RequestKind::ShortInfo, 0, {}};
  if (line == "LSL:fullinfo") return {RequestKind::FullInfo, 0, {}};
  if (line == kStreamFeed) return {RequestKind::LegacyStreamFeed, 100, {}};
  if (!line.starts_with(kStreamFeed) || line.size() <= kStreamFeed.size() || line[kStreamFeed.size()] != '/')
    return {};
  const auto [method, uid] = SplitWord(line);
  RequestLine request{RequestKind::StreamFeed, 0, std::string(SplitWord(uid).first)};
  if (!ParseWhole(method.substr(kStreamFeed.size() + 1), request.version) || request.version <= 0) return {};
  return request;
}

Datagram ParseDatagram(std::string_view bytes) {
  const auto [method, body] = SplitLine(bytes);
  const auto name = Trim(method);
  if (name == "LSL:shortinfo") return ParseShortInfo(body);
  if (name == "LSL:timedata") return ParseTimeProbe(body);
  return {};
}

}  // namespace QVT::Lsl
