#include "HeadsetSlots.h"

#include <algorithm>

#include "core/Headset.h"
#include "model/Channel.h"
#include "model/Source.h"
#include "model/SourceID.h"
#include "util/Text.h"

namespace QVT::emulator {

HeadsetSlots::HeadsetSlots(const CalibrationImage& image)
    : headset_(std::make_unique<Headset>("deferred")), image_(image) {
  headset_->verbosity = 0;
  std::copy(image.begin(), image.end(), headset_->calibrationImage.begin());
  headset_->InterpretCalibrationMemory(nullptr);
  headset_->SetTraditionalReference(true);
}

HeadsetSlots::~HeadsetSlots() = default;

std::unique_ptr<Channel> HeadsetSlots::ChannelOf(int slot) const {
  // "SRC" and a number name a source by its place, whatever its name.
  return headset_->ConstructChannel("SRC" + std::to_string(slot + 1), true);
}

bool HeadsetSlots::Playable(int slot) const {
  return SlotIsPresent(image_, slot) && SlotIdentity(image_, slot) != SourceID::CM;
}

std::optional<int> HeadsetSlots::SlotNamed(std::string_view name) const {
  if (name.empty()) return std::nullopt;
  const std::string text(name);
  for (int slot = 0; slot < kSlotCount; ++slot) {
    const Source* source = headset_->GetSourceByIndex(static_cast<unsigned>(slot), true);
    if (Playable(slot) && source != nullptr && source->NameMatches(text, true)) return slot;
  }
  for (int slot = 0; slot < kSlotCount; ++slot)
    if (Playable(slot) && Upper(ChannelOf(slot)->Name()) == Upper(text)) return slot;
  return std::nullopt;
}

bool HeadsetSlots::NamesTrigger(std::string_view name) const {
  const Source* source = headset_->MatchSource(std::string(name), false);
  return source != nullptr && source->IsTrigger();
}

namespace {

constexpr SourceID::Code kAccelerometerAxes[] = {SourceID::ACCX, SourceID::ACCY, SourceID::ACCZ};

}  // namespace

std::optional<int> HeadsetSlots::AccelerometerAxisNamed(std::string_view name) const {
  const Source* source = headset_->MatchSource(std::string(name), false);
  if (source == nullptr || !source->IsAccelerometer()) return std::nullopt;
  for (int axis = 0; axis < 3; ++axis)
    if (source->id == kAccelerometerAxes[axis]) return axis;
  return std::nullopt;
}

double HeadsetSlots::AccelerometerGain(int axis) const {
  const Source* source = headset_->MatchSource(kAccelerometerAxes[axis]);
  return source != nullptr ? source->Gain() : 0.0;
}

std::string HeadsetSlots::Name(int slot) const {
  return headset_->GetSourceByIndex(static_cast<unsigned>(slot), true)->Name();
}

double HeadsetSlots::Gain(int slot) const {
  return headset_->GetSourceByIndex(static_cast<unsigned>(slot), true)->Gain();
}

bool HeadsetSlots::TakesCarriers(int slot) const {
  const int id = SlotIdentity(image_, slot);
  return id > 0 && id < SourceID::NC && id != SourceID::CM && id != FactoryReferenceByte(image_);
}

SlotValues HeadsetSlots::ChannelWeights(int slot) const {
  SlotValues weights{};
  const std::unique_ptr<Channel> channel = ChannelOf(slot);
  for (std::size_t term = 0; term < channel->sources.size() && term < channel->weights.size(); ++term)
    for (int k = 0; k < kSlotCount; ++k)
      if (channel->sources[term] == headset_->GetSourceByIndex(static_cast<unsigned>(k), true))
        weights[static_cast<std::size_t>(k)] += channel->weights[term];
  return weights;
}

}  // namespace QVT::emulator
