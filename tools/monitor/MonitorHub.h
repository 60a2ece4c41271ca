// Between acquisition and the open pages: acquisition hands over samples,
// impedances, health and events as they come; the hub turns them into the
// messages the page draws from and offers each page its own bounded queue.
// Acquisition never waits for a page.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "ChannelTrace.h"
#include "ClientQueue.h"
#include "ElectrodeImpedance.h"
#include "ElectrodePositions.h"

namespace QVT::Monitor {

struct ChannelSetup {
  std::string name;
  std::optional<Tools::ElectrodePosition> position;  // none for non-electrode channels
  double fullScale = 0.0;                            // 0: no rail to watch
  std::string unit = "uV";
};

struct Health {
  double batteryPercent = -1.0;  // below 0: not known yet
  std::string link;              // "up", "degraded", "lost", ...
  std::uint64_t samplesLost = 0;
  unsigned gaps = 0;
  double driftPpm = 0.0;  // not finite: not fitted yet
  std::vector<std::string> alarms;  // the latest texts, oldest first
};

struct RecordingStatus {
  bool active = false;
  std::string file;  // name within the recording directory
  std::uint64_t bytes = 0;
  std::string error;  // why the last start or stop failed
};

class MonitorHub {
 public:
  // queueMessages: how many messages a page may fall behind by before its
  // oldest go. The default holds about 10 s: ten signal messages a second,
  // health and recording status four times each.
  explicit MonitorHub(std::size_t queueMessages = 200);

  // --- acquisition's side; one thread at a time.
  // A new stream of samples (a connection, a reconnection).
  void Begin(std::vector<ChannelSetup> channels, double rate);
  // One sample of every channel, in Begin's order.
  void AddSample(std::span<const double> values);
  // Samples lost before the next one: the page's time axis moves on.
  void Skip(std::uint64_t samples);
  // A line across the traces at the next sample: "trigger" or "marker".
  void Event(const std::string& kind, const std::string& text);
  // impedances: the latest estimates; `running` tells whether the check goes on.
  void ShowImpedances(const std::vector<Tools::ElectrodeImpedance>& impedances, bool running);
  void ShowHealth(const Health& health);
  void ShowRecording(const RecordingStatus& status);

  // --- the pages' side; any thread.
  std::shared_ptr<ClientQueue> Subscribe();
  void Unsubscribe(const std::shared_ptr<ClientQueue>& queue);
  std::size_t Subscribers() const;
  void SetDisplay(DisplayChoice choice);
  DisplayChoice Display() const;
  // Messages pages lost by falling behind, over all of them ever.
  std::uint64_t DroppedMessages() const;

 private:
  void Broadcast(SharedText message);
  void Remember(SharedText& slot, std::string message);
  void SendSignal();

  const std::size_t queueMessages;
  // Acquisition's own.
  std::vector<ChannelTrace> traces;
  double rate = 0.0;
  std::size_t binSize = 1;
  std::uint64_t firstBin = 0;  // index of the first bin not yet sent, counting lost ones
  std::size_t samplesSinceSignal = 0;
  DisplayChoice shown;
  std::vector<float> minima, maxima;
  // The page's choice, read by acquisition.
  std::atomic<int> notchHz{0};
  std::atomic<bool> bandPass{false};

  mutable std::mutex mutex;  // guards what follows; never held while calling out
  std::vector<std::shared_ptr<ClientQueue>> queues;
  std::uint64_t droppedByGone = 0;
  // The latest of each state, for a page that opens later.
  SharedText setup, impedances, health, recording, display;
};

}  // namespace QVT::Monitor
