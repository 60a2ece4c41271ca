// Turning alarm packets into alarm codes and messages, and the few alarms
// that carry state.
#include <string>

#include "core/Headset.h"
#include "protocol/Alarms.h"
#include "protocol/Codes.h"
#include "protocol/QueuedAlarm.h"

namespace QVT {
namespace {

constexpr std::size_t kAlarmHeaderLength = 8;

constexpr int kMasterSystemStarted = 513;
constexpr int kBatteryLevel = 527;
constexpr int kFirstCommandIgnored = 558;  // PC comm resets, packet size error,
constexpr int kLastCommandIgnored = 561;   // consistency failure
constexpr int kConnectionCreated = 563;
constexpr int kSlaveSystemStarted = 1537;

int AlarmLevel(int code) {
  switch (code) {
    case kMasterSystemStarted:
    case kSlaveSystemStarted:
    case kBatteryLevel:
    case kConnectionCreated:
      return 3;
    default:
      return code >= kFirstCommandIgnored && code <= kLastCommandIgnored ? 3 : 2;
  }
}

}  // namespace

void Headset::ProcessAlarm(AlarmPacketStruct& packet, double /*blockTime*/, double packetTime) {
  const std::size_t length = packet.header.length;
  if (length < kAlarmHeaderLength) {
    if (WouldIssue(2)) IssueMessage("malformed alarm packet", 2);
    return;
  }
  const bool fromSlave = packet.header.species == PacketSpecies::AlarmFromSlave;
  const int code = packet.header.species * 256 + packet.alarm;
  const int width = (packet.parameterFormat & 0x80) ? 2 : 1;
  const int count = packet.parameterFormat & 0x3F;
  const std::size_t chunk = static_cast<std::size_t>(count * width);
  const std::size_t available = length - kAlarmHeaderLength;
  if (available < chunk) {
    if (WouldIssue(2))
      IssueMessage(std::string("malformed parameter chunk in ") + AlarmName(code) + " alarm packet", 2);
    return;
  }
  if (available > chunk && WouldIssue(3))
    IssueMessage(
        std::string("extraneous bytes follow parameter chunk in ") + AlarmName(code) + " alarm packet", 3);

  if (WouldIssue(3))
    IssueMessage("Received alarm type " + std::to_string(packet.alarm) + " from " +
                     (fromSlave ? "slave" : "master") + " (" + AlarmName(code) + ")",
                 3);

  // Only parameters inside the packet are read; absent ones count as 0, as
  // they print.
  QueuedAlarm alarm;
  alarm.code = code;
  alarm.SetParameters(packet.parameters, count, width);
  alarm.time = serial.Elapsed();
  alarm.headsetTime = packetTime;
  if (code == kBatteryLevel) {
    std::lock_guard<std::mutex> lock(reportLock);
    batteryLevel1 = alarm.Parameter(0);
    batteryLevel2 = alarm.Parameter(1);
    batteryClock = blockClock;
  } else if (code >= kFirstCommandIgnored && code <= kLastCommandIgnored) {
    // The headset ignored the last command: a waiting Send resends at once
    // instead of waiting out its time-out.
    pendingCommand = nullptr;
  } else if (code == kConnectionCreated) {
    connectionCreated = true;
  }

  // The alarm is queued even when nobody hears the message.
  const int level = AlarmLevel(code);
  IssueMessage(WouldIssue(level) ? alarm.Text() : std::string(), level, &alarm);
}

}  // namespace QVT
