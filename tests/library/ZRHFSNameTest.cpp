// ZRHFSNameTest.cpp: catalog names: extensions, equivalence, suffixes, digits, names from
// strings, extension strings, names with a suffix, the character table; ERROR lines and
// allocation failures.
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "TestSupport.h"

namespace {

using zrtest::FormattedErrorLine;
using zrtest::MakeString;
using zrtest::MakeUnits;
using zrtest::Units;
using zrtest::Utf8;
using zrtest::WithoutLines;

HFSUniStr255 Name(const std::u16string& units) {
  HFSUniStr255 name;
  std::fill(std::begin(name.unicode), std::end(name.unicode), 0xFFFF);
  name.length = static_cast<UInt16>(units.size());
  std::copy(units.begin(), units.end(), name.unicode);
  return name;
}

class HFSNameTest : public zrtest::LeakCheckedTest {
 protected:
  void TearDown() override {
    pool_.drain();
    LeakCheckedTest::TearDown();
  }
  std::vector<std::string> Lines() { return WithoutLines(log_.lines()); }

  // The name with the suffix, as UTF-8.
  std::string WithSuffix(const std::u16string& name, const std::u16string& suffix, bool split) {
    CFStringRef nameRef = MakeUnits(name);
    CFStringRef suffixRef = MakeUnits(suffix);
    CFStringRef result = nullptr;
    EXPECT_EQ(ZRCopyNameStringRefByAddingSuffixStringRef(nameRef, suffixRef, split, &result, true), noErr);
    std::string text = Utf8(result);
    if (result) CFRelease(result);
    CFRelease(nameRef);
    CFRelease(suffixRef);
    return text;
  }

  zrtest::LogCapture log_;
  NSAutoreleasePool pool_;
};

TEST_F(HFSNameTest, CharacterTable) {
  EXPECT_EQ(kCharacterDot, u'.');
  EXPECT_EQ(kCharacterNormalA, u'A');
  EXPECT_EQ(kCharacterNormalZ, u'Z');
  EXPECT_EQ(kCharacterNormal0, u'0');
  EXPECT_EQ(kCharacterNormal9, u'9');
  EXPECT_EQ(kCharacterSmallA, u'a');
  EXPECT_EQ(kCharacterSmallZ, u'z');
  const UniChar* all[] = {&kCharacterNormalA, &kCharacterNormalB, &kCharacterNormalM,
                          &kCharacterNormalY, &kCharacterNormal1, &kCharacterNormal5,
                          &kCharacterSmallB,  &kCharacterSmallM,  &kCharacterSmallY};
  std::u16string expected = u"ABMY15bmy";
  for (size_t i = 0; i < expected.size(); ++i) EXPECT_EQ(*all[i], expected[i]) << i;
}

TEST_F(HFSNameTest, ExtensionIndex) {
  HFSUniStr255 name = Name(u"archive.tar.gz");
  EXPECT_EQ(ZRGetExtensionIndexOfHFSName(&name), 11);
  name = Name(u".");
  EXPECT_EQ(ZRGetExtensionIndexOfHFSName(&name), 0);
  name = Name(u"a.");
  EXPECT_EQ(ZRGetExtensionIndexOfHFSName(&name), 1);
  name = Name(u".profile");
  EXPECT_EQ(ZRGetExtensionIndexOfHFSName(&name), 0);
  name = Name(u"abc");
  EXPECT_EQ(ZRGetExtensionIndexOfHFSName(&name), -1);
  name = Name(u"");
  name.unicode[0] = '.';  // units past the length do not count
  EXPECT_EQ(ZRGetExtensionIndexOfHFSName(&name), -1);
  EXPECT_EQ(ZRGetExtensionIndexOfHFSName(nullptr), -1);
}

TEST_F(HFSNameTest, Digits) {
  for (UniChar c = 0; c < 0x200; ++c) EXPECT_EQ(ZRUniCharIsNumber(c), c >= '0' && c <= '9') << c;
  EXPECT_FALSE(ZRUniCharIsNumber(0x0661));  // ARABIC-INDIC DIGIT ONE
  EXPECT_FALSE(ZRUniCharIsNumber(0xFF11));  // FULLWIDTH DIGIT ONE
}

TEST_F(HFSNameTest, IncrementsDigits) {
  for (UniChar c = '0'; c <= '8'; ++c) {
    UniChar unit = c;
    Boolean carry = true;
    EXPECT_EQ(ZRIncrementUniCharNumber(&unit, &carry, true), noErr);
    EXPECT_EQ(unit, c + 1);
    EXPECT_FALSE(carry);
  }
  UniChar unit = '9';
  Boolean carry = false;
  EXPECT_EQ(ZRIncrementUniCharNumber(&unit, &carry, true), noErr);
  EXPECT_EQ(unit, '0');
  EXPECT_TRUE(carry);
  // Not a digit: nothing changes, not an error.
  unit = 'x';
  carry = 7;
  EXPECT_EQ(ZRIncrementUniCharNumber(&unit, &carry, true), noErr);
  EXPECT_EQ(unit, 'x');
  EXPECT_EQ(carry, 7);
  EXPECT_TRUE(log_.lines().empty());
  EXPECT_EQ(ZRIncrementUniCharNumber(nullptr, &carry, false), paramErr);
  EXPECT_EQ(ZRIncrementUniCharNumber(&unit, nullptr, false), paramErr);
  EXPECT_TRUE(log_.lines().empty());
  EXPECT_EQ(ZRIncrementUniCharNumber(nullptr, &carry, true), paramErr);
  EXPECT_EQ(ZRIncrementUniCharNumber(&unit, nullptr, true), paramErr);
  EXPECT_EQ(Lines(),
            (std::vector<std::string>{
                FormattedErrorLine("ZRIncrementUniCharNumber", CFSTR("ioUniChar: %p, outIncrementedToZero: %p"),
                                   static_cast<void*>(nullptr), static_cast<void*>(&carry)),
                FormattedErrorLine("ZRIncrementUniCharNumber", CFSTR("ioUniChar: %p, outIncrementedToZero: %p"),
                                   static_cast<void*>(&unit), static_cast<void*>(nullptr))}));
}

TEST_F(HFSNameTest, Equivalence) {
  HFSUniStr255 a = Name(u"Report.TXT");
  HFSUniStr255 b = Name(u"report.txt");
  EXPECT_FALSE(ZRHFSNamesAreEqual(&a, &b, 0));
  EXPECT_TRUE(ZRHFSNamesAreEqual(&a, &b, kUCCollateCaseInsensitiveMask));
  HFSUniStr255 c = Name(u"Résumé");
  HFSUniStr255 d = Name(u"Resume");
  EXPECT_FALSE(ZRHFSNamesAreEqual(&c, &d, kUCCollateStandardOptions));
  EXPECT_TRUE(ZRHFSNamesAreEqual(&c, &d, kUCCollateDiacritInsensitiveMask));
  EXPECT_FALSE(ZRHFSNamesAreEqual(nullptr, &d, 0));
  EXPECT_FALSE(ZRHFSNamesAreEqual(&c, nullptr, 0));
  std::u16string x = u"abc";
  EXPECT_TRUE(ZRUniCharBuffersAreEqual(reinterpret_cast<const UniChar*>(x.data()), 3,
                                       reinterpret_cast<const UniChar*>(x.data()), 3, 0));
  EXPECT_FALSE(ZRUniCharBuffersAreEqual(reinterpret_cast<const UniChar*>(x.data()), 3,
                                        reinterpret_cast<const UniChar*>(x.data()), 2, 0));
  // A comparison that fails leaves the answer false.
  EXPECT_FALSE(ZRUniCharBuffersAreEqual(nullptr, 3, reinterpret_cast<const UniChar*>(x.data()), 3, 0));
}

TEST_F(HFSNameTest, ArraySearch) {
  HFSUniStr255 names[3] = {Name(u"a.txt"), Name(u"B.txt"), Name(u"c.txt")};
  HFSUniStr255 sought = Name(u"b.txt");
  EXPECT_FALSE(ZRHFSNameArrayContainsHFSName(names, 3, &sought, 0));
  EXPECT_TRUE(ZRHFSNameArrayContainsHFSName(names, 3, &sought, kUCCollateCaseInsensitiveMask));
  // Only inCount records are looked at.
  EXPECT_FALSE(ZRHFSNameArrayContainsHFSName(names, 1, &sought, kUCCollateCaseInsensitiveMask));
  EXPECT_FALSE(ZRHFSNameArrayContainsHFSName(names, 0, &sought, kUCCollateCaseInsensitiveMask));
  EXPECT_FALSE(ZRHFSNameArrayContainsHFSName(nullptr, 3, &sought, 0));
  EXPECT_FALSE(ZRHFSNameArrayContainsHFSName(names, 3, nullptr, 0));
}

TEST_F(HFSNameTest, Suffixes) {
  HFSUniStr255 name = Name(u"chart.png");
  HFSUniStr255 suffix = Name(u".png");
  EXPECT_TRUE(ZRHFSNameHasSuffix(&name, &suffix, true));
  suffix = Name(u".PNG");
  EXPECT_FALSE(ZRHFSNameHasSuffix(&name, &suffix, true));  // units, not collation
  suffix = Name(u"chart.png");
  EXPECT_TRUE(ZRHFSNameHasSuffix(&name, &suffix, true));
  suffix = Name(u"xchart.png");
  EXPECT_FALSE(ZRHFSNameHasSuffix(&name, &suffix, true));
  HFSUniStr255 empty = Name(u"");
  EXPECT_FALSE(ZRHFSNameHasSuffix(&empty, &empty, true));
  HFSUniStr255 a = Name(u"a");
  EXPECT_TRUE(ZRHFSNameHasSuffix(&a, &empty, true));
  EXPECT_TRUE(log_.lines().empty());
  EXPECT_FALSE(ZRHFSNameHasSuffix(nullptr, &a, false));
  EXPECT_FALSE(ZRHFSNameHasSuffix(&a, nullptr, false));
  EXPECT_TRUE(log_.lines().empty());
  EXPECT_FALSE(ZRHFSNameHasSuffix(nullptr, &a, true));
  EXPECT_FALSE(ZRHFSNameHasSuffix(&a, nullptr, true));
  EXPECT_EQ(Lines(), (std::vector<std::string>{
                         FormattedErrorLine("ZRHFSNameHasSuffix", CFSTR("inHFSName: %p, inSuffixHFSName: %p"),
                                            static_cast<void*>(nullptr), static_cast<void*>(&a)),
                         FormattedErrorLine("ZRHFSNameHasSuffix", CFSTR("inHFSName: %p, inSuffixHFSName: %p"),
                                            static_cast<void*>(&a), static_cast<void*>(nullptr))}));
}

TEST_F(HFSNameTest, NamesFromStrings) {
  HFSUniStr255 name = Name(u"");
  EXPECT_EQ(ZRGetHFSNameOfStringRef(CFSTR("Größe.txt"), &name, true), noErr);
  EXPECT_EQ(name.length, 9);
  EXPECT_EQ(std::u16string(reinterpret_cast<char16_t*>(name.unicode), 9), u"Größe.txt");
  EXPECT_EQ(name.unicode[9], 0xFFFF);  // units past the length stay as they were
  std::u16string longText(300, u'x');
  longText[254] = 0xD83D;  // the clip splits this surrogate pair
  longText[255] = 0xDE00;
  CFStringRef string = MakeUnits(longText);
  EXPECT_EQ(ZRGetHFSNameOfStringRef(string, &name, true), noErr);
  EXPECT_EQ(name.length, 255);
  EXPECT_EQ(std::u16string(reinterpret_cast<char16_t*>(name.unicode), 255), longText.substr(0, 255));
  CFRelease(string);
  NSString* back = ZRNameStringOfHFSName(&name);
  EXPECT_EQ(Units(back), longText.substr(0, 255));
  EXPECT_EQ(ZRNameStringOfHFSName(nullptr), nullptr);
  EXPECT_TRUE(log_.lines().empty());
  EXPECT_EQ(ZRGetHFSNameOfStringRef(nullptr, &name, false), paramErr);
  EXPECT_EQ(ZRGetHFSNameOfStringRef(CFSTR("x"), nullptr, false), paramErr);
  EXPECT_TRUE(log_.lines().empty());
  EXPECT_EQ(ZRGetHFSNameOfStringRef(nullptr, &name, true), paramErr);
  EXPECT_EQ(ZRGetHFSNameOfStringRef(CFSTR("x"), nullptr, true), paramErr);
  EXPECT_EQ(Lines(), (std::vector<std::string>{
                         FormattedErrorLine("ZRGetHFSNameOfStringRef", CFSTR("inStringRef: %@, outHFSName: %p"),
                                            static_cast<CFStringRef>(nullptr), static_cast<void*>(&name)),
                         FormattedErrorLine("ZRGetHFSNameOfStringRef", CFSTR("inStringRef: %@, outHFSName: %p"),
                                            CFSTR("x"), static_cast<void*>(nullptr))}));
}

TEST_F(HFSNameTest, ExtensionStrings) {
  struct Case {
    std::u16string name;
    std::string extension;
  } cases[] = {{u"report.txt", "txt"},
               {u"archive.tar.gz", "gz"},
               {u".profile", "profile"},
               {u"abc.", ""},
               {u"abc", ""},
               {u"", ""}};
  for (const Case& c : cases) {
    HFSUniStr255 name = Name(c.name);
    CFStringRef extension = nullptr;
    EXPECT_EQ(ZRCopyExtensionStringRefOfHFSName(&name, &extension, true), noErr);
    EXPECT_EQ(Utf8(extension), c.extension);
    CFRelease(extension);
  }
  // Without a "." the answer is the constant empty string; with a trailing one a new string.
  HFSUniStr255 name = Name(u"abc");
  CFStringRef extension = nullptr;
  ASSERT_EQ(ZRCopyExtensionStringRefOfHFSName(&name, &extension, true), noErr);
  EXPECT_EQ(extension, CFSTR(""));
  extension = nullptr;
  name = Name(u"abc.");
  ASSERT_EQ(ZRCopyExtensionStringRefOfHFSName(&name, &extension, true), noErr);
  EXPECT_NE(extension, CFSTR(""));
  ZRDestroyStringRef(&extension);
  EXPECT_TRUE(log_.lines().empty());
  CFStringRef full = CFSTR("full");
  for (Boolean log : {false, true}) {
    EXPECT_EQ(ZRCopyExtensionStringRefOfHFSName(nullptr, &extension, log), paramErr);
    EXPECT_EQ(ZRCopyExtensionStringRefOfHFSName(&name, nullptr, log), paramErr);
    EXPECT_EQ(ZRCopyExtensionStringRefOfHFSName(&name, &full, log), paramErr);
    EXPECT_EQ(log_.lines().size(), log ? 3u : 0u);
  }
  EXPECT_EQ(
      Lines(),
      (std::vector<std::string>{
          FormattedErrorLine("ZRCopyExtensionStringRefOfHFSName", CFSTR("inHFSName: %p, outExtensionStringRef: %p"),
                             static_cast<void*>(nullptr), static_cast<void*>(&extension)),
          FormattedErrorLine("ZRCopyExtensionStringRefOfHFSName", CFSTR("inHFSName: %p, outExtensionStringRef: %p"),
                             static_cast<void*>(&name), static_cast<void*>(nullptr)),
          FormattedErrorLine("ZRCopyExtensionStringRefOfHFSName", CFSTR("inHFSName: %p, outExtensionStringRef: %p"),
                             static_cast<void*>(&name), static_cast<void*>(&full))}));
  EXPECT_EQ(full, CFSTR("full"));
  log_.clear();
  name = Name(u"a.txt");
  zrtest::ExpectAllocationFailuresHandled(5, [&]() -> CFTypeRef {
    CFStringRef out = nullptr;
    OSStatus status = ZRCopyExtensionStringRefOfHFSName(&name, &out, true);
    EXPECT_EQ(status == noErr, out != nullptr);
    return out;
  });
  EXPECT_EQ(Lines().front(), FormattedErrorLine("ZRCopyExtensionStringRefOfHFSName",
                                                CFSTR("CFStringCreateWithCharacters returns NULL")));
}

TEST_F(HFSNameTest, NamesWithSuffixes) {
  EXPECT_EQ(WithSuffix(u"report.txt", u" copy", true), "report copy.txt");
  EXPECT_EQ(WithSuffix(u"report.txt", u" copy", false), "report.txt copy");
  EXPECT_EQ(WithSuffix(u"archive.tar.gz", u" 2", true), "archive.tar 2.gz");
  EXPECT_EQ(WithSuffix(u".profile", u" 2", true), " 2.profile");
  EXPECT_EQ(WithSuffix(u"name.", u" 2", true), "name 2.");
  EXPECT_EQ(WithSuffix(u".", u" 2", true), " 2.");
  EXPECT_EQ(WithSuffix(u"plain", u" 2", true), "plain 2");
  EXPECT_EQ(WithSuffix(u"", u" 2", true), " 2");
  EXPECT_EQ(WithSuffix(u"", u" 2", false), " 2");
  EXPECT_EQ(WithSuffix(u"a.b", u"", true), "a.b");
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(HFSNameTest, NamesWithSuffixesKeepTo255Units) {
  // 251 units and ".txt": 255; the suffix " 2" costs the base its last 2 units.
  std::u16string base(251, u'b');
  base[249] = u'Y';
  base[250] = u'Z';
  CFStringRef name = MakeUnits(base + u".txt");
  CFStringRef result = nullptr;
  ASSERT_EQ(ZRCopyNameStringRefByAddingSuffixStringRef(name, CFSTR(" 2"), true, &result, true), noErr);
  EXPECT_EQ(Units(result), base.substr(0, 249) + u" 2.txt");
  EXPECT_EQ(CFStringGetLength(result), 255);
  CFRelease(result);
  CFRelease(name);
  // A short base cannot absorb a long suffix: nothing is cut.
  name = MakeUnits(u"abc");
  CFStringRef suffix = MakeUnits(std::u16string(300, u's'));
  ASSERT_EQ(ZRCopyNameStringRefByAddingSuffixStringRef(name, suffix, true, &result, true), noErr);
  EXPECT_EQ(CFStringGetLength(result), 303);
  CFRelease(result);
  CFRelease(suffix);
  CFRelease(name);
  // Without an extension the whole name is the base.
  name = MakeUnits(std::u16string(255, u'n'));
  ASSERT_EQ(ZRCopyNameStringRefByAddingSuffixStringRef(name, CFSTR(" 10"), false, &result, true), noErr);
  EXPECT_EQ(Units(result), std::u16string(252, u'n') + u" 10");
  CFRelease(result);
  CFRelease(name);
}

TEST_F(HFSNameTest, NamesWithSuffixesRefuseMissingArguments) {
  CFStringRef result = CFSTR("overwritten");
  for (Boolean log : {false, true}) {
    EXPECT_EQ(ZRCopyNameStringRefByAddingSuffixStringRef(nullptr, CFSTR("s"), true, &result, log), paramErr);
    EXPECT_EQ(ZRCopyNameStringRefByAddingSuffixStringRef(CFSTR("n"), nullptr, true, &result, log), paramErr);
    EXPECT_EQ(ZRCopyNameStringRefByAddingSuffixStringRef(CFSTR("n"), CFSTR("s"), true, nullptr, log), paramErr);
    EXPECT_EQ(log_.lines().size(), log ? 3u : 0u);
  }
  CFStringRef format = CFSTR("inNameStringRef: %p, inSuffixStringRef: %p, outNameStringRef: %p");
  const char* function = "ZRCopyNameStringRefByAddingSuffixStringRef";
  EXPECT_EQ(Lines(), (std::vector<std::string>{
                         FormattedErrorLine(function, format, static_cast<void*>(nullptr), CFSTR("s"), &result),
                         FormattedErrorLine(function, format, CFSTR("n"), static_cast<void*>(nullptr), &result),
                         FormattedErrorLine(function, format, CFSTR("n"), CFSTR("s"), static_cast<void*>(nullptr))}));
  // A full slot is overwritten, not refused.
  ASSERT_EQ(ZRCopyNameStringRefByAddingSuffixStringRef(CFSTR("n"), CFSTR("s"), true, &result, true), noErr);
  EXPECT_EQ(Utf8(result), "ns");
  CFRelease(result);
}

TEST_F(HFSNameTest, NamesWithSuffixesUnderAllocationFailures) {
  std::u16string longName = std::u16string(260, u'b') + u".txt";
  for (const std::u16string& text : {std::u16string(u"report.txt"), std::u16string(u"plain"), longName}) {
    CFStringRef name = MakeUnits(text);
    log_.clear();
    zrtest::ExpectAllocationFailuresHandled(10, [&]() -> CFTypeRef {
      CFStringRef out = nullptr;
      OSStatus status = ZRCopyNameStringRefByAddingSuffixStringRef(name, CFSTR(" 2"), true, &out, true);
      EXPECT_EQ(status == noErr, out != nullptr);
      return out;
    });
    std::vector<std::string> lines = Lines();
    ASSERT_FALSE(lines.empty());
    CFRelease(name);
  }
}

// Each ERROR line past the argument checks, with its failing allocation found by running the
// steps before it, reached with inLog true (the line compared) and with inLog false (no line).
TEST_F(HFSNameTest, EachFailureWritesItsLineOnlyWithInLog) {
  auto allocationsOf = [](const std::function<CFTypeRef()>& step) {
    ZRTestingResetAllocationCount();
    CFTypeRef made = step();
    long count = ZRTestingAllocationCount();
    if (made) CFRelease(made);
    return count;
  };
  auto substring = [&allocationsOf](CFStringRef string, CFIndex start, CFIndex length) {
    return allocationsOf([=] { return CFStringCreateWithSubstring(nullptr, string, CFRangeMake(start, length)); });
  };
  const char* function = "ZRCopyNameStringRefByAddingSuffixStringRef";
  const std::vector<std::string> substringLine = {
      FormattedErrorLine(function, CFSTR("CFStringCreateWithSubstring returns NULL"))};
  const std::vector<std::string> formatLine = {
      FormattedErrorLine(function, CFSTR("CFStringCreateWithFormat returns NULL"))};
  auto withSuffix = [](CFStringRef name) {
    return [name](Boolean inLog) {
      CFStringRef out = nullptr;
      OSStatus status = ZRCopyNameStringRefByAddingSuffixStringRef(name, CFSTR(" 2"), true, &out, inLog);
      EXPECT_EQ(out, nullptr);
      if (out) CFRelease(out);
      return status;
    };
  };

  // No extension: a copy of the name, then the result.
  CFStringRef plain = MakeUnits(u"plain");
  long copy = allocationsOf([=] { return CFStringCreateCopy(nullptr, plain); });
  ASSERT_GT(copy, 0);
  zrtest::ExpectFailureLinesOnlyWithInLog(&log_, 1, unknownErr,
                                          {FormattedErrorLine(function, CFSTR("CFStringCreateCopy returns NULL"))},
                                          withSuffix(plain));
  zrtest::ExpectFailureLinesOnlyWithInLog(&log_, copy + 1, unknownErr, formatLine, withSuffix(plain));
  CFRelease(plain);

  // A base and an extension, each a substring, then the result.
  CFStringRef report = MakeUnits(u"report.txt");
  long base = substring(report, 0, 6);
  long extension = substring(report, 7, 3);
  ASSERT_GT(base, 0);
  ASSERT_GT(extension, 0);
  zrtest::ExpectFailureLinesOnlyWithInLog(&log_, 1, unknownErr, substringLine, withSuffix(report));
  zrtest::ExpectFailureLinesOnlyWithInLog(&log_, base + 1, unknownErr, substringLine, withSuffix(report));
  zrtest::ExpectFailureLinesOnlyWithInLog(&log_, base + extension + 1, unknownErr, formatLine, withSuffix(report));
  CFRelease(report);

  // Only an extension ('.profile'), only a base ('name.').
  CFStringRef profile = MakeUnits(u".profile");
  zrtest::ExpectFailureLinesOnlyWithInLog(&log_, 1, unknownErr, substringLine, withSuffix(profile));
  CFRelease(profile);
  CFStringRef name = MakeUnits(u"name.");
  zrtest::ExpectFailureLinesOnlyWithInLog(&log_, 1, unknownErr, substringLine, withSuffix(name));
  CFRelease(name);

  // A name that the suffix makes too long: its base is shortened, a third substring.
  std::u16string longText = std::u16string(260, u'b') + u".txt";
  CFStringRef longName = MakeUnits(longText);
  long longBase = substring(longName, 0, 260);
  long longExtension = substring(longName, 261, 3);
  zrtest::ExpectFailureLinesOnlyWithInLog(&log_, longBase + longExtension + 1, unknownErr, substringLine,
                                          withSuffix(longName));
  CFRelease(longName);

  // The extension string of a catalog name.
  HFSUniStr255 hfsName = Name(u"a.txt");
  zrtest::ExpectFailureLinesOnlyWithInLog(
      &log_, 1, unknownErr,
      {FormattedErrorLine("ZRCopyExtensionStringRefOfHFSName", CFSTR("CFStringCreateWithCharacters returns NULL"))},
      [&hfsName](Boolean inLog) {
        CFStringRef out = nullptr;
        OSStatus status = ZRCopyExtensionStringRefOfHFSName(&hfsName, &out, inLog);
        EXPECT_EQ(out, nullptr);
        if (out) CFRelease(out);
        return status;
      });
}

}  // namespace
