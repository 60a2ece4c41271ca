// Filter bits of Headset::SourceNames. Electrode and auxiliary inputs always
// pass; each bit below admits one further kind of source.
#pragma once

namespace QVT::SourceNameFilter {

// Asked for by callers that want the plain electrode list; they change nothing
// in the filter itself.
inline constexpr unsigned short kElectrodes = 0x0001;
inline constexpr unsigned short kAuxiliaries = 0x0002;

inline constexpr unsigned short kEmptySlots = 0x0004;           // "NR" and "NC"
inline constexpr unsigned short kFactoryReference = 0x0008;     // the zero source of the factory reference
inline constexpr unsigned short kTriggerWord = 0x0010;          // "TRG"
inline constexpr unsigned short kSendReceive = 0x0020;          // "SND" and "RCV"
inline constexpr unsigned short kCommonMode = 0x0040;           // "CM"
inline constexpr unsigned short kNull = 0x0080;                 // "NUL"
inline constexpr unsigned short kTriggerBits = 0x0100;          // "TRG0" to "TRG7"
inline constexpr unsigned short kAccelerometerAxes = 0x0200;    // "ACCX", "ACCY", "ACCZ"
inline constexpr unsigned short kAccelerometerExtras = 0x0400;  // "ACCT" and "JERK"

// The plain electrode list.
inline constexpr unsigned short kPlain = kElectrodes | kAuxiliaries;  // 3
// Every name a user may refer to, offered when a name is not found.
inline constexpr unsigned short kKnownNames = kPlain | kFactoryReference | kTriggerWord | kSendReceive |
                                              kTriggerBits | kAccelerometerAxes |
                                              kAccelerometerExtras;  // 1851
// The channels of the default montage.
inline constexpr unsigned short kDefaultMontage = kPlain | kTriggerWord | kAccelerometerAxes;  // 531

static_assert(kKnownNames == 1851 && kDefaultMontage == 531);

}  // namespace QVT::SourceNameFilter
