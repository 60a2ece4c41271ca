#include "MarkerReport.h"

#include <gtest/gtest.h>

namespace QVT::Markers {
namespace {

TEST(PrintableText, KeepsCharactersAndReplacesBytesOfNone) {
  const std::pair<std::string, std::string> cases[] = {
      {"stim 1", "stim 1"},
      {"Ölçüm → 5 😀", "Ölçüm → 5 😀"},
      {std::string("a\0b\x14\x7f", 5), "a b  "},
      {"\xff\xfe", "??"},
      {"\xc3", "?"},            // a character cut short
      {"\xc0\xaf", "??"},       // an overlong '/'
      {"\xed\xa0\x80", "???"},  // a surrogate
      {"ok\xe2\x82", "ok??"},
  };
  for (const auto& [raw, shown] : cases) EXPECT_EQ(PrintableText(raw), shown) << raw;
}

}  // namespace
}  // namespace QVT::Markers
