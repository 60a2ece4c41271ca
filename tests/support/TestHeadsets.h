// Unconnected headsets with the sources that reading a calibration image of
// a given slot layout produces, for tests of naming, montage and cascade.
#pragma once

#include <array>
#include <memory>
#include <string>

#include "core/Headset.h"
#include "model/SourceID.h"

namespace QVT::testing {

// The identities of the 24 calibration slots, in slot order.
using SlotLayout = std::array<SourceID::Code, 24>;

// 10-20 positions with both ears ("A1", "A2"), "CM" and three auxiliaries.
SlotLayout TenTwentyLayout();
// 10-10 positions; the temporal ones and both mastoids in their 10-10 names.
SlotLayout TenTenLayout();
// Seven fitted slots, linked ears first; the others not connected.
SlotLayout SevenSlotLayout();

// A Headset("deferred") holding, in order, one source per slot, "TRG", the
// factory reference (a zero source), "SND", "RCV", "NUL", "TRG0" to "TRG7"
// and the five accelerometer sources; with the default aliases and the
// naming scheme the slots vote for. A slot holding "CM" gets the common-mode
// gain. No buffers are allocated.
std::unique_ptr<Headset> MakeHeadset(const SlotLayout& slots, SourceID::Code factoryReference = SourceID::Pz);

// A 10-20 headset on a simulated link at 300 Hz with the montage "Fz Cz",
// quiet, ready for a real acquisition thread.
std::unique_ptr<Headset> MakeSimulatedHeadset();

// Position from 1, as MatchSource numbers them, of the factory reference.
inline constexpr int kFactoryReferencePosition = 26;

// The message f throws as a string, or "(no failure)".
template <class F>
std::string ThrownMessage(F&& f) {
  try {
    f();
  } catch (const std::string& message) {
    return message;
  }
  return "(no failure)";
}

}  // namespace QVT::testing
