// The five moving averages of a source over its last samples: the products
// of the signal with the EEG and the CMF carrier references (in phase and in
// quadrature) and the plain signal. A slot holds one sample's five values
// side by side, so that a sample touches one cache line instead of five
// separate buffers. Only the thread that processes samples writes them and
// reads their sums; nobody reads the values back one by one.
#pragma once

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

  // Clears, then provides n zero-filled slots (none for n == 0). Only while
  // nobody writes.
  void Allocate(unsigned long n);
  void Clear();
  // The sums restart from 0; the slots keep their values, so the next pass
  // over them subtracts values the sums no longer hold.
  void Flush();

  // Overwrites the oldest slot and keeps each sum as a buffer of its own
  // would: subtract the old value, add the new one, skipping NaN and
  // infinities. Does nothing when unallocated.
  void Write(const Values& v);

  // The value of one kind written n writes before the latest; 0.0 when
  // unallocated.
  double LookBack(Kind kind, unsigned long n) const;

  std::uint64_t Capacity() const { return capacity; }
  // Sums of the finite values in all slots, written or not.
  const Values& Sums() const { return sums; }
  double Sum(Kind kind) const { return sums.of[kind]; }

 private:
  std::unique_ptr<Values[]> slots;
  Values sums{};
  std::uint64_t capacity = 0;
  std::uint64_t writeIndex = 0;
};

}  // namespace QVT
