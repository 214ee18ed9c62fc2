// ExtendedAttributesTest.cpp: the platform's extended-attribute calls over Linux's: options,
// the "user." namespace, ENOATTR, links, sizes and the name list.
#include <gtest/gtest.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <vector>

#include "TestSupport.h"

namespace {

class ExtendedAttributesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    folder_ = zrtest::MakeTemporaryFolder("ExtendedAttributesTest");
    ASSERT_FALSE(folder_.empty());
    std::string reason = zrtest::UserAttributesUnsupported(folder_);
    if (!reason.empty()) GTEST_SKIP() << reason;
    file_ = folder_ + "/file";
    ASSERT_TRUE(zrtest::WriteFile(file_, "contents"));
  }
  void TearDown() override { EXPECT_TRUE(zrtest::RemoveFolder(folder_)); }

  // The value as getxattr reads it; "<errno N>" on failure.
  std::string Read(const std::string& path, const char* name, int options = XATTR_NOFOLLOW) {
    ssize_t size = getxattr(path.c_str(), name, nullptr, 0, 0, options);
    if (size < 0) return "<errno " + std::to_string(errno) + ">";
    std::string value(static_cast<size_t>(size), '\0');
    ssize_t read = getxattr(path.c_str(), name, value.data(), value.size(), 0, options);
    if (read < 0) return "<errno " + std::to_string(errno) + ">";
    value.resize(static_cast<size_t>(read));
    return value;
  }

  std::vector<std::string> Names(const std::string& path, int options = XATTR_NOFOLLOW) {
    ssize_t size = listxattr(path.c_str(), nullptr, 0, options);
    EXPECT_GE(size, 0);
    std::string list(static_cast<size_t>(size), '\0');
    EXPECT_EQ(listxattr(path.c_str(), list.data(), list.size(), options), size);
    std::vector<std::string> names;
    for (size_t start = 0; start < list.size(); start += names.back().size() + 1) names.push_back(list.c_str() + start);
    return names;
  }

  std::string folder_;
  std::string file_;
};

std::string ErrnoText(int number) { return "<errno " + std::to_string(number) + ">"; }

TEST_F(ExtendedAttributesTest, SetsAndReadsBack) {
  EXPECT_EQ(setxattr(file_.c_str(), "com.example.tag", "blue", 4, 0, XATTR_NOFOLLOW), 0);
  EXPECT_EQ(Read(file_, "com.example.tag"), "blue");
  EXPECT_EQ(getxattr(file_.c_str(), "com.example.tag", nullptr, 0, 0, 0), 4);
  // Replaced by a second write of the same name.
  EXPECT_EQ(setxattr(file_.c_str(), "com.example.tag", "green", 5, 0, 0), 0);
  EXPECT_EQ(Read(file_, "com.example.tag", 0), "green");
}

TEST_F(ExtendedAttributesTest, MissingAttributeIsENOATTR) {
  EXPECT_EQ(ENOATTR, ENODATA);
  errno = 0;
  EXPECT_EQ(getxattr(file_.c_str(), "missing", nullptr, 0, 0, XATTR_NOFOLLOW), -1);
  EXPECT_EQ(errno, ENOATTR);
  errno = 0;
  EXPECT_EQ(removexattr(file_.c_str(), "missing", 0), -1);
  EXPECT_EQ(errno, ENOATTR);
}

TEST_F(ExtendedAttributesTest, NamesWithoutNamespaceLiveInUser) {
  ASSERT_EQ(setxattr(file_.c_str(), "plain", "1", 1, 0, XATTR_NOFOLLOW), 0);
  // The same attribute by its Linux name, which passes unchanged.
  EXPECT_EQ(Read(file_, "user.plain"), "1");
  ASSERT_EQ(setxattr(file_.c_str(), "user.other", "2", 1, 0, XATTR_NOFOLLOW), 0);
  EXPECT_EQ(Read(file_, "other"), "2");
  // Attributes copied from the platform by a file server arrive as user.<name>.
  ASSERT_EQ(setxattr(file_.c_str(), "user.com.apple.metadata:kMDItemWhereFroms", "x", 1, 0, 0), 0);
  EXPECT_EQ(Read(file_, "com.apple.metadata:kMDItemWhereFroms"), "x");
}

TEST_F(ExtendedAttributesTest, CreateAndReplaceOptions) {
  EXPECT_EQ(setxattr(file_.c_str(), "a", "1", 1, 0, XATTR_REPLACE), -1);
  EXPECT_EQ(errno, ENOATTR);
  EXPECT_EQ(setxattr(file_.c_str(), "a", "1", 1, 0, XATTR_CREATE), 0);
  EXPECT_EQ(setxattr(file_.c_str(), "a", "2", 1, 0, XATTR_CREATE), -1);
  EXPECT_EQ(errno, EEXIST);
  EXPECT_EQ(setxattr(file_.c_str(), "a", "3", 1, 0, XATTR_REPLACE | XATTR_NOFOLLOW), 0);
  EXPECT_EQ(Read(file_, "a"), "3");
  EXPECT_EQ(setxattr(file_.c_str(), "a", "4", 1, 0, XATTR_CREATE | XATTR_REPLACE), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(Read(file_, "a"), "3");
}

TEST_F(ExtendedAttributesTest, RefusesPositionsAndUnknownOptions) {
  ASSERT_EQ(setxattr(file_.c_str(), "a", "1", 1, 0, 0), 0);
  char buffer[8];
  EXPECT_EQ(getxattr(file_.c_str(), "a", buffer, sizeof buffer, 1, 0), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(getxattr(file_.c_str(), "a", buffer, sizeof buffer, 0, 0x0100), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(setxattr(file_.c_str(), "b", "1", 1, 4, 0), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(setxattr(file_.c_str(), "b", "1", 1, 0, 0x0100), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(removexattr(file_.c_str(), "a", 0x0100), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(listxattr(file_.c_str(), nullptr, 0, 0x0100), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(Read(file_, "b"), ErrnoText(ENOATTR));
}

TEST_F(ExtendedAttributesTest, ShortBufferIsERANGE) {
  ASSERT_EQ(setxattr(file_.c_str(), "a", "12345", 5, 0, 0), 0);
  char buffer[4];
  EXPECT_EQ(getxattr(file_.c_str(), "a", buffer, sizeof buffer, 0, 0), -1);
  EXPECT_EQ(errno, ERANGE);
  char list[1];
  EXPECT_EQ(listxattr(file_.c_str(), list, sizeof list, 0), -1);
  EXPECT_EQ(errno, ERANGE);
}

TEST_F(ExtendedAttributesTest, ListsNamesWithoutTheUserPrefix) {
  EXPECT_TRUE(Names(file_).empty());
  ASSERT_EQ(setxattr(file_.c_str(), "first", "1", 1, 0, 0), 0);
  ASSERT_EQ(setxattr(file_.c_str(), "user.second", "2", 1, 0, 0), 0);
  ASSERT_EQ(setxattr(file_.c_str(), "größe", "3", 1, 0, 0), 0);
  std::vector<std::string> names = Names(file_);
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::string>{"first", "größe", "second"}));
  // Each listed name reads back as given.
  for (const std::string& name : names) EXPECT_EQ(Read(file_, name.c_str()).size(), 1u) << name;
  EXPECT_EQ(removexattr(file_.c_str(), "first", XATTR_NOFOLLOW), 0);
  EXPECT_EQ(Names(file_).size(), 2u);
}

TEST_F(ExtendedAttributesTest, NoFollowActsOnTheLinkItself) {
  std::string link = folder_ + "/link";
  ASSERT_EQ(symlink(file_.c_str(), link.c_str()), 0);
  // Linux keeps no user attributes on symbolic links: the link refuses, the target is untouched.
  EXPECT_EQ(setxattr(link.c_str(), "a", "1", 1, 0, XATTR_NOFOLLOW), -1);
  EXPECT_EQ(errno, EPERM);
  EXPECT_EQ(Read(file_, "a"), ErrnoText(ENOATTR));
  // Without the option the call follows the link to the file.
  EXPECT_EQ(setxattr(link.c_str(), "a", "2", 1, 0, 0), 0);
  EXPECT_EQ(Read(file_, "a"), "2");
  EXPECT_EQ(Read(link, "a", 0), "2");
  EXPECT_EQ(Read(link, "a"), ErrnoText(ENOATTR));
  EXPECT_TRUE(Names(link).empty());
}

TEST_F(ExtendedAttributesTest, FoldersTakeAttributes) {
  ASSERT_EQ(setxattr(folder_.c_str(), "folder", "yes", 3, 0, XATTR_NOFOLLOW), 0);
  EXPECT_EQ(Read(folder_, "folder"), "yes");
}

TEST_F(ExtendedAttributesTest, MissingFileIsENOENT) {
  std::string missing = folder_ + "/missing";
  EXPECT_EQ(Read(missing, "a"), ErrnoText(ENOENT));
  EXPECT_EQ(setxattr(missing.c_str(), "a", "1", 1, 0, 0), -1);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(listxattr(missing.c_str(), nullptr, 0, 0), -1);
  EXPECT_EQ(errno, ENOENT);
}

TEST_F(ExtendedAttributesTest, ValuesUpToTheFileSystemLimit) {
  size_t limit = zrtest::LargestAttributeValue(file_, "big");
  ASSERT_GT(limit, 0u);
  std::string value(limit, 'x');
  EXPECT_EQ(setxattr(file_.c_str(), "big", value.data(), value.size(), 0, 0), 0);
  EXPECT_TRUE(Read(file_, "big") == value);
  std::string larger(limit + 1, 'y');
  EXPECT_EQ(setxattr(file_.c_str(), "big", larger.data(), larger.size(), 0, 0), -1);
  EXPECT_TRUE(errno == E2BIG || errno == ENOSPC) << errno;
  // The refused write left the old value whole.
  EXPECT_TRUE(Read(file_, "big") == value);
}

TEST_F(ExtendedAttributesTest, EmptyValue) {
  ASSERT_EQ(setxattr(file_.c_str(), "empty", "", 0, 0, 0), 0);
  EXPECT_EQ(getxattr(file_.c_str(), "empty", nullptr, 0, 0, 0), 0);
  EXPECT_EQ(Read(file_, "empty"), "");
}

}  // namespace
