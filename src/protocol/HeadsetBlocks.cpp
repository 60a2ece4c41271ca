// Reading framed blocks from the link, cutting them into packets and handing
// each packet to its handler; regaining the block boundary after damage.
#include <cstdint>
#include <cstring>
#include <string>

#include "core/Headset.h"
#include "protocol/CRC16.h"
#include "util/DataStreamError.h"
#include "util/Text.h"

namespace QVT {

namespace {

constexpr std::size_t kHeaderSize = 14;
constexpr std::size_t kTimeOffset = 4;
constexpr std::size_t kCRCOffset = 12;
constexpr std::size_t kNumberOffset = 14;
constexpr std::size_t kClockOffset = 16;
constexpr std::size_t kPacketsOffset = 22;
constexpr std::uint16_t kStartCode = 0x3223;  // "#2"
constexpr std::uint16_t kEndCode = 0x0A0D;    // CR LF
// The packet loop stops once this many bytes or fewer are left: such a tail
// is never taken for a packet.
constexpr std::uint64_t kShortestDecodableTail = 6;
constexpr double kReceiveTimeout = 0.5;
// How far a packet that starts inside the block can reach past its end.
constexpr std::size_t kLongestOvershoot = 256;
// One resynchronisation gives up after this many bytes without CR LF and
// leaves the rest to the next read, so a babbling link cannot hold the read
// lock for ever.
constexpr std::size_t kResynchronizationByteLimit = 65536;
// The one frame error found after the block's own CR LF was read where it
// belongs: the next block starts right behind it.
constexpr char kFailedCheck[] = "Block failed consistency check.";

bool NoLink(const SerialConnection& serial) { return !serial.IsOpen() && serial.SimulatedInput() == nullptr; }

}  // namespace

bool Headset::TryToReadBlock() {
  const bool read = ReadNextBlock();
  // Told once the read lock is free again, so that a woken wait finds
  // nothing held.
  if (read) waitSignal.Notify();
  return read;
}

bool Headset::ReadNextBlock() {
  std::lock_guard<OwnedMutex> lock(readLock);
  if (resynchronizationNeeded && !Resynchronize()) return false;
  const char* frameError = nullptr;
  const int read = ReadCheckedBlock(frameError);
  if (read == 0) return false;
  if (read < 0) {
    if (WouldIssue(2)) IssueMessage(std::string(frameError) + " - resynchronizing...", 2);
    // The last two bytes read already hold the end code of a block that kept
    // its frame, so the scan for CR LF is over before it starts: only that
    // block is lost, not the one behind it as well.
    if (frameError == kFailedCheck) {
      expectedBlockNumber = -1;
      expectedSequenceNumber = -1;
    } else if (!Resynchronize()) {
      return false;
    }
  }
  lastDataTime.store(serial.Elapsed());
  return true;
}

int Headset::ReadBlock() {
  const char* frameError = nullptr;
  const int read = ReadCheckedBlock(frameError);
  if (read < 0) throw DataStreamError(frameError);
  return read;
}

int Headset::ReadCheckedBlock(const char*& frameError) {
  // A bad block is its error text and -1.
  const auto refuse = [&frameError](const char* text) {
    frameError = text;
    return -1;
  };
  if (NoLink(serial))
    throw std::string("Cannot read from headset: serial-port connection not yet established.");
  std::uint8_t* const block = blockBuffer.data();

  const int headerBytes = serial.Receive(block, kHeaderSize, kReceiveTimeout);
  if (headerBytes == 0) return 0;
  if (headerBytes < static_cast<int>(kHeaderSize)) return refuse("Block header ended prematurely.");
  if (headerBytes > static_cast<int>(kHeaderSize)) return refuse("Block header contained too much data.");
  if (ReadU16LE(block) != kStartCode) return refuse("Block did not start with the expected code.");

  const unsigned length = ReadU16LE(block + 2);
  if (length > kMaxBlockLength) return refuse("Headset wants to send too much data.");
  // Compared unsigned on purpose: a length field below 14 makes the body size
  // negative, passes here and fails on the body read below.
  const std::int32_t bodySize = static_cast<std::int32_t>(length) - static_cast<std::int32_t>(kHeaderSize);
  if (static_cast<std::uint64_t>(static_cast<std::int64_t>(bodySize)) <= 7)
    return refuse("Headset wants to send too little data.");

  // A negative body size asks for more than the buffer holds; never read more
  // than fits, which ends the same way: fewer bytes than asked.
  constexpr std::size_t kBodyRoom = kMaxBlockLength - kHeaderSize;
  const std::size_t asked = bodySize > 0 ? static_cast<std::size_t>(bodySize) : SIZE_MAX;
  const std::size_t request = asked < kBodyRoom ? asked : kBodyRoom;
  const int bodyBytes = serial.Receive(block + kHeaderSize, request, kReceiveTimeout);
  if (static_cast<std::size_t>(bodyBytes) < asked) return refuse("Block body ended prematurely");
  if (static_cast<std::size_t>(bodyBytes) > asked) return refuse("Block body contained too much data");

  if (ReadU16LE(block + length - 2) != kEndCode)
    return refuse("Block did not terminate with the expected code.");
  if (CRC16(block + kHeaderSize, static_cast<unsigned long>(bodySize - 2)) != ReadU16LE(block + kCRCOffset))
    return refuse(kFailedCheck);
  // A packet whose length byte reaches past the block reads the slack behind
  // it; zeros there, never what an earlier block left.
  static_assert(kMaxBlockLength + kLongestOvershoot <= sizeof blockBuffer);
  std::memset(block + length, 0, kLongestOvershoot);

  const int blockNumber = ReadU16LE(block + kNumberOffset);
  if (expectedBlockNumber >= 0 && expectedBlockNumber != blockNumber && WouldIssue(3))
    IssueMessage("Block " + std::to_string(blockNumber) + " arrived out of order (expected " +
                     std::to_string(expectedBlockNumber) + ").",
                 3);
  expectedBlockNumber = (blockNumber + 1) % 65536;

  blockClock.Set(reinterpret_cast<const RealTimeClockStruct*>(block + kClockOffset));
  if (WouldIssue(6)) IssueMessage(PythonString(block, length - 2, true), 6);

  // The packet area runs from offset 22 to the end code. Its length is tested
  // unsigned, so a block of 22 or 23 bytes (length -2 or -1) still decodes at
  // offset 22. A packet may claim more bytes than are left: that overshoot is
  // reported, and the loop then stops at the end of the block rather than
  // wander into the bytes behind it.
  const std::size_t packetAreaEnd = length - 2;
  std::int32_t remaining = bodySize - 10;
  std::size_t position = kPacketsOffset;
  int decoded = 0;
  const double blockTime = TicksToSeconds(ReadU32LE(block + kTimeOffset));
  if (static_cast<std::uint64_t>(static_cast<std::int64_t>(remaining)) > kShortestDecodableTail) {
    do {
      const unsigned n = DecodePacket(reinterpret_cast<PacketHeaderStruct*>(block + position), blockTime);
      if (n != 0) {
        position += n;
        remaining -= static_cast<std::int32_t>(n);
        ++decoded;
      } else {
        if (block[position] != 0) break;
        ++position;  // padding
        --remaining;
      }
    } while (static_cast<std::uint64_t>(static_cast<std::int64_t>(remaining)) > kShortestDecodableTail &&
             position < packetAreaEnd);
  }

  if (WouldIssue(4))
    IssueMessage(
        "Decoded " + std::to_string(decoded) + " packet(s) from block " + std::to_string(blockNumber), 4);
  if (remaining > 0 && WouldIssue(3)) {
    IssueMessage(std::to_string(remaining) + " bytes left over in block " + std::to_string(blockNumber) +
                     " after decoding " + std::to_string(decoded) + " packets: " +
                     PythonString(block + position, static_cast<unsigned long>(remaining), true),
                 3);
  } else if (remaining < 0 && WouldIssue(1)) {
    IssueMessage(
        "Packet decoder overshot by " + std::to_string(-static_cast<std::int64_t>(remaining)) + " bytes.", 1);
  }
  return 1;
}

bool Headset::Resynchronize() {
  if (NoLink(serial)) throw std::string("Cannot resynchronize: serial connection is not open.");
  expectedBlockNumber = -1;
  expectedSequenceNumber = -1;
  // The last two bytes, newest in the high half.
  std::uint16_t lastTwo = 0;
  for (std::size_t skipped = 0;; ++skipped) {
    std::uint8_t byte = 0;
    // Not between a carriage return and its line feed: the next attempt
    // starts afresh and would miss that boundary.
    const bool giveUp = skipped > kResynchronizationByteLimit ||
                        (skipped == kResynchronizationByteLimit && (lastTwo >> 8) != '\r');
    if (giveUp || serial.Receive(&byte, 1, kReceiveTimeout) == 0) {
      resynchronizationNeeded = true;
      return false;
    }
    lastTwo = static_cast<std::uint16_t>((lastTwo >> 8) | (byte << 8));
    if (lastTwo == kEndCode) {
      resynchronizationNeeded = false;
      return true;
    }
  }
}

unsigned Headset::DecodePacket(PacketHeaderStruct* packet, double blockTime) {
  const double packetTime = packet->Seconds();
  const int species = packet->species;
  switch (species) {
    case PacketSpecies::ResponseFromMaster:
    case PacketSpecies::ResponseFromSlave:
      ProcessResponse(*reinterpret_cast<ResponsePacketStruct*>(packet), blockTime, packetTime);
      break;
    case PacketSpecies::AlarmFromMaster:
    case PacketSpecies::AlarmFromSlave:
      ProcessAlarm(*reinterpret_cast<AlarmPacketStruct*>(packet), blockTime, packetTime);
      break;
    case PacketSpecies::Data:
      ProcessData(*reinterpret_cast<DataPacketStruct*>(packet), blockTime, packetTime);
      break;
    case PacketSpecies::ExtendedData:
      ProcessExtendedData(*reinterpret_cast<ExtendedDataHeaderStruct*>(packet), blockTime, packetTime);
      break;
    default:
      if (WouldIssue(3))
        IssueMessage("Ignoring packet of species 0x" + HexString(species, 2, true) + " (" +
                         PacketSpeciesName(species) + ").",
                     3);
      break;
  }
  return packet->length;
}

void Headset::FeedFakeData(const void* bytes, unsigned long count) {
  if (bytes == nullptr || count == 0) return;
  std::lock_guard<OwnedMutex> lock(readLock);
  SerialConnection::ByteQueue* queue = serial.SimulatedInput();
  if (queue == nullptr) return;
  const auto* first = static_cast<const std::uint8_t*>(bytes);
  queue->insert(queue->end(), first, first + count);
}

std::string Headset::NullTerminatedString(const void* bytes, std::size_t size) const {
  const auto* text = static_cast<const char*>(bytes);
  const void* zero = std::memchr(text, 0, size);
  if (zero == nullptr) return std::string(text, size);
  // Reported whenever the text ends before its field does, padding included.
  if (WouldIssue(3))
    const_cast<Headset*>(this)->IssueMessage(  // a plain message changes no state
        "QVT message overflow - extraneous bytes received in " + PythonString(bytes, size, true), 3);
  return std::string(text, static_cast<const char*>(zero));
}

}  // namespace QVT
