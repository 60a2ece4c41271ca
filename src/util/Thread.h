// A polymorphic thread object with cooperative stopping. The body (Run) runs
// detached; its owner learns of its end through finished and asks it to stop
// through stopRequested, which the body polls.
#pragma once

#include <atomic>
#include <string>
#include <thread>

namespace QVT {

class Thread {
 public:
  Thread() = default;
  Thread(const Thread&) = delete;
  Thread& operator=(const Thread&) = delete;

  // Asks the body to stop and waits until it has returned. A body that never
  // looks at stopRequested blocks its owner here for ever.
  virtual ~Thread();

  virtual int Run() = 0;

  // Starts the body on a new detached thread; false when the body is still
  // running or the thread could not be created.
  bool Start();

  // Runs the body on the calling thread; an exception becomes errorMessage
  // and failed, and the result is then 0.
  int RunSynchronously();

  bool Running() const { return running; }
  bool Finished() const { return finished; }
  bool Failed() const { return failed; }
  bool StopRequested() const { return stopRequested; }
  void RequestStop() { stopRequested = true; }
  // True on the thread that is running the body right now.
  bool IsCurrentThread() const { return runner.load() == std::this_thread::get_id(); }
  const std::string& ErrorMessage() const { return errorMessage; }

 protected:
  // Derived destructors call this first, so that the body stops before the
  // members it uses are destroyed.
  void StopAndWait();

  std::atomic<bool> running{false};
  std::atomic<bool> finished{false};
  std::atomic<bool> failed{false};
  std::atomic<bool> stopRequested{false};
  std::atomic<std::thread::id> runner{};
  std::string errorMessage;
};

// The function handed to pthread_create.
void* ThreadStarter(void* thread);

}  // namespace QVT
