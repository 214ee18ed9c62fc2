// UsersTest.cpp: the home folder and user names that the host's folders, login name and volume
// paths take from the environment and the password database.
#include <ZRPlatform/Testing.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "POSIX/Users.h"

namespace {

// The real user's entry, read here with the C library alone.
std::string PasswordHome() {
  struct passwd* entry = getpwuid(getuid());
  return entry && entry->pw_dir && entry->pw_dir[0] == '/' ? entry->pw_dir : "";
}

class UsersTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const char* home = std::getenv("HOME");
    hadHome_ = home != nullptr;
    if (home) home_ = home;
  }
  void TearDown() override {
    if (hadHome_) {
      setenv("HOME", home_.c_str(), 1);
    } else {
      unsetenv("HOME");
    }
  }
  bool hadHome_ = false;
  std::string home_;
};

TEST_F(UsersTest, HomeIsTheVariableWhenItIsAbsolute) {
  setenv("HOME", "/nonexistent/anna", 1);
  std::string home;
  ASSERT_TRUE(zrp::HomeFolder(&home));
  EXPECT_EQ(home, "/nonexistent/anna");
}

TEST_F(UsersTest, HomeIsThePasswordEntryWithoutAnAbsoluteVariable) {
  std::string expected = PasswordHome();
  for (const char* value : {"relative/home", "", static_cast<const char*>(nullptr)}) {
    if (value) {
      setenv("HOME", value, 1);
    } else {
      unsetenv("HOME");
    }
    std::string home = "unchanged";
    EXPECT_EQ(zrp::HomeFolder(&home), !expected.empty()) << (value ? value : "unset");
    EXPECT_EQ(home, expected.empty() ? "unchanged" : expected);
  }
}

TEST_F(UsersTest, NameOfAUserID) {
  struct passwd* entry = getpwuid(getuid());
  ASSERT_NE(entry, nullptr) << "the test needs an entry for its own user";
  std::string name;
  ASSERT_TRUE(zrp::UserNameOfUID(getuid(), &name));
  EXPECT_EQ(name, entry->pw_name);
  ASSERT_TRUE(zrp::UserNameOfUID(0, &name));
  EXPECT_EQ(name, "root");
}

TEST_F(UsersTest, UserIDWithoutAnEntryHasNoName) {
  uid_t unused = 4000000000u;
  while (getpwuid(unused)) ++unused;
  std::string name = "unchanged";
  EXPECT_FALSE(zrp::UserNameOfUID(unused, &name));
  EXPECT_EQ(name, "unchanged");
}

TEST_F(UsersTest, WithoutMemoryThereIsNoAnswer) {
  unsetenv("HOME");
  std::string name;
  std::string home;
  ZRTestingFailCxxAllocation(1);
  EXPECT_FALSE(zrp::UserNameOfUID(getuid(), &name));
  EXPECT_FALSE(ZRTestingCxxFailurePending());
  ZRTestingFailCxxAllocation(1);
  EXPECT_FALSE(zrp::HomeFolder(&home));
  EXPECT_FALSE(ZRTestingCxxFailurePending());
  ZRTestingFailCxxAllocation(0);
  EXPECT_TRUE(name.empty());
  EXPECT_TRUE(home.empty());
}

}  // namespace
