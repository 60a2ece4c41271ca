// Slot values that make the library's montage read a recording's signals:
// a recording made through the montage holds each electrode against the
// headset's reference, and putting its values on the slots as they are
// would have the reference subtracted a second time.
#pragma once

#include <vector>

#include "HeadsetSlots.h"

namespace QVT::emulator {

// A slot filled by a recorded signal: which slot, and the slot weights of
// the montage channel that is to read the signal back.
struct FilledSlot {
  int slot = 0;
  SlotValues channelWeights{};
};

// One row per slot, one column per filled slot: slot values = result times
// the signals, with the slots no signal fills held at 0. Empty when the
// channels cannot be told apart; the caller then puts the signals on their
// slots unchanged.
std::vector<std::vector<double>> MontageInverse(const std::vector<FilledSlot>& filled);

}  // namespace QVT::emulator
