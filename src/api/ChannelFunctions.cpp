// The exported functions of a channel: its buffer, its name and formula, and
// its current value.
#include "api/Arguments.h"
#include "api/Boundary.h"
#include "model/Channel.h"

using QVT::api::Guarded;
using QVT::api::GuardedString;
using QVT::api::GuardedVoid;
using QVT::api::kChannel;
using QVT::api::TextArgument;

extern "C" {

QVT_API double QVT_Channel_LookBack(QVT_Channel* channel, unsigned long samplesBack) {
  return Guarded(0.0, [&] { return POINTER(channel, kChannel)->LookBack(samplesBack, false); });
}

QVT_API double QVT_Channel_ReadBuffered(QVT_Channel* channel) {
  return Guarded(0.0, [&] { return POINTER(channel, kChannel)->buffer.Read(); });
}

QVT_API unsigned long QVT_Channel_GetNumberOfBufferedSamples(QVT_Channel* channel) {
  return Guarded(0ul, [&] { return static_cast<unsigned long>(POINTER(channel, kChannel)->buffer.Count()); });
}

QVT_API unsigned long QVT_Channel_GetNumberOfOverflowedSamples(QVT_Channel* channel) {
  return Guarded(0ul,
                 [&] { return static_cast<unsigned long>(POINTER(channel, kChannel)->buffer.Overflow()); });
}

QVT_API unsigned long QVT_Channel_GetBufferCapacity(QVT_Channel* channel) {
  return Guarded(0ul,
                 [&] { return static_cast<unsigned long>(POINTER(channel, kChannel)->buffer.Capacity()); });
}

QVT_API void QVT_Channel_FlushOutputBuffer(QVT_Channel* channel) {
  GuardedVoid([&] { POINTER(channel, kChannel)->buffer.Flush(); });
}

QVT_API void QVT_Channel_SetName(QVT_Channel* channel, const char* name) {
  GuardedVoid([&] { POINTER(channel, kChannel)->name = TextArgument(name); });
}

QVT_API const char* QVT_Channel_GetName(QVT_Channel* channel) {
  return GuardedString([&] { return POINTER(channel, kChannel)->Name(); });
}

QVT_API const char* QVT_Channel_GetString(QVT_Channel* channel) {
  return GuardedString([&] { return POINTER(channel, kChannel)->String(true); });
}

QVT_API double QVT_Channel_GetSignal(QVT_Channel* channel) {
  return Guarded(0.0, [&] { return POINTER(channel, kChannel)->LookBack(0, false); });
}

QVT_API double QVT_Channel_CalculateRawSignal(QVT_Channel* channel) {
  return Guarded(0.0, [&] { return POINTER(channel, kChannel)->CalculateRawSignal(); });
}

QVT_API int QVT_Channel_IsReferentialEEG(QVT_Channel* channel) {
  return Guarded(0, [&] { return POINTER(channel, kChannel)->IsReferentialEEG() ? 1 : 0; });
}

QVT_API int QVT_Channel_IsTrigger(QVT_Channel* channel) {
  return Guarded(0, [&] { return POINTER(channel, kChannel)->IsTrigger() ? 1 : 0; });
}

}  // extern "C"
