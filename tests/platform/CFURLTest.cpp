// CFURLTest.cpp: appending path components to file URLs, and the bundle's URL, with their
// allocation failures.
#include <CoreFoundation/CoreFoundation.h>
#include <gtest/gtest.h>

#include <string>

#include "CFBundle/BundleImpl.h"
#include "TestSupport.h"

namespace {

using zrtest::Utf8;

std::string PathOf(CFURLRef url) {
  CFStringRef path = CFURLCopyFileSystemPath(url, kCFURLPOSIXPathStyle);
  std::string text = Utf8(path);
  if (path) CFRelease(path);
  return text;
}

class CFURLTest : public zrtest::LeakCheckedTest {};

TEST_F(CFURLTest, AppendsComponentsWithSlashes) {
  CFURLRef bundle = CFURLCreateWithFileSystemPath(nullptr, CFSTR("/Apps/X.app"), kCFURLPOSIXPathStyle, true);
  CFURLRef info = CFURLCreateCopyAppendingPathComponent(nullptr, bundle, CFSTR("Contents/Info.plist"), false);
  EXPECT_EQ(PathOf(info), "/Apps/X.app/Contents/Info.plist");
  EXPECT_FALSE(CFURLHasDirectoryPath(info));
  EXPECT_EQ(zrtest::Description(info), "file:///Apps/X.app/Contents/Info.plist");
  CFURLRef root = CFURLCreateWithFileSystemPath(nullptr, CFSTR("/"), kCFURLPOSIXPathStyle, true);
  CFURLRef top = CFURLCreateCopyAppendingPathComponent(nullptr, root, CFSTR("etc/"), true);
  EXPECT_EQ(PathOf(top), "/etc");
  EXPECT_TRUE(CFURLHasDirectoryPath(top));
  CFURLRef same = CFURLCreateWithFileSystemPath(nullptr, CFSTR("/etc"), kCFURLPOSIXPathStyle, true);
  EXPECT_TRUE(CFEqual(top, same));
  EXPECT_EQ(CFURLCreateCopyAppendingPathComponent(nullptr, nullptr, CFSTR("x"), false), nullptr);
  EXPECT_EQ(CFURLCreateCopyAppendingPathComponent(nullptr, root, nullptr, false), nullptr);
  for (CFURLRef url : {bundle, info, root, top, same}) CFRelease(url);
}

TEST_F(CFURLTest, AppendingToARelativeURLKeepsItRelative) {
  CFURLRef folder = CFURLCreateWithFileSystemPath(nullptr, CFSTR("sub"), kCFURLPOSIXPathStyle, true);
  CFURLRef file = CFURLCreateCopyAppendingPathComponent(nullptr, folder, CFSTR("file"), false);
  CFURLRef direct = CFURLCreateWithFileSystemPath(nullptr, CFSTR("sub/file"), kCFURLPOSIXPathStyle, false);
  EXPECT_EQ(PathOf(file), "sub/file");
  EXPECT_TRUE(CFEqual(file, direct));
  for (CFURLRef url : {folder, file, direct}) CFRelease(url);
}

TEST_F(CFURLTest, AppendingFailsCleanlyWhenMemoryRunsOut) {
  CFURLRef base = CFURLCreateWithFileSystemPath(nullptr, CFSTR("/a"), kCFURLPOSIXPathStyle, true);
  zrtest::ExpectAllocationFailuresHandled(
      10, [base] { return CFURLCreateCopyAppendingPathComponent(nullptr, base, CFSTR("b"), false); });
  CFRelease(base);
}

TEST_F(CFURLTest, TheBundleURLIsItsFolder) {
  CFBundleRef bundle = zrp::CreateBundleWithPath("/Apps/Some Tool");
  CFURLRef url = CFBundleCopyBundleURL(bundle);
  EXPECT_EQ(PathOf(url), "/Apps/Some Tool");
  EXPECT_TRUE(CFURLHasDirectoryPath(url));
  EXPECT_EQ(zrtest::Description(url), "file:///Apps/Some%20Tool/");
  CFRelease(url);
  EXPECT_EQ(CFBundleCopyBundleURL(nullptr), nullptr);
  zrtest::ExpectAllocationFailuresHandled(10, [bundle] { return CFBundleCopyBundleURL(bundle); });
  CFRelease(bundle);
}

}  // namespace
