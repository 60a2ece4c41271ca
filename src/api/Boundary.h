// The one frame of every exported function: string exceptions become the
// last error and the error callback, strings leave through the ring, null
// handles are refused by name.
#pragma once

#include <atomic>
#include <exception>
#include <string>
#include <utility>

#include "qvt/qvt.h"

// The last error, pointing into the string ring; null when there is none.
// Atomic, like the ring's cursor, so that calls from several threads at once
// cannot tear them; which thread's error is last is then a matter of timing.
extern std::atomic<const char*> gQVTErrorString;
// The client's error callback, or null.
extern std::atomic<QVT_MessageCallback> gQVTErrorHandler;

// Copies text into the next of 32 ring slots and returns that slot's data,
// valid until 32 further calls.
const char* QVT_OutputString(const std::string& text);

// Records message as the last error and passes it to the error callback.
void QVT_HandleError(const std::string& message);

// p itself, or throws "NULL <name> pointer".
template <typename T>
T* POINTER(T* p, const char* name) {
  if (p == nullptr) throw "NULL " + std::string(name) + " pointer";
  return p;
}

namespace QVT::api {

// The class words of the null-handle messages ("NULL Headset pointer").
inline constexpr const char* kHeadset = "Headset";
inline constexpr const char* kChannel = "Channel";
inline constexpr const char* kSource = "Source";
inline constexpr const char* kStage = "ProcessingStage";

// What the frame does with an exception that is not one of the library's
// own strings. The functions that were always there let it pass to the
// caller; the later ones catch it as a last resort, so that no failure
// ends the client's process.
enum class Foreign { PassThrough, Catch };

// "internal error: <what()>", or "internal error: unknown exception".
std::string InternalErrorText(const std::exception_ptr& error);

// The one catch ladder. Runs body; a thrown string (a DataStreamError
// included) is recorded and the failure value returned instead; other
// exceptions as foreign says.
template <Foreign foreign, typename Result, typename Body>
Result GuardedBy(Result failure, Body&& body) {
  try {
    return std::forward<Body>(body)();
  } catch (const std::string& error) {
    const std::string message(error);
    QVT_HandleError(message);
  } catch (...) {
    if constexpr (foreign == Foreign::PassThrough) {
      throw;
    } else {
      QVT_HandleError(InternalErrorText(std::current_exception()));
    }
  }
  return failure;
}

template <typename Result, typename Body>
Result Guarded(Result failure, Body&& body) {
  return GuardedBy<Foreign::PassThrough>(failure, std::forward<Body>(body));
}

// For the later functions: nothing at all escapes.
template <typename Result, typename Body>
Result GuardedAll(Result failure, Body&& body) {
  return GuardedBy<Foreign::Catch>(failure, std::forward<Body>(body));
}

template <Foreign foreign = Foreign::PassThrough, typename Body>
void GuardedVoid(Body&& body) {
  GuardedBy<foreign>(0, [&body] {
    std::forward<Body>(body)();
    return 0;
  });
}

// For string results: the body's std::string leaves through the ring.
template <typename Body>
const char* GuardedString(Body&& body) {
  return Guarded<const char*>(nullptr, [&body]() { return QVT_OutputString(std::forward<Body>(body)()); });
}

}  // namespace QVT::api
