#include "headset/CalibrationImages.h"

#include <cstddef>
#include <initializer_list>

#include "model/SourceID.h"

namespace QVT::testing {

namespace {

using namespace CalibrationLayout;

// Gain deviations a production line would trim: a few per mille either way.
constexpr std::int16_t kTenTwentyTrims[kSlots] = {312, -145, 87,   -260, 41,   198, -33, -402,
                                                  15,  276,  -89,  5,    -318, 144, -71, 233,
                                                  -12, 450,  -205, 66,   -97,  128, 0,   -1};

// Bytes the host does not interpret but must carry: the headset keeps an
// offset trim in bytes 2 and 3 of each slot record and a production stamp in
// bytes 120 to 125.
void FillHeadsetOwnedBytes(CalibrationImage& image) {
  for (int k = 0; k < kSlots; ++k) {
    const std::size_t record = kSlotRecordOffset + kSlotRecordSize * static_cast<std::size_t>(k);
    image[record + 2] = static_cast<std::uint8_t>(0x40 + k);
    image[record + 3] = 0xA5;
  }
  const std::uint8_t stamp[] = {0x20, 0x19, 0x07, 0x15, 0x0C, 0x2A};
  for (std::size_t i = 0; i < sizeof stamp; ++i) image[120 + i] = stamp[i];
}

CalibrationImage ImageWithSlots(std::initializer_list<SourceID::Code> slots, signed char version,
                                std::uint8_t factoryReference) {
  CalibrationImage image{};
  std::size_t k = 0;
  for (SourceID::Code code : slots) image[kSlotIdentityOffset + k++] = static_cast<std::uint8_t>(code);
  FillHeadsetOwnedBytes(image);
  image[kFactoryReferenceOffset] = factoryReference;
  image[kLayoutVersionOffset] = static_cast<std::uint8_t>(version);
  return image;
}

}  // namespace

CalibrationImage UnprogrammedCalibrationImage() {
  CalibrationImage image;
  image.fill(0xFF);
  return image;
}

std::int16_t TenTwentyGainTrim(int slot) { return kTenTwentyTrims[slot]; }

CalibrationImage TenTwentyCalibrationImage() {
  using namespace SourceID;
  CalibrationImage image = ImageWithSlots(
      {Fp1, Fpz, Fp2, F7, F3, Fz, F4, F8, M1, T3, C3, Cz, C4, T4, M2, T5, P3, CM, P4, T6, O1, O2, X1, X2}, 2,
      Pz);
  for (int k = 0; k < kSlots; ++k) SetGainTrim(image, k, kTenTwentyTrims[k]);
  return image;
}

CalibrationImage TenTenCalibrationImage() {
  using namespace SourceID;
  return ImageWithSlots(
      {Fp1, Fp2, AF3, AF4, F7, F3, Fz, F4, F8, TP9, T7, C3, Cz, C4, T8, TP10, P7, P3, Pz, P4, P8, O1, O2, Oz},
      2, Pz);
}

CalibrationImage SevenSlotCalibrationImage() {
  using namespace SourceID;
  return ImageWithSlots({X1, F3, F4, C3, Cz, C4, CM}, 1, 0xFF);
}

}  // namespace QVT::testing
