// CFErrorTest.cpp: error objects (domain, code, user information, texts, description, equality)
// and the errors the property-list functions hand out.
#include <CoreFoundation/CoreFoundation.h>
#include <ZRPlatform/Testing.h>
#include <gtest/gtest.h>

#include <string>

#include "TestSupport.h"

namespace {

using zrtest::Utf8;

class CFErrorTest : public zrtest::LeakCheckedTest {};

std::string DescriptionOf(CFErrorRef error) {
  CFStringRef text = CFErrorCopyDescription(error);
  std::string result = Utf8(text);
  if (text) CFRelease(text);
  return result;
}

TEST_F(CFErrorTest, KeepsDomainCodeAndACopyOfTheUserInformation) {
  CFMutableDictionaryRef info =
      CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
  CFDictionarySetValue(info, kCFErrorLocalizedFailureReasonKey, CFSTR("the disk is full"));
  CFErrorRef error = CFErrorCreate(nullptr, kCFErrorDomainPOSIX, 28, info);
  ASSERT_NE(error, nullptr);
  CFDictionaryRemoveAllValues(info);
  EXPECT_EQ(CFGetTypeID(error), CFErrorGetTypeID());
  EXPECT_EQ(Utf8(CFErrorGetDomain(error)), "NSPOSIXErrorDomain");
  EXPECT_EQ(CFErrorGetCode(error), 28);
  CFDictionaryRef copied = CFErrorCopyUserInfo(error);
  EXPECT_EQ(CFDictionaryGetCount(copied), 1);
  CFRelease(copied);
  CFStringRef reason = CFErrorCopyFailureReason(error);
  EXPECT_EQ(Utf8(reason), "the disk is full");
  CFRelease(reason);
  EXPECT_EQ(CFErrorCopyRecoverySuggestion(error), nullptr);
  EXPECT_EQ(DescriptionOf(error), "The operation couldn\u2019t be completed. the disk is full");
  CFRelease(error);
  CFRelease(info);
}

TEST_F(CFErrorTest, DescribesWithTheLocalizedTextTheKnownTextOrDomainAndCode) {
  CFErrorRef plain = CFErrorCreate(nullptr, kCFErrorDomainOSStatus, -50, nullptr);
  EXPECT_EQ(DescriptionOf(plain), "The operation couldn\u2019t be completed. (NSOSStatusErrorDomain error -50.)");
  EXPECT_EQ(zrtest::Description(plain),
            "Error Domain=NSOSStatusErrorDomain Code=-50 \"The operation couldn\u2019t be completed. "
            "(NSOSStatusErrorDomain error -50.)\"");
  CFErrorRef corrupt = CFErrorCreate(nullptr, kCFErrorDomainCocoa, 3840, nullptr);
  EXPECT_EQ(DescriptionOf(corrupt), "The data couldn\u2019t be read because it isn\u2019t in the correct format.");
  const void* keys[] = {kCFErrorLocalizedDescriptionKey};
  const void* values[] = {CFSTR("Nothing to see")};
  CFErrorRef localized = CFErrorCreateWithUserInfoKeysAndValues(nullptr, kCFErrorDomainCocoa, 3840, keys, values, 1);
  EXPECT_EQ(DescriptionOf(localized), "Nothing to see");
  EXPECT_EQ(zrtest::Description(localized),
            "Error Domain=NSCocoaErrorDomain Code=3840 \"Nothing to see\" UserInfo={NSLocalizedDescription=Nothing "
            "to see}");
  EXPECT_FALSE(CFEqual(corrupt, localized));
  CFErrorRef again = CFErrorCreate(nullptr, kCFErrorDomainCocoa, 3840, nullptr);
  EXPECT_TRUE(CFEqual(corrupt, again));
  EXPECT_EQ(CFHash(corrupt), CFHash(again));
  CFRelease(again);
  CFRelease(localized);
  CFRelease(corrupt);
  CFRelease(plain);
  EXPECT_EQ(CFErrorCreate(nullptr, nullptr, 1, nullptr), nullptr);
}

TEST_F(CFErrorTest, FailedAllocationsGiveNullAndLeakNothing) {
  zrtest::ExpectAllocationFailuresHandled(
      10, []() -> CFTypeRef { return CFErrorCreate(nullptr, kCFErrorDomainCocoa, 3840, nullptr); });
}

TEST_F(CFErrorTest, PropertyListReadingFillsTheErrorOnFailureOnly) {
  CFErrorRef error = nullptr;
  CFDataRef bad = zrtest::MakeData("<plist><dict><key>k</key></dict></plist>");
  EXPECT_EQ(CFPropertyListCreateWithData(nullptr, bad, 0, nullptr, &error), nullptr);
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(Utf8(CFErrorGetDomain(error)), "NSCocoaErrorDomain");
  EXPECT_EQ(CFErrorGetCode(error), kCFPropertyListReadCorruptError);
  CFDictionaryRef info = CFErrorCopyUserInfo(error);
  EXPECT_EQ(Utf8(CFDictionaryGetValue(info, CFSTR("NSDebugDescription"))), "XML property list is malformed");
  CFRelease(info);
  CFRelease(error);
  CFRelease(bad);

  error = nullptr;
  CFDataRef empty = zrtest::MakeData("");
  EXPECT_EQ(CFPropertyListCreateWithData(nullptr, empty, 0, nullptr, &error), nullptr);
  ASSERT_NE(error, nullptr);
  info = CFErrorCopyUserInfo(error);
  EXPECT_EQ(Utf8(CFDictionaryGetValue(info, CFSTR("NSDebugDescription"))), "Cannot parse a NULL or zero-length data");
  CFRelease(info);
  CFRelease(error);
  CFRelease(empty);

  error = nullptr;
  CFDataRef binary = zrtest::MakeData(std::string("bplist00\x0F", 9));
  EXPECT_EQ(CFPropertyListCreateWithData(nullptr, binary, 0, nullptr, &error), nullptr);
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(CFErrorGetCode(error), 3840);
  CFRelease(error);
  CFRelease(binary);

  error = reinterpret_cast<CFErrorRef>(1);
  CFDataRef good = zrtest::MakeData("<plist><true/></plist>");
  CFPropertyListRef plist = CFPropertyListCreateWithData(nullptr, good, 0, nullptr, &error);
  EXPECT_EQ(plist, kCFBooleanTrue);
  EXPECT_EQ(error, nullptr);
  CFRelease(plist);
  CFRelease(good);
}

TEST_F(CFErrorTest, PropertyListWritingFillsTheErrorOnFailure) {
  CFErrorRef error = nullptr;
  EXPECT_EQ(CFPropertyListCreateData(nullptr, CFSTR("x"), kCFPropertyListOpenStepFormat, 0, &error), nullptr);
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(CFErrorGetCode(error), 3852);
  CFDictionaryRef info = CFErrorCopyUserInfo(error);
  EXPECT_EQ(Utf8(CFDictionaryGetValue(info, CFSTR("NSDebugDescription"))),
            "Property list format kCFPropertyListOpenStepFormat not supported for writing");
  CFRelease(info);
  EXPECT_EQ(DescriptionOf(error), "The data couldn\u2019t be written because it isn\u2019t in the correct format.");
  CFRelease(error);

  error = nullptr;
  EXPECT_EQ(CFPropertyListCreateData(nullptr, kCFNull, kCFPropertyListXMLFormat_v1_0, 0, &error), nullptr);
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(CFErrorGetCode(error), 3852);
  CFRelease(error);
}

}  // namespace
