// A recording played as the virtual headset's signals: its electrodes on
// the slots their labels name, at the headset's rate, in the counts the
// headset's gains make of them, with the recording's triggers and the
// impedances its annotations give. Used on the peer's thread only.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "HeadsetSlots.h"
#include "RecordingFile.h"
#include "SignalFeed.h"

namespace QVT::emulator {

struct PlaybackSettings {
  std::string file;
  unsigned rate = 300;    // the headset's samples per second
  bool loop = false;      // start again at the end, instead of falling silent
  double kiloOhms = 5.0;  // every electrode's impedance until an annotation sets it
};

class Playback {
 public:
  // Throws PlaybackError for a file that cannot be played.
  Playback(const PlaybackSettings& settings, const CalibrationImage& calibration);
  ~Playback();

  // What goes where, for the user: matched and unmatched signals, unfilled
  // slots, where triggers and impedances come from.
  std::string Summary() const;

  // The body of the data packet at stream position index (positions only
  // grow), or empty once the recording has ended and does not loop.
  std::string PacketBody(std::uint64_t index, double stampSeconds, bool impedanceDriver);
  // The recording's accelerometer, when it has one, in the headset's counts:
  // what the sample of the latest packet body shows.
  bool HasAccelerometer() const {
    return std::any_of(accelerometerFeeds_.begin(), accelerometerFeeds_.end(),
                       [](const auto& feed) { return feed != nullptr; });
  }
  std::array<std::int16_t, 3> Accelerometer() const;

 private:
  struct Frame {
    SlotValues counts{};  // carriers excluded
    std::uint8_t trigger = 0;
    std::array<std::int16_t, 3> accelerometer{};
    long long sample = 0;  // within its pass through the file
    bool past = false;     // after the end of a recording that does not loop
  };
  struct TriggerEvent {
    long long start = 0, end = 0;
    std::uint8_t value = 0;
  };
  struct ImpedanceEvent {
    long long sample = 0;
    int slot = 0;
    double kiloOhms = 0.0;
  };

  void MatchSignals();
  void ReadAnnotations();
  // Appends the frames of the next stretch of the recording.
  void Generate();
  std::uint8_t AnnotatedTriggerAt(long long sample) const;
  void StartPass();

  PlaybackSettings settings_;
  HeadsetSlots slots_;
  SlotValues gains_{};
  std::array<bool, kSlotCount> takesCarriers_{};
  int triggerShift_ = 0;  // seven-electrode headsets carry triggers in the upper half
  std::unique_ptr<RecordingFile> file_;
  long long passFrames_ = 0;

  std::vector<std::unique_ptr<SignalFeed>> electrodeFeeds_;
  std::vector<std::array<double, kSlotCount>> countsPerSignal_;  // per electrode feed: counts per slot per µV
  std::unique_ptr<SignalFeed> triggerFeed_;
  std::array<std::unique_ptr<SignalFeed>, 3> accelerometerFeeds_;
  std::array<double, 3> accelerometerGains_{};  // the library's units per count
  std::vector<TriggerEvent> triggerEvents_;
  std::vector<ImpedanceEvent> impedanceEvents_;
  std::vector<std::string> summary_;

  std::deque<Frame> frames_;  // from the current position on
  long long generated_ = 0;   // frames made in the current pass
  bool finished_ = false;     // the recording has ended for good
  std::uint64_t position_ = 0;
  SlotValues kiloOhms_{};
  std::size_t nextImpedance_ = 0;
  std::array<std::int16_t, 3> accelerometer_{};  // of the latest packet body
};

}  // namespace QVT::emulator
