#include "api/Boundary.h"

#include <array>

std::atomic<const char*> gQVTErrorString{nullptr};
std::atomic<QVT_MessageCallback> gQVTErrorHandler{nullptr};

namespace {
std::atomic<unsigned> gOutputCursor{0};
}  // namespace

// Each call takes a slot of its own, so concurrent callers write different
// strings unless 32 calls overtake one another.
const char* QVT_OutputString(const std::string& text) {
  static std::array<std::string, 32> ring;
  std::string& slot = ring[gOutputCursor.fetch_add(1) & 31u];
  slot = text;
  return slot.c_str();
}

void QVT_HandleError(const std::string& message) {
  const std::string copy(message);
  gQVTErrorString = QVT_OutputString(copy);
  const QVT_MessageCallback handler = gQVTErrorHandler.load();
  if (handler != nullptr) handler(message.c_str(), 1);
}

namespace QVT::api {

std::string InternalErrorText(const std::exception_ptr& error) {
  try {
    std::rethrow_exception(error);
  } catch (const std::exception& e) {
    return std::string("internal error: ") + e.what();
  } catch (...) {
    return "internal error: unknown exception";
  }
}

}  // namespace QVT::api
