#include "StreamInfo.h"

#include <gtest/gtest.h>

#include "CapturedExchange.h"
#include "Log.h"
#include "StreamDescription.h"

namespace QVT::Lsl {
namespace {

// The captured outlet's stream, with the fields made at creation (uid, time,
// host) set to the captured values so that the bytes can be compared.
StreamInfo CapturedEEG() {
  StreamInfo info({"TestEEG", "EEG", 8, ChannelFormat::Float32, 100.0, "TestEEGEEG"});
  info.SetPorts(16572, 16572);
  auto root = info.Desc().parent();
  root.child("uid").text().set(Captured::kEEGUid);
  root.child("created_at").text().set(Captured::kEEGCreatedAt);
  root.child("hostname").text().set(Captured::kEEGHostname);
  AppendValue(info.Desc(), "manufacturer", "LSL");
  for (const char* label : Captured::kEEGLabels) AppendChannel(info.Desc(), {label, "microvolts", "EEG", {}});
  return info;
}

TEST(StreamInfo, ShortAndFullInfoAreTheCapturedBytes) {
  const auto info = CapturedEEG();
  EXPECT_EQ(info.ShortInfo(), Captured::EEGShortInfo());
  EXPECT_EQ(info.FullInfo(), Captured::EEGFullInfo());
}

TEST(StreamInfo, NewStreamsHaveTheirOwnUidAndAFreshCreationTime) {
  const StreamInfo a({"A", "EEG", 1, ChannelFormat::Float32, 250.0, "a"});
  const StreamInfo b({"A", "EEG", 1, ChannelFormat::Float32, 250.0, "a"});
  EXPECT_NE(a.Uid(), b.Uid());
  EXPECT_EQ(a.Uid().size(), 36u);
  EXPECT_GT(a.CreatedAt(), 0.0);
  EXPECT_EQ(a.SessionId(), "default");
  EXPECT_FALSE(a.Hostname().empty());
}

TEST(StreamInfo, ParsesWhatAnotherOutletAnnounces) {
  const auto info = StreamInfo::Parse(Captured::EEGFullInfo());
  ASSERT_TRUE(info);
  EXPECT_EQ(info->Name(), "TestEEG");
  EXPECT_EQ(info->Uid(), Captured::kEEGUid);
  EXPECT_EQ(info->ChannelCount(), 8);
  EXPECT_EQ(info->Format(), ChannelFormat::Float32);
  EXPECT_DOUBLE_EQ(info->NominalRate(), 100.0);
  EXPECT_EQ(info->DataPort(), 16572);

  for (const char* garbage : {"", "<info>", "<other/>", "<info><channel_format>float32</channel_format></info>",
                              "<info><channel_count>2</channel_count><channel_format>float128</channel_format></info>"})
    EXPECT_FALSE(StreamInfo::Parse(garbage)) << garbage;
}

TEST(StreamInfo, QueriesAreXPathPredicatesOverTheInfo) {
  std::vector<std::string> logged;
  SetLogSink([&](const std::string& line) { logged.push_back(line); });
  const auto info = CapturedEEG();
  const struct {
    std::string query;
    bool matches;
    bool logged;
  } cases[] = {
      {"session_id='default' and type='EEG'", true, false},
      {"name='TestEEG'", true, false},
      {"type='Markers'", false, false},
      {"channel_count > 4 and nominal_srate = 100", true, false},
      {"desc/channels/channel[label='Cz']", true, false},
      {"desc/channels/channel[label='Pz']", false, false},
      {"type='EEG", false, true},
      {"]", false, true},
      {"", false, true},
      {"name='TestEEG']|/info[1", true, false},
      {std::string(5000, '('), false, true},
  };
  for (const auto& c : cases) {
    logged.clear();
    EXPECT_EQ(info.Matches(c.query), c.matches) << c.query;
    EXPECT_EQ(!logged.empty(), c.logged) << c.query;
  }
  SetLogSink({});
}

TEST(StreamInfo, ABareNameIsAQueryForThatName) {
  EXPECT_EQ(QueryFor("qvt 32 1234"), "name='qvt 32 1234'");
  EXPECT_EQ(QueryFor("type='Markers'"), "type='Markers'");
}

}  // namespace
}  // namespace QVT::Lsl
