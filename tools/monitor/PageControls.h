// The page's commands, handed to the parts that carry them out on
// acquisition's thread.
#pragma once

#include "Acquisition.h"
#include "ImpedanceCheck.h"
#include "MonitorControls.h"
#include "RecordingSwitch.h"

namespace QVT::Monitor {

class PageControls : public MonitorControls {
 public:
  PageControls(ImpedanceCheck& check, RecordingSwitch& recordingSwitch, Session::Acquisition& core)
      : impedances(check), recording(recordingSwitch), acquisition(core) {}

  void SetImpedanceCheck(bool on) override { impedances.Want(on); }
  void StartRecording() override { recording.Want(true); }
  void StopRecording() override { recording.Want(false); }
  void Mark(const std::string& text) override;

 private:
  ImpedanceCheck& impedances;
  RecordingSwitch& recording;
  Session::Acquisition& acquisition;
};

}  // namespace QVT::Monitor
