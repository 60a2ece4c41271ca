// The exported functions that shape a headset's signals: sources and their
// names, the montage and its reference, buffers and batches, and the
// processing cascade.
#include "api/Arguments.h"
#include "api/Boundary.h"
#include "core/Headset.h"

using QVT::api::Guarded;
using QVT::api::GuardedString;
using QVT::api::GuardedVoid;
using QVT::api::kHeadset;
using QVT::api::TextArgument;

namespace {

// The headset, once the acquisition thread is out of the way of a change to
// what it walks for every sample.
QVT::Headset* Changing(QVT_Headset* headset, const char* action) {
  QVT::Headset* h = POINTER(headset, kHeadset);
  h->WaitOutAcquisition(action);
  return h;
}

constexpr const char* kMontage = "change the montage";
constexpr const char* kSources = "change the sources";
constexpr const char* kBuffers = "change the buffers";
constexpr const char* kCascade = "change the processing cascade";

}  // namespace

extern "C" {

// ---- montage and references ----------------------------------------------------

QVT_API void QVT_Headset_ChooseChannels(QVT_Headset* headset, const char* montage, const char* reference,
                                        int autoSwap) {
  GuardedVoid([&] {
    Changing(headset, kMontage)
        ->ChooseChannels(TextArgument(montage), TextArgument(reference), autoSwap != 0);
  });
}

QVT_API void QVT_Headset_AddChannelToMontage_FromSource(QVT_Headset* headset, QVT_Source* source) {
  GuardedVoid([&] { Changing(headset, kMontage)->AddChannelToMontage(POINTER(source, QVT::api::kSource)); });
}

QVT_API void QVT_Headset_AddChannelToMontage_FromString(QVT_Headset* headset, const char* specification,
                                                        int autoSwap) {
  GuardedVoid(
      [&] { Changing(headset, kMontage)->AddChannelToMontage(TextArgument(specification), autoSwap != 0); });
}

QVT_API const char* QVT_Headset_SetTraditionalReference(QVT_Headset* headset, int autoSwap) {
  return GuardedString([&] { return Changing(headset, kMontage)->SetTraditionalReference(autoSwap != 0); });
}

QVT_API void QVT_Headset_SetDefaultReference(QVT_Headset* headset, const char* reference, int autoSwap) {
  GuardedVoid(
      [&] { Changing(headset, kMontage)->SetDefaultReference(TextArgument(reference), autoSwap != 0); });
}

QVT_API const char* QVT_Headset_GetFactoryReferenceString(QVT_Headset* headset) {
  return GuardedString([&] { return POINTER(headset, kHeadset)->FactoryReferenceDescription(); });
}

QVT_API const char* QVT_Headset_GetReferenceString(QVT_Headset* headset) {
  return GuardedString([&] { return POINTER(headset, kHeadset)->ReferenceDescription(); });
}

QVT_API void QVT_Headset_ForgetMontage(QVT_Headset* headset) {
  GuardedVoid([&] { Changing(headset, kMontage)->ForgetMontage(); });
}

QVT_API const char* QVT_Headset_GetMontageString(QVT_Headset* headset) {
  return GuardedString([&] { return POINTER(headset, kHeadset)->MontageString(true); });
}

QVT_API unsigned QVT_Headset_GetNumberOfChannels(QVT_Headset* headset) {
  return Guarded(0u, [&] { return static_cast<unsigned>(POINTER(headset, kHeadset)->montage.size()); });
}

QVT_API QVT_Channel* QVT_Headset_GetChannelByIndex(QVT_Headset* headset, unsigned index) {
  return Guarded<QVT_Channel*>(nullptr, [&] { return POINTER(headset, kHeadset)->GetChannelByIndex(index); });
}

QVT_API QVT_Channel* QVT_Headset_GetChannelByName(QVT_Headset* headset, const char* name) {
  return Guarded<QVT_Channel*>(
      nullptr, [&] { return POINTER(headset, kHeadset)->GetChannelByName(TextArgument(name), true); });
}

// ---- sources and naming ----------------------------------------------------------

QVT_API void QVT_Headset_UseNamingScheme(QVT_Headset* headset, const char* scheme) {
  GuardedVoid([&] { Changing(headset, kSources)->UseNamingScheme(TextArgument(scheme)); });
}

QVT_API int QVT_Headset_RenameSource(QVT_Headset* headset, const char* from, const char* to) {
  return Guarded(0, [&] {
    return Changing(headset, kSources)->RenameSource(TextArgument(from), TextArgument(to)) ? 1 : 0;
  });
}

QVT_API int QVT_Headset_AddSourceAliases(QVT_Headset* headset, const char* aliases) {
  return Guarded(
      0, [&] { return Changing(headset, kSources)->AddSourceAliases(TextArgument(aliases)) ? 1 : 0; });
}

QVT_API const char* QVT_Headset_GetSourceNames(QVT_Headset* headset, unsigned flags) {
  return GuardedString(
      [&] { return POINTER(headset, kHeadset)->SourceNames(static_cast<unsigned short>(flags)); });
}

QVT_API unsigned QVT_Headset_GetNumberOfSources(QVT_Headset* headset) {
  return Guarded(0u, [&] { return static_cast<unsigned>(POINTER(headset, kHeadset)->sources.size()); });
}

// Indexes every source, so that it pairs with QVT_Headset_GetNumberOfSources.
QVT_API QVT_Source* QVT_Headset_GetSourceByIndex(QVT_Headset* headset, unsigned index) {
  return Guarded<QVT_Source*>(nullptr,
                              [&] { return POINTER(headset, kHeadset)->GetSourceByIndex(index, true); });
}

QVT_API QVT_Source* QVT_Headset_GetSourceByName(QVT_Headset* headset, const char* name) {
  return Guarded<QVT_Source*>(
      nullptr, [&] { return POINTER(headset, kHeadset)->MatchSource(TextArgument(name), true); });
}

// ---- buffers and batches -----------------------------------------------------------

QVT_API void QVT_Headset_ReallocateBuffers(QVT_Headset* headset, double bufferSeconds,
                                           double averagingSeconds) {
  GuardedVoid([&] { Changing(headset, kBuffers)->ReallocateBuffers(bufferSeconds, averagingSeconds); });
}

QVT_API void QVT_Headset_FlushBuffers(QVT_Headset* headset) {
  GuardedVoid([&] { Changing(headset, kBuffers)->FlushBuffers(); });
}

QVT_API unsigned QVT_Headset_GetNumberOfBufferedSamples(QVT_Headset* headset) {
  return Guarded(0u, [&] { return static_cast<unsigned>(POINTER(headset, kHeadset)->Buffered()); });
}

QVT_API unsigned QVT_Headset_GetNumberOfOverflowedSamples(QVT_Headset* headset) {
  return Guarded(0u, [&] { return static_cast<unsigned>(POINTER(headset, kHeadset)->BufferOverflow()); });
}

QVT_API void QVT_Headset_ConfigureBufferingController(QVT_Headset* headset, double interval, double smoothing,
                                                      double p, double i, double d) {
  GuardedVoid(
      [&] { POINTER(headset, kHeadset)->ConfigureBufferingController(interval, smoothing, p, i, d); });
}

QVT_API void QVT_Headset_ConfigureBatch(QVT_Headset* headset, unsigned samples, double delay) {
  GuardedVoid([&] { POINTER(headset, kHeadset)->ConfigureBatch(samples, delay); });
}

QVT_API double QVT_Headset_WaitForBatch(QVT_Headset* headset) {
  return Guarded(0.0, [&] { return POINTER(headset, kHeadset)->WaitForBatch(); });
}

QVT_API unsigned long QVT_Headset_WaitForSamples(QVT_Headset* headset, unsigned long n) {
  return Guarded(0ul, [&] {
    QVT::Headset& h = *POINTER(headset, kHeadset);
    h.WaitForSamples(n);
    return h.Buffered();
  });
}

// ---- processing cascade --------------------------------------------------------------

// A null input is meaningful (the last stage, else the montage) and a null
// stage is left to the methods, which ignore it.
QVT_API QVT_ProcessingStage* QVT_Headset_AddProcessingStage(QVT_Headset* headset, const char* name,
                                                            QVT_ProcessingStageFunction func, void* paramData,
                                                            QVT_ProcessingStage* input) {
  return Guarded<QVT_ProcessingStage*>(nullptr, [&] {
    return Changing(headset, kCascade)->AddProcessingStage(TextArgument(name), func, paramData, input);
  });
}

QVT_API void QVT_Headset_ReallocateStageBuffers(QVT_Headset* headset, QVT_ProcessingStage* stage,
                                                double seconds) {
  GuardedVoid([&] { Changing(headset, kBuffers)->ReallocateStageBuffers(stage, seconds); });
}

QVT_API unsigned QVT_Headset_GetNumberOfProcessingStages(QVT_Headset* headset) {
  return Guarded(0u, [&] { return static_cast<unsigned>(POINTER(headset, kHeadset)->cascade.size()); });
}

QVT_API QVT_ProcessingStage* QVT_Headset_GetProcessingStageByIndex(QVT_Headset* headset, unsigned index) {
  return Guarded<QVT_ProcessingStage*>(
      nullptr, [&] { return POINTER(headset, kHeadset)->GetProcessingStageByIndex(index); });
}

QVT_API QVT_ProcessingStage* QVT_Headset_GetProcessingStageByName(QVT_Headset* headset, const char* name) {
  return Guarded<QVT_ProcessingStage*>(
      nullptr, [&] { return POINTER(headset, kHeadset)->MatchProcessingStage(TextArgument(name), true); });
}

}  // extern "C"
