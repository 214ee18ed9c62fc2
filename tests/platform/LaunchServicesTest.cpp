// LaunchServicesTest.cpp: finding application bundles in the application folders by signature,
// identifier and name, the user's folders first, and launching them detached, once.
#include <CoreServices/CoreServices.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <string>

#include "TestSupport.h"

namespace {

constexpr OSType kFixtureSignature = 0x5A526678;  // 'ZRfx'
constexpr OSType kOtherSignature = 0x5A526F74;    // 'ZRot'

const std::string kFixtureExecutable = std::string(ZR_FIXTURE_APP_PATH) + "/Contents/MacOS/ZRFixtureApp";

std::string PathOf(const FSRef& ref) {
  UInt8 path[4096];
  if (FSRefMakePath(&ref, path, sizeof path) != noErr) return std::string();
  return reinterpret_cast<const char*>(path);
}

std::string ProcFile(pid_t pid, const char* file) {
  std::ifstream stream("/proc/" + std::to_string(pid) + "/" + file, std::ios::binary);
  std::ostringstream text;
  text << stream.rdbuf();
  return text.str();
}

class LaunchServicesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    user_ = zrtest::MakeTemporaryFolder("user-apps");
    system_ = zrtest::MakeTemporaryFolder("system-apps");
    ASSERT_FALSE(user_.empty());
    ASSERT_FALSE(system_.empty());
    setenv("ZR_APPLICATION_FOLDERS", (user_ + ":" + system_).c_str(), 1);
  }
  void TearDown() override {
    for (pid_t pid : launched_) EXPECT_TRUE(zrtest::StopProcess(pid));
    unsetenv("ZR_APPLICATION_FOLDERS");
    zrtest::RemoveFolder(user_);
    zrtest::RemoveFolder(system_);
  }

  // Launches the bundle and remembers its process for the tear-down; its process id, or -1.
  pid_t Launch(const FSRef& app, OSStatus* status, LSLaunchFlags flags = kLSLaunchDefaults, CFArrayRef argv = nullptr,
               CFDictionaryRef environment = nullptr) {
    LSApplicationParameters parameters = {0, flags, &app, nullptr, environment, argv, nullptr};
    ProcessSerialNumber psn = {0, kNoProcess};
    *status = LSOpenApplication(&parameters, &psn);
    pid_t pid = -1;
    if (*status != noErr || GetProcessPID(&psn, &pid) != noErr) return -1;
    launched_.push_back(pid);
    return pid;
  }

  std::string user_, system_;
  std::vector<pid_t> launched_;
};

TEST_F(LaunchServicesTest, FindsByCreatorTheUsersFolderFirst) {
  ASSERT_TRUE(zrtest::MakeApplicationBundle(system_, "Fixture", "ZRfx", "org.example.system", kFixtureExecutable));
  FSRef ref;
  ASSERT_EQ(LSFindApplicationForInfo(kFixtureSignature, nullptr, nullptr, &ref, nullptr), noErr);
  EXPECT_EQ(PathOf(ref), system_ + "/Fixture.app");
  ASSERT_TRUE(zrtest::MakeApplicationBundle(user_, "Mine", "ZRfx", "org.example.user", kFixtureExecutable));
  ASSERT_EQ(LSFindApplicationForInfo(kFixtureSignature, nullptr, nullptr, &ref, nullptr), noErr);
  EXPECT_EQ(PathOf(ref), user_ + "/Mine.app");
}

TEST_F(LaunchServicesTest, FindsInSubfoldersAfterTheFoldersOwnBundles) {
  ASSERT_TRUE(zrtest::MakeApplicationBundle(user_ + "/Utilities", "A", "ZRfx", "org.example.a", ""));
  ASSERT_TRUE(zrtest::MakeApplicationBundle(user_, "Z", "ZRfx", "org.example.z", ""));
  FSRef ref;
  ASSERT_EQ(LSFindApplicationForInfo(kFixtureSignature, nullptr, nullptr, &ref, nullptr), noErr);
  EXPECT_EQ(PathOf(ref), user_ + "/Z.app");
  ASSERT_EQ(LSFindApplicationForInfo(kLSUnknownCreator, CFSTR("org.example.a"), nullptr, &ref, nullptr), noErr);
  EXPECT_EQ(PathOf(ref), user_ + "/Utilities/A.app");
}

TEST_F(LaunchServicesTest, FindsByIdentifierAndNameWithoutRegardToCase) {
  ASSERT_TRUE(zrtest::MakeApplicationBundle(system_, "Other", "ZRot", "org.example.Other", ""));
  CFURLRef url = nullptr;
  ASSERT_EQ(LSFindApplicationForInfo(kLSUnknownCreator, CFSTR("ORG.example.other"), nullptr, nullptr, &url), noErr);
  ASSERT_NE(url, nullptr);
  UInt8 path[4096];
  ASSERT_TRUE(CFURLGetFileSystemRepresentation(url, true, path, sizeof path));
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(path)), system_ + "/Other.app");
  CFRelease(url);
  FSRef ref;
  EXPECT_EQ(LSFindApplicationForInfo(kLSUnknownCreator, nullptr, CFSTR("other"), &ref, nullptr), noErr);
  EXPECT_EQ(LSFindApplicationForInfo(kLSUnknownCreator, nullptr, CFSTR("Other.app"), &ref, nullptr), noErr);
  EXPECT_EQ(LSFindApplicationForInfo(kOtherSignature, CFSTR("org.example.other"), CFSTR("Other"), &ref, nullptr),
            noErr);
  // Every criterion given must hold.
  EXPECT_EQ(LSFindApplicationForInfo(kFixtureSignature, CFSTR("org.example.other"), nullptr, &ref, nullptr),
            kLSApplicationNotFoundErr);
  EXPECT_EQ(LSFindApplicationForInfo(kOtherSignature, nullptr, CFSTR("Another"), &ref, nullptr),
            kLSApplicationNotFoundErr);
}

TEST_F(LaunchServicesTest, UnknownCreatorIsNotFoundAndBadArgumentsAreRefused) {
  FSRef ref;
  EXPECT_EQ(LSFindApplicationForInfo(0x7A7A7A7A, nullptr, nullptr, &ref, nullptr), kLSApplicationNotFoundErr);
  EXPECT_EQ(LSFindApplicationForInfo(kLSUnknownCreator, nullptr, nullptr, &ref, nullptr), paramErr);
  EXPECT_EQ(LSFindApplicationForInfo(kFixtureSignature, nullptr, nullptr, nullptr, nullptr), paramErr);
  // Folders that do not exist are passed over.
  setenv("ZR_APPLICATION_FOLDERS", "/nonexistent/zr-apps::", 1);
  EXPECT_EQ(LSFindApplicationForInfo(kFixtureSignature, nullptr, nullptr, &ref, nullptr), kLSApplicationNotFoundErr);
}

TEST_F(LaunchServicesTest, TheDefaultFoldersBeginWithTheUsers) {
  unsetenv("ZR_APPLICATION_FOLDERS");
  std::string home = getenv("HOME");
  ASSERT_TRUE(zrtest::MakeApplicationBundle(home + "/Applications", "HomeApp", "ZRhm", "org.example.home", ""));
  FSRef ref;
  ASSERT_EQ(LSFindApplicationForInfo(0x5A52686D, nullptr, nullptr, &ref, nullptr), noErr);  // 'ZRhm'
  EXPECT_EQ(PathOf(ref), home + "/Applications/HomeApp.app");
  zrtest::RemoveFolder(home + "/Applications");
}

TEST_F(LaunchServicesTest, LaunchesDetachedInItsOwnSessionAndOnlyOnce) {
  ASSERT_TRUE(zrtest::MakeApplicationBundle(user_, "Fixture", "ZRfx", "org.example.fixture", kFixtureExecutable));
  FSRef ref;
  ASSERT_EQ(LSFindApplicationForInfo(kFixtureSignature, nullptr, nullptr, &ref, nullptr), noErr);
  OSStatus status;
  pid_t pid = Launch(ref, &status);
  ASSERT_EQ(status, noErr);
  ASSERT_GT(pid, 0);
  EXPECT_EQ(getsid(pid), pid);
  // Not a child of this process: its parent is whoever adopts orphans.
  std::string stat = ProcFile(pid, "stat");
  std::istringstream fields(stat.substr(stat.rfind(')') + 2));
  std::string state;
  pid_t parent = 0;
  fields >> state >> parent;
  EXPECT_NE(parent, getpid());
  ProcessInfoRec info = {};
  info.processInfoLength = sizeof info;
  ProcessSerialNumber psn;
  ASSERT_EQ(GetProcessForPID(pid, &psn), noErr);
  ASSERT_EQ(GetProcessInformation(&psn, &info), noErr);
  EXPECT_EQ(info.processSignature, kFixtureSignature);

  // Launched again: the running one is reported, nothing new starts.
  EXPECT_EQ(Launch(ref, &status), pid);
  EXPECT_EQ(status, noErr);
  launched_.pop_back();
  // A new instance is asked for.
  pid_t second = Launch(ref, &status, kLSLaunchDefaults | kLSLaunchNewInstance);
  EXPECT_EQ(status, noErr);
  EXPECT_GT(second, 0);
  EXPECT_NE(second, pid);
}

TEST_F(LaunchServicesTest, PassesArgumentsAndEnvironment) {
  ASSERT_TRUE(zrtest::MakeApplicationBundle(user_, "Fixture", "ZRfx", "org.example.fixture", kFixtureExecutable));
  FSRef ref;
  ASSERT_EQ(LSFindApplicationForInfo(kFixtureSignature, nullptr, nullptr, &ref, nullptr), noErr);
  const void* arguments[] = {CFSTR("-one"), CFSTR("two words")};
  CFArrayRef argv = CFArrayCreate(nullptr, arguments, 2, &kCFTypeArrayCallBacks);
  const void* keys[] = {CFSTR("ZR_LAUNCH_TEST")};
  const void* values[] = {CFSTR("yes")};
  CFDictionaryRef environment =
      CFDictionaryCreate(nullptr, keys, values, 1, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
  OSStatus status;
  pid_t pid = Launch(ref, &status, kLSLaunchDefaults, argv, environment);
  CFRelease(argv);
  CFRelease(environment);
  ASSERT_EQ(status, noErr);
  ASSERT_GT(pid, 0);
  std::string expected = user_ + "/Fixture.app/Contents/MacOS/Fixture";
  expected += '\0';
  expected += "-one";
  expected += '\0';
  expected += "two words";
  expected += '\0';
  EXPECT_EQ(ProcFile(pid, "cmdline"), expected);
  std::string variables = ProcFile(pid, "environ");
  EXPECT_NE(variables.find(std::string("\0ZR_LAUNCH_TEST=yes\0", 20)), std::string::npos);
  EXPECT_NE(variables.find("HOME="), std::string::npos);
}

TEST_F(LaunchServicesTest, RefusesWhatCannotBeLaunched) {
  ASSERT_TRUE(zrtest::MakeApplicationBundle(user_, "Empty", "ZRem", "org.example.empty", ""));
  ASSERT_TRUE(zrtest::WriteFile(user_ + "/Plain/file", "x"));
  ASSERT_TRUE(zrtest::WriteFile(user_ + "/Broken.app/Contents/MacOS/Broken", "not a program"));
  FSRef ref;
  OSStatus status;
  ASSERT_EQ(FSPathMakeRef(reinterpret_cast<const UInt8*>((user_ + "/Empty.app").c_str()), &ref, nullptr), noErr);
  EXPECT_EQ(Launch(ref, &status), -1);
  EXPECT_EQ(status, kLSNoExecutableErr);
  ASSERT_EQ(FSPathMakeRef(reinterpret_cast<const UInt8*>((user_ + "/Broken.app").c_str()), &ref, nullptr), noErr);
  EXPECT_EQ(Launch(ref, &status), -1);
  EXPECT_EQ(status, kLSNoExecutableErr);
  ASSERT_EQ(FSPathMakeRef(reinterpret_cast<const UInt8*>((user_ + "/Plain").c_str()), &ref, nullptr), noErr);
  EXPECT_EQ(Launch(ref, &status), -1);
  EXPECT_EQ(status, kLSNotAnApplicationErr);

  EXPECT_EQ(LSOpenApplication(nullptr, nullptr), paramErr);
  LSApplicationParameters parameters = {0, kLSLaunchDefaults, nullptr, nullptr, nullptr, nullptr, nullptr};
  EXPECT_EQ(LSOpenApplication(&parameters, nullptr), paramErr);
  parameters.application = &ref;
  parameters.version = 1;
  EXPECT_EQ(LSOpenApplication(&parameters, nullptr), paramErr);
}

}  // namespace
