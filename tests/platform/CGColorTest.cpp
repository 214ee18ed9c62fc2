// CGColorTest.cpp: device colour spaces and colours: components, alpha, spaces, retain and
// release, equality, descriptions and failed allocations.
#include <CoreFoundation/CoreFoundation.h>
#include <CoreGraphics/CoreGraphics.h>
#include <ZRPlatform/Testing.h>
#include <gtest/gtest.h>

#include "TestSupport.h"

namespace {

class CGColorTest : public zrtest::LeakCheckedTest {};

TEST_F(CGColorTest, DeviceSpacesTellTheirModelAndComponents) {
  CGColorSpaceRef rgb = CGColorSpaceCreateDeviceRGB();
  CGColorSpaceRef gray = CGColorSpaceCreateDeviceGray();
  ASSERT_NE(rgb, nullptr);
  ASSERT_NE(gray, nullptr);
  EXPECT_EQ(CFGetTypeID(rgb), CGColorSpaceGetTypeID());
  EXPECT_EQ(CGColorSpaceGetModel(rgb), kCGColorSpaceModelRGB);
  EXPECT_EQ(CGColorSpaceGetModel(gray), kCGColorSpaceModelMonochrome);
  EXPECT_EQ(CGColorSpaceGetNumberOfComponents(rgb), 3u);
  EXPECT_EQ(CGColorSpaceGetNumberOfComponents(gray), 1u);
  EXPECT_EQ(CGColorSpaceGetNumberOfComponents(nullptr), 0u);
  EXPECT_EQ(CGColorSpaceGetModel(nullptr), kCGColorSpaceModelUnknown);
  CGColorSpaceRef other = CGColorSpaceCreateDeviceRGB();
  EXPECT_TRUE(CFEqual(rgb, other));
  EXPECT_FALSE(CFEqual(rgb, gray));
  EXPECT_EQ(zrtest::Description(rgb), "<CGColorSpace " + zrtest::Pointer(rgb) + "> (kCGColorSpaceDeviceRGB)");
  EXPECT_EQ(CGColorSpaceRetain(rgb), rgb);
  EXPECT_EQ(CFGetRetainCount(rgb), 2);
  CGColorSpaceRelease(rgb);
  EXPECT_EQ(CGColorSpaceRetain(nullptr), nullptr);
  CGColorSpaceRelease(nullptr);
  CGColorSpaceRelease(other);
  CGColorSpaceRelease(gray);
  CGColorSpaceRelease(rgb);
}

TEST_F(CGColorTest, ColoursCopyTheirComponentsAndKeepTheirSpace) {
  CGColorSpaceRef rgb = CGColorSpaceCreateDeviceRGB();
  CGFloat values[] = {1.0, 0.5, 0.0, 0.25};
  CGColorRef color = CGColorCreate(rgb, values);
  ASSERT_NE(color, nullptr);
  values[0] = 9;
  CGColorSpaceRelease(rgb);  // the colour keeps its own reference
  EXPECT_EQ(CFGetTypeID(color), CGColorGetTypeID());
  ASSERT_EQ(CGColorGetNumberOfComponents(color), 4u);
  const CGFloat* components = CGColorGetComponents(color);
  EXPECT_EQ(components[0], 1.0);
  EXPECT_EQ(components[1], 0.5);
  EXPECT_EQ(components[2], 0.0);
  EXPECT_EQ(components[3], 0.25);
  EXPECT_EQ(CGColorGetAlpha(color), 0.25);
  EXPECT_EQ(CGColorSpaceGetModel(CGColorGetColorSpace(color)), kCGColorSpaceModelRGB);
  EXPECT_EQ(zrtest::Description(color), "<CGColor " + zrtest::Pointer(color) + "> [<CGColorSpace " +
                                            zrtest::Pointer(CGColorGetColorSpace(color)) +
                                            "> (kCGColorSpaceDeviceRGB)] ( 1 0.5 0 0.25 )");

  CGColorSpaceRef gray = CGColorSpaceCreateDeviceGray();
  CGFloat grayValues[] = {0.5, 1.0};
  CGColorRef grayColor = CGColorCreate(gray, grayValues);
  EXPECT_EQ(CGColorGetNumberOfComponents(grayColor), 2u);
  EXPECT_FALSE(CFEqual(color, grayColor));
  EXPECT_FALSE(CGColorEqualToColor(color, grayColor));

  CGColorSpaceRef rgb2 = CGColorSpaceCreateDeviceRGB();
  CGFloat same[] = {1.0, 0.5, 0.0, 0.25};
  CGColorRef twin = CGColorCreate(rgb2, same);
  EXPECT_TRUE(CFEqual(color, twin));
  EXPECT_TRUE(CGColorEqualToColor(color, twin));
  EXPECT_EQ(CFHash(color), CFHash(twin));
  same[3] = 1.0;
  CGColorRef opaque = CGColorCreate(rgb2, same);
  EXPECT_FALSE(CFEqual(color, opaque));
  EXPECT_FALSE(CGColorEqualToColor(color, nullptr));
  EXPECT_TRUE(CGColorEqualToColor(nullptr, nullptr));

  EXPECT_EQ(CGColorRetain(color), color);
  CGColorRelease(color);
  EXPECT_EQ(CGColorRetain(nullptr), nullptr);
  CGColorRelease(nullptr);
  EXPECT_EQ(CGColorGetNumberOfComponents(nullptr), 0u);
  EXPECT_EQ(CGColorGetComponents(nullptr), nullptr);
  EXPECT_EQ(CGColorGetColorSpace(nullptr), nullptr);
  CGColorRelease(opaque);
  CGColorRelease(twin);
  CGColorSpaceRelease(rgb2);
  CGColorRelease(grayColor);
  CGColorSpaceRelease(gray);
  CGColorRelease(color);
}

TEST_F(CGColorTest, RefusesMissingArguments) {
  CGColorSpaceRef rgb = CGColorSpaceCreateDeviceRGB();
  CGFloat values[] = {0, 0, 0, 1};
  EXPECT_EQ(CGColorCreate(nullptr, values), nullptr);
  EXPECT_EQ(CGColorCreate(rgb, nullptr), nullptr);
  CGColorSpaceRelease(rgb);
}

TEST_F(CGColorTest, FailedAllocationsGiveNullAndLeakNothing) {
  zrtest::ExpectAllocationFailuresHandled(5, []() -> CFTypeRef { return CGColorSpaceCreateDeviceRGB(); });
  CGColorSpaceRef rgb = CGColorSpaceCreateDeviceRGB();
  CGFloat values[] = {0.1, 0.2, 0.3, 1};
  zrtest::ExpectAllocationFailuresHandled(5, [rgb, &values]() -> CFTypeRef { return CGColorCreate(rgb, values); });
  CGColorSpaceRelease(rgb);
}

}  // namespace
