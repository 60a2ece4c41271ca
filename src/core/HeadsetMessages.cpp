#include "core/Headset.h"

namespace QVT {

void Headset::IssueMessage(const std::string& text, int level, const QueuedAlarm* alarm) {
  if (alarm != nullptr) {
    std::lock_guard<std::mutex> lock(alarmLock);
    alarmQueue.push_back(*alarm);
    if (alarmQueue.size() > kAlarmQueueLimit) alarmQueue.pop_front();
  }
  if (verbosity.load(std::memory_order_relaxed) < level) return;
  // The callback is read once, by the slot, so that a client clearing it
  // meanwhile cannot make this call through a null pointer.
  messageCallback.Deliver([&](const CallbackSlot<MessageCallback>::Pair& callback) {
    std::string message = RelativeTimeStamp(-1.0) + ":  ";
    if (alarm != nullptr) message += "QVT headset issued alarm: ";
    message += text;
    callback.function(message.c_str(), level);
  });
}

}  // namespace QVT
