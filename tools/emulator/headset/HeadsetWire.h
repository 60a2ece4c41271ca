// The headset's side of the wire, written independently of the library: what
// a headset sends (blocks of packets) and how it reads what it is sent
// (command packets). Byte strings are std::string holding raw bytes.
//
// Nothing here uses the library's CRC, records or command class, so that a
// fault shared by the library and these helpers shows up in tests anchored
// on literal bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace QVT::testing {

// CRC-16/UMTS (polynomial 0x8005, initial 0, not reflected, no final XOR),
// computed bit by bit.
std::uint16_t WireCRC(std::string_view bytes);

std::string U16LE(unsigned value);
std::string U32LE(std::uint32_t value);

// The clock record every block carries: month, day, year - 2000, hour,
// minute, second.
struct WireClock {
  std::uint8_t month = 1, day = 1, year = 24, hour = 0, minute = 0, second = 0;
};

// A block around content, the bytes from offset 14 up to the end code (block
// number, clock record, packets, or anything a test wants to frame): "#2",
// the length, the time stamp, four unused bytes, the CRC of the content,
// the content and CR LF.
std::string FrameBlock(std::string_view content, std::uint32_t ticks = 0);

// A well-formed block: number, clock record and the packets back to back.
std::string EncodeBlock(std::uint16_t number, std::uint32_t ticks, const WireClock& clock,
                        std::string_view packets);

// One packet: length (header included), species, time stamp, body.
std::string EncodePacket(std::uint8_t species, std::uint32_t ticks, std::string_view body);

// Species 1 (from the Master) or 5 (from the Slave); code is the family
// answered or a status code.
std::string EncodeResponse(std::uint8_t species, std::uint8_t code, std::uint8_t commandID,
                           std::string_view payload, std::uint32_t ticks = 0);

// Species 2 (from the Master) or 6 (from the Slave).
std::string EncodeAlarm(std::uint8_t species, std::uint8_t alarm, std::uint8_t parameterFormat,
                        std::string_view parameters, std::uint32_t ticks = 0);

// A 56-byte data packet; body (trigger byte, then the slot values) is padded
// with zeros or cut to its 49 bytes.
std::string EncodeDataPacket(std::uint8_t sequenceNumber, std::string_view body, std::uint32_t ticks = 0);

// Species 4 with its subtype.
std::string EncodeExtendedData(std::uint8_t subtype, std::string_view body, std::uint32_t ticks = 0);

// One command packet as the headset reads it from the line.
struct WrittenCommand {
  bool prefixed = false;    // a "~" stood right before it
  std::size_t skipped = 0;  // bytes before it that began no command
  std::uint8_t destination = 0;
  std::uint8_t family = 0;
  std::uint8_t id = 0;
  std::string payload;
  std::string packet;  // the whole packet, from its count byte
  bool crcValid = false;
};

// Commands back to back, each perhaps behind a "~". A byte that cannot begin
// a command (a count below 5, a destination other than 1 or 2) is skipped and
// counted. Decoding stops at an incomplete command; consumed, when given,
// receives the number of bytes that were fully decoded or skipped.
std::vector<WrittenCommand> DecodeCommands(std::string_view bytes, std::size_t* consumed = nullptr);

}  // namespace QVT::testing
