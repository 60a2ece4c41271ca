#include "util/Text.h"

#include <gtest/gtest.h>

#include "util/StringCounter.h"

using namespace QVT;
using Words = std::vector<std::string>;

TEST(Text, TrimsOnlyTheGivenSetAndDefaultsToFourBlanks) {
  EXPECT_EQ(Trim(" \t\r\nab c\n "), "ab c");
  EXPECT_EQ(Trim("\vab\f"), "\vab\f");  // vertical tab and form feed are not blanks here
  EXPECT_EQ(TrimLeft("xxaxx", "x"), "axx");
  EXPECT_EQ(TrimRight("xxaxx", "x"), "xxa");
  EXPECT_EQ(Trim("xxxx", "x"), "");
  EXPECT_EQ(RemoveAllWhitespace(" a\tb\vc\fd\r\ne "), "abcde");
}

TEST(Text, SimilarIgnoresCaseAndOuterBlanksButNotInnerOnes) {
  EXPECT_TRUE(Similar(" fz", "FZ "));
  EXPECT_FALSE(Similar("F z", "Fz"));
}

TEST(Text, ChompWordLeavesTheEndingDelimiter) {
  std::string s = ",,ab,cd";
  EXPECT_EQ(ChompWord(s, ","), "ab");
  EXPECT_EQ(s, ",cd");
  EXPECT_EQ(ChompWord(s, ","), "cd");
  EXPECT_EQ(s, "");
}

TEST(Text, ChompRemovesOnlyAnExactPrefix) {
  std::string s = "CH12";
  EXPECT_FALSE(Chomp(s, "ch"));
  EXPECT_TRUE(Chomp(s, "CH"));
  EXPECT_EQ(s, "12");
  EXPECT_TRUE(Chomp(s, ""));
  EXPECT_EQ(s, "12");
  EXPECT_FALSE(Chomp(s, "123"));
}

TEST(Text, SplitMergesRunsAndKeepsOneTrailingEmptyWord) {
  EXPECT_EQ(Split("a, b,,c", ", "), (Words{"a", "b", "c"}));
  EXPECT_EQ(Split("a,", ","), (Words{"a", ""}));
  EXPECT_EQ(Split("a,,,", ","), (Words{"a", ""}));
  EXPECT_EQ(Split(",,a", ","), (Words{"a"}));
  EXPECT_EQ(Split("   ", " "), Words{});
  EXPECT_EQ(Split(" a b \n"), (Words{"a", "b"}));
}

TEST(Text, JoinPutsSeparatorsOnlyBetweenParts) {
  EXPECT_EQ(Join(", ", {}), "");
  EXPECT_EQ(Join(", ", {"a"}), "a");
  EXPECT_EQ(Join("+", {"a", "", "c"}), "a++c");
}

TEST(Text, String2IntegerAcceptsOnlyUnsignedDigits) {
  int out = 7;
  EXPECT_TRUE(String2Integer(" 42\n", out));
  EXPECT_EQ(out, 42);
  for (const char* bad : {"-3", "4 2", "", "  ", "+1", "0x10", "1.0"}) {
    out = 7;
    EXPECT_FALSE(String2Integer(bad, out)) << bad;
    EXPECT_EQ(out, 7) << bad;
  }
}

TEST(Text, String2DoubleStoresThePrefixButFailsOnTrailingText) {
  double out = 0.0;
  EXPECT_TRUE(String2Double(" 1e3 ", out));
  EXPECT_EQ(out, 1000.0);
  EXPECT_FALSE(String2Double("1.5x", out));
  EXPECT_EQ(out, 1.5);
  out = 9.0;
  EXPECT_FALSE(String2Double(" ", out));
  EXPECT_EQ(out, 9.0);
}

TEST(Text, HexStringPadsAndShowsNegativesAsTwosComplement) {
  EXPECT_EQ(HexString(255, 4, true), "00FF");
  EXPECT_EQ(HexString(255, 1, false), "ff");
  EXPECT_EQ(HexString(0, 0, false), "0");
  EXPECT_EQ(HexString(-1, 2, false), "ffffffff");
}

TEST(Text, PythonStringEscapesQuotesBackslashesAndHighBytes) {
  const unsigned char bytes[] = {0x41, 0x22, 0x5C, 0x0A, 0xFF, 0x09, 0x0D, 0x7F, 0x00, 0x1F, 0x20};
  EXPECT_EQ(PythonString(bytes, 5, false), "\"A\\x22\\x5C\\n\\xFF\"");
  EXPECT_EQ(PythonString(bytes + 5, 6, false), "\"\\t\\r\x7F\\x00\\x1F \"");
  EXPECT_EQ(PythonString(bytes, 2, true), "\"\\x41\\x22\"");
  EXPECT_EQ(PythonString(bytes, 0, false), "\"\"");
}

TEST(StringCounter, CountsFromZeroPerNameInByteOrder) {
  StringCounter counter;
  ++counter.Count("b");
  ++counter.Count("a");
  ++counter.Count("b");
  EXPECT_EQ(counter.Count("b"), 2);
  EXPECT_EQ(counter.Count("c"), 0);
  EXPECT_EQ(counter.Counts().begin()->first, "a");
}
