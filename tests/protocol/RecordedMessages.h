// An unconnected headset whose messages go to the shared MessageRecorder.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/Headset.h"
#include "support/MessageRecorder.h"

namespace {

using QVT::testing::MessageRecorder;
using Messages = std::vector<QVT::testing::RecordedMessage>;

inline Messages Recorded() { return MessageRecorder::All(); }
inline bool WasIssued(const std::string& text, int level) { return MessageRecorder::Contains(text, level); }

// Verbosity 3 unless a test says otherwise.
class RecordingHeadsetTest : public ::testing::Test {
 protected:
  RecordingHeadsetTest() : headset("deferred") {
    MessageRecorder::Clear();
    headset.messageCallback.Set(MessageRecorder::Callback);
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
