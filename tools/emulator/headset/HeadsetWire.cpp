#include "headset/HeadsetWire.h"

#include <algorithm>

namespace QVT::testing {

namespace {
constexpr std::size_t kBlockFrameSize = 14 + 2;  // header and end code
constexpr std::size_t kCommandHeaderSize = 6;
constexpr std::size_t kDataBodySize = 49;
}  // namespace

std::uint16_t WireCRC(std::string_view bytes) {
  unsigned crc = 0;
  for (const char c : bytes) {
    crc ^= static_cast<unsigned>(static_cast<std::uint8_t>(c)) << 8;
    for (int bit = 0; bit < 8; ++bit) crc = (crc & 0x8000) ? (crc << 1) ^ 0x8005 : crc << 1;
    crc &= 0xFFFF;
  }
  return static_cast<std::uint16_t>(crc);
}

std::string U16LE(unsigned value) {
  return {static_cast<char>(value & 0xFF), static_cast<char>((value >> 8) & 0xFF)};
}

std::string U32LE(std::uint32_t value) { return U16LE(value & 0xFFFF) + U16LE(value >> 16); }

std::string FrameBlock(std::string_view content, std::uint32_t ticks) {
  std::string block = "#2";
  block += U16LE(static_cast<unsigned>(content.size() + kBlockFrameSize));
  block += U32LE(ticks);
  block += std::string(4, '\0');
  block += U16LE(WireCRC(content));
  block += content;
  block += "\r\n";
  return block;
}

std::string EncodeBlock(std::uint16_t number, std::uint32_t ticks, const WireClock& clock,
                        std::string_view packets) {
  std::string content = U16LE(number);
  for (const std::uint8_t field :
       {clock.month, clock.day, clock.year, clock.hour, clock.minute, clock.second})
    content += static_cast<char>(field);
  content += packets;
  return FrameBlock(content, ticks);
}

std::string EncodePacket(std::uint8_t species, std::uint32_t ticks, std::string_view body) {
  std::string packet(1, static_cast<char>(body.size() + 6));
  packet += static_cast<char>(species);
  packet += U32LE(ticks);
  packet += body;
  return packet;
}

std::string EncodeResponse(std::uint8_t species, std::uint8_t code, std::uint8_t commandID,
                           std::string_view payload, std::uint32_t ticks) {
  std::string body{static_cast<char>(code), static_cast<char>(commandID)};
  body += payload;
  return EncodePacket(species, ticks, body);
}

std::string EncodeAlarm(std::uint8_t species, std::uint8_t alarm, std::uint8_t parameterFormat,
                        std::string_view parameters, std::uint32_t ticks) {
  std::string body{static_cast<char>(alarm), static_cast<char>(parameterFormat)};
  body += parameters;
  return EncodePacket(species, ticks, body);
}

std::string EncodeDataPacket(std::uint8_t sequenceNumber, std::string_view body, std::uint32_t ticks) {
  std::string full(1, static_cast<char>(sequenceNumber));
  full += body.substr(0, kDataBodySize);
  full.resize(1 + kDataBodySize, '\0');
  return EncodePacket(3, ticks, full);
}

std::string EncodeExtendedData(std::uint8_t subtype, std::string_view body, std::uint32_t ticks) {
  std::string full(1, static_cast<char>(subtype));
  full += body;
  return EncodePacket(4, ticks, full);
}

std::vector<WrittenCommand> DecodeCommands(std::string_view bytes, std::size_t* consumed) {
  std::vector<WrittenCommand> commands;
  std::size_t position = 0;  // everything before it is decoded or skipped
  std::size_t skipped = 0;
  while (position < bytes.size()) {
    std::size_t start = position;
    const bool prefixed = bytes[start] == '~';
    if (prefixed) ++start;
    if (start >= bytes.size()) break;  // a prefix alone: wait for more
    const auto count = static_cast<std::uint8_t>(bytes[start]);
    const bool tooShort = count + 1u < kCommandHeaderSize;
    if (!tooShort && start + 2 > bytes.size()) break;  // cannot tell yet
    if (tooShort || (bytes[start + 1] != 1 && bytes[start + 1] != 2)) {
      ++position;
      ++skipped;
      continue;
    }
    const auto destination = static_cast<std::uint8_t>(bytes[start + 1]);
    const std::size_t size = count + 1u;
    if (start + size > bytes.size()) break;
    WrittenCommand command;
    command.prefixed = prefixed;
    command.skipped = skipped;
    command.packet = std::string(bytes.substr(start, size));
    command.destination = destination;
    command.family = static_cast<std::uint8_t>(command.packet[4]);
    command.id = static_cast<std::uint8_t>(command.packet[5]);
    command.payload = command.packet.substr(kCommandHeaderSize);
    const unsigned crc = static_cast<std::uint8_t>(command.packet[2]) |
                         static_cast<unsigned>(static_cast<std::uint8_t>(command.packet[3])) << 8;
    command.crcValid = crc == WireCRC(std::string_view(command.packet).substr(4));
    commands.push_back(std::move(command));
    position = start + size;
    skipped = 0;
  }
  if (consumed) *consumed = position;
  return commands;
}

}  // namespace QVT::testing
