// The wire vocabulary: checksum, code names, record layouts and command
// packets; and the test-side block framing, pinned to bytes written out by
// hand so that it can be trusted to judge the library.
#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <sstream>
#include <string>

#include "headset/HeadsetWire.h"
#include "protocol/CRC16.h"
#include "protocol/Codes.h"
#include "protocol/Command.h"
#include "protocol/WireRecords.h"

namespace {

using QVT::Command;
using namespace QVT::testing;
namespace Dest = QVT::CommandDestination;
namespace Family = QVT::CommandFamily;

std::string Literal(std::initializer_list<unsigned> bytes) {
  std::string s;
  for (const unsigned b : bytes) s += static_cast<char>(b);
  return s;
}

std::string Packet(const Command& c) { return {reinterpret_cast<const char*>(c.Bytes()), c.Size()}; }

std::string Ramp(std::size_t n) {
  std::string s;
  for (std::size_t i = 0; i < n; ++i) s += static_cast<char>(i + 1);
  return s;
}

// WireCRC shifts every bit through the polynomial and shares nothing with the
// library's table.
TEST(CRC16, AgreesWithTheCheckValueAndABitwiseReference) {
  EXPECT_EQ(QVT::CRC16("123456789", 9), 0xFEE8u);
  EXPECT_EQ(WireCRC("123456789"), 0xFEE8);
  EXPECT_EQ(QVT::CRC16(nullptr, 0), 0u);

  // Every byte value, in every register state the previous bytes leave.
  std::string bytes;
  for (unsigned i = 0; i < 1000; ++i) bytes += static_cast<char>(i * 97 + (i >> 3));
  EXPECT_EQ(QVT::CRC16(bytes.data(), bytes.size()), WireCRC(bytes));
}

// Codes are looked up whole: 0x1EC is no Echo.
TEST(Codes, UnlistedCodesHaveTheirOwnNames) {
  EXPECT_STREQ(QVT::ExtendedDataSubtypeName(4), "UnknownExtendedDataSubtype");
  EXPECT_STREQ(QVT::CommandFamilyName(0x1EC), "UnknownCommandFamily");
}

// Block reading meets the records at odd addresses and reads their fields.
TEST(WireRecords, LayoutMatchesTheWire) {
  std::ostringstream problems;
  QVT::CheckWireRecords(problems);
  EXPECT_EQ(problems.str(), "");
}

// The packet bytes are judged by the scripted headset, which checks every
// command's checksum; the Slave's name shows only here.
TEST(Command, SignedDescriptionTakesTheLowByteOfTheID) {
  Command c;
  c.Init(Dest::Slave, Family::Echo, nullptr, 0);
  c.Sign(0x1FF);
  EXPECT_EQ(c.Description(), "command 255: Slave.Echo()");
}

TEST(Command, LengthRules) {
  struct Case {
    unsigned long length;
    int countByte;
    std::uint64_t size;
  };
  for (const Case& k : {Case{0, 5, 6}, Case{250, 255, 256}, Case{251, 0, 257}, Case{255, 4, 261},
                        Case{256, 4, 261}, Case{300, 4, 261}}) {
    SCOPED_TRACE(k.length);
    const std::string payload = Ramp(k.length);
    Command c;
    c.Init(Dest::Master, Family::CalibrationMemory, payload.data(), k.length);
    c.Sign(1);
    EXPECT_EQ(c.Bytes()[0], k.countByte);
    EXPECT_EQ(c.Size(), k.size);
    EXPECT_EQ(Packet(c).substr(6), payload.substr(0, k.size - 6));
  }
}

TEST(Command, RawInitKeepsBytesAndOddLengths) {
  const std::string raw = Literal({0x07, 0x01, 0xAA, 0xBB, 0x1E, 0x0C, 0x03, 0x00});
  Command c;
  c.MarkReply(true, true);
  c.Init(raw.data(), raw.size());
  EXPECT_FALSE(c.ReplyIsFinal() || c.ReplyRefused());
  EXPECT_EQ(Packet(c), raw);  // not re-signed
  EXPECT_EQ(c.PayloadLength(), 2u);

  const std::string big = Ramp(300);
  c.Init(big.data(), big.size());
  EXPECT_EQ(Packet(c), big.substr(0, 261));
  EXPECT_EQ(c.PayloadLength(), 255u);

  c.Init(raw.data(), 0);
  EXPECT_EQ(c.Size(), 0u);
  EXPECT_EQ(c.PayloadLength(), static_cast<std::uint64_t>(-6));
  // The wrapped length must neither read past the packet nor flood the log.
  c.Sign(3);
  EXPECT_EQ(c.Description(), "command 3: UnknownCommandDestination.UnknownCommandFamily()");
}

// The packet encoders need no such check: the library's records are pinned to
// the wire above, and the encoders' packets must pass the library's decoding.
TEST(HeadsetWire, BlocksAreFramedByteForByte) {
  const std::string packet = EncodePacket(7, 2, "AB");
  EXPECT_EQ(packet, Literal({0x08, 0x07, 0x02, 0x00, 0x00, 0x00, 0x41, 0x42}));
  EXPECT_EQ(EncodeBlock(7, 1800, {3, 15, 24, 10, 30, 45}, packet),
            Literal({0x23, 0x32, 0x20, 0x00, 0x08, 0x07, 0x00, 0x00, 0x00, 0x00, 0x00,
                     0x00, 0xB3, 0x46, 0x07, 0x00, 0x03, 0x0F, 0x18, 0x0A, 0x1E, 0x2D,
                     0x08, 0x07, 0x02, 0x00, 0x00, 0x00, 0x41, 0x42, 0x0D, 0x0A}));
}

}  // namespace
