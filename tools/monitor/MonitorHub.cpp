#include "MonitorHub.h"

#include <algorithm>
#include <cmath>

#include "JsonText.h"

namespace QVT::Monitor {

namespace {

// Signal goes out ten times a second: smooth enough for the page, which
// scrolls between messages, and few enough to cost little.
constexpr std::size_t kBinsPerMessage = kBinsPerSecond / 10;

SharedText Share(std::string text) { return std::make_shared<const std::string>(std::move(text)); }

// One server-sent event.
std::string Sse(const char* event, const std::string& json) {
  return std::string("event: ") + event + "\ndata: " + json + "\n\n";
}

std::string JsonPosition(const std::optional<Tools::ElectrodePosition>& position) {
  if (!position) return "null";
  return "[" + JsonNumber(position->x, 4) + "," + JsonNumber(position->y, 4) + "," + JsonNumber(position->z, 4) +
         "]";
}

}  // namespace

MonitorHub::MonitorHub(std::size_t messages) : queueMessages(messages) {}

void MonitorHub::Begin(std::vector<ChannelSetup> channels, double samplingRate) {
  rate = samplingRate;
  binSize = BinSize(rate);
  traces.clear();
  shown = Display();
  std::string json = "{\"rate\":" + JsonNumber(rate) + ",\"binRate\":" + std::to_string(kBinsPerSecond) +
                     ",\"firstBin\":" + std::to_string(firstBin) + ",\"channels\":[";
  for (std::size_t c = 0; c < channels.size(); ++c) {
    traces.emplace_back(rate, channels[c].fullScale);
    traces.back().Display(shown);
    json += (c ? ",{" : "{") + std::string("\"name\":") + JsonString(channels[c].name) +
            ",\"unit\":" + JsonString(channels[c].unit) + ",\"position\":" + JsonPosition(channels[c].position) +
            "}";
  }
  json += "]}";
  samplesSinceSignal = 0;
  std::lock_guard lock(mutex);
  Remember(setup, Sse("setup", json));
}

void MonitorHub::AddSample(std::span<const double> values) {
  if (const DisplayChoice wanted = Display(); !(wanted == shown)) {
    shown = wanted;
    for (ChannelTrace& trace : traces) trace.Display(shown);
  }
  const std::size_t n = std::min(values.size(), traces.size());
  for (std::size_t c = 0; c < n; ++c) traces[c].Add(values[c]);
  if (++samplesSinceSignal == binSize * kBinsPerMessage) SendSignal();
}

void MonitorHub::SendSignal() {
  std::string mins, maxs, verdicts;
  std::size_t bins = 0;
  for (std::size_t c = 0; c < traces.size(); ++c) {
    traces[c].TakeBins(minima, maxima);
    bins = minima.size();
    mins += c ? ",[" : "[";
    maxs += c ? ",[" : "[";
    for (std::size_t b = 0; b < minima.size(); ++b) {
      mins += (b ? "," : "") + JsonNumber(minima[b], 1);
      maxs += (b ? "," : "") + JsonNumber(maxima[b], 1);
    }
    mins += "]";
    maxs += "]";
    verdicts += (c ? ",\"" : "\"") + std::string(QualityName(traces[c].Verdict())) + "\"";
  }
  const std::string json = "{\"bin\":" + std::to_string(firstBin) + ",\"min\":[" + mins + "],\"max\":[" + maxs +
                           "],\"quality\":[" + verdicts + "]}";
  firstBin += bins;
  samplesSinceSignal = 0;
  Broadcast(Share(Sse("signal", json)));
}

void MonitorHub::Skip(std::uint64_t samples) {
  if (samples == 0 || traces.empty()) return;
  // The bins finished so far go out before the time axis jumps; a part-filled
  // one finishes with the samples after the gap.
  if (samplesSinceSignal >= binSize) SendSignal();
  firstBin += (samples + binSize / 2) / binSize;
}

void MonitorHub::Event(const std::string& kind, const std::string& text) {
  const double bin = static_cast<double>(firstBin) +
                     static_cast<double>(samplesSinceSignal) / static_cast<double>(binSize);
  Broadcast(Share(Sse("event", "{\"kind\":" + JsonString(kind) + ",\"text\":" + JsonString(text) +
                                   ",\"bin\":" + JsonNumber(bin) + "}")));
}

void MonitorHub::ShowImpedances(const std::vector<Tools::ElectrodeImpedance>& electrodes, bool running) {
  std::string json = "{\"running\":" + std::string(running ? "true" : "false") + ",\"electrodes\":[";
  for (std::size_t i = 0; i < electrodes.size(); ++i) {
    const Tools::ElectrodeImpedance& e = electrodes[i];
    json += (i ? ",{" : "{") + std::string("\"name\":") + JsonString(e.name) +
            ",\"kOhm\":" + (e.kOhm >= 0 ? JsonNumber(e.kOhm, 1) : "null") +
            ",\"reference\":" + (e.reference ? "true" : "false") +
            ",\"position\":" + JsonPosition(Tools::PositionOfElectrode(e.name)) + "}";
  }
  json += "]}";
  std::lock_guard lock(mutex);
  Remember(impedances, Sse("impedance", json));
}

void MonitorHub::ShowHealth(const Health& h) {
  std::string alarms;
  for (std::size_t i = 0; i < h.alarms.size(); ++i) alarms += (i ? "," : "") + JsonString(h.alarms[i]);
  std::uint64_t dropped = DroppedMessages();
  const std::string json = "{\"battery\":" + (h.batteryPercent >= 0 ? JsonNumber(h.batteryPercent, 0) : "null") +
                           ",\"link\":" + JsonString(h.link) + ",\"samplesLost\":" + std::to_string(h.samplesLost) +
                           ",\"gaps\":" + std::to_string(h.gaps) + ",\"driftPpm\":" + JsonNumber(h.driftPpm, 1) +
                           ",\"alarms\":[" + alarms + "],\"pageMessagesDropped\":" + std::to_string(dropped) + "}";
  std::lock_guard lock(mutex);
  Remember(health, Sse("health", json));
}

void MonitorHub::ShowRecording(const RecordingStatus& status) {
  const std::string json = "{\"active\":" + std::string(status.active ? "true" : "false") +
                           ",\"file\":" + JsonString(status.file) + ",\"bytes\":" + std::to_string(status.bytes) +
                           ",\"error\":" + JsonString(status.error) + "}";
  std::lock_guard lock(mutex);
  Remember(recording, Sse("recording", json));
}

void MonitorHub::Remember(SharedText& slot, std::string message) {
  slot = Share(std::move(message));
  for (const auto& queue : queues) queue->Push(slot);
}

void MonitorHub::Broadcast(SharedText message) {
  std::lock_guard lock(mutex);
  for (const auto& queue : queues) queue->Push(message);
}

std::shared_ptr<ClientQueue> MonitorHub::Subscribe() {
  auto queue = std::make_shared<ClientQueue>(queueMessages);
  std::lock_guard lock(mutex);
  for (const SharedText& state : {setup, display, impedances, health, recording})
    if (state) queue->Push(state);
  queues.push_back(queue);
  return queue;
}

void MonitorHub::Unsubscribe(const std::shared_ptr<ClientQueue>& queue) {
  queue->Close();
  std::lock_guard lock(mutex);
  const auto gone = std::remove(queues.begin(), queues.end(), queue);
  if (gone != queues.end()) droppedByGone += queue->Dropped();
  queues.erase(gone, queues.end());
}

std::size_t MonitorHub::Subscribers() const {
  std::lock_guard lock(mutex);
  return queues.size();
}

void MonitorHub::SetDisplay(DisplayChoice choice) {
  notchHz = choice.notchHz;
  bandPass = choice.bandPass;
  const std::string json = "{\"notchHz\":" + std::to_string(choice.notchHz) +
                           ",\"bandPass\":" + (choice.bandPass ? "true" : "false") + "}";
  std::lock_guard lock(mutex);
  Remember(display, Sse("display", json));
}

DisplayChoice MonitorHub::Display() const { return {notchHz.load(), bandPass.load()}; }

std::uint64_t MonitorHub::DroppedMessages() const {
  std::lock_guard lock(mutex);
  std::uint64_t dropped = droppedByGone;
  for (const auto& queue : queues) dropped += queue->Dropped();
  return dropped;
}

}  // namespace QVT::Monitor
