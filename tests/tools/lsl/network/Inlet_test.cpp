#include "Inlet.h"

#include <gtest/gtest.h>

#include <cmath>
#include <thread>

#include "Outlet.h"
#include "Peer.h"

namespace QVT::Lsl {
namespace {

using namespace std::chrono_literals;

ResolvedStream Find(const std::string& query, const std::string& group = "224.0.0.183") {
  const auto found = Resolve(query, ResolveTargets::Multicast({group}), 300ms);
  if (found.size() != 1) throw std::runtime_error("expected one stream for " + query);
  return found.front();
}

TEST(Inlet, ReadsSamplesAndMarkersAsTheyWerePushed) {
  Outlet eeg(StreamInfo({"qvt A", "EEG", 3, ChannelFormat::Float32, 250.0, "A"}));
  Outlet markers(StreamInfo({"qvt A Markers", "Markers", 1, ChannelFormat::String, 0.0, "A-markers"}));
  Inlet eegInlet(Find(QueryFor("qvt A")));
  Inlet markerInlet(Find("type='Markers'"));
  ASSERT_TRUE(Testing::Eventually([&] { return eeg.Consumers() == 1 && markers.Consumers() == 1; }));

  eeg.PushChunk(std::vector<float>{1, 2, 3, 4, 5, 6}, std::vector<double>{10.0, 10.004});
  markers.PushMarker("TRG 5", 10.002);
  const auto first = eegInlet.Pull(2s), second = eegInlet.Pull(2s);
  const auto marker = markerInlet.Pull(2s);
  ASSERT_TRUE(first && second && marker);
  EXPECT_EQ(first->stamp, 10.0);
  EXPECT_EQ(second->numbers, (std::vector<double>{4, 5, 6}));
  EXPECT_EQ(second->stamp, 10.004);
  EXPECT_EQ(marker->strings, std::vector<std::string>{"TRG 5"});
  EXPECT_EQ(marker->stamp, 10.002);
  EXPECT_FALSE(eegInlet.Pull(50ms));
}

TEST(Inlet, TheTimeCorrectionOnOneMachineIsNearZeroInBothFamilies) {
  Outlet eeg(StreamInfo({"qvt A", "EEG", 1, ChannelFormat::Float32, 250.0, "A"}));
  std::vector<std::string> groups{"224.0.0.183"};
  if (Testing::HasIpv6()) groups.push_back("ff02:113d:6fdd:2c17:a643:ffe2:1bd1:3cd2");
  for (const auto& group : groups) {
    ASSERT_TRUE(Testing::Eventually([&] { return eeg.Consumers() == 0; })) << group;
    Inlet inlet(Find("type='EEG'", group));
    const auto correction = inlet.MeasureTimeCorrection();
    ASSERT_TRUE(correction) << group;
    EXPECT_LT(std::abs(correction->offset), correction->roundTrip / 2 + 1e-4) << group;
    EXPECT_GE(correction->roundTrip, 0.0);
    // A feed over the family it was found by.
    ASSERT_TRUE(Testing::Eventually([&] { return eeg.Consumers() == 1; })) << group;
    eeg.PushChunk(std::vector<float>{7}, std::vector<double>{20.0});
    const auto sample = inlet.Pull(2s);
    ASSERT_TRUE(sample) << group;
    EXPECT_EQ(sample->numbers, std::vector<double>{7});
  }
}

TEST(Inlet, RefusalsAndWrongTestPatternsAreErrors) {
  Outlet eeg(StreamInfo({"qvt A", "EEG", 2, ChannelFormat::Float32, 250.0, "A"}));
  auto stream = Find("type='EEG'");
  stream.info.Desc().parent().child("uid").text().set("another-stream");
  EXPECT_THROW(Inlet{stream}, InletError);

  // A sender whose samples read differently: its test pattern tells.
  asio::io_context io;
  asio::ip::tcp::acceptor fake(io, {asio::ip::address_v4::loopback(), 0});
  stream = Find("type='EEG'");
  stream.info.SetPorts(fake.local_endpoint().port(), fake.local_endpoint().port());
  std::thread sender([&] {
    auto peer = fake.accept();
    std::string request(4096, '\0');
    peer.read_some(asio::buffer(request));
    std::string reply = "LSL/110 200 OK\r\nByte-Order: 1234\r\n\r\n";
    AppendTestPattern(reply, ChannelFormat::Float32, 3);  // one channel too many
    asio::write(peer, asio::buffer(reply));
    std::this_thread::sleep_for(200ms);
  });
  EXPECT_THROW(Inlet(stream, {36000, 1000ms}), InletError);
  sender.join();
}

}  // namespace
}  // namespace QVT::Lsl
