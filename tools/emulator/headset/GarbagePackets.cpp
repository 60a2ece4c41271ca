#include "headset/GarbagePackets.h"

#include "headset/HeadsetWire.h"
#include "protocol/Codes.h"

namespace QVT::testing {

namespace {

std::string RandomBytes(std::mt19937_64& random, std::size_t count) {
  std::string bytes(count, '\0');
  for (char& byte : bytes) byte = static_cast<char>(random() & 0xFF);
  return bytes;
}

std::size_t Below(std::mt19937_64& random, std::size_t bound) {
  return static_cast<std::size_t>(random() % bound);
}

// A response whose payload the host interprets; a stream stop (mode 0),
// another sampling rate and the eight real calibration pages are avoided.
std::string Response(std::mt19937_64& random, std::uint32_t ticks, std::uint16_t samplingRate) {
  const auto species = static_cast<std::uint8_t>(random() % 2 == 0 ? 1 : 5);
  const auto id = static_cast<std::uint8_t>(random() & 0xFF);
  switch (Below(random, 4)) {
    case 0: {  // streaming on, with any filter mode
      // Mode byte, filter byte, then the rate.
      std::string payload{1, static_cast<char>(random() & 0xFF)};
      payload += U16LE(samplingRate);
      return EncodeResponse(species, CommandFamily::DataAcquisitionMode, id, payload, ticks);
    }
    case 1:
      return EncodeResponse(species, CommandFamily::AccelerometerRate, id,
                            U16LE(static_cast<std::uint16_t>(random() & 0xFFFF)), ticks);
    case 2: {
      std::string payload(1, static_cast<char>(8 + Below(random, 248)));
      payload += RandomBytes(random, Below(random, 20));
      return EncodeResponse(species, CommandFamily::CalibrationMemory, id, payload, ticks);
    }
    default: {  // any code: unknown families, status codes, short and long payloads
      auto code = static_cast<std::uint8_t>(random() & 0xFF);
      if (code == CommandFamily::DataAcquisitionMode || code == CommandFamily::CalibrationMemory)
        code = CommandFamily::Echo;
      return EncodeResponse(species, code, id, RandomBytes(random, Below(random, 40)), ticks);
    }
  }
}

}  // namespace

std::string GarbagePackets(std::mt19937_64& random, std::uint32_t ticks, std::uint16_t samplingRate) {
  std::string packets;
  const std::size_t count = 1 + Below(random, 4);
  for (std::size_t i = 0; i < count; ++i) {
    switch (Below(random, 5)) {
      case 0:
        packets += Response(random, ticks, samplingRate);
        break;
      case 1:
        packets += EncodeAlarm(
            static_cast<std::uint8_t>(random() % 2 == 0 ? 2 : 6), static_cast<std::uint8_t>(random() & 0xFF),
            static_cast<std::uint8_t>(random() & 0xFF), RandomBytes(random, Below(random, 48)), ticks);
        break;
      case 2:  // data of any length: short ones are malformed, long ones carry extra bytes
        packets += EncodePacket(3, ticks, RandomBytes(random, Below(random, 120)));
        break;
      case 3:
        packets += EncodeExtendedData(static_cast<std::uint8_t>(random() % 2 == 0 ? 20 : random() & 0xFF),
                                      RandomBytes(random, Below(random, 60)), ticks);
        break;
      default: {  // any species but responses, and half the time a length byte that lies
        auto species = static_cast<std::uint8_t>(random() & 0xFF);
        if (species == 1 || species == 5) species = 7;
        std::string packet = EncodePacket(species, ticks, RandomBytes(random, Below(random, 200)));
        if (random() % 2 == 0) packet[0] = static_cast<char>(random() & 0xFF);
        packets += packet;
        break;
      }
    }
  }
  return packets;
}

}  // namespace QVT::testing
