// OpenStepPropertyListTest.cpp: reading the old-style (OpenStep) form: strings quoted and
// unquoted, escapes, data, arrays, dictionaries, comments, the brace-less dictionary, the
// mutability options, and malformed and hostile input.
#include <CoreFoundation/CoreFoundation.h>
#include <ZRPlatform/Testing.h>
#include <gtest/gtest.h>

#include <string>

#include "TestSupport.h"

namespace {

using zrtest::Utf8;

class OpenStepPropertyListTest : public zrtest::LeakCheckedTest {};

CFPropertyListRef Read(const std::string& text, CFOptionFlags options = kCFPropertyListImmutable,
                       CFPropertyListFormat* format = nullptr, std::string* why = nullptr) {
  CFDataRef data = zrtest::MakeData(text);
  CFErrorRef error = nullptr;
  CFPropertyListRef plist = CFPropertyListCreateWithData(nullptr, data, options, format, &error);
  CFRelease(data);
  if (error) {
    if (why) {
      CFDictionaryRef info = CFErrorCopyUserInfo(error);
      *why = Utf8(CFDictionaryGetValue(info, CFSTR("NSDebugDescription")));
      CFRelease(info);
    }
    CFRelease(error);
  }
  return plist;
}

// The XML form of what the text reads as, body only; "<NULL>" when it does not read.
std::string AsXML(const std::string& text) {
  CFPropertyListRef plist = Read(text);
  if (!plist) return "<NULL>";
  CFDataRef data = CFPropertyListCreateData(nullptr, plist, kCFPropertyListXMLFormat_v1_0, 0, nullptr);
  CFRelease(plist);
  std::string xml = zrtest::Bytes(data);
  CFRelease(data);
  std::string header = zrtest::XMLPropertyList("");
  std::string prefix = header.substr(0, header.size() - std::string("</plist>\n").size());
  return xml.substr(prefix.size(), xml.size() - header.size());
}

std::string ReasonOf(const std::string& text) {
  std::string why;
  CFPropertyListRef plist = Read(text, kCFPropertyListImmutable, nullptr, &why);
  if (plist) CFRelease(plist);
  return why;
}

TEST_F(OpenStepPropertyListTest, ReadsStringsQuotedAndUnquoted) {
  CFPropertyListFormat format = 0;
  CFPropertyListRef plist = Read("  hello.world_$/:-9  ", kCFPropertyListImmutable, &format);
  EXPECT_EQ(Utf8(plist), "hello.world_$/:-9");
  EXPECT_EQ(format, kCFPropertyListOpenStepFormat);
  CFRelease(plist);
  EXPECT_EQ(AsXML("\"two words\""), "<string>two words</string>\n");
  EXPECT_EQ(AsXML("'single'"), "<string>single</string>\n");
  EXPECT_EQ(AsXML("\"\xC3\xA9t\xC3\xA9\""), "<string>\xC3\xA9t\xC3\xA9</string>\n");
  // Numbers and Booleans are strings in this form.
  EXPECT_EQ(AsXML("(1, YES, 2.5)"),
            "<array>\n\t<string>1</string>\n\t<string>YES</string>\n\t<string>2.5</string>\n</array>\n");
}

TEST_F(OpenStepPropertyListTest, DecodesEscapes) {
  EXPECT_EQ(AsXML(R"("a\tb\nc\"d\\e\'f")"), "<string>a\tb\nc\"d\\e'f</string>\n");
  EXPECT_EQ(AsXML(R"("\U00e9\U20AC")"), "<string>\xC3\xA9\xE2\x82\xAC</string>\n");
  EXPECT_EQ(AsXML(R"("\101\7")"), "<string>A\a</string>\n");
  EXPECT_EQ(AsXML(R"("\Ud83d\Ude00")"), "<string>\xF0\x9F\x98\x80</string>\n");
}

TEST_F(OpenStepPropertyListTest, ReadsDataArraysAndDictionaries) {
  EXPECT_EQ(AsXML("<0fbd 7 7>"), "<data>\nD713\n</data>\n");
  EXPECT_EQ(AsXML("<>"), "<data>\n</data>\n");
  EXPECT_EQ(AsXML("()"), "<array/>\n");
  EXPECT_EQ(AsXML("(a, b,)"), "<array>\n\t<string>a</string>\n\t<string>b</string>\n</array>\n");
  EXPECT_EQ(AsXML("{}"), "<dict/>\n");
  EXPECT_EQ(AsXML("{ b = (x); a = { c = \"d\"; }; }"),
            "<dict>\n\t<key>a</key>\n\t<dict>\n\t\t<key>c</key>\n\t\t<string>d</string>\n\t</dict>\n\t<key>b</key>\n"
            "\t<array>\n\t\t<string>x</string>\n\t</array>\n</dict>\n");
  // A key given twice keeps its last value.
  EXPECT_EQ(AsXML("{k = 1; k = 2;}"), "<dict>\n\t<key>k</key>\n\t<string>2</string>\n</dict>\n");
}

TEST_F(OpenStepPropertyListTest, SkipsCommentsAndReadsBracelessDictionaries) {
  EXPECT_EQ(AsXML("// top\n/* a\n comment */ ( a /* inside */, // end\n b )"),
            "<array>\n\t<string>a</string>\n\t<string>b</string>\n</array>\n");
  EXPECT_EQ(AsXML("\xEF\xBB\xBF\"key\" = \"value\";\nother = x;\n"),
            "<dict>\n\t<key>key</key>\n\t<string>value</string>\n\t<key>other</key>\n\t<string>x</string>\n</dict>\n");
  std::string utf16 = "\xFF\xFE";
  for (char c : std::string("(w)")) {
    utf16.push_back(c);
    utf16.push_back('\0');
  }
  EXPECT_EQ(AsXML(utf16), "<array>\n\t<string>w</string>\n</array>\n");
}

TEST_F(OpenStepPropertyListTest, ReadsTheMutabilityAskedFor) {
  CFPropertyListRef plist = Read("{k = (s, <00>);}", kCFPropertyListMutableContainersAndLeaves);
  ASSERT_NE(plist, nullptr);
  auto array = static_cast<CFMutableArrayRef>(
      const_cast<void*>(CFDictionaryGetValue(static_cast<CFDictionaryRef>(plist), CFSTR("k"))));
  CFArrayAppendValue(array, CFSTR("added"));
  EXPECT_EQ(CFArrayGetCount(array), 3);
  CFStringAppend(static_cast<CFMutableStringRef>(const_cast<void*>(CFArrayGetValueAtIndex(array, 0))), CFSTR("!"));
  EXPECT_EQ(Utf8(CFArrayGetValueAtIndex(array, 0)), "s!");
  CFRelease(plist);
}

TEST_F(OpenStepPropertyListTest, TellsWhyMalformedTextFails) {
  EXPECT_EQ(ReasonOf("(a, b"), "Encountered unexpected EOF");
  EXPECT_EQ(ReasonOf("(a b)"), "Missing ',' or ')' in array at line 1");
  EXPECT_EQ(ReasonOf("{a = b}"), "Missing ';' in dictionary at line 1");
  EXPECT_EQ(ReasonOf("{a b;}"), "Missing '=' in dictionary at line 1");
  EXPECT_EQ(ReasonOf("{(x) = b;}"), "Dictionary key is not a string at line 1");
  EXPECT_EQ(ReasonOf("\"open"), "Unterminated quoted string starting on line 1");
  EXPECT_EQ(ReasonOf("/* never closed"), "Unterminated comment");
  EXPECT_EQ(ReasonOf("(<0g>)"), "Malformed data byte group at line 1; invalid hex");
  EXPECT_EQ(ReasonOf("<0>"), "Malformed data byte group at line 1; uneven length");
  EXPECT_EQ(ReasonOf("a\nb"), "Junk after plist at line 2");
  EXPECT_EQ(ReasonOf("\n\n)"), "Unexpected character ')' at line 3");
  EXPECT_EQ(ReasonOf("   "), "Encountered unexpected EOF");
  EXPECT_EQ(ReasonOf("\xFF\x80"), "Property list is not valid UTF-8 text");
}

TEST_F(OpenStepPropertyListTest, RefusesNestingDeeperThanTheLimit) {
  std::string deep(600, '(');
  EXPECT_EQ(ReasonOf(deep + std::string(600, ')')), "Too many nested arrays or dictionaries");
  std::string fine = std::string(500, '(') + std::string(500, ')');
  CFPropertyListRef plist = Read(fine);
  EXPECT_NE(plist, nullptr);
  if (plist) CFRelease(plist);
}

TEST_F(OpenStepPropertyListTest, FailedAllocationsGiveNullAndLeakNothing) {
  CFDataRef data = zrtest::MakeData("{a = (b, <00ff>); c = d;}");
  zrtest::ExpectAllocationFailuresHandled(30, [data]() -> CFTypeRef {
    return CFPropertyListCreateWithData(nullptr, data, kCFPropertyListMutableContainersAndLeaves, nullptr, nullptr);
  });
  CFRelease(data);
}

}  // namespace
