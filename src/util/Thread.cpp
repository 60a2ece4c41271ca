#include "util/Thread.h"

#include <pthread.h>

#include "util/Timing.h"

namespace QVT {

Thread::~Thread() { StopAndWait(); }

void Thread::StopAndWait() {
  stopRequested = true;
  while (running && !finished) Sleep(0.001);
  errorMessage.clear();
}

bool Thread::Start() {
  if (running && !finished) return false;
  running = false;
  finished = false;
  failed = false;
  stopRequested = false;
  errorMessage.clear();

  pthread_attr_t attributes;
  if (pthread_attr_init(&attributes) != 0) return false;
  pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
  // Marked running before the thread exists, so that an owner destroyed right
  // after Start still waits for the body instead of freeing it under its feet.
  running = true;
  pthread_t id;
  const int created = pthread_create(&id, &attributes, ThreadStarter, this);
  pthread_attr_destroy(&attributes);
  if (created != 0) running = false;
  return created == 0;
}

int Thread::RunSynchronously() {
  running = true;
  runner = std::this_thread::get_id();
  int result = 0;
  try {
    result = Run();
  } catch (const std::string& message) {
    errorMessage = message;
    failed = true;
    result = 0;
  } catch (...) {
    errorMessage = "unknown exception type occurred in thread";
    failed = true;
    result = 0;
  }
  runner = std::thread::id();
  finished = true;
  return result;
}

void* ThreadStarter(void* thread) {
  static_cast<Thread*>(thread)->RunSynchronously();
  return thread;
}

}  // namespace QVT
