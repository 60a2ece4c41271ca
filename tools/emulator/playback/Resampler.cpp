#include "Resampler.h"

#include <samplerate.h>

#include <algorithm>

#include "RecordingFile.h"

namespace QVT::emulator {

namespace {

constexpr std::size_t kInputChunk = 1024;

}  // namespace

Resampler::Resampler(double fromRate, double toRate) : ratio_(toRate / fromRate) {
  if (!src_is_valid_ratio(ratio_))
    throw PlaybackError("cannot resample " + std::to_string(fromRate) + " Hz to " + std::to_string(toRate) + " Hz");
  int error = 0;
  // The medium sinc converter: a pass band to 90 % of the lower Nyquist
  // frequency and over 97 dB of stop band, at a fraction of the best's cost.
  state_ = src_new(SRC_SINC_MEDIUM_QUALITY, 1, &error);
  if (state_ == nullptr) throw PlaybackError(std::string("libsamplerate: ") + src_strerror(error));
}

Resampler::~Resampler() { src_delete(state_); }

void Resampler::Reset() {
  src_reset(state_);
  input_.clear();
  inputStart_ = 0;
  inputEnded_ = false;
  flushed_ = false;
}

void Resampler::Produce(float* out, std::size_t count, const Source& source) {
  std::size_t done = 0;
  while (done < count && !flushed_) {
    if (inputStart_ == input_.size() && !inputEnded_) {
      input_.resize(kInputChunk);
      input_.resize(source(input_.data(), kInputChunk));
      inputStart_ = 0;
      inputEnded_ = input_.empty();
    }
    SRC_DATA data{};
    data.data_in = input_.data() + inputStart_;
    data.input_frames = static_cast<long>(input_.size() - inputStart_);
    data.data_out = out + done;
    data.output_frames = static_cast<long>(count - done);
    data.end_of_input = inputEnded_ ? 1 : 0;
    data.src_ratio = ratio_;
    const int error = src_process(state_, &data);
    if (error != 0) throw PlaybackError(std::string("libsamplerate: ") + src_strerror(error));
    inputStart_ += static_cast<std::size_t>(data.input_frames_used);
    done += static_cast<std::size_t>(data.output_frames_gen);
    if (inputEnded_ && data.output_frames_gen == 0) flushed_ = true;
  }
  std::fill(out + done, out + count, 0.0f);
}

}  // namespace QVT::emulator
