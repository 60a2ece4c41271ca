#include <algorithm>

#include "model/Source.h"
#include "util/Text.h"

namespace QVT {

namespace {

std::string Normalized(std::string s) { return Trim(Upper(std::move(s))); }

}  // namespace

bool Source::NameMatches(std::string candidate, bool includeAliases) const {
  candidate = Normalized(std::move(candidate));
  if (Normalized(name) == candidate) return true;
  return includeAliases && std::any_of(aliases.begin(), aliases.end(), [&candidate](const std::string& a) {
           return Normalized(a) == candidate;
         });
}

}  // namespace QVT
