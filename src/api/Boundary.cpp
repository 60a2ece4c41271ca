#include "api/Boundary.h"

#include <array>

const char* gQVTErrorString = nullptr;
QVT_MessageCallback gQVTErrorHandler = nullptr;

namespace {
unsigned gOutputCursor = 0;
}  // namespace

const char* QVT_OutputString(const std::string& text) {
  static std::array<std::string, 32> ring;
  std::string& slot = ring[gOutputCursor];
  gOutputCursor = (gOutputCursor + 1) & 31u;
  slot = text;
  return slot.c_str();
}

void QVT_HandleError(const std::string& message) {
  const std::string copy(message);
  gQVTErrorString = QVT_OutputString(copy);
  if (gQVTErrorHandler != nullptr) gQVTErrorHandler(message.c_str(), 1);
}
