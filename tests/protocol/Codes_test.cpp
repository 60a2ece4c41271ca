#include "protocol/Codes.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "protocol/WireRecords.h"

namespace {

TEST(Codes, Names) {
  EXPECT_STREQ(QVT::PacketSpeciesName(0), "Nop");
  EXPECT_STREQ(QVT::PacketSpeciesName(7), "Reserved7");
  EXPECT_STREQ(QVT::PacketSpeciesName(8), "UnknownPacketSpecies");
  EXPECT_STREQ(QVT::PacketSpeciesName(-1), "UnknownPacketSpecies");

  EXPECT_STREQ(QVT::ExtendedDataSubtypeName(20), "AccelerometerData");
  EXPECT_STREQ(QVT::ExtendedDataSubtypeName(4), "UnknownExtendedDataSubtype");

  EXPECT_STREQ(QVT::CommandDestinationName(1), "Master");
  EXPECT_STREQ(QVT::CommandDestinationName(0), "UnknownCommandDestination");

  EXPECT_STREQ(QVT::CommandFamilyName(0x12), "FirmwareRevision");
  EXPECT_STREQ(QVT::CommandFamilyName(0xEC), "Echo");
  // Status codes share the byte but have no family names.
  EXPECT_STREQ(QVT::CommandFamilyName(0x80), "UnknownCommandFamily");
  EXPECT_STREQ(QVT::CommandFamilyName(0x1EC), "UnknownCommandFamily");

  int named = 0;
  for (long code = 0; code < 256; ++code)
    named += std::string(QVT::CommandFamilyName(code)) != "UnknownCommandFamily";
  EXPECT_EQ(named, 17);
}

TEST(WireRecords, LayoutAndUnalignedFields) {
  std::ostringstream problems;
  QVT::CheckWireRecords(problems);
  EXPECT_EQ(problems.str(), "");

  // A header at an odd address, as packets lie inside a block.
  alignas(4) std::uint8_t block[9] = {0, 56, 3, 0x08, 0x07, 0x00, 0x00, 0xFE, 0xFF};
  const auto* header = reinterpret_cast<const QVT::PacketHeaderStruct*>(block + 1);
  EXPECT_EQ(header->length, 56);
  EXPECT_EQ(header->species, QVT::PacketSpecies::Data);
  EXPECT_EQ(header->Ticks(), 0x0708u);
  EXPECT_DOUBLE_EQ(header->Seconds(), 1.0);  // 1800 ticks
  EXPECT_EQ(QVT::ReadU16LE(block + 7), 0xFFFE);
  EXPECT_EQ(QVT::ReadI16LE(block + 7), -2);
  EXPECT_EQ(QVT::ReadU32LE(block + 5), 0xFFFE0000u);
}

}  // namespace
