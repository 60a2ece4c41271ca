#include "Inlet.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <random>
#include <thread>

#include "Clock.h"
#include "NumberText.h"
#include "Request.h"

namespace QVT::Lsl {
namespace {

using Clock = std::chrono::steady_clock;

bool WaitFor(int descriptor, short events, std::chrono::milliseconds wait) {
  pollfd watched{descriptor, events, 0};
  return ::poll(&watched, 1, static_cast<int>(std::max<long long>(0, wait.count()))) > 0;
}

std::chrono::milliseconds Left(Clock::time_point until) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(until - Clock::now());
}

std::string FeedRequest(const StreamInfo& info, long maxBuffered) {
  std::string request = "LSL:streamfeed/110 " + info.Uid() +
                        "\r\nNative-Byte-Order: 1234\r\nEndian-Performance: 0\r\nHas-IEEE754-Floats: 1\r\n"
                        "Supports-Subnormals: 1\r\n";
  if (info.Format() != ChannelFormat::String) request += "Value-Size: " + std::to_string(ValueSize(info.Format())) + "\r\n";
  return request + "Data-Protocol-Version: 110\r\nMax-Buffer-Length: " + std::to_string(maxBuffered) +
         "\r\nMax-Chunk-Length: 0\r\nSource-Id: " + info.SourceId() + "\r\nSession-Id: " + info.SessionId() +
         "\r\n\r\n";
}

}  // namespace

Inlet::Inlet(const ResolvedStream& stream, const InletOptions& options)
    : info(stream.info), host(stream.host), socket(io), maxStringBytes(options.maxStringBytes) {
  const auto until = Clock::now() + options.timeout;
  const asio::ip::tcp::endpoint at(host, info.DataPort(FamilyOf(host)));
  asio::error_code error;
  socket.open(at.protocol(), error);
  socket.non_blocking(true, error);
  socket.connect(at, error);
  if (error == asio::error::would_block || error == asio::error::in_progress) {
    if (!WaitFor(socket.native_handle(), POLLOUT, Left(until))) throw InletError("no connection to " + info.Name() + " in time");
    int status = 0;
    socklen_t length = sizeof status;
    ::getsockopt(socket.native_handle(), SOL_SOCKET, SO_ERROR, &status, &length);
    error = asio::error_code(status, asio::system_category());
  }
  if (error) throw InletError("cannot connect to " + info.Name() + ": " + error.message());
  const auto request = FeedRequest(info, options.maxBufferedSamples);
  if (::send(socket.native_handle(), request.data(), request.size(), MSG_NOSIGNAL) !=
      static_cast<ssize_t>(request.size()))
    throw InletError("cannot send the feed request to " + info.Name());
  Handshake(Left(until));
}

bool Inlet::ReceiveMore(std::chrono::milliseconds wait) {
  if (!WaitFor(socket.native_handle(), POLLIN, wait)) return false;
  std::array<char, 16384> chunk{};
  const auto got = ::recv(socket.native_handle(), chunk.data(), chunk.size(), 0);
  if (got <= 0) throw InletEnded("the stream " + info.Name() + " ended");
  pending.append(chunk.data(), static_cast<std::size_t>(got));
  return true;
}

void Inlet::Handshake(std::chrono::milliseconds timeout) {
  const auto until = Clock::now() + timeout;
  std::size_t end;
  while ((end = pending.find("\r\n\r\n")) == std::string::npos) {
    if (pending.size() > 16384 || !ReceiveMore(Left(until)))
      throw InletError("no feed header from " + info.Name() + " in time");
  }
  const std::string header = pending.substr(0, end + 2);
  pending.erase(0, end + 4);
  const auto [status, fields] = SplitLine(header);
  if (!status.starts_with("LSL/110 200")) throw InletError(info.Name() + " refused the feed: " + std::string(status));
  if (fields.find("Byte-Order: 4321") != std::string_view::npos && ValueSize(info.Format()) > 1)
    throw InletError(info.Name() + " sends big-endian samples, which are not read here");

  std::string expected;
  AppendTestPattern(expected, info.Format(), info.ChannelCount());
  while (pending.size() < expected.size())
    if (!ReceiveMore(Left(until))) throw InletError("no test pattern from " + info.Name() + " in time");
  if (pending.compare(0, expected.size(), expected) != 0)
    throw InletError(info.Name() + " sent a wrong test pattern: its samples would be misread");
  pending.erase(0, expected.size());
}

std::optional<DecodedSample> Inlet::Pull(std::chrono::milliseconds wait) {
  const auto until = Clock::now() + wait;
  for (;;) {
    DecodedSample sample;
    std::size_t used = 0;
    switch (DecodeSample(pending, info.Format(), info.ChannelCount(), sample, used, maxStringBytes)) {
      case DecodeStatus::Complete:
        pending.erase(0, used);
        if (sample.stampDeduced && info.NominalRate() > 0) sample.stamp = lastStamp + 1.0 / info.NominalRate();
        lastStamp = sample.stamp;
        return sample;
      case DecodeStatus::Malformed:
        throw InletError(info.Name() + " sent what is no sample");
      case DecodeStatus::NeedMore:
        if (!ReceiveMore(Left(until))) return std::nullopt;
    }
  }
}

std::optional<TimeCorrection> Inlet::MeasureTimeCorrection(int probes, std::chrono::milliseconds spacing) {
  asio::ip::udp::socket probe(io, asio::ip::udp::endpoint(host.is_v4() ? asio::ip::udp::v4() : asio::ip::udp::v6(), 0));
  const asio::ip::udp::endpoint service(host, info.ServicePort(FamilyOf(host)));
  const auto wave = std::to_string(std::random_device{}() & 0x7fffffff);
  std::optional<TimeCorrection> best;
  for (int i = 0; i < probes; ++i) {
    const double t0 = LocalClock();
    const std::string message = "LSL:timedata\r\n" + wave + " " + NumberText("%.16g", t0) + "\r\n";
    asio::error_code error;
    probe.send_to(asio::buffer(message), service, 0, error);
    const auto until = Clock::now() + spacing;
    while (!error && WaitFor(probe.native_handle(), POLLIN, Left(until))) {
      std::array<char, 256> answer{};
      const auto got = ::recv(probe.native_handle(), answer.data(), answer.size() - 1, 0);
      const double t3 = LocalClock();
      long long id = 0;
      double echoed = 0, t1 = 0, t2 = 0;
      if (got <= 0 || std::sscanf(answer.data(), " %lld %lf %lf %lf", &id, &echoed, &t1, &t2) != 4) continue;
      if (std::to_string(id) != wave || echoed < t0 - 1e-6 || echoed > t0 + 1e-6) continue;  // a late answer to another probe
      const TimeCorrection estimate{((t0 - t1) + (t3 - t2)) / 2, (t3 - t0) - (t2 - t1)};
      if (!best || estimate.roundTrip < best->roundTrip) best = estimate;
    }
    std::this_thread::sleep_until(until);
  }
  return best;
}

}  // namespace QVT::Lsl
