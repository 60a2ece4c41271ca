// What an outlet's network services share: the stream's messages, made once
// when serving starts, its limits, and its consumers.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <mutex>
#include <string>

#include "ConsumerRegistry.h"
#include "OutletConfig.h"
#include "StreamInfo.h"

namespace QVT::Lsl {

// Logs one line a second at most for one kind of trouble, saying how many
// like it were held back; for floods of garbage or connections.
class ThrottledLog {
 public:
  void operator()(const std::string& line);

 private:
  std::mutex mutex;
  std::chrono::steady_clock::time_point last{};
  std::size_t heldBack = 0;
};

struct ServiceState {
  ServiceState(const StreamInfo& streamInfo, const OutletConfig& outletConfig)
      : info(streamInfo), config(outletConfig) {}

  void Publish() {
    shortInfo = info.ShortInfo();
    fullInfo = info.FullInfo();
  }

  StreamInfo info;
  const OutletConfig config;
  std::string shortInfo;
  std::string fullInfo;
  ConsumerRegistry consumers;
  std::atomic<std::size_t> connections{0};
  ThrottledLog refusals;
  ThrottledLog garbage;
};

}  // namespace QVT::Lsl
