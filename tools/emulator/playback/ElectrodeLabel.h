// What a recording's signal label names. Recordings spell the same
// electrode "EEG Fp1-REF", "Fp1", "FP1" or "EEG FP1-LE"; the headset's
// source names and aliases then decide which slot that is.
#pragma once

#include <string>
#include <string_view>

namespace QVT::emulator {

// The label with its signal type ("EEG ") and its reference ("-REF", "-LE",
// "-A1", "-AVG", ...) taken off. A bipolar label such as "Fp1-F7" is kept
// whole, so that it names no electrode.
std::string ElectrodeOfLabel(std::string_view label);

// Microvolts per unit of a physical dimension ("uV", "mV", "V", ...); 1 for
// counts and for dimensions not known.
double MicrovoltsPerUnit(std::string_view unit);

}  // namespace QVT::emulator
