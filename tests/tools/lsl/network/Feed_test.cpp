#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "../CapturedExchange.h"
#include "Outlet.h"
#include "Peer.h"
#include "SampleCodec.h"

namespace QVT::Lsl {
namespace {

using Testing::Eventually;
using Testing::TcpPeer;

// The captured inlet's request, for this outlet's uid.
std::string FeedRequest(const Outlet& outlet) {
  std::string request(Captured::kEEGFeedRequest);
  request.replace(request.find(Captured::kEEGUid), std::string_view(Captured::kEEGUid).size(), outlet.Info().Uid());
  return request;
}

std::string FeedReply(const Outlet& outlet) {
  std::string reply(Captured::kEEGFeedReply);
  reply.replace(reply.find(Captured::kEEGUid), std::string_view(Captured::kEEGUid).size(), outlet.Info().Uid());
  return reply;
}

void PushCapturedSamples(Outlet& outlet) {
  std::vector<float> values;
  for (const auto& sample : Captured::kEEGFirstValues) values.insert(values.end(), sample, sample + 8);
  outlet.PushChunk(values, Captured::kEEGFirstStamps);
}

TEST(Feed, AnInletGetsTheHandshakeTestPatternAndSamplesAsCaptured) {
  Outlet outlet(StreamInfo({"TestEEG", "EEG", 8, ChannelFormat::Float32, 100.0, "TestEEGEEG"}));
  TcpPeer inlet(outlet.Port());
  inlet.Send(FeedRequest(outlet));
  const auto expected = FeedReply(outlet) + Captured::EEGTestPattern();
  EXPECT_EQ(inlet.Read(expected.size()), expected);
  ASSERT_TRUE(Eventually([&] { return outlet.Consumers() == 1; }));
  PushCapturedSamples(outlet);
  EXPECT_EQ(inlet.Read(Captured::EEGFirstSamples().size()), Captured::EEGFirstSamples());
  inlet.Close();
  EXPECT_TRUE(Eventually([&] { return outlet.Consumers() == 0; }));
}

TEST(Feed, MarkersTravelAsCaptured) {
  Outlet outlet(StreamInfo({"TestMarkers", "Markers", 1, ChannelFormat::String, 0.0, "id23443"}));
  TcpPeer inlet(outlet.Port());
  inlet.Send("LSL:streamfeed/110 " + outlet.Info().Uid() + "\r\nValue-Size: 32\r\nSupports-Subnormals: 0\r\n\r\n");
  EXPECT_EQ(inlet.Read(FeedReply(outlet).size()), FeedReply(outlet));
  EXPECT_EQ(inlet.Read(Captured::MarkerTestPattern().size()), Captured::MarkerTestPattern());
  ASSERT_TRUE(Eventually([&] { return outlet.Consumers() == 1; }));
  for (int i = 0; i < 2; ++i) outlet.PushMarker(Captured::kMarkerTexts[i], Captured::kMarkerStamps[i]);
  EXPECT_EQ(inlet.Read(Captured::MarkerSamples().size()), Captured::MarkerSamples());
}

TEST(Feed, RequestsThatCannotBeServedGetAStatusAndAClose) {
  Outlet outlet(StreamInfo({"qvt A", "EEG", 8, ChannelFormat::Float32, 100.0, "A"}));
  const struct {
    std::string request;
    std::string status;
  } cases[] = {
      {"LSL:streamfeed\r\n360 0\r\n", "LSL/110 505 Version not supported\r\n"},
      {"LSL:streamfeed/110 not-this-stream\r\n\r\n", "LSL/110 404 Not found\r\n"},
      {"LSL:streamfeed/110 " + outlet.Info().Uid() + "\r\nValue-Size: 8\r\n\r\n", "LSL/110 415 "},
  };
  for (const auto& c : cases) {
    TcpPeer inlet(outlet.Port());
    inlet.Send(c.request);
    std::string reply;
    EXPECT_TRUE(inlet.ReadToEnd(reply)) << c.request;
    EXPECT_TRUE(reply.starts_with(c.status)) << c.request << " -> " << reply;
  }
  EXPECT_EQ(outlet.Consumers(), 0u);
}

TEST(Feed, AStalledConsumerLosesItsOldestSamplesAndHoldsUpNoOne) {
  OutletConfig config;
  config.maxQueuedSamples = 200;
  constexpr int kChannels = 32;
  constexpr std::size_t kSampleBytes = 9 + 4 * kChannels;
  Outlet outlet(StreamInfo({"qvt A", "EEG", kChannels, ChannelFormat::Float32, 100.0, "A"}), config);
  TcpPeer stalled(outlet.Port(), 4096), reader(outlet.Port());
  for (auto* inlet : {&stalled, &reader}) {
    inlet->Send("LSL:streamfeed/110 " + outlet.Info().Uid() + "\r\n\r\n");
    ASSERT_TRUE(inlet->Read(FeedReply(outlet).size() + 2 * kSampleBytes).starts_with("LSL/110 200 OK"));
  }
  ASSERT_TRUE(Eventually([&] { return outlet.Consumers() == 2; }));

  // Far more than the stalled peer's socket buffers and queue hold, in
  // chunks the reader keeps up with.
  constexpr int kChunks = 1000, kChunkSamples = 100;
  const std::vector<float> values(kChannels * kChunkSamples, 1.0f);
  std::vector<double> stamps(kChunkSamples);
  for (int chunk = 0; chunk < kChunks; ++chunk) {
    for (int i = 0; i < kChunkSamples; ++i) stamps[i] = chunk * kChunkSamples + i;
    outlet.PushChunk(values, stamps);
    const auto bytes = reader.Read(kSampleBytes * kChunkSamples);
    ASSERT_EQ(bytes.size(), kSampleBytes * kChunkSamples) << "chunk " << chunk;
    DecodedSample sample;
    std::size_t used = 0;
    ASSERT_EQ(DecodeSample(bytes.substr(bytes.size() - kSampleBytes), ChannelFormat::Float32, kChannels, sample, used),
              DecodeStatus::Complete);
    ASSERT_EQ(sample.stamp, stamps.back());
  }
  EXPECT_GT(outlet.SamplesDropped(), 0u);
  EXPECT_LT(outlet.SamplesDropped(), std::uint64_t{kChunks * kChunkSamples});
  // Reading again, it gets whole samples in order up to the last: the
  // pushing thread and the network thread took turns at its socket without
  // tearing a sample or sending one twice.
  double previous = -1.0;
  while (previous < stamps.back()) {
    const auto bytes = stalled.Read(kSampleBytes);
    DecodedSample sample;
    std::size_t used = 0;
    ASSERT_EQ(DecodeSample(bytes, ChannelFormat::Float32, kChannels, sample, used), DecodeStatus::Complete)
        << "after stamp " << previous;
    ASSERT_GT(sample.stamp, previous);
    previous = sample.stamp;
  }
  stalled.Close();
  EXPECT_TRUE(Eventually([&] { return outlet.Consumers() == 1; }));
}

}  // namespace
}  // namespace QVT::Lsl
