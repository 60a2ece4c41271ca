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

constexpr const char* kLinkGroupV6 = "ff02:113d:6fdd:2c17:a643:ffe2:1bd1:3cd2";
constexpr const char* kSiteGroupV6 = "ff05:113d:6fdd:2c17:a643:ffe2:1bd1:3cd2";

TEST(Discovery, StreamsAreFoundByQueryOverMulticastAndUnicastInBothFamilies) {
  const Outlet a(StreamInfo({"qvt A", "EEG", 4, ChannelFormat::Float32, 250.0, "A"}));
  const Outlet b(StreamInfo({"qvt B", "EEG", 4, ChannelFormat::Float32, 250.0, "B"}));
  const Outlet markers(StreamInfo({"qvt A Markers", "Markers", 1, ChannelFormat::String, 0.0, "A-markers"}));
  const auto peer = ResolveTargets::Peer(asio::ip::address_v4::loopback());
  const auto peerV6 = ResolveTargets::Peer(asio::ip::address_v6::loopback());
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
      {ResolveTargets::Multicast({kLinkGroupV6}), "type='EEG'", {"qvt A", "qvt B"}},
      {ResolveTargets::Multicast({kSiteGroupV6}), QueryFor("qvt A Markers"), {"qvt A Markers"}},
      {peerV6, "session_id='default'", {"qvt A", "qvt B", "qvt A Markers"}},
  };
  const bool ipv6 = Testing::HasIpv6();
  for (const auto& c : cases) {
    const auto family = FamilyOf(c.targets.endpoints.front().address());
    if (family == IpFamily::V6 && !ipv6) continue;
    const auto found = Resolve(c.query, c.targets, 300ms);
    EXPECT_EQ(NamesOf(found), c.found) << c.query << " at " << c.targets.endpoints.front();
    const std::set<std::uint16_t> ports{a.Info().DataPort(family), b.Info().DataPort(family),
                                        markers.Info().DataPort(family)};
    for (const auto& stream : found) {
      EXPECT_TRUE(stream.host.is_loopback()) << stream.host;
      EXPECT_EQ(FamilyOf(stream.host), family);
      EXPECT_TRUE(ports.contains(stream.info.DataPort(family)));
      EXPECT_EQ(stream.info.ServicePort(family), stream.info.DataPort(family));
    }
  }
  if (!ipv6) GTEST_SKIP() << "no IPv6 on this machine: its cases were left out";
}

TEST(Discovery, AnOutletOnEveryAddressJoinsTheGroupsOnEveryInterface) {
  OutletConfig everywhere;
  everywhere.listenAddress = "0.0.0.0";
  const Outlet outlet(StreamInfo({"qvt A", "EEG", 4, ChannelFormat::Float32, 250.0, "A"}), everywhere);
  for (const char* group : {"224.0.0.183", "239.255.172.215", kLinkGroupV6, kSiteGroupV6}) {
    if (asio::ip::make_address(group).is_v6() && !Testing::HasIpv6()) continue;
    EXPECT_EQ(NamesOf(Resolve("type='EEG'", ResolveTargets::Multicast({group}), 300ms)), std::set<std::string>{"qvt A"})
        << group;
  }
}

TEST(Discovery, InfoIsServedOverTcpInBothFamilies) {
  StreamInfo info({"qvt A", "EEG", 2, ChannelFormat::Float32, 250.0, "A"});
  info.Desc().append_child("reference").text().set("average");
  const Outlet outlet(info);
  const asio::ip::address v4 = asio::ip::address_v4::loopback(), v6 = asio::ip::address_v6::loopback();
  const struct {
    asio::ip::address host;
    std::string request;
    std::string reply;
  } cases[] = {
      {v4, "LSL:fullinfo\r\n", outlet.Info().FullInfo()},
      {v4, "LSL:shortinfo\r\ntype='EEG'\r\n", outlet.Info().ShortInfo()},
      {v4, "LSL:shortinfo\r\ntype='Markers'\r\n", ""},
      {v6, "LSL:fullinfo\r\n", outlet.Info().FullInfo()},
  };
  for (const auto& c : cases) {
    if (c.host.is_v6() && !Testing::HasIpv6()) continue;
    Testing::TcpPeer peer(outlet.Info().DataPort(FamilyOf(c.host)), 0, c.host);
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
