#include "StreamInfo.h"

#include <unistd.h>

#include <array>
#include <cstdio>
#include <random>
#include <sstream>

#include "Clock.h"
#include "Log.h"
#include "NumberText.h"

namespace QVT::Lsl {
namespace {

// Resolvers compare and parse these as text; the usual form is sixteen
// significant digits with the trailing zeros kept.
std::string FormatNumber(double value) { return NumberText("%#.16g", value); }

std::string NewUid() {
  std::random_device entropy;
  std::mt19937_64 generator((std::uint64_t{entropy()} << 32) ^ entropy());
  std::array<std::uint8_t, 16> bytes{};
  for (auto& byte : bytes) byte = static_cast<std::uint8_t>(generator());
  bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0f) | 0x40);  // version 4
  bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3f) | 0x80);  // RFC 4122 variant
  std::string uid;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) uid += '-';
    std::array<char, 3> hex{};
    std::snprintf(hex.data(), hex.size(), "%02x", bytes[i]);
    uid += hex.data();
  }
  return uid;
}

std::string ThisHost() {
  std::array<char, 256> name{};
  if (gethostname(name.data(), name.size() - 1) != 0) return "localhost";
  return name.data();
}

void AppendField(pugi::xml_node info, const char* field, const std::string& value) {
  // An empty value still gets its text node, so that it reads
  // <field></field> as resolvers write it.
  info.append_child(field).append_child(pugi::node_pcdata).set_value(value.c_str());
}

std::string PortField(IpFamily family, const char* port) {
  return std::string(family == IpFamily::V4 ? "v4" : "v6") + port;
}

std::string Serialize(const pugi::xml_document& document) {
  std::ostringstream out;
  document.save(out, "\t");
  return out.str();
}

}  // namespace

StreamInfo::StreamInfo(const StreamSettings& settings) : format(settings.format) {
  auto info = document.append_child("info");
  AppendField(info, "name", settings.name);
  AppendField(info, "type", settings.type);
  AppendField(info, "channel_count", std::to_string(settings.channelCount));
  AppendField(info, "channel_format", std::string(FormatName(settings.format)));
  AppendField(info, "source_id", settings.sourceId);
  AppendField(info, "nominal_srate", FormatNumber(settings.nominalRate));
  AppendField(info, "version", FormatNumber(1.1));
  AppendField(info, "created_at", FormatNumber(LocalClock()));
  AppendField(info, "uid", NewUid());
  AppendField(info, "session_id", "default");
  AppendField(info, "hostname", ThisHost());
  AppendField(info, "v4address", "");
  AppendField(info, "v4data_port", "0");
  AppendField(info, "v4service_port", "0");
  AppendField(info, "v6address", "");
  AppendField(info, "v6data_port", "0");
  AppendField(info, "v6service_port", "0");
  info.append_child("desc");
}

std::optional<StreamInfo> StreamInfo::Parse(std::string_view xml) {
  StreamInfo parsed;
  if (!parsed.document.load_buffer(xml.data(), xml.size())) return std::nullopt;
  auto info = parsed.root();
  const auto format = FormatNamed(info.child_value("channel_format"));
  if (!info || !format || parsed.ChannelCount() <= 0) return std::nullopt;
  parsed.format = *format;
  if (!info.child("desc")) info.append_child("desc");
  return parsed;
}

StreamInfo::StreamInfo(const StreamInfo& other) : format(other.format) { document.reset(other.document); }

StreamInfo& StreamInfo::operator=(const StreamInfo& other) {
  if (this != &other) {
    document.reset(other.document);
    format = other.format;
  }
  return *this;
}

std::string StreamInfo::text(const char* field) const { return root().child_value(field); }

std::string StreamInfo::Name() const { return text("name"); }
std::string StreamInfo::Type() const { return text("type"); }
std::string StreamInfo::SourceId() const { return text("source_id"); }
std::string StreamInfo::Uid() const { return text("uid"); }
std::string StreamInfo::SessionId() const { return text("session_id"); }
std::string StreamInfo::Hostname() const { return text("hostname"); }
int StreamInfo::ChannelCount() const { return root().child("channel_count").text().as_int(); }
double StreamInfo::NominalRate() const { return root().child("nominal_srate").text().as_double(); }
double StreamInfo::CreatedAt() const { return root().child("created_at").text().as_double(); }

std::uint16_t StreamInfo::DataPort(IpFamily family) const {
  return static_cast<std::uint16_t>(root().child(PortField(family, "data_port").c_str()).text().as_uint());
}

std::uint16_t StreamInfo::ServicePort(IpFamily family) const {
  return static_cast<std::uint16_t>(root().child(PortField(family, "service_port").c_str()).text().as_uint());
}

void StreamInfo::SetPorts(std::uint16_t dataPort, std::uint16_t servicePort, IpFamily family) {
  root().child(PortField(family, "data_port").c_str()).text().set(dataPort);
  root().child(PortField(family, "service_port").c_str()).text().set(servicePort);
}

std::string StreamInfo::FullInfo() const { return Serialize(document); }

std::string StreamInfo::ShortInfo() const {
  pugi::xml_document shortened;
  shortened.reset(document);
  auto info = shortened.child("info");
  info.remove_child("desc");
  info.append_child("desc");
  return Serialize(shortened);
}

bool StreamInfo::Matches(std::string_view query) const {
  const std::string path = "/info[" + std::string(query) + "]";
  try {
    const pugi::xpath_query compiled(path.c_str());
    return compiled.evaluate_boolean(document);
  } catch (const pugi::xpath_exception& error) {
    Log("ignoring a malformed query (" + std::string(error.what()) + "): " + std::string(query.substr(0, 200)));
  } catch (const std::bad_alloc&) {
    Log("ignoring a query too large to evaluate");
  }
  return false;
}

std::string QueryFor(std::string_view nameOrPredicate) {
  if (nameOrPredicate.find_first_of("='\"[]()<>") != std::string_view::npos) return std::string(nameOrPredicate);
  return "name='" + std::string(nameOrPredicate) + "'";
}

}  // namespace QVT::Lsl
