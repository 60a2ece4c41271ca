// The two electrode naming schemes. Six positions have a different name in
// each ("T3"/"T7", "T4"/"T8", "T5"/"P7", "T6"/"P8", "M1"/"TP9", "M2"/"TP10");
// a headset's sources always carry the "10-20" code of those, and the scheme
// only decides the names shown.
#pragma once

#include <array>
#include <string>

#include "model/SourceID.h"
#include "util/StringCounter.h"

namespace QVT {

inline constexpr const char* kScheme1010 = "10-10";
inline constexpr const char* kScheme1020 = "10-20";

// Maps a calibration slot's code to the code its source gets (the "10-10"
// names of the six shared positions become their "10-20" codes) and records
// which scheme the code speaks for. "AFz" casts no vote although its
// neighbours do; that gap is part of the rule.
SourceID::Code ResolveRedundantSourceIDs(SourceID::Code code, StringCounter& votes);

// The scheme with the most votes; on a tie the later key ("10-20") wins.
// Callers seed the counter with "10-10" at 0, so no votes at all give "10-10".
std::string ChooseNamingScheme(const StringCounter& votes);

// Aliases given to every headset's sources after calibration memory is read,
// one AddSourceAliases call per entry, in this order.
inline constexpr std::array<const char*, 11> kDefaultSourceAliases = {
    "T3 T7",           "T4 T8",   "T5 P7",
    "T6 P8",           "M1 TP9",  "M2 TP10",
    "M1M2 TP9TP10 LM", "A1A2 LE", "TRG Trig Trigger",
    "NUL NULL ZERO",   "CM CMF",
};

}  // namespace QVT
