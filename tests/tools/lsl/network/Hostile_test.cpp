#include <gtest/gtest.h>
#include <sys/resource.h>

#include <memory>
#include <vector>

#include "Log.h"
#include "Outlet.h"
#include "Peer.h"

namespace QVT::Lsl {
namespace {

using namespace std::chrono_literals;
using Testing::TcpPeer;

class Hostile : public ::testing::Test {
 protected:
  Hostile() {
    SetLogSink([this](const std::string& line) {
      std::lock_guard lock(mutex);
      logged.push_back(line);
    });
  }
  ~Hostile() override { SetLogSink({}); }

  bool Logged(const std::string& words) {
    return Testing::Eventually([&] {
      std::lock_guard lock(mutex);
      return std::any_of(logged.begin(), logged.end(),
                         [&](const std::string& line) { return line.find(words) != std::string::npos; });
    });
  }

  // The outlet still answers a plain request afterwards.
  void ExpectServing(const Outlet& outlet) {
    TcpPeer peer(outlet.Port());
    peer.Send("LSL:fullinfo\r\n");
    std::string info;
    EXPECT_TRUE(peer.ReadToEnd(info));
    EXPECT_EQ(info, outlet.Info().FullInfo());
  }

  std::mutex mutex;
  std::vector<std::string> logged;
};

TEST_F(Hostile, GarbageAndSilentPeersAreLoggedAndClosed) {
  OutletConfig config;
  config.requestTimeout = 300ms;
  const Outlet outlet(StreamInfo({"qvt A", "EEG", 8, ChannelFormat::Float32, 100.0, "A"}), config);
  const struct {
    std::string bytes;
    std::string logged;
  } cases[] = {
      {"GET / HTTP/1.1\r\n\r\n", "unknown request"},
      {std::string("\x00\xff\x16\x03\x01\r\n", 7), "unknown request"},
      {std::string(20000, 'L'), "too long"},
      {"LSL:streamfeed/110 x\r\n" + std::string(20000, 'h'), "too long"},
      {"", "no complete request"},
      {"LSL:shortinfo\r\n", "no complete request"},
  };
  for (const auto& c : cases) {
    {
      std::lock_guard lock(mutex);
      logged.clear();
    }
    TcpPeer peer(outlet.Port());
    if (!c.bytes.empty()) peer.Send(c.bytes);
    std::string reply;
    EXPECT_TRUE(peer.ReadToEnd(reply)) << c.logged;
    EXPECT_TRUE(Logged(c.logged)) << c.logged;
    std::this_thread::sleep_for(1100ms);  // past the log's one line a second
  }
  for (const char* datagram : {"", "LSL:shortinfo\r\n", "\xff\xfe garbage", "LSL:timedata\r\nx y\r\n"})
    EXPECT_EQ(Testing::ExchangeDatagram(outlet.Port(), datagram), "");
  EXPECT_EQ(Testing::ExchangeDatagram(outlet.Port(), "LSL:shortinfo\r\n((((\r\n16574 1\r\n"), "");
  ExpectServing(outlet);
}

TEST_F(Hostile, AThousandConnectionsAreCappedAndLeaveTheOutletServing) {
  OutletConfig config;
  config.requestTimeout = 500ms;
  const Outlet outlet(StreamInfo({"qvt A", "EEG", 8, ChannelFormat::Float32, 100.0, "A"}), config);
  // A thousand, or as many as this process may open beside the outlet's.
  rlimit files{};
  getrlimit(RLIMIT_NOFILE, &files);
  const auto count = std::min<rlim_t>(1000, files.rlim_cur - 200);
  std::vector<std::unique_ptr<TcpPeer>> peers;
  for (rlim_t i = 0; i < count; ++i) peers.push_back(std::make_unique<TcpPeer>(outlet.Port()));
  EXPECT_TRUE(Logged("refusing a connection"));
  peers.clear();
  ExpectServing(outlet);
}

}  // namespace
}  // namespace QVT::Lsl
