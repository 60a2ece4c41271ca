// A stream's identity and description, as resolvers and inlets see it: the
// <info> document, sent whole ("full info") or with an empty <desc /> ("short
// info", what discovery answers carry).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <pugixml.hpp>

#include "ChannelFormat.h"
#include "IpFamily.h"

namespace QVT::Lsl {

// What a program chooses about its stream; the rest is made by StreamInfo.
struct StreamSettings {
  std::string name;
  std::string type;
  int channelCount = 1;
  ChannelFormat format = ChannelFormat::Float32;
  double nominalRate = 0.0;  // Hz; 0 for an irregular stream such as markers
  std::string sourceId;      // stable across restarts, so inlets reconnect by it
};

class StreamInfo {
 public:
  // A new stream: a fresh uid, created now, in session "default", on this host.
  explicit StreamInfo(const StreamSettings& settings);
  // A stream someone else announced; nothing if the text is no <info> of a
  // known channel format and a positive channel count.
  static std::optional<StreamInfo> Parse(std::string_view xml);

  StreamInfo(const StreamInfo& other);
  StreamInfo& operator=(const StreamInfo& other);

  std::string Name() const;
  std::string Type() const;
  std::string SourceId() const;
  std::string Uid() const;
  std::string SessionId() const;
  std::string Hostname() const;
  int ChannelCount() const;
  ChannelFormat Format() const { return format; }
  double NominalRate() const;
  double CreatedAt() const;
  // 0 when the stream is not served over that family.
  std::uint16_t DataPort(IpFamily family = IpFamily::V4) const;
  std::uint16_t ServicePort(IpFamily family = IpFamily::V4) const;

  void SetPorts(std::uint16_t dataPort, std::uint16_t servicePort, IpFamily family = IpFamily::V4);

  // The <desc> element, for a program to describe channels, reference,
  // acquisition and so on (see StreamDescription.h).
  pugi::xml_node Desc() { return root().child("desc"); }
  pugi::xml_node Desc() const { return root().child("desc"); }

  std::string FullInfo() const;
  std::string ShortInfo() const;

  // Whether the info satisfies a resolver's query, an XPath predicate such as
  // "session_id='default' and type='EEG'". A malformed query matches nothing
  // and is logged.
  bool Matches(std::string_view query) const;

 private:
  StreamInfo() = default;
  pugi::xml_node root() const { return document.child("info"); }
  std::string text(const char* field) const;

  pugi::xml_document document;
  ChannelFormat format = ChannelFormat::Float32;
};

// A resolver query from what a user typed: a bare stream name becomes
// "name='...'", anything that reads as a predicate is kept as it is.
std::string QueryFor(std::string_view nameOrPredicate);

}  // namespace QVT::Lsl
