// The 128 bytes of a headset's calibration memory: which electrode sits on
// each of the 24 input slots, each slot's gain trim, the factory reference
// (common-mode follower) position and the layout version. Multi-byte fields
// are little-endian. Bytes the host does not interpret (bytes 2 and 3 of
// each slot record, bytes 120 to 125) are carried and written back as read.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace QVT {

namespace CalibrationLayout {

inline constexpr std::size_t kSize = 128;
inline constexpr std::size_t kPageSize = 16;
inline constexpr unsigned kPages = 8;
inline constexpr int kSlots = 24;

// Byte k is the source code of slot k.
inline constexpr std::size_t kSlotIdentityOffset = 0;
// Record k (4 bytes) at kSlotRecordOffset + 4k starts with a signed 16-bit
// gain trim; its other two bytes belong to the headset.
inline constexpr std::size_t kSlotRecordOffset = 24;
inline constexpr std::size_t kSlotRecordSize = 4;
inline constexpr std::size_t kFactoryReferenceOffset = 126;
inline constexpr std::size_t kLayoutVersionOffset = 127;

// Slot bytes: 0 is "no electrode", 255 "not connected"; 128 to 254 carry a
// flag in the top bit that the host ignores.
inline constexpr std::uint8_t kNoElectrode = 0;
inline constexpr std::uint8_t kNotConnected = 255;

// The factory reference byte counts only from this layout version on.
inline constexpr int kFirstVersionWithFactoryReference = 2;

}  // namespace CalibrationLayout

using CalibrationImage = std::array<std::uint8_t, CalibrationLayout::kSize>;

// The code of slot (0 to 23): the slot byte with its top bit cleared, except
// that 255 ("not connected") stays 255.
int SlotIdentity(const CalibrationImage& image, int slot);

// A slot is present when an electrode is fitted: its byte is 1 to 254.
bool SlotIsPresent(const CalibrationImage& image, int slot);
int PresentSlotCount(const CalibrationImage& image);

// The signed gain trim of slot: the gain is nominal times (1 + trim / 32768).
std::int16_t GainTrim(const CalibrationImage& image, int slot);
void SetGainTrim(CalibrationImage& image, int slot, std::int16_t trim);

std::uint8_t FactoryReferenceByte(const CalibrationImage& image);
// Signed: an unprogrammed headset reads 0xFF, that is -1.
signed char LayoutVersion(const CalibrationImage& image);

}  // namespace QVT
