// A message callback for headset tests. The callback is a plain function
// pointer, so what it records lives in this translation unit.
#pragma once

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "core/Headset.h"

namespace {

struct RecordedMessage {
  std::string text;  // behind the time stamp and ":  "
  int level;
  bool operator==(const RecordedMessage&) const = default;
};

inline void PrintTo(const RecordedMessage& m, std::ostream* os) {
  *os << m.level << ": \"" << m.text << "\"";
}

inline std::vector<RecordedMessage>& Recorded() {
  static std::vector<RecordedMessage> messages;
  return messages;
}

inline int RecordMessage(const char* message, int level) {
  std::string text(message);
  const std::size_t stampEnd = text.find(":  ");
  Recorded().push_back({stampEnd == std::string::npos ? text : text.substr(stampEnd + 3), level});
  return level;
}

inline bool WasIssued(const std::string& text, int level) {
  for (const RecordedMessage& m : Recorded())
    if (m.text == text && m.level == level) return true;
  return false;
}

// An unconnected headset whose messages are recorded, at verbosity 3 unless
// a test says otherwise.
class RecordingHeadsetTest : public ::testing::Test {
 protected:
  RecordingHeadsetTest() : headset("deferred") {
    Recorded().clear();
    headset.messageCallback = RecordMessage;
    headset.verbosity = 3;
  }

  // Makes a command with this ID the one awaiting its reply.
  void AwaitReply(QVT::Command& command, int id) {
    command.Init(QVT::CommandDestination::Master, QVT::CommandFamily::Echo, nullptr, 0);
    command.Sign(id);
    headset.pendingCommand = &command;
  }

  QVT::Headset headset;
};

}  // namespace
