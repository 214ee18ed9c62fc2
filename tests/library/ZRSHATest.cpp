// ZRSHATest.cpp: SHA-1 digests of files: known digests, block boundaries, files that cannot
// be opened or read, argument checks, ERROR lines, allocation failures and leaks.
#include <dirent.h>
#include <errno.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <string>

#include "TestSupport.h"

namespace {

using zrtest::Utf8;
using zrtest::WithoutLine;

const char kFunction[] = "ZRCopySHADataRefOfPathStringRef";

template <class... Arguments>
std::string Line(CFStringRef format, Arguments... arguments) {
  return zrtest::FormattedErrorLine(kFunction, format, arguments...);
}

std::string Hex(CFDataRef data) {
  std::string text;
  for (CFIndex i = 0; i < CFDataGetLength(data); ++i) {
    text += "0123456789abcdef"[CFDataGetBytePtr(data)[i] >> 4];
    text += "0123456789abcdef"[CFDataGetBytePtr(data)[i] & 15];
  }
  return text;
}

int OpenFileCount() {
  int count = 0;
  DIR* directory = opendir("/proc/self/fd");
  if (!directory) return -1;
  while (readdir(directory)) ++count;
  closedir(directory);
  return count;
}

class SHATest : public zrtest::LeakCheckedTest {
 protected:
  void SetUp() override {
    folder_ = zrtest::MakeTemporaryFolder("ZRSHATest");
    ASSERT_FALSE(folder_.empty());
    LeakCheckedTest::SetUp();
    openFiles_ = OpenFileCount();
  }
  void TearDown() override {
    pool_.drain();
    LeakCheckedTest::TearDown();
    EXPECT_EQ(OpenFileCount(), openFiles_);
    std::error_code ignored;
    std::filesystem::permissions(folder_, std::filesystem::perms::owner_all, ignored);
    for (const auto& entry : std::filesystem::directory_iterator(folder_, ignored)) {
      std::filesystem::permissions(entry.path(), std::filesystem::perms::owner_all, ignored);
    }
    zrtest::RemoveFolder(folder_);
  }

  std::string Write(const std::string& name, const std::string& contents) {
    std::string path = folder_ + "/" + name;
    std::ofstream(path, std::ios::binary) << contents;
    return path;
  }

  // The digest in hexadecimal, "<none>" when the slot stays empty. The status must be noErr.
  std::string Digest(const std::string& path, Boolean inLog = true) {
    CFStringRef string = zrtest::MakeString(path);
    CFDataRef digest = nullptr;
    EXPECT_EQ(ZRCopySHADataRefOfPathStringRef(string, inLog, &digest), noErr);
    CFRelease(string);
    if (!digest) return "<none>";
    EXPECT_EQ(CFDataGetLength(digest), 20);
    std::string hex = Hex(digest);
    CFRelease(digest);
    return hex;
  }

  zrtest::LogCapture log_;
  NSAutoreleasePool pool_;
  std::string folder_;
  int openFiles_ = 0;
};

TEST_F(SHATest, DigestsKnownContents) {
  EXPECT_EQ(Digest(Write("empty", "")), "da39a3ee5e6b4b0d3255bfef95601890afd80709");
  EXPECT_EQ(Digest(Write("abc", "abc")), "a9993e364706816aba3e25717850c26c9cd0d89d");
  EXPECT_EQ(Digest(Write("two blocks", "abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq")),
            "84983e441c3bd26ebaae4aa1f95129e5e54670f1");
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(SHATest, DigestsAcrossReadBlocks) {
  // Exactly one full read block, then a read that returns 0.
  EXPECT_EQ(Digest(Write("4096", std::string(4096, 'a'))), "8c51fb6a0b587ec95ca74acfa43df7539b486297");
  EXPECT_EQ(Digest(Write("4097", std::string(4097, 'a'))), "32344e25e91c0b07d5216de49628ee243813c0ed");
  EXPECT_EQ(Digest(Write("million", std::string(1000000, 'a'))), "34aa973cd4c4daa4f61eeb2bdbad27316534016f");
}

TEST_F(SHATest, TakesUtf8Paths) {
  EXPECT_EQ(Digest(Write("gr\xc3\xbc\xc3\x9f\x65 \xe2\x82\xac.txt", "abc")),
            "a9993e364706816aba3e25717850c26c9cd0d89d");
}

TEST_F(SHATest, MissingFileLeavesTheSlotEmpty) {
  std::string path = folder_ + "/missing";
  EXPECT_EQ(Digest(path), "<none>");
  ASSERT_EQ(log_.lines().size(), 1u);
  EXPECT_EQ(WithoutLine(log_.lines()[0]),
            Line(CFSTR("open returns %@ for '%s'"), ZRErrnoErrorString(ENOENT), path.c_str()));
  log_.clear();
  EXPECT_EQ(Digest(path, false), "<none>");
  EXPECT_TRUE(log_.lines().empty());
}

// Run as an unprivileged user (root reads a file of mode 000 anyway), in a child process that
// reports the status, whether a digest came back, the objects it left alive and its ERROR lines.
TEST_F(SHATest, UnreadableFileLeavesTheSlotEmpty) {
  std::string path = Write("secret", "abc");
  ASSERT_EQ(chmod(path.c_str(), 0), 0);
  ASSERT_EQ(chmod(folder_.c_str(), 0711), 0);  // the user must reach the file to be refused it
  auto attempt = [&](Boolean inLog) {
    log_.clear();
    long live = ZRTestingLiveObjectCount();
    std::string seen;
    {
      NSAutoreleasePool pool;  // the ERROR line's texts are autoreleased
      CFStringRef string = zrtest::MakeString(path);
      CFDataRef digest = nullptr;
      OSStatus status = ZRCopySHADataRefOfPathStringRef(string, inLog, &digest);
      CFRelease(string);
      seen = std::to_string(status) + (digest ? " digest" : " none");
      if (digest) CFRelease(digest);
    }
    seen += " leaked " + std::to_string(ZRTestingLiveObjectCount() - live);
    for (const std::string& line : log_.lines()) seen += "\n" + WithoutLine(line);
    return seen + "\n";
  };
  std::string seen = zrtest::RunUnprivileged([&] { return attempt(true) + attempt(false); });
  EXPECT_EQ(seen, "0 none leaked 0\n" +
                      Line(CFSTR("open returns %@ for '%s'"), ZRErrnoErrorString(EACCES), path.c_str()) +
                      "\n0 none leaked 0\n");
}

// A directory opens read-only, and its first read fails with EISDIR: a read error with no
// digest, not the digest of no bytes.
TEST_F(SHATest, ReadErrorLeavesTheSlotEmpty) {
  EXPECT_EQ(Digest(folder_), "<none>");
  ASSERT_EQ(log_.lines().size(), 1u);
  EXPECT_EQ(WithoutLine(log_.lines()[0]),
            Line(CFSTR("read returns %@ for '%s'"), ZRErrnoErrorString(EISDIR), folder_.c_str()));
  log_.clear();
  EXPECT_EQ(Digest(folder_, false), "<none>");
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(SHATest, EmptyPathLeavesTheSlotEmpty) {
  EXPECT_EQ(Digest(""), "<none>");
  ASSERT_GE(log_.lines().size(), 2u);
  EXPECT_NE(log_.lines().front().find("(ZRCopyCBufferOfStringRef,"), std::string::npos);
  EXPECT_EQ(WithoutLine(log_.lines().back()),
            Line(CFSTR("ZRCopyCBufferOfStringRef returns %i for '%@'"), static_cast<int>(unknownErr), CFSTR("")));
  log_.clear();
  EXPECT_EQ(Digest("", false), "<none>");
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(SHATest, BadArgumentsReturnNoErrAndLog) {
  CFStringRef path = zrtest::MakeString(Write("abc", "abc"));
  CFDataRef digest = nullptr;
  CFDataRef full = CFDataCreate(nullptr, reinterpret_cast<const UInt8*>("x"), 1);
  CFDataRef kept = full;
  EXPECT_EQ(ZRCopySHADataRefOfPathStringRef(nullptr, true, &digest), noErr);
  EXPECT_EQ(digest, nullptr);
  EXPECT_EQ(ZRCopySHADataRefOfPathStringRef(path, true, nullptr), noErr);
  EXPECT_EQ(ZRCopySHADataRefOfPathStringRef(path, true, &full), noErr);
  EXPECT_EQ(full, kept);
  ASSERT_EQ(log_.lines().size(), 3u);
  CFStringRef format = CFSTR("inPathStringRef: %p, outDataRef: %p");
  EXPECT_EQ(WithoutLine(log_.lines()[0]), Line(format, static_cast<const void*>(nullptr), static_cast<void*>(&digest)));
  EXPECT_EQ(WithoutLine(log_.lines()[1]), Line(format, static_cast<const void*>(path), static_cast<void*>(nullptr)));
  EXPECT_EQ(WithoutLine(log_.lines()[2]), Line(format, static_cast<const void*>(path), static_cast<void*>(&full)));
  log_.clear();
  EXPECT_EQ(ZRCopySHADataRefOfPathStringRef(nullptr, false, &digest), noErr);
  EXPECT_EQ(ZRCopySHADataRefOfPathStringRef(path, false, &full), noErr);
  EXPECT_TRUE(log_.lines().empty());
  CFRelease(full);
  CFRelease(path);
}

TEST_F(SHATest, ReportsEachAllocationThatFails) {
  std::string file = Write("abc", "abc");
  CFStringRef path = zrtest::MakeString(file);
  std::set<std::string> lines;
  for (long n = 1; n < 100; ++n) {
    long live = ZRTestingLiveObjectCount();
    {
      NSAutoreleasePool pool;
      log_.clear();
      CFDataRef digest = nullptr;
      ZRTestingFailAllocation(n);
      EXPECT_EQ(ZRCopySHADataRefOfPathStringRef(path, true, &digest), noErr);
      bool reached = !ZRTestingFailurePending();
      ZRTestingFailAllocation(0);
      if (!reached) {
        ASSERT_NE(digest, nullptr);
        EXPECT_EQ(Hex(digest), "a9993e364706816aba3e25717850c26c9cd0d89d");
        CFRelease(digest);
        break;
      }
      if (digest) {
        CFRelease(digest);
      } else {
        ASSERT_FALSE(log_.lines().empty()) << n;
        lines.insert(WithoutLine(log_.lines().back()));
      }
    }
    EXPECT_EQ(ZRTestingLiveObjectCount(), live) << n;
    EXPECT_EQ(OpenFileCount(), openFiles_) << n;
  }
  std::set<std::string> expected = {
      Line(CFSTR("ZRCopyCBufferOfStringRef returns %i for '%@'"), static_cast<int>(unknownErr), path),
      Line(CFSTR("malloc returns NULL")), Line(CFSTR("CFDataCreate returns NULL"))};
  EXPECT_EQ(lines, expected);
  // With inLog false the same failure writes nothing.
  log_.clear();
  CFDataRef digest = nullptr;
  ZRTestingFailAllocation(1);
  EXPECT_EQ(ZRCopySHADataRefOfPathStringRef(path, false, &digest), noErr);
  EXPECT_EQ(digest, nullptr);
  EXPECT_TRUE(log_.lines().empty());
  CFRelease(path);
}

}  // namespace
