#include "MessageLog.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <utility>

namespace QVT::Tools {

namespace {

constexpr const char* kAlarmPrefix = "QVT headset issued alarm: ";
constexpr const char* kLinkLostPrefix = "QVT link lost";
// Alarms that keep no state come at level 2, the rest at level 3.
constexpr int kLevelNeeded = 3;
// A headset that raises alarms without end must not grow the log for ever.
constexpr std::size_t kMostKeptAlarms = 1000;

std::atomic<int> shownLevel{2};
std::atomic<bool> linkLost{false};
std::mutex alarmLock;  // never held while calling into the library
std::vector<std::string> alarmTexts;
const bool stderrIsTerminal = isatty(STDERR_FILENO) == 1;

// The text after the time stamp "  12.345:  " that begins every message.
const char* Body(const char* message) {
  const char* mark = std::strstr(message, ":  ");
  return mark != nullptr ? mark + 3 : message;
}

}  // namespace

int LogMessage(const char* message, int level) {
  if (message == nullptr) return 0;
  const char* body = Body(message);
  if (std::strncmp(body, kAlarmPrefix, std::strlen(kAlarmPrefix)) == 0) {
    std::lock_guard<std::mutex> lock(alarmLock);
    if (alarmTexts.size() < kMostKeptAlarms) alarmTexts.emplace_back(body + std::strlen(kAlarmPrefix));
  } else if (std::strncmp(body, kLinkLostPrefix, std::strlen(kLinkLostPrefix)) == 0) {
    linkLost = true;
  }
  // On a terminal the progress line is cleared first and redrawn later.
  if (level <= shownLevel) std::fprintf(stderr, "%s%s\n", stderrIsTerminal ? "\r\033[K" : "", message);
  return 0;
}

void RouteMessages(QVT_Headset* headset, int shown) {
  shownLevel = shown;
  QVT_Headset_SetVerbosity(headset, std::max(shown, kLevelNeeded));
  QVT_Headset_SetMessageCallback(headset, LogMessage);
}

std::vector<std::string> TakeAlarmTexts() {
  std::lock_guard<std::mutex> lock(alarmLock);
  return std::exchange(alarmTexts, {});
}

bool TakeLinkLost() { return linkLost.exchange(false); }

}  // namespace QVT::Tools
