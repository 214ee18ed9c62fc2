// GestaltTest.cpp: the system version Gestalt reports, its agreement with NSAppKitVersionNumber,
// unknown selectors, and the test seam that makes a selector answer otherwise.
#include <AppKit/AppKit.h>
#include <gtest/gtest.h>

#include "TestSupport.h"

namespace {

class GestaltTest : public ::testing::Test {
 protected:
  void TearDown() override { ZRTestingResetGestalt(); }
};

TEST_F(GestaltTest, ReportsTheReleaseTheHostProvides) {
  SInt32 major = -1, minor = -1, bugFix = -1;
  EXPECT_EQ(Gestalt(gestaltSystemVersionMajor, &major), noErr);
  EXPECT_EQ(Gestalt(gestaltSystemVersionMinor, &minor), noErr);
  EXPECT_EQ(Gestalt(gestaltSystemVersionBugFix, &bugFix), noErr);
  EXPECT_EQ(major, 10);
  EXPECT_EQ(minor, 6);
  EXPECT_EQ(bugFix, 8);
}

TEST_F(GestaltTest, SelectorsAreTheirFourCharacterCodes) {
  EXPECT_EQ(gestaltSystemVersionMajor, 0x73797331u);   // 'sys1'
  EXPECT_EQ(gestaltSystemVersionMinor, 0x73797332u);   // 'sys2'
  EXPECT_EQ(gestaltSystemVersionBugFix, 0x73797333u);  // 'sys3'
  EXPECT_EQ(gestaltSystemVersion, 0x73797376u);        // 'sysv'
}

TEST_F(GestaltTest, BinaryCodedVersionAgreesWithTheParts) {
  SInt32 bcd = 0;
  ASSERT_EQ(Gestalt(gestaltSystemVersion, &bcd), noErr);
  EXPECT_EQ(bcd, 0x1068);
}

TEST_F(GestaltTest, AppKitVersionNamesTheSameRelease) {
  // 10.6 is 1038 up to (not including) the 10.7 numbers at 1138; every release from 10.5 on is at
  // or above 900.
  EXPECT_GE(NSAppKitVersionNumber, NSAppKitVersionNumber10_6);
  EXPECT_LT(NSAppKitVersionNumber, NSAppKitVersionNumber10_6 + 1);
  EXPECT_GE(NSAppKitVersionNumber, 900.0);
  EXPECT_DOUBLE_EQ(NSAppKitVersionNumber, 1038.36);
}

TEST_F(GestaltTest, UnknownSelectorLeavesTheResponseAlone) {
  SInt32 response = 1234;
  EXPECT_EQ(Gestalt(0x71717171, &response), gestaltUndefSelectorErr);
  EXPECT_EQ(response, 1234);
  EXPECT_EQ(gestaltUndefSelectorErr, -5551);
}

TEST_F(GestaltTest, NullResponseIsRefused) { EXPECT_EQ(Gestalt(gestaltSystemVersionMajor, nullptr), paramErr); }

TEST_F(GestaltTest, SeamOverridesOneSelectorUntilReset) {
  ZRTestingSetGestaltResponse(gestaltSystemVersionMinor, noErr, 5);
  ZRTestingSetGestaltResponse(gestaltSystemVersionBugFix, gestaltUndefSelectorErr, 0);
  SInt32 minor = 0, bugFix = 77, major = 0;
  EXPECT_EQ(Gestalt(gestaltSystemVersionMinor, &minor), noErr);
  EXPECT_EQ(minor, 5);
  EXPECT_EQ(Gestalt(gestaltSystemVersionBugFix, &bugFix), gestaltUndefSelectorErr);
  EXPECT_EQ(bugFix, 77);
  EXPECT_EQ(Gestalt(gestaltSystemVersionMajor, &major), noErr);
  EXPECT_EQ(major, 10);
  ZRTestingResetGestalt();
  EXPECT_EQ(Gestalt(gestaltSystemVersionMinor, &minor), noErr);
  EXPECT_EQ(minor, 6);
}

}  // namespace
