// What the page may ask of the program that holds the headset. Called from
// the web server's threads; each returns at once (the work is done by
// acquisition's thread) and throws std::runtime_error with a line for the
// page when it cannot be done.
#pragma once

#include <string>

namespace QVT::Monitor {

class MonitorControls {
 public:
  virtual ~MonitorControls() = default;
  virtual void SetImpedanceCheck(bool on) = 0;
  // Starts a recording into a new file of the recording directory, named by
  // the program, never by the page.
  virtual void StartRecording() = 0;
  virtual void StopRecording() = 0;
  // A marker with this text at the current sample.
  virtual void Mark(const std::string& text) = 0;
};

}  // namespace QVT::Monitor
