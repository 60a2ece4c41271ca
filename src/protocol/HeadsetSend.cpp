// Sending one command: numbering and signing it, writing it, waiting for the
// reply while reading blocks, resending on silence or refusal, and declaring
// the link lost when writes fail or the attempts run out.
#include <algorithm>
#include <cstring>
#include <sstream>
#include <string>

#include "core/Headset.h"
#include "util/Text.h"

namespace QVT {

namespace {

// Numbers in messages read as a stream inserts them.
std::string Text(double value) {
  std::ostringstream out;
  out << value;
  return out.str();
}

// Whatever way Send leaves, the command it waited for must not stay pending:
// the caller's command goes out of scope, and a late reply would then mark a
// dead object. Taken under the read lock, so that a reply being processed on
// another thread has finished with the command first.
class PendingGuard {
 public:
  PendingGuard(Headset& headset, Command& command) : headset_(headset), command_(command) {}
  ~PendingGuard() { Release(); }
  PendingGuard(const PendingGuard&) = delete;
  PendingGuard& operator=(const PendingGuard&) = delete;

  // Clears the pending command; true when the reply had already cleared it.
  bool Release() {
    if (headset_.pendingCommand.load() == nullptr) return true;
    std::lock_guard<OwnedMutex> lock(headset_.readLock);
    Command* expected = &command_;
    return !headset_.pendingCommand.compare_exchange_strong(expected, nullptr);
  }

 private:
  Headset& headset_;
  Command& command_;
};

}  // namespace

void Headset::Sign(Command& command) {
  const CommandIDAssignment next = NextCommandID(nextCommandID);
  if (next.skipped95 && WouldIssue(3))
    IssueMessage("Skipping command ID " + std::to_string(kSkippedCommandID), 3);
  command.Sign(next.id);
}

void Headset::ForgetPending(int id, bool final, bool refused) {
  Command* pending = pendingCommand.load();
  if (pending == nullptr || pending->ID() != id) return;
  pending->MarkReply(final, refused);
  pendingCommand.store(nullptr);
}

bool Headset::Send(Command& command, double timeout, int attempts, double writeLimit) {
  if (serial.SimulatedInput() != nullptr) return true;
  // The reply would have to be read by this very thread, which is busy in a
  // callback of the read or exchange already under way.
  if (readLock.HeldByThisThread() || sendLock.HeldByThisThread())
    throw std::string(
        "Cannot send a command from inside a callback that runs while the headset reads its link.");
  if (!serial.IsOpen())
    throw std::string("Cannot send commands to headset: serial-port connection not yet established.");
  if (linkLost.load()) throw std::string("QVT link lost: cannot send command");
  std::lock_guard<OwnedMutex> sending(sendLock);

  Sign(command);
  std::string wire = commandPrefix;
  wire.append(reinterpret_cast<const char*>(command.Bytes()), command.Size());
  const std::size_t length = wire.size();
  if (WouldIssue(3)) IssueMessage("Sending " + command.Description(), 3);
  if (WouldIssue(7)) IssueMessage("Raw command is " + PythonString(wire.data(), length, true), 7);

  PendingGuard guard(*this, command);
  Command* const pending = timeout != 0.0 ? &command : nullptr;
  for (int attempt = 1; attempt <= attempts; ++attempt) {
    int result;
    {
      std::lock_guard<OwnedMutex> lock(readLock);
      pendingCommand.store(pending);
      result = writeLimit > 0.0 ? serial.SendBounded(wire.data(), length, writeLimit)
                                : serial.Send(wire.data(), length);
    }
    if (result < 0) {
      const bool wasLost = !MarkLinkLost();
      if (writeLimit > 0.0) {
        if (!wasLost && WouldIssue(1))
          IssueMessage(
              "QVT link lost: bounded write probe did not complete within " + Text(writeLimit) + " s", 1);
        throw "Bounded write probe did not complete within " + Text(writeLimit) + " s (link likely dead)";
      }
      if (!wasLost && WouldIssue(1))
        IssueMessage("QVT link lost: write to serial port failed with errno " + std::to_string(-result), 1);
      throw "Write to serial port failed with errno " + std::to_string(-result);
    }
    if (static_cast<std::size_t>(result) != length) {
      if (MarkLinkLost() && WouldIssue(1))
        IssueMessage("QVT link lost: incomplete write (sent " + std::to_string(result) + " of " +
                         std::to_string(length) + " bytes -- SetCommTimeouts likely fired)",
                     1);
      throw "Could not send complete command (sent " + std::to_string(result) + " of " +
          std::to_string(length) + " bytes)";
    }
    if (timeout == 0.0) return true;

    const double deadline = serial.Elapsed() + timeout;
    do {
      TryToReadBlock();
    } while (pendingCommand.load() != nullptr && serial.Elapsed() < deadline);

    // From here on no other thread touches the command: it is no longer
    // pending, so it may be re-signed.
    const bool replied = guard.Release();
    if (replied && command.ReplyIsFinal()) return true;
    if (attempt >= attempts) break;
    Sign(command);
    if (WouldIssue(2))
      IssueMessage(
          (replied ? "Command failed - resending (attempt #" : "No reply received - resending (attempt #") +
              std::to_string(attempt) + ") as " + command.Description(),
          2);
    // A resend writes the re-signed packet from its first byte, as many
    // bytes as the first write had: with a prefix, the prefix is left out and
    // the write runs on past the packet. Bytes beyond the command's storage
    // are sent as zeros.
    wire.assign(length, '\0');
    std::memcpy(wire.data(), command.Bytes(), std::min(length, Command::kMaxSize));
  }

  if (MarkLinkLost() && WouldIssue(1)) IssueMessage("QVT link lost: command failed too many times", 1);
  throw std::string("Command failed too many times.");
}

}  // namespace QVT
