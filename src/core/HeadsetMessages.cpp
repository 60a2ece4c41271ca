#include "core/Headset.h"

namespace QVT {

void Headset::IssueMessage(const std::string& text, int level, int alarmCode) {
  const bool deliverable = WouldIssue(level);
  if (alarmCode >= 0) {
    alarmQueue.push_back(alarmCode);
    if (alarmQueue.size() > kAlarmQueueLimit) alarmQueue.pop_front();
  }
  if (!deliverable) return;
  std::string message = RelativeTimeStamp(-1.0) + ":  ";
  if (alarmCode >= 0) message += "QVT headset issued alarm: ";
  message += text;
  messageCallback(message.c_str(), level);
}

}  // namespace QVT
