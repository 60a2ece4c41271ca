// The virtual headset's slots as the library sees them. The library's own
// code reads the calibration image, so names, aliases, gains and the
// reference its montage subtracts are exactly what a client gets.
#pragma once

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "model/CalibrationLayout.h"

namespace QVT {
class Channel;
class Headset;
}  // namespace QVT

namespace QVT::emulator {

inline constexpr int kSlotCount = CalibrationLayout::kSlots;
using SlotValues = std::array<double, kSlotCount>;

class HeadsetSlots {
 public:
  explicit HeadsetSlots(const CalibrationImage& image);
  ~HeadsetSlots();
  HeadsetSlots(const HeadsetSlots&) = delete;
  HeadsetSlots& operator=(const HeadsetSlots&) = delete;

  // The slot of the electrode or auxiliary input a name (or alias, any
  // case) names, else the slot whose montage channel bears the name (the
  // montage calls a reference electrode's channel after the factory
  // reference, so that is what a recording made through it says); none for
  // the common-mode slot and empty slots.
  std::optional<int> SlotNamed(std::string_view name) const;
  bool NamesTrigger(std::string_view name) const;
  // 0, 1, 2 for the accelerometer's x, y, z.
  std::optional<int> AccelerometerAxisNamed(std::string_view name) const;
  // The library's units per count of an accelerometer axis (0, 1, 2).
  double AccelerometerGain(int axis) const;

  std::string Name(int slot) const;
  double Gain(int slot) const;  // µV per count
  // A scalp electrode, which the impedance driver's carriers reach.
  bool TakesCarriers(int slot) const;
  // The slot weights of the channel the library's montage makes of the
  // slot: the electrode against the headset's reference for scalp
  // electrodes, the slot alone otherwise.
  SlotValues ChannelWeights(int slot) const;

 private:
  bool Playable(int slot) const;
  // The channel the montage makes of the slot's source.
  std::unique_ptr<Channel> ChannelOf(int slot) const;

  std::unique_ptr<Headset> headset_;
  CalibrationImage image_;
};

}  // namespace QVT::emulator
