// ZRDictionaryFileTest.cpp: loading a property list from a file by its POSIX path: every form,
// a root of another kind, and each failure with and without its ERROR line.
#include <ZRPlatform/Testing.h>
#include <gtest/gtest.h>

#include <string>

#include "TestSupport.h"

namespace {

using zrtest::FormattedErrorLine;
using zrtest::MakeString;
using zrtest::Utf8;
using zrtest::WithoutLines;

constexpr const char* kFunction = "ZRCreateDictionaryRefWithContentsOfPathStringRef";

class DictionaryFileTest : public zrtest::LeakCheckedTest {
 protected:
  void SetUp() override {
    LeakCheckedTest::SetUp();
    folder_ = zrtest::MakeTemporaryFolder("ZRDictionaryFileTest");
    ASSERT_FALSE(folder_.empty());
  }
  void TearDown() override {
    ZRDestroyStringRef(&path_);
    EXPECT_TRUE(zrtest::RemoveFolder(folder_));
    LeakCheckedTest::TearDown();
  }

  // The path of `name` in the test's folder, written with `bytes` unless bytes is NULL.
  CFStringRef PathOf(const std::string& name, const char* bytes) {
    std::string path = folder_ + "/" + name;
    if (bytes) {
      EXPECT_TRUE(zrtest::WriteFile(path, bytes));
    }
    ZRDestroyStringRef(&path_);
    path_ = MakeString(path);
    return path_;
  }

  // Loads the path with and without inLog: expects NULL both times, the one ERROR line with inLog
  // and none without.
  void ExpectFailure(CFStringRef path, CFStringRef format) {
    {
      zrtest::LogCapture quiet;
      EXPECT_EQ(ZRCreateDictionaryRefWithContentsOfPathStringRef(path, false), nullptr);
      EXPECT_TRUE(quiet.lines().empty());
    }
    zrtest::LogCapture log;
    EXPECT_EQ(ZRCreateDictionaryRefWithContentsOfPathStringRef(path, true), nullptr);
    std::vector<std::string> expected = {FormattedErrorLine(kFunction, format, path)};
    EXPECT_EQ(WithoutLines(log.lines()), expected);
  }

  std::string folder_;
  CFStringRef path_ = nullptr;
};

TEST_F(DictionaryFileTest, ReadsAnXMLDictionary) {
  std::string text = zrtest::XMLPropertyList("<dict><key>a</key><integer>3</integer></dict>");
  CFDictionaryRef dictionary = ZRCreateDictionaryRefWithContentsOfPathStringRef(PathOf("x.plist", text.c_str()), true);
  ASSERT_NE(dictionary, nullptr);
  ASSERT_EQ(CFGetTypeID(dictionary), CFDictionaryGetTypeID());
  EXPECT_EQ(ZRGetIntegerOfDictionaryRef(dictionary, CFSTR("a"), 0), 3);
  EXPECT_EQ(CFGetRetainCount(dictionary), 1);
  CFRelease(dictionary);
}

TEST_F(DictionaryFileTest, ReadsABinaryDictionary) {
  CFMutableDictionaryRef source = ZRCreateMutableDictionaryRef();
  ZRSetStringRefOfDictionaryRef(source, CFSTR("k"), CFSTR("v"));
  CFDataRef data = CFPropertyListCreateData(nullptr, source, kCFPropertyListBinaryFormat_v1_0, 0, nullptr);
  ASSERT_NE(data, nullptr);
  std::string bytes(reinterpret_cast<const char*>(CFDataGetBytePtr(data)), static_cast<size_t>(CFDataGetLength(data)));
  CFRelease(data);
  CFRelease(source);
  ASSERT_TRUE(zrtest::WriteFile(folder_ + "/b.plist", bytes));
  CFDictionaryRef dictionary = ZRCreateDictionaryRefWithContentsOfPathStringRef(PathOf("b.plist", nullptr), true);
  ASSERT_NE(dictionary, nullptr);
  EXPECT_EQ(Utf8(ZRGetStringRefOfDictionaryRef(dictionary, CFSTR("k"))), "v");
  CFRelease(dictionary);
}

TEST_F(DictionaryFileTest, ARootOfAnotherKindIsReturnedAsItIs) {
  CFDictionaryRef array = ZRCreateDictionaryRefWithContentsOfPathStringRef(PathOf("a.plist", "(one, two)"), true);
  ASSERT_NE(array, nullptr);
  EXPECT_EQ(CFGetTypeID(array), CFArrayGetTypeID());
  CFRelease(array);
  std::string text = zrtest::XMLPropertyList("<string>only</string>");
  CFDictionaryRef string = ZRCreateDictionaryRefWithContentsOfPathStringRef(PathOf("s.plist", text.c_str()), true);
  ASSERT_NE(string, nullptr);
  EXPECT_EQ(Utf8(string), "only");
  CFRelease(string);
}

TEST_F(DictionaryFileTest, ANullPathIsRefused) {
  zrtest::LogCapture log;
  EXPECT_EQ(ZRCreateDictionaryRefWithContentsOfPathStringRef(nullptr, false), nullptr);
  EXPECT_TRUE(log.lines().empty());
  EXPECT_EQ(ZRCreateDictionaryRefWithContentsOfPathStringRef(nullptr, true), nullptr);
  std::vector<std::string> expected = {zrtest::ErrorLine(kFunction, "inPathStringRef: 0x0")};
  EXPECT_EQ(WithoutLines(log.lines()), expected);
}

TEST_F(DictionaryFileTest, AMissingFileFailsToOpen) {
  ExpectFailure(PathOf("missing.plist", nullptr), CFSTR("CFReadStreamOpen returns false for '%@'"));
}

TEST_F(DictionaryFileTest, AFileThatIsNoPropertyListFailsToRead) {
  ExpectFailure(PathOf("bad.plist", "<plist><dict><key>k</key></plist>"),
                CFSTR("CFPropertyListCreateFromStream returns NULL for '%@'"));
  ExpectFailure(PathOf("empty.plist", ""), CFSTR("CFPropertyListCreateFromStream returns NULL for '%@'"));
}

TEST_F(DictionaryFileTest, EachFailedAllocationHasItsLine) {
  CFStringRef path = PathOf("f.plist", "{k = v;}");
  ZRTestingResetAllocationCount();
  CFURLRef url = CFURLCreateWithFileSystemPath(nullptr, path, kCFURLPOSIXPathStyle, false);
  long urlAllocations = ZRTestingAllocationCount();
  ASSERT_NE(url, nullptr);
  CFRelease(url);
  ASSERT_GT(urlAllocations, 0);

  struct Step {
    long allocation;
    CFStringRef format;
  } steps[] = {{1, CFSTR("CFURLCreateWithFileSystemPath returns NULL for '%@'")},
               {urlAllocations + 1, CFSTR("CFReadStreamCreateWithFile returns NULL for '%@'")},
               {urlAllocations + 2, CFSTR("CFPropertyListCreateFromStream returns NULL for '%@'")}};
  for (const Step& step : steps) {
    for (Boolean inLog : {false, true}) {
      zrtest::LogCapture log;
      ZRTestingFailAllocation(step.allocation);
      EXPECT_EQ(ZRCreateDictionaryRefWithContentsOfPathStringRef(path, inLog), nullptr);
      EXPECT_FALSE(ZRTestingFailurePending());
      std::vector<std::string> expected;
      if (inLog) expected.push_back(FormattedErrorLine(kFunction, step.format, path));
      EXPECT_EQ(WithoutLines(log.lines()), expected) << step.allocation;
    }
  }
  ZRTestingFailAllocation(0);
}

TEST_F(DictionaryFileTest, NothingLeaksWhenAllocationsFail) {
  CFStringRef path = PathOf("l.plist", "{k = (1, 2); j = <0102>;}");
  zrtest::ExpectAllocationFailuresHandled(
      40, [&]() -> CFTypeRef { return ZRCreateDictionaryRefWithContentsOfPathStringRef(path, false); });
  zrtest::ExpectCxxAllocationFailuresHandled(
      40, [&]() -> CFTypeRef { return ZRCreateDictionaryRefWithContentsOfPathStringRef(path, false); });
}

}  // namespace
