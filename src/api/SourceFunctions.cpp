// The exported functions of a source: what kind of signal it is, its name,
// and its latest value and estimates.
#include "api/Arguments.h"
#include "api/Boundary.h"
#include "model/Source.h"

using QVT::api::Guarded;
using QVT::api::GuardedString;
using QVT::api::GuardedVoid;
using QVT::api::kSource;
using QVT::api::TextArgument;

namespace {

// Runs a yes/no question about a non-null source as a C flag.
template <typename Question>
int SourceFlag(QVT_Source* source, Question question) {
  return Guarded(0, [&] { return question(*POINTER(source, kSource)) ? 1 : 0; });
}

template <typename Value>
double SourceValue(QVT_Source* source, Value value) {
  return Guarded(0.0, [&] { return value(*POINTER(source, kSource)); });
}

}  // namespace

extern "C" {

QVT_API int QVT_Source_IsTrigger(QVT_Source* source) {
  return SourceFlag(source, [](const QVT::Source& s) { return s.IsTrigger(); });
}

QVT_API int QVT_Source_IsSensor(QVT_Source* source) {
  return SourceFlag(source, [](const QVT::Source& s) { return s.IsSensor(); });
}

QVT_API int QVT_Source_IsReferentialEEG(QVT_Source* source) {
  return SourceFlag(source, [](const QVT::Source& s) { return s.IsReferentialEEG(); });
}

// The factory reference electrode is the one the calibration gives no gain.
QVT_API int QVT_Source_IsFactoryReference(QVT_Source* source) {
  return SourceFlag(source, [](const QVT::Source& s) { return s.gain == 0.0; });
}

QVT_API int QVT_Source_IsCommonModeSignal(QVT_Source* source) {
  return SourceFlag(source, [](const QVT::Source& s) { return s.id == QVT::SourceID::CM; });
}

QVT_API void QVT_Source_SetName(QVT_Source* source, const char* name) {
  GuardedVoid([&] { POINTER(source, kSource)->name = TextArgument(name); });
}

QVT_API const char* QVT_Source_GetName(QVT_Source* source) {
  return GuardedString([&] { return POINTER(source, kSource)->Name(); });
}

QVT_API double QVT_Source_GetSignal(QVT_Source* source) {
  return SourceValue(source, [](const QVT::Source& s) { return s.Signal(); });
}

QVT_API double QVT_Source_GetGain(QVT_Source* source) {
  return SourceValue(source, [](const QVT::Source& s) { return s.Gain(); });
}

QVT_API double QVT_Source_GetImpedanceEEG(QVT_Source* source) {
  return SourceValue(source, [](const QVT::Source& s) { return s.ImpedanceEEG(); });
}

QVT_API double QVT_Source_GetImpedanceCMF(QVT_Source* source) {
  return SourceValue(source, [](const QVT::Source& s) { return s.ImpedanceCMF(); });
}

QVT_API double QVT_Source_GetDCOffset(QVT_Source* source) {
  return SourceValue(source, [](const QVT::Source& s) { return s.DCOffset(); });
}

}  // extern "C"
