// A headset on the other end of a pseudo-terminal: a thread on the master
// side that reads the commands the library writes, records them, and answers
// each one in a block of its own, as a scriptable policy says.
//
// By default every command with a valid CRC gets the answer the headset
// described by its PeerProfile would give (see DefaultAnswer), enough for the
// whole connect handshake; commands with a bad CRC are recorded and ignored.
// Tests change that per family (SetAnswer), per command in order (Then,
// StaySilent, Refuse) or wholesale (SetPolicy).
//
// Like a headset, the peer streams once data acquisition is started: data
// packets at the sampling rate, a few to a block, until it is stopped. A
// block that the line has no room for is dropped, as a congested radio link
// would; its packet counters are skipped.
#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <ctime>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "headset/AccelerometerReadings.h"
#include "headset/CalibrationImages.h"
#include "headset/HeadsetWire.h"
#include "headset/PseudoTerminal.h"
#include "headset/TruthFile.h"
#include "model/CalibrationLayout.h"

namespace QVT::testing {

// What the peer does with one command.
struct PeerReaction {
  enum class Kind { Answer, Silence, Refuse };
  Kind kind = Kind::Answer;
  std::uint8_t status = 0;             // Refuse: the code sent in place of the family
  std::optional<std::string> payload;  // Answer: replaces the family's answer

  static PeerReaction Answer() { return {}; }
  static PeerReaction AnswerWith(std::string payload) { return {Kind::Answer, 0, std::move(payload)}; }
  static PeerReaction Silence() { return {Kind::Silence, 0, std::nullopt}; }
  static PeerReaction Refuse(std::uint8_t status) { return {Kind::Refuse, status, std::nullopt}; }
};

// Faults of a poor link, applied to everything the peer sends. The random
// choices come from a generator seeded with seed, so a run can be repeated.
struct PeerFaults {
  double corruptRate = 0.0;   // chance of each byte being garbled
  double dropRate = 0.0;      // chance of each data packet being lost
  double silentAfter = -1.0;  // seconds after which nothing more is sent; negative: never
  // Spells of silence: from start, for seconds, both counted from the peer's
  // beginning. The link comes back after each, as a radio link does.
  struct Outage {
    double start = 0.0;
    double seconds = 0.0;
  };
  std::vector<Outage> outages;
  double garbageRate = 0.0;  // chance, after each block of data, of a block of random packets
  bool slow = false;         // a narrow link, and replies that take a while
  // The sample clock's error: positive runs fast, sending more samples per
  // real second than the nominal rate.
  double driftPpm = 0.0;
  // A radio link's delivery: each block of data held back by a random delay
  // from 0 to this, never overtaking the block before it.
  double jitterSeconds = 0.0;
  std::uint64_t seed = 1;
  // Told of every data packet that never went out, by its position in its
  // stream (counting from 0 each time streaming starts), and of every one
  // that went out in a garbled block (garbled true), which a client cannot
  // take either; not of those lost to silence. Called on the peer's thread.
  std::function<void(std::uint64_t position, bool garbled)> onDropped;
};

// The headset the peer plays.
struct PeerProfile {
  std::string identity = "TestHeadset R1";  // model words, then the revision
  std::uint32_t serialNumber = 12345;
  std::uint16_t sensorCount = 24;
  std::string masterFirmware = "1.0";
  std::string slaveFirmware = "1.0";
  // What the sensor-information query reads; writes change the peer's copy.
  CalibrationImage calibration = UnprogrammedCalibrationImage();
  std::uint16_t samplingRate = 300;
  std::uint8_t filterMode = 1;
  std::uint16_t accelerometerRate = 100;
  // The battery monitor answers with a BatteryLevel alarm carrying these.
  std::uint16_t battery1 = 87;
  std::uint16_t battery2 = 85;
  unsigned packetsPerBlock = 6;  // at most 17 fit in the longest block
  // The 49 bytes of data packet `index` (trigger byte, then 24 signed 16-bit
  // slot values); unset: trigger 0 and a small ramp per slot.
  std::function<std::string(std::uint64_t index)> sampleBody;
  // Takes precedence over sampleBody: the body of the packet at time seconds
  // (its time stamp, as the host reads it), knowing whether the impedance
  // driver is on. An empty body switches the headset off: the packets made
  // before it still go out, then nothing more, not even replies.
  std::function<std::string(std::uint64_t index, double seconds, bool impedanceDriver)> signalBody;
  // x, y, z at seconds into the stream; when set, accelerometer packets
  // (three samples each) stream along at the accelerometer rate.
  std::function<std::array<std::int16_t, 3>(double seconds)> accelerometer;
  // Takes precedence over accelerometer: what the sample of the data packet
  // just made shows, asked right after its body. Readings go out where it
  // changes (HeldAccelerometerReadings), so that a recorder reads it back on
  // the very samples.
  std::function<AccelerometerAxes()> sampleAccelerometer;
  // Announces "system started" from both processors and "connection created"
  // when a client begins to talk after a quiet spell.
  bool connectionAlarms = false;
  PeerFaults faults;
  // How many times faster than real time the headset's clocks run: a
  // recording replayed fast or slow. The host sees the nominal rate.
  double speed = 1.0;
  // Told when streaming starts, on the peer's thread.
  std::function<void(const StreamTruth&)> onStreamStart;
};

class HeadsetPeer {
 public:
  // Decides for the commands that no scripted reaction is left for.
  using Policy = std::function<PeerReaction(const WrittenCommand&)>;

  // Starts reading at once. The line must outlive the peer.
  explicit HeadsetPeer(const PseudoTerminal& line, PeerProfile profile = {});
  ~HeadsetPeer();
  HeadsetPeer(const HeadsetPeer&) = delete;
  HeadsetPeer& operator=(const HeadsetPeer&) = delete;

  // From now on every command of this family is answered with payload.
  void SetAnswer(std::uint8_t family, std::string payload);
  // The reactions to the next commands, one command each, in order.
  void Then(const PeerReaction& reaction, int times = 1);
  void StaySilent(int times) { Then(PeerReaction::Silence(), times); }
  void Refuse(std::uint8_t status, int times = 1) { Then(PeerReaction::Refuse(status), times); }
  void SetPolicy(Policy policy);

  // Unsolicited traffic: packets in the peer's next block, or any bytes.
  // False when the line would not take them all.
  bool SendPackets(std::string_view packets);
  bool SendRaw(std::string_view bytes);

  // Every command seen so far, in order, and every byte the library wrote.
  std::vector<WrittenCommand> Commands() const;
  std::string Received() const;
  // Waits until at least count commands were seen; false on time-out.
  bool WaitForCommands(std::size_t count, double seconds) const;

  // Whether data acquisition is on, and the data packets sent (or dropped)
  // since the peer began.
  bool Streaming() const { return streaming_; }
  std::uint64_t DataPacketsSent() const { return dataPacketsSent_; }

  // Ends the thread; the destructor does it too.
  void Stop();

 private:
  // The answer of the profile's headset: echoes, a calibration memory that
  // keeps what is written to it, an accelerometer rate that takes what is
  // set, modes that follow the commands (query 0; n sets mode n - 1), a clock
  // that runs on from when it was set, and the profile's identity.
  std::string DefaultAnswer(const WrittenCommand& command);
  void Run();
  void React(const WrittenCommand& command);
  // A block of data made, waiting for its time on the line.
  struct HeldBlock {
    std::chrono::steady_clock::time_point release;
    std::string packets;
    std::uint32_t firstTicks = 0;
    std::vector<std::uint64_t> carried;  // stream positions of its data packets
  };
  // Sends the data packets due since streaming began.
  void Stream();
  // Sends the held blocks whose time has come.
  void ReleaseHeld();
  void SendBlock(const HeldBlock& block);
  // Samples per real second: the nominal rate, drift included.
  double TrueRate() const;
  bool Write(std::string_view bytes);
  // Frames packets in the next block, stamped with the peer's clock.
  std::string NextBlock(std::string_view packets, std::uint32_t ticks);
  // The accelerometer packets due by the data packet stamped ticks.
  std::string AccelerometerPackets(std::uint32_t ticks, double startTicks);
  void AnnounceConnection();
  // The faults of the profile applied to bytes about to go out.
  bool Silenced() const;
  // True when a byte was changed.
  bool Garble(std::string& bytes);
  // Ticks (1/1800 s) of the headset's clock, which drifts with the sample
  // clock, since the peer began: at a time, and now.
  double HeadsetTicks(std::chrono::steady_clock::time_point at) const;
  std::uint32_t TicksNow() const;
  WireClock ClockNow() const;

  const int fd_;
  const int fdFlags_;  // restored when the peer goes

  mutable std::mutex lock_;  // everything below up to writeLock_
  mutable std::condition_variable seen_;
  std::deque<PeerReaction> script_;
  Policy policy_;
  std::map<std::uint8_t, std::string> answers_;
  std::vector<WrittenCommand> commands_;
  std::string received_;

  const PeerProfile profile_;
  const std::chrono::steady_clock::time_point begun_;

  // Touched by the peer's thread only.
  CalibrationImage calibrationMemory_;
  std::string accelerometerRate_;
  std::map<std::uint8_t, std::uint8_t> modes_;  // per family
  std::chrono::steady_clock::time_point streamStart_;
  std::uint64_t streamPackets_ = 0;  // due packets already sent in this stream
  std::uint64_t sampleIndex_ = 0;    // over all streams
  std::uint8_t packetCounter_ = 0;
  std::uint64_t accelerometerSamples_ = 0;  // in this stream
  HeldAccelerometerReadings heldAccelerometer_;
  std::optional<std::chrono::steady_clock::time_point> lastCommandAt_;
  std::mt19937_64 dropRandom_;
  std::mt19937_64 jitterRandom_;
  std::deque<HeldBlock> held_;  // oldest first
  bool bodiesEnded_ = false;    // an empty body came: no more packets are made

  mutable std::mutex clockLock_;  // the clock is read by any block's sender
  std::optional<std::time_t> clockSetTo_;
  std::chrono::steady_clock::time_point clockSetAt_;

  std::mutex writeLock_;  // one block at a time on the line
  std::uint16_t nextBlock_ = 0;
  std::mt19937_64 garbleRandom_;
  bool lastWriteGarbled_ = false;
  std::mt19937_64 garbageRandom_;

  std::atomic<bool> switchedOff_{false};  // the last packets made have gone out
  std::atomic<bool> streaming_{false};
  std::atomic<std::uint64_t> dataPacketsSent_{0};

  std::atomic<bool> stop_{false};
  std::thread thread_;
};

}  // namespace QVT::testing
