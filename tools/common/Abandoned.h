// Headsets let go of without their teardown, and how a process that did so
// ends: a headset that fell silent would retry a stop command for 20 s
// before letting the program finish.
#pragma once

#include "HeadsetReport.h"

namespace QVT::Tools {

// Releases the headset without deleting it; the process then ends through
// ExitStatus.
void Abandon(HeadsetHandle& headset);

// Notes that something of the library's is still at work on a thread of
// its own (a connection attempt given up on, say).
void NoteAbandoned();

// status; when anything was abandoned, first flushes the output and ends
// the process at once, without the teardown that would run under its feet.
int ExitStatus(int status);

}  // namespace QVT::Tools
