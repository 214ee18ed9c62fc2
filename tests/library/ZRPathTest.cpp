// ZRPathTest.cpp: path forms: last components, tilde paths both ways with a login name of the
// test's choosing, HFS paths, names of file references; ERROR lines and allocation failures.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "TestSupport.h"

namespace {

using zrtest::FormattedErrorLine;
using zrtest::MakeString;
using zrtest::Utf8;
using zrtest::WithoutLines;

class PathTest : public zrtest::LeakCheckedTest {
 protected:
  void SetUp() override {
    LeakCheckedTest::SetUp();
    ZRTestingSetLoginName("anna");
  }
  void TearDown() override {
    ZRTestingResetLoginName();
    pool_.drain();
    LeakCheckedTest::TearDown();
  }
  std::vector<std::string> Lines() { return WithoutLines(log_.lines()); }

  std::string Tilded(const char* path) {
    CFStringRef result = nullptr;
    EXPECT_EQ(ZRCopyTildedPathStringRefOfPathBuffer(path, &result, true), noErr);
    std::string text = Utf8(result);
    if (result) CFRelease(result);
    return text;
  }
  std::string Expanded(const std::string& path) {
    CFStringRef string = MakeString(path);
    CFStringRef result = nullptr;
    EXPECT_EQ(ZRCopyPathStringRefOfTildedPathStringRef(string, &result, true), noErr);
    std::string text = Utf8(result);
    if (result) CFRelease(result);
    CFRelease(string);
    return text;
  }

  // Runs the call with its 1st, 2nd, ... allocation failing, once logging and once not, until a
  // call no longer reaches its failure: the quiet call writes nothing and ends as the logging one
  // does. Returns how many of the logging calls wrote lines.
  int ExpectQuietFailuresLikeLoudOnes(const std::function<OSStatus(CFStringRef*, Boolean)>& call) {
    int logged = 0;
    for (long n = 1; n < 40; ++n) {
      NSAutoreleasePool pool;
      log_.clear();
      CFStringRef loud = nullptr;
      ZRTestingFailAllocation(n);
      OSStatus loudStatus = call(&loud, true);
      bool reached = !ZRTestingFailurePending();
      ZRTestingFailAllocation(0);
      if (!log_.lines().empty()) ++logged;
      log_.clear();
      CFStringRef quiet = nullptr;
      ZRTestingFailAllocation(n);
      OSStatus quietStatus = call(&quiet, false);
      ZRTestingFailAllocation(0);
      EXPECT_EQ(quietStatus, loudStatus) << "allocation " << n;
      EXPECT_EQ(quiet == nullptr, loud == nullptr) << "allocation " << n;
      EXPECT_TRUE(log_.lines().empty()) << "allocation " << n << ": " << log_.lines().front();
      if (loud) CFRelease(loud);
      if (quiet) CFRelease(quiet);
      if (!reached) break;
    }
    log_.clear();
    return logged;
  }

  zrtest::LogCapture log_;
  NSAutoreleasePool pool_;
};

TEST_F(PathTest, LastComponents) {
  EXPECT_TRUE(ZRPathBufferHasLastPathComponentBuffer("/a/b", "b", true));
  EXPECT_FALSE(ZRPathBufferHasLastPathComponentBuffer("b", "b", true));
  EXPECT_TRUE(ZRPathBufferHasLastPathComponentBuffer("/b", "b", true));
  EXPECT_FALSE(ZRPathBufferHasLastPathComponentBuffer("xb", "b", true));
  EXPECT_TRUE(ZRPathBufferHasLastPathComponentBuffer("/a/b.txt", "b.txt", true));
  EXPECT_FALSE(ZRPathBufferHasLastPathComponentBuffer("a/b.txt", "a/b.txt", true));
  EXPECT_TRUE(ZRPathBufferHasLastPathComponentBuffer("/x/", "", true));
  EXPECT_FALSE(ZRPathBufferHasLastPathComponentBuffer("/a/cb", "b", true));
  EXPECT_TRUE(log_.lines().empty());
  EXPECT_FALSE(ZRPathBufferHasLastPathComponentBuffer(nullptr, "b", false));
  EXPECT_FALSE(ZRPathBufferHasLastPathComponentBuffer("/a", nullptr, false));
  EXPECT_TRUE(log_.lines().empty());
  const char* path = "/a";
  const char* component = "b";
  EXPECT_FALSE(ZRPathBufferHasLastPathComponentBuffer(nullptr, component, true));
  EXPECT_FALSE(ZRPathBufferHasLastPathComponentBuffer(path, nullptr, true));
  CFStringRef format = CFSTR("inPathBuffer: %p, inLastPathComponentBuffer: %p");
  EXPECT_EQ(Lines(), (std::vector<std::string>{FormattedErrorLine("ZRPathBufferHasLastPathComponentBuffer", format,
                                                                  static_cast<const void*>(nullptr), component),
                                               FormattedErrorLine("ZRPathBufferHasLastPathComponentBuffer", format,
                                                                  path, static_cast<const void*>(nullptr))}));
}

TEST_F(PathTest, TildePaths) {
  EXPECT_EQ(Tilded("/Users/anna"), "~");
  EXPECT_EQ(Tilded("/Users/anna/x"), "~/x");
  EXPECT_EQ(Tilded("/Users/annabel/x"), "~bel/x");
  EXPECT_EQ(Tilded("/Users/ann"), "/Users/ann");
  EXPECT_EQ(Tilded("/tmp"), "/tmp");
  EXPECT_EQ(Tilded(""), "");
  EXPECT_EQ(Tilded("/Users/anna/Börse/Kurse.plist"), "~/Börse/Kurse.plist");
  // The bare home folder is the constant "~".
  CFStringRef result = nullptr;
  ASSERT_EQ(ZRCopyTildedPathStringRefOfPathBuffer("/Users/anna", &result, true), noErr);
  EXPECT_EQ(result, CFSTR("~"));
  // The home folder is "/Users/" and the login name, never the system's own.
  std::string home = std::string(getenv("HOME")) + "/x";
  EXPECT_EQ(Tilded(home.c_str()), home);
  // Without a login name nothing matches.
  ZRTestingSetLoginName(nullptr);
  EXPECT_EQ(Tilded("/Users/anna/x"), "/Users/anna/x");
  EXPECT_EQ(Tilded("/Users/"), "/Users/");
  EXPECT_TRUE(log_.lines().empty());
}

// The home path and the tilde path are made in a scratch buffer of 1024 bytes.
TEST_F(PathTest, TildePathsInTheScratchBuffer) {
  // A tilde path is cut to 1023 bytes.
  std::string rest(2000, 'x');
  EXPECT_EQ(Tilded(("/Users/anna/" + rest).c_str()), "~/" + rest.substr(0, 1021));
  // A cut through a character leaves no UTF-8 text: the path comes back as it is.
  std::string split = "/Users/anna/" + std::string(1020, 'x') + "ö";
  EXPECT_EQ(Tilded(split.c_str()), split);
  // A home path that does not fit is cut short too, and then matches no path; the formatting
  // itself, which counts what it would have written, does not fail.
  std::string login(1100, 'n');
  ZRTestingSetLoginName(login.c_str());
  std::string home = "/Users/" + login;
  EXPECT_EQ(Tilded(home.c_str()), home);
  EXPECT_EQ(Tilded((home + "/x").c_str()), home + "/x");
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(PathTest, TildePathsOfStrings) {
  CFStringRef result = nullptr;
  EXPECT_EQ(ZRCopyTildedPathStringRefOfPathStringRef(CFSTR("/Users/anna/y"), &result, true), noErr);
  EXPECT_EQ(Utf8(result), "~/y");
  ZRDestroyStringRef(&result);
  NSString* autoreleased = ZRTildedPathStringOfPathString(zrtest::AutoreleasedString("/Users/anna/z"));
  EXPECT_EQ(Utf8(autoreleased), "~/z");
  EXPECT_TRUE(log_.lines().empty());
  // An empty string has no C form.
  EXPECT_EQ(ZRCopyTildedPathStringRefOfPathStringRef(CFSTR(""), &result, false), unknownErr);
  EXPECT_TRUE(log_.lines().empty());
  EXPECT_EQ(ZRCopyTildedPathStringRefOfPathStringRef(CFSTR(""), &result, true), unknownErr);
  EXPECT_EQ(result, nullptr);
  std::vector<std::string> lines = Lines();
  ASSERT_GE(lines.size(), 2u);
  EXPECT_EQ(lines.back(), FormattedErrorLine("ZRCopyTildedPathStringRefOfPathStringRef",
                                             CFSTR("ZRCopyCBufferOfStringRef returns %@ for '%@'"),
                                             ZRCarbonErrorString(unknownErr), CFSTR("")));
  log_.clear();
  EXPECT_EQ(ZRTildedPathStringOfPathString(zrtest::AutoreleasedString("")), nullptr);
  EXPECT_FALSE(log_.lines().empty());  // always logged
  log_.clear();
  CFStringRef full = CFSTR("full");
  EXPECT_EQ(ZRCopyTildedPathStringRefOfPathStringRef(nullptr, &result, true), paramErr);
  EXPECT_EQ(ZRCopyTildedPathStringRefOfPathStringRef(CFSTR("/a"), &full, true), paramErr);
  EXPECT_EQ(ZRCopyTildedPathStringRefOfPathStringRef(CFSTR("/a"), nullptr, false), paramErr);
  CFStringRef format = CFSTR("inPathStringRef: %p, outTildedPathStringRef: %p");
  EXPECT_EQ(
      Lines(),
      (std::vector<std::string>{
          FormattedErrorLine("ZRCopyTildedPathStringRefOfPathStringRef", format, static_cast<void*>(nullptr), &result),
          FormattedErrorLine("ZRCopyTildedPathStringRefOfPathStringRef", format, CFSTR("/a"), &full)}));
  log_.clear();
  EXPECT_EQ(ZRCopyTildedPathStringRefOfPathBuffer(nullptr, &result, true), paramErr);
  EXPECT_EQ(ZRCopyTildedPathStringRefOfPathBuffer("/a", &full, true), paramErr);
  EXPECT_EQ(ZRCopyTildedPathStringRefOfPathBuffer("/a", nullptr, false), paramErr);
  format = CFSTR("inPathBuffer: %p, outTildedPathStringRef: %p");
  EXPECT_EQ(
      Lines(),
      (std::vector<std::string>{
          FormattedErrorLine("ZRCopyTildedPathStringRefOfPathBuffer", format, static_cast<void*>(nullptr), &result),
          FormattedErrorLine("ZRCopyTildedPathStringRefOfPathBuffer", format, "/a", &full)}));
}

TEST_F(PathTest, TildePathsUnderAllocationFailures) {
  log_.clear();
  zrtest::ExpectAllocationFailuresHandled(10, [&]() -> CFTypeRef {
    CFStringRef out = nullptr;
    OSStatus status = ZRCopyTildedPathStringRefOfPathBuffer("/tmp/x", &out, true);
    EXPECT_EQ(status == noErr, out != nullptr);
    return out;
  });
  EXPECT_EQ(Lines().back(), FormattedErrorLine("ZRCopyTildedPathStringRefOfPathBuffer",
                                               CFSTR("CFStringCreateWithCString returns NULL")));
  // A tilde path that cannot be made falls back to the path itself.
  CFStringRef out = nullptr;
  ZRTestingFailAllocation(1);
  EXPECT_EQ(ZRCopyTildedPathStringRefOfPathBuffer("/Users/anna/x", &out, true), noErr);
  ZRTestingFailAllocation(0);
  EXPECT_EQ(Utf8(out), "/Users/anna/x");
  ZRDestroyStringRef(&out);
  log_.clear();
  zrtest::ExpectAllocationFailuresHandled(10, [&]() -> CFTypeRef {
    NSAutoreleasePool pool;
    CFStringRef result = nullptr;
    OSStatus status = ZRCopyTildedPathStringRefOfPathStringRef(CFSTR("/tmp/x"), &result, true);
    EXPECT_EQ(status == noErr, result != nullptr);
    return result;
  });
  std::vector<std::string> lines = Lines();
  EXPECT_NE(std::find(lines.begin(), lines.end(),
                      FormattedErrorLine("ZRCopyTildedPathStringRefOfPathStringRef",
                                         CFSTR("ZRCopyTildedPathStringRefOfPathBuffer returns %@"),
                                         ZRCarbonErrorString(unknownErr))),
            lines.end());
}

TEST_F(PathTest, ExpandsTildePaths) {
  EXPECT_EQ(Expanded("~/x"), "/Users/anna/x");
  EXPECT_EQ(Expanded("~/Börse/a b"), "/Users/anna/Börse/a b");
  for (const char* same : {"~", "~/", "/tmp/x", "~anna/x", "x"}) {
    CFStringRef string = MakeString(same);
    CFStringRef result = nullptr;
    EXPECT_EQ(ZRCopyPathStringRefOfTildedPathStringRef(string, &result, true), noErr);
    EXPECT_EQ(result, string) << same;  // the same object, retained
    CFRelease(result);
    CFRelease(string);
  }
  EXPECT_TRUE(log_.lines().empty());
  // No login name: nothing to expand with.
  ZRTestingSetLoginName(nullptr);
  CFStringRef result = nullptr;
  EXPECT_EQ(ZRCopyPathStringRefOfTildedPathStringRef(CFSTR("~/x"), &result, false), unknownErr);
  EXPECT_TRUE(log_.lines().empty());
  EXPECT_EQ(ZRCopyPathStringRefOfTildedPathStringRef(CFSTR("~/x"), &result, true), unknownErr);
  EXPECT_EQ(result, nullptr);
  EXPECT_EQ(Lines(), std::vector<std::string>{FormattedErrorLine("ZRCopyPathStringRefOfTildedPathStringRef",
                                                                 CFSTR("*outStringRef is NULL"))});
  log_.clear();
  CFStringRef full = CFSTR("full");
  EXPECT_EQ(ZRCopyPathStringRefOfTildedPathStringRef(nullptr, &result, true), paramErr);
  EXPECT_EQ(ZRCopyPathStringRefOfTildedPathStringRef(CFSTR("~/x"), &full, true), paramErr);
  EXPECT_EQ(ZRCopyPathStringRefOfTildedPathStringRef(CFSTR("~/x"), nullptr, false), paramErr);
  CFStringRef format = CFSTR("inTildedPathStringRef: %p, outStringRef: %p");
  EXPECT_EQ(
      Lines(),
      (std::vector<std::string>{
          FormattedErrorLine("ZRCopyPathStringRefOfTildedPathStringRef", format, static_cast<void*>(nullptr), &result),
          FormattedErrorLine("ZRCopyPathStringRefOfTildedPathStringRef", format, CFSTR("~/x"), &full)}));
  ZRTestingSetLoginName("anna");
  log_.clear();
  zrtest::ExpectAllocationFailuresHandled(10, [&]() -> CFTypeRef {
    CFStringRef out = nullptr;
    OSStatus status = ZRCopyPathStringRefOfTildedPathStringRef(CFSTR("~/x"), &out, true);
    EXPECT_EQ(status == noErr, out != nullptr);
    return out;
  });
  for (const std::string& line : Lines()) {
    EXPECT_EQ(line, FormattedErrorLine("ZRCopyPathStringRefOfTildedPathStringRef", CFSTR("*outStringRef is NULL")));
  }
}

TEST_F(PathTest, HFSPaths) {
  CFStringRef result = nullptr;
  EXPECT_EQ(ZRCopyPathStringRefOfHFSPathStringRef(CFSTR("Linux:Users:anna:q.txt"), &result, true), noErr);
  EXPECT_EQ(Utf8(result), "/Users/anna/q.txt");
  ZRDestroyStringRef(&result);
  EXPECT_EQ(ZRCopyPathStringRefOfHFSPathStringRef(CFSTR("Macintosh HD:Users:anna:Kurs 1/2"), &result, true), noErr);
  EXPECT_EQ(Utf8(result), "/Users/anna/Kurs 1:2");
  ZRDestroyStringRef(&result);
  // An empty path makes no URL.
  EXPECT_EQ(ZRCopyPathStringRefOfHFSPathStringRef(CFSTR(""), &result, false), unknownErr);
  EXPECT_TRUE(log_.lines().empty());
  EXPECT_EQ(ZRCopyPathStringRefOfHFSPathStringRef(CFSTR(""), &result, true), unknownErr);
  EXPECT_EQ(result, nullptr);
  EXPECT_EQ(Lines(), std::vector<std::string>{FormattedErrorLine("ZRCopyPathStringRefOfHFSPathStringRef",
                                                                 CFSTR("CFURLCreateWithFileSystemPath returns NULL"))});
  log_.clear();
  CFStringRef full = CFSTR("full");
  EXPECT_EQ(ZRCopyPathStringRefOfHFSPathStringRef(nullptr, &result, true), paramErr);
  EXPECT_EQ(ZRCopyPathStringRefOfHFSPathStringRef(CFSTR("a:b"), &full, true), paramErr);
  EXPECT_EQ(ZRCopyPathStringRefOfHFSPathStringRef(CFSTR("a:b"), nullptr, false), paramErr);
  CFStringRef format = CFSTR("inHFSPathStringRef: %p, outPathStringRef: %p");
  EXPECT_EQ(
      Lines(),
      (std::vector<std::string>{
          FormattedErrorLine("ZRCopyPathStringRefOfHFSPathStringRef", format, static_cast<void*>(nullptr), &result),
          FormattedErrorLine("ZRCopyPathStringRefOfHFSPathStringRef", format, CFSTR("a:b"), &full)}));
  log_.clear();
  zrtest::ExpectAllocationFailuresHandled(10, [&]() -> CFTypeRef {
    CFStringRef out = nullptr;
    OSStatus status = ZRCopyPathStringRefOfHFSPathStringRef(CFSTR("Linux:a:b"), &out, true);
    EXPECT_EQ(status == noErr, out != nullptr);
    return out;
  });
  std::vector<std::string> all = Lines();
  std::set<std::string> lines(all.begin(), all.end());
  EXPECT_TRUE(lines.count(FormattedErrorLine("ZRCopyPathStringRefOfHFSPathStringRef",
                                             CFSTR("CFURLCreateWithFileSystemPath returns NULL"))));
  EXPECT_TRUE(lines.count(
      FormattedErrorLine("ZRCopyPathStringRefOfHFSPathStringRef", CFSTR("CFURLCopyFileSystemPath returns NULL"))));
}

TEST_F(PathTest, NamesOfFileReferences) {
  std::string folder = zrtest::MakeTemporaryFolder("ZRPathTest");
  ASSERT_TRUE(zrtest::WriteFile(folder + "/Kurse März.plist", "x"));
  FSRef ref;
  ASSERT_EQ(FSPathMakeRef(reinterpret_cast<const UInt8*>((folder + "/Kurse März.plist").c_str()), &ref, nullptr),
            noErr);
  CFStringRef name = CFSTR("overwritten");
  EXPECT_EQ(ZRCopyNameStringRefOfFSRef(&ref, &name, true), noErr);
  EXPECT_EQ(Utf8(name), "Kurse März.plist");
  CFRelease(name);
  EXPECT_EQ(Utf8(ZRNameStringOfFSRef(&ref)), "Kurse März.plist");
  EXPECT_TRUE(log_.lines().empty());
  log_.clear();
  zrtest::ExpectAllocationFailuresHandled(5, [&]() -> CFTypeRef {
    NSAutoreleasePool pool;
    CFStringRef out = nullptr;
    OSStatus status = ZRCopyNameStringRefOfFSRef(&ref, &out, true);
    EXPECT_EQ(status == noErr, out != nullptr);
    return out;
  });
  EXPECT_EQ(Lines().front(),
            FormattedErrorLine("ZRCopyNameStringRefOfFSRef", CFSTR("CFStringCreateWithCharacters returns NULL")));
  // The item is gone: the platform's status passes through.
  ASSERT_TRUE(zrtest::RemoveFolder(folder));
  log_.clear();
  name = nullptr;
  EXPECT_EQ(ZRCopyNameStringRefOfFSRef(&ref, &name, false), fnfErr);
  EXPECT_TRUE(log_.lines().empty());
  EXPECT_EQ(ZRCopyNameStringRefOfFSRef(&ref, &name, true), fnfErr);
  EXPECT_EQ(name, nullptr);
  EXPECT_EQ(Lines(),
            std::vector<std::string>{FormattedErrorLine(
                "ZRCopyNameStringRefOfFSRef", CFSTR("FSGetCatalogInfo returns %@"), ZRCarbonErrorString(fnfErr))});
  log_.clear();
  EXPECT_EQ(ZRNameStringOfFSRef(&ref), nullptr);
  EXPECT_EQ(Lines().size(), 1u);
  log_.clear();
  EXPECT_EQ(ZRCopyNameStringRefOfFSRef(nullptr, &name, true), paramErr);
  EXPECT_EQ(ZRCopyNameStringRefOfFSRef(&ref, nullptr, true), paramErr);
  EXPECT_EQ(ZRCopyNameStringRefOfFSRef(nullptr, nullptr, false), paramErr);
  CFStringRef format = CFSTR("inFSRef: %p, outStringRef: %p");
  EXPECT_EQ(Lines(), (std::vector<std::string>{
                         FormattedErrorLine("ZRCopyNameStringRefOfFSRef", format, static_cast<void*>(nullptr), &name),
                         FormattedErrorLine("ZRCopyNameStringRefOfFSRef", format, &ref, static_cast<void*>(nullptr))}));
}

TEST_F(PathTest, FailuresWithoutInLogWriteNothing) {
  // Each function's allocation failures, which the tests above read the lines of.
  EXPECT_GT(ExpectQuietFailuresLikeLoudOnes([](CFStringRef* out, Boolean log) {
              return ZRCopyTildedPathStringRefOfPathBuffer("/tmp/x", out, log);
            }),
            0);
  EXPECT_GT(ExpectQuietFailuresLikeLoudOnes([](CFStringRef* out, Boolean log) {
              return ZRCopyTildedPathStringRefOfPathStringRef(CFSTR("/tmp/x"), out, log);
            }),
            0);
  EXPECT_GT(ExpectQuietFailuresLikeLoudOnes([](CFStringRef* out, Boolean log) {
              return ZRCopyPathStringRefOfTildedPathStringRef(CFSTR("~/x"), out, log);
            }),
            0);
  EXPECT_GT(ExpectQuietFailuresLikeLoudOnes([](CFStringRef* out, Boolean log) {
              return ZRCopyPathStringRefOfHFSPathStringRef(CFSTR("Linux:a:b"), out, log);
            }),
            0);
  std::string folder = zrtest::MakeTemporaryFolder("ZRPathTest");
  ASSERT_TRUE(zrtest::WriteFile(folder + "/q.txt", "x"));
  FSRef ref;
  ASSERT_EQ(FSPathMakeRef(reinterpret_cast<const UInt8*>((folder + "/q.txt").c_str()), &ref, nullptr), noErr);
  EXPECT_GT(ExpectQuietFailuresLikeLoudOnes(
                [&ref](CFStringRef* out, Boolean log) { return ZRCopyNameStringRefOfFSRef(&ref, out, log); }),
            0);
  ASSERT_TRUE(zrtest::RemoveFolder(folder));
  // Bad arguments, each one alone.
  CFStringRef full = CFSTR("full");
  CFStringRef out = nullptr;
  EXPECT_FALSE(ZRPathBufferHasLastPathComponentBuffer(nullptr, nullptr, false));
  EXPECT_EQ(ZRCopyTildedPathStringRefOfPathBuffer(nullptr, &out, false), paramErr);
  EXPECT_EQ(ZRCopyTildedPathStringRefOfPathBuffer("/a", &full, false), paramErr);
  EXPECT_EQ(ZRCopyTildedPathStringRefOfPathStringRef(nullptr, &out, false), paramErr);
  EXPECT_EQ(ZRCopyTildedPathStringRefOfPathStringRef(CFSTR("/a"), &full, false), paramErr);
  EXPECT_EQ(ZRCopyPathStringRefOfTildedPathStringRef(nullptr, &out, false), paramErr);
  EXPECT_EQ(ZRCopyPathStringRefOfTildedPathStringRef(CFSTR("~/x"), &full, false), paramErr);
  EXPECT_EQ(ZRCopyPathStringRefOfHFSPathStringRef(nullptr, &out, false), paramErr);
  EXPECT_EQ(ZRCopyPathStringRefOfHFSPathStringRef(CFSTR("a:b"), &full, false), paramErr);
  EXPECT_EQ(ZRCopyNameStringRefOfFSRef(nullptr, &out, false), paramErr);
  EXPECT_EQ(out, nullptr);
  EXPECT_TRUE(log_.lines().empty());
}

}  // namespace
