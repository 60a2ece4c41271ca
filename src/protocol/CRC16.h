// The checksum that protects every block from the headset and every command to
// it: CRC-16/UMTS (polynomial 0x8005, initial value 0, not reflected, no final
// XOR), computed a byte at a time through a table.
#pragma once

#include <array>
#include <cstdint>

namespace QVT {

namespace CRC16Detail {
inline constexpr std::uint16_t kPolynomial = 0x8005;

// Entry i is the register after shifting the byte i, most significant bit
// first, through the polynomial.
constexpr std::array<std::uint16_t, 256> MakeTable() {
  std::array<std::uint16_t, 256> table{};
  for (unsigned i = 0; i < table.size(); ++i) {
    unsigned crc = i << 8;
    for (int bit = 0; bit < 8; ++bit) crc = (crc & 0x8000) ? (crc << 1) ^ kPolynomial : crc << 1;
    table[i] = static_cast<std::uint16_t>(crc);
  }
  return table;
}
}  // namespace CRC16Detail

inline constexpr std::array<std::uint16_t, 256> CRCTABLE = CRC16Detail::MakeTable();

// The CRC of length bytes from data, in the low 16 bits; 0 for an empty range.
unsigned CRC16(const void* data, unsigned long length);

}  // namespace QVT
