// CFStringCompareTest.cpp: comparison with every option bit, search, find-and-replace and
// case mapping of the host's strings.
#include <CoreFoundation/CoreFoundation.h>
#include <ZRPlatform/Testing.h>
#include <gtest/gtest.h>
#include <unicode/ucol.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace {

CFStringRef S(const std::u16string& units) {
  return CFStringCreateWithCharacters(nullptr, reinterpret_cast<const UniChar*>(units.data()),
                                      static_cast<CFIndex>(units.size()));
}

std::u16string Units(CFStringRef string) {
  std::u16string units(static_cast<size_t>(CFStringGetLength(string)), u'\0');
  CFStringGetCharacters(string, CFRangeMake(0, CFStringGetLength(string)), reinterpret_cast<UniChar*>(units.data()));
  return units;
}

// Compares two texts with the options and returns the result.
CFComparisonResult Cmp(const std::u16string& a, const std::u16string& b, CFStringCompareFlags options) {
  CFStringRef first = S(a);
  CFStringRef second = S(b);
  CFComparisonResult result = CFStringCompare(first, second, options);
  CFRelease(first);
  CFRelease(second);
  return result;
}

CFComparisonResult CmpIn(const char* localeIdentifier, const std::u16string& a, const std::u16string& b,
                         CFStringCompareFlags options) {
  CFStringRef identifier = CFStringCreateWithCString(nullptr, localeIdentifier, kCFStringEncodingUTF8);
  CFLocaleRef locale = CFLocaleCreate(nullptr, identifier);
  CFStringRef first = S(a);
  CFStringRef second = S(b);
  CFComparisonResult result = CFStringCompareWithOptionsAndLocale(
      first, second, CFRangeMake(0, CFStringGetLength(first)), options | kCFCompareLocalized, locale);
  CFRelease(first);
  CFRelease(second);
  CFRelease(locale);
  CFRelease(identifier);
  return result;
}

// Sets a locale variable of the environment for the life of the object and restores it
// afterwards, telling the host each time, as a change of the user's settings is announced.
class ScopedEnvironment {
 public:
  ScopedEnvironment(const char* name, const char* value) : name_(name) {
    const char* old = std::getenv(name);
    if (old) hadValue_ = true, old_ = old;
    setenv(name, value, 1);
    ZRTestingLocaleSettingsChanged();
  }
  ~ScopedEnvironment() {
    if (hadValue_) {
      setenv(name_.c_str(), old_.c_str(), 1);
    } else {
      unsetenv(name_.c_str());
    }
    ZRTestingLocaleSettingsChanged();
  }

 private:
  std::string name_;
  std::string old_;
  bool hadValue_ = false;
};

TEST(CFStringCompare, LiteralOrderOfUnits) {
  EXPECT_EQ(Cmp(u"a", u"b", 0), kCFCompareLessThan);
  EXPECT_EQ(Cmp(u"b", u"a", 0), kCFCompareGreaterThan);
  EXPECT_EQ(Cmp(u"same", u"same", 0), kCFCompareEqualTo);
  EXPECT_EQ(Cmp(u"B", u"a", 0), kCFCompareLessThan);
  EXPECT_EQ(Cmp(u"b", u"B", 0), kCFCompareGreaterThan);
  EXPECT_EQ(Cmp(u"ab", u"abc", 0), kCFCompareLessThan);
  EXPECT_EQ(Cmp(u"", u"", 0), kCFCompareEqualTo);
  EXPECT_EQ(Cmp(u"", u"a", 0), kCFCompareLessThan);
  // UTF-16 units: a surrogate (0xD83D) comes before U+E000.
  EXPECT_EQ(Cmp(u"\U0001F600", u"\ue000", 0), kCFCompareLessThan);
  EXPECT_EQ(Cmp(u"file10", u"file2", 0), kCFCompareLessThan);
  EXPECT_EQ(CFStringCompare(CFSTR("de"), CFSTR("de"), 0), kCFCompareEqualTo);
}

TEST(CFStringCompare, CaseInsensitive) {
  EXPECT_EQ(Cmp(u"b", u"B", kCFCompareCaseInsensitive), kCFCompareEqualTo);
  EXPECT_EQ(Cmp(u"Hello World", u"hELLO wORLD", kCFCompareCaseInsensitive), kCFCompareEqualTo);
  EXPECT_EQ(Cmp(u"a", u"B", kCFCompareCaseInsensitive), kCFCompareLessThan);
  EXPECT_EQ(Cmp(u"B", u"a", kCFCompareCaseInsensitive), kCFCompareGreaterThan);
  // Full case folding: ß is ss.
  EXPECT_EQ(Cmp(u"Stra\u00dfe", u"STRASSE", kCFCompareCaseInsensitive), kCFCompareEqualTo);
  EXPECT_EQ(Cmp(u"\u00e9T\u00c9", u"\u00c9t\u00e9", kCFCompareCaseInsensitive), kCFCompareEqualTo);
  // Code point order: the supplementary character comes after U+E000.
  EXPECT_EQ(Cmp(u"\U0001F600", u"\ue000", kCFCompareCaseInsensitive), kCFCompareGreaterThan);
}

TEST(CFStringCompare, Numerically) {
  EXPECT_EQ(Cmp(u"file2", u"file10", kCFCompareNumerically), kCFCompareLessThan);
  EXPECT_EQ(Cmp(u"file10", u"file2", kCFCompareNumerically), kCFCompareGreaterThan);
  EXPECT_EQ(Cmp(u"file10", u"file10", kCFCompareNumerically), kCFCompareEqualTo);
  EXPECT_EQ(Cmp(u"file010", u"file10", kCFCompareNumerically), kCFCompareEqualTo);
  EXPECT_EQ(Cmp(u"a2b", u"a10a", kCFCompareNumerically), kCFCompareLessThan);
  EXPECT_EQ(Cmp(u"2", u"10", kCFCompareNumerically), kCFCompareLessThan);
  EXPECT_EQ(Cmp(u"v1.9", u"v1.10", kCFCompareNumerically), kCFCompareLessThan);
  EXPECT_EQ(Cmp(u"99999999999999999999", u"100000000000000000000", kCFCompareNumerically), kCFCompareLessThan);
  EXPECT_EQ(Cmp(u"File2", u"file10", kCFCompareNumerically | kCFCompareCaseInsensitive), kCFCompareLessThan);
  EXPECT_EQ(Cmp(u"x", u"1", kCFCompareNumerically), kCFCompareGreaterThan);
}

TEST(CFStringCompare, DiacriticNonliteralAndWidth) {
  EXPECT_EQ(Cmp(u"resume", u"r\u00e9sum\u00e9", kCFCompareDiacriticInsensitive), kCFCompareEqualTo);
  EXPECT_NE(Cmp(u"resume", u"r\u00e9sum\u00e9", 0), kCFCompareEqualTo);
  EXPECT_EQ(Cmp(u"RESUME", u"r\u00e9sum\u00e9", kCFCompareDiacriticInsensitive | kCFCompareCaseInsensitive),
            kCFCompareEqualTo);
  // Composed and decomposed forms.
  EXPECT_EQ(Cmp(u"caf\u00e9", u"cafe\u0301", kCFCompareNonliteral), kCFCompareEqualTo);
  EXPECT_NE(Cmp(u"caf\u00e9", u"cafe\u0301", 0), kCFCompareEqualTo);
  EXPECT_EQ(Cmp(u"a\u0323\u0301", u"a\u0301\u0323", kCFCompareNonliteral), kCFCompareEqualTo);
  // Full-width forms.
  EXPECT_EQ(Cmp(u"\uff21\uff22\uff23", u"ABC", kCFCompareWidthInsensitive), kCFCompareEqualTo);
  EXPECT_NE(Cmp(u"\uff21\uff22\uff23", u"ABC", 0), kCFCompareEqualTo);
}

TEST(CFStringCompare, ForcedOrdering) {
  EXPECT_EQ(Cmp(u"b", u"B", kCFCompareCaseInsensitive | kCFCompareForcedOrdering), kCFCompareGreaterThan);
  EXPECT_EQ(Cmp(u"B", u"b", kCFCompareCaseInsensitive | kCFCompareForcedOrdering), kCFCompareLessThan);
  EXPECT_EQ(Cmp(u"b", u"b", kCFCompareCaseInsensitive | kCFCompareForcedOrdering), kCFCompareEqualTo);
}

TEST(CFStringCompare, RangeOfTheFirstString) {
  CFStringRef text = CFSTR("xxabcxx");
  EXPECT_EQ(CFStringCompareWithOptions(text, CFSTR("abc"), CFRangeMake(2, 3), 0), kCFCompareEqualTo);
  EXPECT_EQ(CFStringCompareWithOptions(text, CFSTR("ABC"), CFRangeMake(2, 3), kCFCompareCaseInsensitive),
            kCFCompareEqualTo);
  EXPECT_EQ(CFStringCompareWithOptions(text, CFSTR("abc"), CFRangeMake(2, 2), 0), kCFCompareLessThan);
}

TEST(CFStringCompare, LocalizedInTheUsersLocale) {
  // The test environment is English.
  EXPECT_EQ(Cmp(u"apple", u"Pear", kCFCompareLocalized), kCFCompareLessThan);
  EXPECT_EQ(Cmp(u"Pear", u"apple", 0), kCFCompareLessThan);
  const CFStringCompareFlags table = kCFCompareCaseInsensitive | kCFCompareLocalized | kCFCompareNumerically;
  EXPECT_EQ(Cmp(u"apple", u"Pear", table), kCFCompareLessThan);
  EXPECT_EQ(Cmp(u"b", u"B", table), kCFCompareEqualTo);
  EXPECT_EQ(Cmp(u"item 9", u"Item 10", table), kCFCompareLessThan);
  EXPECT_EQ(Cmp(u"b", u"B", kCFCompareLocalized), kCFCompareLessThan);
  EXPECT_EQ(Cmp(u"\u00e4", u"b", kCFCompareLocalized), kCFCompareLessThan);
  EXPECT_EQ(Cmp(u"\u00e4", u"b", 0), kCFCompareGreaterThan);
  EXPECT_EQ(Cmp(u"r\u00e9sum\u00e9", u"resume", kCFCompareLocalized | kCFCompareDiacriticInsensitive),
            kCFCompareEqualTo);
  EXPECT_EQ(Cmp(u"caf\u00e9", u"cafe\u0301", kCFCompareLocalized), kCFCompareEqualTo);
}

TEST(CFStringCompare, LocalizedFollowsTheEnvironment) {
  {
    ScopedEnvironment all("LC_ALL", "sv_SE.UTF-8");
    EXPECT_EQ(Cmp(u"\u00e4pple", u"zebra", kCFCompareLocalized), kCFCompareGreaterThan);
  }
  {
    ScopedEnvironment all("LC_ALL", "");
    ScopedEnvironment collate("LC_COLLATE", "de_DE.UTF-8");
    EXPECT_EQ(Cmp(u"\u00e4pple", u"zebra", kCFCompareLocalized), kCFCompareLessThan);
  }
  {
    ScopedEnvironment all("LC_ALL", "C");
    EXPECT_EQ(Cmp(u"\u00e4pple", u"zebra", kCFCompareLocalized), kCFCompareLessThan);
  }
}

TEST(CFStringCompare, LocalizedInAGivenLocale) {
  // German sorts ä with a; Swedish after z.
  EXPECT_EQ(CmpIn("de_DE", u"\u00c4pfel", u"Birne", 0), kCFCompareLessThan);
  EXPECT_EQ(CmpIn("de_DE", u"\u00e4pple", u"zebra", 0), kCFCompareLessThan);
  EXPECT_EQ(CmpIn("sv_SE", u"\u00e4pple", u"zebra", 0), kCFCompareGreaterThan);
  EXPECT_EQ(CmpIn("de_DE", u"M\u00fcller", u"Muller", 0), kCFCompareGreaterThan);
  EXPECT_EQ(CmpIn("de_DE", u"M\u00fcller", u"Muller", kCFCompareDiacriticInsensitive), kCFCompareEqualTo);
  EXPECT_EQ(CmpIn("en_US", u"x10", u"x9", kCFCompareNumerically), kCFCompareGreaterThan);
  EXPECT_EQ(CmpIn("en_US", u"x10", u"x9", 0), kCFCompareLessThan);
  // Without a locale the canonical order is used.
  EXPECT_EQ(CFStringCompareWithOptionsAndLocale(CFSTR("apple"), CFSTR("Pear"), CFRangeMake(0, 5), kCFCompareLocalized,
                                                nullptr),
            kCFCompareLessThan);
}

TEST(CFStringCompare, ManyLocalizedComparisonsFromSeveralThreads) {
  const CFStringCompareFlags table = kCFCompareCaseInsensitive | kCFCompareLocalized | kCFCompareNumerically;
  std::vector<std::thread> threads;
  std::vector<int> wrong(4, 0);
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t, table, &wrong] {
      CFStringRef low = CFSTR("file 2");
      CFStringRef high = CFSTR("File 10");
      for (int k = 0; k < 20000; ++k) {
        if (CFStringCompare(low, high, table) != kCFCompareLessThan) ++wrong[static_cast<size_t>(t)];
        if (CFStringCompare(high, low, table) != kCFCompareGreaterThan) ++wrong[static_cast<size_t>(t)];
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (int count : wrong) EXPECT_EQ(count, 0);
}

// ICU's own collator for a locale, set up as the platform's options ask: the strength from
// the case and diacritic options, numeric order, canonically equivalent texts alike.
UCollator* OpenCollator(const char* locale, CFStringCompareFlags options) {
  UErrorCode error = U_ZERO_ERROR;
  UCollator* collator = ucol_open(locale, &error);
  UColAttributeValue strength = UCOL_TERTIARY;
  if (options & kCFCompareCaseInsensitive) strength = UCOL_SECONDARY;
  if (options & kCFCompareDiacriticInsensitive) strength = UCOL_PRIMARY;
  ucol_setAttribute(collator, UCOL_STRENGTH, strength, &error);
  ucol_setAttribute(collator, UCOL_NUMERIC_COLLATION, (options & kCFCompareNumerically) ? UCOL_ON : UCOL_OFF, &error);
  ucol_setAttribute(collator, UCOL_NORMALIZATION_MODE, UCOL_ON, &error);
  EXPECT_TRUE(U_SUCCESS(error)) << u_errorName(error);
  return collator;
}

CFComparisonResult Collate(const UCollator* collator, const std::u16string& a, const std::u16string& b) {
  UCollationResult result =
      ucol_strcoll(collator, a.data(), static_cast<int32_t>(a.size()), b.data(), static_cast<int32_t>(b.size()));
  return result == UCOL_LESS ? kCFCompareLessThan : result == UCOL_GREATER ? kCFCompareGreaterThan : kCFCompareEqualTo;
}

// Random texts of case variants, precomposed and decomposed accents, digits (with leading
// zeros), punctuation, characters outside the BMP (with case, and without) and lone
// surrogates. Some are copies or case variants of earlier ones, so that ties occur.
std::vector<std::u16string> RandomTexts(size_t count, unsigned seed) {
  // "\xD800" and "\xDC00" are lone surrogates (a \u escape cannot name one).
  static const char16_t* const kPieces[] = {
      u"a",          u"A",      u"b",       u"B",      u"z",      u"Z",       u"e",          u"E",
      u"\u00e9",     u"\u00c9", u"e\u0301", u"\u00e4", u"\u00c4", u"a\u0308", u"\u00e5",     u"\u00f6",
      u"o",          u"\u00df", u"ss",      u"SS",     u"\u00e6", u"0",       u"1",          u"2",
      u"9",          u"10",     u"007",     u" ",      u"-",      u".",       u"\U0001F600", u"\U00010400",
      u"\U00010428", u"\xD800", u"\xDC00",  u"\u4e2d", u"\u0131", u"I"};
  std::mt19937 random(seed);
  std::vector<std::u16string> texts;
  while (texts.size() < count) {
    if (!texts.empty() && random() % 8 == 0) {
      std::u16string copy = texts[random() % texts.size()];
      for (char16_t& unit : copy)
        if (unit >= u'a' && unit <= u'z' && random() % 2) unit = static_cast<char16_t>(unit - 32);
      texts.push_back(copy);
      continue;
    }
    std::u16string text;
    size_t pieces = random() % 9;
    for (size_t i = 0; i < pieces; ++i) text += kPieces[random() % std::size(kPieces)];
    texts.push_back(text);
  }
  return texts;
}

TEST(CFStringCompare, ICUSortKeysEndWithTheirOnlyNul) {
  // Immutable strings are compared by their sort keys as byte strings; that gives ICU's order
  // only if a key holds no NUL before its last byte.
  UCollator* collator = OpenCollator("sv_SE", kCFCompareCaseInsensitive | kCFCompareNumerically);
  for (const std::u16string& text : RandomTexts(300, 7)) {
    uint8_t key[1024];
    int32_t length = ucol_getSortKey(collator, text.data(), static_cast<int32_t>(text.size()), key, sizeof key);
    ASSERT_GT(length, 0);
    ASSERT_LE(length, static_cast<int32_t>(sizeof key));
    EXPECT_EQ(key[length - 1], 0);
    EXPECT_EQ(std::memchr(key, 0, static_cast<size_t>(length - 1)), nullptr);
  }
  ucol_close(collator);
}

TEST(CFStringCompare, LocalizedOrderOfImmutableStringsIsICUs) {
  const CFStringCompareFlags kOptionSets[] = {
      0,
      kCFCompareCaseInsensitive,
      kCFCompareNumerically,
      kCFCompareCaseInsensitive | kCFCompareNumerically,
      kCFCompareDiacriticInsensitive,
      kCFCompareCaseInsensitive | kCFCompareDiacriticInsensitive | kCFCompareNumerically,
  };
  std::vector<std::u16string> texts = RandomTexts(200, 2024);
  std::vector<CFStringRef> strings;
  std::vector<CFMutableStringRef> mutables;
  for (const std::u16string& text : texts) {
    strings.push_back(S(text));
    mutables.push_back(CFStringCreateMutableCopy(nullptr, 0, strings.back()));
  }
  for (const char* identifier : {"en_US", "de_DE", "sv_SE"}) {
    CFStringRef name = CFStringCreateWithCString(nullptr, identifier, kCFStringEncodingUTF8);
    CFLocaleRef locale = CFLocaleCreate(nullptr, name);
    for (CFStringCompareFlags options : kOptionSets) {
      UCollator* collator = OpenCollator(identifier, options);
      int wrong = 0;
      for (size_t i = 0; i < texts.size(); ++i) {
        for (size_t j = 0; j < texts.size(); ++j) {
          CFComparisonResult expected = Collate(collator, texts[i], texts[j]);
          CFRange all = CFRangeMake(0, CFStringGetLength(strings[i]));
          CFStringCompareFlags localized = options | kCFCompareLocalized;
          CFComparisonResult byKeys =
              CFStringCompareWithOptionsAndLocale(strings[i], strings[j], all, localized, locale);
          CFComparisonResult mixed =
              CFStringCompareWithOptionsAndLocale(strings[i], mutables[j], all, localized, locale);
          if (byKeys != expected || mixed != expected) {
            if (++wrong <= 5)
              ADD_FAILURE() << identifier << " options " << options << ": pair " << i << ", " << j << " gave " << byKeys
                            << " and " << mixed << ", ICU " << expected;
          }
        }
      }
      EXPECT_EQ(wrong, 0) << identifier << " options " << options;
      ucol_close(collator);
    }
    CFRelease(locale);
    CFRelease(name);
  }
  for (CFStringRef string : strings) CFRelease(string);
  for (CFMutableStringRef string : mutables) CFRelease(string);
}

TEST(CFStringCompare, LocalizedOrderInTheUsersLocaleIsICUs) {
  const CFStringCompareFlags options = kCFCompareCaseInsensitive | kCFCompareNumerically;
  std::vector<std::u16string> texts = RandomTexts(60, 99);
  std::vector<CFStringRef> strings;
  for (const std::u16string& text : texts) strings.push_back(S(text));
  // The same strings, under one locale after another: each keeps a key per locale.
  for (const char* identifier : {"de_DE", "sv_SE", "en_US", "sv_SE"}) {
    std::string value = std::string(identifier) + ".UTF-8";
    ScopedEnvironment all("LC_ALL", value.c_str());
    UCollator* collator = OpenCollator(identifier, options);
    int wrong = 0;
    for (size_t i = 0; i < texts.size(); ++i)
      for (size_t j = 0; j < texts.size(); ++j)
        if (CFStringCompare(strings[i], strings[j], options | kCFCompareLocalized) !=
            Collate(collator, texts[i], texts[j]))
          ++wrong;
    EXPECT_EQ(wrong, 0) << identifier;
    ucol_close(collator);
  }
  for (CFStringRef string : strings) CFRelease(string);
}

TEST(CFStringCompare, LocalizedUnderManyConfigurationsInTurn) {
  // More configurations than a string keeps keys for, taken in turn on the same strings.
  CFStringRef umlaut = S(u"\u00e4pple 10");
  CFStringRef zebra = S(u"Zebra 9");
  CFStringRef plain = S(u"Apple 10");
  CFStringRef nine = S(u"apple 9");
  for (int round = 0; round < 3; ++round) {
    for (const char* identifier : {"en_US", "de_DE", "sv_SE", "fi_FI", "fr_FR", "da_DK", "nl_NL"}) {
      CFStringRef name = CFStringCreateWithCString(nullptr, identifier, kCFStringEncodingUTF8);
      CFLocaleRef locale = CFLocaleCreate(nullptr, name);
      bool after = std::strcmp(identifier, "sv_SE") == 0 || std::strcmp(identifier, "fi_FI") == 0 ||
                   std::strcmp(identifier, "da_DK") == 0;
      CFRange all = CFRangeMake(0, CFStringGetLength(umlaut));
      EXPECT_EQ(CFStringCompareWithOptionsAndLocale(umlaut, zebra, all, kCFCompareLocalized, locale),
                after ? kCFCompareGreaterThan : kCFCompareLessThan)
          << identifier;
      EXPECT_EQ(CFStringCompareWithOptionsAndLocale(umlaut, plain, all,
                                                    kCFCompareLocalized | kCFCompareDiacriticInsensitive, locale),
                after ? kCFCompareGreaterThan : kCFCompareEqualTo)
          << identifier;
      EXPECT_EQ(
          CFStringCompareWithOptionsAndLocale(
              umlaut, nine, all, kCFCompareLocalized | kCFCompareDiacriticInsensitive | kCFCompareNumerically, locale),
          kCFCompareGreaterThan)
          << identifier;
      CFRelease(locale);
      CFRelease(name);
    }
  }
  CFRelease(umlaut);
  CFRelease(zebra);
  CFRelease(plain);
  CFRelease(nine);
}

TEST(CFStringCompare, LocalizedComparisonOfAMutableStringSeesItsChanges) {
  const CFStringCompareFlags table = kCFCompareCaseInsensitive | kCFCompareLocalized | kCFCompareNumerically;
  CFMutableStringRef changing = CFStringCreateMutableCopy(nullptr, 0, CFSTR("Quote 10"));
  CFStringRef nine = CFSTR("quote 9");
  EXPECT_EQ(CFStringCompare(changing, nine, table), kCFCompareGreaterThan);
  EXPECT_EQ(CFStringCompare(nine, changing, table), kCFCompareLessThan);
  CFStringReplaceAll(changing, CFSTR("Quote 8"));
  EXPECT_EQ(CFStringCompare(changing, nine, table), kCFCompareLessThan);
  EXPECT_EQ(CFStringCompare(nine, changing, table), kCFCompareGreaterThan);
  CFStringAppend(changing, CFSTR("0"));
  EXPECT_EQ(CFStringCompare(changing, nine, table), kCFCompareGreaterThan);
  CFStringDelete(changing, CFRangeMake(0, CFStringGetLength(changing)));
  EXPECT_EQ(CFStringCompare(changing, nine, table), kCFCompareLessThan);
  EXPECT_EQ(CFStringCompare(changing, changing, table), kCFCompareEqualTo);
  // An immutable copy taken now has the text of now.
  CFStringAppend(changing, CFSTR("QUOTE 9"));
  CFStringRef copy = CFStringCreateCopy(nullptr, changing);
  EXPECT_EQ(CFStringCompare(copy, nine, table), kCFCompareEqualTo);
  CFStringAppend(changing, CFSTR("9"));
  EXPECT_EQ(CFStringCompare(copy, nine, table), kCFCompareEqualTo);
  EXPECT_EQ(CFStringCompare(changing, nine, table), kCFCompareGreaterThan);
  CFRelease(copy);
  CFRelease(changing);
}

TEST(CFStringCompare, LocalizedComparisonOfPartOfAString) {
  const CFStringCompareFlags table = kCFCompareCaseInsensitive | kCFCompareLocalized | kCFCompareNumerically;
  CFStringRef whole = CFSTR("Item 10 of 12");
  CFStringRef item = CFSTR("item 10");
  EXPECT_EQ(CFStringCompare(whole, item, table), kCFCompareGreaterThan);
  EXPECT_EQ(CFStringCompareWithOptions(whole, item, CFRangeMake(0, 7), table), kCFCompareEqualTo);
  EXPECT_EQ(CFStringCompareWithOptions(whole, item, CFRangeMake(0, 6), table), kCFCompareLessThan);
  EXPECT_EQ(CFStringCompareWithOptions(whole, CFSTR("OF 12"), CFRangeMake(8, 5), table), kCFCompareEqualTo);
  EXPECT_EQ(CFStringCompareWithOptions(whole, whole, CFRangeMake(0, 7), table), kCFCompareLessThan);
  EXPECT_EQ(CFStringCompare(whole, item, table), kCFCompareGreaterThan);
}

TEST(CFStringCompare, LocalizedEqualityAndForcedOrdering) {
  const CFStringCompareFlags table = kCFCompareCaseInsensitive | kCFCompareLocalized | kCFCompareNumerically;
  CFStringRef lower = S(u"quote 007");
  CFStringRef upper = S(u"QUOTE 7");
  EXPECT_EQ(CFStringCompare(lower, upper, table), kCFCompareEqualTo);
  EXPECT_EQ(CFStringCompare(upper, lower, table), kCFCompareEqualTo);
  EXPECT_EQ(CFStringCompare(lower, lower, table), kCFCompareEqualTo);
  // Equal under the options, the texts still decide when an order is forced: "Q" before "q".
  EXPECT_EQ(CFStringCompare(lower, upper, table | kCFCompareForcedOrdering), kCFCompareGreaterThan);
  EXPECT_EQ(CFStringCompare(upper, lower, table | kCFCompareForcedOrdering), kCFCompareLessThan);
  EXPECT_EQ(CFStringCompare(upper, upper, table | kCFCompareForcedOrdering), kCFCompareEqualTo);
  CFRelease(lower);
  CFRelease(upper);
}

TEST(CFStringCompare, LocalizedFollowsChangesOfTheEnvironment) {
  CFStringRef umlaut = CFSTR("\u00e4 umlaut first");
  CFStringRef zed = CFSTR("z last");
  ScopedEnvironment all("LC_ALL", "sv_SE.UTF-8");
  EXPECT_EQ(CFStringCompare(umlaut, zed, kCFCompareLocalized), kCFCompareGreaterThan);
  setenv("LC_ALL", "de_DE.UTF-8", 1);
  ZRTestingLocaleSettingsChanged();
  EXPECT_EQ(CFStringCompare(umlaut, zed, kCFCompareLocalized), kCFCompareLessThan);
  // LC_ALL gone: LC_COLLATE, then LANG.
  unsetenv("LC_ALL");
  ScopedEnvironment collate("LC_COLLATE", "de_DE.UTF-8");
  ScopedEnvironment lang("LANG", "sv_SE.UTF-8");
  EXPECT_EQ(CFStringCompare(umlaut, zed, kCFCompareLocalized), kCFCompareLessThan);
  unsetenv("LC_COLLATE");
  ZRTestingLocaleSettingsChanged();
  EXPECT_EQ(CFStringCompare(umlaut, zed, kCFCompareLocalized), kCFCompareGreaterThan);
}

TEST(CFStringCompare, LocalizedSeesAnUnannouncedChangeWithinASecond) {
  CFStringRef umlaut = CFSTR("\u00e4 umlaut first");
  CFStringRef zed = CFSTR("z last");
  ScopedEnvironment all("LC_ALL", "sv_SE.UTF-8");
  EXPECT_EQ(CFStringCompare(umlaut, zed, kCFCompareLocalized), kCFCompareGreaterThan);
  // A string given to putenv is part of the environment: rewriting it changes the setting.
  static char entry[] = "LC_ALL=sv_SE.UTF-8";
  ASSERT_EQ(putenv(entry), 0);
  std::memcpy(entry + 7, "de", 2);
  usleep(1100 * 1000);
  EXPECT_EQ(CFStringCompare(umlaut, zed, kCFCompareLocalized), kCFCompareLessThan);
  // The current locale object has seen the same change.
  CFLocaleRef current = CFLocaleCopyCurrent();
  ASSERT_NE(current, nullptr);
  EXPECT_TRUE(CFEqual(CFLocaleGetIdentifier(current), CFSTR("de_SE")));
  CFRelease(current);
  setenv("LC_ALL", "sv_SE.UTF-8", 1);  // out of the static string before it is rewritten again
}

TEST(CFStringCompare, LocalizedFollowsTheAppleLocalePreferenceBeforeTheEnvironment) {
  // English sorts \u00e4 with a, Swedish after z: the preference, not LANG, decides.
  CFStringRef umlaut = CFSTR("\u00e4 umlaut first");
  CFStringRef zed = CFSTR("z last");
  ScopedEnvironment all("LC_ALL", "");
  ScopedEnvironment lang("LANG", "en_US.UTF-8");
  EXPECT_EQ(CFStringCompare(umlaut, zed, kCFCompareLocalized), kCFCompareLessThan);
  CFPreferencesSetAppValue(CFSTR("AppleLocale"), CFSTR("sv_SE"), kCFPreferencesAnyApplication);
  // A preference set in this process is seen at once, by comparison and locale objects alike.
  EXPECT_EQ(CFStringCompare(umlaut, zed, kCFCompareLocalized), kCFCompareGreaterThan);
  CFLocaleRef current = CFLocaleCopyCurrent();
  ASSERT_NE(current, nullptr);
  EXPECT_TRUE(CFEqual(CFLocaleGetIdentifier(current), CFSTR("sv_SE")));
  CFRelease(current);
  CFPreferencesSetAppValue(CFSTR("AppleLocale"), nullptr, kCFPreferencesAnyApplication);
  EXPECT_EQ(CFStringCompare(umlaut, zed, kCFCompareLocalized), kCFCompareLessThan);
}

TEST(CFStringCompare, ManyThreadsCompareTheSameStringsAtOnce) {
  // Strings that have not been compared yet, so that the threads race to give them keys,
  // under configurations of their own and shared ones.
  std::vector<std::u16string> texts = RandomTexts(80, 31337);
  std::vector<CFStringRef> strings;
  for (const std::u16string& text : texts) strings.push_back(S(text));
  const CFStringRef constants[] = {CFSTR("Thread race 10"), CFSTR("thread race 9"), CFSTR("Thread Race 010"),
                                   CFSTR("thread r\u00e4ce 9"), CFSTR("THREAD RACE")};
  const CFStringCompareFlags kOptionSets[] = {kCFCompareCaseInsensitive | kCFCompareNumerically, kCFCompareNumerically,
                                              kCFCompareCaseInsensitive, 0};
  const char* const kLocales[] = {"sv_SE", "de_DE"};
  // What each thread must see, from ICU directly.
  constexpr int kThreads = 4;
  std::vector<std::vector<CFComparisonResult>> expected(kThreads);
  std::vector<std::vector<CFComparisonResult>> expectedConstants(kThreads);
  for (int t = 0; t < kThreads; ++t) {
    CFStringCompareFlags options = kOptionSets[t % std::size(kOptionSets)];
    UCollator* collator = OpenCollator(kLocales[t % 2], options);
    for (size_t i = 0; i < texts.size(); ++i)
      for (size_t j = 0; j < texts.size(); ++j) expected[t].push_back(Collate(collator, texts[i], texts[j]));
    for (CFStringRef a : constants)
      for (CFStringRef b : constants) {
        std::u16string textA = Units(a);
        std::u16string textB = Units(b);
        expectedConstants[t].push_back(Collate(collator, textA, textB));
      }
    ucol_close(collator);
  }
  std::atomic<int> ready{0};
  std::vector<int> wrong(kThreads, 0);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      CFStringRef name = CFStringCreateWithCString(nullptr, kLocales[t % 2], kCFStringEncodingUTF8);
      CFLocaleRef locale = CFLocaleCreate(nullptr, name);
      CFStringCompareFlags options = kOptionSets[t % std::size(kOptionSets)] | kCFCompareLocalized;
      ready.fetch_add(1);
      while (ready.load() < kThreads) std::this_thread::yield();
      for (int round = 0; round < 3; ++round) {
        size_t k = 0;
        for (CFStringRef a : constants)
          for (CFStringRef b : constants)
            if (CFStringCompareWithOptionsAndLocale(a, b, CFRangeMake(0, CFStringGetLength(a)), options, locale) !=
                expectedConstants[t][k++])
              ++wrong[t];
        k = 0;
        for (CFStringRef a : strings)
          for (CFStringRef b : strings)
            if (CFStringCompareWithOptionsAndLocale(a, b, CFRangeMake(0, CFStringGetLength(a)), options, locale) !=
                expected[t][k++])
              ++wrong[t];
      }
      CFRelease(locale);
      CFRelease(name);
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (int t = 0; t < kThreads; ++t) EXPECT_EQ(wrong[t], 0) << "thread " << t;
  // The strings go with their keys (the sanitizer build reports any key left behind).
  for (CFStringRef string : strings) CFRelease(string);
}

CFRange Find(const std::u16string& text, const std::u16string& needle, CFStringCompareFlags options) {
  CFStringRef haystack = S(text);
  CFStringRef wanted = S(needle);
  CFRange found = CFStringFind(haystack, wanted, options);
  CFRelease(haystack);
  CFRelease(wanted);
  return found;
}

void ExpectRange(CFRange range, CFIndex location, CFIndex length) {
  EXPECT_EQ(range.location, location);
  EXPECT_EQ(range.length, length);
}

TEST(CFStringFind, Options) {
  ExpectRange(Find(u"Hello World", u"o", 0), 4, 1);
  ExpectRange(Find(u"Hello World", u"o", kCFCompareBackwards), 7, 1);
  ExpectRange(Find(u"Hello World", u"Hello", kCFCompareAnchored), 0, 5);
  ExpectRange(Find(u"Hello World", u"World", kCFCompareAnchored), kCFNotFound, 0);
  ExpectRange(Find(u"Hello World", u"World", kCFCompareAnchored | kCFCompareBackwards), 6, 5);
  ExpectRange(Find(u"Hello World", u"Hello", kCFCompareAnchored | kCFCompareBackwards), kCFNotFound, 0);
  ExpectRange(Find(u"Hello World", u"WORLD", 0), kCFNotFound, 0);
  ExpectRange(Find(u"Hello World", u"WORLD", kCFCompareCaseInsensitive), 6, 5);
  ExpectRange(Find(u"Hello World", u"O", kCFCompareCaseInsensitive | kCFCompareBackwards), 7, 1);
  ExpectRange(Find(u"Hello World", u"", 0), kCFNotFound, 0);
  ExpectRange(Find(u"", u"a", 0), kCFNotFound, 0);
  ExpectRange(Find(u"short", u"longer text", 0), kCFNotFound, 0);
}

TEST(CFStringFind, FoldedMatchesMapBackToTheText) {
  // ß folds to two letters: the match covers the one character.
  ExpectRange(Find(u"Stra\u00dfe", u"SS", kCFCompareCaseInsensitive), 4, 1);
  ExpectRange(Find(u"STRASSE", u"stra\u00dfe", kCFCompareCaseInsensitive), 0, 7);
  // Half of a folded character is no match.
  ExpectRange(Find(u"Stra\u00dfe", u"sse", kCFCompareCaseInsensitive), 4, 2);
  ExpectRange(Find(u"Stra\u00dfe", u"se", kCFCompareCaseInsensitive), kCFNotFound, 0);
  ExpectRange(Find(u"r\u00e9sum\u00e9", u"resume", kCFCompareDiacriticInsensitive), 0, 6);
  // A combining mark after the match belongs to it.
  ExpectRange(Find(u"cafe\u0301!", u"e", kCFCompareDiacriticInsensitive), 3, 2);
  ExpectRange(Find(u"cafe\u0301!", u"caf\u00e9", kCFCompareNonliteral), 0, 5);
  ExpectRange(Find(u"x\uff21\uff22", u"ab", kCFCompareWidthInsensitive | kCFCompareCaseInsensitive), 1, 2);
  // Surrogate pairs are found whole and never split.
  ExpectRange(Find(u"a\U0001F600b", u"\U0001F600", 0), 1, 2);
  ExpectRange(Find(u"a\U0001F600b", u"\U0001F600B", kCFCompareCaseInsensitive), 1, 3);
  // A mark alone is nothing once diacritics are ignored.
  ExpectRange(Find(u"cafe\u0301", u"\u0301", kCFCompareDiacriticInsensitive), kCFNotFound, 0);
  ExpectRange(Find(u"cafe\u0301", u"\u0301", 0), 4, 1);
}

TEST(CFStringFind, WithinARange) {
  CFRange result = CFRangeMake(-7, -7);
  CFStringRef text = CFSTR("one two one two");
  EXPECT_TRUE(CFStringFindWithOptions(text, CFSTR("one"), CFRangeMake(1, 14), 0, &result));
  ExpectRange(result, 8, 3);
  EXPECT_FALSE(CFStringFindWithOptions(text, CFSTR("one"), CFRangeMake(1, 9), 0, &result));
  EXPECT_TRUE(CFStringFindWithOptions(text, CFSTR("two"), CFRangeMake(0, 11), kCFCompareBackwards, &result));
  ExpectRange(result, 4, 3);
  EXPECT_TRUE(CFStringFindWithOptions(text, CFSTR("TWO"), CFRangeMake(4, 3),
                                      kCFCompareAnchored | kCFCompareCaseInsensitive, &result));
  ExpectRange(result, 4, 3);
  EXPECT_TRUE(CFStringFindWithOptions(text, CFSTR("two"), CFRangeMake(0, 15), 0, nullptr));
}

// Runs find-and-replace on a copy of text; returns the count and stores the result.
CFIndex Replace(const std::u16string& text, const std::u16string& find, const std::u16string& replacement,
                CFStringCompareFlags options, std::u16string* result) {
  CFStringRef source = S(text);
  CFMutableStringRef target = CFStringCreateMutableCopy(nullptr, 0, source);
  CFStringRef wanted = S(find);
  CFStringRef with = S(replacement);
  CFIndex count = CFStringFindAndReplace(target, wanted, with, CFRangeMake(0, CFStringGetLength(target)), options);
  *result = Units(target);
  CFRelease(source);
  CFRelease(target);
  CFRelease(wanted);
  CFRelease(with);
  return count;
}

TEST(CFStringFindAndReplace, CountsAndReplacesEveryOccurrence) {
  std::u16string result;
  EXPECT_EQ(Replace(u"a.b.c", u".", u"-", 0, &result), 2);
  EXPECT_EQ(result, u"a-b-c");
  EXPECT_EQ(Replace(u"Apple apple APPLE", u"apple", u"pear", kCFCompareCaseInsensitive, &result), 3);
  EXPECT_EQ(result, u"pear pear pear");
  EXPECT_EQ(Replace(u"Apple apple APPLE", u"apple", u"pear", 0, &result), 1);
  EXPECT_EQ(result, u"Apple pear APPLE");
  EXPECT_EQ(Replace(u"none here", u"x", u"y", 0, &result), 0);
  EXPECT_EQ(result, u"none here");
  // Occurrences do not overlap; backwards they are taken from the end.
  EXPECT_EQ(Replace(u"aaa", u"aa", u"b", 0, &result), 1);
  EXPECT_EQ(result, u"ba");
  EXPECT_EQ(Replace(u"aaa", u"aa", u"b", kCFCompareBackwards, &result), 1);
  EXPECT_EQ(result, u"ab");
  EXPECT_EQ(Replace(u"aaaa", u"aa", u"b", kCFCompareBackwards, &result), 2);
  EXPECT_EQ(result, u"bb");
  // Anchored: only at the start (or, backwards, the end).
  EXPECT_EQ(Replace(u"xxyxx", u"xx", u"-", kCFCompareAnchored, &result), 1);
  EXPECT_EQ(result, u"-yxx");
  EXPECT_EQ(Replace(u"xxyxx", u"xx", u"-", kCFCompareAnchored | kCFCompareBackwards, &result), 1);
  EXPECT_EQ(result, u"xxy-");
  EXPECT_EQ(Replace(u"yxx", u"xx", u"-", kCFCompareAnchored, &result), 0);
  // A replacement that contains what is searched is not searched again.
  EXPECT_EQ(Replace(u"aa", u"a", u"aa", 0, &result), 2);
  EXPECT_EQ(result, u"aaaa");
  // Removal, case-insensitively, of a character that folds to two.
  EXPECT_EQ(Replace(u"Ma\u00dfe MASSE", u"\u00df", u"", kCFCompareCaseInsensitive, &result), 2);
  EXPECT_EQ(result, u"Mae MAE");
  EXPECT_EQ(Replace(u"r\u00e9sum\u00e9 resume", u"resume", u"CV", kCFCompareDiacriticInsensitive, &result), 2);
  EXPECT_EQ(result, u"CV CV");
}

TEST(CFStringFindAndReplace, WithinARangeAndWithItself) {
  CFMutableStringRef text = CFStringCreateMutableCopy(nullptr, 0, CFSTR("a-a-a-a"));
  EXPECT_EQ(CFStringFindAndReplace(text, CFSTR("a"), CFSTR("b"), CFRangeMake(2, 3), 0), 2);
  EXPECT_EQ(Units(text), u"a-b-b-a");
  EXPECT_EQ(CFStringFindAndReplace(text, text, CFSTR("whole"), CFRangeMake(0, CFStringGetLength(text)), 0), 1);
  EXPECT_EQ(Units(text), u"whole");
  EXPECT_EQ(CFStringFindAndReplace(text, CFSTR("o"), text, CFRangeMake(0, CFStringGetLength(text)), 0), 1);
  EXPECT_EQ(Units(text), u"whwholele");
  CFRelease(text);
}

TEST(CFStringFindAndReplace, ImmutableStringIsLeftAlone) {
  CFStringRef text = S(u"fixed");
  EXPECT_EQ(CFStringFindAndReplace(const_cast<CFMutableStringRef>(text), CFSTR("f"), CFSTR("m"), CFRangeMake(0, 5), 0),
            0);
  EXPECT_EQ(Units(text), u"fixed");
  CFRelease(text);
}

std::u16string MapCase(const std::u16string& text, const char* localeIdentifier, bool upper) {
  CFLocaleRef locale = nullptr;
  if (localeIdentifier) {
    CFStringRef identifier = CFStringCreateWithCString(nullptr, localeIdentifier, kCFStringEncodingUTF8);
    locale = CFLocaleCreate(nullptr, identifier);
    CFRelease(identifier);
  }
  CFStringRef source = S(text);
  CFMutableStringRef target = CFStringCreateMutableCopy(nullptr, 0, source);
  if (upper) {
    CFStringUppercase(target, locale);
  } else {
    CFStringLowercase(target, locale);
  }
  std::u16string result = Units(target);
  CFRelease(target);
  CFRelease(source);
  if (locale) CFRelease(locale);
  return result;
}

TEST(CFStringCase, UppercaseAndLowercase) {
  EXPECT_EQ(MapCase(u"hello, World 42", nullptr, true), u"HELLO, WORLD 42");
  EXPECT_EQ(MapCase(u"HELLO, World 42", nullptr, false), u"hello, world 42");
  EXPECT_EQ(MapCase(u"stra\u00dfe", nullptr, true), u"STRASSE");
  EXPECT_EQ(MapCase(u"stra\u00dfe", "de_DE", true), u"STRASSE");
  EXPECT_EQ(MapCase(u"\u00e9t\u00e9", nullptr, true), u"\u00c9T\u00c9");
  EXPECT_EQ(MapCase(u"\U00010428", nullptr, true), u"\U00010400");  // Deseret, beyond the BMP
  EXPECT_EQ(MapCase(u"", nullptr, true), u"");
  // Greek final sigma is chosen by context.
  EXPECT_EQ(MapCase(u"\u039f\u0394\u039f\u03a3", nullptr, false), u"\u03bf\u03b4\u03bf\u03c2");
}

TEST(CFStringCase, TurkishDottedAndDotlessI) {
  EXPECT_EQ(MapCase(u"istanbul", nullptr, true), u"ISTANBUL");
  EXPECT_EQ(MapCase(u"istanbul", "tr_TR", true), u"\u0130STANBUL");
  EXPECT_EQ(MapCase(u"ISPARTA", "tr", false), u"\u0131sparta");
  EXPECT_EQ(MapCase(u"ISPARTA", nullptr, false), u"isparta");
  EXPECT_EQ(MapCase(u"ISPARTA", "en_US", false), u"isparta");
}

TEST(CFStringCase, ImmutableStringIsLeftAlone) {
  CFStringRef text = S(u"fixed");
  CFStringUppercase(const_cast<CFMutableStringRef>(text), nullptr);
  EXPECT_EQ(Units(text), u"fixed");
  CFRelease(text);
}

TEST(CFStringCompare, NothingLeftBehind) {
  long live = ZRTestingLiveObjectCount();
  std::u16string result;
  Replace(u"Apple apple", u"APPLE", u"pear", kCFCompareCaseInsensitive, &result);
  Cmp(u"a", u"b", kCFCompareLocalized | kCFCompareNumerically);
  Find(u"abc", u"B", kCFCompareCaseInsensitive);
  MapCase(u"abc", "tr_TR", true);
  EXPECT_EQ(ZRTestingLiveObjectCount(), live);
}

}  // namespace
