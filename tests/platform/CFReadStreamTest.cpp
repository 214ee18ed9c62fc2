// CFReadStreamTest.cpp: read streams over files (open, read in pieces, end, close, the POSIX
// error of a failed open) and property lists read from a stream.
#include <CoreFoundation/CoreFoundation.h>
#include <ZRPlatform/Testing.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "TestSupport.h"

namespace {

using zrtest::MakeString;
using zrtest::Utf8;

class CFReadStreamTest : public zrtest::LeakCheckedTest {
 protected:
  void SetUp() override {
    LeakCheckedTest::SetUp();
    folder_ = zrtest::MakeTemporaryFolder("CFReadStreamTest");
    ASSERT_FALSE(folder_.empty());
  }
  void TearDown() override {
    EXPECT_TRUE(zrtest::RemoveFolder(folder_));
    LeakCheckedTest::TearDown();
  }

  // A stream on the file `name` in the test's folder, written with `bytes` unless bytes is NULL.
  CFReadStreamRef StreamOn(const std::string& name, const char* bytes) {
    std::string path = folder_ + "/" + name;
    if (bytes) {
      EXPECT_TRUE(zrtest::WriteFile(path, bytes));
    }
    CFStringRef string = MakeString(path);
    CFURLRef url = CFURLCreateWithFileSystemPath(nullptr, string, kCFURLPOSIXPathStyle, false);
    CFRelease(string);
    CFReadStreamRef stream = CFReadStreamCreateWithFile(nullptr, url);
    CFRelease(url);
    return stream;
  }

  std::string folder_;
};

TEST_F(CFReadStreamTest, ReadsAFileInPiecesUntilItsEnd) {
  CFReadStreamRef stream = StreamOn("a.txt", "hello, world");
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(CFGetTypeID(stream), CFReadStreamGetTypeID());
  EXPECT_EQ(CFReadStreamGetStatus(stream), kCFStreamStatusNotOpen);
  UInt8 buffer[8];
  EXPECT_EQ(CFReadStreamRead(stream, buffer, sizeof buffer), -1);
  ASSERT_TRUE(CFReadStreamOpen(stream));
  EXPECT_EQ(CFReadStreamGetStatus(stream), kCFStreamStatusOpen);
  EXPECT_FALSE(CFReadStreamOpen(stream));
  EXPECT_EQ(CFReadStreamRead(stream, buffer, 8), 8);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(buffer), 8), "hello, w");
  EXPECT_EQ(CFReadStreamRead(stream, buffer, 8), 4);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(buffer), 4), "orld");
  EXPECT_EQ(CFReadStreamRead(stream, buffer, 8), 0);
  EXPECT_EQ(CFReadStreamGetStatus(stream), kCFStreamStatusAtEnd);
  EXPECT_EQ(CFReadStreamRead(stream, buffer, 8), 0);
  CFStreamError error = CFReadStreamGetError(stream);
  EXPECT_EQ(error.domain, 0);
  EXPECT_EQ(error.error, 0);
  CFReadStreamClose(stream);
  EXPECT_EQ(CFReadStreamGetStatus(stream), kCFStreamStatusClosed);
  EXPECT_EQ(CFReadStreamRead(stream, buffer, 8), -1);
  CFRelease(stream);
}

TEST_F(CFReadStreamTest, AMissingFileFailsToOpenWithItsPOSIXError) {
  CFReadStreamRef stream = StreamOn("missing.txt", nullptr);
  ASSERT_NE(stream, nullptr);
  EXPECT_FALSE(CFReadStreamOpen(stream));
  EXPECT_EQ(CFReadStreamGetStatus(stream), kCFStreamStatusError);
  CFStreamError error = CFReadStreamGetError(stream);
  EXPECT_EQ(error.domain, kCFStreamErrorDomainPOSIX);
  EXPECT_EQ(error.error, ENOENT);
  UInt8 buffer[4];
  EXPECT_EQ(CFReadStreamRead(stream, buffer, 4), -1);
  CFReadStreamClose(stream);
  EXPECT_EQ(CFReadStreamGetStatus(stream), kCFStreamStatusError);
  CFRelease(stream);
}

TEST_F(CFReadStreamTest, AFolderOpensButCannotBeRead) {
  CFReadStreamRef stream = StreamOn("", nullptr);
  ASSERT_NE(stream, nullptr);
  ASSERT_TRUE(CFReadStreamOpen(stream));
  UInt8 buffer[4];
  EXPECT_EQ(CFReadStreamRead(stream, buffer, 4), -1);
  EXPECT_EQ(CFReadStreamGetStatus(stream), kCFStreamStatusError);
  EXPECT_EQ(CFReadStreamGetError(stream).error, EISDIR);
  CFRelease(stream);
}

TEST_F(CFReadStreamTest, NullArguments) {
  EXPECT_EQ(CFReadStreamCreateWithFile(nullptr, nullptr), nullptr);
  EXPECT_FALSE(CFReadStreamOpen(nullptr));
  EXPECT_EQ(CFReadStreamRead(nullptr, nullptr, 0), -1);
  CFStringRef error = nullptr;
  EXPECT_EQ(CFPropertyListCreateFromStream(nullptr, nullptr, 0, kCFPropertyListImmutable, nullptr, &error), nullptr);
  ASSERT_NE(error, nullptr);
  CFRelease(error);
}

TEST_F(CFReadStreamTest, StreamCreationFailsWhenItCannotAllocate) {
  std::string path = folder_ + "/x";
  CFStringRef string = MakeString(path);
  CFURLRef url = CFURLCreateWithFileSystemPath(nullptr, string, kCFURLPOSIXPathStyle, false);
  CFRelease(string);
  zrtest::ExpectAllocationFailuresHandled(4, [&]() -> CFTypeRef { return CFReadStreamCreateWithFile(nullptr, url); });
  CFRelease(url);
}

TEST_F(CFReadStreamTest, ReadsAnXMLPropertyListToTheEnd) {
  std::string text = zrtest::XMLPropertyList("<dict><key>name</key><string>value</string></dict>");
  CFReadStreamRef stream = StreamOn("p.plist", text.c_str());
  ASSERT_TRUE(CFReadStreamOpen(stream));
  CFPropertyListFormat format = kCFPropertyListBinaryFormat_v1_0;
  CFStringRef error = CFSTR("untouched");
  CFPropertyListRef plist =
      CFPropertyListCreateFromStream(nullptr, stream, 0, kCFPropertyListImmutable, &format, &error);
  ASSERT_NE(plist, nullptr);
  EXPECT_EQ(error, nullptr);
  EXPECT_EQ(format, kCFPropertyListXMLFormat_v1_0);
  ASSERT_EQ(CFGetTypeID(plist), CFDictionaryGetTypeID());
  EXPECT_EQ(Utf8(CFDictionaryGetValue(static_cast<CFDictionaryRef>(plist), CFSTR("name"))), "value");
  EXPECT_EQ(CFReadStreamGetStatus(stream), kCFStreamStatusAtEnd);
  CFRelease(plist);
  CFReadStreamClose(stream);
  CFRelease(stream);
}

TEST_F(CFReadStreamTest, ReadsOnlyTheLengthAskedFor) {
  CFReadStreamRef stream = StreamOn("s.plist", "(a, b)trailing");
  ASSERT_TRUE(CFReadStreamOpen(stream));
  CFPropertyListFormat format = 0;
  CFPropertyListRef plist =
      CFPropertyListCreateFromStream(nullptr, stream, 6, kCFPropertyListImmutable, &format, nullptr);
  ASSERT_NE(plist, nullptr);
  EXPECT_EQ(format, kCFPropertyListOpenStepFormat);
  ASSERT_EQ(CFGetTypeID(plist), CFArrayGetTypeID());
  EXPECT_EQ(CFArrayGetCount(static_cast<CFArrayRef>(plist)), 2);
  CFRelease(plist);
  UInt8 rest[16];
  EXPECT_EQ(CFReadStreamRead(stream, rest, sizeof rest), 8);
  CFRelease(stream);
}

TEST_F(CFReadStreamTest, RefusesAStreamThatIsNotOpenOrNotAPropertyList) {
  CFReadStreamRef closed = StreamOn("c.plist", "(a)");
  CFErrorRef error = nullptr;
  EXPECT_EQ(CFPropertyListCreateWithStream(nullptr, closed, 0, kCFPropertyListImmutable, nullptr, &error), nullptr);
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(CFErrorGetCode(error), kCFPropertyListReadStreamError);
  CFRelease(error);
  CFRelease(closed);

  CFReadStreamRef garbage = StreamOn("g.plist", "<plist><dict><key>k</key></plist>");
  ASSERT_TRUE(CFReadStreamOpen(garbage));
  CFStringRef why = nullptr;
  EXPECT_EQ(CFPropertyListCreateFromStream(nullptr, garbage, 0, kCFPropertyListImmutable, nullptr, &why), nullptr);
  ASSERT_NE(why, nullptr);
  EXPECT_FALSE(Utf8(why).empty());
  CFRelease(why);
  CFReadStreamClose(garbage);
  CFRelease(garbage);

  CFReadStreamRef empty = StreamOn("e.plist", "");
  ASSERT_TRUE(CFReadStreamOpen(empty));
  error = nullptr;
  EXPECT_EQ(CFPropertyListCreateWithStream(nullptr, empty, 0, kCFPropertyListImmutable, nullptr, &error), nullptr);
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(CFErrorGetCode(error), kCFPropertyListReadCorruptError);
  CFRelease(error);
  CFRelease(empty);
}

TEST_F(CFReadStreamTest, ReadingFromAStreamFailsCleanlyWhenAllocationsFail) {
  std::string text = zrtest::XMLPropertyList("<array><string>one</string><integer>2</integer></array>");
  ASSERT_TRUE(zrtest::WriteFile(folder_ + "/f.plist", text));
  CFStringRef path = MakeString(folder_ + "/f.plist");
  CFURLRef url = CFURLCreateWithFileSystemPath(nullptr, path, kCFURLPOSIXPathStyle, false);
  CFRelease(path);
  auto read = [&]() -> CFTypeRef {
    CFReadStreamRef stream = CFReadStreamCreateWithFile(nullptr, url);
    if (!stream) return nullptr;
    CFPropertyListRef plist = nullptr;
    if (CFReadStreamOpen(stream))
      plist = CFPropertyListCreateFromStream(nullptr, stream, 0, kCFPropertyListImmutable, nullptr, nullptr);
    CFRelease(stream);
    return plist;
  };
  zrtest::ExpectAllocationFailuresHandled(50, read);
  zrtest::ExpectCxxAllocationFailuresHandled(50, read);
  CFRelease(url);
}

}  // namespace
