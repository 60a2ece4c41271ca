#include "SignalFeed.h"

#include <algorithm>
#include <cmath>

namespace QVT::emulator {

namespace {

constexpr std::size_t kReadChunk = 4096;

}  // namespace

SignalFeed::SignalFeed(RecordingFile& file, std::size_t signal, double toRate, double scale, Shape shape)
    : file_(file),
      signal_(signal),
      fromRate_(file.Signals().at(signal).rate),
      toRate_(toRate),
      scale_(scale),
      shape_(shape) {
  if (shape_ == Shape::Smooth && fromRate_ != toRate_) resampler_ = std::make_unique<Resampler>(fromRate_, toRate_);
}

std::size_t SignalFeed::Input(double* into, std::size_t count) {
  if (ended_) return 0;
  const std::size_t got = file_.Read(signal_, into, count);
  for (std::size_t i = 0; i < got; ++i) into[i] *= scale_;
  ended_ = got == 0;
  return got;
}

void SignalFeed::Produce(double* out, std::size_t count) {
  if (shape_ == Shape::Held) return ProduceHeld(out, count);
  if (!resampler_) {
    const std::size_t got = Input(out, count);
    std::fill(out + got, out + count, 0.0);
    return;
  }
  floats_.resize(count);
  resampler_->Produce(floats_.data(), count, [this](float* into, std::size_t n) {
    buffer_.resize(n);
    const std::size_t got = Input(buffer_.data(), n);
    std::copy(buffer_.begin(), buffer_.begin() + static_cast<std::ptrdiff_t>(got), into);
    return got;
  });
  std::copy(floats_.begin(), floats_.end(), out);
}

bool SignalFeed::NextInput(double& value) {
  if (bufferAt_ == buffer_.size()) {
    buffer_.resize(kReadChunk);
    buffer_.resize(Input(buffer_.data(), kReadChunk));
    bufferAt_ = 0;
    if (buffer_.empty()) return false;
  }
  value = buffer_[bufferAt_++];
  return true;
}

void SignalFeed::ProduceHeld(double* out, std::size_t count) {
  // Input sample k falls on output sample round(k * toRate / fromRate). Of
  // those that fall on one output sample, the first that is not 0 wins; an
  // output sample that none falls on holds the value before it.
  const auto landing = [this](long long k) {
    return std::llround(static_cast<double>(k) * toRate_ / fromRate_);
  };
  for (std::size_t i = 0; i < count; ++i, ++outputIndex_) {
    bool landed = false;
    double chosen = 0.0;
    while (!ended_ || bufferAt_ < buffer_.size()) {
      if (landing(inputIndex_) > outputIndex_) break;
      double value = 0.0;
      if (!NextInput(value)) break;
      if (landing(inputIndex_) == outputIndex_ && (!landed || (chosen == 0.0 && value != 0.0))) {
        chosen = value;
        landed = true;
      }
      held_ = value;
      ++inputIndex_;
    }
    out[i] = landed ? chosen : held_;
  }
}

void SignalFeed::Restart() {
  if (resampler_) resampler_->Reset();
  buffer_.clear();
  bufferAt_ = 0;
  inputIndex_ = 0;
  outputIndex_ = 0;
  held_ = 0.0;
  ended_ = false;
}

}  // namespace QVT::emulator
