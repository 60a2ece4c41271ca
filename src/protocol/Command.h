// One command packet for the headset, as it is written to the serial port:
//
//   offset 0  count of the bytes after this one, (payload length + 5) mod 256
//   offset 1  destination (Master or Slave)
//   offset 2  CRC16 of offsets 4 to the end of the payload, low byte first
//   offset 4  command family
//   offset 5  command ID
//   offset 6  payload, 0 to 255 bytes
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "protocol/Codes.h"

namespace QVT {

class Command {
 public:
  static constexpr std::size_t kHeaderSize = 6;
  static constexpr std::size_t kMaxPayloadLength = 255;
  static constexpr std::size_t kMaxSize = kHeaderSize + kMaxPayloadLength;

  // Builds an unsigned packet. A payload of 256 bytes or more is cut to its
  // first 255. Byte 0 is kept modulo 256 even though it then wraps: 0 for a
  // 251-byte payload, 4 for a full one.
  void Init(CommandDestination::Code destination, CommandFamily::Code family, const void* payload,
            unsigned long length);

  // Takes an already formed packet as it is; nothing is re-signed. More than
  // kMaxSize bytes are cut to kMaxSize. The payload length is size - 6 even
  // when the packet is shorter than its header, and then wraps in the unsigned
  // field; such a packet describes itself without payload, and Sign never
  // reads past the bytes the command holds.
  void Init(const void* raw, unsigned long size);

  // Stores the low byte of id as the command ID and the CRC, and returns the
  // first byte of the packet, ready to be written.
  const std::uint8_t* Sign(int id);

  // "command 12: Master.LED( 03 00 )"; a command without payload ends in "()".
  std::string Description() const;

  const std::uint8_t* Bytes() const { return bytes.data(); }
  std::uint64_t Size() const { return size; }
  std::uint64_t PayloadLength() const { return payloadLength; }
  const std::uint8_t* Payload() const { return bytes.data() + kHeaderSize; }
  int Destination() const { return bytes[1]; }
  int Family() const { return bytes[4]; }
  int ID() const { return bytes[5]; }

  // The reply marker, cleared by Init and set when the headset answers: final
  // means the answer settles the command (no resend), refused that the headset
  // answered with a status code instead of data.
  void MarkReply(bool isFinal, bool isRefused) {
    replyFinal = isFinal;
    replyRefused = isRefused;
  }
  bool ReplyIsFinal() const { return replyFinal; }
  bool ReplyRefused() const { return replyRefused; }

 private:
  // The payload bytes that are really there: none when a short raw packet
  // left the length wrapped.
  std::size_t PresentPayloadLength() const;

  std::uint64_t payloadLength = 0;
  std::array<std::uint8_t, kMaxSize> bytes{};
  std::uint64_t size = 0;
  bool replyFinal = false;
  bool replyRefused = false;
};

// Command IDs run from 0 to 255 and wrap, but the headset never gets the ID 95:
// the numbering steps over it.
inline constexpr int kSkippedCommandID = 95;

struct CommandIDAssignment {
  int id;          // the ID to sign the command with
  bool skipped95;  // the counter stood on 95 and was moved past it; the caller may log it
};

// Takes the ID for the next command from the headset's counter and advances the
// counter to (id + 1) mod 256. The counter is plain data owned by the caller so
// that the caller decides how to report the skip.
CommandIDAssignment NextCommandID(int& counter);

}  // namespace QVT
