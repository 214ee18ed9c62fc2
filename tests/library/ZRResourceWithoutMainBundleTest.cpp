// ZRResourceWithoutMainBundleTest.cpp: the resource lookups when the main bundle cannot be found.
// The platform finds the main bundle on its first use, and a first use without memory finds none;
// so the one test here must be the first in its process to ask for the main bundle.
#include <ZRFramework/ZRFramework.h>
#include <ZRPlatform/Testing.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "TestSupport.h"

namespace {

TEST(ResourceWithoutMainBundleTest, LookupsFailUntilTheMainBundleIsFound) {
  zrtest::LogCapture log;
  CFURLRef url = nullptr;
  // Constant strings are made on their first use: before any failure is armed.
  CFStringRef plain = CFSTR("Plain.txt");
  CFStringRef greeting = CFSTR("Greeting.txt");
  for (bool inLog : {false, true}) {
    // The first C++ allocation of the call is the main bundle's.
    ZRTestingFailCxxAllocation(1);
    EXPECT_EQ(ZRCopyResourceURLRef(plain, &url, inLog), unknownErr);
    EXPECT_FALSE(ZRTestingCxxFailurePending());
    EXPECT_EQ(url, nullptr);
    ZRTestingFailCxxAllocation(1);
    EXPECT_EQ(ZRCopyLocalizedResourceURLRef(greeting, &url, inLog), unknownErr);
    EXPECT_FALSE(ZRTestingCxxFailurePending());
    EXPECT_EQ(url, nullptr);
    ZRTestingFailCxxAllocation(0);
  }
  // The two spellings of the message are the library's own.
  EXPECT_EQ(zrtest::WithoutLines(log.lines()),
            (std::vector<std::string>{
                zrtest::ErrorLine("ZRCopyResourceURLRef", "CFBundleGetMainBundle() returns NULL"),
                zrtest::ErrorLine("ZRCopyLocalizedResourceURLRef", "CFBundleGetMainBundle returns NULL")}));
  // With memory the bundle is found after all.
  EXPECT_EQ(ZRCopyResourceURLRef(plain, &url, true), noErr);
  EXPECT_NE(url, nullptr);
  if (url) CFRelease(url);
  url = nullptr;
  EXPECT_EQ(ZRCopyLocalizedResourceURLRef(greeting, &url, true), noErr);
  EXPECT_NE(url, nullptr);
  if (url) CFRelease(url);
  EXPECT_EQ(log.lines().size(), 2u);
}

}  // namespace
