// CFPreferencesTest.cpp: reading values from the application's domain and the global domain,
// in either property-list form, following changes on disk; and how the current application's
// identifier is found. Runs on a temporary XDG_CONFIG_HOME and HOME, never the user's own.
#include <CoreFoundation/CoreFoundation.h>
#include <ZRPlatform/Testing.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "CFPreferences/PreferencesImpl.h"
#include "TemporaryHome.h"
#include "TestSupport.h"

namespace {

namespace fs = std::filesystem;

using zrtest::Home;

using zrtest::WriteFile;

std::string Plist(const std::string& body) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n" + body + "\n</plist>\n";
}

// Moves a file's modification time, so that a rewrite within the same clock tick is noticed
// no matter the file system's time resolution.
void Touch(const std::string& path, long secondsAhead) {
  struct stat info;
  ASSERT_EQ(stat(path.c_str(), &info), 0);
  timespec times[2] = {info.st_atim, info.st_mtim};
  times[1].tv_sec += secondsAhead;
  ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
}

std::string Text(CFPropertyListRef value) {
  std::string text = value && CFGetTypeID(value) == CFStringGetTypeID() ? zrtest::Utf8(value) : "<not a string>";
  if (value) CFRelease(value);
  return value ? text : "<NULL>";
}

class CFPreferencesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(std::string(std::getenv("XDG_CONFIG_HOME")), Home().config);
    for (const auto& entry : fs::directory_iterator(Home().config)) fs::remove_all(entry.path());
    zrp::ForgetPreferencesInMemory();
  }
  std::string domain(const std::string& identifier) const { return Home().config + "/" + identifier + ".plist"; }
};

TEST_F(CFPreferencesTest, TheApplicationIsTheExecutableOutsideABundle) {
  EXPECT_EQ(zrp::CurrentApplicationIdentifier(), "CFPreferencesTest");
  EXPECT_EQ(zrp::PreferencesDirectory(), Home().config);
}

TEST_F(CFPreferencesTest, TheApplicationDomainWinsOverTheGlobalOne) {
  WriteFile(domain("CFPreferencesTest"),
            Plist("<dict><key>Shared</key><string>app</string><key>AppOnly</key><integer>7</integer></dict>"));
  WriteFile(domain(".GlobalPreferences"),
            Plist("<dict><key>Shared</key><string>global</string><key>GlobalOnly</key><true/></dict>"));
  EXPECT_EQ(Text(CFPreferencesCopyAppValue(CFSTR("Shared"), kCFPreferencesCurrentApplication)), "app");
  CFPropertyListRef number = CFPreferencesCopyAppValue(CFSTR("AppOnly"), kCFPreferencesCurrentApplication);
  ASSERT_NE(number, nullptr);
  int value = 0;
  CFNumberGetValue(static_cast<CFNumberRef>(number), kCFNumberIntType, &value);
  EXPECT_EQ(value, 7);
  CFRelease(number);
  CFPropertyListRef global = CFPreferencesCopyAppValue(CFSTR("GlobalOnly"), kCFPreferencesCurrentApplication);
  EXPECT_EQ(global, kCFBooleanTrue);
  if (global) CFRelease(global);
  EXPECT_EQ(CFPreferencesCopyAppValue(CFSTR("Missing"), kCFPreferencesCurrentApplication), nullptr);
  // The global domain alone.
  EXPECT_EQ(Text(CFPreferencesCopyAppValue(CFSTR("Shared"), kCFPreferencesAnyApplication)), "global");
  EXPECT_EQ(CFPreferencesCopyAppValue(CFSTR("AppOnly"), kCFPreferencesAnyApplication), nullptr);
  // The same application named by its identifier.
  EXPECT_EQ(Text(CFPreferencesCopyAppValue(CFSTR("Shared"), CFSTR("CFPreferencesTest"))), "app");
}

TEST_F(CFPreferencesTest, ReadsAnotherApplicationsDomain) {
  WriteFile(domain("com.example.other"), Plist("<dict><key>Color</key><string>blue</string></dict>"));
  EXPECT_EQ(Text(CFPreferencesCopyAppValue(CFSTR("Color"), CFSTR("com.example.other"))), "blue");
  EXPECT_EQ(CFPreferencesCopyAppValue(CFSTR("Color"), kCFPreferencesCurrentApplication), nullptr);
  EXPECT_EQ(CFPreferencesCopyAppValue(CFSTR("Color"), CFSTR("com.example.none")), nullptr);
}

// The languages, as strings joined by blanks; "<NULL>" for no value, "<not an array>" for another.
std::string Languages(CFPropertyListRef value) {
  if (!value) return "<NULL>";
  std::string text;
  if (CFGetTypeID(value) != CFArrayGetTypeID()) {
    text = "<not an array>";
  } else {
    for (CFIndex i = 0; i < CFArrayGetCount(static_cast<CFArrayRef>(value)); ++i) {
      text += (i ? " " : "") + zrtest::Utf8(CFArrayGetValueAtIndex(static_cast<CFArrayRef>(value), i));
    }
  }
  CFRelease(value);
  return text;
}

TEST_F(CFPreferencesTest, LanguagesComeFromTheEnvironmentWhenNoDomainSetsThem) {
  zrtest::SetLocaleEnvironment({{"LANGUAGE", "fr_FR:de"}, {"LANG", "en_US.UTF-8"}});
  EXPECT_EQ(Languages(CFPreferencesCopyAppValue(CFSTR("AppleLanguages"), kCFPreferencesCurrentApplication)),
            "fr-FR fr de");
  EXPECT_EQ(Languages(CFPreferencesCopyAppValue(CFSTR("AppleLanguages"), kCFPreferencesAnyApplication)), "fr-FR fr de");
  EXPECT_EQ(Languages(CFPreferencesCopyAppValue(CFSTR("AppleLanguages"), CFSTR("com.example.none"))), "fr-FR fr de");
  zrtest::SetLocaleEnvironment({});
  EXPECT_EQ(Languages(CFPreferencesCopyAppValue(CFSTR("AppleLanguages"), kCFPreferencesCurrentApplication)), "en");
  // No other key has a value of the environment's.
  EXPECT_EQ(CFPreferencesCopyAppValue(CFSTR("AppleLocale"), kCFPreferencesCurrentApplication), nullptr);
  // A domain's value wins, whatever it holds, and the environment comes back when it is removed.
  WriteFile(domain(".GlobalPreferences"),
            Plist("<dict><key>AppleLanguages</key><array><string>de</string><string>en</string></array></dict>"));
  zrp::ForgetPreferencesInMemory();
  EXPECT_EQ(Languages(CFPreferencesCopyAppValue(CFSTR("AppleLanguages"), kCFPreferencesCurrentApplication)), "de en");
  CFPreferencesSetAppValue(CFSTR("AppleLanguages"), CFSTR("it"), kCFPreferencesCurrentApplication);
  EXPECT_EQ(Languages(CFPreferencesCopyAppValue(CFSTR("AppleLanguages"), kCFPreferencesCurrentApplication)),
            "<not an array>");
  CFPreferencesSetAppValue(CFSTR("AppleLanguages"), nullptr, kCFPreferencesCurrentApplication);
  CFPreferencesSetAppValue(CFSTR("AppleLanguages"), nullptr, kCFPreferencesAnyApplication);
  zrtest::SetLocaleEnvironment({{"LC_ALL", "de_AT.UTF-8"}});
  EXPECT_EQ(Languages(CFPreferencesCopyAppValue(CFSTR("AppleLanguages"), kCFPreferencesCurrentApplication)),
            "de-AT de");
  zrtest::SetLocaleEnvironment({});
}

TEST_F(CFPreferencesTest, LanguagesOfTheEnvironmentWithoutMemoryAreNull) {
  zrtest::SetLocaleEnvironment({{"LANG", "de_DE.UTF-8"}});
  auto copy = [] { return CFPreferencesCopyAppValue(CFSTR("AppleLanguages"), kCFPreferencesCurrentApplication); };
  // The domains are read first, so that only the list itself is left to fail.
  EXPECT_EQ(Languages(copy()), "de-DE de");
  auto complete = [](CFTypeRef value) { return Languages(CFRetain(value)) == "de-DE de"; };
  zrtest::ExpectAllocationFailuresHandled(100, copy, complete);
  zrtest::ExpectCxxAllocationFailuresHandled(100, copy, complete);
  zrtest::SetLocaleEnvironment({});
}

TEST_F(CFPreferencesTest, ReadsBinaryFiles) {
  // {"Mode": "dark"} in the binary form.
  const unsigned char bytes[] = {'b', 'p', 'l',  'i', 's', 't', '0', '0',  0xD1, 0x01, 0x02, 0x54, 'M', 'o',
                                 'd', 'e', 0x54, 'd', 'a', 'r', 'k', 0x08, 0x0B, 0x10, 0,    0,    0,   0,
                                 0,   0,   1,    1,   0,   0,   0,   0,    0,    0,    0,    3,    0,   0,
                                 0,   0,   0,    0,   0,   0,   0,   0,    0,    0,    0,    0,    0,   0x15};
  WriteFile(domain("com.example.binary"), std::string(reinterpret_cast<const char*>(bytes), sizeof bytes));
  EXPECT_EQ(Text(CFPreferencesCopyAppValue(CFSTR("Mode"), CFSTR("com.example.binary"))), "dark");
}

TEST_F(CFPreferencesTest, ReadsFilesAgainWhenTheyChange) {
  std::string path = domain("com.example.changing");
  WriteFile(path, Plist("<dict><key>Value</key><string>first</string></dict>"));
  EXPECT_EQ(Text(CFPreferencesCopyAppValue(CFSTR("Value"), CFSTR("com.example.changing"))), "first");
  // Same size, same inode: only the modification time tells.
  WriteFile(path, Plist("<dict><key>Value</key><string>again</string></dict>"));
  Touch(path, 10);
  // A synchronize takes up what others wrote at once (reads do so within a second).
  EXPECT_TRUE(CFPreferencesAppSynchronize(CFSTR("com.example.changing")));
  EXPECT_EQ(Text(CFPreferencesCopyAppValue(CFSTR("Value"), CFSTR("com.example.changing"))), "again");
  // Unchanged files are not read again: a rewrite that keeps size and time goes unseen.
  struct stat before;
  ASSERT_EQ(stat(path.c_str(), &before), 0);
  WriteFile(path, Plist("<dict><key>Value</key><string>third</string></dict>"));
  timespec times[2] = {before.st_atim, before.st_mtim};
  ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
  EXPECT_TRUE(CFPreferencesAppSynchronize(CFSTR("com.example.changing")));
  EXPECT_EQ(Text(CFPreferencesCopyAppValue(CFSTR("Value"), CFSTR("com.example.changing"))), "again");
  Touch(path, 20);
  EXPECT_TRUE(CFPreferencesAppSynchronize(CFSTR("com.example.changing")));
  EXPECT_EQ(Text(CFPreferencesCopyAppValue(CFSTR("Value"), CFSTR("com.example.changing"))), "third");
  fs::remove(path);
  EXPECT_TRUE(CFPreferencesAppSynchronize(CFSTR("com.example.changing")));
  EXPECT_EQ(CFPreferencesCopyAppValue(CFSTR("Value"), CFSTR("com.example.changing")), nullptr);
}

TEST_F(CFPreferencesTest, FilesWithoutADictionaryHoldNoValues) {
  WriteFile(domain(".GlobalPreferences"), Plist("<dict><key>Key</key><string>global</string></dict>"));
  for (const std::string& contents :
       {std::string("not a property list"), Plist("<array><string>Key</string></array>"), std::string()}) {
    WriteFile(domain("com.example.broken"), contents);
    Touch(domain("com.example.broken"), static_cast<long>(contents.size()) + 1);
    EXPECT_TRUE(CFPreferencesAppSynchronize(CFSTR("com.example.broken")));
    EXPECT_EQ(Text(CFPreferencesCopyAppValue(CFSTR("Key"), CFSTR("com.example.broken"))), "global");
  }
  fs::create_directory(domain("com.example.folder"));
  EXPECT_EQ(Text(CFPreferencesCopyAppValue(CFSTR("Key"), CFSTR("com.example.folder"))), "global");
}

TEST_F(CFPreferencesTest, IdentifiersNeverLeaveTheFolder) {
  WriteFile(Home().root + "/outside.plist", Plist("<dict><key>Key</key><string>outside</string></dict>"));
  EXPECT_EQ(CFPreferencesCopyAppValue(CFSTR("Key"), CFSTR("../outside")), nullptr);
  EXPECT_EQ(CFPreferencesCopyAppValue(CFSTR("Key"), CFSTR("")), nullptr);
  EXPECT_EQ(zrp::DomainPath("a/b"), "");
  EXPECT_EQ(zrp::DomainPath(".."), "");
  EXPECT_EQ(zrp::DomainPath("com.example.app"), Home().config + "/com.example.app.plist");
}

TEST_F(CFPreferencesTest, NullArgumentsGiveNull) {
  WriteFile(domain(".GlobalPreferences"), Plist("<dict><key>Key</key><string>global</string></dict>"));
  EXPECT_EQ(CFPreferencesCopyAppValue(nullptr, kCFPreferencesCurrentApplication), nullptr);
  EXPECT_EQ(CFPreferencesCopyAppValue(CFSTR("Key"), nullptr), nullptr);
}

TEST_F(CFPreferencesTest, EachCopyIsANewReference) {
  WriteFile(domain("CFPreferencesTest"), Plist("<dict><key>List</key><array><string>x</string></array></dict>"));
  CFPropertyListRef first = CFPreferencesCopyAppValue(CFSTR("List"), kCFPreferencesCurrentApplication);
  ASSERT_NE(first, nullptr);
  CFIndex count = CFGetRetainCount(first);
  CFPropertyListRef second = CFPreferencesCopyAppValue(CFSTR("List"), kCFPreferencesCurrentApplication);
  EXPECT_EQ(second, first);
  EXPECT_EQ(CFGetRetainCount(first), count + 1);
  CFRelease(second);
  CFRelease(first);
  // Nothing is kept beyond the one parsed file.
  long live = ZRTestingLiveObjectCount();
  for (int i = 0; i < 10; ++i) CFRelease(CFPreferencesCopyAppValue(CFSTR("List"), kCFPreferencesCurrentApplication));
  EXPECT_EQ(ZRTestingLiveObjectCount(), live);
}

TEST_F(CFPreferencesTest, FallsBackToTheHomeConfigFolder) {
  std::string saved = std::getenv("XDG_CONFIG_HOME");
  fs::create_directories(Home().root + "/.config");
  WriteFile(Home().root + "/.config/com.example.home.plist", Plist("<dict><key>K</key><string>home</string></dict>"));
  unsetenv("XDG_CONFIG_HOME");
  EXPECT_EQ(zrp::PreferencesDirectory(), Home().root + "/.config");
  EXPECT_EQ(Text(CFPreferencesCopyAppValue(CFSTR("K"), CFSTR("com.example.home"))), "home");
  // A relative path is no base directory.
  setenv("XDG_CONFIG_HOME", "relative/config", 1);
  EXPECT_EQ(zrp::PreferencesDirectory(), Home().root + "/.config");
  setenv("XDG_CONFIG_HOME", saved.c_str(), 1);
  fs::remove_all(Home().root + "/.config");
}

TEST_F(CFPreferencesTest, ReadsSafelyFromManyThreads) {
  std::string path = domain("com.example.threads");
  WriteFile(path, Plist("<dict><key>Value</key><string>0</string></dict>"));
  std::atomic<int> wrong{0};
  std::vector<std::thread> readers;
  for (int t = 0; t < 4; ++t) {
    readers.emplace_back([&wrong] {
      for (int i = 0; i < 300; ++i) {
        CFPropertyListRef value = CFPreferencesCopyAppValue(CFSTR("Value"), CFSTR("com.example.threads"));
        // A reader may catch the file half-written; it then finds no value, never a broken one.
        if (value && CFGetTypeID(value) != CFStringGetTypeID()) ++wrong;
        if (value) CFRelease(value);
        if (i % 10 == 0) CFPreferencesAppSynchronize(CFSTR("com.example.threads"));
      }
    });
  }
  for (int i = 1; i <= 50; ++i) {
    std::string temporary = path + ".new";
    WriteFile(temporary, Plist("<dict><key>Value</key><string>" + std::to_string(i) + "</string></dict>"));
    fs::rename(temporary, path);
  }
  for (std::thread& reader : readers) reader.join();
  EXPECT_EQ(wrong.load(), 0);
  EXPECT_TRUE(CFPreferencesAppSynchronize(CFSTR("com.example.threads")));
  EXPECT_EQ(Text(CFPreferencesCopyAppValue(CFSTR("Value"), CFSTR("com.example.threads"))), "50");
}

class ApplicationIdentifierTest : public ::testing::Test {
 protected:
  void SetUp() override {
    bundle = Home().root + "/Fixture.app";
    fs::create_directories(bundle + "/Contents/MacOS");
    fs::create_directories(bundle + "/Contents/Linux");
  }
  void TearDown() override { fs::remove_all(bundle); }
  std::string bundle;
};

TEST_F(ApplicationIdentifierTest, ComesFromTheBundlesInfoPlist) {
  WriteFile(bundle + "/Contents/Info.plist",
            Plist("<dict><key>CFBundleIdentifier</key><string>com.example.fixture</string></dict>"));
  EXPECT_EQ(zrp::ApplicationIdentifierForExecutable(bundle + "/Contents/Linux/fixture"), "com.example.fixture");
  EXPECT_EQ(zrp::ApplicationIdentifierForExecutable(bundle + "/Contents/MacOS/fixture"), "com.example.fixture");
  // Elsewhere in or beside the bundle, the executable's name.
  EXPECT_EQ(zrp::ApplicationIdentifierForExecutable(bundle + "/Contents/Resources/fixture"), "fixture");
  // An executable directly in "Contents" has that folder as its flat bundle, whose information
  // property list is the same file.
  EXPECT_EQ(zrp::ApplicationIdentifierForExecutable(bundle + "/Contents/fixture"), "com.example.fixture");
  EXPECT_EQ(zrp::ApplicationIdentifierForExecutable(Home().root + "/Other/Contents/MacOS/tool"), "tool");
  EXPECT_EQ(zrp::ApplicationIdentifierForExecutable("/usr/bin/tool"), "tool");
  EXPECT_EQ(zrp::ApplicationIdentifierForExecutable("tool"), "tool");
}

TEST_F(ApplicationIdentifierTest, FallsBackToTheExecutableName) {
  std::string executable = bundle + "/Contents/Linux/fixture";
  EXPECT_EQ(zrp::ApplicationIdentifierForExecutable(executable), "fixture");
  for (const std::string& info :
       {Plist("<dict><key>CFBundleName</key><string>Fixture</string></dict>"),
        Plist("<dict><key>CFBundleIdentifier</key><string></string></dict>"),
        Plist("<dict><key>CFBundleIdentifier</key><integer>3</integer></dict>"),
        Plist("<array><string>com.example.fixture</string></array>"), std::string("garbage")}) {
    WriteFile(bundle + "/Contents/Info.plist", info);
    EXPECT_EQ(zrp::ApplicationIdentifierForExecutable(executable), "fixture") << info;
  }
}

}  // namespace
