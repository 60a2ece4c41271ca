// Recording as a part of the acquisition: the montage to a BDF+ file, with
// triggers, lost samples, alarms, impedances, markers and link losses as
// annotations (Recording), written on the writer's own thread.
#pragma once

#include <memory>
#include <string>

#include "Part.h"
#include "RecordOptions.h"
#include "RecordWriter.h"
#include "Recording.h"

namespace QVT::Record {

// The file's signal for a channel of the montage.
Signal SignalOf(const Session::ChannelPlan& channel);

class RecordingPart : public Session::Part {
 public:
  explicit RecordingPart(const RecordOptions& recordOptions);
  ~RecordingPart() override;
  RecordingPart(const RecordingPart&) = delete;
  RecordingPart& operator=(const RecordingPart&) = delete;

  void Start(const Session::SessionStart& start) override;
  void Samples(const Session::SampleBlock& block) override;
  void GapFound(const Session::Gap& gap) override;
  void EventFound(const Session::Event& event) override;
  void Report(Tools::Progress& progress) override;
  std::string Failure() const override;
  std::string End(const Session::SessionEnd& end) override;

 private:
  class FileSink;

  const RecordOptions& options;
  std::string equipment;
  double rate = 0.0;
  int recordSamples = 0;
  std::unique_ptr<RecordWriter> writer;
  std::unique_ptr<FileSink> sink;
  std::unique_ptr<Recording> recording;
  bool headerWritten = false;
  bool linkDown = false;  // lost and not restored
  // Markers whose text the file cuts, for the summary to show whole.
  std::vector<std::string> cutMarkers;
  std::uint64_t cutMarkersNotKept = 0;
  std::vector<double> values;
};

}  // namespace QVT::Record
