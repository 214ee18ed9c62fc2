// ZrSystemCommandTest.cpp: `zr system`, `zr apps` and `zr power` run as a user runs them. The
// power requests go only to the mock logind on a private bus; a guard stops the test otherwise.
#include <ZRFramework/ZRFramework.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <stdlib.h>
#include <sys/utsname.h>

#include <string>
#include <vector>

#include "SystemBus.h"
#include "TestSupport.h"

namespace {

// A copy of the fixture application with a signature of its own, alone in its folder.
constexpr OSType kToolSignature = 0x5A527A74;  // 'ZRzt'

using Result = zrtest::ToolResult;

class ZrSystemCommandTest : public testing::Test {
 protected:
  void SetUp() override {
    folder_ = zrtest::MakeTemporaryFolder("ZrSystemCommandTest");
    ASSERT_FALSE(folder_.empty());
    ASSERT_TRUE(zrtest::MakeApplicationBundle(folder_ + "/apps", "Tool", "ZRzt", "org.zrframework.tool",
                                              std::string(ZR_FIXTURE_APP_PATH) + "/Contents/MacOS/ZRFixtureApp"));
    setenv("ZR_APPLICATION_FOLDERS", (folder_ + "/apps").c_str(), 1);
  }
  void TearDown() override {
    // Only the test that launches stops: the others run at the same time in processes of their own.
    if (launches_) {
      EXPECT_TRUE(zrtest::StopApplications(kToolSignature));
    }
    unsetenv("ZR_APPLICATION_FOLDERS");
    EXPECT_TRUE(zrtest::RemoveFolder(folder_));
  }

  Result Run(const std::string& arguments, const std::string& input = "", bool onTerminal = false) {
    return zrtest::RunTool(ZR_TOOL_PATH, arguments, input, folder_, onTerminal);
  }

  std::string folder_;
  bool launches_ = false;
};

TEST_F(ZrSystemCommandTest, SystemShowsTheHostVersionAndWhatLinuxReallyIs) {
  Result result = Run("system");
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_NE(result.out.find("Version: 10.6.8 (AppKit 1038.36)\n"), std::string::npos) << result.out;
  struct utsname names;
  ASSERT_EQ(uname(&names), 0);
  EXPECT_NE(result.out.find(std::string("Kernel: ") + names.sysname + " " + names.release + " " + names.machine),
            std::string::npos)
      << result.out;
  EXPECT_NE(result.out.find("Distribution: "), std::string::npos);
  cpu_set_t set;
  ASSERT_EQ(sched_getaffinity(0, sizeof set, &set), 0);
  EXPECT_NE(result.out.find("Processors: " + std::to_string(CPU_COUNT(&set)) + " usable of "), std::string::npos)
      << result.out;
  EXPECT_NE(result.out.find("Displays: "), std::string::npos);
  EXPECT_NE(result.out.find("Screens: "), std::string::npos);
  EXPECT_EQ(Run("system extra").status, 2);
}

TEST_F(ZrSystemCommandTest, AppsFindsLaunchesOnceAndListsBySignature) {
  launches_ = true;
  Result found = Run("apps find ZRzt");
  ASSERT_EQ(found.status, 0) << found.err;
  EXPECT_EQ(found.out, folder_ + "/apps/Tool.app\n");

  EXPECT_EQ(Run("apps running ZRzt").status, 1);
  Result launched = Run("apps launch ZRzt");
  ASSERT_EQ(launched.status, 0) << launched.err;
  std::string pid = launched.out.substr(0, launched.out.find('\n'));
  EXPECT_EQ(Run("apps launch ZRzt").out, launched.out);
  Result running = Run("apps running ZRzt");
  EXPECT_EQ(running.status, 0);
  EXPECT_EQ(running.out, pid + " ZRzt Tool\n");
  Result all = Run("apps running");
  EXPECT_EQ(all.status, 0);
  EXPECT_NE(all.out.find(pid + " ZRzt Tool\n"), std::string::npos) << all.out;
}

TEST_F(ZrSystemCommandTest, AppsRefusesUnknownSignaturesAndBadArguments) {
  Result missing = Run("apps find zzzz");
  EXPECT_EQ(missing.status, 1);
  EXPECT_NE(missing.err.find("-10814"), std::string::npos) << missing.err;
  Result unlaunched = Run("apps launch zzzz");
  EXPECT_EQ(unlaunched.status, 1);
  EXPECT_NE(unlaunched.err.find("-10814"), std::string::npos) << unlaunched.err;
  EXPECT_EQ(Run("apps find toolong").status, 2);
  EXPECT_EQ(Run("apps").status, 2);
  EXPECT_EQ(Run("apps open ZRzt").status, 2);
}

TEST_F(ZrSystemCommandTest, PowerReachesTheMockLogindOnlyWhenConfirmed) {
  zrtest::PrivateSystemBus bus;
  ASSERT_TRUE(zrtest::RequirePrivateSystemBus(bus)) << "refusing to send events without the private bus";
  // Without a terminal nobody can confirm: --yes is required.
  Result refused = Run("power shutdown");
  EXPECT_EQ(refused.status, 2);
  EXPECT_TRUE(bus.Calls().empty());
  EXPECT_EQ(Run("power sleep --yes").status, 0);
  EXPECT_EQ(Run("power --yes restart").status, 0);
  std::vector<std::string> expected = {"Suspend False", "Reboot False"};
  EXPECT_EQ(bus.Calls(), expected);
  // On a terminal it asks; only yes sends.
  Result declined = Run("power logout", "n\n", true);
  EXPECT_EQ(declined.status, 1) << declined.out << declined.err;
  EXPECT_NE(declined.out.find("Log out now"), std::string::npos) << declined.out;
  EXPECT_EQ(bus.Calls(), expected);
  Result confirmed = Run("power logout", "y\n", true);
  EXPECT_EQ(confirmed.status, 0) << confirmed.out << confirmed.err;
  expected.push_back("TerminateSession \"auto\"");
  EXPECT_EQ(bus.Calls(), expected);
  EXPECT_EQ(Run("power hibernate --yes").status, 2);
}

TEST_F(ZrSystemCommandTest, PowerRefusedByLogindShowsTheLine) {
  zrtest::PrivateSystemBus bus;
  ASSERT_TRUE(zrtest::RequirePrivateSystemBus(bus)) << "refusing to send events without the private bus";
  ASSERT_TRUE(bus.MakeMethodFail("PowerOff", "b", "org.freedesktop.DBus.Error.AccessDenied"));
  Result result = Run("power shutdown --yes");
  EXPECT_EQ(result.status, 0);
  EXPECT_NE(result.err.find("AESend returns -10004"), std::string::npos) << result.err;
}

}  // namespace
