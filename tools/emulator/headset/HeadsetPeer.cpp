#include "headset/HeadsetPeer.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>

#include "headset/GarbagePackets.h"
#include "protocol/Codes.h"

namespace QVT::testing {

namespace {

namespace Family = QVT::CommandFamily;

constexpr std::uint8_t kResponseFromMaster = 1;
constexpr std::uint8_t kAlarmFromMaster = 2;
constexpr std::uint8_t kResponseFromSlave = 5;
constexpr std::uint8_t kSlave = 2;
constexpr double kTicksPerSecond = 1800.0;
constexpr std::size_t kPageSize = 16;
constexpr std::uint8_t kBatteryLevelAlarm = 15;  // code 527 from the Master
constexpr std::uint8_t kFourU16Parameters = 0x84;
constexpr int kSlots = 24;
constexpr std::uint8_t kAlarmFromSlave = 6;
constexpr std::uint8_t kSystemStartedAlarm = 1;       // 513 from the Master, 1537 from the Slave
constexpr std::uint8_t kConnectionCreatedAlarm = 51;  // 563 from the Master
constexpr double kQuietSpellSeconds = 2.0;  // a client talking after it has connected anew
// The slow link: about 230400 baud, and a reply delay of a busy radio.
constexpr double kSlowBytesPerSecond = 23040.0;
constexpr auto kSlowReplyDelay = std::chrono::milliseconds(30);
// What the narrow line holds before the headset's blocks are lost: without a
// bound the stream would fall ever further behind. A normal line carries any
// rate; there, lateness is only the emulator's own, and it catches up.
constexpr double kSlowLineBacklogSeconds = 0.1;

// The headset keeps its clock as calendar fields, without a time zone; the
// arithmetic runs in UTC so that it never touches the C library's time-zone
// state, which the library under test uses on other threads.
std::string ClockRecord(std::time_t t) {
  std::tm fields{};
  gmtime_r(&t, &fields);
  return {static_cast<char>(fields.tm_mon + 1),    static_cast<char>(fields.tm_mday),
          static_cast<char>(fields.tm_year - 100), static_cast<char>(fields.tm_hour),
          static_cast<char>(fields.tm_min),        static_cast<char>(fields.tm_sec)};
}

std::time_t FromClockRecord(const std::string& record) {
  std::tm fields{};
  fields.tm_mon = static_cast<std::uint8_t>(record[0]) - 1;
  fields.tm_mday = static_cast<std::uint8_t>(record[1]);
  fields.tm_year = static_cast<std::uint8_t>(record[2]) + 100;
  fields.tm_hour = static_cast<std::uint8_t>(record[3]);
  fields.tm_min = static_cast<std::uint8_t>(record[4]);
  fields.tm_sec = static_cast<std::uint8_t>(record[5]);
  return timegm(&fields);
}

// The record of a clock set to setTo at setAt, read now.
std::string RunningClock(std::time_t setTo, std::chrono::steady_clock::time_point setAt) {
  const auto running =
      std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - setAt);
  return ClockRecord(setTo + static_cast<std::time_t>(running.count()));
}

// Trigger 0, and slot k counting up from 100 k, one per sample.
std::string RampBody(std::uint64_t index) {
  std::string body(1, '\0');
  for (int slot = 0; slot < kSlots; ++slot)
    body += U16LE(static_cast<unsigned>(100 * slot + static_cast<int>(index % 100)));
  return body;
}

std::string Bytes(std::initializer_list<unsigned> values) {
  std::string bytes;
  for (const unsigned v : values) bytes += static_cast<char>(v);
  return bytes;
}

std::uint8_t PayloadByte(const WrittenCommand& command, std::size_t index) {
  return index < command.payload.size() ? static_cast<std::uint8_t>(command.payload[index]) : 0;
}

}  // namespace

HeadsetPeer::HeadsetPeer(const PseudoTerminal& line, PeerProfile profile)
    : fd_(line.Master()),
      fdFlags_(fcntl(fd_, F_GETFL)),
      profile_(std::move(profile)),
      begun_(std::chrono::steady_clock::now()),
      calibrationMemory_(profile_.calibration),
      accelerometerRate_(U16LE(profile_.accelerometerRate)),
      dropRandom_(profile_.faults.seed),
      jitterRandom_(profile_.faults.seed ^ 0x2545F4914F6CDD1Dull),
      garbleRandom_(profile_.faults.seed ^ 0x9E3779B97F4A7C15ull),
      garbageRandom_(profile_.faults.seed ^ 0x5851F42D4C957F2Dull) {
  fcntl(fd_, F_SETFL, fdFlags_ | O_NONBLOCK);
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
  return Write(NextBlock(packets, TicksNow()));
}

std::string HeadsetPeer::NextBlock(std::string_view packets, std::uint32_t ticks) {
  return EncodeBlock(nextBlock_++, ticks, ClockNow(), packets);
}

std::uint32_t HeadsetPeer::TicksNow() const {
  return static_cast<std::uint32_t>(HeadsetTicks(std::chrono::steady_clock::now()));
}

WireClock HeadsetPeer::ClockNow() const {
  std::lock_guard<std::mutex> lock(clockLock_);
  if (!clockSetTo_) return WireClock{};
  const std::string r = RunningClock(*clockSetTo_, clockSetAt_);
  const auto at = [&](int i) { return static_cast<std::uint8_t>(r[static_cast<std::size_t>(i)]); };
  return WireClock{at(0), at(1), at(2), at(3), at(4), at(5)};
}

bool HeadsetPeer::SendRaw(std::string_view bytes) {
  std::lock_guard<std::mutex> lock(writeLock_);
  return Write(bytes);
}

bool HeadsetPeer::Silenced() const {
  const double now = std::chrono::duration<double>(std::chrono::steady_clock::now() - begun_).count();
  if (switchedOff_) return true;
  if (profile_.faults.silentAfter >= 0.0 && now >= profile_.faults.silentAfter) return true;
  for (const PeerFaults::Outage& outage : profile_.faults.outages)
    if (now >= outage.start && now < outage.start + outage.seconds) return true;
  return false;
}

bool HeadsetPeer::Garble(std::string& bytes) {
  if (profile_.faults.corruptRate <= 0.0) return false;
  std::bernoulli_distribution garbled(profile_.faults.corruptRate);
  std::uniform_int_distribution<int> mask(1, 255);
  bool any = false;
  for (char& c : bytes)
    if (garbled(garbleRandom_)) {
      c = static_cast<char>(c ^ mask(garbleRandom_));
      any = true;
    }
  return any;
}

bool HeadsetPeer::Write(std::string_view original) {
  lastWriteGarbled_ = false;
  if (Silenced()) return true;  // gone quiet: the bytes vanish
  std::string garbled(original);
  lastWriteGarbled_ = Garble(garbled);
  const std::string_view bytes = garbled;
  // The line is non-blocking: a library that stops reading must not leave
  // the peer stuck in a write that Stop could never end.
  std::size_t done = 0;
  while (done < bytes.size()) {
    if (profile_.faults.slow) {
      // A narrow link: a few bytes at a time, at its pace.
      const std::size_t chunk = std::min<std::size_t>(64, bytes.size() - done);
      std::this_thread::sleep_for(
          std::chrono::duration<double>(static_cast<double>(chunk) / kSlowBytesPerSecond));
    }
    const std::size_t want =
        profile_.faults.slow ? std::min<std::size_t>(64, bytes.size() - done) : bytes.size() - done;
    const ssize_t r = ::write(fd_, bytes.data() + done, want);
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

double HeadsetPeer::HeadsetTicks(std::chrono::steady_clock::time_point at) const {
  return std::chrono::duration<double>(at - begun_).count() * kTicksPerSecond *
         (1.0 + profile_.faults.driftPpm * 1e-6) * profile_.speed;
}

double HeadsetPeer::TrueRate() const {
  return profile_.samplingRate * (1.0 + profile_.faults.driftPpm * 1e-6) * profile_.speed;
}

void HeadsetPeer::Stream() {
  const double rate = profile_.samplingRate;
  const double trueRate = TrueRate();
  const unsigned perBlock = profile_.packetsPerBlock == 0 ? 1 : profile_.packetsPerBlock;
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - streamStart_).count();
  const auto due = static_cast<std::uint64_t>(seconds * trueRate);
  const double startTicks = HeadsetTicks(streamStart_);
  while (due >= streamPackets_ + perBlock && !stop_ && !bodiesEnded_) {
    std::string packets;
    std::vector<std::uint64_t> carried;  // stream positions in this block
    std::uint32_t firstTicks = 0;
    for (unsigned i = 0; i < perBlock; ++i) {
      const auto ticks = static_cast<std::uint32_t>(startTicks + static_cast<double>(streamPackets_ + i) *
                                                                     kTicksPerSecond / rate);
      if (i == 0) firstTicks = ticks;
      const std::uint64_t index = sampleIndex_++;
      const std::uint8_t counter = packetCounter_++;
      if (profile_.faults.dropRate > 0.0 &&
          std::bernoulli_distribution(profile_.faults.dropRate)(dropRandom_)) {
        if (profile_.faults.onDropped && !Silenced()) profile_.faults.onDropped(streamPackets_ + i, false);
        continue;  // lost on the way; its counter is skipped
      }
      const std::string body =
          profile_.signalBody
              ? profile_.signalBody(index, ticks / kTicksPerSecond, modes_[Family::ImpedanceDriverMode] > 0)
          : profile_.sampleBody ? profile_.sampleBody(index)
                                : RampBody(index);
      if (body.empty()) {
        bodiesEnded_ = true;
        break;
      }
      packets += EncodeDataPacket(counter, body, ticks);
      carried.push_back(streamPackets_ + i);
      packets += AccelerometerPackets(ticks, startTicks);
    }
    if (bodiesEnded_ && carried.empty()) break;
    streamPackets_ += perBlock;
    dataPacketsSent_ += perBlock;
    const bool behind =
        profile_.faults.slow && static_cast<double>(due - streamPackets_) > rate * kSlowLineBacklogSeconds;
    if (behind) {
      if (profile_.faults.onDropped)
        for (const std::uint64_t position : carried) profile_.faults.onDropped(position, false);
      continue;
    }
    // Held from when its last sample was complete, and never past the block
    // before it: a radio link delays, it does not reorder.
    const auto completed = streamStart_ + std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                                              std::chrono::duration<double>(static_cast<double>(streamPackets_) / trueRate));
    auto release = completed;
    if (profile_.faults.jitterSeconds > 0.0)
      release += std::chrono::duration_cast<std::chrono::steady_clock::duration>(std::chrono::duration<double>(
          std::uniform_real_distribution<double>(0.0, profile_.faults.jitterSeconds)(jitterRandom_)));
    if (!held_.empty()) release = std::max(release, held_.back().release);
    held_.push_back({release, std::move(packets), firstTicks, std::move(carried)});
  }
  ReleaseHeld();
}

void HeadsetPeer::ReleaseHeld() {
  const auto now = std::chrono::steady_clock::now();
  while (!held_.empty() && held_.front().release <= now && !stop_) {
    SendBlock(held_.front());
    held_.pop_front();
  }
  if (bodiesEnded_ && held_.empty()) switchedOff_ = true;
}

void HeadsetPeer::SendBlock(const HeldBlock& block) {
  pollfd room{fd_, POLLOUT, 0};
  if (poll(&room, 1, 0) <= 0 || !(room.revents & POLLOUT)) {  // dropped
    if (profile_.faults.onDropped)
      for (const std::uint64_t position : block.carried) profile_.faults.onDropped(position, false);
    return;
  }
  std::lock_guard<std::mutex> lock(writeLock_);
  Write(NextBlock(block.packets, block.firstTicks));
  if (lastWriteGarbled_ && profile_.faults.onDropped)
    for (const std::uint64_t position : block.carried) profile_.faults.onDropped(position, true);
  if (profile_.faults.garbageRate > 0.0 &&
      std::bernoulli_distribution(profile_.faults.garbageRate)(garbageRandom_))
    Write(NextBlock(GarbagePackets(garbageRandom_, block.firstTicks, profile_.samplingRate), block.firstTicks));
}

std::string HeadsetPeer::AccelerometerPackets(std::uint32_t ticks, double startTicks) {
  if ((!profile_.accelerometer && !profile_.sampleAccelerometer) || accelerometerRate_.size() != 2) return "";
  const double rate = static_cast<std::uint8_t>(accelerometerRate_[0]) |
                      static_cast<unsigned>(static_cast<std::uint8_t>(accelerometerRate_[1])) << 8;
  if (rate <= 0.0) return "";
  const double ticksPerSample = kTicksPerSecond / rate;
  if (profile_.sampleAccelerometer) {
    const auto readings = heldAccelerometer_.Show(ticks, profile_.sampleAccelerometer(), ticksPerSample);
    return readings ? EncodeAccelerometerPacket(*readings) : "";
  }
  const auto due = static_cast<std::uint64_t>((ticks - startTicks) / ticksPerSample);
  std::string packets;
  while (due >= accelerometerSamples_ + kReadingsPerAccelerometerPacket) {
    AccelerometerPacketReadings readings;
    for (std::size_t k = 0; k < readings.size(); ++k) {
      const double position = static_cast<double>(accelerometerSamples_ + k);
      readings[k] = {static_cast<std::uint32_t>(startTicks + position * ticksPerSample),
                     profile_.accelerometer(position / rate)};
    }
    accelerometerSamples_ += kReadingsPerAccelerometerPacket;
    packets += EncodeAccelerometerPacket(readings);
  }
  return packets;
}

void HeadsetPeer::AnnounceConnection() {
  SendPackets(EncodeAlarm(kAlarmFromMaster, kSystemStartedAlarm, 0, "") +
              EncodeAlarm(kAlarmFromSlave, kSystemStartedAlarm, 0, "") +
              EncodeAlarm(kAlarmFromMaster, kConnectionCreatedAlarm, 0, ""));
}

void HeadsetPeer::Run() {
  std::string unread;
  char buffer[4096];
  while (!stop_) {
    if (streaming_) Stream();
    ReleaseHeld();  // what was held back outlives a stop, as on a radio link
    pollfd ready{fd_, POLLIN, 0};
    if (poll(&ready, 1, streaming_ || !held_.empty() ? 1 : 10) <= 0) continue;
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

  const auto now = std::chrono::steady_clock::now();
  if (profile_.connectionAlarms && command.family == Family::Echo &&
      (!lastCommandAt_ || std::chrono::duration<double>(now - *lastCommandAt_).count() > kQuietSpellSeconds))
    AnnounceConnection();
  lastCommandAt_ = now;
  if (profile_.faults.slow) std::this_thread::sleep_for(kSlowReplyDelay);

  // The battery monitor reports through an alarm, not a reply.
  if (reaction.kind == PeerReaction::Kind::Answer && !reaction.payload && !familyAnswer &&
      command.family == Family::BatteryMonitor) {
    SendPackets(EncodeAlarm(kAlarmFromMaster, kBatteryLevelAlarm, kFourU16Parameters,
                            U16LE(profile_.battery1) + U16LE(profile_.battery2) +
                                U16LE(3000u + profile_.battery1) + U16LE(3000u + profile_.battery2)));
    return;
  }

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
      return command.destination == kSlave ? profile_.slaveFirmware : profile_.masterFirmware;
    case Family::FirmwareRevisionSub:
      return Bytes({0, 1, 0, 0});
    case Family::DeviceIdentification:
      return profile_.identity;
    case Family::LED:
      return payload.substr(0, 1).empty() ? std::string(1, '\0') : payload.substr(0, 1);
    case Family::DataAcquisitionMode: {  // mode, filter, sampling rate
      const std::uint8_t request = PayloadByte(command, 0);
      if (request == 1 || request == 2) {
        const bool start = request == 2;
        if (start && !streaming_) {
          streamStart_ = std::chrono::steady_clock::now();
          streamPackets_ = 0;
          accelerometerSamples_ = 0;
          heldAccelerometer_.Restart();
          if (profile_.onStreamStart) {
            // Sample k is complete one period after it began, at (k + 1) / rate.
            const double startTicks = HeadsetTicks(streamStart_);
            profile_.onStreamStart(
                {std::chrono::duration<double>(streamStart_.time_since_epoch()).count() + 1.0 / TrueRate(),
                 TrueRate(), static_cast<std::uint32_t>(startTicks) / kTicksPerSecond});
          }
        }
        streaming_ = start;
        modes_[command.family] = start ? 1 : 0;
      }
      return Bytes({modes_[command.family], profile_.filterMode}) + U16LE(profile_.samplingRate);
    }
    case Family::SerialNumberAndSensorCount:
      return U32LE(profile_.serialNumber) + U16LE(profile_.sensorCount);
    case Family::RealTimeClock: {  // the clock as read, an unused byte, the clock as last set
      std::lock_guard<std::mutex> lock(clockLock_);
      if (payload.size() == 6) {
        clockSetTo_ = FromClockRecord(payload);
        clockSetAt_ = std::chrono::steady_clock::now();
      }
      // Before the library sets it: noon, set at eleven, on the first of January 2024.
      if (!clockSetTo_) return Bytes({1, 1, 24, 12, 0, 0, 0, 1, 1, 24, 11, 0, 0});
      return RunningClock(*clockSetTo_, clockSetAt_) + '\0' + ClockRecord(*clockSetTo_);
    }
    case Family::AnalogResetMode:
    case Family::ImpedanceDriverMode: {
      const std::uint8_t request = PayloadByte(command, 0);
      if (request > 0) modes_[command.family] = static_cast<std::uint8_t>(request - 1);
      return U16LE(modes_[command.family]);
    }
    case Family::AcquisitionSettings:  // rate, filter, record type, channel selection
      return U16LE(profile_.samplingRate) + U16LE(profile_.filterMode) + U16LE(0) + U32LE(0x00FFFFFF);
    default:
      return "";
  }
}

}  // namespace QVT::testing
