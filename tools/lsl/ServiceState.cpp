#include "ServiceState.h"

#include "Log.h"

namespace QVT::Lsl {

void ThrottledLog::operator()(const std::string& line) {
  std::size_t skipped = 0;
  {
    std::lock_guard lock(mutex);
    const auto now = std::chrono::steady_clock::now();
    if (now - last < std::chrono::seconds(1)) {
      ++heldBack;
      return;
    }
    last = now;
    skipped = heldBack;
    heldBack = 0;
  }
  Log(skipped == 0 ? line : line + " (and " + std::to_string(skipped) + " more like it held back)");
}

}  // namespace QVT::Lsl
