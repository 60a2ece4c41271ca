#include "core/SanityCheck.h"

#include <bit>
#include <cstdint>
#include <limits>
#include <sstream>
#include <string>

#include "protocol/WireRecords.h"

namespace QVT {

void SanityCheck() {
  std::ostringstream problems;
  if (std::endian::native != std::endian::little)
    problems << "wire records are read in place, which needs a little-endian host\n";
  if (sizeof(int) != 4) problems << "int is " << sizeof(int) << " bytes, expected 4\n";
  if (!std::numeric_limits<double>::is_iec559) problems << "double is not an IEEE 754 binary64\n";
  CheckWireRecords(problems);
  const std::string text = problems.str();
  if (!text.empty()) throw text;
}

}  // namespace QVT
