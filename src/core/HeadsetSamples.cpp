// Data and extended-data packets, and draining the link.
#include <array>

#include "core/Headset.h"
#include "util/Timing.h"

namespace QVT {

void Headset::ProcessData(DataPacketStruct& /*packet*/, double /*blockTime*/, double /*packetTime*/) {
  ++dataPacketsReceived;
}

void Headset::ProcessExtendedData(ExtendedDataHeaderStruct& /*header*/, double /*blockTime*/,
                                  double /*packetTime*/) {
  ++extendedDataPacketsReceived;
}

unsigned long Headset::FlushData(double seconds) {
  const double start = serial.Elapsed();
  if (!serial.IsOpen() && serial.SimulatedInput() == nullptr) return 0;
  // What is flushed is never looked at.
  static thread_local std::array<std::uint8_t, 4000> scratch;
  unsigned long total = 0;
  for (;;) {
    const int got = serial.Receive(scratch.data(), scratch.size(), 0.0);
    total += static_cast<unsigned long>(got);
    if (got == 0 || serial.Elapsed() >= start + seconds) break;
    Sleep(0.05);
    if (!serial.IsOpen() && serial.SimulatedInput() == nullptr) break;
  }
  return total;
}

}  // namespace QVT
