#include "Recording.h"

#include <algorithm>
#include <cmath>

namespace QVT::Record {

namespace {

// How long samples wait for their accelerometer sample: the library holds
// no more of them than a second's.
constexpr double kAccelerometerWaitSeconds = 1.0;

std::string TriggerText(double value) {
  return "TRG " + std::to_string(static_cast<long long>(std::llround(value)));
}

}  // namespace

Recording::Recording(std::vector<Signal> recorded, double samplingRate, int samplesPerRecord, int trigger,
                     RecordSink& destination, int annotationSlots, unsigned delay)
    : signals(std::move(recorded)),
      rate(samplingRate),
      recordSamples(samplesPerRecord),
      triggerSignal(trigger),
      sink(destination),
      slots(annotationSlots),
      record(signals.size() * static_cast<std::size_t>(samplesPerRecord)),
      last(signals.size(), 0),
      triggerDelay(trigger >= 0 ? delay : 0),
      triggerLine(triggerDelay) {}

const std::vector<int>& Recording::LastHeld() {
  row = last;
  if (triggerSignal >= 0)
    row[static_cast<std::size_t>(triggerSignal)] = signals[static_cast<std::size_t>(triggerSignal)].ToDigital(lastTrigger);
  return row;
}

void Recording::AlignAccelerometer(std::vector<std::size_t> signalIndices, double accelerometerRate) {
  accelerometerSignals = std::move(signalIndices);
  accelerometer.emplace(accelerometerRate);
  accelerometerValues.resize(accelerometerSignals.size());
}

bool Recording::AccelerometerDue(double time) const {
  return accelerometer && !accelerometer->Settled(time) &&
         static_cast<double>(held.size()) <= kAccelerometerWaitSeconds * rate;
}

void Recording::Settle(std::int64_t upTo, bool now) {
  while (!held.empty() && static_cast<std::int64_t>(settled) < upTo) {
    const HeldSample& sample = held.front();
    if (!now && AccelerometerDue(sample.time)) break;
    row = *sample.digital;
    if (accelerometer) {
      const Tools::AccelerometerTimeline::Found found = accelerometer->At(sample.time);
      if (found.values != nullptr)
        for (std::size_t a = 0; a < accelerometerSignals.size(); ++a)
          row[accelerometerSignals[a]] = signals[accelerometerSignals[a]].ToDigital((*found.values)[a]);
      if (found.standIn && sample.received) ++accelerometerMissed;
    }
    if (triggerSignal >= 0) {
      const double trigger = sample.placed ? sample.trigger : lastTrigger;
      if (trigger != lastTrigger && trigger != 0.0) {
        Note(static_cast<double>(settled) / rate, -1.0, TriggerText(trigger));
        ++triggers;
      }
      lastTrigger = trigger;
      row[static_cast<std::size_t>(triggerSignal)] = signals[static_cast<std::size_t>(triggerSignal)].ToDigital(trigger);
    }
    Put(row);
    held.pop_front();
    ++settled;
  }
}

void Recording::Put(const std::vector<int>& digital) {
  for (std::size_t s = 0; s < signals.size(); ++s)
    record[s * static_cast<std::size_t>(recordSamples) + static_cast<std::size_t>(inRecord)] = digital[s];
  if (++inRecord == recordSamples) {
    sink.WriteRecord(record);
    inRecord = 0;
    ++records;
    Release();
  }
}

void Recording::Note(double onset, double duration, std::string text) {
  const auto sample = static_cast<std::uint64_t>(std::max(0.0, std::floor(onset * rate + 1e-6)));
  latestNoted = std::max(latestNoted, sample);
  ++annotations;
  early.push_back({sample, onset, duration, std::move(text)});
  Release();
}

void Recording::Release() {
  const std::uint64_t reach = (records + 1) * static_cast<std::uint64_t>(recordSamples);
  // In order: an annotation never overtakes one noted before it.
  while (!early.empty() && early.front().sample < reach) {
    EarlyNote& note = early.front();
    sink.Annotate(note.onset, note.duration, std::move(note.text));
    early.pop_front();
  }
}

std::uint64_t Recording::AnnotationsBeyondRoom() const {
  const std::uint64_t room = (records + (inRecord > 0 ? 1 : 0)) * static_cast<std::uint64_t>(slots);
  return annotations > room ? annotations - room : 0;
}

// A slot of the record being filled stays free for a trigger or an alarm.
bool Recording::RoomForGap() const {
  return annotations + 2 <= (records + 1) * static_cast<std::uint64_t>(slots);
}

void Recording::NoteGaps() {
  Note(waiting.onset, waiting.end - waiting.onset,
       "BAD gap: " + std::to_string(waiting.samples) + " samples lost" +
           (waiting.count > 1 ? " in " + std::to_string(waiting.count) + " gaps" : ""));
  waiting = PendingGaps{};
}

void Recording::Add(const std::vector<double>& values, SampleTimes times) {
  for (std::size_t s = 0; s < signals.size(); ++s) last[s] = signals[s].ToDigital(values[s]);
  held.push_back({std::make_shared<const std::vector<int>>(last), times.sample});
  lastTime = times.sample;
  if (accelerometer) {
    for (std::size_t a = 0; a < accelerometerSignals.size(); ++a)
      accelerometerValues[a] = values[accelerometerSignals[a]];
    accelerometer->Show(times.accelerometer, accelerometerValues);
  }
  const auto position = static_cast<std::int64_t>(samples++);
  if (triggerSignal < 0) {
    Settle(position + 1);
  } else {
    const std::int64_t home = triggerLine.Place(position);
    if (home >= static_cast<std::int64_t>(settled)) {
      HeldSample& owner = held[static_cast<std::size_t>(home - static_cast<std::int64_t>(settled))];
      owner.trigger = values[static_cast<std::size_t>(triggerSignal)];
      owner.placed = true;
    }
    Settle(triggerLine.Settled());
  }
  if (waiting.count > 0 && RoomForGap()) NoteGaps();
}

void Recording::Fill(std::uint64_t n, const std::string& why) {
  if (n == 0) return;
  Settle(static_cast<std::int64_t>(samples), true);
  triggerLine = Tools::TriggerTimeline(triggerDelay);
  if (accelerometer) accelerometer->Restart();
  Note(Seconds(), static_cast<double>(n) / rate, why);
  // Nothing can land on these: written at once, holding the last trigger.
  const std::vector<int>& filling = LastHeld();
  for (std::uint64_t i = 0; i < n; ++i) Put(filling);
  samples += n;
  settled += n;
  filled += n;
}

void Recording::Lose(std::uint64_t n) {
  if (n == 0) return;
  if (waiting.count == 0) waiting.onset = Seconds();
  waiting.samples += n;
  ++waiting.count;
  lost += n;
  ++gaps;
  const auto fill = std::make_shared<const std::vector<int>>(last);
  for (std::uint64_t i = 1; i <= n; ++i)
    held.push_back({fill, lastTime + static_cast<double>(i) / rate, false});
  samples += n;
  filled += n;
  if (triggerDelay == 0) Settle(static_cast<std::int64_t>(samples));
  waiting.end = Seconds();
  if (RoomForGap()) NoteGaps();
}

void Recording::Annotate(const std::string& text) { Note(Seconds(), -1.0, text); }

void Recording::AnnotateAt(double seconds, const std::string& text) { Note(seconds, -1.0, text); }

void Recording::Finish() {
  Settle(static_cast<std::int64_t>(samples), true);
  if (waiting.count > 0) NoteGaps();
  // At least one record, and enough of them for every annotation: EDFlib
  // drops annotations that do not fit and leaves a file without records
  // that it cannot read itself.
  std::uint64_t count = records + (inRecord > 0 ? 1 : 0);
  const auto fits = [&] {
    const bool padded = count * static_cast<std::uint64_t>(recordSamples) > samples;
    return count > 0 && count * static_cast<std::uint64_t>(slots) >= annotations + (padded ? 1 : 0) &&
           count * static_cast<std::uint64_t>(recordSamples) > latestNoted;
  };
  while (!fits()) ++count;
  const std::uint64_t padding = count * static_cast<std::uint64_t>(recordSamples) - samples;
  if (padding == 0) return;
  Note(Seconds(), static_cast<double>(padding) / rate,
       "BAD end: " + std::to_string(padding) + " samples padded");
  const std::vector<int>& padded = LastHeld();
  for (std::uint64_t i = 0; i < padding; ++i) Put(padded);
  samples += padding;
  settled += padding;
}

}  // namespace QVT::Record
