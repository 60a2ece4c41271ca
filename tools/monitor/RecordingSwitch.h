// Recording as the page starts and stops it: a recording part (the one
// qvt-record runs) made afresh for each file, fed from the sample it starts
// at, with sample numbers counted from there. Each file gets a name of the
// program's making in the recording directory.
#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <string>

#include "MonitorHub.h"
#include "Part.h"
#include "RecordOptions.h"
#include "RecordingPart.h"

namespace QVT::Monitor {

class RecordingSwitch : public Session::Part {
 public:
  RecordingSwitch(std::string directory, std::string subject, MonitorHub& hub);
  ~RecordingSwitch() override;

  // From any thread: what the page asked for; done with the next batch.
  void Want(bool on) { wanted = on; }

  void Start(const Session::SessionStart& start) override;
  void Samples(const Session::SampleBlock& block) override;
  void GapFound(const Session::Gap& gap) override;
  void EventFound(const Session::Event& event) override;
  void Report(Tools::Progress& progress) override;
  std::string End(const Session::SessionEnd& end) override;

 private:
  // Starts or ends a file as wanted; after a batch, so that a file starts
  // at a block's first sample.
  void Switch();
  void Finish();
  void Show();
  std::string NewFileName() const;

  const std::string directory;
  const std::string subject;
  MonitorHub& hub;
  std::atomic<bool> wanted{false};
  Session::SessionStart session;
  Record::RecordOptions options;  // of the file being written
  std::unique_ptr<Record::RecordingPart> part;
  std::uint64_t next = 0;   // the session's number of the next sample
  std::uint64_t first = 0;  // the session's sample number of the file's first
  RecordingStatus status;
  Tools::Progress progress;
  std::chrono::steady_clock::time_point lastShown;
};

}  // namespace QVT::Monitor
