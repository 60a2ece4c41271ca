#include "protocol/Command.h"

#include <algorithm>
#include <cstring>

#include "protocol/CRC16.h"
#include "util/Text.h"

namespace QVT {
namespace {
constexpr std::size_t kCRCOffset = 2;
constexpr std::size_t kFamilyOffset = 4;
constexpr std::size_t kIDOffset = 5;
}  // namespace

void Command::Init(CommandDestination::Code destination, CommandFamily::Code family, const void* payload,
                   unsigned long length) {
  bytes.fill(0);
  payloadLength = std::min<std::uint64_t>(length, kMaxPayloadLength);
  bytes[0] = static_cast<std::uint8_t>((payloadLength + 5) % 256);
  size = payloadLength + kHeaderSize;
  if (payload && payloadLength) std::memcpy(bytes.data() + kHeaderSize, payload, payloadLength);
  bytes[1] = static_cast<std::uint8_t>(destination);
  bytes[kFamilyOffset] = static_cast<std::uint8_t>(family);
  MarkReply(false, false);
}

void Command::Init(const void* raw, unsigned long rawSize) {
  bytes.fill(0);
  if (rawSize > kMaxSize) {
    size = kMaxSize;
    payloadLength = kMaxPayloadLength;
  } else {
    size = rawSize;
    payloadLength = static_cast<std::uint64_t>(rawSize) - kHeaderSize;
  }
  if (raw && size) std::memcpy(bytes.data(), raw, size);
  MarkReply(false, false);
}

const std::uint8_t* Command::Sign(int id) {
  bytes[kIDOffset] = static_cast<std::uint8_t>(id & 0xFF);
  // The range is family, ID and payload. A short raw packet wraps that length;
  // never read past the bytes this command holds.
  const std::uint64_t covered = std::min<std::uint64_t>(payloadLength + 2, kMaxSize - kFamilyOffset);
  const unsigned crc = CRC16(bytes.data() + kFamilyOffset, covered);
  bytes[kCRCOffset] = static_cast<std::uint8_t>(crc & 0xFF);
  bytes[kCRCOffset + 1] = static_cast<std::uint8_t>((crc >> 8) & 0xFF);
  return bytes.data();
}

std::size_t Command::PresentPayloadLength() const {
  return payloadLength <= kMaxPayloadLength ? static_cast<std::size_t>(payloadLength) : 0;
}

std::string Command::Description() const {
  std::string text = "command " + std::to_string(ID()) + ": " + CommandDestinationName(Destination()) + "." +
                     CommandFamilyName(Family()) + "(";
  const std::size_t shown = PresentPayloadLength();
  if (shown) text += ' ';
  for (std::size_t i = 0; i < shown; ++i) text += HexString(Payload()[i], 2, true) + ' ';
  return text + ")";
}

CommandIDAssignment NextCommandID(int& counter) {
  CommandIDAssignment assignment{counter, false};
  if (assignment.id == kSkippedCommandID) {
    assignment.id = kSkippedCommandID + 1;
    assignment.skipped95 = true;
  }
  counter = static_cast<int>((static_cast<long long>(assignment.id) + 1) % 256);
  return assignment;
}

}  // namespace QVT
