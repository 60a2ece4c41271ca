// The test-side encoders and decoder, pinned to byte strings written out by
// hand, so that they can be trusted to judge the library.
#include "headset/HeadsetWire.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>

#include "protocol/CRC16.h"

namespace {

using namespace QVT::testing;

std::string Literal(std::initializer_list<unsigned> bytes) {
  std::string s;
  for (const unsigned b : bytes) s += static_cast<char>(b);
  return s;
}

TEST(HeadsetWire, CRCMatchesTheCatalogueAndTheLibrary) {
  EXPECT_EQ(WireCRC("123456789"), 0xFEE8);
  EXPECT_EQ(WireCRC(""), 0);
  EXPECT_EQ(WireCRC(Literal({0x1E, 0x0C, 0x03, 0x00})), 0x12F5);
  const std::string sample = Literal({0x00, 0xFF, 0x80, 0x01, 0x7E, 0x0D, 0x0A, 0x23, 0x32});
  for (std::size_t n = 0; n <= sample.size(); ++n)
    EXPECT_EQ(WireCRC(sample.substr(0, n)), QVT::CRC16(sample.data(), n)) << n << " bytes";
}

TEST(HeadsetWire, BlockIsFramedByteForByte) {
  const WireClock clock{3, 15, 24, 10, 30, 45};
  const std::string packet = EncodePacket(7, 2, "AB");
  EXPECT_EQ(packet, Literal({0x08, 0x07, 0x02, 0x00, 0x00, 0x00, 0x41, 0x42}));
  EXPECT_EQ(EncodeBlock(7, 1800, clock, packet),
            Literal({0x23, 0x32, 0x20, 0x00, 0x08, 0x07, 0x00, 0x00, 0x00, 0x00, 0x00,
                     0x00, 0xB3, 0x46, 0x07, 0x00, 0x03, 0x0F, 0x18, 0x0A, 0x1E, 0x2D,
                     0x08, 0x07, 0x02, 0x00, 0x00, 0x00, 0x41, 0x42, 0x0D, 0x0A}));
}

TEST(HeadsetWire, PacketsCarryTheirLengthSpeciesAndTime) {
  EXPECT_EQ(EncodeResponse(5, 0xEC, 9, "Hi", 0x01020304),
            Literal({0x0A, 0x05, 0x04, 0x03, 0x02, 0x01, 0xEC, 0x09, 0x48, 0x69}));
  EXPECT_EQ(EncodeAlarm(2, 0x31, 0x81, Literal({0x34, 0x12})),
            Literal({0x0A, 0x02, 0x00, 0x00, 0x00, 0x00, 0x31, 0x81, 0x34, 0x12}));
  const std::string data = EncodeDataPacket(200, "\x01\x02", 5);
  ASSERT_EQ(data.size(), 56u);
  EXPECT_EQ(data.substr(0, 9), Literal({56, 3, 5, 0, 0, 0, 200, 1, 2}));
  EXPECT_EQ(data.substr(9), std::string(47, '\0'));
  EXPECT_EQ(EncodeExtendedData(20, "xyz"), Literal({10, 4, 0, 0, 0, 0, 20, 'x', 'y', 'z'}));
}

TEST(HeadsetWire, DecodesCommandsWithPrefixJunkAndBadCRC) {
  const std::string echo = Literal({0x07, 0x01, 0x61, 0x41, 0xEC, 0x03, 0x48, 0x69});
  const std::string query = Literal({0x05, 0x01, 0x00, 0x4E, 0x1D, 0x00});
  std::string corrupt = query;
  corrupt[2] = 0x01;
  std::size_t consumed = 0;
  const auto commands = DecodeCommands("~" + echo + query + '\0' + corrupt + "~\x07", &consumed);
  ASSERT_EQ(commands.size(), 3u);

  EXPECT_TRUE(commands[0].prefixed);
  EXPECT_EQ(commands[0].destination, 1);
  EXPECT_EQ(commands[0].family, 0xEC);
  EXPECT_EQ(commands[0].id, 3);
  EXPECT_EQ(commands[0].payload, "Hi");
  EXPECT_EQ(commands[0].packet, echo);
  EXPECT_TRUE(commands[0].crcValid);

  EXPECT_FALSE(commands[1].prefixed);
  EXPECT_EQ(commands[1].payload, "");
  EXPECT_TRUE(commands[1].crcValid);

  EXPECT_EQ(commands[2].skipped, 1u);  // the zero byte
  EXPECT_FALSE(commands[2].crcValid);
  // "~" and a count byte: the start of a command still on its way.
  EXPECT_EQ(consumed, 1 + echo.size() + query.size() + 1 + corrupt.size());
}

}  // namespace
