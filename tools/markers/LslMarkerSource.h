// Markers from LSL streams: every stream a query finds is read by an inlet
// on a thread of its own, its sender's stamps brought onto this machine's
// clock by time probes (the estimate of the shortest round trip, measured
// again every few seconds). The query is asked again and again, so a sender
// that appears late, or restarts with a new stream, is read when found; a
// sender that sends garbage is logged and left alone.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "MarkerQueue.h"
#include "StreamInfo.h"

namespace QVT::Markers {

struct LslMarkerSettings {
  std::chrono::milliseconds resolveWait{300};     // for answers to one search
  std::chrono::milliseconds searchGap{1000};      // between searches while nothing is read
  std::chrono::milliseconds idleSearchGap{5000};  // between searches while streams are read
  std::chrono::milliseconds correctionRefresh{5000};
  std::chrono::milliseconds retryFailed{10000};  // before a stream that failed is tried again
  // Streams never read: the program's own marker stream, which a query such
  // as "type='Markers'" finds too.
  std::function<bool(const Lsl::StreamInfo&)> ignore;
};

class LslMarkerSource {
 public:
  // query: a stream name or an LSL query (see Lsl::QueryFor). Starts at once;
  // nothing found yet is no error.
  LslMarkerSource(const std::string& query, MarkerQueue& queue, LslMarkerSettings settings = {});
  ~LslMarkerSource();
  LslMarkerSource(const LslMarkerSource&) = delete;
  LslMarkerSource& operator=(const LslMarkerSource&) = delete;

  // Streams being read now.
  std::size_t Connected() const { return connected_.load(); }

 private:
  struct Reader;
  void Search();
  void Read(Reader& reader);
  // Waits up to gap, or until told to stop or that a reader ended.
  void Pause(std::chrono::milliseconds gap);

  const std::string source_;
  const std::string query_;
  MarkerQueue& queue_;
  const LslMarkerSettings settings_;
  std::atomic<bool> stop_{false};
  std::atomic<std::size_t> connected_{0};
  std::mutex lock_;
  std::condition_variable wake_;
  bool readerEnded_ = false;
  std::vector<std::unique_ptr<Reader>> readers_;                         // the search thread's own
  std::map<std::string, std::chrono::steady_clock::time_point> failed_;  // uid: when to try again
  std::set<std::string> garbage_;                                        // uids never tried again
  std::thread thread_;
};

}  // namespace QVT::Markers
