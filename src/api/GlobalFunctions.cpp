// The global functions of the C interface.
#include "api/Boundary.h"
#include "core/SanityCheck.h"
#include "serial/SerialConnection.h"
#include "util/Console.h"
#include "util/Text.h"
#include "util/Timing.h"

using QVT::api::Guarded;
using QVT::api::GuardedString;
using QVT::api::GuardedVoid;

extern "C" {

QVT_API int Load_QVT_API(void) { return 0; }

QVT_API const char* QVT_Error(void) { return gQVTErrorString; }

QVT_API const char* QVT_ClearError(void) {
  const char* last = gQVTErrorString.exchange(nullptr);
  return last;
}

QVT_API void QVT_SetErrorCallback(QVT_MessageCallback callback) { gQVTErrorHandler = callback; }

QVT_API void QVT_SanityCheck(void) {
  GuardedVoid([] { QVT::SanityCheck(); });
}

QVT_API int QVT_Console(const char* message, int debugLevel) {
  return Guarded(0, [&] { return QVT::Console(message ? message : "", debugLevel); });
}

QVT_API void QVT_Sleep(double seconds) {
  GuardedVoid([&] { QVT::Sleep(seconds); });
}

QVT_API const char* QVT_PythonString(const void* buffer, size_t length, int flag) {
  return GuardedString([&] {
    if (length > 0) POINTER(buffer, "buffer");
    return QVT::PythonString(buffer, length, flag != 0);
  });
}

QVT_API const char* QVT_GetAPIVersion(void) {
  return GuardedString([] { return std::string("1.20.4"); });
}

QVT_API const char* QVT_GetDefaultPort(void) {
  return GuardedString([] { return QVT::DefaultPort(); });
}

}  // extern "C"
