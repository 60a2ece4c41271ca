#include "support/MessageRecorder.h"

#include <mutex>

namespace QVT::testing {

namespace {
std::mutex recordLock;
std::vector<RecordedMessage> recorded;
}  // namespace

int MessageRecorder::Callback(const char* message, int level) {
  std::string text = message ? message : "";
  const std::size_t stampEnd = text.find(":  ");
  if (stampEnd != std::string::npos) text.erase(0, stampEnd + 3);
  std::lock_guard<std::mutex> lock(recordLock);
  recorded.push_back({std::move(text), level});
  return level;
}

void MessageRecorder::Clear() {
  std::lock_guard<std::mutex> lock(recordLock);
  recorded.clear();
}

std::vector<RecordedMessage> MessageRecorder::All() {
  std::lock_guard<std::mutex> lock(recordLock);
  return recorded;
}

int MessageRecorder::Count(const std::string& text, int level) {
  std::lock_guard<std::mutex> lock(recordLock);
  int count = 0;
  for (const RecordedMessage& m : recorded) count += m.text == text && m.level == level;
  return count;
}

std::vector<std::string> MessageRecorder::StartingWith(const std::string& prefix) {
  std::lock_guard<std::mutex> lock(recordLock);
  std::vector<std::string> texts;
  for (const RecordedMessage& m : recorded)
    if (m.text.compare(0, prefix.size(), prefix) == 0) texts.push_back(m.text);
  return texts;
}

}  // namespace QVT::testing
