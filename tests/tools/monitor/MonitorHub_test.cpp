#include "MonitorHub.h"

#include <gtest/gtest.h>

#include <chrono>
#include <regex>
#include <string>
#include <vector>

#include "RequestGuard.h"

namespace QVT::Monitor {
namespace {

using namespace std::chrono_literals;

std::string Joined(const std::vector<SharedText>& messages) {
  std::string text;
  for (const SharedText& m : messages) text += *m;
  return text;
}

std::vector<std::string> Bins(const std::string& text) {
  std::vector<std::string> found;
  static const std::regex bin(R"(event: signal\ndata: \{"bin":(\d+))");
  for (auto it = std::sregex_iterator(text.begin(), text.end(), bin); it != std::sregex_iterator(); ++it)
    found.push_back((*it)[1]);
  return found;
}

TEST(ClientQueue, ASlowPageLosesItsOldestMessagesCounted) {
  ClientQueue queue(3);
  for (int i = 0; i < 5; ++i) queue.Push(std::make_shared<const std::string>(std::to_string(i)));
  EXPECT_EQ(Joined(queue.Take(0ms)), "234");
  EXPECT_EQ(queue.Dropped(), 2u);
  queue.Close();
  queue.Push(std::make_shared<const std::string>("late"));
  EXPECT_TRUE(queue.Take(1s).empty());
}

TEST(MonitorHub, APageOpenedLaterGetsTheLatestStateFirst) {
  MonitorHub hub;
  hub.Begin({{"Fp1", Tools::PositionOfElectrode("Fp1"), 0, "uV"}, {"TRG", std::nullopt, 0, "counts"}}, 300);
  hub.ShowImpedances({{"Fp1", 12.5, false}, {"Pz", 0, true}}, true);
  hub.ShowImpedances({{"Fp1", 7.0, false}, {"Pz", 0, true}}, false);
  hub.ShowRecording({true, "qvt-1.bdf", 2048, ""});
  const std::string text = Joined(hub.Subscribe()->Take(0ms));
  EXPECT_EQ(text.find("event: setup"), 0u) << text;
  EXPECT_NE(text.find(R"("name":"TRG","unit":"counts","position":null)"), std::string::npos) << text;
  EXPECT_NE(text.find(R"({"running":false,"electrodes":[{"name":"Fp1","kOhm":7,)"), std::string::npos) << text;
  EXPECT_EQ(text.find("12.5"), std::string::npos) << text;
  EXPECT_NE(text.find(R"("file":"qvt-1.bdf","bytes":2048)"), std::string::npos) << text;
}

TEST(MonitorHub, SignalComesInTenthsWhoseBinsFollowOnAcrossGaps) {
  MonitorHub hub;
  auto page = hub.Subscribe();
  hub.Begin({{"Cz", std::nullopt, 0, "uV"}}, 600);
  const double value = 1.0;
  for (int k = 0; k < 120; ++k) hub.AddSample({&value, 1});
  hub.Skip(60);  // a tenth of a second lost
  for (int k = 0; k < 60; ++k) hub.AddSample({&value, 1});
  hub.Event("marker", "stim \"A\"");
  const std::string text = Joined(page->Take(0ms));
  EXPECT_EQ(Bins(text), (std::vector<std::string>{"0", "10", "30"})) << text;
  EXPECT_NE(text.find(R"({"kind":"marker","text":"stim \"A\"","bin":40})"), std::string::npos) << text;
}

TEST(RequestGuard, AnswersOnlyItsOwnNamesPageAndToken) {
  struct Case {
    const char* listen;
    const char* token;
    const char* host;
    const char* origin;
    const char* given;
    bool allowed;
  };
  const Case cases[] = {
      {"127.0.0.1", "", "127.0.0.1:8080", "", "", true},
      {"127.0.0.1", "", "localhost:8080", "http://localhost:8080", "", true},
      {"127.0.0.1", "", "[::1]:8080", "", "", true},
      {"127.0.0.1", "", "evil.example:8080", "", "", false},   // a rebound name
      {"127.0.0.1", "", "127.0.0.1:8081", "", "", false},
      {"127.0.0.1", "", "127.0.0.1:8080", "http://evil.example", "", false},  // another site
      {"127.0.0.1", "", "127.0.0.1:8080", "http://localhost:8080", "", false},
      {"127.0.0.1", "", "127.0.0.1:8080", "null", "", false},
      {"192.168.7.2", "s3cret", "192.168.7.2:8080", "", "s3cret", true},
      {"192.168.7.2", "s3cret", "192.168.7.2:8080", "", "s3cre", false},
      {"192.168.7.2", "s3cret", "localhost:8080", "", "s3cret", false},
      {"0.0.0.0", "s3cret", "lab-pc:8080", "http://lab-pc:8080", "s3cret", true},
      {"0.0.0.0", "s3cret", "lab-pc:8080", "", "", false},
  };
  for (const Case& c : cases)
    EXPECT_EQ(RequestGuard(c.listen, 8080, c.token).Refusal(c.host, c.origin, c.given).empty(), c.allowed)
        << c.listen << " " << c.host << " " << c.origin << " " << c.given;
  // The page's files load without the token, but only under the server's own name.
  EXPECT_TRUE(RequestGuard("192.168.7.2", 8080, "s3cret").Refusal("192.168.7.2:8080", "", "", true).empty());
  EXPECT_FALSE(RequestGuard("192.168.7.2", 8080, "s3cret").Refusal("evil:8080", "", "", true).empty());
  EXPECT_TRUE(IsLoopback("127.3.4.5"));
  EXPECT_FALSE(IsLoopback("128.0.0.1"));
}

}  // namespace
}  // namespace QVT::Monitor
