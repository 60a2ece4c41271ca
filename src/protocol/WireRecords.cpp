#include "protocol/WireRecords.h"

#include <ostream>

#include "util/Clock.h"

namespace QVT {
namespace {

struct LayoutCheck {
  const char* what;
  std::size_t actual;
  std::size_t expected;
};

// The wire layout, checked once at compile time and again by the library's
// self-check, which reports rather than refuses.
constexpr LayoutCheck kLayout[] = {
    {"sizeof(PacketHeaderStruct)", sizeof(PacketHeaderStruct), 6},
    {"offsetof(PacketHeaderStruct, length)", offsetof(PacketHeaderStruct, length), 0},
    {"offsetof(PacketHeaderStruct, species)", offsetof(PacketHeaderStruct, species), 1},
    {"offsetof(PacketHeaderStruct, ticks)", offsetof(PacketHeaderStruct, ticks), 2},
    {"sizeof(ResponsePacketStruct)", sizeof(ResponsePacketStruct), kLongestPacket},
    {"offsetof(ResponsePacketStruct, code)", offsetof(ResponsePacketStruct, code), 6},
    {"offsetof(ResponsePacketStruct, commandID)", offsetof(ResponsePacketStruct, commandID), 7},
    {"offsetof(ResponsePacketStruct, payload)", offsetof(ResponsePacketStruct, payload), 8},
    {"sizeof(AlarmPacketStruct)", sizeof(AlarmPacketStruct), kLongestPacket},
    {"offsetof(AlarmPacketStruct, alarm)", offsetof(AlarmPacketStruct, alarm), 6},
    {"offsetof(AlarmPacketStruct, parameterFormat)", offsetof(AlarmPacketStruct, parameterFormat), 7},
    {"offsetof(AlarmPacketStruct, parameters)", offsetof(AlarmPacketStruct, parameters), 8},
    {"sizeof(DataPacketStruct)", sizeof(DataPacketStruct), kDataPacketLength},
    {"offsetof(DataPacketStruct, sequenceNumber)", offsetof(DataPacketStruct, sequenceNumber), 6},
    {"offsetof(DataPacketStruct, body)", offsetof(DataPacketStruct, body), 7},
    {"sizeof(ExtendedDataHeaderStruct)", sizeof(ExtendedDataHeaderStruct), 7},
    {"offsetof(ExtendedDataHeaderStruct, subtype)", offsetof(ExtendedDataHeaderStruct, subtype), 6},
    {"sizeof(RealTimeClockStruct)", sizeof(RealTimeClockStruct), 6},
};

constexpr bool LayoutHolds() {
  for (const LayoutCheck& check : kLayout)
    if (check.actual != check.expected) return false;
  return true;
}

static_assert(LayoutHolds(), "a wire record does not match the wire layout");
static_assert(kSecondsPerTick == 1.0 / 1800.0);

}  // namespace

void CheckWireRecords(std::ostream& problems) {
  for (const LayoutCheck& check : kLayout)
    if (check.actual != check.expected)
      problems << check.what << " is " << check.actual << ", should be " << check.expected << "\n";
}

}  // namespace QVT
