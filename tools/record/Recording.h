// Samples become data records and events become annotations, on a time line
// that stays true: sample k of the file lies k / rate after its start, so
// samples that never arrived are filled in (flat, the last values) and
// marked as bad. Trigger values are put back on their true samples
// (TriggerTimeline), and so are the accelerometer's (AccelerometerTimeline):
// samples are held back until no later value can land on them.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "AccelerometerTimeline.h"
#include "Signal.h"
#include "TriggerTimeline.h"

namespace QVT::Record {

// Where records and annotations go (the writer, or a test's stand-in).
class RecordSink {
 public:
  virtual ~RecordSink() = default;
  virtual void WriteRecord(std::vector<int> digital) = 0;
  virtual void Annotate(double onset, double duration, std::string text) = 0;
};

// A received sample's time and the time of the accelerometer sample the
// library showed on it, both by the headset's clock (seconds).
struct SampleTimes {
  double sample = 0.0;
  double accelerometer = 0.0;
};

class Recording {
 public:
  // triggerSignal: the index of the trigger signal, or negative for none.
  // annotationSlots: the annotations every data record has room for.
  // triggerDelay: the samples the library delays the trigger by.
  Recording(std::vector<Signal> signals, double rate, int recordSamples, int triggerSignal, RecordSink& sink,
            int annotationSlots, unsigned triggerDelay = 0);

  // Writes the accelerometer's samples where they belong: `signals` are
  // those that read the accelerometer alone, `accelerometerRate` its
  // samples per second. Samples wait for the accelerometer sample of their
  // time for up to a second.
  void AlignAccelerometer(std::vector<std::size_t> accelerometerSignals, double accelerometerRate);

  // One sample, a value per signal. A trigger value is written where it
  // belongs; one that changes to anything but 0 is annotated "TRG <value>"
  // there. A sample whose own value was lost holds the one before it, so a
  // pulse whose first samples were lost begins at the first one after.
  void Add(const std::vector<double>& values, SampleTimes times = {});
  // n samples that never arrived because the link was lost, filled with
  // the last values and annotated with `why` over their span. What is held
  // back is settled as it stands: the next connection's trigger line starts
  // afresh.
  void Fill(std::uint64_t n, const std::string& why);
  // n samples lost on the way, filled and annotated "BAD gap: n samples
  // lost". While annotations outrun the room the file has for them,
  // neighbouring gaps share one annotation over their span, so that no
  // trigger or alarm is crowded out.
  void Lose(std::uint64_t n);
  // An event now (at the next sample) or at a given time, with no duration.
  void Annotate(const std::string& text);
  void AnnotateAt(double seconds, const std::string& text);

  // Completes the last record with the last values, marked as bad, so that
  // nothing delivered is left out; pads whole records too when the file
  // would otherwise have none or no room for every annotation.
  void Finish();

  std::uint64_t Samples() const { return samples; }
  double Seconds() const { return static_cast<double>(samples) / rate; }
  std::uint64_t FilledSamples() const { return filled; }
  // Samples lost on the way and the gaps they were lost in (Lose).
  std::uint64_t LostSamples() const { return lost; }
  unsigned Gaps() const { return gaps; }
  unsigned Triggers() const { return triggers; }
  // Samples written with an earlier accelerometer sample than their own,
  // which was lost.
  std::uint64_t AccelerometerMissed() const { return accelerometerMissed; }
  // Annotations beyond the room of the records so far (lost if the file
  // ended now).
  std::uint64_t AnnotationsBeyondRoom() const;

 private:
  // Writes the samples held back before position `upTo`; those whose
  // accelerometer sample is still to come wait unless `now`.
  void Settle(std::int64_t upTo, bool now = false);
  bool AccelerometerDue(double time) const;
  // The last values with the trigger written last: what fills a lost link
  // and pads the end.
  const std::vector<int>& LastHeld();
  void Put(const std::vector<int>& digital);
  void Note(double onset, double duration, std::string text);
  // Hands on the annotations whose sample the record being filled reaches.
  void Release();
  bool RoomForGap() const;
  void NoteGaps();

  std::vector<Signal> signals;
  double rate;
  int recordSamples;
  int triggerSignal;
  RecordSink& sink;
  int slots;

  std::vector<int> record;  // signal-major, recordSamples per signal
  int inRecord = 0;
  std::vector<int> last;  // the latest sample, digital
  double lastTrigger = 0.0;
  std::uint64_t samples = 0;  // taken, held back or not
  unsigned triggerDelay;
  Tools::TriggerTimeline triggerLine;
  // The samples from position `settled` on, not yet written, with the
  // trigger value that belongs to each when one has been placed there. The
  // samples of a gap share the values they are filled with.
  struct HeldSample {
    std::shared_ptr<const std::vector<int>> digital;
    double time = 0.0;  // by the headset's clock
    bool received = true;
    double trigger = 0.0;
    bool placed = false;
  };
  std::deque<HeldSample> held;
  std::uint64_t settled = 0;
  std::optional<Tools::AccelerometerTimeline> accelerometer;
  std::vector<std::size_t> accelerometerSignals;
  std::vector<double> accelerometerValues;  // those of the latest sample, in accelerometerSignals order
  double lastTime = 0.0;                    // of the latest sample received
  std::uint64_t accelerometerMissed = 0;
  std::vector<int> row;  // the sample being written
  std::uint64_t filled = 0;
  unsigned triggers = 0;
  std::uint64_t lost = 0;
  unsigned gaps = 0;
  std::uint64_t records = 0;
  std::uint64_t annotations = 0;
  // Annotations for samples still held back beyond the record being
  // filled: a record never carries an annotation later than its own end,
  // which a reader of a file cut short there would drop.
  struct EarlyNote {
    std::uint64_t sample;
    double onset;
    double duration;
    std::string text;
  };
  std::deque<EarlyNote> early;
  std::uint64_t latestNoted = 0;  // the sample of the latest onset
  struct PendingGaps {
    double onset = 0.0;
    double end = 0.0;
    std::uint64_t samples = 0;
    unsigned count = 0;
  } waiting;  // gaps not yet annotated
};

}  // namespace QVT::Record
