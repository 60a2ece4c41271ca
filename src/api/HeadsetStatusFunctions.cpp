// The exported functions that report a headset's state: alarms, battery,
// identity, modes and rates, and the information report.
#include <algorithm>
#include <cstring>

#include "api/Boundary.h"
#include "core/Headset.h"
#include "protocol/Alarms.h"

using QVT::api::Guarded;
using QVT::api::GuardedAll;
using QVT::api::GuardedString;
using QVT::api::GuardedVoid;
using QVT::api::kHeadset;

namespace {

template <typename Result, typename Value>
Result Reported(QVT_Headset* headset, Value value) {
  return Guarded<Result>(Result{}, [&] { return static_cast<Result>(value(*POINTER(headset, kHeadset))); });
}

// As much of text as fits, always NUL-terminated.
template <std::size_t N>
void CopyCut(const std::string& text, char (&to)[N]) {
  const std::size_t n = std::min(text.size(), N - 1);
  std::memcpy(to, text.data(), n);
  to[n] = '\0';
}

template <typename Value>
const char* ReportedText(QVT_Headset* headset, Value value) {
  return GuardedString([&] { return value(*POINTER(headset, kHeadset)); });
}

}  // namespace

extern "C" {

// ---- alarms ---------------------------------------------------------------------------

QVT_API int QVT_Headset_GetAlarm(QVT_Headset* headset, int remove) {
  return Guarded(0, [&] { return POINTER(headset, kHeadset)->GetAlarm(remove != 0); });
}

QVT_API unsigned QVT_Headset_GetNumberOfAlarms(QVT_Headset* headset) {
  return Guarded(0u, [&] { return static_cast<unsigned>(POINTER(headset, kHeadset)->NumberOfAlarms()); });
}

QVT_API void QVT_Headset_ClearAlarms(QVT_Headset* headset) {
  GuardedVoid([&] { POINTER(headset, kHeadset)->ClearAlarms(); });
}

QVT_API int QVT_Headset_GetAlarmRecord(QVT_Headset* headset, QVT_AlarmRecord* record, int remove) {
  return GuardedAll(0, [&] {
    QVT::Headset& h = *POINTER(headset, kHeadset);
    if (record == nullptr) throw std::string("NULL QVT_AlarmRecord pointer");
    QVT::QueuedAlarm alarm;
    if (!h.TakeAlarm(alarm, remove != 0)) return 0;
    *record = QVT_AlarmRecord{};
    record->code = alarm.code;
    record->parameterCount = alarm.parameterCount;
    for (int i = 0; i < alarm.parameterCount; ++i) record->parameters[i] = alarm.Parameter(i);
    record->time = alarm.time;
    CopyCut(QVT::AlarmName(alarm.code), record->name);
    CopyCut(alarm.Text(), record->text);
    return 1;
  });
}

// ---- the link ------------------------------------------------------------------------------

QVT_API int QVT_Headset_GetLinkState(QVT_Headset* headset, double* sinceSeconds) {
  return GuardedAll(0, [&] {
    double since = 0.0;
    const auto state = POINTER(headset, kHeadset)->CurrentLinkState(since);
    if (sinceSeconds != nullptr) *sinceSeconds = since;
    return static_cast<int>(state);
  });
}

QVT_API int QVT_Headset_IsBlueToothInitialized(QVT_Headset* headset) {
  return Reported<int>(headset, [](const QVT::Headset& h) { return h.connectionCreated ? 1 : 0; });
}

// ---- battery and identity ------------------------------------------------------------------

// Readings count from 1; anything else is no reading at all.
QVT_API double QVT_Headset_GetBatteryLevel(QVT_Headset* headset, int which) {
  return Reported<double>(headset, [&](const QVT::Headset& h) { return h.BatteryReading(which); });
}

QVT_API const char* QVT_Headset_GetBatteryLevelString(QVT_Headset* headset) {
  return ReportedText(headset, [](const QVT::Headset& h) { return h.BatteryLevel(); });
}

QVT_API const char* QVT_Headset_GetHardwareModel(QVT_Headset* headset) {
  return ReportedText(headset, [](const QVT::Headset& h) { return h.HardwareModel(); });
}

QVT_API const char* QVT_Headset_GetHardwareRevision(QVT_Headset* headset) {
  return ReportedText(headset, [](const QVT::Headset& h) { return h.HardwareRevision(); });
}

QVT_API const char* QVT_Headset_GetFirmwareRevision(QVT_Headset* headset) {
  return ReportedText(headset, [](const QVT::Headset& h) { return h.FirmwareRevision(); });
}

QVT_API const char* QVT_Headset_GetInfoString(QVT_Headset* headset) {
  return ReportedText(headset, [](const QVT::Headset& h) { return h.InfoString(); });
}

// ---- reported values ----------------------------------------------------------------------

QVT_API int QVT_Headset_GetSensorCount(QVT_Headset* headset) {
  return Reported<int>(headset, [](const QVT::Headset& h) { return h.sensorCount.load(); });
}

QVT_API int QVT_Headset_GetSerialNumber(QVT_Headset* headset) {
  return Reported<int>(headset, [](const QVT::Headset& h) { return h.serialNumber.load(); });
}

QVT_API double QVT_Headset_GetSamplingRate(QVT_Headset* headset) {
  return Reported<double>(headset, [](const QVT::Headset& h) { return h.samplingRate.load(); });
}

QVT_API double QVT_Headset_GetAccelerometerRate(QVT_Headset* headset) {
  return Reported<double>(headset, [](const QVT::Headset& h) { return h.accelerometerRate.load(); });
}

QVT_API int QVT_Headset_GetFilterMode(QVT_Headset* headset) {
  return Reported<int>(headset, [](const QVT::Headset& h) { return h.filterMode.load(); });
}

QVT_API int QVT_Headset_GetDataAcquisitionMode(QVT_Headset* headset) {
  return Reported<int>(headset, [](const QVT::Headset& h) { return h.dataAcquisitionMode.load(); });
}

QVT_API int QVT_Headset_GetImpedanceDriverMode(QVT_Headset* headset) {
  return Reported<int>(headset, [](const QVT::Headset& h) { return h.impedanceDriverMode.load(); });
}

QVT_API int QVT_Headset_GetAnalogResetMode(QVT_Headset* headset) {
  return Reported<int>(headset, [](const QVT::Headset& h) { return h.analogResetMode.load(); });
}

QVT_API double QVT_Headset_GetImpedanceCMF(QVT_Headset* headset) {
  return Reported<double>(headset, [](const QVT::Headset& h) { return h.ImpedanceCMF(); });
}

}  // extern "C"

static_assert(static_cast<int>(QVT::Headset::LinkState::Closed) == QVT_LINK_CLOSED);
static_assert(static_cast<int>(QVT::Headset::LinkState::Connected) == QVT_LINK_CONNECTED);
static_assert(static_cast<int>(QVT::Headset::LinkState::Streaming) == QVT_LINK_STREAMING);
static_assert(static_cast<int>(QVT::Headset::LinkState::Lost) == QVT_LINK_LOST);
static_assert(sizeof(QVT_AlarmRecord::parameters) / sizeof(int) == QVT::QueuedAlarm::kMostParameters);
