#include "model/RingBuffer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <climits>
#include <cmath>
#include <limits>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "support/TestHeadsets.h"

using namespace QVT;
using QVT::testing::ThrownMessage;

namespace {

void WriteRange(RingBuffer& b, int first, int last) {
  for (int v = first; v <= last; ++v) b.Write(v);
}

}  // namespace

TEST(RingBuffer, ReadsOldestFirstAndOverflowDropsTheOldest) {
  RingBuffer b;
  b.Allocate(4);
  WriteRange(b, 1, 7);
  EXPECT_EQ(b.Read(), 4.0);
  b.Write(8.0);  // there is room again: no overflow
  EXPECT_EQ(b.Overflow(), 3u);
  for (double v : {5.0, 6.0, 7.0, 8.0}) EXPECT_EQ(b.Read(), v);
  EXPECT_ANY_THROW(b.Read());
  b.Write(9.0);  // would spin forever if the failed read kept its flag
  EXPECT_EQ(b.Read(), 9.0);
}

TEST(RingBuffer, LookBackWrapsAnyNumberOfTimesAndIgnoresReadsAsDoesTheSum) {
  RingBuffer b;
  b.Allocate(4);
  WriteRange(b, 1, 5);
  while (b.Count() > 0) b.Read();
  EXPECT_EQ(b.LookBack(0), 5.0);
  EXPECT_EQ(b.LookBack(3), 2.0);
  EXPECT_EQ(b.LookBack(4), 5.0);
  EXPECT_EQ(b.LookBack(9), 4.0);
  // 2^64 - 1 is a multiple of 3, so this is the latest value; an index
  // wrapped modulo 2^64 instead of the capacity would give the oldest.
  b.Allocate(3);
  WriteRange(b, 1, 3);
  EXPECT_EQ(b.LookBack(ULONG_MAX), 3.0);

  // The sum covers read slots too, but no non-finite value.
  b.Read();
  EXPECT_EQ(b.Sum(), 6.0);
  b.Write(std::nan(""));
  b.Write(std::numeric_limits<double>::infinity());
  EXPECT_EQ(b.Sum(), 3.0);
  WriteRange(b, 10, 12);  // overwriting the NaN and infinity subtracts nothing
  EXPECT_EQ(b.Sum(), 33.0);
}

TEST(RingBuffer, ReallocationStartsAfreshAndAFailedOneLeavesItCleared) {
  RingBuffer b;
  b.Write(1.0);  // unallocated: ignored
  EXPECT_EQ(ThrownMessage([&] { b.Read(); }), "cannot read from unallocated buffer");
  b.Allocate(2);
  WriteRange(b, 1, 5);
  b.Allocate(3);
  EXPECT_EQ(b.Count() + b.Overflow() + b.WriteIndex(), 0u);
  EXPECT_EQ(b.Sum(), 0.0);
  EXPECT_EQ(b.LookBack(1), 0.0);
  EXPECT_THROW(b.Allocate(ULONG_MAX), std::bad_array_new_length);
  EXPECT_EQ(b.Capacity(), 0u);
  EXPECT_EQ(b.LookBack(0), 0.0);
}

// One writer (this thread) and one reader on separate threads: nothing may be read twice,
// out of order or lost without being counted as overflow.
TEST(RingBuffer, WriterAndReaderThreadsAccountForEveryValue) {
  constexpr int kValues = 1000000;
  RingBuffer b;
  b.Allocate(1024);
  std::atomic<bool> writerDone{false};
  long valuesRead = 0, outOfOrder = 0;

  std::thread reader([&] {
    double last = -1.0;
    for (;;) {
      const bool done = writerDone.load();
      // Only this thread lowers the count, so a positive count means Read
      // cannot underflow.
      if (b.Count() == 0) {
        if (done) break;
        std::this_thread::yield();
        continue;
      }
      const double v = b.Read();
      if (v <= last) ++outOfOrder;
      last = v;
      // Pauses let the buffer fill, so overflows race with reads, and bound
      // the lock contention, which is slow under sanitizers.
      if (++valuesRead % 4096 == 0) std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
  });
  for (int v = 0; v < kValues; ++v) b.Write(v);
  writerDone.store(true);
  reader.join();

  EXPECT_EQ(outOfOrder, 0);
  EXPECT_EQ(valuesRead + static_cast<long>(b.Overflow()) + static_cast<long>(b.Count()), kValues);
}

TEST(RingBuffer, ReadIntoTakesTheOldestAtOnceWithTheirRunningIndex) {
  RingBuffer b;
  double out[8] = {};
  std::uint64_t first = 99;
  EXPECT_EQ(ThrownMessage([&] { b.ReadInto(out, 1, &first); }), "cannot read from unallocated buffer");
  b.Allocate(4);
  WriteRange(b, 0, 5);  // 0 and 1 overwritten
  EXPECT_EQ(b.ReadInto(out, 8, &first), 4u);
  EXPECT_EQ(std::vector<double>(out, out + 4), (std::vector<double>{2, 3, 4, 5}));
  EXPECT_EQ(first, 2u);
  WriteRange(b, 6, 7);
  EXPECT_EQ(b.ReadInto(out, 1, &first), 1u);
  EXPECT_EQ(out[0], 6.0);
  EXPECT_EQ(first, 6u);
  EXPECT_EQ(b.Read(), 7.0);
  EXPECT_EQ(b.ReadInto(out, 8, &first), 0u);
  EXPECT_EQ(first, 8u);  // where the next value will be
}

// Against a writer that overflows the buffer now and then: every value taken
// sits at its own running index, so nothing is torn, repeated or misplaced.
TEST(RingBuffer, ReadIntoAgainstAWriterThreadKeepsValuesAtTheirIndex) {
  constexpr int kValues = 200000;
  RingBuffer b;
  b.Allocate(256);
  std::atomic<bool> writerDone{false};
  long misplaced = 0;
  std::uint64_t next = 0;
  std::thread reader([&] {
    double out[100];
    for (;;) {
      const bool done = writerDone.load();
      std::uint64_t first = 0;
      const std::size_t n = b.ReadInto(out, 100, &first);
      if (first < next) ++misplaced;
      for (std::size_t k = 0; k < n; ++k) misplaced += out[k] != static_cast<double>(first + k);
      next = first + n;
      if (n == 0 && done) break;
      if (n == 0) std::this_thread::yield();
    }
  });
  for (int v = 0; v < kValues; ++v) b.Write(v);
  writerDone.store(true);
  reader.join();
  EXPECT_EQ(misplaced, 0);
  EXPECT_EQ(next, static_cast<std::uint64_t>(kValues));
}
