// The five moving averages of a source over its last samples: the products
// of the signal with the EEG and the CMF carrier references (in phase and in
// quadrature) and the plain signal. A slot holds one sample's five values
// side by side, so that a sample touches one cache line instead of five
// separate buffers. Only the thread that processes samples writes; nobody
// reads the values back one by one. The sums, with a tag the writer gives
// each write, are published so that another thread may read them, always
// as one write left them.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace QVT {

class MovingAverages {
 public:
  // The two in-phase kinds, then the two quadrature ones, so that both
  // carriers' estimates can be worked out side by side in pairs of lanes.
  enum Kind : std::size_t { kEEGInPhase, kCMFInPhase, kEEGQuadrature, kCMFQuadrature, kPlain, kKinds };

  // One sample's values, or the running sums, in the order of Kind.
  struct Values {
    double of[kKinds];
  };

  // The sums and the tag as one write left them; written is false when no
  // write has come since the last Allocate, Clear or Flush.
  struct Snapshot {
    Values sums;
    unsigned tag;
    bool written;
  };

  // Clears, then provides n zero-filled slots (none for n == 0). Only while
  // nobody writes.
  void Allocate(unsigned long n);
  void Clear();
  // The sums restart from 0; the slots keep their values, so the next pass
  // over them subtracts values the sums no longer hold. Only while nobody
  // writes.
  void Flush();

  // Overwrites the oldest slot and keeps each sum as a buffer of its own
  // would: subtract the old value, add the new one, skipping NaN and
  // infinities. Does nothing to the slots when unallocated; the tag is
  // published either way.
  void Write(const Values& v, unsigned tag);

  // From any thread.
  Snapshot Read() const;

  // The value of one kind written n writes before the latest; 0.0 when
  // unallocated. The writing thread only.
  double LookBack(Kind kind, unsigned long n) const;

  std::uint64_t Capacity() const { return capacity; }
  double Sum(Kind kind) const { return Read().sums.of[kind]; }

 private:
  // Odd while a write is under way; readers try again until they see the
  // same even count before and after.
  std::atomic<std::uint32_t> version{0};
  std::atomic<double> sums[kKinds] = {};
  std::atomic<unsigned> tag{0};
  std::atomic<bool> written{false};

  std::unique_ptr<Values[]> slots;
  std::uint64_t capacity = 0;
  std::uint64_t writeIndex = 0;

  void BeginWrite();
  void EndWrite();
};

}  // namespace QVT
