// NSFontTest.cpp: the system font: fontconfig's interface family, sizes, the attribute name,
// autorelease and failures.
#include <AppKit/AppKit.h>
#include <ZRPlatform/Testing.h>
#include <fontconfig/fontconfig.h>
#include <gtest/gtest.h>

#include <string>

#include "TestSupport.h"

namespace {

using zrtest::Utf8;

TEST(NSFontTest, SystemFontIsAnInstalledFamilyAtTheGivenSize) {
  NSAutoreleasePool pool;
  NSFontRef font = NSFont::systemFontOfSize(17.5);
  ASSERT_NE(font, nullptr);
  EXPECT_EQ(CFGetTypeID(font), NSFont::typeID());
  EXPECT_EQ(NSFont::pointSize(font), 17.5);
  std::string family = Utf8(NSFont::familyName(font));
  EXPECT_FALSE(family.empty());
  EXPECT_FALSE(Utf8(NSFont::fontName(font)).empty());
  // The family is one that fontconfig has fonts of.
  FcConfig* config = FcInitLoadConfigAndFonts();
  ASSERT_NE(config, nullptr);
  FcPattern* pattern = FcPatternCreate();
  FcPatternAddString(pattern, FC_FAMILY, reinterpret_cast<const FcChar8*>(family.c_str()));
  FcObjectSet* objects = FcObjectSetBuild(FC_FAMILY, nullptr);
  FcFontSet* fonts = FcFontList(config, pattern, objects);
  ASSERT_NE(fonts, nullptr);
  EXPECT_GT(fonts->nfont, 0) << family;
  FcFontSetDestroy(fonts);
  FcObjectSetDestroy(objects);
  FcPatternDestroy(pattern);
  FcConfigDestroy(config);
}

TEST(NSFontTest, SizeZeroOrLessIsTheSystemFontSize) {
  NSAutoreleasePool pool;
  EXPECT_EQ(NSFont::systemFontSize(), 13);
  EXPECT_EQ(NSFont::pointSize(NSFont::systemFontOfSize(0)), 13);
  EXPECT_EQ(NSFont::pointSize(NSFont::systemFontOfSize(-4)), 13);
  EXPECT_EQ(NSFont::pointSize(NSFont::systemFontOfSize(9)), 9);
}

TEST(NSFontTest, FontsAreEqualByFaceAndSize) {
  NSAutoreleasePool pool;
  NSFontRef a = NSFont::systemFontOfSize(12);
  NSFontRef b = NSFont::systemFontOfSize(12);
  NSFontRef c = NSFont::systemFontOfSize(14);
  EXPECT_TRUE(CFEqual(a, b));
  EXPECT_EQ(CFHash(a), CFHash(b));
  EXPECT_FALSE(CFEqual(a, c));
  CFStringRef description = CFCopyDescription(a);
  EXPECT_EQ(Utf8(description), "<NSFont " + Utf8(NSFont::familyName(a)) + " 12>");
  CFRelease(description);
}

TEST(NSFontTest, FontsAreAutoreleased) {
  long live = ZRTestingLiveObjectCount();
  {
    NSAutoreleasePool pool;
    NSFontRef font = NSFont::systemFontOfSize(12);
    ASSERT_NE(font, nullptr);
    EXPECT_EQ(ZRTestingLiveObjectCount(), live + 1);
  }
  EXPECT_EQ(ZRTestingLiveObjectCount(), live);
}

TEST(NSFontTest, AttributeName) { EXPECT_EQ(Utf8(NSFontAttributeName), "NSFont"); }

TEST(NSFontTest, FailedCreationGivesNil) {
  NSAutoreleasePool pool;
  NSFont::systemFontOfSize(12);  // finds the face first
  long live = ZRTestingLiveObjectCount();
  ZRTestingFailAllocation(1);
  EXPECT_EQ(NSFont::systemFontOfSize(12), nullptr);
  ZRTestingFailAllocation(0);
  EXPECT_EQ(ZRTestingLiveObjectCount(), live);
}

}  // namespace
