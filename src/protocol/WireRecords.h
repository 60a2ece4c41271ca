// The byte layouts of the packets that arrive from the headset. The records are
// overlaid on the block buffer, where packets lie back to back at any address,
// so every field is a byte or a byte array: the records have no padding and no
// alignment, and multi-byte fields are read with the little-endian helpers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iosfwd>

namespace QVT {

// Wire time stamps count ticks of 1/1800 s.
inline constexpr double kSecondsPerTick = 0.0005555555555555556;

inline std::uint16_t ReadU16LE(const std::uint8_t* p) {
  std::uint8_t b[2];
  std::memcpy(b, p, sizeof b);
  return static_cast<std::uint16_t>(b[0] | (b[1] << 8));
}

inline std::int16_t ReadI16LE(const std::uint8_t* p) { return static_cast<std::int16_t>(ReadU16LE(p)); }

inline std::uint32_t ReadU32LE(const std::uint8_t* p) {
  std::uint8_t b[4];
  std::memcpy(b, p, sizeof b);
  return static_cast<std::uint32_t>(b[0]) | static_cast<std::uint32_t>(b[1]) << 8 |
         static_cast<std::uint32_t>(b[2]) << 16 | static_cast<std::uint32_t>(b[3]) << 24;
}

inline double TicksToSeconds(std::uint32_t ticks) { return ticks * kSecondsPerTick; }

// The start of every packet.
struct PacketHeaderStruct {
  std::uint8_t length;   // whole packet, header included
  std::uint8_t species;  // PacketSpecies::Code
  std::uint8_t ticks[4];

  std::uint32_t Ticks() const { return ReadU32LE(ticks); }
  double Seconds() const { return TicksToSeconds(Ticks()); }
};

// Sized for the longest packet a length byte can describe; only the first
// length bytes of an overlaid record are real.
inline constexpr std::size_t kLongestPacket = 255;

// Species ResponseFromMaster and ResponseFromSlave. Seven bytes or fewer are
// too short to interpret.
struct ResponsePacketStruct {
  PacketHeaderStruct header;
  std::uint8_t code;  // the family answered, or a ResponseStatus code
  std::uint8_t commandID;
  std::uint8_t payload[kLongestPacket - 8];
};

// Species AlarmFromMaster and AlarmFromSlave. Seven bytes or fewer are too
// short to interpret.
struct AlarmPacketStruct {
  PacketHeaderStruct header;
  std::uint8_t alarm;
  std::uint8_t parameterFormat;  // bit 7: two-byte parameters; bits 0-5: their count
  std::uint8_t parameters[kLongestPacket - 8];
};

inline constexpr std::size_t kDataPacketLength = 56;

// Species Data: one sample of every slot. Exactly kDataPacketLength bytes.
struct DataPacketStruct {
  PacketHeaderStruct header;
  std::uint8_t sequenceNumber;               // counts 0 to 255 and wraps
  std::uint8_t body[kDataPacketLength - 7];  // the trigger byte, then the raw slot values
};

// Species ExtendedData; the body behind the subtype depends on the subtype.
struct ExtendedDataHeaderStruct {
  PacketHeaderStruct header;
  std::uint8_t subtype;  // ExtendedDataSubtype::Code
};

// Accelerometer packets are never shorter than this.
inline constexpr std::size_t kMinimumAccelerometerPacketLength = 30;

// Writes one line for each record whose size or field offset differs from the
// wire layout; a sound build writes nothing.
void CheckWireRecords(std::ostream& problems);

}  // namespace QVT
