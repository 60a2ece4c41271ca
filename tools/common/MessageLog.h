// What the tools do with the library's messages: show those the user asked
// for on stderr, keep the texts of headset alarms for the summary and the
// recording, and notice when the library declares the link lost. One log
// serves the whole process; the message callback has no user data.
#pragma once

#include <string>
#include <vector>

#include "qvt/qvt.h"

namespace QVT::Tools {

// Sends the headset's messages through the log. Messages up to level
// `shown` are printed; alarms and link losses are noticed at any verbosity
// the library allows, so the headset is made to produce at least level 3.
void RouteMessages(QVT_Headset* headset, int shown);

// Alarm texts issued since the last call, oldest first, without the
// library's prefix and time stamp.
std::vector<std::string> TakeAlarmTexts();

// Whether the library has declared a link lost since the last call.
bool TakeLinkLost();

// The message callback itself; public for callers that set it elsewhere.
int LogMessage(const char* message, int level);

}  // namespace QVT::Tools
