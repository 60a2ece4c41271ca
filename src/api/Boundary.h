// The one frame of every exported function: string exceptions become the
// last error and the error callback, strings leave through the ring, null
// handles are refused by name.
#pragma once

#include <atomic>
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

// Runs body; a thrown string (a DataStreamError included) is recorded and the
// failure value returned instead. Other exceptions pass through untouched.
template <typename Result, typename Body>
Result Guarded(Result failure, Body&& body) {
  try {
    return std::forward<Body>(body)();
  } catch (const std::string& error) {
    const std::string message(error);
    QVT_HandleError(message);
    return failure;
  }
}

template <typename Body>
void GuardedVoid(Body&& body) {
  try {
    std::forward<Body>(body)();
  } catch (const std::string& error) {
    const std::string message(error);
    QVT_HandleError(message);
  }
}

// For string results: the body's std::string leaves through the ring.
template <typename Body>
const char* GuardedString(Body&& body) {
  return Guarded<const char*>(nullptr, [&body]() { return QVT_OutputString(std::forward<Body>(body)()); });
}

}  // namespace QVT::api
