#include "PageControls.h"

#include <stdexcept>

#include "ArrivalStage.h"

namespace QVT::Monitor {

namespace {

// Longer than any label a person types; the file keeps what fits.
constexpr std::size_t kLongestMarker = 1000;

}  // namespace

void PageControls::Mark(const std::string& text) {
  if (text.empty()) throw std::runtime_error("a marker needs a text");
  if (text.size() > kLongestMarker) throw std::runtime_error("a marker's text is at most 1000 bytes");
  // The time of the click, as near as the page lets us know it.
  acquisition.Mark(text, Tools::MonotonicSeconds(), "page");
}

}  // namespace QVT::Monitor
