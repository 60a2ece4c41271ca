// A fixed-capacity circular store of doubles with one writer and one reader,
// which may run on different threads. Write and Read exclude each other with
// a two-party Peterson lock; everything else takes no lock.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace QVT {

class RingBuffer {
 public:
  RingBuffer() = default;
  ~RingBuffer();
  RingBuffer(const RingBuffer&) = delete;
  RingBuffer& operator=(const RingBuffer&) = delete;

  // The most slots a client may ask for: over seven hours at 600 Hz, 128 MB.
  static constexpr unsigned long kMaxCapacity = 1UL << 24;
  // Throws a message when n is more than that; callers ask before they
  // change anything.
  static void CheckCapacity(unsigned long n);

  // Clears, then provides n zero-filled slots (none for n == 0). Callers
  // reallocate only while nobody writes or reads. A count too large for an
  // array raises std::bad_array_new_length.
  void Allocate(unsigned long n);
  void Clear();
  // Marks every value as read and zeroes the sum and the overflow count; the
  // slots keep their values. Like Clear, only while nobody writes or reads.
  void Flush();

  // Overwrites the oldest unread value when full, counting it as overflow.
  // Does nothing on an unallocated buffer.
  void Write(double v);

  // The oldest unread value; throws when there is none.
  double Read();

  // Takes up to n of the oldest unread values into out, under one lock;
  // the number taken. *firstIndex (when not null) becomes the running index
  // of the first value taken: the values written before it since the buffer
  // was allocated.
  std::size_t ReadInto(double* out, std::size_t n, std::uint64_t* firstIndex);

  // The value written n writes before the latest, read or not; 0.0 when
  // unallocated.
  double LookBack(unsigned long n) const;

  // Sum of the finite values in all slots, read or unread.
  double Sum() const { return sum.load(std::memory_order_relaxed); }
  std::uint64_t Capacity() const { return capacity; }
  std::uint64_t Count() const { return count.load(std::memory_order_relaxed); }
  std::uint64_t Overflow() const { return overflow.load(std::memory_order_relaxed); }
  std::uint64_t WriteIndex() const { return writeIndex.load(std::memory_order_relaxed); }
  std::uint64_t ReadIndex() const { return readIndex.load(std::memory_order_relaxed); }
  // Values written since the buffer was allocated.
  std::uint64_t Written() const { return written.load(std::memory_order_relaxed); }

 private:
  void LockAsWriter();
  void LockAsReader();
  // Stores v and keeps the indices, sum, count and overflow.
  void Store(double v);

  // Allocation is single-threaded by contract, so data and capacity are
  // plain. The rest is shared between a writer and an unlocked reader.
  std::unique_ptr<double[]> data;
  std::atomic<double> sum{0.0};
  std::uint64_t capacity = 0;
  std::atomic<std::uint64_t> writeIndex{0};
  std::atomic<std::uint64_t> readIndex{0};
  std::atomic<std::uint64_t> count{0};
  std::atomic<std::uint64_t> overflow{0};
  std::atomic<std::uint64_t> written{0};
  std::atomic<bool> writing{false};
  std::atomic<bool> reading{false};
  std::atomic<std::int32_t> turn{0};
};

}  // namespace QVT
