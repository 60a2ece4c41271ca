#include "HeadsetProbe.h"

#include <chrono>

#include "HeadsetReport.h"
#include "LibraryCalls.h"
#include "qvt/qvt.h"

namespace QVT::Tools {

namespace {

// The library's last error, forgotten ("" when there was none).
std::string TakeError() { return Copy(QVT_ClearError()); }

}  // namespace

ProbeOutcome ProbeHeadset(const std::string& port) {
  ProbeOutcome outcome;
  TakeError();
  HeadsetHandle headset(QVT_Headset_New(nullptr));
  if (!headset) {
    outcome.failure = TakeError();
    return outcome;
  }
  QVT_Headset_SetMessageCallback(headset.get(), nullptr);  // the outcome says what went wrong
  QVT_Headset_Connect(headset.get(), port.c_str());
  if (outcome.failure = TakeError(); !outcome.failure.empty()) return outcome;

  outcome.model = Copy(QVT_Headset_GetHardwareModel(headset.get()));
  outcome.revision = Copy(QVT_Headset_GetHardwareRevision(headset.get()));
  outcome.serialNumber = QVT_Headset_GetSerialNumber(headset.get());
  outcome.sensors = QVT_Headset_GetSensorCount(headset.get());
  outcome.firmware = Copy(QVT_Headset_GetFirmwareRevision(headset.get()));
  outcome.battery = Copy(QVT_Headset_GetBatteryLevelString(headset.get()));
  outcome.samplingRate = QVT_Headset_GetSamplingRate(headset.get());
  // The driver is already off after connecting: the command changes nothing
  // and waits for its reply.
  const auto sent = std::chrono::steady_clock::now();
  QVT_Headset_StopImpedanceDriver(headset.get());
  const auto replied = std::chrono::steady_clock::now();
  if (const std::string error = TakeError(); !error.empty())
    outcome.failure = "connected, but a command got no reply: " + error;
  else
    outcome.roundTripMs = std::chrono::duration<double, std::milli>(replied - sent).count();
  return outcome;
}

}  // namespace QVT::Tools
