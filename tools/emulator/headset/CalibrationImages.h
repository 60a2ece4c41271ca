// Calibration memory images of a few kinds of headset, for tests and for the
// virtual headset. Each is what the headset would answer, page by page, to a
// sensor-information query.
#pragma once

#include "model/CalibrationLayout.h"

namespace QVT::testing {

// A headset whose calibration memory was never programmed: every byte 0xFF,
// so 24 "not connected" slots, layout version -1, no factory reference byte.
CalibrationImage UnprogrammedCalibrationImage();

// A 24-slot headset labelled in the 10-20 system, layout version 2. Slots 0
// to 21 hold codes 1 to 22 in the headset's native order (Fp1 Fpz Fp2 F7 F3
// Fz F4 F8 M1 T3 C3 Cz C4 T4 M2 T5 P3 CM P4 T6 O1 O2: mastoid electrodes and
// the common-mode electrode included), slots 22 and 23 the auxiliary inputs
// X1 and X2. The factory reference byte names Pz, which no slot holds, so
// the CM slot alone is the common-mode follower. Every slot has a small gain
// trim (TenTwentyGainTrim). Votes: 19 for 10-20, 15 for 10-10.
CalibrationImage TenTwentyCalibrationImage();
std::int16_t TenTwentyGainTrim(int slot);

// A 24-slot headset labelled in the 10-10 system, layout version 2: Fp1 Fp2
// AF3 AF4 F7 F3 Fz F4 F8 TP9 T7 C3 Cz C4 T8 TP10 P7 P3 Pz P4 P8 O1 O2 Oz.
// The factory reference byte names Pz, so the Pz slot (18) is the common-mode
// follower and reads as "CM". Votes: 31 for 10-10 (AF3 and AF4 five each),
// 15 for 10-20. No gain trims.
CalibrationImage TenTenCalibrationImage();

// An early seven-electrode headset, layout version 1: slot 0 holds "X1"
// (its linked-ear input), then F3 F4 C3 Cz C4 CM; the other 17 slots hold
// 0 (no electrode). The factory reference byte is unprogrammed (0xFF) and
// ignored at this version.
CalibrationImage SevenSlotCalibrationImage();

}  // namespace QVT::testing
