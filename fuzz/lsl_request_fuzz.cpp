// What peers on the network can send an outlet or an inlet: the first byte
// picks the parser (request and feed handshake, datagram, resolver query,
// stream info, sample), the rest is its input.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "FeedNegotiation.h"
#include "Log.h"
#include "Request.h"
#include "SampleCodec.h"
#include "StreamInfo.h"

namespace {

const QVT::Lsl::StreamInfo& Stream() {
  static const QVT::Lsl::StreamInfo info = [] {
    QVT::Lsl::SetLogSink([](const std::string&) {});
    QVT::Lsl::StreamInfo made({"qvt 32 1", "EEG", 4, QVT::Lsl::ChannelFormat::Float32, 250.0, "qvt-1"});
    made.Desc().append_child("channels").append_child("channel").append_child("label").text().set("Cz");
    return made;
  }();
  return info;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace QVT::Lsl;
  const auto& info = Stream();
  if (size == 0) return 0;
  const std::string_view input(reinterpret_cast<const char*>(data) + 1, size - 1);
  switch (data[0] % 5) {
    case 0: {
      const auto [line, headers] = SplitLine(input);
      NegotiateFeed(ParseRequestLine(line), ParseFeedHeaders(headers), info.Uid(), info.Format());
      break;
    }
    case 1:
      ParseDatagram(input);
      break;
    case 2:
      info.Matches(input);
      break;
    case 3:
      if (const auto parsed = StreamInfo::Parse(input)) parsed->Matches("type='EEG'");
      break;
    case 4: {
      DecodedSample sample;
      std::size_t used = 0;
      const auto format = static_cast<ChannelFormat>(input.empty() ? 0 : static_cast<std::uint8_t>(input[0]) % 7);
      DecodeSample(input, format, 3, sample, used, 4096);
      break;
    }
  }
  return 0;
}
