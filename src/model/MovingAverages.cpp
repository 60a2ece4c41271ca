#include "model/MovingAverages.h"

namespace QVT {

namespace {

bool IsFinite(double v) { return v - v == 0.0; }

}  // namespace

void MovingAverages::Allocate(unsigned long n) {
  Clear();
  if (n == 0) return;
  // Allocated before capacity is set, so a failed allocation leaves the
  // averages cleared rather than half-built.
  slots = std::make_unique<Values[]>(n);
  capacity = n;
}

void MovingAverages::Clear() {
  slots.reset();
  sums = Values{};
  capacity = 0;
  writeIndex = 0;
}

void MovingAverages::Flush() { sums = Values{}; }

void MovingAverages::Write(const Values& v) {
  if (capacity == 0) return;
  Values& slot = slots[writeIndex];
  for (std::size_t k = 0; k < kKinds; ++k) {
    const double old = slot.of[k];
    double s = sums.of[k];
    if (IsFinite(old)) s -= old;
    if (IsFinite(v.of[k])) s += v.of[k];
    sums.of[k] = s;
    slot.of[k] = v.of[k];
  }
  // A compare, not a division: this runs for every electrode and sample.
  writeIndex = writeIndex + 1 == capacity ? 0 : writeIndex + 1;
}

double MovingAverages::LookBack(Kind kind, unsigned long n) const {
  if (capacity == 0) return 0.0;
  const std::uint64_t back = n % capacity;
  return slots[(writeIndex + capacity - 1 - back) % capacity].of[kind];
}

}  // namespace QVT
