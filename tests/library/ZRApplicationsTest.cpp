// ZRApplicationsTest.cpp: finding a running application by signature, and the system process's
// events through a private bus with a mock logind: each reaches its method; a failed send is
// only a line in the log; failures to make the event report their status. Applications launched
// by signature from the fixture folder, once.
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "SystemBus.h"
#include "TestSupport.h"

namespace {

using zrtest::FormattedErrorLine;
using zrtest::PrivateSystemBus;
using zrtest::WithoutLines;

constexpr OSType kFixtureSignature = 0x5A526678;  // 'ZRfx'

class ApplicationsTest : public zrtest::LeakCheckedTest {
 protected:
  void TearDown() override {
    pool_.drain();
    LeakCheckedTest::TearDown();
  }

  static std::string StatusLine(const char* function, CFStringRef format, OSStatus status) {
    return FormattedErrorLine(function, format, ZRCarbonErrorString(status));
  }

  zrtest::LogCapture log_;
  NSAutoreleasePool pool_;
};

TEST_F(ApplicationsTest, UnknownSignatureIsNotRunningAndLeavesTheNumberAlone) {
  ProcessSerialNumber psn = {77, 88};
  EXPECT_FALSE(ZRApplicationWithSignatureIsRunning(0x7A7A7A7A, &psn));  // 'zzzz'
  EXPECT_EQ(psn.highLongOfPSN, 77u);
  EXPECT_EQ(psn.lowLongOfPSN, 88u);
  EXPECT_FALSE(ZRApplicationWithSignatureIsRunning(0x7A7A7A7A, nullptr));
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(ApplicationsTest, FindsARunningApplicationBySignature) {
  std::string executable = std::string(ZR_FIXTURE_APP_PATH) + "/Contents/MacOS/ZRFixtureApp";
  pid_t pid = fork();
  if (pid == 0) {
    execl(executable.c_str(), executable.c_str(), static_cast<char*>(nullptr));
    _exit(127);
  }
  ASSERT_GT(pid, 0);
  ProcessSerialNumber psn = {};
  bool found = false;
  for (int i = 0; i < 500 && !found; ++i) {
    found = ZRApplicationWithSignatureIsRunning(kFixtureSignature, &psn);
    if (!found) std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  EXPECT_TRUE(ZRApplicationWithSignatureIsRunning(kFixtureSignature, nullptr));
  kill(pid, SIGKILL);
  waitpid(pid, nullptr, 0);
  ASSERT_TRUE(found);
  EXPECT_EQ(psn.highLongOfPSN, static_cast<UInt32>(pid));
  EXPECT_FALSE(ZRApplicationWithSignatureIsRunning(kFixtureSignature, nullptr));
}

TEST_F(ApplicationsTest, EachPowerFunctionSendsItsEvent) {
  PrivateSystemBus bus;
  ASSERT_TRUE(zrtest::RequirePrivateSystemBus(bus)) << "refusing to send events without the private bus";
  EXPECT_EQ(ZRSleepComputer(true), noErr);
  EXPECT_EQ(ZRShutdownComputer(true), noErr);
  EXPECT_EQ(ZRRestartComputer(true), noErr);
  EXPECT_EQ(ZRLogoutComputer(true), noErr);
  std::vector<std::string> expected = {"Suspend False", "PowerOff False", "Reboot False", "TerminateSession \"auto\""};
  EXPECT_EQ(bus.Calls(), expected);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(ApplicationsTest, RefusedSendIsOnlyALine) {
  PrivateSystemBus bus;
  ASSERT_TRUE(zrtest::RequirePrivateSystemBus(bus)) << "refusing to send events without the private bus";
  ASSERT_TRUE(bus.MakeMethodFail("Suspend", "b", "org.freedesktop.DBus.Error.AccessDenied"));
  EXPECT_EQ(ZRSleepComputer(true), noErr);
  ASSERT_EQ(log_.lines().size(), 1u);
  EXPECT_EQ(WithoutLines(log_.lines())[0],
            StatusLine("ZRSendAppleEventToSystemProcess", CFSTR("AESend returns %@"), errAEPrivilegeError));
  log_.clear();
  EXPECT_EQ(ZRSleepComputer(false), noErr);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(ApplicationsTest, AbsentLogindIsOnlyALine) {
  PrivateSystemBus bus(false);
  ASSERT_TRUE(zrtest::RequirePrivateSystemBus(bus)) << "refusing to send events without the private bus";
  EXPECT_EQ(ZRShutdownComputer(true), noErr);
  ASSERT_EQ(log_.lines().size(), 1u);
  EXPECT_EQ(WithoutLines(log_.lines())[0],
            StatusLine("ZRSendAppleEventToSystemProcess", CFSTR("AESend returns %@"), procNotFound));
  log_.clear();
  EXPECT_EQ(ZRShutdownComputer(false), noErr);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(ApplicationsTest, UnknownEventToTheSystemIsOnlyALine) {
  PrivateSystemBus bus;
  ASSERT_TRUE(zrtest::RequirePrivateSystemBus(bus)) << "refusing to send events without the private bus";
  EXPECT_EQ(ZRSendAppleEventToSystemProcess(0x71756974, true), noErr);  // 'quit'
  ASSERT_EQ(log_.lines().size(), 1u);
  EXPECT_EQ(WithoutLines(log_.lines())[0],
            StatusLine("ZRSendAppleEventToSystemProcess", CFSTR("AESend returns %@"), errAEEventNotHandled));
  EXPECT_TRUE(bus.Calls().empty());
}

TEST_F(ApplicationsTest, FailingToMakeTheTargetOrEventReturnsItsStatus) {
  // Nothing is sent either way, so no bus is needed; the address still leads nowhere.
  setenv("DBUS_SYSTEM_BUS_ADDRESS", zrtest::AbsentBusAddress().c_str(), 1);
  ZRTestingFailAllocation(1);
  EXPECT_EQ(ZRRestartComputer(true), memFullErr);
  ASSERT_EQ(log_.lines().size(), 1u);
  EXPECT_EQ(WithoutLines(log_.lines())[0],
            StatusLine("ZRSendAppleEventToSystemProcess", CFSTR("AECreateDesc returns %@"), memFullErr));
  log_.clear();
  ZRTestingFailAllocation(2);
  EXPECT_EQ(ZRRestartComputer(true), memFullErr);
  ASSERT_EQ(log_.lines().size(), 1u);
  EXPECT_EQ(WithoutLines(log_.lines())[0],
            StatusLine("ZRSendAppleEventToSystemProcess", CFSTR("AECreateAppleEvent returns %@"), memFullErr));
  log_.clear();
  ZRTestingFailAllocation(1);
  EXPECT_EQ(ZRLogoutComputer(false), memFullErr);
  ZRTestingFailAllocation(2);
  EXPECT_EQ(ZRLogoutComputer(false), memFullErr);
  EXPECT_TRUE(log_.lines().empty());
}

// The processes that carry the signature.
int RunningCount(OSType signature) {
  int count = 0;
  ProcessSerialNumber psn = {0, kNoProcess};
  while (GetNextProcess(&psn) == noErr) {
    ProcessInfoRec info = {};
    info.processInfoLength = sizeof info;
    if (GetProcessInformation(&psn, &info) == noErr && info.processSignature == signature) ++count;
  }
  return count;
}

// A copy of the fixture application with a signature of its own, alone in its folder, so that
// tests running at the same time never see each other's processes.
constexpr OSType kLaunchedSignature = 0x5A526C61;  // 'ZRla'

class LaunchTest : public ApplicationsTest {
 protected:
  void SetUp() override {
    folder_ = zrtest::MakeTemporaryFolder("apps");
    ASSERT_FALSE(folder_.empty());
    ASSERT_TRUE(zrtest::MakeApplicationBundle(folder_, "Launched", "ZRla", "org.zrframework.launched",
                                              std::string(ZR_FIXTURE_APP_PATH) + "/Contents/MacOS/ZRFixtureApp"));
    setenv("ZR_APPLICATION_FOLDERS", folder_.c_str(), 1);
  }
  void TearDown() override {
    // Only the test that launches stops: the others run at the same time in processes of their own.
    if (launches_) {
      EXPECT_TRUE(zrtest::StopApplications(kLaunchedSignature));
    }
    unsetenv("ZR_APPLICATION_FOLDERS");
    zrtest::RemoveFolder(folder_);
    ApplicationsTest::TearDown();
  }

  std::string folder_;
  bool launches_ = false;
};

TEST_F(LaunchTest, LaunchesBySignatureAndOnlyWhenNecessary) {
  launches_ = true;
  ASSERT_EQ(RunningCount(kLaunchedSignature), 0);
  ProcessSerialNumber launched = {77, 88};
  ASSERT_EQ(ZRLaunchApplicationWithSignatureIfNecessary(kLaunchedSignature, &launched, true), noErr);
  EXPECT_EQ(RunningCount(kLaunchedSignature), 1);
  ProcessSerialNumber running = {};
  ASSERT_TRUE(ZRApplicationWithSignatureIsRunning(kLaunchedSignature, &running));
  EXPECT_EQ(launched.highLongOfPSN, running.highLongOfPSN);
  EXPECT_EQ(launched.lowLongOfPSN, running.lowLongOfPSN);

  ProcessSerialNumber again = {};
  EXPECT_EQ(ZRLaunchApplicationWithSignatureIfNecessary(kLaunchedSignature, &again, true), noErr);
  EXPECT_EQ(again.highLongOfPSN, running.highLongOfPSN);
  EXPECT_EQ(again.lowLongOfPSN, running.lowLongOfPSN);
  // Launching outright does not start a second one either: the platform's default launch.
  EXPECT_EQ(ZRLaunchApplicationWithSignature(kLaunchedSignature, nullptr, true), noErr);
  EXPECT_EQ(RunningCount(kLaunchedSignature), 1);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(LaunchTest, UnknownSignatureIsNotFound) {
  ProcessSerialNumber psn = {77, 88};
  EXPECT_EQ(ZRLaunchApplicationWithSignature(0x7A7A7A7A, &psn, true), kLSApplicationNotFoundErr);
  ASSERT_EQ(log_.lines().size(), 1u);
  EXPECT_EQ(WithoutLines(log_.lines())[0],
            StatusLine("ZRLaunchApplicationWithSignature", CFSTR("LSFindApplicationForInfo returns %@"),
                       kLSApplicationNotFoundErr));
  EXPECT_EQ(psn.highLongOfPSN, 77u);
  log_.clear();
  EXPECT_EQ(ZRLaunchApplicationWithSignatureIfNecessary(0x7A7A7A7A, &psn, false), kLSApplicationNotFoundErr);
  EXPECT_EQ(ZRLaunchApplicationWithSignature(0x7A7A7A7A, nullptr, false), kLSApplicationNotFoundErr);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(LaunchTest, ABundleThatCannotRunReportsTheLaunch) {
  ASSERT_TRUE(zrtest::MakeApplicationBundle(folder_, "Empty", "ZRem", "org.example.empty", ""));
  constexpr OSType kEmptySignature = 0x5A52656D;  // 'ZRem'
  EXPECT_EQ(ZRLaunchApplicationWithSignatureIfNecessary(kEmptySignature, nullptr, true), kLSNoExecutableErr);
  ASSERT_EQ(log_.lines().size(), 1u);
  EXPECT_EQ(WithoutLines(log_.lines())[0],
            StatusLine("ZRLaunchApplicationWithSignature", CFSTR("LSOpenApplication returns %@"), kLSNoExecutableErr));
  log_.clear();
  EXPECT_EQ(ZRLaunchApplicationWithSignature(kEmptySignature, nullptr, false), kLSNoExecutableErr);
  EXPECT_TRUE(log_.lines().empty());
}

}  // namespace
