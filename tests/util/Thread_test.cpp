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

}  // namespace

TEST(Thread, RunSynchronouslyTurnsExceptionsIntoFailures) {
  const struct {
    std::function<int(FunctionThread&)> body;
    int result;
    std::string error;
  } cases[] = {
      {[](FunctionThread&) { return 7; }, 7, ""},
      {[](FunctionThread&) -> int { throw std::string("boom"); }, 0, "boom"},
      {[](FunctionThread&) -> int { throw DataStreamError("link gone"); }, 0, "link gone"},
      {[](FunctionThread&) -> int { throw 42; }, 0, "unknown exception type occurred in thread"},
  };
  for (const auto& c : cases) {
    FunctionThread thread(c.body);
    EXPECT_EQ(thread.RunSynchronously(), c.result) << c.error;
    EXPECT_TRUE(thread.Finished());
    EXPECT_EQ(thread.Failed(), !c.error.empty());
    EXPECT_EQ(thread.ErrorMessage(), c.error);
  }
}

TEST(Thread, RestartClearsTheLastFailure) {
  std::atomic<int> runs{0};
  FunctionThread thread([&](FunctionThread&) -> int {
    if (runs++ == 0) throw std::string("first run fails");
    return 0;
  });
  for (bool failed : {true, false}) {
    ASSERT_TRUE(thread.Start());
    while (!thread.Finished()) QVT::Sleep(0.001);
    EXPECT_EQ(thread.Failed(), failed);
  }
}

// The first body runs until asked to stop; the others are destroyed right
// after Start, before their body may even have begun.
TEST(Thread, DestructorAsksTheBodyToStopAndWaitsForIt) {
  for (int i = 0; i < 50; ++i) {
    std::atomic<bool> bodyReturned{false};
    {
      FunctionThread thread([&](FunctionThread& self) {
        while (i == 0 && !self.StopRequested()) QVT::Sleep(0.001);
        bodyReturned = true;
        return 0;
      });
      ASSERT_TRUE(thread.Start());
    }
    EXPECT_TRUE(bodyReturned) << i;
  }
}
