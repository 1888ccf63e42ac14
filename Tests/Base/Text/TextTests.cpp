#include "Base/Text/Text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tavik::text {
namespace {

using testing::ElementsAre;

constexpr const char* kFamily = "\U0001F468\u200D\U0001F469\u200D\U0001F467";  // one person sees one picture
constexpr const char* kBrokenUTF8 =
    "a\xFF"
    "b";

TEST(Text, countsWhatAPersonSeesAsCharacters) {
  EXPECT_EQ(characterCount(""), 0u);
  EXPECT_EQ(characterCount("plain"), 5u);
  EXPECT_EQ(characterCount("e\u0301te\u0301"), 3u);
  EXPECT_EQ(characterCount(kFamily), 1u);
  EXPECT_EQ(characterCount("\U0001F1E9\U0001F1EA\U0001F1EB\U0001F1F7"), 2u);
  EXPECT_EQ(characterCount("a\r\nb"), 3u);
  EXPECT_EQ(characterCount("a\rb\nc"), 5u);
}

TEST(Text, cutsBetweenCharactersOnly) {
  EXPECT_EQ(prefix("plain", 3), "pla");
  EXPECT_EQ(prefix("plain", 99), "plain");
  EXPECT_EQ(prefix("plain", 0), "");
  EXPECT_EQ(prefix("e\u0301te\u0301", 1), "e\u0301");
  EXPECT_EQ(prefix(std::string(kFamily) + "x", 1), kFamily);
  EXPECT_EQ(prefix("a\r\nb", 2), "a\r\n");
}

TEST(Text, trimsWhiteSpaceOfAllScripts) {
  EXPECT_EQ(trimmed("  \t\r\n a b \n"), "a b");
  EXPECT_EQ(trimmed("\u00A0\u3000\u2028 \u00E4 \u2029\u0085"), "\u00E4");
  EXPECT_EQ(trimmed(" \u00A0\t "), "");
  EXPECT_EQ(trimmed("\u200Bx"), "\u200Bx") << "a zero width space is no white space";
  EXPECT_TRUE(isBlank(" \u3000\n"));
  EXPECT_TRUE(isBlank(""));
  EXPECT_FALSE(isBlank(" . "));
}

TEST(Text, lowersCaseWithoutALocale) {
  EXPECT_EQ(lowercased("Save AS"), "save as");
  EXPECT_EQ(lowercased("\u00C4\u03A3I"), "\u00E4\u03C3i");
  EXPECT_EQ(lowercased("\u0130"), "i\u0307");
}

TEST(Text, findsPartsWithAndWithoutCase) {
  EXPECT_TRUE(contains("finder", "ind"));
  EXPECT_FALSE(contains("finder", "Ind"));
  EXPECT_TRUE(containsIgnoringCase("FinDer", "iNDE"));
  EXPECT_TRUE(containsIgnoringCase("\u00C4PFEL", "\u00E4pf"));
  EXPECT_TRUE(hasPrefixIgnoringCase("HTTPS://x", "https:"));
  EXPECT_FALSE(hasPrefixIgnoringCase("xhttps:", "https:"));
}

TEST(Text, joinsAndSplits) {
  EXPECT_EQ(joined({"a", "", "b"}, ", "), "a, , b");
  EXPECT_EQ(joined({}, ", "), "");
  EXPECT_THAT(split("a,,b,", ',', true), ElementsAre("a", "", "b", ""));
  EXPECT_THAT(split("a,,b,", ',', false), ElementsAre("a", "b"));
  EXPECT_THAT(split("", ',', true), ElementsAre(""));
  EXPECT_THAT(split("", ',', false), ElementsAre());
}

TEST(Text, replacesEveryOccurrenceOnce) {
  EXPECT_EQ(replacingAll("a\nb\n", "\n", "\\n"), "a\\nb\\n");
  EXPECT_EQ(replacingAll("aaa", "aa", "a"), "aa");
  EXPECT_EQ(replacingAll("aaa", "", "x"), "aaa");
}

TEST(Text, measuresInUTF16Units) {
  EXPECT_EQ(utf16Length(""), 0);
  EXPECT_EQ(utf16Length("abc"), 3);
  EXPECT_EQ(utf16Length("\u00E4\U0001F600"), 3);
}

TEST(Text, slicesByUTF16UnitsBetweenCharacters) {
  EXPECT_EQ(utf16Slice("hello", 1, 3), "ell");
  EXPECT_EQ(utf16Slice("hello", 5, 0), "");
  EXPECT_EQ(utf16Slice("a\U0001F600b", 1, 2), "\U0001F600");
  EXPECT_EQ(utf16Slice("a\U0001F600b", 1, 1), std::nullopt) << "half a surrogate pair";
  EXPECT_EQ(utf16Slice("a\U0001F600b", 2, 1), std::nullopt) << "the other half";
  EXPECT_EQ(utf16Slice("e\u0301", 0, 1), std::nullopt) << "a letter without its accent";
}

TEST(Text, slicesThatLeaveTheTextAreAbsent) {
  constexpr long kHuge = std::numeric_limits<long>::max();
  EXPECT_EQ(utf16Slice("hello", -1, 2), std::nullopt);
  EXPECT_EQ(utf16Slice("hello", 0, -1), std::nullopt);
  EXPECT_EQ(utf16Slice("hello", 4, 2), std::nullopt);
  EXPECT_EQ(utf16Slice("hello", 6, 0), std::nullopt);
  EXPECT_EQ(utf16Slice("hello", kHuge, kHuge), std::nullopt);
}

TEST(Text, turnsIntoUTF16UnitsAndBack) {
  EXPECT_EQ(utf16("a\u00E4\U0001F600"), u"a\u00E4\U0001F600");
  EXPECT_EQ(utf16(kBrokenUTF8), u"a\uFFFDb");
  EXPECT_EQ(utf8(u"a\u00E4\U0001F600"), "a\u00E4\U0001F600");
  EXPECT_EQ(utf8(std::u16string_view(u"\xD83D")), "\uFFFD");
}

TEST(Text, replacesBytesThatAreNoUTF8) {
  EXPECT_EQ(repairedUTF8("ok \u00E4"), "ok \u00E4");
  EXPECT_EQ(repairedUTF8(kBrokenUTF8), "a\uFFFDb");
  EXPECT_EQ(repairedUTF8("cut \xE2\x82"), "cut \uFFFD");
  EXPECT_EQ(characterCount(kBrokenUTF8), 3u);
  EXPECT_EQ(utf16Length(kBrokenUTF8), 3);
  EXPECT_EQ(trimmed(" \xFF "), "\uFFFD");
  EXPECT_EQ(lowercased("A\xFF"), "a\uFFFD");
}

TEST(Text, matchesRegularExpressionsAnywhere) {
  EXPECT_TRUE(matches("page 12 of 30", "\\d+ of \\d+"));
  EXPECT_FALSE(matches("page", "^age"));
  EXPECT_FALSE(matches("PAGE", "page"));
  EXPECT_TRUE(matches("PAGE", "page", /*ignoringCase=*/true));
  EXPECT_TRUE(matches("\u00FCber", "^\\p{L}+$"));
  EXPECT_FALSE(matches("anything", "(unclosed"));
}

TEST(Text, listsAreOrderedAsAPersonReadsThem) {
  EXPECT_LT(localizedCaseInsensitiveCompare("alpha", "Beta"), 0);
  EXPECT_GT(localizedCaseInsensitiveCompare("beta", "Alpha"), 0);
  EXPECT_EQ(localizedCaseInsensitiveCompare("Notes", "nOTES"), 0);
  EXPECT_LT(localizedCaseInsensitiveCompare("\u00C4ther", "Zebra"), 0);
  EXPECT_NE(localizedCaseInsensitiveCompare("resume", "r\u00E9sum\u00E9"), 0);
}

}  // namespace
}  // namespace tavik::text
