#include "protocol/CRC16.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace {

// Shifts every bit through the polynomial; shares nothing with the table.
unsigned BitwiseCRC(const std::vector<std::uint8_t>& bytes) {
  unsigned crc = 0;
  for (std::uint8_t b : bytes) {
    crc ^= static_cast<unsigned>(b) << 8;
    for (int bit = 0; bit < 8; ++bit) crc = ((crc & 0x8000) ? (crc << 1) ^ 0x8005 : crc << 1) & 0xFFFF;
  }
  return crc;
}

TEST(CRC16, KnownValues) {
  const char digits[] = "123456789";
  EXPECT_EQ(QVT::CRC16(digits, 9), 0xFEE8u);
  EXPECT_EQ(QVT::CRC16(digits, 0), 0u);
  EXPECT_EQ(QVT::CRC16(nullptr, 0), 0u);
}

TEST(CRC16, TableAgreesWithBitwiseReference) {
  for (unsigned i = 0; i < 256; ++i)
    EXPECT_EQ(QVT::CRCTABLE[i], BitwiseCRC({static_cast<std::uint8_t>(i)})) << "entry " << i;

  // Every byte value, in every register state the previous bytes leave.
  std::vector<std::uint8_t> bytes;
  for (unsigned i = 0; i < 1000; ++i) bytes.push_back(static_cast<std::uint8_t>(i * 97 + (i >> 3)));
  EXPECT_EQ(QVT::CRC16(bytes.data(), bytes.size()), BitwiseCRC(bytes));
}

}  // namespace
