// The live progress of a stream: one line redrawn in place on a terminal, a
// plain log line per second of signal otherwise.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

namespace QVT::Tools {

struct Progress {
  double elapsedSeconds = 0.0;
  std::uint64_t samples = 0;
  unsigned buffered = 0;
  unsigned overflowed = 0;
  std::uint64_t lostSamples = 0;  // on the way from the headset
  unsigned gaps = 0;
  std::int64_t fileBytes = -1;  // negative: nothing is written
  double driftPpm = 0.0;         // the headset's clock, as fitted; shown by whoever adds it to `extra`
  std::string extra;             // more fields, each starting with two blanks
};

// "elapsed 2.0 s  samples 500  rate 250.0 Hz  buffered 13  overflowed 0
// lost 0 in 0 gaps", then "  file 1.2 MB" when a file is written and any
// extra fields; the rate
// is samples per elapsed second (0 before any time has passed).
std::string FormatProgress(const Progress& progress);

class ProgressDisplay {
 public:
  ProgressDisplay(std::FILE* destination, bool onTerminal) : out(destination), terminal(onTerminal) {}

  void Update(const Progress& progress);
  // Redraws the final state and ends the line so that what follows starts
  // on a fresh one; in a log, adds the final state unless it was the last
  // line shown.
  void Finish(const Progress& last);

 private:
  std::FILE* out;
  bool terminal;
  bool drawn = false;
  double lastShown = -1.0;
  std::string lastLine;  // in a log
};

}  // namespace QVT::Tools
