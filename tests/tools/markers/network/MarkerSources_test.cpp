// Marker sources on a private network: LSL outlets written here, UDP
// datagrams to loopback, both into one queue.
#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <optional>

#include "Clock.h"
#include "LslMarkerSource.h"
#include "Outlet.h"
#include "UdpMarkerSource.h"
#include "network/Peer.h"

namespace QVT::Markers {
namespace {

using namespace std::chrono_literals;
using Lsl::Testing::Eventually;

LslMarkerSettings Quick() {
  LslMarkerSettings settings;
  settings.resolveWait = 150ms;
  settings.searchGap = 100ms;
  settings.idleSearchGap = 300ms;
  return settings;
}

Lsl::StreamInfo MarkerStream(const std::string& name,
                             Lsl::ChannelFormat format = Lsl::ChannelFormat::String) {
  return Lsl::StreamInfo({name, "Markers", 1, format, 0.0, name + "-source"});
}

// Collects from the queue until count markers came or 5 s passed.
std::vector<Marker> Collect(MarkerQueue& queue, std::size_t count) {
  std::vector<Marker> all;
  const auto until = std::chrono::steady_clock::now() + 5s;
  while (all.size() < count && std::chrono::steady_clock::now() < until)
    for (auto& marker : queue.Take(50ms)) all.push_back(std::move(marker));
  return all;
}

void SendDatagram(std::uint16_t port, const std::string& text) {
  asio::io_context io;
  asio::ip::udp::socket socket(io, asio::ip::udp::endpoint(asio::ip::udp::v4(), 0));
  socket.send_to(asio::buffer(text), {asio::ip::address_v4::loopback(), port});
}

TEST(LslMarkers, StringAndNumericMarkersArriveWithTheirSendersStamps) {
  MarkerQueue queue;
  Lsl::Outlet words(MarkerStream("stim"));
  Lsl::Outlet numbers(MarkerStream("codes", Lsl::ChannelFormat::Float32));
  LslMarkerSource wordSource("stim", queue, Quick());
  LslMarkerSource numberSource("name='codes'", queue, Quick());
  ASSERT_TRUE(Eventually([&] { return words.Consumers() == 1 && numbers.Consumers() == 1; }));
  const double now = Lsl::LocalClock();
  words.PushMarker("trial 1 go", now - 0.5);
  numbers.PushChunk(std::vector<float>{17}, std::vector<double>{now - 0.25});
  const auto got = Collect(queue, 2);
  ASSERT_EQ(got.size(), 2u);
  for (const auto& marker : got) {
    const bool word = marker.source == "stim";
    EXPECT_EQ(marker.text, word ? "trial 1 go" : "17");
    // One machine: the correction is about nothing.
    EXPECT_NEAR(marker.time, word ? now - 0.5 : now - 0.25, 1e-3);
  }
}

TEST(LslMarkers, ASenderThatAppearsLateOrRestartsIsReadAgainAndOwnStreamsAreNot) {
  MarkerQueue queue;
  auto settings = Quick();
  settings.ignore = [](const Lsl::StreamInfo& info) { return info.SourceId() == "own-source"; };
  LslMarkerSource source("type='Markers'", queue, settings);
  Lsl::Outlet own(MarkerStream("own"));
  std::optional<Lsl::Outlet> sender(std::in_place, MarkerStream("stim"));
  ASSERT_TRUE(Eventually([&] { return sender->Consumers() == 1; }));
  sender->PushMarker("before restart", Lsl::LocalClock());
  own.PushMarker("ours", Lsl::LocalClock());
  ASSERT_EQ(Collect(queue, 1).size(), 1u);
  sender.reset();
  ASSERT_TRUE(Eventually([&] { return source.Connected() == 0; }));
  sender.emplace(MarkerStream("stim"));
  ASSERT_TRUE(Eventually([&] { return sender->Consumers() == 1; }));
  sender->PushMarker("after restart", Lsl::LocalClock());
  const auto got = Collect(queue, 1);
  ASSERT_EQ(got.size(), 1u);
  EXPECT_EQ(got[0].text, "after restart");
  EXPECT_EQ(own.Consumers(), 0u);
}

TEST(LslMarkers, TextsBeyondTheLimitAreCutAndCounted) {
  MarkerQueue queue;
  Lsl::Outlet sender(MarkerStream("stim"));
  LslMarkerSource source("stim", queue, Quick());
  ASSERT_TRUE(Eventually([&] { return sender.Consumers() == 1; }));
  sender.PushMarker(std::string(100000, 'x'), Lsl::LocalClock());
  const auto got = Collect(queue, 1);
  ASSERT_EQ(got.size(), 1u);
  EXPECT_EQ(got[0].text.size(), 65536u);
  EXPECT_EQ(queue.Counts().at("stim").cut, 1u);
}

TEST(UdpMarkers, EachDatagramIsOneMarkerStampedOnArrivalWhateverItsBytes) {
  MarkerQueue queue;
  UdpMarkerSource udp("127.0.0.1", 0, queue);
  const std::string binary("\x00\xff\x14\x15 stim", 9);
  const std::string longest(65507, 'y');  // the most one IPv4 datagram carries
  const double before = Lsl::LocalClock();
  for (const auto& text : {std::string("stim1\n"), binary, longest}) SendDatagram(udp.Port(), text);
  const auto got = Collect(queue, 3);
  ASSERT_EQ(got.size(), 3u);
  EXPECT_EQ(got[0].text, "stim1");
  EXPECT_EQ(got[1].text, binary);
  EXPECT_EQ(got[2].text, longest);
  EXPECT_EQ(got[0].source, udp.Source());
  EXPECT_GE(got[0].time, before);
  EXPECT_LE(got[2].time, Lsl::LocalClock());
}

TEST(UdpMarkers, AFloodCostsBoundedMemoryAndIsCounted) {
  MarkerQueue queue({1000, 1 << 20, 1 << 16});
  UdpMarkerSource udp("127.0.0.1", 0, queue);
  asio::io_context io;
  asio::ip::udp::socket sender(io, asio::ip::udp::endpoint(asio::ip::udp::v4(), 0));
  // Until the queue is full; the kernel may drop some on the way too.
  for (int i = 0; i < 200000 && queue.Counts().at(udp.Source()).dropped == 0; ++i)
    sender.send_to(asio::buffer("m" + std::to_string(i)), {asio::ip::address_v4::loopback(), udp.Port()});
  EXPECT_EQ(queue.Counts().at(udp.Source()).received, 1000u);
  EXPECT_EQ(queue.Take().size(), 1000u);
}

TEST(Markers, LslAndUdpTogetherKeepEachSendersOrder) {
  MarkerQueue queue;
  Lsl::Outlet sender(MarkerStream("stim"));
  LslMarkerSource lsl("stim", queue, Quick());
  UdpMarkerSource udp("127.0.0.1", 0, queue);
  ASSERT_TRUE(Eventually([&] { return sender.Consumers() == 1; }));
  for (int i = 0; i < 200; ++i) {
    sender.PushMarker(std::to_string(i), Lsl::LocalClock());
    SendDatagram(udp.Port(), std::to_string(i));
  }
  const auto got = Collect(queue, 400);
  ASSERT_EQ(got.size(), 400u);
  std::map<std::string, int> next;
  for (const auto& marker : got)
    EXPECT_EQ(marker.text, std::to_string(next[marker.source]++)) << marker.source;
  EXPECT_EQ(next["stim"], 200);
  EXPECT_EQ(next[udp.Source()], 200);
}

}  // namespace
}  // namespace QVT::Markers
