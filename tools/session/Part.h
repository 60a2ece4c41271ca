// What one process does with a headset's signal is split into parts that
// the acquisition core (Acquisition.h) feeds: recording to a file, publishing
// on the network, taking markers, showing a monitor. Only one process can
// hold the headset's port, so the parts share one acquisition.
//
// Every call comes on the acquisition thread, in time order: Start once,
// then Samples, Gap and Event as they happen, Progress whenever the status
// line is drawn, and End once. A part must not block for long (a slow disk
// or network belongs on a thread of the part's own); it may throw from any
// call, which stops the acquisition as a failure.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "ElectrodeImpedance.h"
#include "MontagePlan.h"
#include "ProgressDisplay.h"
#include "qvt/qvt.h"

namespace QVT::Session {

// The headset and what it delivers, once connected and before the first
// sample.
struct SessionStart {
  std::string model;
  std::string revision;
  int serialNumber = 0;
  std::string firmware;
  std::string reference;               // the headset's reference, e.g. "M1/2+M2/2"
  double rate = 0.0;                   // nominal samples per second
  std::vector<ChannelPlan> channels;   // the montage, in the order of every sample's values
  int triggerChannel = -1;             // index into channels, negative for none
  unsigned triggerDelay = 0;           // samples the library holds the trigger back
  double accelerometerRate = 0.0;      // its readings per second; 0 or less: none
  // Measured before the first sample; empty when no check was asked for.
  std::vector<Tools::ElectrodeImpedance> impedances;
};

// Consecutive samples, sample-major: values[k * channels + c] is channel c
// of sample first + k. `first` counts every sample since the start, lost
// ones included, so sample n lies n / rate after the first one.
struct SampleBlock {
  std::uint64_t first = 0;
  std::size_t count = 0;
  std::size_t channels = 0;
  std::span<const double> values;  // µV for electrodes, counts otherwise
  // When each was taken, CLOCK_MONOTONIC seconds, from the headset's clock
  // fitted against this computer's (never the arrival time).
  std::span<const double> stamps;
  // Each one's time by the headset's clock ("SND"), and that of the
  // accelerometer reading the library showed on it ("ACCT"; empty unless a
  // channel reads the accelerometer alone). The library shows readings some
  // samples late (AccelerometerTimeline puts them back).
  std::span<const double> headsetTimes;
  std::span<const double> accelerometerTimes;
  double Value(std::size_t k, std::size_t c) const { return values[k * channels + c]; }
};

// Samples that never arrived, just before sample `first + samples`.
struct Gap {
  std::uint64_t first = 0;
  std::uint64_t samples = 0;
  bool linkLost = false;  // the link was down meanwhile (reconnection), not lost on the way
  double stamp = 0.0;     // when the first of them would have been taken
};

struct Event {
  enum class Kind {
    Trigger,       // the trigger changed to `value` (non-zero) at `sample`
    Alarm,         // the headset raised alarm `value` with `text`
    LinkLost,      // the link went down after `sample`
    LinkRestored,  // reconnected; a Gap with linkLost follows with the first sample
    Marker,        // `text` from `source` for the time `stamp` (its nearest sample is `sample`)
  };
  Kind kind = Kind::Marker;
  std::uint64_t sample = 0;  // its place on the sample count of SampleBlock
  double stamp = 0.0;        // CLOCK_MONOTONIC seconds
  long long value = 0;
  std::string text;
  std::string source;
};

// How the acquisition ended, for the summaries.
struct SessionEnd {
  std::uint64_t samples = 0;  // delivered, lost ones included
  std::uint64_t lostSamples = 0;
  unsigned gaps = 0;
  unsigned linkLosses = 0;
  bool interrupted = false;
  double driftPpm = 0.0;  // the headset's clock against this computer's, as fitted
};

class Part {
 public:
  virtual ~Part() = default;
  virtual void Start(const SessionStart& /*start*/) {}
  virtual void Samples(const SampleBlock& /*block*/) {}
  virtual void GapFound(const Gap& /*gap*/) {}
  virtual void EventFound(const Event& /*event*/) {}
  // Adds what the part shows on the status line (file size, say).
  virtual void Report(Tools::Progress& /*progress*/) {}
  // After every batch, with the connected headset, for a part that asks it
  // things of its own (battery, impedances) or switches its impedance driver.
  virtual void Tend(QVT_Headset* /*headset*/) {}
  // Whether the part has failed and acquisition should stop; a reason.
  virtual std::string Failure() const { return {}; }
  // Finishes and prints the part's summary; returns a failure to report,
  // empty when none.
  virtual std::string End(const SessionEnd& /*end*/) { return {}; }
};

}  // namespace QVT::Session
