// The exported functions of a processing stage: its outputs, its input, and
// the reads and writes with which a stage function does its work.
#include "api/Arguments.h"
#include "api/Boundary.h"
#include "core/Headset.h"
#include "model/ProcessingStage.h"

using QVT::api::Guarded;
using QVT::api::GuardedString;
using QVT::api::GuardedVoid;
using QVT::api::kStage;
using QVT::api::TextArgument;

namespace {

// Output channel i of the stage; an out-of-range index is the stage's own error.
QVT::Channel* OutputChannel(QVT_ProcessingStage* stage, unsigned i) {
  return POINTER(POINTER(stage, kStage)->GetChannelByIndex(i), "Channel");
}

// The stage, once its headset's acquisition thread, which calls it for every
// sample, is out of the way of a change to its outputs.
QVT::ProcessingStage* Changing(QVT_ProcessingStage* stage) {
  QVT::ProcessingStage* s = POINTER(stage, kStage);
  if (s->headset != nullptr) s->headset->WaitOutAcquisition("change the processing cascade");
  return s;
}

}  // namespace

extern "C" {

QVT_API QVT_Channel* QVT_ProcessingStage_GetChannelByIndex(QVT_ProcessingStage* stage, unsigned index) {
  return Guarded<QVT_Channel*>(nullptr, [&] { return POINTER(stage, kStage)->GetChannelByIndex(index); });
}

QVT_API QVT_Channel* QVT_ProcessingStage_GetChannelByName(QVT_ProcessingStage* stage, const char* name) {
  return Guarded<QVT_Channel*>(
      nullptr, [&] { return POINTER(stage, kStage)->GetChannelByName(TextArgument(name), true); });
}

QVT_API void QVT_ProcessingStage_ClearChannels(QVT_ProcessingStage* stage) {
  GuardedVoid([&] { Changing(stage)->ClearChannels(); });
}

QVT_API QVT_ProcessingStage* QVT_ProcessingStage_GetInput(QVT_ProcessingStage* stage) {
  return Guarded<QVT_ProcessingStage*>(nullptr, [&] { return POINTER(stage, kStage)->input; });
}

QVT_API const char* QVT_ProcessingStage_GetName(QVT_ProcessingStage* stage) {
  return GuardedString([&] { return POINTER(stage, kStage)->name; });
}

QVT_API void* QVT_ProcessingStage_ParamData(QVT_ProcessingStage* stage) {
  return Guarded<void*>(nullptr, [&] { return POINTER(stage, kStage)->paramData; });
}

QVT_API unsigned QVT_ProcessingStage_GetNumberOfChannels(QVT_ProcessingStage* stage) {
  return Guarded(0u, [&] { return static_cast<unsigned>(POINTER(stage, kStage)->channels.size()); });
}

QVT_API double QVT_ProcessingStage_Read(QVT_ProcessingStage* stage, unsigned channelIndex,
                                        unsigned long samplesBack) {
  return Guarded(0.0, [&] { return OutputChannel(stage, channelIndex)->LookBack(samplesBack, false); });
}

QVT_API void QVT_ProcessingStage_Write(QVT_ProcessingStage* stage, unsigned channelIndex, double value) {
  GuardedVoid([&] { OutputChannel(stage, channelIndex)->buffer.Write(value); });
}

QVT_API QVT_Channel* QVT_ProcessingStage_AddChannel(QVT_ProcessingStage* stage, const char* name,
                                                    size_t bufferSamples) {
  return Guarded<QVT_Channel*>(
      nullptr, [&] { return Changing(stage)->AddChannel(TextArgument(name), bufferSamples); });
}

}  // extern "C"
