// CFLocaleTest.cpp: the current locale from the environment and the preferences, locales made
// from identifiers, canonical identifiers, and the user's preferred languages.
#include <CoreFoundation/CoreFoundation.h>
#include <ZRPlatform/Testing.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "CFLocale/Languages.h"
#include "TestSupport.h"

namespace {

using zrtest::SetLocaleEnvironment;
using zrtest::Utf8;

// Every test runs with its own empty preferences folder and the locale variables it names.
class CFLocaleTest : public zrtest::PrivatePreferencesTest {
 protected:
  void SetUp() override {
    PrivatePreferencesTest::SetUp();
    SetLocaleEnvironment({});
  }

  // Writes the global preferences domain, which every application reads beneath its own.
  void WriteGlobalPreferences(const std::string& entries) {
    ASSERT_TRUE(zrtest::WriteFile(configHome_ + "/.GlobalPreferences.plist",
                                  zrtest::XMLPropertyList("<dict>\n" + entries + "</dict>\n")));
  }

  static std::string CurrentIdentifier() {
    CFLocaleRef locale = CFLocaleCopyCurrent();
    if (!locale) return "<NULL>";
    std::string identifier = Utf8(CFLocaleGetIdentifier(locale));
    CFRelease(locale);
    return identifier;
  }

  static std::vector<std::string> PreferredLanguages() {
    std::vector<std::string> languages;
    CFArrayRef array = CFLocaleCopyPreferredLanguages();
    if (!array) return {"<NULL>"};
    for (CFIndex i = 0; i < CFArrayGetCount(array); ++i) languages.push_back(Utf8(CFArrayGetValueAtIndex(array, i)));
    CFRelease(array);
    return languages;
  }
};

TEST_F(CFLocaleTest, CurrentLocaleComesFromTheFirstSetVariable) {
  SetLocaleEnvironment({{"LC_ALL", "de_DE.UTF-8"}, {"LC_NUMERIC", "fr_FR.UTF-8"}, {"LANG", "en_GB.UTF-8"}});
  EXPECT_EQ(CurrentIdentifier(), "de_DE");
  SetLocaleEnvironment({{"LC_NUMERIC", "fr_FR.UTF-8@euro"}, {"LANG", "en_GB.UTF-8"}});
  EXPECT_EQ(CurrentIdentifier(), "fr_FR");
  SetLocaleEnvironment({{"LC_ALL", ""}, {"LANG", "en_GB.ISO-8859-1"}});
  EXPECT_EQ(CurrentIdentifier(), "en_GB");
  SetLocaleEnvironment({{"LANG", "de_AT"}});
  EXPECT_EQ(CurrentIdentifier(), "de_AT");
  // LC_MESSAGES says nothing about numbers.
  SetLocaleEnvironment({{"LC_MESSAGES", "de_DE.UTF-8"}, {"LANG", "ja_JP.UTF-8"}});
  EXPECT_EQ(CurrentIdentifier(), "ja_JP");
}

TEST_F(CFLocaleTest, CAndPosixAndNothingReadAsEnglish) {
  EXPECT_EQ(CurrentIdentifier(), "en");
  SetLocaleEnvironment({{"LC_ALL", "C"}});
  EXPECT_EQ(CurrentIdentifier(), "en");
  SetLocaleEnvironment({{"LC_ALL", "POSIX"}});
  EXPECT_EQ(CurrentIdentifier(), "en");
  SetLocaleEnvironment({{"LANG", "C.UTF-8"}});
  EXPECT_EQ(CurrentIdentifier(), "en");
}

TEST_F(CFLocaleTest, AppleLocalePreferenceWinsOverTheEnvironment) {
  SetLocaleEnvironment({{"LC_ALL", "fr_FR.UTF-8"}});
  WriteGlobalPreferences("<key>AppleLocale</key>\n<string>de_CH</string>\n");
  EXPECT_EQ(CurrentIdentifier(), "de_CH");
}

TEST_F(CFLocaleTest, ChangedAppleLocaleIsSeenWithinASecond) {
  WriteGlobalPreferences("<key>AppleLocale</key>\n<string>de_CH</string>\n");
  EXPECT_EQ(CurrentIdentifier(), "de_CH");
  WriteGlobalPreferences("<key>AppleLocale</key>\n<string>fr_CH</string>\n");
  usleep(1100 * 1000);
  EXPECT_EQ(CurrentIdentifier(), "fr_CH");
}

TEST_F(CFLocaleTest, CurrentLocalesAreLocalesOfTheSameIdentifier) {
  SetLocaleEnvironment({{"LANG", "de_DE.UTF-8"}});
  CFLocaleRef first = CFLocaleCopyCurrent();
  CFLocaleRef second = CFLocaleCopyCurrent();
  ASSERT_NE(first, nullptr);
  ASSERT_NE(second, nullptr);
  EXPECT_EQ(CFGetTypeID(first), CFLocaleGetTypeID());
  EXPECT_TRUE(CFEqual(first, second));
  EXPECT_EQ(CFHash(first), CFHash(second));
  // The identifier is lent, and the same string for the same identifier.
  EXPECT_EQ(CFLocaleGetIdentifier(first), CFLocaleGetIdentifier(second));
  CFRelease(first);
  CFRelease(second);
}

TEST_F(CFLocaleTest, CreateCanonicalizesTheIdentifier) {
  struct Case {
    const char* given;
    const char* identifier;
  };
  for (const Case& c : {Case{"de-DE", "de_DE"}, Case{"en_us", "en_US"}, Case{"German", "de"}, Case{"English", "en"},
                        Case{"Japanese", "ja"}, Case{"zh-Hans-CN", "zh_Hans_CN"}, Case{"de_DE.UTF-8", "de_DE"},
                        Case{"de_DE@calendar=buddhist", "de_DE@calendar=buddhist"}, Case{"fr", "fr"}}) {
    CFStringRef given = zrtest::MakeString(c.given);
    CFLocaleRef locale = CFLocaleCreate(kCFAllocatorDefault, given);
    ASSERT_NE(locale, nullptr) << c.given;
    EXPECT_EQ(Utf8(CFLocaleGetIdentifier(locale)), c.identifier) << c.given;
    CFStringRef canonical = CFLocaleCreateCanonicalLocaleIdentifierFromString(kCFAllocatorDefault, given);
    EXPECT_EQ(Utf8(canonical), c.identifier) << c.given;
    CFRelease(canonical);
    CFRelease(locale);
    CFRelease(given);
  }
  EXPECT_EQ(CFLocaleCreate(kCFAllocatorDefault, nullptr), nullptr);
}

TEST_F(CFLocaleTest, LanguageIdentifiersUseHyphens) {
  CFStringRef canonical = CFLocaleCreateCanonicalLanguageIdentifierFromString(kCFAllocatorDefault, CFSTR("de_DE"));
  EXPECT_EQ(Utf8(canonical), "de-DE");
  CFRelease(canonical);
  canonical = CFLocaleCreateCanonicalLanguageIdentifierFromString(kCFAllocatorDefault, CFSTR("French"));
  EXPECT_EQ(Utf8(canonical), "fr");
  CFRelease(canonical);
}

TEST_F(CFLocaleTest, SystemLocaleIsTheRootLocale) {
  CFLocaleRef system = CFLocaleGetSystem();
  ASSERT_NE(system, nullptr);
  EXPECT_EQ(system, CFLocaleGetSystem());
  EXPECT_EQ(Utf8(CFLocaleGetIdentifier(system)), "");
  long live = ZRTestingLiveObjectCount();
  CFRelease(system);
  EXPECT_EQ(CFLocaleGetSystem(), system);
  EXPECT_EQ(ZRTestingLiveObjectCount(), live);
}

TEST_F(CFLocaleTest, CopyIsTheSameLocale) {
  CFLocaleRef locale = CFLocaleCreate(kCFAllocatorDefault, CFSTR("de_DE"));
  CFLocaleRef copy = CFLocaleCreateCopy(kCFAllocatorDefault, locale);
  EXPECT_TRUE(CFEqual(locale, copy));
  CFRelease(copy);
  CFRelease(locale);
}

TEST_F(CFLocaleTest, PreferredLanguagesFollowTheEnvironmentAsGLibReadsIt) {
  EXPECT_EQ(PreferredLanguages(), (std::vector<std::string>{"en"}));
  SetLocaleEnvironment({{"LANGUAGE", "de_DE:fr"}, {"LC_ALL", "it_IT.UTF-8"}});
  EXPECT_EQ(PreferredLanguages(), (std::vector<std::string>{"de-DE", "de", "fr"}));
  SetLocaleEnvironment({{"LANGUAGE", ""}, {"LC_ALL", "pt_BR.UTF-8@mod"}, {"LANG", "de_DE"}});
  EXPECT_EQ(PreferredLanguages(), (std::vector<std::string>{"pt-BR", "pt"}));
  SetLocaleEnvironment({{"LC_MESSAGES", "sv_SE.UTF-8"}, {"LANG", "de_DE"}});
  EXPECT_EQ(PreferredLanguages(), (std::vector<std::string>{"sv-SE", "sv"}));
  SetLocaleEnvironment({{"LANG", "de_DE.UTF-8"}});
  EXPECT_EQ(PreferredLanguages(), (std::vector<std::string>{"de-DE", "de"}));
  SetLocaleEnvironment({{"LANG", "C"}});
  EXPECT_EQ(PreferredLanguages(), (std::vector<std::string>{"en"}));
  SetLocaleEnvironment({{"LANGUAGE", "de:POSIX:de_AT"}});
  EXPECT_EQ(PreferredLanguages(), (std::vector<std::string>{"de", "en", "de-AT"}));
}

TEST_F(CFLocaleTest, PreferredLanguagesComeFromAppleLanguagesWhenSet) {
  SetLocaleEnvironment({{"LANGUAGE", "fr_FR"}});
  WriteGlobalPreferences("<key>AppleLanguages</key>\n<array>\n<string>de</string>\n<string>en-US</string>\n</array>\n");
  EXPECT_EQ(PreferredLanguages(), (std::vector<std::string>{"de", "en-US"}));
}

TEST_F(CFLocaleTest, OldLocalizationNamesMapBothWays) {
  EXPECT_STREQ(zrp::LanguageCodeOfOldName("German"), "de");
  EXPECT_STREQ(zrp::LanguageCodeOfOldName("English"), "en");
  EXPECT_EQ(zrp::LanguageCodeOfOldName("Klingon"), nullptr);
  EXPECT_STREQ(zrp::OldNameOfLanguageCode("fr"), "French");
  EXPECT_EQ(zrp::OldNameOfLanguageCode("xx"), nullptr);
}

TEST_F(CFLocaleTest, FailedCreationLeavesNothingBehind) {
  SetLocaleEnvironment({{"LANG", "de_DE.UTF-8"}});
  // Fails the first, second ... allocation of the call until the call needs no more of them.
  zrtest::ExpectAllocationFailuresHandled(32, [] { return CFTypeRef(CFLocaleCopyCurrent()); });
}

}  // namespace
