#include "Outlet.h"

#include <mutex>
#include <stdexcept>

#include "DatagramResponder.h"
#include "DiscoverySockets.h"
#include "Log.h"
#include "OfferedStreams.h"
#include "SampleCodec.h"
#include "ServiceListener.h"
#include "ServiceState.h"

namespace QVT::Lsl {
namespace {

// The listen address is served as given; loopback and every-address also
// in the other family, where this machine has it.
std::vector<asio::ip::address> ServedAddresses(const asio::ip::address& listen) {
  using asio::ip::address_v4;
  using asio::ip::address_v6;
  if (listen == address_v4::loopback()) return {listen, address_v6::loopback()};
  if (listen == address_v6::loopback()) return {listen, address_v4::loopback()};
  if (listen == address_v4::any()) return {listen, address_v6::any()};
  if (listen == address_v6::any()) return {listen, address_v4::any()};
  return {listen};
}

std::string EndpointText(const asio::ip::address& address, std::uint16_t port) {
  const auto host = address.to_string();
  return (address.is_v6() ? "[" + host + "]" : host) + ":" + std::to_string(port);
}

}  // namespace

Outlet::Outlet(const StreamInfo& info, const OutletConfig& config)
    : state(std::make_unique<ServiceState>(info, config)),
      channels(static_cast<std::size_t>(info.ChannelCount())),
      work(asio::make_work_guard(io)) {
  asio::error_code error;
  const auto listen = asio::ip::make_address(config.listenAddress, error);
  if (error) throw std::runtime_error("not an IP address to listen on: " + config.listenAddress);
  std::vector<asio::ip::address> served;
  for (const auto& address : ServedAddresses(listen)) {
    auto listener = std::make_unique<ServiceListener>(io, *state);
    const auto bound = listener->Bind(address, error);
    if (!bound && served.empty())
      throw std::runtime_error("no free port from " + std::to_string(config.firstPort) + " to " +
                               std::to_string(config.lastPort) + " on " + address.to_string());
    if (!bound) {
      // Most likely a machine without IPv6: worth saying once, not per stream.
      static std::once_flag said;
      std::call_once(said, [&] { Log("not serving on " + address.to_string() + " as well: " + error.message()); });
      continue;
    }
    if (served.empty()) port = *bound;
    state->info.SetPorts(*bound, *bound, FamilyOf(address));
    responders.push_back(std::make_shared<DatagramResponder>(listener->Datagrams(), listener->Datagrams(), *state, true));
    listeners.push_back(std::move(listener));
    served.push_back(address);
  }
  state->Publish();
  std::string where;
  for (std::size_t i = 0; i < served.size(); ++i) {
    const auto servicePort = state->info.ServicePort(FamilyOf(served[i]));
    for (auto& responder : OpenDiscovery(io, served[i], *state, servicePort)) responders.push_back(std::move(responder));
    where += (i == 0 ? "" : " and ") + EndpointText(served[i], servicePort);
  }
  for (const auto& responder : responders) responder->Start();
  for (const auto& listener : listeners) listener->Start();
  thread = std::thread([this] { io.run(); });
  NoteOffered(state->info.Uid());
  Log("offering \"" + state->info.Name() + "\" (" + state->info.Type() + ") on " + where);
}

Outlet::~Outlet() {
  NoteWithdrawn(state->info.Uid());
  io.stop();
  thread.join();
}

const StreamInfo& Outlet::Info() const { return state->info; }

void Outlet::PushNumeric(ChannelFormat format, std::span<const std::byte> values, std::span<const double> stamps) {
  const auto sampleBytes = channels * ValueSize(format);
  if (format != state->info.Format())
    throw std::invalid_argument("pushing " + std::string(FormatName(format)) + " samples to a " +
                                std::string(FormatName(state->info.Format())) + " stream");
  if (values.size() != stamps.size() * sampleBytes)
    throw std::invalid_argument("a chunk of " + std::to_string(stamps.size()) + " stamps needs " +
                                std::to_string(stamps.size() * channels) + " values");
  const bool flush = IsFloatingPoint(format) && state->consumers.AnySuppressSubnormals();
  std::vector<SharedBytes> samples, flushed;
  samples.reserve(stamps.size());
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
