// ZRInfoPlistTest.cpp: string values read from the test bundle's own "Contents/Info.plist", the
// argument checks, and each step's failure with and without its ERROR line; files that are not a
// dictionary, read by a copy of this program run from a bundle of the test's own.
#include <ZRPlatform/Testing.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "TestSupport.h"

namespace {

// Set in the environment of a copy of this program: "1" or "0", the inLog of its one call.
constexpr const char* kCopyVariable = "ZR_INFO_PLIST_COPY";

// The main bundle is the one the running program lies in, so a copy of this program in another
// bundle reads that bundle's information property list. Such a copy reads CFBundleIdentifier
// once, prints the status, the value and the ERROR lines (without line numbers), one a line, and
// ends before any test runs.
const bool kRunsAsCopy = [] {
  const char* inLog = std::getenv(kCopyVariable);
  if (!inLog) return false;
  std::string report;
  {
    NSAutoreleasePool pool;
    zrtest::LogCapture log;
    CFStringRef value = nullptr;
    OSStatus status = ZRCopyStringRefOfInfoPlistKey(CFSTR("CFBundleIdentifier"), inLog[0] == '1', &value);
    report = std::to_string(status) + " " + zrtest::Utf8(value) + "\n";
    for (const std::string& line : zrtest::WithoutLines(log.lines())) report += line + "\n";
    ZRDestroyStringRef(&value);
    pool.drain();
  }
  std::fputs(report.c_str(), stdout);
  std::fflush(stdout);
  std::exit(0);
}();

using zrtest::ErrorLine;
using zrtest::Utf8;
using zrtest::WithoutLines;

constexpr const char* kFunction = "ZRCopyStringRefOfInfoPlistKey";

class InfoPlistTest : public zrtest::LeakCheckedTest {
 protected:
  void SetUp() override {
    // The main bundle is found once and kept; find it before counting objects.
    ASSERT_NE(CFBundleGetMainBundle(), nullptr);
    LeakCheckedTest::SetUp();
  }
};

TEST_F(InfoPlistTest, CopiesTheStringUnderTheKey) {
  CFStringRef value = nullptr;
  EXPECT_EQ(ZRCopyStringRefOfInfoPlistKey(CFSTR("CFBundleIdentifier"), true, &value), noErr);
  EXPECT_EQ(Utf8(value), "org.zrframework.tests");
  ZRDestroyStringRef(&value);
  EXPECT_EQ(ZRCopyStringRefOfInfoPlistKey(CFSTR("CFBundleName"), false, &value), noErr);
  EXPECT_EQ(Utf8(value), "ZRTests");
  ZRDestroyStringRef(&value);
}

TEST_F(InfoPlistTest, ArgumentsAreChecked) {
  CFStringRef full = CFSTR("full");
  CFStringRef empty = nullptr;
  struct Case {
    CFStringRef key;
    CFStringRef* out;
  } cases[] = {{nullptr, &empty}, {CFSTR("CFBundleName"), nullptr}, {CFSTR("CFBundleName"), &full}};
  for (const Case& c : cases) {
    for (Boolean inLog : {false, true}) {
      zrtest::LogCapture log;
      EXPECT_EQ(ZRCopyStringRefOfInfoPlistKey(c.key, inLog, c.out), paramErr);
      std::vector<std::string> expected;
      if (inLog)
        expected.push_back(ErrorLine(
            kFunction, "inKeyStringRef: " + zrtest::Pointer(c.key) + ", outStringRef: " + zrtest::Pointer(c.out)));
      EXPECT_EQ(WithoutLines(log.lines()), expected);
    }
  }
  EXPECT_EQ(empty, nullptr);
  EXPECT_EQ(Utf8(full), "full");
}

TEST_F(InfoPlistTest, AMissingKeyFails) {
  for (Boolean inLog : {false, true}) {
    zrtest::LogCapture log;
    CFStringRef value = nullptr;
    EXPECT_EQ(ZRCopyStringRefOfInfoPlistKey(CFSTR("NoSuchKey"), inLog, &value), unknownErr);
    EXPECT_EQ(value, nullptr);
    std::vector<std::string> expected;
    if (inLog) expected.push_back(ErrorLine(kFunction, "ZRGetStringRefOfDictionaryRef returns NULL"));
    EXPECT_EQ(WithoutLines(log.lines()), expected);
  }
}

// Runs a copy of this program from "<folder>/Other.app", whose information property list holds
// the bytes given (none: no file), and returns what the copy printed, or why it did not run.
std::string RunInOtherBundle(const std::string& folder, const char* infoPlist, Boolean inLog) {
  static const std::string self = [] {
    char path[PATH_MAX];
    ssize_t length = readlink("/proc/self/exe", path, sizeof path - 1);
    return std::string(path, length > 0 ? static_cast<size_t>(length) : 0);
  }();
  std::string executable = folder + "/Other.app/Contents/MacOS/Other";
  if (access(executable.c_str(), X_OK) != 0 &&
      !zrtest::MakeApplicationBundle(folder, "Other", "", "org.zrframework.other", self)) {
    return "<no bundle>";
  }
  std::string infoPlistPath = folder + "/Other.app/Contents/Info.plist";
  std::remove(infoPlistPath.c_str());
  if (infoPlist && !zrtest::WriteFile(infoPlistPath, infoPlist)) return "<no Info.plist>";
  setenv(kCopyVariable, inLog ? "1" : "0", 1);
  zrtest::ToolResult result = zrtest::RunTool(executable, "", "", folder);
  unsetenv(kCopyVariable);
  if (result.status != 0 || !result.err.empty()) {
    return "<exit " + std::to_string(result.status) + ": " + result.err + ">";
  }
  return result.out;
}

TEST_F(InfoPlistTest, FilesThatAreNotADictionaryOfStringsFail) {
  ASSERT_FALSE(kRunsAsCopy);
  std::string folder = zrtest::MakeTemporaryFolder("ZRInfoPlistTest");
  ASSERT_FALSE(folder.empty());
  const std::string unknown = std::to_string(unknownErr) + " <NULL>\n";
  auto line = [](const std::string& message) { return ErrorLine(kFunction, message) + "\n"; };
  auto notADictionary = [&](CFTypeID typeID) {
    return line("CFPropertyListCreateFromStream returns false type (" + std::to_string(typeID) + ")");
  };
  struct Case {
    const char* name;
    const char* infoPlist;
    std::string status;
    std::string lines;
  };
  std::string array = zrtest::XMLPropertyList("<array>\n\t<string>org.zrframework.other</string>\n</array>\n");
  std::string string = zrtest::XMLPropertyList("<string>org.zrframework.other</string>\n");
  std::string number =
      zrtest::XMLPropertyList("<dict>\n\t<key>CFBundleIdentifier</key>\n\t<integer>7</integer>\n</dict>\n");
  std::string dictionary = zrtest::XMLPropertyList(
      "<dict>\n\t<key>CFBundleIdentifier</key>\n\t<string>org.zrframework.other</string>\n</dict>\n");
  const Case cases[] = {
      {"a dictionary", dictionary.c_str(), "0 org.zrframework.other\n", ""},
      {"an array", array.c_str(), unknown, notADictionary(CFArrayGetTypeID())},
      {"an old-style array", "(org.zrframework.other)", unknown, notADictionary(CFArrayGetTypeID())},
      {"a string", string.c_str(), unknown, notADictionary(CFStringGetTypeID())},
      {"a number under the key", number.c_str(), unknown, line("ZRGetStringRefOfDictionaryRef returns NULL")},
      {"no property list", "<plist><dict>", unknown, line("CFPropertyListCreateFromStream returns NULL")},
      {"no file", nullptr, unknown, line("CFPropertyListCreateFromStream returns NULL")},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(RunInOtherBundle(folder, c.infoPlist, true), c.status + c.lines) << c.name;
    EXPECT_EQ(RunInOtherBundle(folder, c.infoPlist, false), c.status) << c.name;
  }
  EXPECT_TRUE(zrtest::RemoveFolder(folder));
}

TEST_F(InfoPlistTest, EachFailedAllocationHasItsLine) {
  // A first call makes the constant strings it uses, once for the process.
  CFStringRef warm = nullptr;
  ASSERT_EQ(ZRCopyStringRefOfInfoPlistKey(CFSTR("CFBundleName"), false, &warm), noErr);
  ZRDestroyStringRef(&warm);
  // How many host allocations each step makes, counted by running the steps themselves.
  ZRTestingResetAllocationCount();
  CFURLRef bundleURL = CFBundleCopyBundleURL(CFBundleGetMainBundle());
  long bundleURLCount = ZRTestingAllocationCount();
  ZRTestingResetAllocationCount();
  CFURLRef fileURL = CFURLCreateCopyAppendingPathComponent(nullptr, bundleURL, CFSTR("Contents/Info.plist"), false);
  long fileURLCount = ZRTestingAllocationCount();
  ZRTestingResetAllocationCount();
  CFReadStreamRef stream = CFReadStreamCreateWithFile(nullptr, fileURL);
  long streamCount = ZRTestingAllocationCount();
  ASSERT_TRUE(CFReadStreamOpen(stream));
  ZRTestingResetAllocationCount();
  CFPropertyListRef plist =
      CFPropertyListCreateFromStream(nullptr, stream, 0, kCFPropertyListImmutable, nullptr, nullptr);
  long parseCount = ZRTestingAllocationCount();
  ASSERT_NE(plist, nullptr);
  CFRelease(plist);
  CFRelease(stream);
  CFRelease(fileURL);
  CFRelease(bundleURL);
  ASSERT_GT(bundleURLCount, 0);
  ASSERT_GT(fileURLCount, 0);
  ASSERT_GT(streamCount, 0);
  ASSERT_GT(parseCount, 0);

  struct Step {
    long allocation;
    const char* message;
  } steps[] = {{1, "CFBundleCopyBundleURL returns NULL"},
               {bundleURLCount + 1, "CFURLCreateCopyAppendingPathComponent returns NULL"},
               {bundleURLCount + fileURLCount + 1, "CFReadStreamCreateWithFile returns NULL"},
               {bundleURLCount + fileURLCount + streamCount + 1, "CFPropertyListCreateFromStream returns NULL"},
               {bundleURLCount + fileURLCount + streamCount + parseCount + 1, "CFStringCreateCopy returns NULL"}};
  for (const Step& step : steps) {
    for (Boolean inLog : {false, true}) {
      zrtest::LogCapture log;
      CFStringRef value = nullptr;
      ZRTestingFailAllocation(step.allocation);
      EXPECT_EQ(ZRCopyStringRefOfInfoPlistKey(CFSTR("CFBundleName"), inLog, &value), unknownErr) << step.message;
      EXPECT_FALSE(ZRTestingFailurePending()) << step.message;
      EXPECT_EQ(value, nullptr);
      std::vector<std::string> expected;
      if (inLog) expected.push_back(ErrorLine(kFunction, step.message));
      EXPECT_EQ(WithoutLines(log.lines()), expected);
    }
  }
  ZRTestingFailAllocation(0);
}

TEST_F(InfoPlistTest, NothingLeaksWhenAllocationsFail) {
  auto copy = []() -> CFTypeRef {
    CFStringRef value = nullptr;
    ZRCopyStringRefOfInfoPlistKey(CFSTR("CFBundleVersion"), false, &value);
    return value;
  };
  zrtest::ExpectAllocationFailuresHandled(60, copy);
  zrtest::ExpectCxxAllocationFailuresHandled(60, copy);
}

}  // namespace
