#include "EegStreams.h"

#include <cctype>
#include <cstdio>

#include "ElectrodePositions.h"
#include "StreamDescription.h"

namespace QVT::Publish {

namespace {

// The sphere the electrode positions are given on, about an adult head.
constexpr double kHeadRadiusMm = 85.0;

std::string Number(const char* format, double value) {
  char text[64];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

// Letters, digits and '-' only, so that the id reads the same everywhere.
std::string SourceId(const Session::SessionStart& start) {
  std::string id = "qvt-" + start.model + "-" + std::to_string(start.serialNumber);
  for (char& c : id)
    if (!std::isalnum(static_cast<unsigned char>(c)) && c != '-') c = '-';
  return id;
}

std::string TypeOf(const Session::ChannelPlan& channel) {
  switch (channel.kind) {
    case Session::ChannelKind::Electrode:
      return "EEG";
    case Session::ChannelKind::Trigger:
      return "TRG";
    case Session::ChannelKind::Count:
      break;
  }
  const bool accelerometer = channel.label.size() >= 3 && std::toupper(static_cast<unsigned char>(channel.label[0])) == 'A' &&
                             std::toupper(static_cast<unsigned char>(channel.label[1])) == 'C' &&
                             std::toupper(static_cast<unsigned char>(channel.label[2])) == 'C';
  return accelerometer ? "ACC" : "MISC";
}

// The impedance measured at start of the electrode a channel is named after.
const Tools::ElectrodeImpedance* ImpedanceOf(const Session::SessionStart& start, const std::string& label) {
  for (const Tools::ElectrodeImpedance& electrode : start.impedances)
    if (electrode.name == label && electrode.kOhm >= 0.0) return &electrode;
  return nullptr;
}

void DescribeChannels(pugi::xml_node desc, const Session::SessionStart& start) {
  for (const Session::ChannelPlan& channel : start.channels) {
    Lsl::ChannelDescription described{channel.label,
                                      channel.kind == Session::ChannelKind::Electrode ? "microvolts" : "counts",
                                      TypeOf(channel), std::nullopt};
    // Only an electrode channel named after its electrode has a place.
    if (channel.kind == Session::ChannelKind::Electrode)
      if (const auto at = Tools::PositionOfElectrode(channel.label))
        described.location = Lsl::ChannelLocation{at->x * kHeadRadiusMm, at->y * kHeadRadiusMm, at->z * kHeadRadiusMm};
    Lsl::AppendChannel(desc, described);
    if (const Tools::ElectrodeImpedance* measured = ImpedanceOf(start, channel.label))
      Lsl::AppendValue(desc.child("channels").last_child(), "impedance", Number("%.1f", measured->kOhm));
  }
}

}  // namespace

std::string StreamName(const Session::SessionStart& start, const std::string& name) {
  return name.empty() ? "qvt " + start.model + " " + std::to_string(start.serialNumber) : name;
}

Lsl::StreamInfo EegStream(const Session::SessionStart& start, const std::string& name) {
  Lsl::StreamInfo info({StreamName(start, name), "EEG", static_cast<int>(start.channels.size()),
                        Lsl::ChannelFormat::Float32, start.rate, SourceId(start)});
  pugi::xml_node desc = info.Desc();
  DescribeChannels(desc, start);
  Lsl::AppendGroup(desc, "reference", {{"label", start.reference}, {"subtracted", "Yes"}, {"common_average", "No"}});
  // precision: the bits the headset samples with (each electrode slot is a
  // signed 16-bit value on the link), not the float32 that carries them.
  Lsl::AppendGroup(desc, "acquisition",
                   {{"manufacturer", start.model},
                    {"model", start.model + " " + start.revision},
                    {"serial_number", std::to_string(start.serialNumber)},
                    {"firmware", start.firmware},
                    {"precision", "16"}});
  if (!start.impedances.empty()) {
    pugi::xml_node impedances = Lsl::AppendGroup(desc, "impedances", {{"unit", "kOhm"}, {"measured", "at start"}});
    for (const Tools::ElectrodeImpedance& electrode : start.impedances)
      if (electrode.kOhm >= 0.0 && !electrode.reference)
        Lsl::AppendGroup(impedances, "electrode", {{"label", electrode.name}, {"value", Number("%.1f", electrode.kOhm)}});
  }
  Lsl::AppendGroup(
      desc, "synchronization",
      {{"time_source", "acquisition"},
       {"stamps", "when each sample was taken: its place on the headset's sample count through a model of the "
                  "headset's clock against this computer's (rate and offset over a sliding window, the lower "
                  "envelope of the arrivals), never its arrival; a lost sample leaves a hole"},
       {"can_drop_samples", "true"},
       {"offset_mean", "0"}});
  return info;
}

Lsl::StreamInfo MarkerStream(const Session::SessionStart& start, const std::string& name) {
  return Lsl::StreamInfo(
      {StreamName(start, name) + " Markers", "Markers", 1, Lsl::ChannelFormat::String, 0.0, SourceId(start) + "-markers"});
}

}  // namespace QVT::Publish
