#include "Request.h"

#include <gtest/gtest.h>

#include "CapturedExchange.h"
#include "FeedNegotiation.h"

namespace QVT::Lsl {
namespace {

TEST(Request, FirstLinesNameTheMethod) {
  const struct {
    const char* line;
    RequestKind kind;
    int version;
    const char* uid;
  } cases[] = {
      {"LSL:shortinfo\r\n", RequestKind::ShortInfo, 0, ""},
      {"LSL:fullinfo", RequestKind::FullInfo, 0, ""},
      {"LSL:streamfeed/110 bd8d6d38-ee0a\r\n", RequestKind::StreamFeed, 110, "bd8d6d38-ee0a"},
      {"LSL:streamfeed/110", RequestKind::StreamFeed, 110, ""},
      {"LSL:streamfeed", RequestKind::LegacyStreamFeed, 100, ""},
      {"LSL:streamfeed/", RequestKind::Unknown, 0, ""},
      {"LSL:streamfeed/abc x", RequestKind::Unknown, 0, ""},
      {"LSL:streamfeed/-5 x", RequestKind::Unknown, 0, ""},
      {"LSL:streamfeedx", RequestKind::Unknown, 0, ""},
      {"GET / HTTP/1.1", RequestKind::Unknown, 0, ""},
      {"", RequestKind::Unknown, 0, ""},
  };
  for (const auto& c : cases) {
    const auto request = ParseRequestLine(c.line);
    EXPECT_EQ(request.kind, c.kind) << c.line;
    EXPECT_EQ(request.version, c.version) << c.line;
    EXPECT_EQ(request.uid, c.uid) << c.line;
  }
}

TEST(Request, DatagramsAreQueriesOrTimeProbesOrNothing) {
  const auto query = ParseDatagram("LSL:shortinfo\r\nsession_id='default' and type='EEG'\r\n16574 9950725279836683897\r\n");
  ASSERT_TRUE(std::holds_alternative<ShortInfoQuery>(query));
  EXPECT_EQ(std::get<ShortInfoQuery>(query).query, "session_id='default' and type='EEG'");
  EXPECT_EQ(std::get<ShortInfoQuery>(query).returnPort, 16574);
  EXPECT_EQ(std::get<ShortInfoQuery>(query).queryId, "9950725279836683897");

  const auto probe = ParseDatagram("LSL:timedata\r\n1804289383 1149.647479473\r\n");
  ASSERT_TRUE(std::holds_alternative<TimeProbe>(probe));
  EXPECT_EQ(std::get<TimeProbe>(probe).waveId, 1804289383);
  EXPECT_DOUBLE_EQ(std::get<TimeProbe>(probe).sentAt, 1149.647479473);

  for (const char* garbage :
       {"", "LSL:shortinfo", "LSL:shortinfo\r\nq\r\n", "LSL:shortinfo\r\nq\r\n0 1\r\n", "LSL:shortinfo\r\nq\r\n70000 1",
        "LSL:shortinfo\r\nq\r\n16574\r\n", "LSL:shortinfo\r\nq\r\n16574 1 2\r\n", "LSL:timedata\r\n1\r\n",
        "LSL:timedata\r\nx 1.0\r\n", "LSL:timedata\r\n1 nan-ish\r\n", "LSL:fullinfo\r\n", "\xff\xfe\x00garbage"})
    EXPECT_TRUE(std::holds_alternative<std::monostate>(ParseDatagram(garbage))) << garbage;
}

TEST(FeedNegotiation, TheCapturedRequestGetsTheCapturedReply) {
  const auto [line, headers] = SplitLine(Captured::kEEGFeedRequest);
  const auto terms = NegotiateFeed(ParseRequestLine(line), ParseFeedHeaders(headers), Captured::kEEGUid,
                                   ChannelFormat::Float32);
  EXPECT_TRUE(terms.accepted);
  EXPECT_FALSE(terms.suppressSubnormals);
  EXPECT_EQ(terms.reply, Captured::kEEGFeedReply);
  EXPECT_EQ(ParseFeedHeaders(headers)->maxBufferLength, 36000);
}

TEST(FeedNegotiation, WhatCannotBeServedIsRefusedWithAStatus) {
  const std::string uid = "u-1";
  const struct {
    const char* line;
    const char* headers;
    ChannelFormat format;
    const char* status;
  } cases[] = {
      {"LSL:streamfeed", "", ChannelFormat::Float32, "LSL/110 505 "},
      {"LSL:streamfeed/100 u-1", "", ChannelFormat::Float32, "LSL/110 505 "},
      {"LSL:streamfeed/200 u-1", "", ChannelFormat::Float32, "LSL/110 505 "},
      {"LSL:streamfeed/110 u-2", "", ChannelFormat::Float32, "LSL/110 404 "},
      {"LSL:streamfeed/110 u-1", "Value-Size: 8\r\n", ChannelFormat::Float32, "LSL/110 415 "},
      {"LSL:streamfeed/110 u-1", "Has-IEEE754-Floats: 0\r\n", ChannelFormat::Double64, "LSL/110 415 "},
      {"LSL:streamfeed/110 u-1", "Max-Buffer-Length: lots\r\n", ChannelFormat::Float32, "LSL/110 400 "},
      {"LSL:streamfeed/110 u-1", "Data-Protocol-Version: 100\r\n", ChannelFormat::Float32, "LSL/110 505 "},
      {"LSL:streamfeed/110 u-1", "Value-Size: 32\r\nNo colon here\r\n", ChannelFormat::String, "LSL/110 200 "},
      {"LSL:streamfeed/110", "Supports-Subnormals: 0\r\n", ChannelFormat::Int32, "LSL/110 200 "},
  };
  for (const auto& c : cases) {
    const auto terms = NegotiateFeed(ParseRequestLine(c.line), ParseFeedHeaders(c.headers), uid, c.format);
    EXPECT_TRUE(terms.reply.starts_with(c.status)) << c.line << " / " << c.headers << ": " << terms.reply;
    EXPECT_EQ(terms.accepted, std::string_view(c.status).find(" 200 ") != std::string_view::npos) << c.line;
    EXPECT_FALSE(terms.suppressSubnormals);
  }
}

TEST(FeedNegotiation, SubnormalsAreSuppressedForFloatsWhenTheInletCannotTakeThem) {
  const auto terms = NegotiateFeed(ParseRequestLine("LSL:streamfeed/110"), ParseFeedHeaders("Supports-Subnormals: 0\r\n"),
                                   "u", ChannelFormat::Float32);
  EXPECT_TRUE(terms.suppressSubnormals);
  EXPECT_NE(terms.reply.find("Suppress-Subnormals: 1\r\n"), std::string::npos);
}

}  // namespace
}  // namespace QVT::Lsl
