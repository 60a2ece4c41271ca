#include "Outlet.h"

#include <stdexcept>

#include "DatagramResponder.h"
#include "FeedSession.h"
#include "Log.h"
#include "NetworkInterfaces.h"
#include "OfferedStreams.h"
#include "SampleCodec.h"
#include "ServiceState.h"

namespace QVT::Lsl {
namespace {

using asio::ip::tcp;
using asio::ip::udp;

std::shared_ptr<udp::socket> BoundDatagramSocket(asio::io_context& io, const udp::endpoint& at, bool shared,
                                                 asio::error_code& error) {
  auto socket = std::make_shared<udp::socket>(io);
  if (socket->open(at.protocol(), error)) return nullptr;
  if (shared && socket->set_option(asio::socket_base::reuse_address(true), error)) return nullptr;
  if (socket->bind(at, error)) return nullptr;
  return socket;
}

}  // namespace

Outlet::Outlet(const StreamInfo& info, const OutletConfig& config)
    : state(std::make_unique<ServiceState>(info, config)),
      work(asio::make_work_guard(io)),
      acceptor(io),
      acceptRetry(io) {
  asio::error_code error;
  const auto listen = asio::ip::make_address(config.listenAddress, error);
  if (error || !listen.is_v4()) throw std::runtime_error("not an IPv4 address to listen on: " + config.listenAddress);
  BindService(listen);
  state->info.SetPorts(port, port);
  state->Publish();
  OpenDiscovery(listen);
  Accept();
  thread = std::thread([this] { io.run(); });
  NoteOffered(state->info.Uid());
  Log("offering \"" + state->info.Name() + "\" (" + state->info.Type() + ") on " + config.listenAddress + ":" +
      std::to_string(port));
}

Outlet::~Outlet() {
  NoteWithdrawn(state->info.Uid());
  io.stop();
  thread.join();
}

const StreamInfo& Outlet::Info() const { return state->info; }

void Outlet::BindService(const asio::ip::address& listen) {
  const auto& config = state->config;
  for (unsigned candidate = config.firstPort; candidate <= config.lastPort; ++candidate) {
    const auto at = static_cast<std::uint16_t>(candidate);
    asio::error_code error;
    acceptor.close(error);
    if (acceptor.open(tcp::v4(), error) || acceptor.set_option(tcp::acceptor::reuse_address(true), error) ||
        acceptor.bind({listen, at}, error) || acceptor.listen(asio::socket_base::max_listen_connections, error))
      continue;
    auto service = BoundDatagramSocket(io, {listen, at}, false, error);
    if (!service) continue;
    port = at;
    responders.push_back(std::make_shared<DatagramResponder>(service, service, *state, true));
    return;
  }
  throw std::runtime_error("no free port from " + std::to_string(config.firstPort) + " to " +
                           std::to_string(config.lastPort));
}

void Outlet::OpenDiscovery(const asio::ip::address& listen) {
  const auto& config = state->config;
  asio::error_code error;
  // Several outlets on one host share the discovery port.
  auto unicast = BoundDatagramSocket(io, {listen, config.discoveryPort}, true, error);
  if (!unicast) {
    Log("discovery on port " + std::to_string(config.discoveryPort) + " unavailable (" + error.message() +
        "); resolvers find this stream only by unicast to port " + std::to_string(port));
    return;
  }
  responders.push_back(std::make_shared<DatagramResponder>(unicast, unicast, *state, false));
  for (const auto& name : config.multicastGroups) {
    const auto group = asio::ip::make_address(name, error);
    if (error || !group.is_multicast()) {
      Log("not a multicast group: " + name);
      continue;
    }
    if (listen.is_unspecified()) {
      // Bound to every address, the one socket hears the groups (joined on
      // every interface) and broadcast.
      for (const auto& interface : MulticastInterfaces())
        if (unicast->set_option(asio::ip::multicast::join_group(group.to_v4(), interface), error))
          Log("cannot join " + name + " on " + interface.to_string() + ": " + error.message());
      continue;
    }
    // Bound to one address, the socket hears no multicast: each group gets a
    // socket bound to it, joined on the listening interface only.
    auto member = BoundDatagramSocket(io, {group, config.discoveryPort}, true, error);
    if (!member || member->set_option(asio::ip::multicast::join_group(group.to_v4(), listen.to_v4()), error)) {
      Log("cannot join " + name + " on " + listen.to_string() + ": " + error.message());
      continue;
    }
    responders.push_back(std::make_shared<DatagramResponder>(member, unicast, *state, false));
  }
  for (const auto& responder : responders) responder->Start();
}

void Outlet::Accept() {
  acceptor.async_accept([this](const asio::error_code& error, tcp::socket socket) {
    if (error == asio::error::operation_aborted) return;
    if (error) {
      // Out of descriptors, most likely: let sessions end before trying again.
      state->refusals("cannot accept a connection: " + error.message());
      acceptRetry.expires_after(std::chrono::milliseconds(100));
      acceptRetry.async_wait([this](const asio::error_code& waitError) {
        if (!waitError) Accept();
      });
      return;
    }
    if (state->connections.load() >= state->config.maxConnections) {
      state->refusals("refusing a connection: already " + std::to_string(state->config.maxConnections) + " open");
    } else {
      std::make_shared<FeedSession>(std::move(socket), *state)->Start();
    }
    Accept();
  });
}

void Outlet::PushNumeric(ChannelFormat format, std::span<const std::byte> values, std::span<const double> stamps) {
  const auto channels = static_cast<std::size_t>(state->info.ChannelCount());
  const auto sampleBytes = channels * ValueSize(format);
  if (format != state->info.Format())
    throw std::invalid_argument("pushing " + std::string(FormatName(format)) + " samples to a " +
                                std::string(FormatName(state->info.Format())) + " stream");
  if (values.size() != stamps.size() * sampleBytes)
    throw std::invalid_argument("a chunk of " + std::to_string(stamps.size()) + " stamps needs " +
                                std::to_string(stamps.size() * channels) + " values");
  const bool flush = IsFloatingPoint(format) && state->consumers.AnySuppressSubnormals();
  std::vector<SharedBytes> samples, flushed;
  for (std::size_t i = 0; i < stamps.size(); ++i) {
    const auto sample = values.subspan(i * sampleBytes, sampleBytes);
    auto bytes = std::make_shared<std::string>();
    AppendNumericSample(*bytes, format, stamps[i], sample, false);
    samples.push_back(std::move(bytes));
    if (!flush) continue;
    auto flushedBytes = std::make_shared<std::string>();
    AppendNumericSample(*flushedBytes, format, stamps[i], sample, true);
    flushed.push_back(std::move(flushedBytes));
  }
  state->consumers.Deliver(samples, flush ? flushed : samples);
}

void Outlet::PushChunk(std::span<const float> values, std::span<const double> stamps) {
  PushNumeric(ChannelFormat::Float32, std::as_bytes(values), stamps);
}

void Outlet::PushChunk(std::span<const double> values, std::span<const double> stamps) {
  PushNumeric(ChannelFormat::Double64, std::as_bytes(values), stamps);
}

void Outlet::PushStrings(std::span<const std::string> values, double stamp) {
  if (state->info.Format() != ChannelFormat::String || values.size() != static_cast<std::size_t>(state->info.ChannelCount()))
    throw std::invalid_argument("pushing " + std::to_string(values.size()) + " texts to a " +
                                std::string(FormatName(state->info.Format())) + " stream of " +
                                std::to_string(state->info.ChannelCount()) + " channels");
  auto bytes = std::make_shared<std::string>();
  AppendStringSample(*bytes, stamp, values);
  const SharedBytes sample = std::move(bytes);
  state->consumers.Deliver({&sample, 1}, {&sample, 1});
}

std::size_t Outlet::Consumers() const { return state->consumers.Count(); }

std::uint64_t Outlet::SamplesDropped() const { return state->consumers.Dropped(); }

}  // namespace QVT::Lsl
