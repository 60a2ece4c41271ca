// Writes EDF+ or BDF+ recordings through EDFlib for the tests and
// benchmarks of playback: whole one-second records, values from functions.
#pragma once

#include <edflib.h>

#include <functional>
#include <string>
#include <vector>

namespace QVT::testing {

struct WrittenSignal {
  std::string label;
  int rate = 256;  // samples per second
  std::function<double(long long sample)> value;
  std::string unit = "uV";
  double range = 3000.0;  // physical values from -range to +range
};

struct WrittenAnnotation {
  double onset = 0.0;
  double duration = -1.0;  // none
  std::string text;
};

// False when EDFlib refuses anything.
inline bool WriteRecording(const std::string& path, const std::vector<WrittenSignal>& signals, int seconds,
                           const std::vector<WrittenAnnotation>& annotations = {}, bool bdf = false) {
  const int handle = edfopen_file_writeonly(path.c_str(), bdf ? EDFLIB_FILETYPE_BDFPLUS : EDFLIB_FILETYPE_EDFPLUS,
                                            static_cast<int>(signals.size()));
  if (handle < 0) return false;
  bool ok = true;
  for (int s = 0; s < static_cast<int>(signals.size()); ++s) {
    const WrittenSignal& signal = signals[static_cast<std::size_t>(s)];
    ok = ok && edf_set_samplefrequency(handle, s, signal.rate) == 0 &&
         edf_set_physical_maximum(handle, s, signal.range) == 0 &&
         edf_set_physical_minimum(handle, s, -signal.range) == 0 &&
         edf_set_digital_maximum(handle, s, bdf ? 8388607 : 32767) == 0 &&
         edf_set_digital_minimum(handle, s, bdf ? -8388608 : -32768) == 0 &&
         edf_set_label(handle, s, signal.label.c_str()) == 0 &&
         edf_set_physical_dimension(handle, s, signal.unit.c_str()) == 0;
  }
  std::vector<double> record;
  for (int second = 0; ok && second < seconds; ++second)
    for (const WrittenSignal& signal : signals) {
      record.resize(static_cast<std::size_t>(signal.rate));
      for (int i = 0; i < signal.rate; ++i)
        record[static_cast<std::size_t>(i)] = signal.value(static_cast<long long>(second) * signal.rate + i);
      ok = ok && edfwrite_physical_samples(handle, record.data()) == 0;
    }
  for (const WrittenAnnotation& a : annotations)
    ok = ok && edfwrite_annotation_utf8(handle, static_cast<long long>(a.onset * 10000.0 + 0.5),
                                        a.duration < 0.0 ? -1 : static_cast<long long>(a.duration * 10000.0 + 0.5),
                                        a.text.c_str()) == 0;
  return edfclose_file(handle) == 0 && ok;
}

}  // namespace QVT::testing
