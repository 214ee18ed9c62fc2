// CFWriteStreamTest.cpp: write streams over files (open, write in pieces, close, the POSIX error
// of a failed open or write) and property lists written to a stream in the XML and binary forms.
#include <CoreFoundation/CoreFoundation.h>
#include <ZRPlatform/Testing.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <fstream>
#include <iterator>
#include <string>

#include "TestSupport.h"

namespace {

using zrtest::MakeString;
using zrtest::Utf8;

class CFWriteStreamTest : public zrtest::LeakCheckedTest {
 protected:
  void SetUp() override {
    LeakCheckedTest::SetUp();
    folder_ = zrtest::MakeTemporaryFolder("CFWriteStreamTest");
    ASSERT_FALSE(folder_.empty());
  }
  void TearDown() override {
    EXPECT_TRUE(zrtest::RemoveFolder(folder_));
    LeakCheckedTest::TearDown();
  }

  std::string PathOf(const std::string& name) const { return name[0] == '/' ? name : folder_ + "/" + name; }

  // A stream on the file `name` in the test's folder (or at an absolute path).
  CFWriteStreamRef StreamOn(const std::string& name) const {
    CFStringRef string = MakeString(PathOf(name));
    CFURLRef url = CFURLCreateWithFileSystemPath(nullptr, string, kCFURLPOSIXPathStyle, false);
    CFRelease(string);
    CFWriteStreamRef stream = CFWriteStreamCreateWithFile(nullptr, url);
    CFRelease(url);
    return stream;
  }

  std::string Contents(const std::string& name) const {
    std::ifstream in(PathOf(name), std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  }

  std::string folder_;
};

// The property list written by the tests: a dictionary of each kind of value.
CFPropertyListRef Sample() {
  CFDataRef xml = zrtest::MakeData(zrtest::XMLPropertyList(
      "<dict>\n<key>list</key>\n<array>\n<string>caf\xC3\xA9</string>\n<integer>-7</integer>\n<real>2.5</real>\n"
      "<true/>\n<data>AAH/</data>\n<date>2001-01-02T00:00:00Z</date>\n</array>\n<key>name</key>\n"
      "<string>zr</string>\n</dict>\n"));
  CFPropertyListRef plist = CFPropertyListCreateWithData(nullptr, xml, 0, nullptr, nullptr);
  CFRelease(xml);
  return plist;
}

// What plistlib makes of the file whose path is the script's input.
constexpr char kShowFileScript[] = R"(import plistlib, sys
with open(sys.stdin.read(), 'rb') as f:
    data = f.read()
print(data[:8] == b'bplist00', plistlib.loads(data))
)";

TEST_F(CFWriteStreamTest, WritesAFileInPieces) {
  CFWriteStreamRef stream = StreamOn("a.txt");
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(CFGetTypeID(stream), CFWriteStreamGetTypeID());
  EXPECT_NE(CFWriteStreamGetTypeID(), CFReadStreamGetTypeID());
  EXPECT_EQ(CFWriteStreamGetStatus(stream), kCFStreamStatusNotOpen);
  EXPECT_FALSE(CFWriteStreamCanAcceptBytes(stream));
  const UInt8* hello = reinterpret_cast<const UInt8*>("hello, world");
  EXPECT_EQ(CFWriteStreamWrite(stream, hello, 5), -1);
  struct stat info;
  EXPECT_NE(stat(PathOf("a.txt").c_str(), &info), 0) << "made before the stream opened";
  mode_t old = umask(022);
  ASSERT_TRUE(CFWriteStreamOpen(stream));
  umask(old);
  EXPECT_EQ(CFWriteStreamGetStatus(stream), kCFStreamStatusOpen);
  EXPECT_TRUE(CFWriteStreamCanAcceptBytes(stream));
  EXPECT_FALSE(CFWriteStreamOpen(stream));
  EXPECT_EQ(CFWriteStreamWrite(stream, hello, 7), 7);
  EXPECT_EQ(CFWriteStreamWrite(stream, hello + 7, 5), 5);
  EXPECT_EQ(CFWriteStreamWrite(stream, hello, 0), 0);
  EXPECT_EQ(CFWriteStreamGetStatus(stream), kCFStreamStatusOpen);
  CFStreamError error = CFWriteStreamGetError(stream);
  EXPECT_EQ(error.domain, 0);
  EXPECT_EQ(error.error, 0);
  EXPECT_EQ(CFWriteStreamCopyError(stream), nullptr);
  CFWriteStreamClose(stream);
  EXPECT_EQ(CFWriteStreamGetStatus(stream), kCFStreamStatusClosed);
  EXPECT_EQ(CFWriteStreamWrite(stream, hello, 5), -1);
  EXPECT_FALSE(CFWriteStreamOpen(stream));
  CFRelease(stream);
  EXPECT_EQ(Contents("a.txt"), "hello, world");
  ASSERT_EQ(stat(PathOf("a.txt").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 07777, 0644u);
}

TEST_F(CFWriteStreamTest, OpeningEmptiesAnExistingFile) {
  ASSERT_TRUE(zrtest::WriteFile(PathOf("b.txt"), "a longer text than what follows"));
  CFWriteStreamRef stream = StreamOn("b.txt");
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(Contents("b.txt"), "a longer text than what follows");
  ASSERT_TRUE(CFWriteStreamOpen(stream));
  EXPECT_EQ(CFWriteStreamWrite(stream, reinterpret_cast<const UInt8*>("short"), 5), 5);
  CFRelease(stream);  // releasing an open stream closes its file
  EXPECT_EQ(Contents("b.txt"), "short");
}

TEST_F(CFWriteStreamTest, AFileThatCannotBeMadeFailsToOpenWithItsPOSIXError) {
  CFWriteStreamRef stream = StreamOn("missing/c.txt");
  ASSERT_NE(stream, nullptr);
  EXPECT_FALSE(CFWriteStreamOpen(stream));
  EXPECT_EQ(CFWriteStreamGetStatus(stream), kCFStreamStatusError);
  CFStreamError error = CFWriteStreamGetError(stream);
  EXPECT_EQ(error.domain, kCFStreamErrorDomainPOSIX);
  EXPECT_EQ(error.error, ENOENT);
  CFErrorRef copied = CFWriteStreamCopyError(stream);
  ASSERT_NE(copied, nullptr);
  EXPECT_EQ(Utf8(CFErrorGetDomain(copied)), "NSPOSIXErrorDomain");
  EXPECT_EQ(CFErrorGetCode(copied), ENOENT);
  CFRelease(copied);
  EXPECT_EQ(CFWriteStreamWrite(stream, reinterpret_cast<const UInt8*>("x"), 1), -1);
  CFWriteStreamClose(stream);
  EXPECT_EQ(CFWriteStreamGetStatus(stream), kCFStreamStatusError);  // keeps its error
  EXPECT_FALSE(CFWriteStreamCanAcceptBytes(stream));
  CFRelease(stream);
}

TEST_F(CFWriteStreamTest, AFailedWriteKeepsItsPOSIXError) {
  // /dev/full opens, and every write to it fails with ENOSPC, as on a full disk.
  CFWriteStreamRef stream = StreamOn("/dev/full");
  ASSERT_NE(stream, nullptr);
  ASSERT_TRUE(CFWriteStreamOpen(stream));
  EXPECT_EQ(CFWriteStreamWrite(stream, reinterpret_cast<const UInt8*>("x"), 1), -1);
  EXPECT_EQ(CFWriteStreamGetStatus(stream), kCFStreamStatusError);
  CFStreamError error = CFWriteStreamGetError(stream);
  EXPECT_EQ(error.domain, kCFStreamErrorDomainPOSIX);
  EXPECT_EQ(error.error, ENOSPC);
  EXPECT_EQ(CFWriteStreamWrite(stream, reinterpret_cast<const UInt8*>("x"), 1), -1);
  CFRelease(stream);
}

TEST_F(CFWriteStreamTest, NullArguments) {
  EXPECT_EQ(CFWriteStreamCreateWithFile(nullptr, nullptr), nullptr);
  EXPECT_FALSE(CFWriteStreamOpen(nullptr));
  EXPECT_EQ(CFWriteStreamWrite(nullptr, reinterpret_cast<const UInt8*>("x"), 1), -1);
  EXPECT_EQ(CFWriteStreamGetStatus(nullptr), kCFStreamStatusError);
  EXPECT_EQ(CFWriteStreamGetError(nullptr).domain, 0);
  EXPECT_EQ(CFWriteStreamCopyError(nullptr), nullptr);
  EXPECT_FALSE(CFWriteStreamCanAcceptBytes(nullptr));
  CFWriteStreamClose(nullptr);
  CFWriteStreamRef stream = StreamOn("d.txt");
  ASSERT_TRUE(CFWriteStreamOpen(stream));
  EXPECT_EQ(CFWriteStreamWrite(stream, nullptr, 1), -1);
  EXPECT_EQ(CFWriteStreamWrite(stream, reinterpret_cast<const UInt8*>("x"), -1), -1);
  EXPECT_EQ(CFWriteStreamGetStatus(stream), kCFStreamStatusOpen);
  CFRelease(stream);
}

TEST_F(CFWriteStreamTest, StreamCreationFailsWhenItCannotAllocate) {
  CFURLRef url = CFURLCreateWithFileSystemPath(nullptr, CFSTR("/tmp/e.plist"), kCFURLPOSIXPathStyle, false);
  zrtest::ExpectAllocationFailuresHandled(4, [&]() -> CFTypeRef { return CFWriteStreamCreateWithFile(nullptr, url); });
  zrtest::ExpectCxxAllocationFailuresHandled(4,
                                             [&]() -> CFTypeRef { return CFWriteStreamCreateWithFile(nullptr, url); });
  CFRelease(url);
}

TEST_F(CFWriteStreamTest, WritesBothFormatsAsPropertyListCreateDataMakesThem) {
  CFPropertyListRef plist = Sample();
  ASSERT_NE(plist, nullptr);
  for (CFPropertyListFormat format : {kCFPropertyListXMLFormat_v1_0, kCFPropertyListBinaryFormat_v1_0}) {
    std::string name = format == kCFPropertyListXMLFormat_v1_0 ? "xml.plist" : "binary.plist";
    CFDataRef expected = CFPropertyListCreateData(nullptr, plist, format, 0, nullptr);
    ASSERT_NE(expected, nullptr);
    CFWriteStreamRef stream = StreamOn(name);
    ASSERT_TRUE(CFWriteStreamOpen(stream));
    CFErrorRef error = reinterpret_cast<CFErrorRef>(1);  // cleared on success
    EXPECT_EQ(CFPropertyListWrite(plist, stream, format, 0, &error), CFDataGetLength(expected)) << name;
    EXPECT_EQ(error, nullptr);
    // The stream is left open for more.
    EXPECT_EQ(CFWriteStreamGetStatus(stream), kCFStreamStatusOpen);
    CFWriteStreamClose(stream);
    CFRelease(stream);
    EXPECT_EQ(Contents(name), zrtest::Bytes(expected)) << name;
    CFRelease(expected);
    // Read back by this host and by Python's plistlib.
    CFDataRef bytes = zrtest::MakeData(Contents(name));
    CFPropertyListFormat read = 0;
    CFPropertyListRef back = CFPropertyListCreateWithData(nullptr, bytes, 0, &read, nullptr);
    CFRelease(bytes);
    EXPECT_EQ(read, format);
    EXPECT_TRUE(back && CFEqual(back, plist)) << name;
    if (back) CFRelease(back);
    std::string output;
    ASSERT_TRUE(zrtest::RunPython(kShowFileScript, PathOf(name), &output)) << name;
    EXPECT_EQ(output, std::string(format == kCFPropertyListBinaryFormat_v1_0 ? "True" : "False") +
                          " {'list': ['caf\xC3\xA9', -7, 2.5, True, b'\\x00\\x01\\xff', "
                          "datetime.datetime(2001, 1, 2, 0, 0)], 'name': 'zr'}\n")
        << name;
  }
  CFRelease(plist);
}

TEST_F(CFWriteStreamTest, TheOlderCallWritesToo) {
  CFWriteStreamRef stream = StreamOn("older.plist");
  ASSERT_TRUE(CFWriteStreamOpen(stream));
  CFStringRef why = reinterpret_cast<CFStringRef>(1);
  EXPECT_EQ(CFPropertyListWriteToStream(CFSTR("text"), stream, kCFPropertyListXMLFormat_v1_0, &why),
            static_cast<CFIndex>(zrtest::XMLPropertyList("<string>text</string>\n").size()));
  EXPECT_EQ(why, nullptr);
  CFRelease(stream);
  EXPECT_EQ(Contents("older.plist"), zrtest::XMLPropertyList("<string>text</string>\n"));
}

// The error's domain, code, debug description and underlying error's domain and code, as text.
std::string ErrorText(CFErrorRef error) {
  if (!error) return "<no error>";
  std::string text = Utf8(CFErrorGetDomain(error)) + " " + std::to_string(CFErrorGetCode(error));
  CFDictionaryRef info = CFErrorCopyUserInfo(error);
  if (info) {
    text += " '" + Utf8(CFDictionaryGetValue(info, CFSTR("NSDebugDescription"))) + "'";
    auto underlying =
        static_cast<CFErrorRef>(const_cast<void*>(CFDictionaryGetValue(info, kCFErrorUnderlyingErrorKey)));
    if (underlying)
      text += " from " + Utf8(CFErrorGetDomain(underlying)) + " " + std::to_string(CFErrorGetCode(underlying));
    CFRelease(info);
  }
  return text;
}

TEST_F(CFWriteStreamTest, FailuresAnswerZeroWithAnError) {
  CFPropertyListRef plist = Sample();
  CFWriteStreamRef open = StreamOn("f.plist");
  ASSERT_TRUE(CFWriteStreamOpen(open));
  CFWriteStreamRef unopened = StreamOn("g.plist");
  CFWriteStreamRef full = StreamOn("/dev/full");
  ASSERT_TRUE(CFWriteStreamOpen(full));
  // A URL is no property-list object.
  CFURLRef url = CFURLCreateWithFileSystemPath(nullptr, CFSTR("/tmp"), kCFURLPOSIXPathStyle, true);
  const void* values[] = {url};
  CFArrayRef unwritable = CFArrayCreate(nullptr, values, 1, &kCFTypeArrayCallBacks);
  CFRelease(url);
  struct Case {
    CFPropertyListRef plist;
    CFWriteStreamRef stream;
    CFPropertyListFormat format;
    std::string error;
  } cases[] = {
      {plist, open, kCFPropertyListOpenStepFormat,
       "NSCocoaErrorDomain 3852 'Property list format kCFPropertyListOpenStepFormat not supported for writing'"},
      {plist, open, 7, "NSCocoaErrorDomain 3852 'Unknown property list format 7'"},
      {unwritable, open, kCFPropertyListXMLFormat_v1_0,
       "NSCocoaErrorDomain 3852 'Property list invalid for format: 100 (property lists cannot contain objects of "
       "this type, cycles or nesting this deep)'"},
      {nullptr, open, kCFPropertyListBinaryFormat_v1_0,
       "NSCocoaErrorDomain 3852 'Property list invalid for format: 200 (property lists cannot contain objects of "
       "this type, cycles or nesting this deep)'"},
      {plist, nullptr, kCFPropertyListXMLFormat_v1_0,
       "NSCocoaErrorDomain 3851 'Cannot write a property list to a NULL stream'"},
      {plist, unopened, kCFPropertyListXMLFormat_v1_0,
       "NSCocoaErrorDomain 3851 'Property list writing could not be completed because the stream had an unknown "
       "error.'"},
      {plist, full, kCFPropertyListBinaryFormat_v1_0,
       "NSCocoaErrorDomain 3851 'Property list writing could not be completed because the stream had an unknown "
       "error.' from NSPOSIXErrorDomain 28"},
  };
  for (const Case& c : cases) {
    CFErrorRef error = nullptr;
    EXPECT_EQ(CFPropertyListWrite(c.plist, c.stream, c.format, 0, &error), 0) << c.error;
    EXPECT_EQ(ErrorText(error), c.error);
    if (error) CFRelease(error);
    EXPECT_EQ(CFPropertyListWrite(c.plist, c.stream, c.format, 0, nullptr), 0) << c.error;
    CFStringRef why = nullptr;
    EXPECT_EQ(CFPropertyListWriteToStream(c.plist, c.stream, c.format, &why), 0) << c.error;
    EXPECT_NE(why, nullptr) << c.error;
    if (why) CFRelease(why);
  }
  EXPECT_EQ(Contents("f.plist"), "");
  CFRelease(unwritable);
  CFRelease(full);
  CFRelease(unopened);
  CFRelease(open);
  CFRelease(plist);
}

TEST_F(CFWriteStreamTest, WritingFailsCleanlyWhenAllocationsFail) {
  CFPropertyListRef plist = Sample();
  CFDataRef expected = CFPropertyListCreateData(nullptr, plist, kCFPropertyListBinaryFormat_v1_0, 0, nullptr);
  for (const zrtest::AllocationSeam& seam : zrtest::AllocationSeams()) {
    SCOPED_TRACE(seam.name);
    bool complete = false;
    for (long n = 1; n <= 200 && !complete; ++n) {
      CFWriteStreamRef stream = StreamOn("h.plist");
      ASSERT_TRUE(CFWriteStreamOpen(stream));
      long live = ZRTestingLiveObjectCount();
      CFErrorRef error = nullptr;
      seam.fail(n);
      CFIndex written = CFPropertyListWrite(plist, stream, kCFPropertyListBinaryFormat_v1_0, 0, &error);
      complete = seam.pending();
      seam.fail(0);
      if (written == 0) {
        // Failed before a byte went out, with an error when one could be made.
        EXPECT_EQ(Contents("h.plist"), "") << n;
        if (error) CFRelease(error);
      } else {
        EXPECT_EQ(written, CFDataGetLength(expected)) << n;
        EXPECT_EQ(error, nullptr) << n;
        EXPECT_EQ(Contents("h.plist"), zrtest::Bytes(expected)) << n;
      }
      EXPECT_EQ(ZRTestingLiveObjectCount(), live) << n;
      CFRelease(stream);
    }
    EXPECT_TRUE(complete);
  }
  CFRelease(expected);
  CFRelease(plist);
}

}  // namespace
