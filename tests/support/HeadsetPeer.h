// A headset on the other end of a pseudo-terminal: a thread on the master
// side that reads the commands the library writes, records them, and answers
// each one in a block of its own, as a scriptable policy says.
//
// By default every command with a valid CRC gets the answer a plain headset
// would give (see DefaultAnswer); commands with a bad CRC are recorded and
// ignored. Tests change that per family (SetAnswer), per command in order
// (Then, StaySilent, Refuse) or wholesale (SetPolicy).
#pragma once

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "support/HeadsetWire.h"
#include "support/PseudoTerminal.h"

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

class HeadsetPeer {
 public:
  // Decides for the commands that no scripted reaction is left for.
  using Policy = std::function<PeerReaction(const WrittenCommand&)>;

  // Starts reading at once. The line must outlive the peer.
  explicit HeadsetPeer(const PseudoTerminal& line);
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

  // Ends the thread; the destructor does it too.
  void Stop();

 private:
  // The answer of a plain headset: echoes, a calibration memory that keeps
  // what is written to it, an accelerometer rate that takes what is set, and
  // fixed, well-formed replies for the queries.
  std::string DefaultAnswer(const WrittenCommand& command);
  void Run();
  void React(const WrittenCommand& command);
  bool Write(std::string_view bytes);

  const int fd_;
  const int fdFlags_;  // restored when the peer goes

  mutable std::mutex lock_;  // everything below up to writeLock_
  mutable std::condition_variable seen_;
  std::deque<PeerReaction> script_;
  Policy policy_;
  std::map<std::uint8_t, std::string> answers_;
  std::vector<WrittenCommand> commands_;
  std::string received_;

  // Touched by the peer's thread only.
  std::array<std::uint8_t, 128> calibrationMemory_;
  std::string accelerometerRate_;

  std::mutex writeLock_;  // one block at a time on the line
  std::uint16_t nextBlock_ = 0;
  std::uint32_t ticks_ = 0;

  std::atomic<bool> stop_{false};
  std::thread thread_;
};

}  // namespace QVT::testing
