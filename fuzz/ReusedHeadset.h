// One headset for all the inputs of a fuzz target, set back before each input
// to what a new headset on a simulated link holds: making a headset per input
// cost most of each run.
#pragma once

#include "core/Headset.h"

namespace fuzz {

inline int Discard(const char* /*message*/, int level) { return level; }

// The headset, reset; every message is composed and thrown away.
inline QVT::Headset& ReusedHeadset() {
  static QVT::Headset* const headset = new QVT::Headset("deferred");  // lives until the process ends
  QVT::Headset& h = *headset;
  h.Init();  // what the link reported, sources, alarms, block and packet counters
  h.simulatedInput.clear();
  h.currentAccelerometer = {};
  h.nextAccelerometer = {};
  h.nextCommandID = 0;
  h.SimulateInput();
  h.messageCallback.Set(Discard);
  h.verbosity = 7;
  return h;
}

}  // namespace fuzz
