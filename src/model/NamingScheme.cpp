#include "model/NamingScheme.h"

#include <algorithm>
#include <utility>

namespace QVT {

namespace {

using namespace SourceID;

// Positions named alike in both schemes: a vote for each.
constexpr std::array<Code, 18> kSharedPositions = {Fp1, Fpz, Fp2, F7, F3, Fz, F4, F8, C3,
                                                   Cz,  C4,  P3,  P4, O1, O2, Oz, Iz, Nz};
// The "10-20" names of the positions named differently.
constexpr std::array<Code, 4> k1020Only = {T3, T4, T5, T6};
// The "10-10" names of those positions, and the codes their sources get.
constexpr std::array<std::pair<Code, Code>, 6> k1010Renamed = {
    {{T7, T3}, {T8, T4}, {P7, T5}, {P8, T6}, {TP9, M1}, {TP10, M2}}};

template <class Table>
bool Contains(const Table& table, Code code) {
  return std::find(table.begin(), table.end(), code) != table.end();
}

}  // namespace

SourceID::Code ResolveRedundantSourceIDs(SourceID::Code code, StringCounter& votes) {
  if (Contains(kSharedPositions, code)) {
    ++votes.Count(kScheme1020);
    ++votes.Count(kScheme1010);
  } else if (Contains(k1020Only, code)) {
    ++votes.Count(kScheme1020);
  } else if (code >= AF3 && code <= PO8) {
    // Positions that only the finer scheme has: a strong vote.
    votes.Count(kScheme1010) += 5;
  } else {
    for (const auto& [name1010, code1020] : k1010Renamed) {
      if (code != name1010) continue;
      ++votes.Count(kScheme1010);
      return code1020;
    }
  }
  return code;
}

std::string ChooseNamingScheme(const StringCounter& votes) {
  std::string winner = kScheme1010;
  std::int32_t best = -1;
  for (const auto& [scheme, count] : votes.Counts()) {
    if (count >= best) {
      best = count;
      winner = scheme;
    }
  }
  return winner;
}

}  // namespace QVT
