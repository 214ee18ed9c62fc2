// ZRSupportFolderTest.cpp: the support folder made on first use and found after, in a private
// data folder; the resources of the test application's bundle; the application's language from
// private "AppleLanguages" values; ERROR lines and allocation failures.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <vector>

#include "TestSupport.h"

namespace {

using zrtest::FormattedErrorLine;
using zrtest::MakeString;
using zrtest::Utf8;
using zrtest::WithoutLines;

const std::string kResources = std::string(ZR_TEST_BUNDLE_PATH) + "/Contents/Resources";

class SupportFolderTest : public zrtest::LeakCheckedTest {
 protected:
  void SetUp() override {
    LeakCheckedTest::SetUp();
    const char* data = getenv("XDG_DATA_HOME");
    savedDataHome_ = data ? data : "";
    folder_ = zrtest::MakeTemporaryFolder("ZRSupportFolderTest");
    ASSERT_FALSE(folder_.empty());
    dataHome_ = folder_ + "/data";
    setenv("XDG_DATA_HOME", dataHome_.c_str(), 1);
  }
  void TearDown() override {
    setenv("XDG_DATA_HOME", savedDataHome_.c_str(), 1);
    EXPECT_TRUE(zrtest::RemoveFolder(folder_));
    pool_.drain();
    LeakCheckedTest::TearDown();
  }
  std::vector<std::string> Lines() { return WithoutLines(log_.lines()); }

  std::string savedDataHome_;
  std::string folder_;
  std::string dataHome_;
  zrtest::LogCapture log_;
  NSAutoreleasePool pool_;
};

TEST_F(SupportFolderTest, FirstRunMakesTheFolderSecondRunFindsIt) {
  char* buffer = nullptr;
  ASSERT_EQ(ZRCopySupportPathBuffer(&buffer, true), noErr);
  ASSERT_NE(buffer, nullptr);
  EXPECT_EQ(std::string(buffer), dataHome_ + "/Korvane");
  struct stat info;
  ASSERT_EQ(stat(buffer, &info), 0);
  EXPECT_TRUE(S_ISDIR(info.st_mode));
  ASSERT_EQ(stat(dataHome_.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0700u);
  // The buffer is the whole 1024 bytes, zero after the path.
  for (size_t i = strlen(buffer); i < 1024; ++i) ASSERT_EQ(buffer[i], 0) << i;
  // A file left in the folder shows that the second run makes nothing new.
  ASSERT_TRUE(zrtest::WriteFile(std::string(buffer) + "/kept", "kept"));
  char* again = nullptr;
  ASSERT_EQ(ZRCopySupportPathBuffer(&again, true), noErr);
  EXPECT_STREQ(again, buffer);
  EXPECT_EQ(access((std::string(again) + "/kept").c_str(), F_OK), 0);
  free(buffer);
  free(again);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(SupportFolderTest, DataFolderWithFinalSlash) {
  setenv("XDG_DATA_HOME", (dataHome_ + "/").c_str(), 1);
  char* buffer = nullptr;
  ASSERT_EQ(ZRCopySupportPathBuffer(&buffer, true), noErr);
  EXPECT_EQ(std::string(buffer), dataHome_ + "/Korvane");
  free(buffer);
}

TEST_F(SupportFolderTest, ExistingFileIsTakenAsItIs) {
  ASSERT_TRUE(zrtest::WriteFile(dataHome_ + "/Korvane", "not a folder"));
  char* buffer = nullptr;
  ASSERT_EQ(ZRCopySupportPathBuffer(&buffer, true), noErr);
  EXPECT_EQ(std::string(buffer), dataHome_ + "/Korvane");
  struct stat info;
  ASSERT_EQ(stat(buffer, &info), 0);
  EXPECT_TRUE(S_ISREG(info.st_mode));
  free(buffer);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(SupportFolderTest, FullSlotIsFreedAndEmptied) {
  char* buffer = nullptr;
  for (bool log : {false, true}) {
    buffer = static_cast<char*>(malloc(16));
    ASSERT_NE(buffer, nullptr);
    EXPECT_EQ(ZRCopySupportPathBuffer(&buffer, log), paramErr);
    // The sanitizers report a leak or a double free if the buffer was not freed exactly once.
    EXPECT_EQ(buffer, nullptr);
    EXPECT_EQ(ZRCopySupportPathBuffer(nullptr, log), paramErr);
  }
  char** none = nullptr;
  EXPECT_EQ(Lines(),
            (std::vector<std::string>{FormattedErrorLine("ZRCopySupportPathBuffer", CFSTR("outBuffer: %p"), &buffer),
                                      FormattedErrorLine("ZRCopySupportPathBuffer", CFSTR("outBuffer: %p"), none)}));
  EXPECT_EQ(access((dataHome_ + "/Korvane").c_str(), F_OK), -1);
}

TEST_F(SupportFolderTest, DataFolderThatCannotBeMade) {
  ASSERT_TRUE(zrtest::WriteFile(folder_ + "/file", "a file where a folder should be"));
  setenv("XDG_DATA_HOME", (folder_ + "/file/data").c_str(), 1);
  FSRef folder;
  OSStatus expected = FSFindFolder(kUserDomain, kApplicationSupportFolderType, kCreateFolder, &folder);
  ASSERT_NE(expected, noErr);
  for (bool log : {false, true}) {
    char* buffer = nullptr;
    EXPECT_EQ(ZRCopySupportPathBuffer(&buffer, log), expected);
    EXPECT_EQ(buffer, nullptr);
  }
  EXPECT_EQ(Lines(), (std::vector<std::string>{FormattedErrorLine(
                         "ZRCopySupportPathBuffer", CFSTR("FSFindFolder returns %@"), ZRCarbonErrorString(expected))}));
}

TEST_F(SupportFolderTest, DataFolderPathTooLong) {
  // A data folder whose path leaves no room for "/Korvane" in the 1024 bytes.
  std::string path = dataHome_;
  while (path.size() < 1020) path += "/" + std::string(std::min<size_t>(200, 1020 - path.size()), 'x');
  setenv("XDG_DATA_HOME", path.c_str(), 1);
  FSRef folder;
  ASSERT_EQ(FSFindFolder(kUserDomain, kApplicationSupportFolderType, kCreateFolder, &folder), noErr);
  UInt8 large[2048];
  ASSERT_EQ(FSRefMakePath(&folder, large, sizeof large), noErr);
  OSStatus expected = FSRefMakePath(&folder, large, 1016);
  ASSERT_NE(expected, noErr);
  for (bool log : {false, true}) {
    char* buffer = nullptr;
    EXPECT_EQ(ZRCopySupportPathBuffer(&buffer, log), expected);
    EXPECT_EQ(buffer, nullptr);
  }
  EXPECT_EQ(Lines(),
            (std::vector<std::string>{FormattedErrorLine("ZRCopySupportPathBuffer", CFSTR("FSRefMakePath returns %@"),
                                                         ZRCarbonErrorString(expected))}));
}

TEST_F(SupportFolderTest, FolderThatCannotBeMade) {
  // Nothing can be made inside /sys, whoever runs the test.
  setenv("XDG_DATA_HOME", "/sys/kernel", 1);
  FSRef folder;
  ASSERT_EQ(FSFindFolder(kUserDomain, kApplicationSupportFolderType, kCreateFolder, &folder), noErr);
  FSRef made;
  OSStatus expected = FSCreateDirectoryUnicode(&folder, 7, reinterpret_cast<const UniChar*>(u"Korvane"), kFSCatInfoNone,
                                               nullptr, &made, nullptr, nullptr);
  ASSERT_NE(expected, noErr);
  for (bool log : {false, true}) {
    char* buffer = nullptr;
    EXPECT_EQ(ZRCopySupportPathBuffer(&buffer, log), expected);
    EXPECT_EQ(buffer, nullptr);
  }
  EXPECT_EQ(Lines(), (std::vector<std::string>{FormattedErrorLine("ZRCopySupportPathBuffer",
                                                                  CFSTR("FSCreateDirectoryUnicode returns %@"),
                                                                  ZRCarbonErrorString(expected))}));
}

TEST_F(SupportFolderTest, CallocReturnsNull) {
  for (bool log : {false, true}) {
    char* buffer = nullptr;
    ZRTestingFailAllocation(1);
    EXPECT_EQ(ZRCopySupportPathBuffer(&buffer, log), unknownErr);
    EXPECT_FALSE(ZRTestingFailurePending());
    EXPECT_EQ(buffer, nullptr);
  }
  EXPECT_EQ(Lines(), (std::vector<std::string>{zrtest::ErrorLine("ZRCopySupportPathBuffer", "calloc returns NULL")}));
  EXPECT_EQ(access((dataHome_ + "/Korvane").c_str(), F_OK), -1);
}

class ResourceTest : public zrtest::LeakCheckedTest {
 protected:
  void SetUp() override {
    // The main bundle keeps its information property list and its localizations from the first
    // lookup on, for the rest of the process.
    CFURLRef url = CFBundleCopyResourceURL(CFBundleGetMainBundle(), CFSTR("Plain.txt"), nullptr, nullptr);
    ASSERT_NE(url, nullptr);
    CFRelease(url);
    LeakCheckedTest::SetUp();
  }
  void TearDown() override {
    pool_.drain();
    LeakCheckedTest::TearDown();
  }
  std::vector<std::string> Lines() { return WithoutLines(log_.lines()); }
  zrtest::LogCapture log_;
  NSAutoreleasePool pool_;
};

TEST_F(ResourceTest, URLsOfResources) {
  CFURLRef url = nullptr;
  ASSERT_EQ(ZRCopyResourceURLRef(CFSTR("Plain.txt"), &url, true), noErr);
  CFStringRef path = CFURLCopyFileSystemPath(url, kCFURLPOSIXPathStyle);
  EXPECT_EQ(Utf8(path), kResources + "/Plain.txt");
  CFRelease(path);
  CFRelease(url);
  url = nullptr;
  // The test runs in English: a localized resource comes from English.lproj.
  ASSERT_EQ(ZRCopyResourceURLRef(CFSTR("Greeting.txt"), &url, true), noErr);
  path = CFURLCopyFileSystemPath(url, kCFURLPOSIXPathStyle);
  EXPECT_EQ(Utf8(path), kResources + "/English.lproj/Greeting.txt");
  CFRelease(path);
  CFRelease(url);
  url = nullptr;
  ASSERT_EQ(ZRCopyResourceURLRef(CFSTR("OnlyGerman.txt"), &url, true), noErr);
  path = CFURLCopyFileSystemPath(url, kCFURLPOSIXPathStyle);
  EXPECT_EQ(Utf8(path), kResources + "/German.lproj/OnlyGerman.txt");
  CFRelease(path);
  CFRelease(url);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(ResourceTest, URLErrors) {
  CFURLRef url = nullptr;
  CFURLRef full = CFURLCreateWithFileSystemPath(nullptr, CFSTR("/x"), kCFURLPOSIXPathStyle, false);
  CFURLRef* fullSlot = &full;
  for (bool log : {false, true}) {
    EXPECT_EQ(ZRCopyResourceURLRef(nullptr, &url, log), paramErr);
    EXPECT_EQ(ZRCopyResourceURLRef(CFSTR("Plain.txt"), nullptr, log), paramErr);
    EXPECT_EQ(ZRCopyResourceURLRef(CFSTR("Plain.txt"), fullSlot, log), paramErr);
    EXPECT_EQ(ZRCopyResourceURLRef(CFSTR("Missing.txt"), &url, log), unknownErr);
    EXPECT_EQ(url, nullptr);
  }
  CFRelease(full);
  CFStringRef format = CFSTR("inResourceNameStringRef: %p, outURLRef: %p");
  const char* f = "ZRCopyResourceURLRef";
  EXPECT_EQ(Lines(), (std::vector<std::string>{
                         FormattedErrorLine(f, format, static_cast<const void*>(nullptr), &url),
                         FormattedErrorLine(f, format, CFSTR("Plain.txt"), static_cast<const void*>(nullptr)),
                         FormattedErrorLine(f, format, CFSTR("Plain.txt"), fullSlot),
                         zrtest::ErrorLine(f, "CFBundleCopyResourceURL returns NULL")}));
}

TEST_F(ResourceTest, FileReferences) {
  FSRef ref;
  ASSERT_EQ(ZRGetResourceFSRef(CFSTR("Plain.txt"), &ref, true), noErr);
  UInt8 path[1024];
  ASSERT_EQ(FSRefMakePath(&ref, path, sizeof path), noErr);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(path)), kResources + "/Plain.txt");
  for (bool log : {false, true}) {
    EXPECT_EQ(ZRGetResourceFSRef(nullptr, &ref, log), paramErr);
    EXPECT_EQ(ZRGetResourceFSRef(CFSTR("Plain.txt"), nullptr, log), paramErr);
    EXPECT_EQ(ZRGetResourceFSRef(CFSTR("Missing.txt"), &ref, log), unknownErr);
  }
  CFStringRef format = CFSTR("inResourceNameStringRef: %p, outFSRef: %p");
  const char* f = "ZRGetResourceFSRef";
  EXPECT_EQ(Lines(), (std::vector<std::string>{
                         FormattedErrorLine(f, format, static_cast<const void*>(nullptr), &ref),
                         FormattedErrorLine(f, format, CFSTR("Plain.txt"), static_cast<const void*>(nullptr)),
                         zrtest::ErrorLine("ZRCopyResourceURLRef", "CFBundleCopyResourceURL returns NULL"),
                         zrtest::ErrorLine(f, "ZRCopyResourceURLRef returns -2223 for 'Missing.txt'")}));
}

TEST_F(ResourceTest, ResourceWithoutFileReference) {
  // A link whose target is gone is a resource of the bundle, but no item to refer to.
  std::string link = kResources + "/ZRSupportFolderTest-dangling.txt";
  unlink(link.c_str());
  ASSERT_EQ(symlink("nowhere.txt", link.c_str()), 0);
  FSRef ref;
  for (bool log : {false, true}) {
    EXPECT_EQ(ZRGetResourceFSRef(CFSTR("ZRSupportFolderTest-dangling.txt"), &ref, log), unknownErr);
  }
  unlink(link.c_str());
  EXPECT_EQ(Lines(), (std::vector<std::string>{zrtest::ErrorLine(
                         "ZRGetResourceFSRef", "CFURLGetFSRef returns false for 'ZRSupportFolderTest-dangling.txt'")}));
}

TEST_F(ResourceTest, PathStrings) {
  CFStringRef path = nullptr;
  ASSERT_EQ(ZRCopyResourcePathStringRef(CFSTR("Plain.txt"), &path, true), noErr);
  EXPECT_EQ(Utf8(path), kResources + "/Plain.txt");
  CFStringRef* fullSlot = &path;
  CFStringRef empty = nullptr;
  for (bool log : {false, true}) {
    EXPECT_EQ(ZRCopyResourcePathStringRef(nullptr, &empty, log), paramErr);
    EXPECT_EQ(ZRCopyResourcePathStringRef(CFSTR("Plain.txt"), nullptr, log), paramErr);
    EXPECT_EQ(ZRCopyResourcePathStringRef(CFSTR("Plain.txt"), fullSlot, log), paramErr);
    EXPECT_EQ(ZRCopyResourcePathStringRef(CFSTR("Missing.txt"), &empty, log), unknownErr);
    EXPECT_EQ(empty, nullptr);
  }
  CFRelease(path);
  CFStringRef format = CFSTR("inResourceNameStringRef: %p, outStringRef: %p");
  const char* f = "ZRCopyResourcePathStringRef";
  EXPECT_EQ(Lines(), (std::vector<std::string>{
                         FormattedErrorLine(f, format, static_cast<const void*>(nullptr), &empty),
                         FormattedErrorLine(f, format, CFSTR("Plain.txt"), static_cast<const void*>(nullptr)),
                         FormattedErrorLine(f, format, CFSTR("Plain.txt"), fullSlot),
                         zrtest::ErrorLine("ZRCopyResourceURLRef", "CFBundleCopyResourceURL returns NULL"),
                         zrtest::ErrorLine(f, "ZRCopyResourceURLRef returns -2223")}));
}

TEST_F(ResourceTest, PathBuffers) {
  char* buffer = nullptr;
  ASSERT_EQ(ZRCopyResourcePathBuffer(CFSTR("Plain.txt"), &buffer, true), noErr);
  EXPECT_EQ(std::string(buffer), kResources + "/Plain.txt");
  char** fullSlot = &buffer;
  char* empty = nullptr;
  for (bool log : {false, true}) {
    EXPECT_EQ(ZRCopyResourcePathBuffer(nullptr, &empty, log), paramErr);
    EXPECT_EQ(ZRCopyResourcePathBuffer(CFSTR("Plain.txt"), nullptr, log), paramErr);
    EXPECT_EQ(ZRCopyResourcePathBuffer(CFSTR("Plain.txt"), fullSlot, log), paramErr);
    EXPECT_EQ(ZRCopyResourcePathBuffer(CFSTR("Missing.txt"), &empty, log), unknownErr);
    EXPECT_EQ(empty, nullptr);
  }
  free(buffer);
  CFStringRef format = CFSTR("inResourceNameStringRef: %p, outBuffer: %p");
  const char* f = "ZRCopyResourcePathBuffer";
  EXPECT_EQ(
      Lines(),
      (std::vector<std::string>{
          FormattedErrorLine(f, format, static_cast<const void*>(nullptr), &empty),
          FormattedErrorLine(f, format, CFSTR("Plain.txt"), static_cast<const void*>(nullptr)),
          FormattedErrorLine(f, format, CFSTR("Plain.txt"), fullSlot),
          zrtest::ErrorLine("ZRCopyResourceURLRef", "CFBundleCopyResourceURL returns NULL"),
          zrtest::ErrorLine("ZRCopyResourcePathStringRef", "ZRCopyResourceURLRef returns -2223"),
          FormattedErrorLine(f, CFSTR("ZRCopyResourcePathStringRef returns %@"), ZRCarbonErrorString(unknownErr))}));
}

TEST_F(ResourceTest, AllocationFailuresGiveUnknownErr) {
  // Each allocation of the call in turn fails; every run ends in noErr or unknownErr and leaves
  // nothing behind (the leak check and the sanitizers watch), and the conversion's own failure
  // reaches its ERROR line.
  bool sawConversionFailure = false;
  for (long n = 1; n < 200; ++n) {
    log_.clear();
    char* buffer = nullptr;
    ZRTestingFailAllocation(n);
    OSStatus status = ZRCopyResourcePathBuffer(CFSTR("Plain.txt"), &buffer, true);
    bool reached = !ZRTestingFailurePending();
    ZRTestingFailAllocation(0);
    if (status == noErr) {
      EXPECT_EQ(std::string(buffer), kResources + "/Plain.txt");
      free(buffer);
      if (!reached) break;
      continue;
    }
    EXPECT_EQ(buffer, nullptr);
    for (const std::string& line : Lines()) {
      if (line.find("ZRCopyCBufferOfStringRef returns") != std::string::npos) sawConversionFailure = true;
    }
  }
  EXPECT_TRUE(sawConversionFailure);
}

class LanguageTest : public zrtest::PrivatePreferencesTest {
 protected:
  void SetUp() override {
    PrivatePreferencesTest::SetUp();
    CFURLRef url = CFBundleCopyResourceURL(CFBundleGetMainBundle(), CFSTR("Plain.txt"), nullptr, nullptr);
    ASSERT_NE(url, nullptr);
    CFRelease(url);
  }
  void TearDown() override {
    CFPreferencesSetAppValue(CFSTR("AppleLanguages"), nullptr, kCFPreferencesCurrentApplication);
    pool_.drain();
    PrivatePreferencesTest::TearDown();
  }
  // The application's "AppleLanguages" (none when languages is NULL).
  void SetLanguages(const std::vector<const char*>* languages) {
    if (!languages) {
      CFPreferencesSetAppValue(CFSTR("AppleLanguages"), nullptr, kCFPreferencesCurrentApplication);
      return;
    }
    std::vector<CFTypeRef> strings;
    for (const char* language : *languages) strings.push_back(MakeString(language));
    CFArrayRef array =
        CFArrayCreate(nullptr, strings.data(), static_cast<CFIndex>(strings.size()), &kCFTypeArrayCallBacks);
    CFPreferencesSetAppValue(CFSTR("AppleLanguages"), array, kCFPreferencesCurrentApplication);
    CFRelease(array);
    for (CFTypeRef string : strings) CFRelease(string);
  }
  void SetLanguages(std::vector<const char*> languages) { SetLanguages(&languages); }
  std::string ShortLanguage() {
    CFStringRef language = nullptr;
    EXPECT_EQ(ZRCopyShortLanguageStringRef(&language, true), noErr);
    std::string text = Utf8(language);
    if (language) CFRelease(language);
    return text;
  }
  // The localized resource's path below the resources folder; the status when it fails.
  std::string Localized(CFStringRef name) {
    CFStringRef path = nullptr;
    OSStatus status = ZRCopyLocalizedResourcePathStringRef(name, &path, true);
    if (status != noErr) return std::to_string(status);
    std::string text = Utf8(path);
    CFRelease(path);
    return text.starts_with(kResources + "/") ? text.substr(kResources.size() + 1) : text;
  }
  std::vector<std::string> Lines() { return WithoutLines(log_.lines()); }
  zrtest::LogCapture log_;
  NSAutoreleasePool pool_;
};

TEST_F(LanguageTest, ShortLanguageAndLocalization) {
  SetLanguages({"fr", "de", "en"});
  EXPECT_EQ(ShortLanguage(), "de");
  EXPECT_EQ(Localized(CFSTR("Greeting.txt")), "German.lproj/Greeting.txt");
  EXPECT_EQ(Localized(CFSTR("OnlyGerman.txt")), "German.lproj/OnlyGerman.txt");
  // Resources that are not localized are found in every localization.
  EXPECT_EQ(Localized(CFSTR("Plain.txt")), "Plain.txt");
  SetLanguages({"fr", "it"});
  EXPECT_EQ(ShortLanguage(), "en");
  EXPECT_EQ(Localized(CFSTR("Greeting.txt")), "English.lproj/Greeting.txt");
  SetLanguages({"en-US"});
  EXPECT_EQ(ShortLanguage(), "en");
  SetLanguages({"en", "de"});
  EXPECT_EQ(ShortLanguage(), "en");
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(LanguageTest, WithoutThePreferenceTheLocaleEnvironmentDecides) {
  SetLanguages(nullptr);
  zrtest::SetLocaleEnvironment({{"LANG", "de_DE.UTF-8"}});
  EXPECT_EQ(ShortLanguage(), "de");
  EXPECT_EQ(ZRGetApplicationLanguageType(), 1);
  EXPECT_EQ(Localized(CFSTR("Greeting.txt")), "German.lproj/Greeting.txt");
  zrtest::SetLocaleEnvironment({{"LANGUAGE", "fr:it"}, {"LANG", "de_DE.UTF-8"}});
  EXPECT_EQ(ShortLanguage(), "en");
  EXPECT_EQ(ZRGetApplicationLanguageType(), 0);
  EXPECT_EQ(Localized(CFSTR("Greeting.txt")), "English.lproj/Greeting.txt");
  zrtest::SetLocaleEnvironment({{"LC_MESSAGES", "de_CH.UTF-8"}, {"LANG", "en_US.UTF-8"}});
  EXPECT_EQ(ShortLanguage(), "de");
  // The preference, where there is one, wins.
  SetLanguages({"en"});
  EXPECT_EQ(ShortLanguage(), "en");
  EXPECT_EQ(ZRGetApplicationLanguageType(), 0);
  zrtest::UseLocale("en_US.UTF-8");
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(LanguageTest, ShortLanguageErrors) {
  CFStringRef language = nullptr;
  CFStringRef full = CFSTR("x");
  for (bool log : {false, true}) {
    EXPECT_EQ(ZRCopyShortLanguageStringRef(nullptr, log), paramErr);
    EXPECT_EQ(ZRCopyShortLanguageStringRef(&full, log), paramErr);
    SetLanguages({"de"});
    ZRTestingFailAllocation(1);
    EXPECT_EQ(ZRCopyShortLanguageStringRef(&language, log), unknownErr);
    EXPECT_EQ(language, nullptr);
    // A value that is not an array reads as none.
    CFPreferencesSetAppValue(CFSTR("AppleLanguages"), CFSTR("de"), kCFPreferencesCurrentApplication);
    EXPECT_EQ(ZRCopyShortLanguageStringRef(&language, log), unknownErr);
    EXPECT_EQ(language, nullptr);
  }
  const char* f = "ZRCopyShortLanguageStringRef";
  EXPECT_EQ(Lines(), (std::vector<std::string>{
                         FormattedErrorLine(f, CFSTR("outStringRef: %p"), static_cast<const void*>(nullptr)),
                         FormattedErrorLine(f, CFSTR("outStringRef: %p"), &full),
                         zrtest::ErrorLine(f, "CFArrayCreate returns NULL"),
                         zrtest::ErrorLine(f, "ZRCopyArrayRefOfPreferencesKey returns NULL")}));
}

TEST_F(LanguageTest, LocalizedResourceErrors) {
  SetLanguages({"fr"});
  CFURLRef url = nullptr;
  CFURLRef full = CFURLCreateWithFileSystemPath(nullptr, CFSTR("/x"), kCFURLPOSIXPathStyle, false);
  CFStringRef path = nullptr;
  for (bool log : {false, true}) {
    EXPECT_EQ(ZRCopyLocalizedResourceURLRef(nullptr, &url, log), paramErr);
    EXPECT_EQ(ZRCopyLocalizedResourceURLRef(CFSTR("Greeting.txt"), &full, log), paramErr);
    EXPECT_EQ(ZRCopyLocalizedResourcePathStringRef(CFSTR("Greeting.txt"), nullptr, log), paramErr);
    EXPECT_EQ(ZRCopyLocalizedResourcePathStringRef(CFSTR("OnlyGerman.txt"), &path, log), unknownErr);
    EXPECT_EQ(path, nullptr);
  }
  CFRelease(full);
  CFStringRef urlFormat = CFSTR("inResourceNameStringRef: %p, outURLRef: %p");
  EXPECT_EQ(
      Lines(),
      (std::vector<std::string>{
          FormattedErrorLine("ZRCopyLocalizedResourceURLRef", urlFormat, static_cast<const void*>(nullptr), &url),
          FormattedErrorLine("ZRCopyLocalizedResourceURLRef", urlFormat, CFSTR("Greeting.txt"), &full),
          FormattedErrorLine("ZRCopyLocalizedResourcePathStringRef",
                             CFSTR("inResourceNameStringRef: %p, outStringRef: %p"), CFSTR("Greeting.txt"),
                             static_cast<const void*>(nullptr)),
          zrtest::ErrorLine("ZRCopyLocalizedResourceURLRef", "CFBundleCopyResourceURLForLocalization returns NULL"),
          zrtest::ErrorLine("ZRCopyLocalizedResourcePathStringRef", "ZRCopyLocalizedResourceURLRef returns -2223")}));
}

TEST_F(LanguageTest, LocalizationIsEnglishWhenTheLanguageCannotBeRead) {
  // A value that is not an array gives the short language's ERROR line, then English.
  CFPreferencesSetAppValue(CFSTR("AppleLanguages"), CFSTR("de"), kCFPreferencesCurrentApplication);
  EXPECT_EQ(Localized(CFSTR("Greeting.txt")), "English.lproj/Greeting.txt");
  EXPECT_EQ(Lines(), (std::vector<std::string>{zrtest::ErrorLine("ZRCopyShortLanguageStringRef",
                                                                 "ZRCopyArrayRefOfPreferencesKey returns NULL")}));
}

TEST_F(LanguageTest, LanguageType) {
  SetLanguages({"fr", "de", "en"});
  EXPECT_EQ(ZRGetApplicationLanguageType(), 1);
  SetLanguages({"fr", "it"});
  EXPECT_EQ(ZRGetApplicationLanguageType(), 0);
  SetLanguages({"en-US"});
  EXPECT_EQ(ZRGetApplicationLanguageType(), 0);
  SetLanguages({"en", "de"});
  EXPECT_EQ(ZRGetApplicationLanguageType(), 0);
  SetLanguages({"de"});
  EXPECT_EQ(ZRGetApplicationLanguageType(), 1);
  SetLanguages({});
  EXPECT_EQ(ZRGetApplicationLanguageType(), 0);
}

TEST_F(LanguageTest, LanguageTypeWithoutPreferenceOrMemory) {
  // No preference: the test's environment, en_US.
  SetLanguages(nullptr);
  EXPECT_EQ(ZRGetApplicationLanguageType(), 0);
  SetLanguages({"de"});
  EXPECT_EQ(ZRGetApplicationLanguageType(), 1);
  // Whatever allocation fails, the answer is 1 or, when it failed, 0; never anything else.
  for (long n = 1; n < 50; ++n) {
    ZRTestingFailAllocation(n);
    Boolean type = ZRGetApplicationLanguageType();
    bool reached = !ZRTestingFailurePending();
    ZRTestingFailAllocation(0);
    if (!reached) {
      EXPECT_EQ(type, 1);
      break;
    }
    EXPECT_TRUE(type == 0 || type == 1);
  }
}

}  // namespace
