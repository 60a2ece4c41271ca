// An EDF, EDF+, BDF or BDF+ recording opened through EDFlib and read a
// piece at a time: only the header and the annotations are read at once.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace QVT::emulator {

// A recording that cannot be played, and why.
class PlaybackError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct RecordedSignal {
  std::string label;
  std::string unit;
  double rate = 0.0;  // samples per second
};

struct RecordedAnnotation {
  double onset = 0.0;      // seconds from the start
  double duration = -1.0;  // seconds; negative: none given
  std::string text;
};

class RecordingFile {
 public:
  // Throws PlaybackError when EDFlib refuses the file or its header makes
  // no sense for playback (no signals, a rate of 0, absurd sizes).
  explicit RecordingFile(const std::string& path);
  ~RecordingFile();
  RecordingFile(const RecordingFile&) = delete;
  RecordingFile& operator=(const RecordingFile&) = delete;

  // The signals, annotation channels left out.
  const std::vector<RecordedSignal>& Signals() const { return signals_; }
  const std::vector<RecordedAnnotation>& Annotations() const { return annotations_; }
  double Seconds() const { return seconds_; }

  // Up to count physical values of signal (an index into Signals()), from
  // where its last read ended; fewer at the end of the file. Throws
  // PlaybackError when the file cannot be read.
  std::size_t Read(std::size_t signal, double* out, std::size_t count);
  // Every signal starts again from the beginning.
  void Rewind();

 private:
  int handle_ = -1;
  std::vector<int> edfSignal_;  // EDFlib's index of each signal
  std::vector<RecordedSignal> signals_;
  std::vector<RecordedAnnotation> annotations_;
  double seconds_ = 0.0;
};

}  // namespace QVT::emulator
