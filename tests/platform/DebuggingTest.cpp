// DebuggingTest.cpp: status names and comments (GetMacOSStatusErrorString, GetMacOSStatusCommentString)
// for the platform's own statuses and for POSIX error numbers at 100000 + errno.
#include <CoreServices/CoreServices.h>
#include <CoreServices/Debugging.h>
#include <CoreServices/MacErrors.h>
#include <gtest/gtest.h>
#include <string.h>

#include <cerrno>
#include <string>

namespace {

std::string Name(OSStatus status) { return GetMacOSStatusErrorString(status); }
std::string Comment(OSStatus status) { return GetMacOSStatusCommentString(status); }

TEST(Debugging, PlatformStatusesHaveTheirOwnNamesAndComments) {
  EXPECT_EQ(Name(paramErr), "paramErr");
  EXPECT_EQ(Comment(paramErr), "error in user parameter list");
  EXPECT_EQ(Name(memFullErr), "memFullErr");
  EXPECT_EQ(Comment(memFullErr), "Not enough room in heap zone");
  EXPECT_EQ(Name(fnfErr), "fnfErr");
  EXPECT_EQ(Comment(fnfErr), "File not found");
  EXPECT_EQ(Name(-1427), "errFSAttributeNotFound");
  EXPECT_EQ(Comment(errFSAttributeNotFound), "The requested attribute does not exist");
  EXPECT_EQ(Name(noErr), "noErr");
  EXPECT_EQ(Comment(noErr), "no error");
}

TEST(Debugging, EveryDeclaredStatusIsNamed) {
  const OSStatus declared[] = {paramErr,
                               memFullErr,
                               nilHandleErr,
                               memWZErr,
                               fnfErr,
                               ioErr,
                               eofErr,
                               permErr,
                               dupFNErr,
                               dirNFErr,
                               nsvErr,
                               bdNamErr,
                               wrPermErr,
                               procNotFound,
                               errFSAttributeNotFound,
                               errAEEventNotHandled,
                               errAETimeout,
                               kLSApplicationNotFoundErr};
  for (OSStatus status : declared) {
    SCOPED_TRACE(status);
    EXPECT_NE(Name(status), "");
    EXPECT_NE(Comment(status), "");
  }
}

TEST(Debugging, LibraryFixedTextsAreNotInTheTable) {
  // The library spells these three out itself.
  for (OSStatus status : {-2221, -2222, -2223}) {
    EXPECT_EQ(Name(status), "");
    EXPECT_EQ(Comment(status), "");
  }
}

TEST(Debugging, ErrnoAtBase100000) {
  EXPECT_STREQ(GetMacOSStatusErrorString(100002), "ENOENT");
  EXPECT_STREQ(GetMacOSStatusCommentString(100002), "No such file or directory");
  EXPECT_EQ(Name(100000 + EACCES), "EACCES");
  EXPECT_EQ(Comment(100000 + EACCES), "Permission denied");
  EXPECT_EQ(Name(100000 + ENODATA), "ENODATA");
}

TEST(Debugging, ErrnoZeroIsNoErrorNumber) {
  EXPECT_EQ(Name(100000), "");
  EXPECT_EQ(Comment(100000), "");
}

TEST(Debugging, UnknownStatusesGiveEmptyTexts) {
  for (OSStatus status : {-1, 1, 12345, -99999, 99999, 100000 + 4000, 100000 + 100000, INT32_MAX, INT32_MIN}) {
    SCOPED_TRACE(status);
    EXPECT_STREQ(GetMacOSStatusErrorString(status), "");
    EXPECT_STREQ(GetMacOSStatusCommentString(status), "");
  }
}

TEST(Debugging, EveryErrnoTheCLibraryNamesIsKnown) {
  int named = 0;
  for (int number = 1; number <= 133; ++number) {
    SCOPED_TRACE(number);
    const char* name = strerrorname_np(number);
    if (name == nullptr) {
      // glibc leaves a few numbers unassigned (41 and 58 on Linux): no name, no comment.
      EXPECT_EQ(Name(100000 + number), "");
      EXPECT_EQ(Comment(100000 + number), "");
      continue;
    }
    ++named;
    EXPECT_EQ(Name(100000 + number), name);
    EXPECT_NE(Name(100000 + number), "");
    EXPECT_EQ(Comment(100000 + number), strerrordesc_np(number));
    EXPECT_NE(Comment(100000 + number), "");
  }
  EXPECT_GE(named, 131);
}

}  // namespace
