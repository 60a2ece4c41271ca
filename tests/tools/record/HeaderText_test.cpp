#include "HeaderText.h"

#include <gtest/gtest.h>

namespace QVT::Record {
namespace {

TEST(HeaderText, SpellsNamesInPlainLetters) {
  const struct {
    const char* utf8;
    const char* ascii;
  } cases[] = {
      {"Müller Jürgen Ø", "Mueller Juergen O"},
      {"Straße", "Strasse"},
      {"Ærøskøbing", "AEroskobing"},
      {"Łódź Šťastný", "Lodz Stastny"},
      {"Œuvre Ĳssel", "OEuvre IJssel"},
      {"Crème brûlée", "Creme brulee"},
      {"Smith–Jones", "Smith-Jones"},  // an en dash
      {"日本", "??"},
      {"tab\there", "tab here"},
      {"bad \xC3 byte \xFF", "bad ? byte ?"},
      {"overlong \xC0\xAF", "overlong ??"},
      {"cut short \xE2\x82", "cut short ??"},
  };
  for (const auto& c : cases) EXPECT_EQ(AsciiText(c.utf8), c.ascii) << c.utf8;
}

TEST(HeaderText, FieldsUseUnderscoresAndSayWhenCut) {
  const HeaderField fits = FitHeaderField("Müller Jürgen", 20);
  EXPECT_EQ(fits.text, "Mueller_Juergen");
  EXPECT_FALSE(fits.cut);
  // The transliteration can make a text too long that was not.
  const HeaderField cut = FitHeaderField("Jürgen", 6);
  EXPECT_EQ(cut.text, "Juerge");
  EXPECT_TRUE(cut.cut);
}

}  // namespace
}  // namespace QVT::Record
