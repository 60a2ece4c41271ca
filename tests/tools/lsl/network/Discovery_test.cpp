#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "Clock.h"
#include "Outlet.h"
#include "Peer.h"
#include "Resolver.h"

namespace QVT::Lsl {
namespace {

using namespace std::chrono_literals;

std::set<std::string> NamesOf(const std::vector<ResolvedStream>& streams) {
  std::set<std::string> names;
  for (const auto& stream : streams) names.insert(stream.info.Name());
  return names;
}

TEST(Discovery, StreamsAreFoundByQueryOverMulticastAndUnicast) {
  const Outlet a(StreamInfo({"qvt A", "EEG", 4, ChannelFormat::Float32, 250.0, "A"}));
  const Outlet b(StreamInfo({"qvt B", "EEG", 4, ChannelFormat::Float32, 250.0, "B"}));
  const Outlet markers(StreamInfo({"qvt A Markers", "Markers", 1, ChannelFormat::String, 0.0, "A-markers"}));
  const auto peer = ResolveTargets::Peer(asio::ip::address_v4::loopback());
  const struct {
    ResolveTargets targets;
    std::string query;
    std::set<std::string> found;
  } cases[] = {
      {ResolveTargets::Multicast({"224.0.0.183"}), "session_id='default' and type='EEG'", {"qvt A", "qvt B"}},
      {ResolveTargets::Multicast({"224.0.0.1"}), QueryFor("qvt A Markers"), {"qvt A Markers"}},
      {ResolveTargets::Multicast({"239.255.172.215"}), "session_id='default'", {"qvt A", "qvt B", "qvt A Markers"}},
      {peer, "type='EEG'", {"qvt A", "qvt B"}},
      {peer, QueryFor("qvt B"), {"qvt B"}},
      {peer, "type='EEG", {}},
  };
  for (const auto& c : cases) {
    const auto found = Resolve(c.query, c.targets, 300ms);
    EXPECT_EQ(NamesOf(found), c.found) << c.query << " at " << c.targets.endpoints.front();
    for (const auto& stream : found) {
      EXPECT_EQ(stream.host, asio::ip::address_v4::loopback());
      EXPECT_TRUE(stream.info.DataPort() == a.Port() || stream.info.DataPort() == b.Port() ||
                  stream.info.DataPort() == markers.Port());
    }
  }
}

TEST(Discovery, AnOutletOnEveryAddressJoinsTheGroupsOnEveryInterface) {
  OutletConfig everywhere;
  everywhere.listenAddress = "0.0.0.0";
  const Outlet outlet(StreamInfo({"qvt A", "EEG", 4, ChannelFormat::Float32, 250.0, "A"}), everywhere);
  for (const char* group : {"224.0.0.183", "239.255.172.215"})
    EXPECT_EQ(NamesOf(Resolve("type='EEG'", ResolveTargets::Multicast({group}), 300ms)), std::set<std::string>{"qvt A"})
        << group;
}

TEST(Discovery, InfoIsServedOverTcp) {
  StreamInfo info({"qvt A", "EEG", 2, ChannelFormat::Float32, 250.0, "A"});
  info.Desc().append_child("reference").text().set("average");
  const Outlet outlet(info);
  const struct {
    std::string request;
    std::string reply;
  } cases[] = {
      {"LSL:fullinfo\r\n", outlet.Info().FullInfo()},
      {"LSL:shortinfo\r\ntype='EEG'\r\n", outlet.Info().ShortInfo()},
      {"LSL:shortinfo\r\ntype='Markers'\r\n", ""},
  };
  for (const auto& c : cases) {
    Testing::TcpPeer peer(outlet.Port());
    peer.Send(c.request);
    std::string reply;
    EXPECT_TRUE(peer.ReadToEnd(reply)) << c.request;
    EXPECT_EQ(reply, c.reply) << c.request;
  }
  EXPECT_NE(outlet.Info().FullInfo().find("<reference>average</reference>"), std::string::npos);
}

TEST(Discovery, TimeProbesAreAnsweredWithTheClockOnArrivalAndDeparture) {
  const Outlet outlet(StreamInfo({"qvt A", "EEG", 2, ChannelFormat::Float32, 250.0, "A"}));
  const double before = LocalClock();
  const auto answer = Testing::ExchangeDatagram(outlet.Port(), "LSL:timedata\r\n1804289383 1149.647479473\r\n");
  const double after = LocalClock();
  long long wave = 0;
  double t0 = 0, t1 = 0, t2 = 0;
  ASSERT_EQ(std::sscanf(answer.c_str(), " %lld %lf %lf %lf", &wave, &t0, &t1, &t2), 4) << answer;
  EXPECT_EQ(wave, 1804289383);
  EXPECT_EQ(t0, 1149.647479473);
  EXPECT_LE(before, t1);
  EXPECT_LE(t1, t2);
  EXPECT_LE(t2, after);
}

}  // namespace
}  // namespace QVT::Lsl
