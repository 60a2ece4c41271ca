#include "protocol/Command.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "protocol/CRC16.h"

namespace {

using QVT::Command;
namespace Dest = QVT::CommandDestination;
namespace Family = QVT::CommandFamily;

std::vector<std::uint8_t> Packet(const Command& c) { return {c.Bytes(), c.Bytes() + c.Size()}; }

std::vector<std::uint8_t> Ramp(std::size_t n) {
  std::vector<std::uint8_t> v(n);
  for (std::size_t i = 0; i < n; ++i) v[i] = static_cast<std::uint8_t>(i + 1);
  return v;
}

TEST(Command, SignedPacketMatchesWireBytes) {
  const std::uint8_t payload[] = {3, 0};
  Command c;
  c.Init(Dest::Master, Family::LED, payload, 2);
  EXPECT_EQ(c.Sign(12), c.Bytes());
  // CRC 0x12F5 over 1E 0C 03 00, worked out independently of the library.
  EXPECT_EQ(Packet(c), (std::vector<std::uint8_t>{0x07, 0x01, 0xF5, 0x12, 0x1E, 0x0C, 0x03, 0x00}));
  EXPECT_EQ(c.Description(), "command 12: Master.LED( 03 00 )");

  // Re-signing takes the low byte of the ID and replaces the CRC.
  c.Init(Dest::Slave, Family::Echo, nullptr, 0);
  c.Sign(0x1FF);
  EXPECT_EQ(Packet(c), (std::vector<std::uint8_t>{0x05, 0x02, 0x0E, 0x6A, 0xEC, 0xFF}));
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
    const auto payload = Ramp(k.length);
    Command c;
    c.Init(Dest::Master, Family::CalibrationMemory, payload.data(), k.length);
    EXPECT_EQ(c.Bytes()[0], k.countByte) << "length " << k.length;
    EXPECT_EQ(c.Size(), k.size) << "length " << k.length;
    EXPECT_EQ(c.PayloadLength(), k.size - 6) << "length " << k.length;
    EXPECT_EQ(std::vector<std::uint8_t>(c.Payload(), c.Payload() + c.PayloadLength()),
              std::vector<std::uint8_t>(payload.begin(), payload.begin() + c.PayloadLength()));
    c.Sign(1);
    EXPECT_EQ(c.Bytes()[2] | c.Bytes()[3] << 8, QVT::CRC16(c.Bytes() + 4, c.Size() - 4));
  }
}

TEST(Command, RawInitKeepsBytesAndOddLengths) {
  const std::vector<std::uint8_t> raw{0x07, 0x01, 0xAA, 0xBB, 0x1E, 0x0C, 0x03, 0x00};
  Command c;
  c.MarkReply(true, true);
  c.Init(raw.data(), raw.size());
  EXPECT_FALSE(c.ReplyIsFinal() || c.ReplyRefused());
  EXPECT_EQ(Packet(c), raw);  // not re-signed
  EXPECT_EQ(c.PayloadLength(), 2u);

  const auto big = Ramp(300);
  c.Init(big.data(), big.size());
  EXPECT_EQ(c.Size(), 261u);
  EXPECT_EQ(c.PayloadLength(), 255u);
  EXPECT_EQ(Packet(c), std::vector<std::uint8_t>(big.begin(), big.begin() + 261));

  c.Init(raw.data(), 0);
  EXPECT_EQ(c.Size(), 0u);
  EXPECT_EQ(c.PayloadLength(), static_cast<std::uint64_t>(-6));
  // The wrapped length must neither read past the packet nor flood the log.
  c.Sign(3);
  EXPECT_EQ(c.Description(), "command 3: UnknownCommandDestination.UnknownCommandFamily()");
}

}  // namespace
