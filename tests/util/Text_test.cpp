#include "util/Text.h"

#include <gtest/gtest.h>

using namespace QVT;
using Words = std::vector<std::string>;

TEST(Text, TrimsOnlyTheGivenSetAndSimilarIgnoresOnlyCaseAndOuterBlanks) {
  EXPECT_EQ(Trim(" \t\r\nab c\n "), "ab c");
  EXPECT_EQ(Trim("\vab\f"), "\vab\f");  // vertical tab and form feed are not blanks here
  EXPECT_EQ(TrimLeft("xxaxx", "x"), "axx");
  EXPECT_EQ(TrimRight("xxaxx", "x"), "xxa");
  EXPECT_EQ(Trim("xxxx", "x"), "");
  EXPECT_EQ(RemoveAllWhitespace(" a\tb\vc\fd\r\ne "), "abcde");
  const struct {
    const char *a, *b;
    bool similar;
  } pairs[] = {{" fz", "FZ ", true}, {"\tcZ\r\n", "Cz", true}, {"", " ", true},
               {"F z", "Fz", false}, {"Fz", "Cz", false},      {"Fz", "Fzz", false}};
  for (const auto& p : pairs) EXPECT_EQ(Similar(p.a, p.b), p.similar) << p.a << "|" << p.b;
}

TEST(Text, SplitMergesRunsAndKeepsOneTrailingEmptyWord) {
  const struct {
    const char *text, *delimiters;
    Words words;
  } cases[] = {
      {"a, b,,c", ", ", {"a", "b", "c"}},
      {"a,", ",", {"a", ""}},
      {"a,,,", ",", {"a", ""}},
      {",,a", ",", {"a"}},
      {"   ", " ", {}},
      {" a, \n", ",", {"a", ""}},
  };
  for (const auto& c : cases) EXPECT_EQ(Split(c.text, c.delimiters), c.words) << c.text;
  EXPECT_EQ(Split(" a\tb \n"), (Words{"a", "b"}));
  std::string s = ",,ab,cd";
  EXPECT_EQ(ChompWord(s, ","), "ab");
  EXPECT_EQ(s, ",cd");  // the ending delimiter stays
  EXPECT_EQ(Join("+", {"a", "", "c"}), "a++c");
  EXPECT_EQ(Join(", ", {}), "");
}

TEST(Text, NumbersParseStrictlyAndLeaveTheOutputAloneWhenNothingParses) {
  int i = 7;
  EXPECT_TRUE(String2Integer(" 42\n", i));
  EXPECT_EQ(i, 42);
  for (const char* bad : {"-3", "4 2", "", "  ", "+1", "0x10", "1.0"}) {
    i = 7;
    EXPECT_FALSE(String2Integer(bad, i)) << bad;
    EXPECT_EQ(i, 7) << bad;
  }
  double d = 0.0;
  EXPECT_TRUE(String2Double(" 1e3 ", d));
  EXPECT_EQ(d, 1000.0);
  EXPECT_FALSE(String2Double("1.5x", d));
  EXPECT_EQ(d, 1.5);  // the parsed prefix is stored anyway
  d = 9.0;
  EXPECT_FALSE(String2Double(" ", d));
  EXPECT_EQ(d, 9.0);
}

TEST(Text, HexAndPythonLiterals) {
  EXPECT_EQ(HexString(255, 4, true), "00FF");
  EXPECT_EQ(HexString(255, 1, false), "ff");
  EXPECT_EQ(HexString(0, 0, false), "0");
  EXPECT_EQ(HexString(-1, 2, false), "ffffffff");
  const unsigned char bytes[] = {0x09, 0x0D, 0x7F, 0x00, 0x1F, 0x20};
  EXPECT_EQ(PythonString(bytes, 6, false), "\"\\t\\r\x7F\\x00\\x1F \"");  // 0x7F stays raw
  EXPECT_EQ(PythonString(bytes, 0, false), "\"\"");
}
