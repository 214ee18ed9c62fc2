// ZRSystemQueriesTest.cpp: the version comparisons on a system made to report 10.5.8 and on one
// whose Gestalt fails, the Tiger/Leopard boundary, Core Image and screens on fixture display
// trees, and the processor count with host_info failing or reporting none.
#include <AppKit/AppKit.h>
#include <gtest/gtest.h>
#include <mach/mach.h>
#include <sched.h>

#include <string>

#include "TestSupport.h"

namespace {

class SystemQueriesTest : public zrtest::LeakCheckedTest {
 protected:
  void TearDown() override {
    ZRTestingResetGestalt();
    ZRTestingResetHostInfo();
    ZRTestingSetSysfsRoot(nullptr);
    NSAppKitVersionNumber = savedAppKitVersion_;
    if (!root_.empty()) {
      EXPECT_TRUE(zrtest::RemoveFolder(root_));
    }
    pool_.drain();
    LeakCheckedTest::TearDown();
  }

  static void ReportVersion(SInt32 major, SInt32 minor, SInt32 bugFix) {
    ZRTestingSetGestaltResponse(gestaltSystemVersionMajor, noErr, major);
    ZRTestingSetGestaltResponse(gestaltSystemVersionMinor, noErr, minor);
    ZRTestingSetGestaltResponse(gestaltSystemVersionBugFix, noErr, bugFix);
  }

  void UseFixtureTree() {
    root_ = zrtest::MakeTemporaryFolder("SystemQueriesTest");
    ASSERT_FALSE(root_.empty());
    ZRTestingSetSysfsRoot(root_.c_str());
  }

  double savedAppKitVersion_ = NSAppKitVersionNumber;
  std::string root_;
  NSAutoreleasePool pool_;
};

TEST_F(SystemQueriesTest, LeopardAndLaterAreNewerThanTiger) {
  EXPECT_TRUE(ZRSystemIsNewerThanTiger());
  EXPECT_FALSE(ZRSystemIsOlderThanLeopard());
  NSAppKitVersionNumber = 900.0;
  EXPECT_TRUE(ZRSystemIsNewerThanTiger());
  EXPECT_FALSE(ZRSystemIsOlderThanLeopard());
}

TEST_F(SystemQueriesTest, TigerIsOlderThanLeopard) {
  NSAppKitVersionNumber = NSAppKitVersionNumber10_4;
  EXPECT_FALSE(ZRSystemIsNewerThanTiger());
  EXPECT_TRUE(ZRSystemIsOlderThanLeopard());
  NSAppKitVersionNumber = 899.99;
  EXPECT_FALSE(ZRSystemIsNewerThanTiger());
  EXPECT_TRUE(ZRSystemIsOlderThanLeopard());
}

TEST_F(SystemQueriesTest, ComparesWithTheVersionGestaltReports) {
  ReportVersion(10, 5, 8);
  EXPECT_TRUE(ZRSystemVersionIsOlderThanVersion(10, 6, 0));
  EXPECT_FALSE(ZRSystemVersionIsOlderThanVersion(10, 5, 8));
  EXPECT_TRUE(ZRSystemVersionIsNewerThanVersion(10, 5, 7));
  EXPECT_TRUE(ZRSystemVersionIsNewerThanVersion(10, 4, 11));
  EXPECT_FALSE(ZRSystemVersionIsNewerThanVersion(10, 5, 8));
  EXPECT_TRUE(ZRSystemVersionIsOlderThanVersion(10, 5, 9));
  EXPECT_TRUE(ZRSystemVersionIsOlderThanVersion(11, 0, 0));
  EXPECT_FALSE(ZRSystemVersionIsOlderThanVersion(9, 9, 9));
  EXPECT_FALSE(ZRSystemVersionIsNewerThanVersion(10, 6, 0));
  // A higher minor decides before the bug-fix number.
  EXPECT_FALSE(ZRSystemVersionIsOlderThanVersion(10, 4, 99));
  EXPECT_FALSE(ZRSystemVersionIsNewerThanVersion(10, 6, -5));
}

TEST_F(SystemQueriesTest, ComparisonsAreSigned) {
  ReportVersion(10, 5, 8);
  EXPECT_TRUE(ZRSystemVersionIsNewerThanVersion(-1, 0, 0));
  EXPECT_FALSE(ZRSystemVersionIsOlderThanVersion(-1, 99, 99));
  ReportVersion(-1, 0, 0);
  EXPECT_TRUE(ZRSystemVersionIsOlderThanVersion(0, 0, 0));
}

TEST_F(SystemQueriesTest, TheHostsOwnVersionIsNeitherOlderNorNewer) {
  EXPECT_FALSE(ZRSystemVersionIsOlderThanVersion(10, 6, 8));
  EXPECT_FALSE(ZRSystemVersionIsNewerThanVersion(10, 6, 8));
  EXPECT_TRUE(ZRSystemVersionIsNewerThanVersion(10, 5, 8));
  EXPECT_TRUE(ZRSystemVersionIsOlderThanVersion(10, 7, 0));
}

TEST_F(SystemQueriesTest, FailingGestaltCountsAsVersionZero) {
  for (OSType selector : {gestaltSystemVersionMajor, gestaltSystemVersionMinor, gestaltSystemVersionBugFix}) {
    ZRTestingSetGestaltResponse(selector, gestaltUndefSelectorErr, 0);
  }
  EXPECT_TRUE(ZRSystemVersionIsOlderThanVersion(0, 0, 1));
  EXPECT_TRUE(ZRSystemVersionIsOlderThanVersion(10, 0, 0));
  EXPECT_FALSE(ZRSystemVersionIsOlderThanVersion(0, 0, 0));
  EXPECT_FALSE(ZRSystemVersionIsNewerThanVersion(0, 0, 0));
  // One failing part keeps 0 while the others are read.
  ZRTestingResetGestalt();
  ZRTestingSetGestaltResponse(gestaltSystemVersionMinor, gestaltUndefSelectorErr, 0);
  EXPECT_TRUE(ZRSystemVersionIsOlderThanVersion(10, 1, 0));
  EXPECT_TRUE(ZRSystemVersionIsNewerThanVersion(10, 0, 7));
}

TEST_F(SystemQueriesTest, CoreImageFollowsTheMainDisplay) {
  UseFixtureTree();
  EXPECT_FALSE(ZRSystemSupportsCoreImage());  // headless
  ASSERT_TRUE(zrtest::AddDrmConnector(root_, 0, "Virtual-1", "connected", "1024x768\n"));
  EXPECT_FALSE(ZRSystemSupportsCoreImage());  // a display without a GPU
  ASSERT_TRUE(zrtest::AddDrmRenderNode(root_, 0));
  EXPECT_TRUE(ZRSystemSupportsCoreImage());
}

TEST_F(SystemQueriesTest, MultipleScreensNeedMoreThanOne) {
  UseFixtureTree();
  EXPECT_FALSE(ZRSystemHasMultipleScreens());
  ASSERT_TRUE(zrtest::AddDrmConnector(root_, 0, "HDMI-A-1", "connected", "1920x1080\n"));
  EXPECT_FALSE(ZRSystemHasMultipleScreens());
  ASSERT_TRUE(zrtest::AddDrmConnector(root_, 0, "DP-1", "connected", "1920x1080\n"));
  EXPECT_TRUE(ZRSystemHasMultipleScreens());
  // Without the objects for the array, there is no array: false.
  ZRTestingFailAllocation(1);
  EXPECT_FALSE(ZRSystemHasMultipleScreens());
}

TEST_F(SystemQueriesTest, ProcessorsAreThoseTheProcessMayUse) {
  cpu_set_t allowed;
  ASSERT_EQ(sched_getaffinity(0, sizeof allowed, &allowed), 0);
  EXPECT_EQ(ZRGetNumberOfProcessors(), static_cast<UInt32>(CPU_COUNT(&allowed)));
}

TEST_F(SystemQueriesTest, ProcessorsAreAtLeastOne) {
  ZRTestingSetHostInfo(KERN_FAILURE, 0);
  EXPECT_EQ(ZRGetNumberOfProcessors(), 1u);
  ZRTestingSetHostInfo(KERN_SUCCESS, 0);
  EXPECT_EQ(ZRGetNumberOfProcessors(), 1u);
  ZRTestingSetHostInfo(KERN_SUCCESS, -3);
  EXPECT_EQ(ZRGetNumberOfProcessors(), 1u);
  ZRTestingSetHostInfo(KERN_SUCCESS, 12);
  EXPECT_EQ(ZRGetNumberOfProcessors(), 12u);
}

}  // namespace
