#include "StreamDescription.h"

#include "NumberText.h"

namespace QVT::Lsl {
void AppendValue(pugi::xml_node parent, const std::string& name, const std::string& value) {
  parent.append_child(name.c_str()).append_child(pugi::node_pcdata).set_value(value.c_str());
}

void AppendChannel(pugi::xml_node desc, const ChannelDescription& channel) {
  auto channels = desc.child("channels");
  if (!channels) channels = desc.append_child("channels");
  auto node = channels.append_child("channel");
  AppendValue(node, "label", channel.label);
  AppendValue(node, "unit", channel.unit);
  AppendValue(node, "type", channel.type);
  if (channel.location)
    AppendGroup(node, "location",
                {{"X", NumberText("%.6g", channel.location->x)},
                 {"Y", NumberText("%.6g", channel.location->y)},
                 {"Z", NumberText("%.6g", channel.location->z)}});
}

pugi::xml_node AppendGroup(pugi::xml_node parent, const std::string& group, const NamedValues& values) {
  auto node = parent.append_child(group.c_str());
  for (const auto& [name, value] : values) AppendValue(node, name, value);
  return node;
}

}  // namespace QVT::Lsl
