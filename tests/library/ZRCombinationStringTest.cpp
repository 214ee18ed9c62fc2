// ZRCombinationStringTest.cpp: the counted summary of a list of strings, in English and in
// German, its order, its failures, and a list of a million strings.
#include <ZRFramework/ZRFramework.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "TestSupport.h"

namespace {

using zrtest::LogCapture;
using zrtest::MakeUnits;
using zrtest::Pointer;
using zrtest::Units;
using zrtest::Utf8;
using zrtest::WithoutLine;
using zrtest::WithoutLines;

constexpr const char* kName = "ZRCopyCombinationStringRefOfStringArrayRef";

// Preferences and support files of this process live in a folder of its own, so that the
// user's "AppleLanguages" and locale settings neither leak in nor get touched.
class IsolatedHome : public ::testing::Environment {
 public:
  void SetUp() override {
    folder_ = zrtest::MakeTemporaryFolder("ZRCombinationStringTest");
    ASSERT_FALSE(folder_.empty());
    setenv("XDG_CONFIG_HOME", (folder_ + "/config").c_str(), 1);
    setenv("XDG_DATA_HOME", (folder_ + "/data").c_str(), 1);
  }
  void TearDown() override { zrtest::RemoveFolder(folder_); }

 private:
  std::string folder_;
};
::testing::Environment* const kIsolatedHome = ::testing::AddGlobalTestEnvironment(new IsolatedHome);

// The language and the locale are set before the first call of each test.
void UseLanguage(const char* posixLocale, const char* language) {
  setenv("LANG", posixLocale, 1);
  setenv("LC_ALL", posixLocale, 1);
  setenv("LANGUAGE", language, 1);
  ZRTestingLocaleSettingsChanged();
}

std::string Line(const std::string& message, const char* function = kName) {
  return zrtest::ErrorLine(function, message);
}

// UTF-8 for messages; a lone surrogate shows as U+FFFD.
std::string Narrow(const std::u16string& units) {
  std::string out;
  for (size_t i = 0; i < units.size(); ++i) {
    char32_t c = units[i];
    if (c >= 0xD800 && c <= 0xDBFF && i + 1 < units.size() && units[i + 1] >= 0xDC00 && units[i + 1] <= 0xDFFF) {
      c = 0x10000 + ((c - 0xD800) << 10) + (units[++i] - 0xDC00);
    } else if (c >= 0xD800 && c <= 0xDFFF) {
      c = 0xFFFD;
    }
    if (c < 0x80) {
      out += static_cast<char>(c);
    } else if (c < 0x800) {
      out += static_cast<char>(0xC0 | (c >> 6));
      out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
      out += static_cast<char>(0xE0 | (c >> 12));
      out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
      out += static_cast<char>(0xF0 | (c >> 18));
      out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
      out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (c & 0x3F));
    }
  }
  return out;
}

std::u16string Utf16(const std::string& utf8) {
  CFStringRef string = zrtest::MakeString(utf8);
  std::u16string units = Units(string);
  if (string) CFRelease(string);
  return units;
}

// An array of new strings with the given units (each element its own object).
CFArrayRef MakeArray(const std::vector<std::u16string>& texts) {
  std::vector<CFStringRef> strings;
  for (const std::u16string& text : texts) strings.push_back(MakeUnits(text));
  CFArrayRef array = CFArrayCreate(NULL, reinterpret_cast<const void**>(strings.data()),
                                   static_cast<CFIndex>(strings.size()), &kCFTypeArrayCallBacks);
  for (CFStringRef string : strings) CFRelease(string);
  return array;
}

struct Outcome {
  OSStatus status;
  std::u16string text;
};

Outcome Combine(CFArrayRef array, bool multiline = false, Boolean inLog = true) {
  CFStringRef out = NULL;
  OSStatus status = ZRCopyCombinationStringRefOfStringArrayRef(array, multiline, &out, inLog);
  Outcome outcome{status, Units(out)};
  if (out) CFRelease(out);
  return outcome;
}

std::u16string Combined(const std::vector<std::u16string>& texts, bool multiline = false) {
  CFArrayRef array = MakeArray(texts);
  Outcome outcome = Combine(array, multiline);
  CFRelease(array);
  EXPECT_EQ(outcome.status, noErr);
  return outcome.text;
}

// The summary built the plain way, step by step as the function is meant to behave: a linear
// scan for an equal group, insertion before the first group that compares greater. Numbers
// and the ratio come from the same lower functions.
std::u16string PlainCombination(CFArrayRef array, bool multiline) {
  struct Group {
    CFStringRef name;
    CFIndex count;
  };
  std::vector<Group> table;
  CFIndex total = CFArrayGetCount(array);
  for (CFIndex i = 0; i < total; ++i) {
    CFStringRef s = static_cast<CFStringRef>(CFArrayGetValueAtIndex(array, i));
    auto equal = std::find_if(table.begin(), table.end(), [&](const Group& group) {
      return CFStringCompare(group.name, s, 0) == kCFCompareEqualTo;
    });
    if (equal != table.end()) {
      ++equal->count;
      continue;
    }
    auto greater = std::find_if(table.begin(), table.end(), [&](const Group& group) {
      return CFStringCompare(group.name, s, kCFCompareCaseInsensitive | kCFCompareLocalized | kCFCompareNumerically) ==
             kCFCompareGreaterThan;
    });
    table.insert(greater, Group{s, 1});
  }
  auto number = [](CFIndex value) {
    CFStringRef text = NULL;
    EXPECT_EQ(ZRCopyLocalizedNumberStringRef(&value, kCFNumberCFIndexType, 0, &text, true), noErr);
    std::u16string units = Units(text);
    CFRelease(text);
    return units;
  };
  CFStringRef format = CFBundleCopyLocalizedString(CFBundleGetMainBundle(), CFSTR("%@ of %@"), CFSTR("%@ of %@"), NULL);
  std::u16string formatUnits = Units(format);
  CFRelease(format);
  std::u16string totalText = number(total);
  std::u16string result;
  for (const Group& group : table) {
    if (result.empty() && group.count == total && table.size() == 1) {
      result = Units(group.name);
      continue;
    }
    std::u16string ratio = formatUnits;
    ratio.replace(ratio.find(u"%@"), 2, number(group.count));
    ratio.replace(ratio.find(u"%@"), 2, totalText);
    if (!result.empty()) result += multiline ? u",\n" : u", ";
    result += Units(group.name) + u" (" + ratio + u")";
  }
  return result;
}

class CombinationEnglishTest : public ::testing::Test {
 protected:
  void SetUp() override { UseLanguage("en_US.UTF-8", "en_US:en"); }
  NSAutoreleasePool pool_;
};

class CombinationGermanTest : public ::testing::Test {
 protected:
  void SetUp() override { UseLanguage("de_DE.UTF-8", "de_DE:de"); }
  NSAutoreleasePool pool_;
};

// ---------------------------------------------------------------------------------------------
// English

TEST_F(CombinationEnglishTest, CountsEachDistinctString) {
  EXPECT_EQ(Combined({u"Pear", u"apple", u"Pear"}), u"apple (1 of 3), Pear (2 of 3)");
  EXPECT_EQ(Combined({u"fig", u"Pear", u"apple", u"Pear", u"fig", u"Pear"}),
            u"apple (1 of 6), fig (2 of 6), Pear (3 of 6)");
}

TEST_F(CombinationEnglishTest, OneDistinctStringIsJustThatString) {
  EXPECT_EQ(Combined({u"Pear", u"Pear"}), u"Pear");
  EXPECT_EQ(Combined({u"Pear"}), u"Pear");
  EXPECT_EQ(Combined({u"%@ of %@", u"%@ of %@"}), u"%@ of %@");
  EXPECT_EQ(Combined({u"", u""}), u"");
}

TEST_F(CombinationEnglishTest, EmptyInputGivesAnEmptyString) {
  LogCapture log;
  EXPECT_EQ(Combined({}), u"");
  EXPECT_EQ(Combined({}, true), u"");
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(CombinationEnglishTest, CaseVariantsAreSeparateGroupsInTheOrderFirstSeen) {
  EXPECT_EQ(Combined({u"b", u"B", u"a", u"b"}), u"a (1 of 4), b (2 of 4), B (1 of 4)");
  EXPECT_EQ(Combined({u"B", u"b", u"a", u"b"}), u"a (1 of 4), B (1 of 4), b (2 of 4)");
  EXPECT_EQ(Combined({u"PEAR", u"pear", u"Pear", u"pear"}), u"PEAR (1 of 4), pear (2 of 4), Pear (1 of 4)");
  // An equal-ranking variant goes after the earlier ones even when a later group sorts between.
  EXPECT_EQ(Combined({u"b", u"c", u"a", u"B"}), u"a (1 of 4), b (1 of 4), B (1 of 4), c (1 of 4)");
}

TEST_F(CombinationEnglishTest, NumbersCompareAsNumbersAndLettersAsPeopleReadThem) {
  EXPECT_EQ(Combined({u"Item 10", u"Item 9", u"Item 1", u"Item 10"}),
            u"Item 1 (1 of 4), Item 9 (1 of 4), Item 10 (2 of 4)");
  EXPECT_EQ(Combined({u"Zebra", u"\u00c4pfel", u"Apfel"}), u"Apfel (1 of 3), \u00c4pfel (1 of 3), Zebra (1 of 3)");
}

TEST_F(CombinationEnglishTest, OrderFollowsTheAppleLocalePreferenceBeforeTheEnvironment) {
  // English sorts \u00e4 with a, Swedish after z.
  EXPECT_EQ(Combined({u"Zebra", u"\u00e4pple"}), u"\u00e4pple (1 of 2), Zebra (1 of 2)");
  CFPreferencesSetAppValue(CFSTR("AppleLocale"), CFSTR("sv_SE"), kCFPreferencesAnyApplication);
  std::u16string swedish = Combined({u"Zebra", u"\u00e4pple"});
  CFPreferencesSetAppValue(CFSTR("AppleLocale"), nullptr, kCFPreferencesAnyApplication);
  EXPECT_EQ(swedish, u"Zebra (1 of 2), \u00e4pple (1 of 2)");
  EXPECT_EQ(Combined({u"Zebra", u"\u00e4pple"}), u"\u00e4pple (1 of 2), Zebra (1 of 2)");
}

TEST_F(CombinationEnglishTest, MultilinePutsEveryLaterEntryOnANewLine) {
  EXPECT_EQ(Combined({u"Pear", u"apple", u"Pear", u"fig"}, true), u"apple (1 of 4),\nfig (1 of 4),\nPear (2 of 4)");
  EXPECT_EQ(Combined({u"Pear", u"Pear"}, true), u"Pear");
  EXPECT_EQ(Combined({u"Pear", u"apple"}, true), u"apple (1 of 2),\nPear (1 of 2)");
}

TEST_F(CombinationEnglishTest, CountsAreGrouped) {
  std::vector<std::u16string> texts(999, u"x");
  texts.push_back(u"y");
  EXPECT_EQ(Combined(texts), u"x (999 of 1,000), y (1 of 1,000)");
  texts.push_back(u"y");
  EXPECT_EQ(Combined(texts), u"x (999 of 1,001), y (2 of 1,001)");
}

TEST_F(CombinationEnglishTest, NamesAreNotFormats) {
  EXPECT_EQ(Combined({u"%@", u"100%", u"%@ %s %d"}), u"%@ (1 of 3), %@ %s %d (1 of 3), 100% (1 of 3)");
}

TEST_F(CombinationEnglishTest, SupplementaryCharactersAndLoneSurrogates) {
  LogCapture log;
  // Exact equality keeps pairs, lone halves and look-alikes apart.
  std::vector<std::u16string> texts = {u"a\xD800",    u"\U0001F600", u"b",       u"a\xD800",   u"\xDC00",
                                       u"\U0001F600", u"\xD83D",     u"a\xD800", u"e\u0301",   u"\u00e9",
                                       u"\U0001F601", u"\xDE00",     u"\xD83D",  u"\U0001F600"};
  CFArrayRef array = MakeArray(texts);
  Outcome outcome = Combine(array);
  EXPECT_EQ(outcome.status, noErr);
  EXPECT_EQ(outcome.text, PlainCombination(array, false));
  // Each distinct text appears once, with its count.
  for (const auto& [text, count] : std::vector<std::pair<std::u16string, int>>{
           {u"a\xD800", 3}, {u"\U0001F600", 3}, {u"\xD83D", 2}, {u"b", 1}, {u"e\u0301", 1}, {u"\u00e9", 1}}) {
    std::u16string entry = text + u" (" + Utf16(std::to_string(count)) + u" of 14)";
    size_t found = outcome.text.find(entry);
    EXPECT_NE(found, std::u16string::npos) << Narrow(entry);
  }
  CFRelease(array);

  // A lone unit that is the only string is the whole result.
  EXPECT_EQ(Combined({u"\xDC00", u"\xDC00"}), u"\xDC00");
  EXPECT_EQ(Combined({u"a\xD800", u"b", u"a\xD800"}), u"a\xD800 (2 of 3), b (1 of 3)");
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(CombinationEnglishTest, ElementsThatAreNotStringsAreLeftOutButCounted) {
  CFIndex value = 7;
  CFNumberRef number = CFNumberCreate(NULL, kCFNumberCFIndexType, &value);
  const void* values[] = {CFSTR("Pear"), number, CFSTR("Pear")};
  CFArrayRef array = CFArrayCreate(NULL, values, 3, &kCFTypeArrayCallBacks);
  Outcome outcome = Combine(array);
  EXPECT_EQ(outcome.status, noErr);
  EXPECT_EQ(outcome.text, u"Pear (2 of 3)");
  CFRelease(array);
  CFRelease(number);
}

TEST_F(CombinationEnglishTest, SameOrderAsInsertingOneByOne) {
  // Random lists over names that collide in every way the order knows: case, accents,
  // numbers, equal ranks, supplementary characters and lone surrogates.
  const std::vector<std::u16string> pool = {
      u"Pear",   u"pear",    u"PEAR",    u"apple",      u"Apple",       u"\u00c4pfel", u"apfel",  u"Apfel",
      u"Item 9", u"Item 10", u"item 10", u"Item 010",   u"Item 1",      u"e\u0301",    u"\u00e9", u"E",
      u"",       u" ",       u"%@",      u"\U0001F600", u"\U0001F600a", u"a\xD800",    u"\xDC00", u"\xD83D",
      u"z",      u"Z",       u"\u00df",  u"ss",         u"SS",          u"10",         u"9",      u"-1"};
  std::mt19937 random(4242);
  for (int round = 0; round < 30; ++round) {
    std::uniform_int_distribution<size_t> pick(0, pool.size() - 1);
    std::uniform_int_distribution<int> length(0, 60);
    std::vector<std::u16string> texts;
    for (int i = length(random); i > 0; --i) texts.push_back(pool[pick(random)]);
    CFArrayRef array = MakeArray(texts);
    bool multiline = round % 2 == 1;
    Outcome outcome = Combine(array, multiline);
    EXPECT_EQ(outcome.status, noErr);
    std::u16string plain = PlainCombination(array, multiline);
    EXPECT_EQ(outcome.text, plain) << "round " << round << "\n" << Narrow(outcome.text) << "\n" << Narrow(plain);
    CFRelease(array);
  }
}

TEST_F(CombinationEnglishTest, AMillionStringsWithAHundredThousandDistinct) {
  // 50,000 numbers, each as "Item n" and "item n" (equal rank, separate groups). Counts from 6
  // to 14 in pairs that add up to 20, so the total is exactly 1,000,000.
  constexpr int kDistinct = 100000;
  std::vector<int> counts(kDistinct);
  for (int j = 0; j < kDistinct; j += 2) {
    int delta = (j / 2) % 5;
    counts[j] = 10 + delta;
    counts[j + 1] = 10 - delta;
  }
  std::vector<std::u16string> names(kDistinct);
  for (int j = 0; j < kDistinct; ++j) {
    std::string name = (j % 2 ? "item " : "Item ") + std::to_string(j / 2);
    names[j].assign(name.begin(), name.end());
  }
  std::vector<int> order;
  order.reserve(1000000);
  for (int j = 0; j < kDistinct; ++j) order.insert(order.end(), counts[j], j);
  ASSERT_EQ(order.size(), 1000000u);
  std::shuffle(order.begin(), order.end(), std::mt19937(77));

  std::vector<CFStringRef> strings;
  strings.reserve(order.size());
  std::vector<long> firstSeen(kDistinct, -1);
  for (size_t i = 0; i < order.size(); ++i) {
    if (firstSeen[order[i]] < 0) firstSeen[order[i]] = static_cast<long>(i);
    strings.push_back(MakeUnits(names[order[i]]));
  }
  CFArrayRef array = CFArrayCreate(NULL, reinterpret_cast<const void**>(strings.data()),
                                   static_cast<CFIndex>(strings.size()), &kCFTypeArrayCallBacks);
  for (CFStringRef string : strings) CFRelease(string);
  strings.clear();

  Outcome outcome = Combine(array);
  CFRelease(array);
  ASSERT_EQ(outcome.status, noErr);

  // By number; of the two spellings of a number, the one met first comes first.
  std::u16string expected;
  for (int n = 0; n < kDistinct / 2; ++n) {
    int upper = 2 * n;
    int lower = 2 * n + 1;
    int first = firstSeen[upper] < firstSeen[lower] ? upper : lower;
    for (int j : {first, first == upper ? lower : upper}) {
      if (!expected.empty()) expected += u", ";
      std::string count = std::to_string(counts[j]);
      expected += names[j] + u" (" + std::u16string(count.begin(), count.end()) + u" of 1,000,000)";
    }
  }
  EXPECT_EQ(outcome.text.size(), expected.size());
  EXPECT_TRUE(outcome.text == expected);
  if (outcome.text != expected) {
    size_t at = std::mismatch(outcome.text.begin(), outcome.text.end(), expected.begin(), expected.end()).first -
                outcome.text.begin();
    ADD_FAILURE() << "first difference at unit " << at;
  }
}

// ---------------------------------------------------------------------------------------------
// Bad arguments and failures

TEST_F(CombinationEnglishTest, BadArguments) {
  LogCapture log;
  CFArrayRef array = MakeArray({u"a"});
  CFStringRef out = NULL;
  CFStringRef full = CFSTR("held");
  EXPECT_EQ(ZRCopyCombinationStringRefOfStringArrayRef(NULL, false, &out, true), paramErr);
  EXPECT_EQ(ZRCopyCombinationStringRefOfStringArrayRef(array, false, NULL, true), paramErr);
  EXPECT_EQ(ZRCopyCombinationStringRefOfStringArrayRef(array, true, &full, true), paramErr);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(Units(full), u"held");
  EXPECT_EQ(WithoutLines(log.lines()),
            (std::vector<std::string>{
                Line("inStringArrayRef: 0x0, outStringRef: " + Pointer(&out)),
                Line("inStringArrayRef: " + Pointer(array) + ", outStringRef: 0x0"),
                Line("inStringArrayRef: " + Pointer(array) + ", outStringRef: " + Pointer(&full)),
            }));
  log.clear();
  EXPECT_EQ(ZRCopyCombinationStringRefOfStringArrayRef(NULL, false, &out, false), paramErr);
  EXPECT_EQ(ZRCopyCombinationStringRefOfStringArrayRef(array, false, &full, false), paramErr);
  EXPECT_TRUE(log.lines().empty());
  CFRelease(array);
}

struct FaultRun {
  long n;
  OSStatus status;
  std::vector<std::string> lines;
  std::u16string text;
};

// Runs the combination with the 1st, 2nd, ... allocation failing, until a run makes fewer
// allocations than the failure was armed for. Each run leaves no host object alive, and with
// inLog false writes nothing and returns the same status and text.
std::vector<FaultRun> CombineWithEachAllocationFailing(CFArrayRef array) {
  // Whatever the host keeps for the life of the process (the main bundle, its tables) is made
  // before anything is counted.
  Combine(array, false, false);
  std::vector<FaultRun> runs;
  for (long n = 1; n < 2000; ++n) {
    long before = ZRTestingLiveObjectCount();
    FaultRun run{n, noErr, {}, {}};
    bool pending = false;
    {
      NSAutoreleasePool pool;
      LogCapture log;
      ZRTestingFailAllocation(n);
      Outcome loud = Combine(array, false, true);
      pending = ZRTestingFailurePending();
      ZRTestingFailAllocation(0);
      run.status = loud.status;
      run.text = loud.text;
      run.lines = WithoutLines(log.lines());

      log.clear();
      ZRTestingFailAllocation(n);
      Outcome quiet = Combine(array, false, false);
      ZRTestingFailAllocation(0);
      EXPECT_EQ(quiet.status, loud.status) << "allocation " << n;
      EXPECT_EQ(quiet.text, loud.text) << "allocation " << n;
      EXPECT_TRUE(log.lines().empty()) << "allocation " << n;
    }
    EXPECT_EQ(ZRTestingLiveObjectCount(), before) << "allocation " << n;
    if (pending) break;
    runs.push_back(run);
  }
  return runs;
}

// Checks a sweep over (Pear, apple, Pear): every failure and every partial result is one the
// function may give, and each of its own failure lines is reached.
void CheckSweep(const std::vector<FaultRun>& runs, const std::u16string& of3, const std::set<std::u16string>& allowed,
                bool expectLocalizedStringFailure) {
  ASSERT_FALSE(runs.empty());
  // The first allocation is the group table.
  EXPECT_EQ(runs[0].status, unknownErr);
  EXPECT_EQ(runs[0].lines, std::vector<std::string>{Line("CFArrayCreateMutable returns NULL")});
  // The last one is the final copy.
  EXPECT_EQ(runs.back().status, unknownErr);
  EXPECT_EQ(runs.back().lines, std::vector<std::string>{Line("CFStringCreateCopy returns NULL")});

  std::set<std::string> ownLines;
  std::set<std::u16string> results;
  for (const FaultRun& run : runs) {
    if (run.status == noErr) {
      EXPECT_TRUE(allowed.count(run.text)) << "allocation " << run.n << ": " << Narrow(run.text);
      results.insert(run.text);
      // A count that cannot be formatted is left out; only the lower function's lines appear.
      for (const std::string& line : run.lines) {
        EXPECT_NE(line.find("(ZRCopyLocalizedNumberStringRef)"), std::string::npos) << line;
      }
      continue;
    }
    EXPECT_EQ(run.text, u"<NULL>");
    ASSERT_FALSE(run.lines.empty()) << "allocation " << run.n;
    const std::string& own = run.lines.back();
    ownLines.insert(own);
    if (own.rfind("ERROR ZRCopyLocalizedNumberStringRef returns ", 0) == 0) {
      // The lower function's status, passed up unchanged and printed as text.
      EXPECT_EQ(own, Line("ZRCopyLocalizedNumberStringRef returns " + Utf8(ZRCarbonErrorString(run.status))));
      ASSERT_GE(run.lines.size(), 2u);
      for (size_t i = 0; i + 1 < run.lines.size(); ++i) {
        EXPECT_NE(run.lines[i].find("(ZRCopyLocalizedNumberStringRef)"), std::string::npos) << run.lines[i];
      }
    } else {
      EXPECT_EQ(run.status, unknownErr) << own;
      EXPECT_EQ(run.lines.size(), 1u) << own;
    }
  }
  std::set<std::string> expected = {Line("CFArrayCreateMutable returns NULL"),
                                    Line("CFStringCreateMutable returns NULL"),
                                    Line("ZRCopyLocalizedNumberStringRef returns -2223, unknownErr, unknown error"),
                                    Line("CFStringCreateCopy returns NULL")};
  if (expectLocalizedStringFailure) expected.insert(Line("CLOC returns NULL"));
  EXPECT_EQ(ownLines, expected);
  // Dropped occurrences (group, group array or count) and skipped groups all show up.
  EXPECT_TRUE(results.count(u"apple (1" + of3 + u"), Pear (1" + of3 + u")"));
  EXPECT_TRUE(results.count(u"Pear (2" + of3 + u")"));
  EXPECT_TRUE(results.count(u"apple (1" + of3 + u")"));
}

TEST_F(CombinationEnglishTest, EachAllocationFailureIsReportedAndLeavesNothingBehind) {
  CFArrayRef array = MakeArray({u"Pear", u"apple", u"Pear"});
  std::vector<FaultRun> runs = CombineWithEachAllocationFailing(array);
  CFRelease(array);
  // The English ratio comes from the bundle's table when it has one, else it is the key
  // itself, which cannot fail.
  CFStringRef format = CFBundleCopyLocalizedString(CFBundleGetMainBundle(), CFSTR("%@ of %@"), CFSTR("%@ of %@"), NULL);
  bool fromTable = format != CFSTR("%@ of %@");
  CFRelease(format);
  const std::u16string of3 = u" of 3";
  CheckSweep(runs, of3, {u"apple (1 of 3), Pear (1 of 3)", u"Pear (2 of 3)", u"apple (1 of 3)"}, fromTable);
}

// A C++ allocation of the function's own that fails ends it as a whole, with its one line.
TEST_F(CombinationEnglishTest, AFailedCxxAllocationHasItsLine) {
  CFArrayRef array = MakeArray({u"Pear", u"apple", u"Pear"});
  Combine(array, false, false);
  LogCapture log;
  zrtest::ExpectFailureLinesOnlyWithInLog(&log, zrtest::AllocationSeams()[1], 1, unknownErr,
                                          {Line("operator new returns NULL")}, [&](Boolean inLog) {
                                            Outcome outcome = Combine(array, false, inLog);
                                            EXPECT_EQ(outcome.text, u"<NULL>");
                                            return outcome.status;
                                          });
  CFRelease(array);
}

// ---------------------------------------------------------------------------------------------
// German

TEST_F(CombinationGermanTest, RatioAndCountsInGerman) {
  EXPECT_EQ(Combined({u"Pear", u"apple", u"Pear"}), u"apple (1 von 3), Pear (2 von 3)");
  EXPECT_EQ(Combined({u"Birne", u"Birne"}), u"Birne");
  EXPECT_EQ(Combined({u"b", u"B", u"a", u"b"}, true), u"a (1 von 4),\nb (2 von 4),\nB (1 von 4)");
}

TEST_F(CombinationGermanTest, CountsAreGroupedTheGermanWay) {
  std::vector<std::u16string> texts(1500, u"\u00c4pfel");
  texts.insert(texts.end(), 1000, u"Zwetschgen");
  texts.push_back(u"Apfel");
  EXPECT_EQ(Combined(texts), u"Apfel (1 von 2.501), \u00c4pfel (1.500 von 2.501), Zwetschgen (1.000 von 2.501)");
}

TEST_F(CombinationGermanTest, EachAllocationFailureIsReportedAndLeavesNothingBehind) {
  CFArrayRef array = MakeArray({u"Pear", u"apple", u"Pear"});
  std::vector<FaultRun> runs = CombineWithEachAllocationFailing(array);
  CFRelease(array);
  // The German ratio is read from the bundle's table, so fetching it can fail.
  CheckSweep(runs, u" von 3", {u"apple (1 von 3), Pear (1 von 3)", u"Pear (2 von 3)", u"apple (1 von 3)"}, true);
}

}  // namespace
