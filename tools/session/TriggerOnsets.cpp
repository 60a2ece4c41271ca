#include "TriggerOnsets.h"

namespace QVT::Session {

std::optional<TriggerOnset> TriggerOnsets::Take(std::uint64_t position, double value) {
  const std::int64_t home = line.Place(static_cast<std::int64_t>(position));
  // A value from before the first sample has no place on the count.
  if (home < 0 || value == last) return std::nullopt;
  last = value;
  if (value == 0.0) return std::nullopt;
  return TriggerOnset{static_cast<std::uint64_t>(home), value};
}

}  // namespace QVT::Session
