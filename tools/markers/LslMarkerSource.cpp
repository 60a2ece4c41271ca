#include "LslMarkerSource.h"

#include <algorithm>

#include "Clock.h"
#include "Inlet.h"
#include "Log.h"
#include "NetworkInterfaces.h"
#include "NumberText.h"
#include "OutletConfig.h"
#include "Resolver.h"

namespace QVT::Markers {
namespace {

using Clock = std::chrono::steady_clock;
constexpr std::chrono::milliseconds kPullWait{200};
// Room for a 64 KiB text and more; anything far longer is taken for garbage.
constexpr std::size_t kLongestString = std::size_t{1} << 20;
constexpr long kSamplesKeptBySender = 10000;

// Where outlets listen: the discovery groups on loopback and, by unicast,
// every service port of this host (loopback need not carry multicast); then
// the groups and broadcast on each interface to the lab network.
std::vector<Lsl::ResolveTargets> SearchTargets() {
  const Lsl::OutletConfig defaults;
  auto local = Lsl::ResolveTargets::Multicast(defaults.multicastGroups, defaults.discoveryPort);
  const auto peers =
      Lsl::ResolveTargets::Peer(asio::ip::address_v4::loopback(), defaults.firstPort, defaults.lastPort);
  local.endpoints.insert(local.endpoints.end(), peers.endpoints.begin(), peers.endpoints.end());
  std::vector<Lsl::ResolveTargets> targets{local};
  for (const auto& interface : Lsl::MulticastInterfaces()) {
    if (interface.is_loopback()) continue;
    auto lab = Lsl::ResolveTargets::Multicast(defaults.multicastGroups, defaults.discoveryPort);
    lab.endpoints.emplace_back(asio::ip::address_v4::broadcast(), defaults.discoveryPort);
    lab.multicastInterface = interface;
    targets.push_back(std::move(lab));
  }
  return targets;
}

std::string MarkerText(const Lsl::DecodedSample& sample) {
  std::string text;
  const std::size_t values = sample.strings.empty() ? sample.numbers.size() : sample.strings.size();
  for (std::size_t i = 0; i < values; ++i) {
    if (i > 0) text += ", ";
    text += sample.strings.empty() ? Lsl::NumberText("%.10g", sample.numbers[i]) : sample.strings[i];
  }
  return text;
}

// Counts a connection while it lasts.
struct Counted {
  explicit Counted(std::atomic<std::size_t>& count) : n(count) { ++n; }
  ~Counted() { --n; }
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;
  std::atomic<std::size_t>& n;
};

}  // namespace

struct LslMarkerSource::Reader {
  explicit Reader(Lsl::ResolvedStream found) : stream(std::move(found)) {}
  Lsl::ResolvedStream stream;
  std::thread thread;
  std::atomic<bool> done{false};
  bool garbage = false;  // written before done
};

LslMarkerSource::LslMarkerSource(const std::string& query, MarkerQueue& queue, LslMarkerSettings settings)
    : source_(query), query_(Lsl::QueryFor(query)), queue_(queue), settings_(std::move(settings)) {
  queue_.AddSource(source_);
  thread_ = std::thread([this] { Search(); });
}

LslMarkerSource::~LslMarkerSource() {
  {
    const std::lock_guard guard(lock_);
    stop_ = true;
  }
  wake_.notify_all();
  thread_.join();
}

void LslMarkerSource::Pause(std::chrono::milliseconds gap) {
  std::unique_lock guard(lock_);
  wake_.wait_for(guard, gap, [this] { return stop_.load() || readerEnded_; });
  readerEnded_ = false;
}

void LslMarkerSource::Search() {
  const auto targets = SearchTargets();
  while (!stop_) {
    // Readers that ended make room for their sender's next stream.
    std::erase_if(readers_, [this](const std::unique_ptr<Reader>& reader) {
      if (!reader->done) return false;
      reader->thread.join();
      const std::string uid = reader->stream.info.Uid();
      if (reader->garbage)
        garbage_.insert(uid);
      else
        failed_[uid] = Clock::now() + settings_.retryFailed;
      return true;
    });
    for (const auto& target : targets) {
      std::vector<Lsl::ResolvedStream> streams;
      try {
        streams = Lsl::Resolve(query_, target, settings_.resolveWait);
      } catch (const std::exception& error) {  // an interface that went away, say
        Lsl::Log("markers: cannot search for " + source_ + ": " + error.what());
      }
      for (auto& found : streams) {
        const std::string uid = found.info.Uid();
        const bool read = std::any_of(readers_.begin(), readers_.end(),
                                      [&](const auto& reader) { return reader->stream.info.Uid() == uid; });
        const auto failed = failed_.find(uid);
        if (read || garbage_.contains(uid) || (failed != failed_.end() && Clock::now() < failed->second) ||
            (settings_.ignore && settings_.ignore(found.info)))
          continue;
        auto reader = std::make_unique<Reader>(std::move(found));
        Reader& started = *reader;
        readers_.push_back(std::move(reader));
        started.thread = std::thread([this, &started] { Read(started); });
      }
      if (stop_) break;
    }
    Pause(readers_.empty() ? settings_.searchGap : settings_.idleSearchGap);
  }
  for (auto& reader : readers_) reader->thread.join();
}

void LslMarkerSource::Read(Reader& reader) {
  const std::string name = reader.stream.info.Name();
  bool handshaken = false;
  try {
    Lsl::Inlet inlet(reader.stream, {kSamplesKeptBySender, std::chrono::milliseconds(3000), kLongestString});
    handshaken = true;
    const Counted counted(connected_);
    auto correction = inlet.MeasureTimeCorrection();
    if (!correction)
      Lsl::Log("markers: " + name + " answers no time probes; its stamps are taken as they are");
    Lsl::Log("markers: reading " + name + " (" + source_ + ") from " + reader.stream.host.to_string());
    auto corrected = Clock::now();
    while (!stop_) {
      if (const auto sample = inlet.Pull(kPullWait)) {
        // An irregular stream that leaves the stamp out has none: arrival is the best there is.
        const double time = sample->stampDeduced && reader.stream.info.NominalRate() <= 0.0
                                ? Lsl::LocalClock()
                                : sample->stamp + (correction ? correction->offset : 0.0);
        queue_.Push({source_, MarkerText(*sample), time});
      }
      if (Clock::now() - corrected >= settings_.correctionRefresh) {
        if (auto again = inlet.MeasureTimeCorrection()) correction = again;
        corrected = Clock::now();
      }
    }
  } catch (const Lsl::InletEnded& error) {
    Lsl::Log("markers: " + std::string(error.what()) + "; looking for it again");
  } catch (const Lsl::InletError& error) {
    reader.garbage = handshaken;
    Lsl::Log("markers: " + std::string(error.what()) + (handshaken ? "; it is not read again" : ""));
  } catch (const std::exception& error) {  // a socket the system refused
    Lsl::Log("markers: reading " + name + " failed: " + error.what());
  }
  reader.done = true;
  {
    const std::lock_guard guard(lock_);
    readerEnded_ = true;
  }
  wake_.notify_all();
}

}  // namespace QVT::Markers
