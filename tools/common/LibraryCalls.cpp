#include "LibraryCalls.h"

#include "qvt/qvt.h"

namespace QVT::Tools {

void ThrowIfFailed(const std::string& what) {
  if (const char* error = QVT_ClearError()) throw RuntimeError(what + ": " + error);
}

std::string Copy(const char* text) { return text ? text : ""; }

}  // namespace QVT::Tools
