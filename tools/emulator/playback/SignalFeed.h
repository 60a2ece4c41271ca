// One recorded signal at the headset's rate, read from its file a piece at
// a time: smooth signals through the resampler (or as they are when the
// rates agree), step signals such as triggers held, so that a level stays a
// level and a pulse shorter than the new sample keeps a sample.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "RecordingFile.h"
#include "Resampler.h"

namespace QVT::emulator {

class SignalFeed {
 public:
  enum class Shape { Smooth, Held };

  // Values are multiplied by scale (to µV, for electrodes).
  SignalFeed(RecordingFile& file, std::size_t signal, double toRate, double scale, Shape shape);

  // The next count samples; zeros past the file's end.
  void Produce(double* out, std::size_t count);
  // From the beginning again; the file must have been rewound.
  void Restart();

 private:
  // Up to count input values, scaled; 0 at the end.
  std::size_t Input(double* into, std::size_t count);
  bool NextInput(double& value);
  void ProduceHeld(double* out, std::size_t count);

  RecordingFile& file_;
  const std::size_t signal_;
  const double fromRate_;
  const double toRate_;
  const double scale_;
  const Shape shape_;
  std::unique_ptr<Resampler> resampler_;  // smooth signals at another rate
  std::vector<float> floats_;
  std::vector<double> buffer_;  // held signals: input not yet used
  std::size_t bufferAt_ = 0;
  long long inputIndex_ = 0;   // held: the next input sample's index
  long long outputIndex_ = 0;  // held: the next output sample's index
  double held_ = 0.0;
  bool ended_ = false;
};

}  // namespace QVT::emulator
