#include "protocol/QueuedAlarm.h"

#include <algorithm>
#include <cstring>

#include "protocol/Alarms.h"
#include "protocol/WireRecords.h"

namespace QVT {

void QueuedAlarm::SetParameters(const std::uint8_t* bytes, int count, int width) {
  parameterWidth = width == 2 ? 2 : 1;
  parameterCount = std::clamp(count, 0, kMostParameters);
  std::memcpy(parameterBytes.data(), bytes, static_cast<std::size_t>(parameterCount * parameterWidth));
}

int QueuedAlarm::Parameter(int i) const {
  if (i < 0 || i >= parameterCount) return 0;
  const std::uint8_t* p = parameterBytes.data() + i * parameterWidth;
  return parameterWidth == 2 ? ReadU16LE(p) : *p;
}

std::string QueuedAlarm::Text() const {
  return FormatAlarmMessage(AlarmMessage(code), parameterBytes.data(), parameterCount, parameterWidth);
}

}  // namespace QVT
