#include "TriggerOnsets.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace QVT::Session {
namespace {

struct Case {
  const char* what;
  unsigned delay;
  std::vector<std::pair<std::uint64_t, double>> received;  // position, value as delivered
  std::vector<std::pair<std::uint64_t, double>> onsets;
};

TEST(TriggerOnsets, FallOnTheTrueSampleOfEveryChangeToANonZeroValue) {
  const std::vector<Case> cases = {
      {"no delay", 0, {{0, 0}, {1, 4}, {2, 4}, {3, 0}, {4, 6}, {5, 2}}, {{1, 4}, {4, 6}, {5, 2}}},
      {"delayed, no gap", 2, {{0, 0}, {1, 0}, {2, 0}, {3, 5}, {4, 5}, {5, 0}}, {{3, 5}}},
      {"delayed across a gap: back where it was taken", 2, {{0, 0}, {1, 0}, {2, 0}, {6, 5}, {7, 5}, {8, 0}},
       {{3, 5}}},
      {"a pulse whose start was lost", 0, {{0, 0}, {1, 0}, {4, 3}, {5, 3}}, {{4, 3}}},
  };
  for (const Case& c : cases) {
    TriggerOnsets onsets(c.delay);
    std::vector<std::pair<std::uint64_t, double>> found;
    for (const auto& [position, value] : c.received)
      if (const auto onset = onsets.Take(position, value)) found.emplace_back(onset->sample, onset->value);
    EXPECT_EQ(found, c.onsets) << c.what;
  }
}

}  // namespace
}  // namespace QVT::Session
