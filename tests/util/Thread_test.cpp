#include "util/Thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>

#include "util/DataStreamError.h"
#include "util/Timing.h"

namespace {

class FunctionThread : public QVT::Thread {
 public:
  explicit FunctionThread(std::function<int(FunctionThread&)> body) : body_(std::move(body)) {}
  ~FunctionThread() override { StopAndWait(); }
  int Run() override { return body_(*this); }

 private:
  std::function<int(FunctionThread&)> body_;
};

void WaitUntilFinished(const QVT::Thread& thread) {
  while (!thread.Finished()) QVT::Sleep(0.001);
}

}  // namespace

TEST(Thread, RunSynchronouslyTurnsExceptionsIntoFailures) {
  FunctionThread ok([](FunctionThread&) { return 7; });
  EXPECT_EQ(ok.RunSynchronously(), 7);
  EXPECT_TRUE(ok.Finished());
  EXPECT_FALSE(ok.Failed());

  FunctionThread boom([](FunctionThread&) -> int { throw std::string("boom"); });
  EXPECT_EQ(boom.RunSynchronously(), 0);
  EXPECT_TRUE(boom.Failed());
  EXPECT_EQ(boom.ErrorMessage(), "boom");

  FunctionThread stream([](FunctionThread&) -> int { throw DataStreamError("link gone"); });
  stream.RunSynchronously();
  EXPECT_EQ(stream.ErrorMessage(), "link gone");

  FunctionThread number([](FunctionThread&) -> int { throw 42; });
  EXPECT_EQ(number.RunSynchronously(), 0);
  EXPECT_TRUE(number.Failed());
  EXPECT_EQ(number.ErrorMessage(), "unknown exception type occurred in thread");
}

TEST(Thread, StartRefusesWhileRunningAndRestartsOnceFinished) {
  std::atomic<bool> release{false};
  std::atomic<int> runs{0};
  FunctionThread thread([&](FunctionThread&) {
    ++runs;
    while (!release) QVT::Sleep(0.001);
    return 0;
  });
  ASSERT_TRUE(thread.Start());
  EXPECT_FALSE(thread.Start());
  release = true;
  WaitUntilFinished(thread);
  ASSERT_TRUE(thread.Start());
  WaitUntilFinished(thread);
  EXPECT_EQ(runs, 2);
}

TEST(Thread, DestructorAsksTheBodyToStopAndWaitsForIt) {
  std::atomic<bool> bodyReturned{false};
  {
    FunctionThread thread([&](FunctionThread& self) {
      while (!self.StopRequested()) QVT::Sleep(0.001);
      bodyReturned = true;
      return 0;
    });
    ASSERT_TRUE(thread.Start());
  }
  EXPECT_TRUE(bodyReturned);
}

TEST(Thread, DestroyingRightAfterStartStillWaitsForTheBody) {
  for (int i = 0; i < 50; ++i) {
    std::atomic<bool> bodyReturned{false};
    {
      FunctionThread thread([&](FunctionThread&) {
        bodyReturned = true;
        return 0;
      });
      ASSERT_TRUE(thread.Start());
    }
    EXPECT_TRUE(bodyReturned);
  }
}
