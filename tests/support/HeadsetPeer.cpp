#include "support/HeadsetPeer.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>

#include "protocol/Codes.h"

namespace QVT::testing {

namespace {

namespace Family = QVT::CommandFamily;

constexpr std::uint8_t kResponseFromMaster = 1;
constexpr std::uint8_t kResponseFromSlave = 5;
constexpr std::uint8_t kSlave = 2;
constexpr std::uint32_t kTicksPerBlock = 18;  // 10 ms
constexpr std::size_t kPageSize = 16;

std::string Bytes(std::initializer_list<unsigned> values) {
  std::string bytes;
  for (const unsigned v : values) bytes += static_cast<char>(v);
  return bytes;
}

std::uint8_t PayloadByte(const WrittenCommand& command, std::size_t index) {
  return index < command.payload.size() ? static_cast<std::uint8_t>(command.payload[index]) : 0;
}

}  // namespace

HeadsetPeer::HeadsetPeer(const PseudoTerminal& line)
    : fd_(line.Master()), fdFlags_(fcntl(fd_, F_GETFL)), accelerometerRate_(U16LE(100)) {
  fcntl(fd_, F_SETFL, fdFlags_ | O_NONBLOCK);
  calibrationMemory_.fill(0xFF);
  thread_ = std::thread([this] { Run(); });
}

HeadsetPeer::~HeadsetPeer() {
  Stop();
  fcntl(fd_, F_SETFL, fdFlags_);
}

void HeadsetPeer::Stop() {
  stop_ = true;
  if (thread_.joinable()) thread_.join();
}

void HeadsetPeer::SetAnswer(std::uint8_t family, std::string payload) {
  std::lock_guard<std::mutex> lock(lock_);
  answers_[family] = std::move(payload);
}

void HeadsetPeer::Then(const PeerReaction& reaction, int times) {
  std::lock_guard<std::mutex> lock(lock_);
  for (int i = 0; i < times; ++i) script_.push_back(reaction);
}

void HeadsetPeer::SetPolicy(Policy policy) {
  std::lock_guard<std::mutex> lock(lock_);
  policy_ = std::move(policy);
}

bool HeadsetPeer::SendPackets(std::string_view packets) {
  std::lock_guard<std::mutex> lock(writeLock_);
  const std::string block = EncodeBlock(nextBlock_++, ticks_, WireClock{}, packets);
  ticks_ += kTicksPerBlock;
  return Write(block);
}

bool HeadsetPeer::SendRaw(std::string_view bytes) {
  std::lock_guard<std::mutex> lock(writeLock_);
  return Write(bytes);
}

bool HeadsetPeer::Write(std::string_view bytes) {
  // The line is non-blocking: a library that stops reading must not leave
  // the peer stuck in a write that Stop could never end.
  std::size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t r = ::write(fd_, bytes.data() + done, bytes.size() - done);
    if (r > 0) {
      done += static_cast<std::size_t>(r);
    } else if (r < 0 && (errno == EAGAIN || errno == EINTR) && !stop_) {
      pollfd writable{fd_, POLLOUT, 0};
      poll(&writable, 1, 10);
    } else {
      return false;
    }
  }
  return true;
}

std::vector<WrittenCommand> HeadsetPeer::Commands() const {
  std::lock_guard<std::mutex> lock(lock_);
  return commands_;
}

std::string HeadsetPeer::Received() const {
  std::lock_guard<std::mutex> lock(lock_);
  return received_;
}

bool HeadsetPeer::WaitForCommands(std::size_t count, double seconds) const {
  std::unique_lock<std::mutex> lock(lock_);
  return seen_.wait_for(lock, std::chrono::duration<double>(seconds),
                        [&] { return commands_.size() >= count; });
}

void HeadsetPeer::Run() {
  std::string unread;
  char buffer[4096];
  while (!stop_) {
    pollfd ready{fd_, POLLIN, 0};
    if (poll(&ready, 1, 10) <= 0) continue;
    const ssize_t got = (ready.revents & POLLIN) ? ::read(fd_, buffer, sizeof buffer) : -1;
    if (got <= 0) {
      usleep(1000);  // a hung-up line: do not spin
      continue;
    }
    unread.append(buffer, static_cast<std::size_t>(got));
    {
      std::lock_guard<std::mutex> lock(lock_);
      received_.append(buffer, static_cast<std::size_t>(got));
    }
    std::size_t consumed = 0;
    const std::vector<WrittenCommand> commands = DecodeCommands(unread, &consumed);
    unread.erase(0, consumed);
    for (const WrittenCommand& command : commands) React(command);
  }
}

void HeadsetPeer::React(const WrittenCommand& command) {
  PeerReaction reaction;
  Policy policy;
  std::optional<std::string> familyAnswer;
  {
    std::lock_guard<std::mutex> lock(lock_);
    commands_.push_back(command);
    seen_.notify_all();
    if (!command.crcValid) return;
    if (!script_.empty()) {
      reaction = script_.front();
      script_.pop_front();
    } else {
      policy = policy_;
    }
    if (const auto found = answers_.find(command.family); found != answers_.end())
      familyAnswer = found->second;
  }
  if (policy) reaction = policy(command);  // unlocked: a policy may use the peer
  if (reaction.kind == PeerReaction::Kind::Silence) return;

  const std::uint8_t species = command.destination == kSlave ? kResponseFromSlave : kResponseFromMaster;
  std::string packet;
  if (reaction.kind == PeerReaction::Kind::Refuse) {
    packet = EncodeResponse(species, reaction.status, command.id, "");
  } else {
    const std::string payload = reaction.payload ? *reaction.payload
                                : familyAnswer   ? *familyAnswer
                                                 : DefaultAnswer(command);
    packet = EncodeResponse(species, command.family, command.id, payload);
  }
  SendPackets(packet);
}

std::string HeadsetPeer::DefaultAnswer(const WrittenCommand& command) {
  const std::string& payload = command.payload;
  switch (command.family) {
    case Family::Echo:
      return payload;
    case Family::CalibrationMemory: {
      // A write carries 0xA0 + page, "Z" and the page; a query the page.
      const bool write = payload.size() == 2 + kPageSize && PayloadByte(command, 1) == 0x5A;
      const std::size_t page = (write ? PayloadByte(command, 0) - 0xA0u : PayloadByte(command, 0)) & 7u;
      std::uint8_t* contents = calibrationMemory_.data() + kPageSize * page;
      if (write)
        for (std::size_t i = 0; i < kPageSize; ++i) contents[i] = static_cast<std::uint8_t>(payload[2 + i]);
      return Bytes({static_cast<unsigned>(page), 0}) + std::string(contents, contents + kPageSize);
    }
    case Family::AccelerometerRate:
      if (payload.size() == 2) accelerometerRate_ = payload;
      return accelerometerRate_;
    case Family::FirmwareRevision:
      return "1.0";
    case Family::FirmwareRevisionSub:
      return Bytes({0, 1, 0, 0});
    case Family::DeviceIdentification:
      return "TestHeadset R1";
    case Family::LED:
      return payload.substr(0, 1).empty() ? std::string(1, '\0') : payload.substr(0, 1);
    case Family::DataAcquisitionMode:  // mode, filter on, 300 samples per second
      return Bytes({PayloadByte(command, 0), 1}) + U16LE(300);
    case Family::SerialNumberAndSensorCount:
      return U32LE(12345) + U16LE(24);
    case Family::RealTimeClock:  // the clock as read, an unused byte, the clock as last set
      return Bytes({1, 1, 24, 12, 0, 0, 0, 1, 1, 24, 11, 0, 0});
    case Family::AnalogResetMode:
    case Family::ImpedanceDriverMode:
      return U16LE(PayloadByte(command, 0));
    case Family::AcquisitionSettings:  // rate, filter, record type, channel selection
      return U16LE(300) + U16LE(1) + U16LE(0) + U32LE(0x00FFFFFF);
    default:
      return "";
  }
}

}  // namespace QVT::testing
