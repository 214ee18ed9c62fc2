// CFURLFileSystemPathTest.cpp: file URLs from POSIX and HFS paths and back, the volume mapping,
// relative paths, file references of URLs.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "TestSupport.h"

namespace {

using zrtest::MakeString;
using zrtest::Utf8;

class CFURLFileSystemPathTest : public zrtest::LeakCheckedTest {
 protected:
  // The path of `path` in `from`, read back in `to`; "<NULL>" when no URL is made.
  std::string Convert(const std::string& path, CFURLPathStyle from, CFURLPathStyle to, bool isDirectory = false) {
    CFStringRef string = MakeString(path);
    CFURLRef url = CFURLCreateWithFileSystemPath(nullptr, string, from, isDirectory);
    CFRelease(string);
    if (!url) return "<NULL>";
    CFStringRef back = CFURLCopyFileSystemPath(url, to);
    std::string result = Utf8(back);
    if (back) CFRelease(back);
    CFRelease(url);
    return result;
  }
  std::string FromHFS(const std::string& path) { return Convert(path, kCFURLHFSPathStyle, kCFURLPOSIXPathStyle); }
  std::string ToHFS(const std::string& path) { return Convert(path, kCFURLPOSIXPathStyle, kCFURLHFSPathStyle); }
};

TEST_F(CFURLFileSystemPathTest, POSIXPathsRoundTrip) {
  EXPECT_EQ(Convert("/tmp/x.txt", kCFURLPOSIXPathStyle, kCFURLPOSIXPathStyle), "/tmp/x.txt");
  EXPECT_EQ(Convert("/tmp/folder/", kCFURLPOSIXPathStyle, kCFURLPOSIXPathStyle), "/tmp/folder");
  EXPECT_EQ(Convert("/", kCFURLPOSIXPathStyle, kCFURLPOSIXPathStyle), "/");
  EXPECT_EQ(Convert("a/b", kCFURLPOSIXPathStyle, kCFURLPOSIXPathStyle), "a/b");
  EXPECT_EQ(Convert("", kCFURLPOSIXPathStyle, kCFURLPOSIXPathStyle), "<NULL>");
  EXPECT_EQ(Convert("/x", kCFURLWindowsPathStyle, kCFURLPOSIXPathStyle), "<NULL>");
  EXPECT_EQ(CFURLCreateWithFileSystemPath(nullptr, nullptr, kCFURLPOSIXPathStyle, false), nullptr);
}

TEST_F(CFURLFileSystemPathTest, BootVolumePaths) {
  EXPECT_EQ(FromHFS("Linux:Users:anna:q.txt"), "/Users/anna/q.txt");
  EXPECT_EQ(FromHFS("Linux:"), "/");
  EXPECT_EQ(FromHFS("Linux:tmp:"), "/tmp");
  // A volume found nowhere is the boot volume: paths written on another machine lead from "/".
  EXPECT_EQ(FromHFS("Macintosh HD:Users:anna:Documents:q.txt"), "/Users/anna/Documents/q.txt");
  EXPECT_EQ(ToHFS("/Users/anna/q.txt"), "Linux:Users:anna:q.txt");
  EXPECT_EQ(ToHFS("/"), "Linux:");
  // Steps up at the end: each empty name but the last steps up, so one more colon follows them.
  EXPECT_EQ(FromHFS("Linux:-:::"), "/-/../..");
  EXPECT_EQ(ToHFS("/-/../.."), "Linux:-:::");
  EXPECT_EQ(FromHFS("Macintosh HD:a::"), "/a/..");
  EXPECT_EQ(ToHFS("/a/.."), "Linux:a::");
  EXPECT_EQ(ToHFS("/.."), "Linux::");
  EXPECT_EQ(FromHFS("Linux::"), "/..");
}

TEST_F(CFURLFileSystemPathTest, SeparatorsInsideNamesSwap) {
  EXPECT_EQ(FromHFS("Linux:tmp:Kurs 1/2"), "/tmp/Kurs 1:2");
  EXPECT_EQ(ToHFS("/tmp/Kurs 1:2"), "Linux:tmp:Kurs 1/2");
  EXPECT_EQ(FromHFS("Linux:tmp:Größe ✓"), "/tmp/Größe ✓");
}

TEST_F(CFURLFileSystemPathTest, RelativeHFSPaths) {
  EXPECT_EQ(FromHFS("q.txt"), "q.txt");
  EXPECT_EQ(FromHFS(":a:b"), "a/b");
  EXPECT_EQ(FromHFS(":a::b"), "a/../b");
  EXPECT_EQ(FromHFS(":"), ".");
  EXPECT_EQ(ToHFS("a/b"), ":a:b");
  EXPECT_EQ(ToHFS("../b"), "::b");
  // A step up at the end keeps its colon beside the folder mark, so that it reads back the same.
  EXPECT_EQ(ToHFS("a/.."), ":a::");
  EXPECT_EQ(FromHFS(":a::"), "a/..");
  EXPECT_EQ(ToHFS(".."), "::");
  EXPECT_EQ(FromHFS("::"), "..");
}

TEST_F(CFURLFileSystemPathTest, VolumesUnderMnt) {
  // Only when the machine has such a folder; the mapping is read from the folders themselves.
  char name[] = "/mnt/ZRVolume.XXXXXX";
  if (!mkdtemp(name)) GTEST_SKIP() << "cannot make a folder under /mnt";
  std::string volume = std::string(name).substr(5);
  EXPECT_EQ(FromHFS(volume + ":a:b.txt"), std::string(name) + "/a/b.txt");
  EXPECT_EQ(FromHFS(volume + ":"), std::string(name));
  EXPECT_EQ(ToHFS(std::string(name) + "/a/b.txt"), volume + ":a:b.txt");
  rmdir(name);
  // Once the volume is gone, its name leads to the boot volume.
  EXPECT_EQ(FromHFS(volume + ":a"), "/a");
}

TEST_F(CFURLFileSystemPathTest, DirectoryMarks) {
  CFURLRef url = CFURLCreateWithFileSystemPath(nullptr, CFSTR("Linux:tmp:"), kCFURLHFSPathStyle, false);
  ASSERT_NE(url, nullptr);
  EXPECT_TRUE(CFURLHasDirectoryPath(url));
  EXPECT_EQ(zrtest::Description(url), "file:///tmp/");
  CFRelease(url);
  url = CFURLCreateWithFileSystemPath(nullptr, CFSTR("/tmp/a b%"), kCFURLPOSIXPathStyle, false);
  EXPECT_FALSE(CFURLHasDirectoryPath(url));
  EXPECT_EQ(zrtest::Description(url), "file:///tmp/a%20b%25");
  UInt8 buffer[64];
  EXPECT_TRUE(CFURLGetFileSystemRepresentation(url, true, buffer, sizeof buffer));
  EXPECT_STREQ(reinterpret_cast<char*>(buffer), "/tmp/a b%");
  EXPECT_FALSE(CFURLGetFileSystemRepresentation(url, true, buffer, 4));
  CFRelease(url);
}

TEST_F(CFURLFileSystemPathTest, FileReferences) {
  std::string folder = zrtest::MakeTemporaryFolder("CFURLFileSystemPathTest");
  ASSERT_TRUE(zrtest::WriteFile(folder + "/r.txt", "x"));
  CFStringRef path = MakeString(folder + "/r.txt");
  CFURLRef url = CFURLCreateWithFileSystemPath(nullptr, path, kCFURLPOSIXPathStyle, false);
  FSRef ref;
  EXPECT_TRUE(CFURLGetFSRef(url, &ref));
  CFURLRef back = CFURLCreateFromFSRef(nullptr, &ref);
  ASSERT_NE(back, nullptr);
  EXPECT_TRUE(CFEqual(back, url));
  CFRelease(back);
  CFRelease(url);
  CFRelease(path);
  path = MakeString(folder + "/missing");
  url = CFURLCreateWithFileSystemPath(nullptr, path, kCFURLPOSIXPathStyle, false);
  EXPECT_FALSE(CFURLGetFSRef(url, &ref));
  CFRelease(url);
  CFRelease(path);
  EXPECT_TRUE(zrtest::RemoveFolder(folder));
}

TEST_F(CFURLFileSystemPathTest, AllocationFailures) {
  zrtest::ExpectAllocationFailuresHandled(10, []() -> CFTypeRef {
    return CFURLCreateWithFileSystemPath(nullptr, CFSTR("Linux:a:b"), kCFURLHFSPathStyle, false);
  });
}

}  // namespace
