#include "Acquisition.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <deque>
#include <limits>
#include <mutex>

#include "Abandoned.h"
#include "ArrivalStage.h"
#include "BackgroundConnection.h"
#include "BatchLoop.h"
#include "Interrupt.h"
#include "LibraryCalls.h"
#include "MarkerPlacer.h"
#include "MarkerReport.h"
#include "SampleStamper.h"
#include "TriggerOnsets.h"
#include "qvt/qvt.h"

namespace QVT::Session {

using namespace QVT::Tools;
using Clock = std::chrono::steady_clock;

namespace {

constexpr double kReconnectSeconds = 2.0;
// Samples taken per read while emptying the buffers at the end: a batch's
// worth, so that the read buffer stays a batch's size.
constexpr std::size_t kDrainChunk = 64;
// The arrival stage keeps this much signal: far more than a batch, so that
// it never runs short of the montage's channels.
constexpr double kArrivalBufferSeconds = 30.0;
// Stamps kept for events found late: more than the trigger's delay.
constexpr std::size_t kRecentStamps = 1024;

double SecondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

}  // namespace

struct Acquisition::State {
  AcquisitionSettings settings;
  HeadsetHandle headset;
  std::vector<Part*> parts;

  SessionStart start;
  std::uint64_t wanted = std::numeric_limits<std::uint64_t>::max();
  ChannelReader reader;  // the montage, the headset's stamp, the accelerometer's
  // When each sample arrived, by its headset stamp: the stage's buffers
  // need not start with the montage's, so the two are matched by stamp.
  ArrivalStage arrivalStage;
  std::vector<double> arrivalTimes;
  std::vector<double> arrivals;
  std::size_t arrivalsUsed = 0;
  std::size_t channelCount = 0;
  std::unique_ptr<SampleStamper> stamper;
  std::unique_ptr<TriggerOnsets> onsets;
  std::uint64_t next = 0;  // the running index of the next sample
  std::uint64_t lostCounted = 0;
  std::uint64_t lost = 0;
  unsigned gaps = 0;
  double lastStamp = 0.0;
  // The stamps of the latest samples, the last one being sample next - 1,
  // for events found on samples already delivered.
  std::deque<double> recentStamps;
  bool outage = false;  // the next gap is the link's
  unsigned linkLosses = 0;
  std::vector<Alarm> alarms;

  std::vector<double> values;  // the block being gathered, sample-major
  std::vector<double> stamps;
  std::vector<double> headsetTimes;
  std::vector<double> accelerometerTimes;
  bool accelerometer = false;  // its stamp is read
  std::uint64_t blockFirst = 0;
  std::vector<Event> events;  // due after the block

  Markers::MarkerQueue markerQueue;  // from other threads, not yet placed
  std::unique_ptr<Markers::MarkerPlacer> placer;

  ProgressDisplay display{stdout, isatty(STDOUT_FILENO) == 1};
  Progress progress;
  Clock::time_point started;

  void Identify(std::vector<ElectrodeImpedance> impedances);
  void UseMontage();
  double ArrivalOf(double headsetTime);
  void ReadArrivalsUpTo(double headsetTime, std::size_t samples);
  std::size_t Take(std::size_t n);
  void Flush();
  void TakeAlarms();
  // Hands the markers that can be placed by now to the parts; finishing: all.
  void TakeMarkers(bool finishing = false);
  bool Done() const;
  bool PastEnd() const;
  bool Reconnect();
  void Tell(const Event& event);
  double StampOf(std::uint64_t sample) const;
};

double Acquisition::State::StampOf(std::uint64_t sample) const {
  const std::uint64_t back = next - 1 - std::min(sample, next - 1);
  if (back < recentStamps.size()) return recentStamps[recentStamps.size() - 1 - back];
  return lastStamp - static_cast<double>(back) / start.rate;
}

void Acquisition::State::Identify(std::vector<ElectrodeImpedance> impedances) {
  QVT_Headset* h = headset.get();
  start.model = Copy(QVT_Headset_GetHardwareModel(h));
  start.revision = Copy(QVT_Headset_GetHardwareRevision(h));
  start.serialNumber = QVT_Headset_GetSerialNumber(h);
  start.firmware = Copy(QVT_Headset_GetFirmwareRevision(h));
  start.reference = Copy(QVT_Headset_GetReferenceString(h));
  start.rate = QVT_Headset_GetSamplingRate(h);
  const int filterMode = QVT_Headset_GetFilterMode(h);
  ThrowIfFailed("cannot read the headset's identity");
  if (!(start.rate > 0.0)) throw RuntimeError("the headset reports no sampling rate");
  start.channels = PlanChannels(h);
  start.triggerChannel = -1;
  for (std::size_t c = 0; c < start.channels.size() && start.triggerChannel < 0; ++c)
    if (start.channels[c].kind == ChannelKind::Trigger) start.triggerChannel = static_cast<int>(c);
  start.triggerDelay = start.triggerChannel >= 0 ? TriggerTimeline::LibraryDelay(start.rate, filterMode) : 0;
  start.accelerometerRate = QVT_Headset_GetAccelerometerRate(h);
  ThrowIfFailed("cannot read the accelerometer rate");
  start.impedances = std::move(impedances);
  if (settings.seconds > 0.0) wanted = static_cast<std::uint64_t>(std::llround(settings.seconds * start.rate));
  channelCount = start.channels.size();
  stamper = std::make_unique<SampleStamper>(start.rate);
  onsets = std::make_unique<TriggerOnsets>(start.triggerDelay);
  placer = std::make_unique<Markers::MarkerPlacer>(start.rate);
}

// The montage of the plan with the headset's stamp, and the arrival stage
// added after the buffers were emptied, so that all start together.
void Acquisition::State::UseMontage() {
  const Channels channels = PrepareMontage(headset.get(), start.channels);
  const std::optional<ArrivalStage> arrival = AddArrivalStage(headset.get(), kArrivalBufferSeconds);
  if (!arrival) ThrowIfFailed("cannot add the arrival stage");
  if (!arrival) throw RuntimeError("cannot add the arrival stage");
  arrivalStage = *arrival;
  arrivalTimes.clear();
  arrivals.clear();
  arrivalsUsed = 0;
  reader.channels = channels.recorded;
  reader.channels.push_back(channels.sampleTime);
  accelerometer = channels.accelerometerTime != nullptr;
  if (accelerometer) reader.channels.push_back(channels.accelerometerTime);
}

// Only as far as the montage was read: batches are paced by the fewest
// samples buffered in any channel read, so emptying the stage would hide
// the montage's backlog from the pacing.
void Acquisition::State::ReadArrivalsUpTo(double headsetTime, std::size_t samples) {
  std::size_t most = samples;
  for (int round = 0; round < 4 && most > 0; ++round) {
    if (ReadArrivals(headset.get(), arrivalStage, arrivalTimes, arrivals, most) < most) return;
    const double behind = (headsetTime - arrivalTimes.back()) * start.rate;
    most = behind > 0.5 ? static_cast<std::size_t>(std::llround(behind)) : 0;
  }
}

double Acquisition::State::ArrivalOf(double headsetTime) {
  const double half = 0.5 / start.rate;
  while (arrivalsUsed < arrivalTimes.size() && arrivalTimes[arrivalsUsed] < headsetTime - half) ++arrivalsUsed;
  if (arrivalsUsed == arrivalTimes.size()) {
    // Not through the stage yet: it has arrived by now, which is late, and
    // the clock model's fit lies under late arrivals.
    arrivalTimes.clear();
    arrivals.clear();
    arrivalsUsed = 0;
    return MonotonicSeconds();
  }
  const double arrival = arrivals[arrivalsUsed];
  if (arrivalTimes[arrivalsUsed] <= headsetTime + half) ++arrivalsUsed;
  // Keep the unread tail only.
  if (arrivalsUsed > 4096) {
    arrivalTimes.erase(arrivalTimes.begin(), arrivalTimes.begin() + static_cast<std::ptrdiff_t>(arrivalsUsed));
    arrivals.erase(arrivals.begin(), arrivals.begin() + static_cast<std::ptrdiff_t>(arrivalsUsed));
    arrivalsUsed = 0;
  }
  return arrival;
}

void Acquisition::State::Tell(const Event& event) {
  for (Part* part : parts) part->EventFound(event);
}

void Acquisition::State::Flush() {
  if (!stamps.empty()) {
    SampleBlock block;
    block.first = blockFirst;
    block.count = stamps.size();
    block.channels = channelCount;
    block.values = values;
    block.stamps = stamps;
    block.headsetTimes = headsetTimes;
    block.accelerometerTimes = accelerometerTimes;
    for (Part* part : parts) part->Samples(block);
  }
  values.clear();
  stamps.clear();
  headsetTimes.clear();
  accelerometerTimes.clear();
  blockFirst = next;
  for (const Event& event : events) Tell(event);
  events.clear();
}

std::size_t Acquisition::State::Take(std::size_t n) {
  QVT_Headset* h = headset.get();
  const std::size_t taken = reader.Read(h, n);
  if (taken > 0) ReadArrivalsUpTo(reader.At(channelCount, taken - 1), taken);
  const double period = 1.0 / start.rate;
  blockFirst = next;
  for (std::size_t i = 0; i < taken; ++i) {
    const double headsetTime = reader.At(channelCount, i);
    const double stamp = stamper->Stamp(headsetTime, ArrivalOf(headsetTime));
    const SampleTimeline& timeline = stamper->Timeline();
    std::uint64_t missing = timeline.LostSamples() - lostCounted;
    lostCounted = timeline.LostSamples();
    // A gap at the very end fills only what the parts still lack.
    missing = std::min(missing, wanted - std::min(wanted, next));
    if (missing > 0) {
      Flush();
      const Gap gap{next, missing, outage, stamp - static_cast<double>(missing) * period};
      if (!outage) {
        lost += missing;
        ++gaps;
      }
      for (Part* part : parts) part->GapFound(gap);
      // Lost samples hold their places among the recent stamps.
      if (missing >= kRecentStamps) recentStamps.clear();
      for (std::uint64_t k = missing < kRecentStamps ? missing : 0; k > 0; --k)
        recentStamps.push_back(stamp - static_cast<double>(k) * period);
      while (recentStamps.size() > kRecentStamps) recentStamps.pop_front();
      next += missing;
      blockFirst = next;
    }
    if (outage) onsets->Restart();
    outage = false;
    // The samples behind the last one asked for are not delivered.
    if (next >= wanted) continue;
    for (std::size_t c = 0; c < channelCount; ++c) values.push_back(reader.At(c, i));
    stamps.push_back(stamp);
    headsetTimes.push_back(headsetTime);
    if (accelerometer) accelerometerTimes.push_back(reader.At(channelCount + 1, i));
    lastStamp = stamp;
    recentStamps.push_back(stamp);
    if (recentStamps.size() > kRecentStamps) recentStamps.pop_front();
    const std::uint64_t position = next++;
    placer->AddSample(position, stamp);
    if (start.triggerChannel >= 0) {
      const double trigger = reader.At(static_cast<std::size_t>(start.triggerChannel), i);
      if (const std::optional<TriggerOnset> onset = onsets->Take(position, trigger)) {
        Event event;
        event.kind = Event::Kind::Trigger;
        event.sample = onset->sample;
        event.stamp = StampOf(onset->sample);
        event.value = std::llround(onset->value);
        event.text = "TRG " + std::to_string(event.value);
        events.push_back(std::move(event));
      }
    }
  }
  Flush();
  TakeAlarms();
  TakeMarkers();
  progress.lostSamples = lost;
  progress.gaps = gaps;
  progress.driftPpm = stamper->Model().DriftPpm();
  progress.extra.clear();
  // Markers received per source, when any source is asked for.
  if (const std::string status = Markers::MarkerStatus(markerQueue.Counts()); !status.empty())
    progress.extra += "  " + status;
  for (Part* part : parts) part->Report(progress);
  for (Part* part : parts) part->Tend(h);
  return taken;
}

void Acquisition::State::TakeAlarms() {
  if (!headset) return;
  for (Alarm& alarm : Tools::TakeAlarms(headset.get())) {
    Event event;
    event.kind = Event::Kind::Alarm;
    event.sample = next;
    event.stamp = lastStamp;
    event.value = alarm.code;
    event.text = alarm.text;
    Tell(event);
    alarms.push_back(std::move(alarm));
  }
}

void Acquisition::State::TakeMarkers(bool finishing) {
  if (!placer) return;  // before the first sample's rate is known they wait
  const double now = MonotonicSeconds();
  for (Markers::Marker& marker : markerQueue.Take()) placer->AddMarker(std::move(marker), now);
  for (Markers::PlacedMarker& placed : finishing ? placer->Finish() : placer->Take(now)) {
    Event event;
    event.kind = Event::Kind::Marker;
    event.sample = placed.position;
    event.stamp = placed.marker.time;
    event.text = std::move(placed.marker.text);
    event.source = std::move(placed.marker.source);
    Tell(event);
  }
}

bool Acquisition::State::Done() const {
  if (Interrupted() || next >= wanted) return true;
  return std::any_of(parts.begin(), parts.end(), [](const Part* part) { return !part->Failure().empty(); });
}

bool Acquisition::State::PastEnd() const {
  return settings.seconds > 0.0 && SecondsSince(started) >= settings.seconds;
}

bool Acquisition::State::Reconnect() {
  std::printf("Link lost at %.1f s of signal; reconnecting every %g s\n", static_cast<double>(next) / start.rate,
              kReconnectSeconds);
  std::fflush(stdout);
  TakeAlarms();
  // Reconnection goes on while the acquisition would have: its time is the
  // wall clock's now.
  while (!Interrupted() && !PastEnd()) {
    const auto attempt = Clock::now();
    BackgroundConnection connection(std::move(headset), settings.port, settings.verbosity, start.channels);
    while (!connection.Done() && !Interrupted() && !PastEnd()) QVT_Sleep(0.05);
    if (connection.Done()) {
      try {
        Channels ignored;
        headset = connection.Take(ignored);
        UseMontage();
        outage = true;
        std::printf("Reconnected after %.1f s\n", SecondsSince(attempt));
        std::fflush(stdout);
        Event restored;
        restored.kind = Event::Kind::LinkRestored;
        restored.sample = next;
        restored.stamp = lastStamp;
        restored.text = "link restored";
        Tell(restored);
        return true;
      } catch (const RuntimeError& error) {
        std::fprintf(stderr, "%s: %s\n", settings.program.c_str(), error.what());
      }
    }
    while (!Interrupted() && !PastEnd() && SecondsSince(attempt) < kReconnectSeconds) QVT_Sleep(0.05);
  }
  return false;
}

Acquisition::Acquisition(AcquisitionSettings settings, HeadsetHandle connected) : state(std::make_unique<State>()) {
  state->settings = std::move(settings);
  state->headset = std::move(connected);
}

Acquisition::~Acquisition() = default;

void Acquisition::Add(Part& part) { state->parts.push_back(&part); }

void Acquisition::Mark(std::string text, double stamp, std::string source) {
  state->markerQueue.Push({std::move(source), std::move(text), stamp});
}

Markers::MarkerQueue& Acquisition::MarkerInbox() { return state->markerQueue; }

int Acquisition::Run() {
  State& s = *state;
  if (!s.settings.montage.empty()) {
    QVT_Headset_ForgetMontage(s.headset.get());
    for (const std::string& channel : s.settings.montage) {
      QVT_Headset_AddChannelToMontage_FromString(s.headset.get(), channel.c_str(), 0);
      ThrowIfFailed("cannot add " + channel + " to the montage");
    }
  }
  PrintIdentity(s.headset.get(), stdout);
  std::vector<ElectrodeImpedance> impedances;
  if (s.settings.impedanceSeconds > 0.0) {
    std::printf("\nMeasuring impedances for %g s\n", s.settings.impedanceSeconds);
    std::fflush(stdout);
    try {
      impedances = MeasureImpedances(s.headset.get(), s.settings.impedanceSeconds, s.display);
    } catch (const LinkLostError&) {
      Abandon(s.headset);  // taking it down would wait on a dead link
      throw;
    }
    for (const ElectrodeImpedance& electrode : impedances)
      if (!electrode.reference) std::printf("Z %-6s %6.1f kOhm\n", electrode.name.c_str(), electrode.kOhm);
  }
  s.Identify(std::move(impedances));
  for (Part* part : s.parts) part->Start(s.start);
  s.UseMontage();

  s.started = Clock::now();
  std::string failure;
  bool linkLost = false;
  while (!s.Done()) {
    try {
      RunBatches(
          s.headset.get(), 1e9, [&s](unsigned n) {
            s.Take(n);
            return !s.Done();
          },
          s.display, s.progress, s.settings.pacing);
      while (s.Take(kDrainChunk) > 0) {
      }
      break;
    } catch (const LinkLostError& error) {
      ++s.linkLosses;
      // What is still buffered once acquisition has stopped belongs to the parts.
      while (s.Take(kDrainChunk) > 0) {
      }
      Event lostEvent;
      lostEvent.kind = Event::Kind::LinkLost;
      lostEvent.sample = s.next;
      lostEvent.stamp = s.lastStamp;
      lostEvent.text = "link lost";
      s.Tell(lostEvent);
      if (!s.settings.reconnect || !s.Reconnect()) {
        linkLost = true;
        if (!s.settings.reconnect) failure = error.what();
        break;
      }
    }
  }
  s.TakeAlarms();  // those that came after the last batch, or before the first
  s.TakeMarkers(true);
  s.display.Finish(s.progress);  // with what the last samples added
  SessionEnd end;
  end.samples = s.next;
  end.lostSamples = s.lost;
  end.gaps = s.gaps;
  end.linkLosses = s.linkLosses;
  end.interrupted = Interrupted();
  end.driftPpm = s.stamper->Model().DriftPpm();
  for (Part* part : s.parts) {
    const std::string partFailure = part->End(end);
    if (failure.empty()) failure = partFailure;
  }
  // Those that came after the parts ended are told here only.
  if (s.headset)
    for (Alarm& alarm : Tools::TakeAlarms(s.headset.get())) s.alarms.push_back(std::move(alarm));
  if (s.placer) std::printf("%s", Markers::MarkerSummary(s.markerQueue.Counts(), *s.placer).c_str());
  std::printf("%s", FormatAlarms(s.alarms, 16).c_str());
  std::fflush(stdout);
  // Taking down a headset that fell silent would hold the program for 20 s.
  if (linkLost) Abandon(s.headset);
  if (!failure.empty()) throw RuntimeError(failure);
  return 0;
}

}  // namespace QVT::Session
