#include "EegStreams.h"

#include <gtest/gtest.h>

#include <string>

namespace QVT::Publish {
namespace {

using Session::ChannelKind;

Session::SessionStart Headset() {
  Session::SessionStart start;
  start.model = "Virtual Headset";
  start.revision = "R1";
  start.serialNumber = 42;
  start.rate = 600.0;
  start.reference = "M1/2+M2/2";
  start.channels = {{"Fp1-M1/2-M2/2", "Fp1", ChannelKind::Electrode, 0.1},
                    {"X1", "X1", ChannelKind::Electrode, 0.1},
                    {"TRG", "TRG", ChannelKind::Trigger, 0.0},
                    {"ACCX", "ACCX", ChannelKind::Count, 0.0}};
  start.impedances = {{"Fp1", 7.4, false}, {"M1", 0.0, true}};
  return start;
}

TEST(EegStreams, DescribeEveryChannelAndKeepTheirIdentityAcrossRestarts) {
  const Lsl::StreamInfo eeg = EegStream(Headset(), "");
  EXPECT_EQ(eeg.Name(), "qvt Virtual Headset 42");
  EXPECT_EQ(eeg.SourceId(), "qvt-Virtual-Headset-42");
  EXPECT_EQ(eeg.SourceId(), EegStream(Headset(), "other name").SourceId());
  EXPECT_EQ(eeg.ChannelCount(), 4);

  struct Expected {
    const char* label;
    const char* unit;
    const char* type;
    bool located;
    const char* impedance;
  };
  const Expected expected[] = {{"Fp1", "microvolts", "EEG", true, "7.4"},
                               {"X1", "microvolts", "EEG", false, ""},
                               {"TRG", "counts", "TRG", false, ""},
                               {"ACCX", "counts", "ACC", false, ""}};
  pugi::xml_node channel = eeg.Desc().child("channels").child("channel");
  for (const Expected& e : expected) {
    ASSERT_TRUE(channel) << e.label;
    EXPECT_STREQ(channel.child_value("label"), e.label);
    EXPECT_STREQ(channel.child_value("unit"), e.unit) << e.label;
    EXPECT_STREQ(channel.child_value("type"), e.type) << e.label;
    EXPECT_EQ(static_cast<bool>(channel.child("location")), e.located) << e.label;
    EXPECT_STREQ(channel.child_value("impedance"), e.impedance) << e.label;
    channel = channel.next_sibling("channel");
  }
  // Fp1 lies in front, left, on the ring through Fpz.
  const pugi::xml_node fp1 = eeg.Desc().child("channels").child("channel").child("location");
  EXPECT_LT(std::stod(fp1.child_value("X")), 0.0);
  EXPECT_GT(std::stod(fp1.child_value("Y")), 70.0);

  const Lsl::StreamInfo markers = MarkerStream(Headset(), "");
  EXPECT_EQ(markers.Name(), "qvt Virtual Headset 42 Markers");
  EXPECT_NE(markers.SourceId(), eeg.SourceId());
  EXPECT_EQ(markers.Format(), Lsl::ChannelFormat::String);
}

}  // namespace
}  // namespace QVT::Publish
