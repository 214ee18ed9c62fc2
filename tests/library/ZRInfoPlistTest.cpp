// ZRInfoPlistTest.cpp: string values read from the test bundle's own "Contents/Info.plist", the
// argument checks, and each step's failure with and without its ERROR line.
#include <ZRPlatform/Testing.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "TestSupport.h"

namespace {

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
