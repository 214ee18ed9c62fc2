// ProcessManagerTest.cpp: the Process Manager over /proc: iteration, serial numbers that survive
// nothing but their own process, the information record, and a fixture application's signature.
#include <ApplicationServices/ApplicationServices.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <string>
#include <thread>

#include "TestSupport.h"

namespace {

constexpr OSType kFixtureSignature = 0x5A526678;  // 'ZRfx'

// Starts the fixture application and waits until it runs its own executable.
pid_t StartFixture() {
  std::string executable = std::string(ZR_FIXTURE_APP_PATH) + "/Contents/MacOS/ZRFixtureApp";
  pid_t pid = fork();
  if (pid == 0) {
    execl(executable.c_str(), executable.c_str(), static_cast<char*>(nullptr));
    _exit(127);
  }
  std::string exe = "/proc/" + std::to_string(pid) + "/exe";
  for (int i = 0; i < 500; ++i) {
    char target[4096] = {};
    if (readlink(exe.c_str(), target, sizeof target - 1) > 0 && executable == target) break;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return pid;
}

void StopFixture(pid_t pid) {
  kill(pid, SIGKILL);
  waitpid(pid, nullptr, 0);
}

ProcessInfoRec EmptyRecord() {
  ProcessInfoRec info;
  std::memset(&info, 0, sizeof info);
  info.processInfoLength = sizeof info;
  return info;
}

TEST(ProcessManagerTest, SpecialNumbers) {
  EXPECT_EQ(kNoProcess, 0);
  EXPECT_EQ(kSystemProcess, 1);
  EXPECT_EQ(kCurrentProcess, 2);
}

TEST(ProcessManagerTest, IteratesInIdOrderAndEndsWithProcNotFound) {
  ProcessSerialNumber psn = {0, kNoProcess};
  UInt32 previous = 0;
  int count = 0;
  bool sawSelf = false;
  OSErr status;
  while ((status = GetNextProcess(&psn)) == noErr) {
    EXPECT_GT(psn.highLongOfPSN, previous);
    previous = psn.highLongOfPSN;
    sawSelf |= psn.highLongOfPSN == static_cast<UInt32>(getpid());
    ++count;
  }
  EXPECT_EQ(status, procNotFound);
  EXPECT_EQ(psn.highLongOfPSN, 0u);
  EXPECT_EQ(psn.lowLongOfPSN, static_cast<UInt32>(kNoProcess));
  EXPECT_TRUE(sawSelf);
  EXPECT_GE(count, 1);
}

TEST(ProcessManagerTest, RefusesNullAndOtherSpecialNumbers) {
  EXPECT_EQ(GetNextProcess(nullptr), paramErr);
  ProcessSerialNumber current = {0, kCurrentProcess};
  EXPECT_EQ(GetNextProcess(&current), paramErr);
  ProcessInfoRec info = EmptyRecord();
  EXPECT_EQ(GetProcessInformation(nullptr, &info), paramErr);
  EXPECT_EQ(GetProcessInformation(&current, nullptr), paramErr);
  info.processInfoLength = 8;
  EXPECT_EQ(GetProcessInformation(&current, &info), paramErr);
}

TEST(ProcessManagerTest, CurrentProcessIsThisOne) {
  ProcessSerialNumber self = {};
  ASSERT_EQ(GetCurrentProcess(&self), noErr);
  EXPECT_EQ(self.highLongOfPSN, static_cast<UInt32>(getpid()));
  pid_t pid = 0;
  ASSERT_EQ(GetProcessPID(&self, &pid), noErr);
  EXPECT_EQ(pid, getpid());
  ProcessSerialNumber viaPid = {};
  ASSERT_EQ(GetProcessForPID(getpid(), &viaPid), noErr);
  EXPECT_EQ(viaPid.lowLongOfPSN, self.lowLongOfPSN);
  ProcessSerialNumber current = {0, kCurrentProcess};
  Boolean same = false;
  ASSERT_EQ(SameProcess(&self, &current, &same), noErr);
  EXPECT_TRUE(same);

  unsigned char name[32] = {};
  ProcessInfoRec info = EmptyRecord();
  info.processName = name;
  ASSERT_EQ(GetProcessInformation(&current, &info), noErr);
  EXPECT_EQ(info.processNumber.highLongOfPSN, self.highLongOfPSN);
  EXPECT_EQ(info.processNumber.lowLongOfPSN, self.lowLongOfPSN);
  EXPECT_GT(name[0], 0);
  EXPECT_EQ(info.processAppRef, nullptr);
  ProcessSerialNumber parent = {};
  ASSERT_EQ(GetProcessForPID(getppid(), &parent), noErr);
  EXPECT_EQ(info.processLauncher.highLongOfPSN, parent.highLongOfPSN);
}

TEST(ProcessManagerTest, FixtureApplicationCarriesItsBundlesSignature) {
  pid_t pid = StartFixture();
  ASSERT_GT(pid, 0);
  ProcessSerialNumber psn = {};
  ASSERT_EQ(GetProcessForPID(pid, &psn), noErr);
  unsigned char name[32] = {};
  ProcessInfoRec info = EmptyRecord();
  info.processName = name;
  OSErr status = GetProcessInformation(&psn, &info);
  StopFixture(pid);
  ASSERT_EQ(status, noErr);
  EXPECT_EQ(info.processSignature, kFixtureSignature);
  EXPECT_EQ(info.processType, static_cast<UInt32>(kProcessTypeApplication));
  EXPECT_EQ(std::string(reinterpret_cast<char*>(name + 1), name[0]), "ZRFixture");
  ProcessSerialNumber self = {};
  ASSERT_EQ(GetCurrentProcess(&self), noErr);
  EXPECT_EQ(info.processLauncher.highLongOfPSN, self.highLongOfPSN);
}

TEST(ProcessManagerTest, SerialNumberDiesWithItsProcess) {
  pid_t pid = StartFixture();
  ASSERT_GT(pid, 0);
  ProcessSerialNumber psn = {};
  ASSERT_EQ(GetProcessForPID(pid, &psn), noErr);
  StopFixture(pid);
  ProcessInfoRec info = EmptyRecord();
  EXPECT_EQ(GetProcessInformation(&psn, &info), procNotFound);
  pid_t gone = 0;
  EXPECT_EQ(GetProcessPID(&psn, &gone), procNotFound);
  // The same id with another start time is not the process.
  ProcessSerialNumber self = {};
  ASSERT_EQ(GetCurrentProcess(&self), noErr);
  self.lowLongOfPSN += 1;
  EXPECT_EQ(GetProcessInformation(&self, &info), procNotFound);
}

TEST(ProcessManagerTest, OrdinaryProgramsHaveNoSignature) {
  // The system process (init) is no application bundle's.
  ProcessSerialNumber system = {0, kSystemProcess};
  ProcessInfoRec info = EmptyRecord();
  ASSERT_EQ(GetProcessInformation(&system, &info), noErr);
  EXPECT_EQ(info.processNumber.highLongOfPSN, 1u);
  EXPECT_EQ(info.processSignature, static_cast<OSType>(kUnknownProcessSignature));
  EXPECT_EQ(info.processType, static_cast<UInt32>(kUnknownProcessSignature));
}

}  // namespace
