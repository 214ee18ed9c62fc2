// UCCompareTextDefaultTest.cpp: Unicode comparison under each collation option and their
// combinations, orders, and refused arguments.
#include <gtest/gtest.h>

#include <string>

#include "TestSupport.h"

namespace {

bool Equivalent(const std::u16string& a, const std::u16string& b, UCCollateOptions options) {
  Boolean equivalent = 7;
  EXPECT_EQ(UCCompareTextDefault(options, reinterpret_cast<const UniChar*>(a.data()), a.size(),
                                 reinterpret_cast<const UniChar*>(b.data()), b.size(), &equivalent, nullptr),
            noErr);
  EXPECT_TRUE(equivalent == 0 || equivalent == 1);
  return equivalent;
}

SInt32 Order(const std::u16string& a, const std::u16string& b, UCCollateOptions options) {
  SInt32 order = 7;
  EXPECT_EQ(UCCompareTextDefault(options, reinterpret_cast<const UniChar*>(a.data()), a.size(),
                                 reinterpret_cast<const UniChar*>(b.data()), b.size(), nullptr, &order),
            noErr);
  return order;
}

constexpr UCCollateOptions kCase = kUCCollateCaseInsensitiveMask;
constexpr UCCollateOptions kDiacritics = kUCCollateDiacritInsensitiveMask;
constexpr UCCollateOptions kWidth = kUCCollateWidthInsensitiveMask;
constexpr UCCollateOptions kPunctuation = kUCCollatePunctuationSignificantMask;
constexpr UCCollateOptions kNumbers = kUCCollateDigitsAsNumberMask;

TEST(UCCompareTextDefaultTest, IdenticalTextsAreEquivalent) {
  EXPECT_TRUE(Equivalent(u"Report.txt", u"Report.txt", 0));
  EXPECT_TRUE(Equivalent(u"", u"", 0));
  EXPECT_FALSE(Equivalent(u"a", u"", 0));
}

TEST(UCCompareTextDefaultTest, CaseCountsUnlessIgnored) {
  EXPECT_FALSE(Equivalent(u"report", u"REPORT", 0));
  EXPECT_TRUE(Equivalent(u"report", u"REPORT", kCase));
  // Ignoring case keeps accents.
  EXPECT_FALSE(Equivalent(u"résumé", u"RESUME", kCase));
}

TEST(UCCompareTextDefaultTest, DiacriticsCountUnlessIgnored) {
  EXPECT_FALSE(Equivalent(u"résumé", u"resume", 0));
  EXPECT_TRUE(Equivalent(u"résumé", u"resume", kDiacritics));
  // Ignoring diacritics keeps case.
  EXPECT_FALSE(Equivalent(u"Résumé", u"resume", kDiacritics));
  EXPECT_TRUE(Equivalent(u"Résumé", u"resume", kDiacritics | kCase));
}

TEST(UCCompareTextDefaultTest, WidthCountsUnlessIgnored) {
  EXPECT_FALSE(Equivalent(u"ＡＢＣ１", u"ABC1", 0));
  EXPECT_TRUE(Equivalent(u"ＡＢＣ１", u"ABC1", kWidth));
  EXPECT_TRUE(Equivalent(u"ｶﾀｶﾅ", u"カタカナ", kWidth));
  // Folding width keeps case.
  EXPECT_FALSE(Equivalent(u"ａｂｃ", u"ABC", kWidth));
  EXPECT_TRUE(Equivalent(u"ａｂｃ", u"ABC", kWidth | kCase));
}

TEST(UCCompareTextDefaultTest, PunctuationIsIgnoredUnlessSignificant) {
  EXPECT_TRUE(Equivalent(u"co-op", u"coop", 0));
  EXPECT_TRUE(Equivalent(u"a b", u"ab", 0));
  EXPECT_FALSE(Equivalent(u"co-op", u"coop", kPunctuation));
  EXPECT_FALSE(Equivalent(u"a b", u"ab", kPunctuation));
}

TEST(UCCompareTextDefaultTest, DigitsCompareByValueWhenAsked) {
  EXPECT_EQ(Order(u"file9", u"file10", 0), 1);
  EXPECT_EQ(Order(u"file9", u"file10", kNumbers), -1);
  EXPECT_TRUE(Equivalent(u"file010", u"file10", kNumbers));
  EXPECT_FALSE(Equivalent(u"file010", u"file10", 0));
}

TEST(UCCompareTextDefaultTest, CanonicalEquivalentsAreEqual) {
  EXPECT_TRUE(Equivalent(u"\u00e9", u"e\u0301", 0));
  EXPECT_TRUE(Equivalent(u"\u00e9", u"e\u0301", kUCCollateComposeInsensitiveMask));
}

TEST(UCCompareTextDefaultTest, GivesTheOrder) {
  EXPECT_EQ(Order(u"apple", u"banana", 0), -1);
  EXPECT_EQ(Order(u"banana", u"apple", 0), 1);
  EXPECT_EQ(Order(u"apple", u"Apple", kCase), 0);
  // Both results at once.
  std::u16string a = u"a", b = u"B";
  Boolean equivalent = true;
  SInt32 order = 0;
  EXPECT_EQ(UCCompareTextDefault(0, reinterpret_cast<const UniChar*>(a.data()), 1,
                                 reinterpret_cast<const UniChar*>(b.data()), 1, &equivalent, &order),
            noErr);
  EXPECT_FALSE(equivalent);
  EXPECT_EQ(order, -1);
}

TEST(UCCompareTextDefaultTest, RefusesBadArguments) {
  UniChar unit = 'a';
  Boolean equivalent = false;
  SInt32 order = 0;
  EXPECT_EQ(UCCompareTextDefault(0, nullptr, 1, &unit, 1, &equivalent, &order), paramErr);
  EXPECT_EQ(UCCompareTextDefault(0, &unit, 1, nullptr, 1, &equivalent, &order), paramErr);
  EXPECT_EQ(UCCompareTextDefault(0, &unit, 1, &unit, 1, nullptr, nullptr), paramErr);
  // No text at all is the empty text.
  EXPECT_EQ(UCCompareTextDefault(0, nullptr, 0, nullptr, 0, &equivalent, &order), noErr);
  EXPECT_TRUE(equivalent);
}

}  // namespace
