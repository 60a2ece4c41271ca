// A stream offered on the network: found by resolvers (multicast, broadcast
// and unicast queries), described on request, and fed to any number of
// inlets at once, each through a bounded queue of its own. Pushing never
// waits for the network: it sends what a consumer's socket takes at once,
// and a network thread of its own does the rest.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include <asio.hpp>

#include "OutletConfig.h"
#include "StreamInfo.h"

namespace QVT::Lsl {

struct ServiceState;
class DatagramResponder;
class ServiceListener;

class Outlet {
 public:
  // Starts serving at once, on the listen address and, for loopback or
  // every address, on the other family's too where the machine has it.
  // Throws std::runtime_error when the listen address is no IP address or
  // no port of the configured range is free there.
  explicit Outlet(const StreamInfo& info, const OutletConfig& config = {});
  ~Outlet();
  Outlet(const Outlet&) = delete;
  Outlet& operator=(const Outlet&) = delete;

  // The stream as announced, with its ports (IPv6 ones 0 when not served).
  const StreamInfo& Info() const;
  // The service port at the listen address.
  std::uint16_t Port() const { return port; }

  // Samples of a float32 (double64) stream: stamps.size() samples of
  // channel_count values each, one stamp per sample in LocalClock() seconds.
  // Throws std::invalid_argument for another format or a size that does
  // not fit.
  void PushChunk(std::span<const float> values, std::span<const double> stamps);
  void PushChunk(std::span<const double> values, std::span<const double> stamps);
  // One sample of a string stream: channel_count texts.
  void PushStrings(std::span<const std::string> values, double stamp);
  // One marker of a one-channel string stream.
  void PushMarker(const std::string& text, double stamp) { PushStrings({&text, 1}, stamp); }

  std::size_t Consumers() const;
  // Samples dropped for consumers that fell behind, summed over consumers.
  std::uint64_t SamplesDropped() const;

 private:
  void PushNumeric(ChannelFormat format, std::span<const std::byte> values, std::span<const double> stamps);

  std::unique_ptr<ServiceState> state;
  const std::size_t channels;  // of every sample, known without a look into the description
  asio::io_context io;
  asio::executor_work_guard<asio::io_context::executor_type> work;
  std::vector<std::unique_ptr<ServiceListener>> listeners;
  std::vector<std::shared_ptr<DatagramResponder>> responders;
  std::uint16_t port = 0;
  std::thread thread;
};

}  // namespace QVT::Lsl
