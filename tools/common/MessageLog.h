// How the tools show the library's messages: on stderr, up to the level the
// user asked for. Alarms and the link's state come from the library as data
// (TakeAlarms, QVT_Headset_GetLinkState), never from these texts. One log
// serves the whole process; the message callback has no user data.
#pragma once

#include "qvt/qvt.h"

namespace QVT::Tools {

// Sends the headset's messages up to level `shown` through the log.
void RouteMessages(QVT_Headset* headset, int shown);

// The message callback itself; public for callers that set it elsewhere.
int LogMessage(const char* message, int level);

}  // namespace QVT::Tools
