// The exported functions that create and delete a headset, manage its link,
// callbacks and threads, and send it commands.
#include <memory>

#include "api/Arguments.h"
#include "api/Boundary.h"
#include "core/Headset.h"

using QVT::api::Guarded;
using QVT::api::GuardedString;
using QVT::api::GuardedVoid;
using QVT::api::kHeadset;
using QVT::api::TextArgument;

namespace {

// A named command sent for its effect; its success flag is not the C result.
template <typename Command>
void SendCommand(QVT_Headset* headset, Command command) {
  GuardedVoid([&] { command(*POINTER(headset, kHeadset)); });
}

}  // namespace

extern "C" {

QVT_API QVT_Headset* QVT_Headset_New(const char* port) {
  return Guarded<QVT_Headset*>(nullptr, [&] {
    const std::string name = TextArgument(port);
    return new QVT::Headset(name.empty() ? std::string("deferred") : name);
  });
}

// The destructor reports its own clean-up errors through the headset's
// message callback; none of them reaches the last error.
QVT_API void QVT_Headset_Delete(QVT_Headset* headset) {
  GuardedVoid([&] {
    QVT::Headset* h = POINTER(headset, kHeadset);
    // Its own callbacks run in the middle of work that deletion would pull
    // the headset from under.
    h->RefuseInsideLinkWork("delete the headset");
    delete h;
  });
}

QVT_API void QVT_Headset_SetVerbosity(QVT_Headset* headset, int level) {
  GuardedVoid([&] { POINTER(headset, kHeadset)->verbosity = level; });
}

QVT_API void QVT_Headset_SetMessageCallback(QVT_Headset* headset, QVT_MessageCallback callback) {
  GuardedVoid([&] { POINTER(headset, kHeadset)->messageCallback.Set(callback); });
}

QVT_API void QVT_Headset_SetSampleCallback(QVT_Headset* headset, QVT_SampleCallback callback,
                                           void* clientData) {
  GuardedVoid([&] { POINTER(headset, kHeadset)->sampleCallback.Set(callback, clientData); });
}

QVT_API void QVT_Headset_Connect(QVT_Headset* headset, const char* port) {
  GuardedVoid([&] { POINTER(headset, kHeadset)->Connect(TextArgument(port), true); });
}

QVT_API int QVT_Headset_IsConnected(QVT_Headset* headset) {
  return Guarded(0, [&] { return POINTER(headset, kHeadset)->IsConnected() ? 1 : 0; });
}

QVT_API void QVT_Headset_SetWatchdogInterval(QVT_Headset* headset, double seconds) {
  GuardedVoid([&] { POINTER(headset, kHeadset)->SetWatchdogInterval(seconds); });
}

QVT_API double QVT_Headset_SecondsSinceConnection(QVT_Headset* headset) {
  return Guarded(0.0, [&] { return POINTER(headset, kHeadset)->serial.Elapsed(); });
}

QVT_API const char* QVT_Headset_GetPort(QVT_Headset* headset) {
  return GuardedString([&] { return POINTER(headset, kHeadset)->serial.Name(); });
}

QVT_API void QVT_Headset_Disconnect(QVT_Headset* headset) {
  GuardedVoid([&] { POINTER(headset, kHeadset)->Disconnect(); });
}

QVT_API int QVT_Headset_StartBackgroundAcquisition(QVT_Headset* headset) {
  return Guarded(0, [&] { return POINTER(headset, kHeadset)->StartBackgroundAcquisition() ? 1 : 0; });
}

QVT_API void QVT_Headset_StopBackgroundAcquisition(QVT_Headset* headset) {
  GuardedVoid([&] { POINTER(headset, kHeadset)->StopBackgroundAcquisition(); });
}

QVT_API void QVT_Headset_Idle(QVT_Headset* headset, double seconds) {
  GuardedVoid([&] { POINTER(headset, kHeadset)->Idle(seconds); });
}

QVT_API void QVT_Headset_Receive(QVT_Headset* headset, double duration, double lingerTime) {
  GuardedVoid([&] { POINTER(headset, kHeadset)->Receive(duration, lingerTime); });
}

// The settings words, rates and LED patterns travel as 16-bit words.
QVT_API void QVT_Headset_ConfigureADC(QVT_Headset* headset, unsigned a, unsigned b) {
  SendCommand(headset, [&](QVT::Headset& h) {
    h.ConfigureAcquisitionSettings(static_cast<unsigned short>(a), static_cast<unsigned short>(b));
  });
}

QVT_API void QVT_Headset_SetAccelerometerRate(QVT_Headset* headset, unsigned rate) {
  SendCommand(headset, [&](QVT::Headset& h) { h.SetAccelerometerRate(static_cast<unsigned short>(rate)); });
}

QVT_API void QVT_Headset_ChangeLEDs(QVT_Headset* headset, unsigned pattern) {
  SendCommand(headset, [&](QVT::Headset& h) { h.ChangeLEDs(static_cast<unsigned short>(pattern)); });
}

QVT_API void QVT_Headset_KillDataStream(QVT_Headset* headset, int wait) {
  SendCommand(headset, [&](QVT::Headset& h) { h.KillDataStream(wait != 0); });
}

QVT_API void QVT_Headset_SendBatteryQuery(QVT_Headset* headset) {
  SendCommand(headset, [](QVT::Headset& h) { h.StartBatteryMonitor(); });
}

QVT_API void QVT_Headset_StartDataAcquisition(QVT_Headset* headset) {
  SendCommand(headset, [](QVT::Headset& h) { h.StartDataAcquisition(); });
}

QVT_API void QVT_Headset_StopDataAcquisition(QVT_Headset* headset) {
  SendCommand(headset, [](QVT::Headset& h) { h.StopDataAcquisition(); });
}

QVT_API void QVT_Headset_StartImpedanceDriver(QVT_Headset* headset) {
  SendCommand(headset, [](QVT::Headset& h) { h.StartImpedanceDriver(); });
}

QVT_API void QVT_Headset_StopImpedanceDriver(QVT_Headset* headset) {
  SendCommand(headset, [](QVT::Headset& h) { h.StopImpedanceDriver(); });
}

// A client's request is confirmed like every other command.
QVT_API void QVT_Headset_StartAnalogReset(QVT_Headset* headset) {
  SendCommand(headset, [](QVT::Headset& h) { h.StartAnalogReset(true); });
}

QVT_API void QVT_Headset_LockAnalogReset(QVT_Headset* headset) {
  SendCommand(headset, [](QVT::Headset& h) { h.LockAnalogReset(); });
}

QVT_API void QVT_Headset_ReleaseAnalogReset(QVT_Headset* headset) {
  SendCommand(headset, [](QVT::Headset& h) { h.ReleaseAnalogReset(); });
}

QVT_API void QVT_Headset_Shutdown(QVT_Headset* headset) {
  SendCommand(headset, [](QVT::Headset& h) { h.Shutdown(); });
}

QVT_API void QVT_Headset_UseOptionalCommandPrefix(QVT_Headset* headset, int on) {
  GuardedVoid([&] { POINTER(headset, kHeadset)->commandPrefix = on != 0 ? "~" : ""; });
}

}  // extern "C"
