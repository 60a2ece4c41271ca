// The body of a data packet as the virtual headset's signal sources make
// it, and the impedance driver's carriers they add to the electrodes.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "model/CalibrationLayout.h"

namespace QVT::emulator {

// How far up the trigger byte a headset carries its trigger value: a
// seven-electrode headset uses the upper half for its trigger lines.
int TriggerShift(const CalibrationImage& calibration);

// Raw counts the two carriers (110 and 130 Hz) add, at the packet's time
// stamp, to an electrode of `gain` µV per count that the host is to read
// as kiloOhms: the host demodulates against the stamp's phase.
double CarrierCounts(double kiloOhms, double gain, double stampSeconds);

// The 49 bytes: the trigger byte, then the 24 slots' raw values rounded to
// counts and clipped to 16 bits.
std::string SlotPacketBody(std::uint8_t trigger, const std::array<double, CalibrationLayout::kSlots>& raw);

}  // namespace QVT::emulator
