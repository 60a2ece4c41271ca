// One headset for all the inputs of a fuzz target, set back before each input
// to what a new headset on a simulated link holds: making a headset per input
// cost most of each run.
#pragma once

#include "core/Headset.h"

namespace fuzz {

inline int Discard(const char* /*message*/, int level) { return level; }

// The headset, reset; messages up to verbosity are composed and thrown away.
// Inputs choose the verbosity, so the fuzzer spends most of its runs on the
// decoding and still reaches every message when it pays in coverage.
inline QVT::Headset& ReusedHeadset(int verbosity) {
  static QVT::Headset* const headset = new QVT::Headset("deferred");  // lives until the process ends
  QVT::Headset& h = *headset;
  h.Init();  // what the link reported, sources, alarms, block and packet counters
  h.simulatedInput.clear();
  h.currentAccelerometer = {};
  h.nextAccelerometer = {};
  h.nextCommandID = 0;
  h.SimulateInput();
  h.messageCallback.Set(Discard);
  h.verbosity = verbosity;
  return h;
}

}  // namespace fuzz
