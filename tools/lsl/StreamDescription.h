// Filling a stream's <desc> the way recorders and analysis programs read it
// (the XDF meta-data conventions): channels/channel with label, unit, type
// and location; groups of named values such as reference or acquisition.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <pugixml.hpp>

namespace QVT::Lsl {

struct ChannelLocation {
  double x = 0.0, y = 0.0, z = 0.0;  // mm
};

struct ChannelDescription {
  std::string label;
  std::string unit;  // e.g. "microvolts"
  std::string type;  // e.g. "EEG", "TRG", "ACC"
  std::optional<ChannelLocation> location;
};

using NamedValues = std::vector<std::pair<std::string, std::string>>;

// Appends <name>value</name> under parent.
void AppendValue(pugi::xml_node parent, const std::string& name, const std::string& value);

// Appends one <channel> to desc's <channels>, making that on first use.
void AppendChannel(pugi::xml_node desc, const ChannelDescription& channel);

// Appends <group> under parent with one child per value, in order; returns
// the group so that nested groups can follow.
pugi::xml_node AppendGroup(pugi::xml_node parent, const std::string& group, const NamedValues& values);

}  // namespace QVT::Lsl
