#include "protocol/CRC16.h"

namespace QVT {

static_assert(CRCTABLE[1] == 0x8005 && CRCTABLE[2] == 0x800F && CRCTABLE[3] == 0x000A);

unsigned CRC16(const void* data, unsigned long length) {
  const auto* bytes = static_cast<const std::uint8_t*>(data);
  unsigned crc = 0;
  for (unsigned long i = 0; i < length; ++i)
    crc = CRCTABLE[((crc >> 8) ^ bytes[i]) & 0xFF] ^ ((crc & 0xFF) << 8);
  return crc;
}

}  // namespace QVT
