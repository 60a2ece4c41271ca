#include "model/CalibrationLayout.h"

namespace QVT {

using namespace CalibrationLayout;

namespace {

std::size_t RecordOffset(int slot) {
  return kSlotRecordOffset + kSlotRecordSize * static_cast<std::size_t>(slot);
}

}  // namespace

int SlotIdentity(const CalibrationImage& image, int slot) {
  const int byte = image.at(kSlotIdentityOffset + static_cast<std::size_t>(slot));
  return (byte >= 128 && byte != kNotConnected) ? byte - 128 : byte;
}

bool SlotIsPresent(const CalibrationImage& image, int slot) {
  const int byte = image.at(kSlotIdentityOffset + static_cast<std::size_t>(slot));
  return byte != kNoElectrode && byte != kNotConnected;
}

int PresentSlotCount(const CalibrationImage& image) {
  int count = 0;
  for (int k = 0; k < kSlots; ++k) count += SlotIsPresent(image, k) ? 1 : 0;
  return count;
}

std::int16_t GainTrim(const CalibrationImage& image, int slot) {
  const std::size_t at = RecordOffset(slot);
  const auto bits = static_cast<std::uint16_t>(image.at(at) | image.at(at + 1) << 8);
  return static_cast<std::int16_t>(bits);
}

void SetGainTrim(CalibrationImage& image, int slot, std::int16_t trim) {
  const std::size_t at = RecordOffset(slot);
  const auto bits = static_cast<std::uint16_t>(trim);
  image.at(at) = static_cast<std::uint8_t>(bits & 0xFF);
  image.at(at + 1) = static_cast<std::uint8_t>(bits >> 8);
}

std::uint8_t FactoryReferenceByte(const CalibrationImage& image) { return image[kFactoryReferenceOffset]; }

signed char LayoutVersion(const CalibrationImage& image) {
  return static_cast<signed char>(image[kLayoutVersionOffset]);
}

}  // namespace QVT
