#include "ProgressDisplay.h"

#include <cmath>
#include <sstream>

namespace QVT::Tools {

std::string FormatProgress(const Progress& progress) {
  const double rate =
      progress.elapsedSeconds > 0.0 ? static_cast<double>(progress.samples) / progress.elapsedSeconds : 0.0;
  std::ostringstream text;
  text.setf(std::ios::fixed);
  text.precision(1);
  text << "elapsed " << progress.elapsedSeconds << " s  samples " << progress.samples << "  rate " << rate
       << " Hz  buffered " << progress.buffered << "  overflowed " << progress.overflowed << "  lost "
       << progress.lostSamples << " in " << progress.gaps << (progress.gaps == 1 ? " gap" : " gaps");
  if (progress.fileBytes >= 0) text << "  file " << static_cast<double>(progress.fileBytes) / 1e6 << " MB";
  text << progress.extra;
  return text.str();
}

void ProgressDisplay::Update(const Progress& progress) {
  if (terminal) {
    // A tenth of a second between redraws is smooth enough and keeps the
    // terminal traffic small.
    if (drawn && progress.elapsedSeconds - lastShown < 0.1) return;
    std::fprintf(out, "\r%s\033[K", FormatProgress(progress).c_str());
    lastShown = progress.elapsedSeconds;
    drawn = true;
  } else {
    const double second = std::floor(progress.elapsedSeconds);
    if (second <= lastShown) return;
    lastLine = FormatProgress(progress);
    std::fprintf(out, "%s\n", lastLine.c_str());
    lastShown = second;
  }
  std::fflush(out);
}

void ProgressDisplay::Finish(const Progress& last) {
  if (terminal && drawn) std::fprintf(out, "\r%s\033[K\n", FormatProgress(last).c_str());
  if (!terminal && lastShown >= 0.0 && FormatProgress(last) != lastLine) {
    lastLine = FormatProgress(last);
    std::fprintf(out, "%s\n", lastLine.c_str());
  }
  drawn = false;
  std::fflush(out);
}

}  // namespace QVT::Tools
