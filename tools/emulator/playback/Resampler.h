// One signal brought from its recorded rate to the headset's by
// libsamplerate's band-limited sinc interpolation: its low-pass filter
// keeps everything above the lower of the two Nyquist frequencies out, so
// nothing aliases when the rate falls and no images appear when it rises.
#pragma once

#include <cstddef>
#include <functional>
#include <vector>

typedef struct SRC_STATE_tag SRC_STATE;

namespace QVT::emulator {

class Resampler {
 public:
  // Gives up to count input samples; 0 at the end of the input.
  using Source = std::function<std::size_t(float* into, std::size_t count)>;

  // Throws PlaybackError when libsamplerate cannot bridge the two rates.
  Resampler(double fromRate, double toRate);
  ~Resampler();
  Resampler(const Resampler&) = delete;
  Resampler& operator=(const Resampler&) = delete;

  // count output samples; after the input's end has been flushed, zeros.
  void Produce(float* out, std::size_t count, const Source& source);
  // Forgets all input, as at the beginning.
  void Reset();

 private:
  SRC_STATE* state_ = nullptr;
  double ratio_ = 1.0;
  std::vector<float> input_;
  std::size_t inputStart_ = 0;  // first input sample not yet used
  bool inputEnded_ = false;
  bool flushed_ = false;
};

}  // namespace QVT::emulator
