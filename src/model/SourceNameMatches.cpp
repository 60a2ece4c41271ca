#include <algorithm>

#include "model/Source.h"
#include "util/Text.h"

namespace QVT {

bool Source::NameMatches(const std::string& candidate, bool includeAliases) const {
  if (Similar(name, candidate)) return true;
  return includeAliases && std::any_of(aliases.begin(), aliases.end(),
                                       [&candidate](const std::string& a) { return Similar(a, candidate); });
}

}  // namespace QVT
