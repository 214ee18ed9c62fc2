// CGDirectDisplayTest.cpp: displays and screens read from fixture sysfs trees: a headless
// machine, one accelerated display, an internal panel beside an external one, display-only
// devices, disconnected connectors; and NSScreen over the same displays.
#include <AppKit/AppKit.h>
#include <gtest/gtest.h>

#include <string>

#include "TestSupport.h"

namespace {

using zrtest::AddDrmConnector;
using zrtest::AddDrmRenderNode;

class DisplayTest : public zrtest::LeakCheckedTest {
 protected:
  void SetUp() override {
    LeakCheckedTest::SetUp();
    root_ = zrtest::MakeTemporaryFolder("DisplayTest");
    ASSERT_FALSE(root_.empty());
    ZRTestingSetSysfsRoot(root_.c_str());
  }
  void TearDown() override {
    ZRTestingSetSysfsRoot(nullptr);
    EXPECT_TRUE(zrtest::RemoveFolder(root_));
    pool_.drain();
    LeakCheckedTest::TearDown();
  }

  std::string root_;
  NSAutoreleasePool pool_;
};

TEST_F(DisplayTest, HeadlessMachineHasNoDisplayAndNoScreen) {
  // No /sys/class/drm at all.
  EXPECT_EQ(CGMainDisplayID(), kCGNullDirectDisplay);
  EXPECT_FALSE(CGDisplayUsesOpenGLAcceleration(CGMainDisplayID()));
  uint32_t count = 99;
  EXPECT_EQ(CGGetActiveDisplayList(0, nullptr, &count), kCGErrorSuccess);
  EXPECT_EQ(count, 0u);
  NSArray* screens = NSScreen::screens();
  ASSERT_NE(screens, nil);
  EXPECT_EQ(CFArrayGetCount(screens), 0);
  EXPECT_EQ(NSScreen::mainScreen(), nil);
}

TEST_F(DisplayTest, GpuWithoutMonitorHasNoDisplay) {
  ASSERT_TRUE(AddDrmConnector(root_, 0, "HDMI-A-1", "disconnected", ""));
  ASSERT_TRUE(AddDrmConnector(root_, 0, "DP-1", "unknown", ""));
  ASSERT_TRUE(AddDrmRenderNode(root_, 0));
  EXPECT_EQ(CGMainDisplayID(), kCGNullDirectDisplay);
  EXPECT_FALSE(CGDisplayUsesOpenGLAcceleration(kCGNullDirectDisplay));
}

TEST_F(DisplayTest, OneAcceleratedDisplay) {
  ASSERT_TRUE(AddDrmConnector(root_, 0, "HDMI-A-1", "connected", "1920x1080\n1280x720\n"));
  ASSERT_TRUE(AddDrmConnector(root_, 0, "DP-1", "disconnected", ""));
  ASSERT_TRUE(AddDrmRenderNode(root_, 0));
  CGDirectDisplayID main = CGMainDisplayID();
  ASSERT_NE(main, kCGNullDirectDisplay);
  EXPECT_TRUE(CGDisplayUsesOpenGLAcceleration(main));
  EXPECT_TRUE(CGDisplayIsMain(main));
  EXPECT_EQ(CGDisplayPixelsWide(main), 1920u);
  EXPECT_EQ(CGDisplayPixelsHigh(main), 1080u);
  CGRect bounds = CGDisplayBounds(main);
  EXPECT_EQ(bounds.origin.x, 0);
  EXPECT_EQ(bounds.size.width, 1920);
  // The same identifier on every call.
  EXPECT_EQ(CGMainDisplayID(), main);
  EXPECT_FALSE(CGDisplayUsesOpenGLAcceleration(main + 1));
}

TEST_F(DisplayTest, DisplayOnlyDeviceIsNotAccelerated) {
  // simpledrm and firmware frame buffers show connectors but no render node.
  ASSERT_TRUE(AddDrmConnector(root_, 0, "Unknown-1", "connected", "1024x768\n"));
  CGDirectDisplayID main = CGMainDisplayID();
  ASSERT_NE(main, kCGNullDirectDisplay);
  EXPECT_FALSE(CGDisplayUsesOpenGLAcceleration(main));
}

TEST_F(DisplayTest, InternalPanelIsMainAndScreensFollowTheList) {
  ASSERT_TRUE(AddDrmConnector(root_, 0, "HDMI-A-1", "connected", "2560x1440\n"));
  ASSERT_TRUE(AddDrmConnector(root_, 1, "eDP-1", "connected", "1366x768\n"));
  ASSERT_TRUE(AddDrmRenderNode(root_, 1));
  CGDirectDisplayID list[4] = {};
  uint32_t count = 0;
  ASSERT_EQ(CGGetActiveDisplayList(4, list, &count), kCGErrorSuccess);
  ASSERT_EQ(count, 2u);
  EXPECT_EQ(list[0], CGMainDisplayID());
  EXPECT_EQ(CGDisplayPixelsWide(list[0]), 1366u);
  EXPECT_TRUE(CGDisplayUsesOpenGLAcceleration(list[0]));
  EXPECT_FALSE(CGDisplayUsesOpenGLAcceleration(list[1]));
  EXPECT_EQ(CGDisplayBounds(list[1]).origin.x, 1366);
  EXPECT_NE(list[0], list[1]);
  // A list shorter than the displays gets the first ones.
  ASSERT_EQ(CGGetActiveDisplayList(1, list, &count), kCGErrorSuccess);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(CGGetActiveDisplayList(1, list, nullptr), kCGErrorIllegalArgument);

  NSArray* screens = NSScreen::screens();
  ASSERT_NE(screens, nil);
  ASSERT_EQ(CFArrayGetCount(screens), 2);
  auto first = static_cast<NSScreenRef>(CFArrayGetValueAtIndex(screens, 0));
  auto second = static_cast<NSScreenRef>(CFArrayGetValueAtIndex(screens, 1));
  EXPECT_EQ(CFGetTypeID(first), NSScreen::typeID());
  EXPECT_EQ(NSScreen::frame(first).size.width, 1366);
  EXPECT_EQ(NSScreen::frame(second).origin.x, 1366);
  EXPECT_EQ(NSScreen::frame(second).size.height, 1440);
  CFDictionaryRef description = NSScreen::deviceDescription(first);
  ASSERT_NE(description, nullptr);
  EXPECT_EQ(static_cast<CGDirectDisplayID>(zrtest::IntOf(CFDictionaryGetValue(description, CFSTR("NSScreenNumber")))),
            list[0]);
  EXPECT_TRUE(CFEqual(NSScreen::mainScreen(), first));
  EXPECT_NE(zrtest::Description(first).find("NSScreen"), std::string::npos);
}

TEST_F(DisplayTest, ConnectorIdsFromTheKernelNameTheDisplays) {
  ASSERT_TRUE(AddDrmConnector(root_, 0, "DP-2", "connected", "800x600\n"));
  ASSERT_TRUE(zrtest::WriteFile(root_ + "/class/drm/card0-DP-2/connector_id", "95\n"));
  EXPECT_EQ(CGMainDisplayID(), (1u << 16) | 95u);
}

TEST_F(DisplayTest, ScreensFailWholeWhenObjectsCannotBeMade) {
  ASSERT_TRUE(AddDrmConnector(root_, 0, "HDMI-A-1", "connected", "640x480\n"));
  ASSERT_TRUE(AddDrmConnector(root_, 0, "HDMI-A-2", "connected", "640x480\n"));
  zrtest::ExpectAllocationFailuresHandled(50, [] {
    // The array is autoreleased: kept past a pool of its own, so that the count sees only leaks.
    NSAutoreleasePool pool;
    NSArray* screens = NSScreen::screens();
    CFTypeRef kept = screens ? CFRetain(screens) : nullptr;
    pool.drain();
    return kept;
  });
}

}  // namespace
