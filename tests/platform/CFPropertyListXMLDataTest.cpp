// CFPropertyListXMLDataTest.cpp: the older XML data calls: the bytes written, reading any
// format back, the explanation of a refusal.
#include <gtest/gtest.h>

#include "TestSupport.h"

namespace {

using zrtest::Bytes;
using zrtest::MakeData;
using zrtest::XMLPropertyList;

class CFPropertyListXMLDataTest : public zrtest::LeakCheckedTest {};

TEST_F(CFPropertyListXMLDataTest, WritesTheXMLForm) {
  CFDataRef data = CFPropertyListCreateXMLData(nullptr, CFSTR("a<b"));
  ASSERT_NE(data, nullptr);
  EXPECT_EQ(Bytes(data), XMLPropertyList("<string>a&lt;b</string>\n"));
  CFRelease(data);
  EXPECT_EQ(CFPropertyListCreateXMLData(nullptr, nullptr), nullptr);
}

TEST_F(CFPropertyListXMLDataTest, ReadsBackImmutable) {
  CFDataRef data = MakeData(XMLPropertyList("<array>\n\t<integer>1</integer>\n</array>\n"));
  CFStringRef error = CFSTR("untouched");
  CFPropertyListRef list = CFPropertyListCreateFromXMLData(nullptr, data, kCFPropertyListImmutable, &error);
  ASSERT_NE(list, nullptr);
  EXPECT_EQ(error, nullptr);
  EXPECT_EQ(CFGetTypeID(list), CFArrayGetTypeID());
  EXPECT_EQ(CFArrayGetCount(static_cast<CFArrayRef>(list)), 1);
  CFRelease(list);
  CFRelease(data);
}

TEST_F(CFPropertyListXMLDataTest, ExplainsARefusal) {
  CFDataRef data = MakeData("<plist");
  CFStringRef error = nullptr;
  EXPECT_EQ(CFPropertyListCreateFromXMLData(nullptr, data, kCFPropertyListImmutable, &error), nullptr);
  ASSERT_NE(error, nullptr);
  EXPECT_GT(CFStringGetLength(error), 0);
  CFRelease(error);
  // Without a place for the explanation nothing is made.
  EXPECT_EQ(CFPropertyListCreateFromXMLData(nullptr, data, kCFPropertyListImmutable, nullptr), nullptr);
  EXPECT_EQ(CFPropertyListCreateFromXMLData(nullptr, nullptr, kCFPropertyListImmutable, nullptr), nullptr);
  CFRelease(data);
}

}  // namespace
