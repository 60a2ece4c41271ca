// The acquisition core every program that holds a headset runs: the
// identity, the impedance check, the montage, paced batches with lost
// samples found and filled in on the true sample count, acquisition stamps
// from the clock model, trigger onsets on their true samples, alarms, a
// lost link and the reconnection, the status line and the summary. What
// the program does with the signal is up to the parts it adds (Part.h).
//
//   Acquisition acquisition(settings, Connect(port, verbosity));
//   acquisition.Add(recordingPart);
//   acquisition.Add(lslPart);
//   return acquisition.Run();
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "BatchLoop.h"
#include "HeadsetReport.h"
#include "MarkerQueue.h"
#include "Part.h"

namespace QVT::Session {

struct AcquisitionSettings {
  std::string program;  // for messages, e.g. "qvt-record"
  std::string port;     // the device, to reconnect to
  // Of signal, lost samples counted: the parts get exactly this much; 0
  // until Ctrl-C.
  double seconds = 0.0;
  double impedanceSeconds = 0.0;  // 0: no impedance check
  bool reconnect = false;         // when the link is lost, reconnect every 2 s and go on
  int verbosity = 1;
  // Channel specifications ("Fp1-M1", "TRG") that replace the headset's
  // montage; empty: the montage it has.
  std::vector<std::string> montage;
  Tools::BatchPacing pacing;  // publishing wants short batches, a file long ones
};

class Acquisition {
 public:
  Acquisition(AcquisitionSettings settings, Tools::HeadsetHandle connected);
  ~Acquisition();
  Acquisition(const Acquisition&) = delete;
  Acquisition& operator=(const Acquisition&) = delete;

  // Parts are called in the order added; they must outlive Run.
  void Add(Part& part);

  // A marker from any thread: its text, the time it stands for (seconds,
  // CLOCK_MONOTONIC) and where it came from. The parts get it as an Event
  // on the acquisition thread, at the sample nearest its time, once that
  // sample is taken (at the end, the nearest there is).
  void Mark(std::string text, double stamp, std::string source);
  // Where marker sources deliver (Markers::MarkerSources): the same queue,
  // bounded, counting per source what it received, dropped and cut.
  Markers::MarkerQueue& MarkerInbox();

  // Runs until Ctrl-C, the end of `seconds`, a part's failure or a lost link
  // that is not to be reconnected, and prints the summary. Returns 0;
  // throws Tools::RuntimeError when the headset, the link or a part failed
  // (after the parts have ended).
  int Run();

 private:
  struct State;
  std::unique_ptr<State> state;
};

}  // namespace QVT::Session
