// Reading a stream that another program offers: the stream-feed handshake
// with its test pattern, then its samples one by one, and the correction
// that brings the sender's stamps onto this machine's clock. Blocking, with
// bounded waits; one thread reads one inlet.
#pragma once

#include <chrono>
#include <optional>
#include <stdexcept>
#include <string>

#include <asio.hpp>

#include "Resolver.h"
#include "SampleCodec.h"

namespace QVT::Lsl {

class InletError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The sender closed the stream (it quit, or restarts): worth connecting again.
class InletEnded : public InletError {
 public:
  using InletError::InletError;
};

struct InletOptions {
  long maxBufferedSamples = 36000;  // what the outlet is asked to keep for us
  std::chrono::milliseconds timeout{5000};  // for connecting and the handshake
  // A longer string is taken for garbage: Pull throws rather than buffer it.
  std::size_t maxStringBytes = std::size_t{1} << 24;
};

// Add to the sender's stamps to read them on this machine's clock.
struct TimeCorrection {
  double offset = 0.0;     // seconds
  double roundTrip = 0.0;  // of the probe it comes from, seconds
};

class Inlet {
 public:
  // Connects and checks the handshake; throws InletError, with the reason,
  // when the stream refuses, is unreachable or answers garbage.
  explicit Inlet(const ResolvedStream& stream, const InletOptions& options = {});

  const StreamInfo& Info() const { return info; }

  // The next sample, or nothing when none arrives within wait. Deduced
  // stamps come filled in. Throws InletEnded when the stream ends,
  // InletError when it sends what is no sample.
  std::optional<DecodedSample> Pull(std::chrono::milliseconds wait);

  // Probes the sender's clock (probes time probes, spaced apart) and keeps
  // the estimate of the shortest round trip; nothing if none was answered.
  std::optional<TimeCorrection> MeasureTimeCorrection(int probes = 8,
                                                      std::chrono::milliseconds spacing = std::chrono::milliseconds(20));

 private:
  // Receives more bytes into pending; false when none came within wait.
  bool ReceiveMore(std::chrono::milliseconds wait);
  void Handshake(std::chrono::milliseconds timeout);

  StreamInfo info;
  asio::ip::address host;
  asio::io_context io;
  asio::ip::tcp::socket socket;
  std::string pending;
  double lastStamp = 0.0;
  std::size_t maxStringBytes;
};

}  // namespace QVT::Lsl
