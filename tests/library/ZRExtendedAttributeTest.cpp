// ZRExtendedAttributeTest.cpp: typed values in extended attributes: the stored bytes, reading
// back through every layer, the silent missing attribute, ERROR lines, links, sizes, values
// that change under the reader, attributes written by the platform, allocation failures.
#include <gtest/gtest.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "TestSupport.h"

namespace {

using zrtest::Bytes;
using zrtest::FormattedErrorLine;
using zrtest::MakeData;
using zrtest::MakeString;
using zrtest::Utf8;
using zrtest::WithoutLines;
using zrtest::XMLPropertyList;

class ExtendedAttributeTest : public zrtest::LeakCheckedTest {
 protected:
  void SetUp() override {
    LeakCheckedTest::SetUp();
    folder_ = zrtest::MakeTemporaryFolder("ZRExtendedAttributeTest");
    ASSERT_FALSE(folder_.empty());
    std::string reason = zrtest::UserAttributesUnsupported(folder_);
    if (!reason.empty()) GTEST_SKIP() << reason;
    file_ = folder_ + "/quote.txt";
    ASSERT_TRUE(zrtest::WriteFile(file_, "AAPL"));
    path_ = file_.c_str();
  }
  void TearDown() override {
    ZRTestingSetAttributeReadHook(nullptr, nullptr);
    pool_.drain();
    EXPECT_TRUE(zrtest::RemoveFolder(folder_));
    LeakCheckedTest::TearDown();
  }

  // The attribute's raw bytes, through the host's call; "<missing>" when there is none.
  std::string Raw(const char* name, const std::string& path = "") {
    const char* file = path.empty() ? path_ : path.c_str();
    ssize_t size = getxattr(file, name, nullptr, 0, 0, XATTR_NOFOLLOW);
    if (size < 0) return "<missing>";
    std::string value(static_cast<size_t>(size), '\0');
    size = getxattr(file, name, value.data(), value.size(), 0, XATTR_NOFOLLOW);
    value.resize(size < 0 ? 0 : static_cast<size_t>(size));
    return value;
  }
  void SetRaw(const char* name, const std::string& bytes) {
    ASSERT_EQ(setxattr(path_, name, bytes.data(), bytes.size(), 0, XATTR_NOFOLLOW), 0);
  }

  std::vector<std::string> Lines() { return WithoutLines(log_.lines()); }

  std::string folder_;
  std::string file_;
  const char* path_ = nullptr;
  zrtest::LogCapture log_;
  NSAutoreleasePool pool_;
};

// ----- What is stored -----

TEST_F(ExtendedAttributeTest, DataIsStoredAsItsBytes) {
  CFDataRef data = MakeData(std::string("\x00\x01\xff<", 4));
  EXPECT_EQ(ZRSetExtendedAttributeDataRefOfPathBuffer(path_, "raw", data, true), noErr);
  EXPECT_EQ(Raw("raw"), std::string("\x00\x01\xff<", 4));
  CFDataRef back = nullptr;
  EXPECT_EQ(ZRCopyExtendedAttributeDataRefOfPathBuffer(path_, "raw", &back, true), noErr);
  EXPECT_EQ(Bytes(back), Bytes(data));
  CFRelease(back);
  CFRelease(data);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(ExtendedAttributeTest, OtherValuesAreStoredAsXMLPropertyLists) {
  CFStringRef string = MakeString("abc");
  EXPECT_EQ(ZRSetExtendedAttributeStringRefOfPathBuffer(path_, "s", string, true), noErr);
  EXPECT_EQ(Raw("s"), XMLPropertyList("<string>abc</string>\n"));
  CFRelease(string);
  EXPECT_EQ(ZRSetExtendedAttributeIntegerOfPathBuffer(path_, "i", -42, true), noErr);
  EXPECT_EQ(Raw("i"), XMLPropertyList("<integer>-42</integer>\n"));
  EXPECT_EQ(ZRSetExtendedAttributeDoubleOfPathBuffer(path_, "d", 2.5, true), noErr);
  EXPECT_EQ(Raw("d"), XMLPropertyList("<real>2.5</real>\n"));
  EXPECT_EQ(ZRSetExtendedAttributeBoolOfPathBuffer(path_, "t", 7, true), noErr);
  EXPECT_EQ(Raw("t"), XMLPropertyList("<true/>\n"));
  EXPECT_EQ(ZRSetExtendedAttributeBoolOfPathBuffer(path_, "f", false, true), noErr);
  EXPECT_EQ(Raw("f"), XMLPropertyList("<false/>\n"));
  EXPECT_EQ(ZRSetExtendedAttributeBooleanRefOfPathBuffer(path_, "b", kCFBooleanTrue, true), noErr);
  EXPECT_EQ(Raw("b"), XMLPropertyList("<true/>\n"));
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(ExtendedAttributeTest, AnyPropertyListRoundTrips) {
  const void* keys[] = {CFSTR("symbol"), CFSTR("shares")};
  CFNumberRef shares = zrtest::Number(100);
  const void* values[] = {CFSTR("AAPL"), shares};
  CFDictionaryRef dictionary =
      CFDictionaryCreate(nullptr, keys, values, 2, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
  EXPECT_EQ(ZRSetExtendedAttributePropertyListRefOfPathBuffer(path_, "position", dictionary, true), noErr);
  CFPropertyListRef back = nullptr;
  EXPECT_EQ(ZRCopyExtendedAttributePropertyListRefOfPathBuffer(path_, "position", &back, true), noErr);
  EXPECT_TRUE(CFEqual(back, dictionary));
  CFRelease(back);
  CFRelease(dictionary);
  CFRelease(shares);
}

TEST_F(ExtendedAttributeTest, TypedValuesRoundTrip) {
  EXPECT_EQ(ZRSetExtendedAttributeIntegerOfPathBuffer(path_, "i", 123456, true), noErr);
  EXPECT_EQ(ZRGetExtendedAttributeIntegerOfPathBuffer(path_, "i", 0, true), 123456);
  EXPECT_EQ(ZRSetExtendedAttributeFloatOfPathBuffer(path_, "f", 1.25f, true), noErr);
  EXPECT_EQ(ZRGetExtendedAttributeFloatOfPathBuffer(path_, "f", 0, true), 1.25f);
  EXPECT_EQ(ZRSetExtendedAttributeDoubleOfPathBuffer(path_, "d", -0.1, true), noErr);
  EXPECT_EQ(ZRGetExtendedAttributeDoubleOfPathBuffer(path_, "d", 0, true), -0.1);
  EXPECT_EQ(ZRSetExtendedAttributeCFIndexOfPathBuffer(path_, "x", 1L << 40, true), noErr);
  EXPECT_EQ(ZRGetExtendedAttributeCFIndexOfPathBuffer(path_, "x", 0, true), 1L << 40);
  EXPECT_EQ(ZRSetExtendedAttributeBoolOfPathBuffer(path_, "b", true, true), noErr);
  EXPECT_EQ(ZRGetExtendedAttributeBoolOfPathBuffer(path_, "b", false, true), true);
  EXPECT_EQ(ZRSetExtendedAttributeBoolOfPathBuffer(path_, "b", false, true), noErr);
  EXPECT_EQ(ZRGetExtendedAttributeBoolOfPathBuffer(path_, "b", true, true), false);
  // Any number reads through any number getter.
  EXPECT_EQ(ZRGetExtendedAttributeDoubleOfPathBuffer(path_, "i", 0, true), 123456.0);
  CFNumberRef number = nullptr;
  EXPECT_EQ(ZRCopyExtendedAttributeNumberRefOfPathBuffer(path_, "f", &number, true), noErr);
  // A real number of a property list reads back as a double, as on the platform.
  EXPECT_EQ(CFNumberGetType(number), kCFNumberFloat64Type);
  CFRelease(number);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(ExtendedAttributeTest, NumberValueSetterTakesAnyNumberType) {
  SInt16 value = -7;
  EXPECT_EQ(ZRSetExtendedAttributeNumberValueOfPathBuffer(path_, "n", kCFNumberSInt16Type, &value, true), noErr);
  EXPECT_EQ(Raw("n"), XMLPropertyList("<integer>-7</integer>\n"));
}

TEST_F(ExtendedAttributeTest, NonASCIINamesAndValues) {
  CFStringRef string = MakeString("Kurs: 12,5 € – Größe ✓ 株");
  EXPECT_EQ(ZRSetExtendedAttributeStringRefOfPathBuffer(path_, "de.börse.notiz", string, true), noErr);
  CFStringRef back = nullptr;
  EXPECT_EQ(ZRCopyExtendedAttributeStringRefOfPathBuffer(path_, "de.börse.notiz", &back, true), noErr);
  EXPECT_EQ(Utf8(back), "Kurs: 12,5 € – Größe ✓ 株");
  CFRelease(back);
  CFRelease(string);
}

TEST_F(ExtendedAttributeTest, StringSetterStoresANumberWithoutTesting) {
  CFNumberRef number = zrtest::Number(5);
  EXPECT_EQ(ZRSetExtendedAttributeStringRefOfPathBuffer(path_, "n", reinterpret_cast<CFStringRef>(number), true),
            noErr);
  CFNumberRef back = nullptr;
  EXPECT_EQ(ZRCopyExtendedAttributeNumberRefOfPathBuffer(path_, "n", &back, true), noErr);
  EXPECT_TRUE(CFEqual(back, number));
  CFRelease(back);
  CFRelease(number);
}

// ----- Reading a value of another kind -----

TEST_F(ExtendedAttributeTest, StringReadAsNumberFails) {
  CFStringRef string = MakeString("abc");
  ASSERT_EQ(ZRSetExtendedAttributeStringRefOfPathBuffer(path_, "s", string, true), noErr);
  CFStringRef back = nullptr;
  EXPECT_EQ(ZRCopyExtendedAttributeStringRefOfPathBuffer(path_, "s", &back, true), noErr);
  EXPECT_TRUE(CFEqual(back, string));
  ZRDestroyStringRef(&back);
  CFNumberRef number = nullptr;
  EXPECT_EQ(ZRCopyExtendedAttributeNumberRefOfPathBuffer(path_, "s", &number, true), unknownErr);
  EXPECT_EQ(number, nullptr);
  EXPECT_EQ(Lines(), std::vector<std::string>{FormattedErrorLine("ZRCopyExtendedAttributeNumberRefOfPathBuffer",
                                                                 CFSTR("typeID is %i and not CFNumberGetTypeID()"),
                                                                 static_cast<int>(CFStringGetTypeID()))});
  log_.clear();
  EXPECT_EQ(ZRCopyExtendedAttributeNumberRefOfPathBuffer(path_, "s", &number, false), unknownErr);
  CFBooleanRef boolean = nullptr;
  EXPECT_EQ(ZRCopyExtendedAttributeBooleanRefOfPathBuffer(path_, "s", &boolean, false), unknownErr);
  EXPECT_TRUE(log_.lines().empty());
  EXPECT_EQ(ZRCopyExtendedAttributeBooleanRefOfPathBuffer(path_, "s", &boolean, true), unknownErr);
  EXPECT_EQ(Lines(), std::vector<std::string>{FormattedErrorLine("ZRCopyExtendedAttributeBooleanRefOfPathBuffer",
                                                                 CFSTR("typeID is %i and not CFBooleanGetTypeID()"),
                                                                 static_cast<int>(CFStringGetTypeID()))});
  log_.clear();
  ASSERT_EQ(ZRSetExtendedAttributeIntegerOfPathBuffer(path_, "i", 1, true), noErr);
  EXPECT_EQ(ZRCopyExtendedAttributeStringRefOfPathBuffer(path_, "i", &back, true), unknownErr);
  EXPECT_EQ(Lines(), std::vector<std::string>{FormattedErrorLine("ZRCopyExtendedAttributeStringRefOfPathBuffer",
                                                                 CFSTR("typeID is %i and not CFStringGetTypeID()"),
                                                                 static_cast<int>(CFNumberGetTypeID()))});
  CFRelease(string);
}

TEST_F(ExtendedAttributeTest, LossyConversionLogsAndGivesTheApproximation) {
  ASSERT_EQ(ZRSetExtendedAttributeDoubleOfPathBuffer(path_, "d", 2.5, true), noErr);
  EXPECT_EQ(ZRGetExtendedAttributeIntegerOfPathBuffer(path_, "d", 9, true), 2);
  EXPECT_EQ(Lines(), std::vector<std::string>{
                         FormattedErrorLine("ZRGetExtendedAttributeIntegerOfPathBuffer",
                                            CFSTR("CFNumberGetValue returns false, CFNumberGetType returns %i"),
                                            static_cast<int>(kCFNumberFloat64Type))});
  log_.clear();
  EXPECT_EQ(ZRGetExtendedAttributeCFIndexOfPathBuffer(path_, "d", 9, false), 2);
  EXPECT_TRUE(log_.lines().empty());
  EXPECT_EQ(ZRGetExtendedAttributeCFIndexOfPathBuffer(path_, "d", 9, true), 2);
  EXPECT_EQ(Lines(), std::vector<std::string>{
                         FormattedErrorLine("ZRGetExtendedAttributeCFIndexOfPathBuffer",
                                            CFSTR("CFNumberGetValue returns false, CFNumberGetType returns %i"),
                                            static_cast<int>(kCFNumberFloat64Type))});
  log_.clear();
  ASSERT_EQ(ZRSetExtendedAttributeDoubleOfPathBuffer(path_, "d", 0.1, true), noErr);
  EXPECT_EQ(ZRGetExtendedAttributeFloatOfPathBuffer(path_, "d", 9, true), 0.1f);
  EXPECT_EQ(Lines(), std::vector<std::string>{
                         FormattedErrorLine("ZRGetExtendedAttributeFloatOfPathBuffer",
                                            CFSTR("CFNumberGetValue returns false, CFNumberGetType returns %i"),
                                            static_cast<int>(kCFNumberFloat64Type))});
}

TEST_F(ExtendedAttributeTest, ValueGettersGiveTheDefaultForOtherKinds) {
  ASSERT_EQ(ZRSetExtendedAttributeIntegerOfPathBuffer(path_, "i", 1, true), noErr);
  EXPECT_EQ(ZRGetExtendedAttributeBoolOfPathBuffer(path_, "i", true, false), true);
  EXPECT_EQ(ZRGetExtendedAttributeBoolOfPathBuffer(path_, "i", false, false), false);
  EXPECT_TRUE(log_.lines().empty());
  EXPECT_EQ(ZRGetExtendedAttributeBoolOfPathBuffer(path_, "i", true, true), true);
  EXPECT_EQ(Lines(), (std::vector<std::string>{
                         FormattedErrorLine("ZRCopyExtendedAttributeBooleanRefOfPathBuffer",
                                            CFSTR("typeID is %i and not CFBooleanGetTypeID()"),
                                            static_cast<int>(CFNumberGetTypeID())),
                         FormattedErrorLine("ZRGetExtendedAttributeBoolOfPathBuffer",
                                            CFSTR("ZRCopyExtendedAttributeBooleanRefOfPathBuffer returns %i"),
                                            static_cast<int>(unknownErr))}));
  log_.clear();
  ASSERT_EQ(ZRSetExtendedAttributeBoolOfPathBuffer(path_, "b", true, true), noErr);
  EXPECT_EQ(ZRGetExtendedAttributeDoubleOfPathBuffer(path_, "b", 4.5, true), 4.5);
  EXPECT_EQ(Lines(), (std::vector<std::string>{
                         FormattedErrorLine("ZRCopyExtendedAttributeNumberRefOfPathBuffer",
                                            CFSTR("typeID is %i and not CFNumberGetTypeID()"),
                                            static_cast<int>(CFBooleanGetTypeID())),
                         FormattedErrorLine("ZRGetExtendedAttributeDoubleOfPathBuffer",
                                            CFSTR("ZRCopyExtendedAttributeNumberRefOfPathBuffer returns %i"),
                                            static_cast<int>(unknownErr))}));
}

// ----- The missing attribute -----

TEST_F(ExtendedAttributeTest, MissingAttributeIsSilentAtEveryLayer) {
  CFDataRef data = nullptr;
  CFPropertyListRef propertyList = nullptr;
  CFStringRef string = nullptr;
  CFNumberRef number = nullptr;
  CFBooleanRef boolean = nullptr;
  for (Boolean log : {false, true}) {
    EXPECT_EQ(ZRCopyExtendedAttributeDataRefOfPathBuffer(path_, "missing", &data, log), errFSAttributeNotFound);
    EXPECT_EQ(ZRCopyExtendedAttributePropertyListRefOfPathBuffer(path_, "missing", &propertyList, log),
              errFSAttributeNotFound);
    EXPECT_EQ(ZRCopyExtendedAttributeStringRefOfPathBuffer(path_, "missing", &string, log), errFSAttributeNotFound);
    EXPECT_EQ(ZRCopyExtendedAttributeNumberRefOfPathBuffer(path_, "missing", &number, log), errFSAttributeNotFound);
    EXPECT_EQ(ZRCopyExtendedAttributeBooleanRefOfPathBuffer(path_, "missing", &boolean, log), errFSAttributeNotFound);
    EXPECT_EQ(ZRGetExtendedAttributeIntegerOfPathBuffer(path_, "missing", 17, log), 17);
    EXPECT_EQ(ZRGetExtendedAttributeFloatOfPathBuffer(path_, "missing", 1.5f, log), 1.5f);
    EXPECT_EQ(ZRGetExtendedAttributeDoubleOfPathBuffer(path_, "missing", 2.5, log), 2.5);
    EXPECT_EQ(ZRGetExtendedAttributeCFIndexOfPathBuffer(path_, "missing", -3, log), -3);
    EXPECT_EQ(ZRGetExtendedAttributeBoolOfPathBuffer(path_, "missing", true, log), true);
  }
  EXPECT_EQ(data, nullptr);
  EXPECT_EQ(propertyList, nullptr);
  EXPECT_EQ(string, nullptr);
  EXPECT_EQ(number, nullptr);
  EXPECT_EQ(boolean, nullptr);
  EXPECT_TRUE(log_.lines().empty());
}

// ----- Empty and unparsable values -----

TEST_F(ExtendedAttributeTest, EmptyAttributeReadsAsEmptyDataAndFailsToParse) {
  SetRaw("empty", "");
  CFDataRef data = nullptr;
  EXPECT_EQ(ZRCopyExtendedAttributeDataRefOfPathBuffer(path_, "empty", &data, true), noErr);
  ASSERT_NE(data, nullptr);
  EXPECT_EQ(CFDataGetLength(data), 0);
  CFRelease(data);
  CFStringRef string = nullptr;
  EXPECT_EQ(ZRCopyExtendedAttributeStringRefOfPathBuffer(path_, "empty", &string, true), unknownErr);
  EXPECT_EQ(Lines(), (std::vector<std::string>{
                         FormattedErrorLine("ZRCopyExtendedAttributePropertyListRefOfPathBuffer",
                                            CFSTR("CFPropertyListCreateFromXMLData returns NULL")),
                         FormattedErrorLine("ZRCopyExtendedAttributeStringRefOfPathBuffer",
                                            CFSTR("ZRCopyExtendedAttributePropertyListRefOfPathBuffer returns %@"),
                                            ZRCarbonErrorString(unknownErr))}));
  log_.clear();
  CFNumberRef number = nullptr;
  SetRaw("text", "not a property list <");
  EXPECT_EQ(ZRCopyExtendedAttributeNumberRefOfPathBuffer(path_, "text", &number, true), unknownErr);
  EXPECT_EQ(Lines(), (std::vector<std::string>{
                         FormattedErrorLine("ZRCopyExtendedAttributePropertyListRefOfPathBuffer",
                                            CFSTR("CFPropertyListCreateFromXMLData returns NULL")),
                         FormattedErrorLine("ZRCopyExtendedAttributeNumberRefOfPathBuffer",
                                            CFSTR("ZRCopyExtendedAttributePropertyListRefOfPathBuffer returns %i"),
                                            static_cast<int>(unknownErr))}));
  log_.clear();
  EXPECT_EQ(ZRCopyExtendedAttributeNumberRefOfPathBuffer(path_, "text", &number, false), unknownErr);
  EXPECT_TRUE(log_.lines().empty());
  CFBooleanRef boolean = nullptr;
  EXPECT_EQ(ZRCopyExtendedAttributeBooleanRefOfPathBuffer(path_, "text", &boolean, true), unknownErr);
  EXPECT_EQ(Lines().back(), FormattedErrorLine("ZRCopyExtendedAttributeBooleanRefOfPathBuffer",
                                               CFSTR("ZRCopyExtendedAttributePropertyListRefOfPathBuffer returns %@"),
                                               ZRCarbonErrorString(unknownErr)));
}

// ----- Files that fail -----

TEST_F(ExtendedAttributeTest, MissingFileFailsThroughEveryLayer) {
  std::string missing = folder_ + "/missing";
  const char* path = missing.c_str();
  CFStringRef string = nullptr;
  EXPECT_EQ(ZRCopyExtendedAttributeStringRefOfPathBuffer(path, "a", &string, true), unknownErr);
  EXPECT_EQ(Lines(),
            (std::vector<std::string>{
                FormattedErrorLine("ZRCopyExtendedAttributeDataRefOfPathBuffer",
                                   CFSTR("getxattr returns %@ for '%s'/'%s'"), ZRErrnoErrorString(ENOENT), "a", path),
                FormattedErrorLine("ZRCopyExtendedAttributePropertyListRefOfPathBuffer",
                                   CFSTR("ZRCopyExtendedAttributeDataRefOfPathBuffer returns %@"),
                                   ZRCarbonErrorString(unknownErr)),
                FormattedErrorLine("ZRCopyExtendedAttributeStringRefOfPathBuffer",
                                   CFSTR("ZRCopyExtendedAttributePropertyListRefOfPathBuffer returns %@"),
                                   ZRCarbonErrorString(unknownErr))}));
  log_.clear();
  EXPECT_EQ(ZRGetExtendedAttributeIntegerOfPathBuffer(path, "a", 5, true), 5);
  EXPECT_EQ(Lines().size(), 4u);
  EXPECT_EQ(Lines().back(), FormattedErrorLine("ZRGetExtendedAttributeIntegerOfPathBuffer",
                                               CFSTR("ZRCopyExtendedAttributeNumberRefOfPathBuffer returns %i"),
                                               static_cast<int>(unknownErr)));
  log_.clear();
  EXPECT_EQ(ZRGetExtendedAttributeIntegerOfPathBuffer(path, "a", 5, false), 5);
  EXPECT_EQ(ZRCopyExtendedAttributeStringRefOfPathBuffer(path, "a", &string, false), unknownErr);
  CFDataRef data = MakeData("x");
  EXPECT_EQ(ZRSetExtendedAttributeDataRefOfPathBuffer(path, "a", data, false), unknownErr);
  EXPECT_TRUE(log_.lines().empty());
  EXPECT_EQ(ZRSetExtendedAttributeDataRefOfPathBuffer(path, "a", data, true), unknownErr);
  EXPECT_EQ(Lines(), std::vector<std::string>{FormattedErrorLine("ZRSetExtendedAttributeDataRefOfPathBuffer",
                                                                 CFSTR("setxattr returns %@ for '%s'/'%s'"),
                                                                 ZRErrnoErrorString(ENOENT), "a", path)});
  log_.clear();
  EXPECT_EQ(ZRSetExtendedAttributeIntegerOfPathBuffer(path, "a", 1, true), unknownErr);
  EXPECT_EQ(Lines(),
            (std::vector<std::string>{
                FormattedErrorLine("ZRSetExtendedAttributePropertyListRefOfPathBuffer",
                                   CFSTR("setxattr returns %@ for '%s'/'%s'"), ZRErrnoErrorString(ENOENT), "a", path),
                FormattedErrorLine("ZRSetExtendedAttributeNumberValueOfPathBuffer",
                                   CFSTR("ZRSetExtendedAttributeNumberRefOfPathBuffer returns %i"),
                                   static_cast<int>(unknownErr))}));
  log_.clear();
  EXPECT_EQ(ZRSetExtendedAttributeIntegerOfPathBuffer(path, "a", 1, false), unknownErr);
  EXPECT_TRUE(log_.lines().empty());
  CFRelease(data);
}

TEST_F(ExtendedAttributeTest, FoldersKeepAttributes) {
  EXPECT_EQ(ZRSetExtendedAttributeIntegerOfPathBuffer(folder_.c_str(), "count", 3, true), noErr);
  EXPECT_EQ(ZRGetExtendedAttributeIntegerOfPathBuffer(folder_.c_str(), "count", 0, true), 3);
}

TEST_F(ExtendedAttributeTest, LinksAreNeverFollowed) {
  std::string link = folder_ + "/link";
  ASSERT_EQ(symlink(file_.c_str(), link.c_str()), 0);
  ASSERT_EQ(ZRSetExtendedAttributeIntegerOfPathBuffer(path_, "target", 1, true), noErr);
  // The link's own attribute is read, never the target's: the link has none.
  EXPECT_EQ(ZRGetExtendedAttributeIntegerOfPathBuffer(link.c_str(), "target", 0, true), 0);
  EXPECT_TRUE(log_.lines().empty());
  // Linux keeps no user attributes on links: the write is refused and the target untouched.
  EXPECT_EQ(ZRSetExtendedAttributeIntegerOfPathBuffer(link.c_str(), "target", 2, true), unknownErr);
  EXPECT_EQ(Lines().front(), FormattedErrorLine("ZRSetExtendedAttributePropertyListRefOfPathBuffer",
                                                CFSTR("setxattr returns %@ for '%s'/'%s'"), ZRErrnoErrorString(EPERM),
                                                "target", link.c_str()));
  EXPECT_EQ(ZRGetExtendedAttributeIntegerOfPathBuffer(path_, "target", 0, true), 1);
}

TEST_F(ExtendedAttributeTest, ValuesUpToTheFileSystemLimit) {
  size_t limit = zrtest::LargestAttributeValue(file_, "big");
  ASSERT_GT(limit, 0u);
  std::mt19937 generator(7);
  std::string bytes = zrtest::RandomBytes(limit, &generator);
  CFDataRef data = MakeData(bytes);
  EXPECT_EQ(ZRSetExtendedAttributeDataRefOfPathBuffer(path_, "big", data, true), noErr);
  CFDataRef back = nullptr;
  EXPECT_EQ(ZRCopyExtendedAttributeDataRefOfPathBuffer(path_, "big", &back, true), noErr);
  EXPECT_TRUE(Bytes(back) == bytes);
  CFRelease(back);
  CFRelease(data);
  // One byte more is refused whole, and the value already there stays.
  // The file system's own refusal (E2BIG or ENOSPC on ext4, by the size) is what the line shows.
  std::string larger(limit + 1, 'y');
  ASSERT_EQ(setxattr(path_, "big", larger.data(), larger.size(), 0, XATTR_NOFOLLOW), -1);
  int refusal = errno;
  data = MakeData(larger);
  EXPECT_EQ(ZRSetExtendedAttributeDataRefOfPathBuffer(path_, "big", data, true), unknownErr);
  ASSERT_EQ(log_.lines().size(), 1u);
  EXPECT_EQ(Lines()[0],
            FormattedErrorLine("ZRSetExtendedAttributeDataRefOfPathBuffer", CFSTR("setxattr returns %@ for '%s'/'%s'"),
                               ZRErrnoErrorString(refusal), "big", path_));
  EXPECT_TRUE(Raw("big") == bytes);
  CFRelease(data);
  // A string whose property list is too large fails in the same way.
  log_.clear();
  CFStringRef string = MakeString(std::string(limit, 's'));
  EXPECT_EQ(ZRSetExtendedAttributeStringRefOfPathBuffer(path_, "big", string, false), unknownErr);
  EXPECT_TRUE(Raw("big") == bytes);
  CFRelease(string);
}

// ----- Values that change under the reader -----

struct ChangeBetweenReads {
  int calls = 0;
  bool remove = false;
};

void ChangeOnSecondRead(const char* path, const char* name, void* context) {
  auto* change = static_cast<ChangeBetweenReads*>(context);
  if (++change->calls != 2) return;
  if (change->remove) {
    removexattr(path, name, XATTR_NOFOLLOW);
  } else {
    std::string longer(64, 'L');
    setxattr(path, name, longer.data(), longer.size(), 0, XATTR_NOFOLLOW);
  }
}

TEST_F(ExtendedAttributeTest, AttributeThatGrowsBeforeTheReadFails) {
  SetRaw("a", "short");
  ChangeBetweenReads change;
  ZRTestingSetAttributeReadHook(ChangeOnSecondRead, &change);
  CFDataRef data = nullptr;
  EXPECT_EQ(ZRCopyExtendedAttributeDataRefOfPathBuffer(path_, "a", &data, true), unknownErr);
  EXPECT_EQ(data, nullptr);
  EXPECT_EQ(Lines(), std::vector<std::string>{FormattedErrorLine("ZRCopyExtendedAttributeDataRefOfPathBuffer",
                                                                 CFSTR("getxattr returns %@ for '%s'/'%s'"),
                                                                 ZRErrnoErrorString(ERANGE), "a", path_)});
}

TEST_F(ExtendedAttributeTest, AttributeRemovedBeforeTheReadIsMissing) {
  SetRaw("a", "short");
  ChangeBetweenReads change;
  change.remove = true;
  ZRTestingSetAttributeReadHook(ChangeOnSecondRead, &change);
  CFDataRef data = nullptr;
  EXPECT_EQ(ZRCopyExtendedAttributeDataRefOfPathBuffer(path_, "a", &data, true), errFSAttributeNotFound);
  EXPECT_EQ(data, nullptr);
  EXPECT_TRUE(log_.lines().empty());
}

// ----- Attributes written on the platform -----

// Values as the platform's own tools write them, copied to Linux by a file server, which keeps
// each attribute as user.<name>. The documents are written out by hand in the published format.
TEST_F(ExtendedAttributeTest, ReadsAttributesCopiedFromThePlatform) {
  SetRaw("user.com.korvane.price", XMLPropertyList("<real>187.25</real>\n"));
  SetRaw("user.com.korvane.symbol", XMLPropertyList("<string>M&amp;M&apos;s &lt;OTC&gt;</string>\n"));
  SetRaw("user.com.korvane.watched", XMLPropertyList("<true/>\n"));
  SetRaw("user.com.korvane.lots", XMLPropertyList("<integer>-12</integer>\n"));
  SetRaw("user.com.korvane.note", XMLPropertyList("<string>Rückkauf geplant</string>\n"));
  SetRaw("user.com.korvane.position",
         XMLPropertyList("<dict>\n\t<key>bought</key>\n\t<date>2008-03-14T15:30:00Z</date>\n\t<key>shares</key>\n"
                         "\t<array>\n\t\t<integer>10</integer>\n\t\t<real>2.5</real>\n\t</array>\n</dict>\n"));
  EXPECT_EQ(ZRGetExtendedAttributeDoubleOfPathBuffer(path_, "com.korvane.price", 0, true), 187.25);
  EXPECT_EQ(ZRGetExtendedAttributeIntegerOfPathBuffer(path_, "com.korvane.lots", 0, true), -12);
  EXPECT_EQ(ZRGetExtendedAttributeBoolOfPathBuffer(path_, "com.korvane.watched", false, true), true);
  CFStringRef string = nullptr;
  EXPECT_EQ(ZRCopyExtendedAttributeStringRefOfPathBuffer(path_, "com.korvane.symbol", &string, true), noErr);
  EXPECT_EQ(Utf8(string), "M&M's <OTC>");
  ZRDestroyStringRef(&string);
  EXPECT_EQ(ZRCopyExtendedAttributeStringRefOfPathBuffer(path_, "com.korvane.note", &string, true), noErr);
  EXPECT_EQ(Utf8(string), "Rückkauf geplant");
  CFRelease(string);
  CFPropertyListRef position = nullptr;
  EXPECT_EQ(ZRCopyExtendedAttributePropertyListRefOfPathBuffer(path_, "com.korvane.position", &position, true), noErr);
  ASSERT_EQ(CFGetTypeID(position), CFDictionaryGetTypeID());
  auto shares = static_cast<CFArrayRef>(CFDictionaryGetValue(static_cast<CFDictionaryRef>(position), CFSTR("shares")));
  ASSERT_NE(shares, nullptr);
  EXPECT_EQ(CFArrayGetCount(shares), 2);
  auto bought = static_cast<CFDateRef>(CFDictionaryGetValue(static_cast<CFDictionaryRef>(position), CFSTR("bought")));
  ASSERT_NE(bought, nullptr);
  // 2008-03-14T15:30:00Z in seconds since 2001-01-01T00:00:00Z.
  EXPECT_EQ(CFDateGetAbsoluteTime(bought), 227201400.0);
  CFRelease(position);
  EXPECT_TRUE(log_.lines().empty());
  // What the library writes, the platform reads: the same bytes it would have written.
  EXPECT_EQ(ZRSetExtendedAttributeDoubleOfPathBuffer(path_, "com.korvane.price", 187.25, true), noErr);
  EXPECT_EQ(Raw("user.com.korvane.price"), XMLPropertyList("<real>187.25</real>\n"));
}

// ----- Arguments -----

TEST_F(ExtendedAttributeTest, SettersRefuseMissingArguments) {
  CFDataRef data = MakeData("x");
  int number = 1;
  struct Case {
    const char* function;
    CFStringRef format;
    std::function<OSStatus(const char*, const char*, const void*, Boolean)> call;
  };
  std::vector<Case> cases = {
      {"ZRSetExtendedAttributeDataRefOfPathBuffer",
       CFSTR("inPathBuffer: %p, inExtendedAttributeBuffer: %p, inDataRef: %p"),
       [](const char* p, const char* n, const void* v, Boolean l) {
         return ZRSetExtendedAttributeDataRefOfPathBuffer(p, n, static_cast<CFDataRef>(v), l);
       }},
      {"ZRSetExtendedAttributePropertyListRefOfPathBuffer",
       CFSTR("inPathBuffer: %p, inExtendedAttributeBuffer: %p, inPropertyListRef: %p"),
       [](const char* p, const char* n, const void* v, Boolean l) {
         return ZRSetExtendedAttributePropertyListRefOfPathBuffer(p, n, v, l);
       }},
      {"ZRSetExtendedAttributePropertyListRefOfPathBuffer",
       CFSTR("inPathBuffer: %p, inExtendedAttributeBuffer: %p, inPropertyListRef: %p"),
       [](const char* p, const char* n, const void* v, Boolean l) {
         return ZRSetExtendedAttributeStringRefOfPathBuffer(p, n, static_cast<CFStringRef>(v), l);
       }},
      {"ZRSetExtendedAttributePropertyListRefOfPathBuffer",
       CFSTR("inPathBuffer: %p, inExtendedAttributeBuffer: %p, inPropertyListRef: %p"),
       [](const char* p, const char* n, const void* v, Boolean l) {
         return ZRSetExtendedAttributeNumberRefOfPathBuffer(p, n, static_cast<CFNumberRef>(v), l);
       }},
      {"ZRSetExtendedAttributePropertyListRefOfPathBuffer",
       CFSTR("inPathBuffer: %p, inExtendedAttributeBuffer: %p, inPropertyListRef: %p"),
       [](const char* p, const char* n, const void* v, Boolean l) {
         return ZRSetExtendedAttributeBooleanRefOfPathBuffer(p, n, static_cast<CFBooleanRef>(v), l);
       }},
      {"ZRSetExtendedAttributeNumberValueOfPathBuffer",
       CFSTR("inPathBuffer: %p, inExtendedAttributeBuffer: %p, inNumberValue: %p"),
       [](const char* p, const char* n, const void* v, Boolean l) {
         return ZRSetExtendedAttributeNumberValueOfPathBuffer(p, n, kCFNumberIntType, v, l);
       }},
  };
  for (const Case& c : cases) {
    const void* value = c.function == std::string("ZRSetExtendedAttributeNumberValueOfPathBuffer")
                            ? static_cast<const void*>(&number)
                            : static_cast<const void*>(data);
    for (int missing = 0; missing < 3; ++missing) {
      const char* path = missing == 0 ? nullptr : path_;
      const char* name = missing == 1 ? nullptr : "a";
      const void* given = missing == 2 ? nullptr : value;
      log_.clear();
      EXPECT_EQ(c.call(path, name, given, false), paramErr) << c.function << missing;
      EXPECT_TRUE(log_.lines().empty());
      EXPECT_EQ(c.call(path, name, given, true), paramErr) << c.function << missing;
      EXPECT_EQ(Lines(), std::vector<std::string>{FormattedErrorLine(c.function, c.format, path, name, given)})
          << c.function << missing;
    }
  }
  // The scalar setters check through the number-value setter; the Bool setter through the
  // property-list setter.
  log_.clear();
  EXPECT_EQ(ZRSetExtendedAttributeIntegerOfPathBuffer(nullptr, "a", 1, true), paramErr);
  EXPECT_EQ(ZRSetExtendedAttributeFloatOfPathBuffer(path_, nullptr, 1, true), paramErr);
  EXPECT_EQ(ZRSetExtendedAttributeDoubleOfPathBuffer(nullptr, nullptr, 1, true), paramErr);
  EXPECT_EQ(ZRSetExtendedAttributeCFIndexOfPathBuffer(nullptr, "a", 1, false), paramErr);
  EXPECT_EQ(ZRSetExtendedAttributeBoolOfPathBuffer(nullptr, "a", 1, true), paramErr);
  std::vector<std::string> lines = Lines();
  ASSERT_EQ(lines.size(), 4u);
  for (int i = 0; i < 3; ++i)
    EXPECT_NE(lines[i].find("(ZRSetExtendedAttributeNumberValueOfPathBuffer)"), std::string::npos);
  EXPECT_NE(lines[3].find("(ZRSetExtendedAttributePropertyListRefOfPathBuffer)"), std::string::npos);
  EXPECT_EQ(Raw("a"), "<missing>");
  CFRelease(data);
}

TEST_F(ExtendedAttributeTest, GettersRefuseMissingArgumentsAndFullSlots) {
  CFTypeRef full = CFSTR("full");
  struct Case {
    const char* function;
    const char* out;
    std::function<OSStatus(const char*, const char*, CFTypeRef*, Boolean)> call;
  };
  std::vector<Case> cases = {
      {"ZRCopyExtendedAttributeDataRefOfPathBuffer", "outDataRef",
       [](const char* p, const char* n, CFTypeRef* o, Boolean l) {
         return ZRCopyExtendedAttributeDataRefOfPathBuffer(p, n, reinterpret_cast<CFDataRef*>(o), l);
       }},
      {"ZRCopyExtendedAttributePropertyListRefOfPathBuffer", "outPropertyListRef",
       [](const char* p, const char* n, CFTypeRef* o, Boolean l) {
         return ZRCopyExtendedAttributePropertyListRefOfPathBuffer(p, n, o, l);
       }},
      {"ZRCopyExtendedAttributeStringRefOfPathBuffer", "outStringRef",
       [](const char* p, const char* n, CFTypeRef* o, Boolean l) {
         return ZRCopyExtendedAttributeStringRefOfPathBuffer(p, n, reinterpret_cast<CFStringRef*>(o), l);
       }},
      {"ZRCopyExtendedAttributeNumberRefOfPathBuffer", "outNumberRef",
       [](const char* p, const char* n, CFTypeRef* o, Boolean l) {
         return ZRCopyExtendedAttributeNumberRefOfPathBuffer(p, n, reinterpret_cast<CFNumberRef*>(o), l);
       }},
      {"ZRCopyExtendedAttributeBooleanRefOfPathBuffer", "outBooleanRef",
       [](const char* p, const char* n, CFTypeRef* o, Boolean l) {
         return ZRCopyExtendedAttributeBooleanRefOfPathBuffer(p, n, reinterpret_cast<CFBooleanRef*>(o), l);
       }},
  };
  SetRaw("a", XMLPropertyList("<true/>\n"));
  for (const Case& c : cases) {
    CFStringRef format = CFStringCreateWithFormat(
        nullptr, nullptr, CFSTR("inPathBuffer: %%p, inExtendedAttributeBuffer: %%p, %s: %%p"), c.out);
    for (int bad = 0; bad < 4; ++bad) {
      CFTypeRef slot = bad == 3 ? full : nullptr;
      const char* path = bad == 0 ? nullptr : path_;
      const char* name = bad == 1 ? nullptr : "a";
      CFTypeRef* out = bad == 2 ? nullptr : &slot;
      log_.clear();
      EXPECT_EQ(c.call(path, name, out, false), paramErr) << c.function << bad;
      EXPECT_TRUE(log_.lines().empty());
      EXPECT_EQ(c.call(path, name, out, true), paramErr) << c.function << bad;
      EXPECT_EQ(Lines(),
                std::vector<std::string>{FormattedErrorLine(c.function, format, path, name, static_cast<void*>(out))})
          << c.function << bad;
      // A full slot is left as it was.
      EXPECT_EQ(slot, bad == 3 ? full : nullptr);
    }
    CFRelease(format);
  }
}

TEST_F(ExtendedAttributeTest, ValueGettersRefuseMissingArguments) {
  const char* functions[] = {"ZRGetExtendedAttributeIntegerOfPathBuffer", "ZRGetExtendedAttributeFloatOfPathBuffer",
                             "ZRGetExtendedAttributeDoubleOfPathBuffer", "ZRGetExtendedAttributeCFIndexOfPathBuffer",
                             "ZRGetExtendedAttributeBoolOfPathBuffer"};
  for (int bad = 0; bad < 2; ++bad) {
    const char* path = bad == 0 ? nullptr : path_;
    const char* name = bad == 1 ? nullptr : "a";
    log_.clear();
    EXPECT_EQ(ZRGetExtendedAttributeIntegerOfPathBuffer(path, name, 4, false), 4);
    EXPECT_EQ(ZRGetExtendedAttributeFloatOfPathBuffer(path, name, 4.5f, false), 4.5f);
    EXPECT_EQ(ZRGetExtendedAttributeDoubleOfPathBuffer(path, name, 5.5, false), 5.5);
    EXPECT_EQ(ZRGetExtendedAttributeCFIndexOfPathBuffer(path, name, 6, false), 6);
    EXPECT_EQ(ZRGetExtendedAttributeBoolOfPathBuffer(path, name, true, false), true);
    EXPECT_TRUE(log_.lines().empty());
    EXPECT_EQ(ZRGetExtendedAttributeIntegerOfPathBuffer(path, name, 4, true), 4);
    EXPECT_EQ(ZRGetExtendedAttributeFloatOfPathBuffer(path, name, 4.5f, true), 4.5f);
    EXPECT_EQ(ZRGetExtendedAttributeDoubleOfPathBuffer(path, name, 5.5, true), 5.5);
    EXPECT_EQ(ZRGetExtendedAttributeCFIndexOfPathBuffer(path, name, 6, true), 6);
    EXPECT_EQ(ZRGetExtendedAttributeBoolOfPathBuffer(path, name, false, true), false);
    std::vector<std::string> expected;
    for (const char* function : functions) {
      expected.push_back(
          FormattedErrorLine(function, CFSTR("inPathBuffer: %p, inExtendedAttributeBuffer: %p"), path, name));
    }
    EXPECT_EQ(Lines(), expected);
  }
}

// ----- Allocation failures -----

// Runs the reading call with each of its allocations failing in turn; returns the distinct
// ERROR lines of the failed runs (nothing may leak: the helper checks).
std::set<std::string> ReadFailureLines(zrtest::LogCapture* log, const std::function<CFTypeRef()>& read) {
  log->clear();
  zrtest::ExpectAllocationFailuresHandled(20, read);
  std::set<std::string> lines;
  for (const std::string& line : WithoutLines(log->lines())) lines.insert(line);
  return lines;
}

TEST_F(ExtendedAttributeTest, AllocationFailuresOfTheReaders) {
  SetRaw("s", XMLPropertyList("<string>value</string>\n"));
  std::set<std::string> lines = ReadFailureLines(&log_, [&]() -> CFTypeRef {
    NSAutoreleasePool pool;
    CFStringRef string = nullptr;
    OSStatus status = ZRCopyExtendedAttributeStringRefOfPathBuffer(path_, "s", &string, true);
    EXPECT_EQ(status == noErr, string != nullptr);
    return string;
  });
  EXPECT_TRUE(
      lines.count(FormattedErrorLine("ZRCopyExtendedAttributeDataRefOfPathBuffer", CFSTR("calloc returns NULL"))));
  EXPECT_TRUE(lines.count(
      FormattedErrorLine("ZRCopyExtendedAttributeDataRefOfPathBuffer", CFSTR("CFDataCreate returns NULL"))));
  EXPECT_TRUE(lines.count(FormattedErrorLine("ZRCopyExtendedAttributePropertyListRefOfPathBuffer",
                                             CFSTR("CFPropertyListCreateFromXMLData returns NULL"))));
  for (int value : {0, 1}) {
    ASSERT_EQ(ZRSetExtendedAttributeIntegerOfPathBuffer(path_, "i", 41 + value, true), noErr);
    zrtest::ExpectAllocationFailuresHandled(20, [&]() -> CFTypeRef {
      NSAutoreleasePool pool;
      int read = ZRGetExtendedAttributeIntegerOfPathBuffer(path_, "i", -1, value == 1);
      EXPECT_TRUE(read == -1 || read == 41 + value) << read;
      return read == -1 ? nullptr : CFRetain(kCFBooleanTrue);
    });
  }
}

TEST_F(ExtendedAttributeTest, AllocationFailuresOfTheWriters) {
  log_.clear();
  zrtest::ExpectAllocationFailuresHandled(20, [&]() -> CFTypeRef {
    NSAutoreleasePool pool;
    OSStatus status = ZRSetExtendedAttributeDoubleOfPathBuffer(path_, "d", 3.5, true);
    return status == noErr ? CFRetain(kCFBooleanTrue) : nullptr;
  });
  std::set<std::string> lines;
  for (const std::string& line : Lines()) lines.insert(line);
  EXPECT_TRUE(lines.count(
      FormattedErrorLine("ZRSetExtendedAttributeNumberValueOfPathBuffer", CFSTR("CFNumberCreate returns NULL"))));
  EXPECT_TRUE(lines.count(FormattedErrorLine("ZRSetExtendedAttributePropertyListRefOfPathBuffer",
                                             CFSTR("CFPropertyListCreateXMLData returns NULL"))));
  EXPECT_EQ(ZRGetExtendedAttributeDoubleOfPathBuffer(path_, "d", 0, true), 3.5);
  // Silently too.
  log_.clear();
  zrtest::ExpectAllocationFailuresHandled(20, [&]() -> CFTypeRef {
    OSStatus status = ZRSetExtendedAttributeBoolOfPathBuffer(path_, "b", true, false);
    return status == noErr ? CFRetain(kCFBooleanTrue) : nullptr;
  });
  EXPECT_TRUE(log_.lines().empty());
}

// ----- Every failure, with and without inLog -----

// Each ERROR line of the family past the argument checks (those are the tests above), reached
// with inLog true, where the line is compared, and with inLog false, where none may be written.
// "CFRetain returns NULL" is the one line no input reaches: what is retained there is a property
// list that was just read, never NULL.
TEST_F(ExtendedAttributeTest, EachFailureWritesItsLinesOnlyWithInLog) {
  SetRaw("s", XMLPropertyList("<string>value</string>\n"));
  SetRaw("i", XMLPropertyList("<integer>1</integer>\n"));
  SetRaw("d", XMLPropertyList("<real>2.5</real>\n"));
  SetRaw("p", XMLPropertyList("<real>0.1</real>\n"));
  SetRaw("text", "not a property list <");
  std::string missingFile = folder_ + "/missing";
  const char* missing = missingFile.c_str();
  NSString* unknown = ZRCarbonErrorString(unknownErr);
  NSString* noFile = ZRErrnoErrorString(ENOENT);
  const int unknownNumber = static_cast<int>(unknownErr);
  CFDataRef data = MakeData("x");

  const char* setData = "ZRSetExtendedAttributeDataRefOfPathBuffer";
  const char* setPropertyList = "ZRSetExtendedAttributePropertyListRefOfPathBuffer";
  const char* setNumberValue = "ZRSetExtendedAttributeNumberValueOfPathBuffer";
  const char* copyData = "ZRCopyExtendedAttributeDataRefOfPathBuffer";
  const char* copyPropertyList = "ZRCopyExtendedAttributePropertyListRefOfPathBuffer";
  const char* copyString = "ZRCopyExtendedAttributeStringRefOfPathBuffer";
  const char* copyNumber = "ZRCopyExtendedAttributeNumberRefOfPathBuffer";
  const char* copyBoolean = "ZRCopyExtendedAttributeBooleanRefOfPathBuffer";
  const std::string missingFileLine =
      FormattedErrorLine(copyData, CFSTR("getxattr returns %@ for '%s'/'%s'"), noFile, "a", missing);
  const std::string unparsableLine =
      FormattedErrorLine(copyPropertyList, CFSTR("CFPropertyListCreateFromXMLData returns NULL"));
  auto typeLine = [](const char* function, const char* typeFunction, CFTypeID found) {
    std::string format = std::string("typeID is %i and not ") + typeFunction + "()";
    CFStringRef formatRef = MakeString(format);
    std::string line = FormattedErrorLine(function, formatRef, static_cast<int>(found));
    CFRelease(formatRef);
    return line;
  };

  auto expect = [&](const char* what, long allocation, OSStatus status, const std::vector<std::string>& lines,
                    const std::function<OSStatus(Boolean)>& call) {
    SCOPED_TRACE(what);
    zrtest::ExpectFailureLinesOnlyWithInLog(&log_, allocation, status, lines, call);
  };
  // A reference getter's call: the status, with the slot checked to be empty on failure.
  auto reference = [](auto getter, const char* path, const char* name) {
    return [getter, path, name](Boolean inLog) {
      CFTypeRef slot = nullptr;
      OSStatus status = getter(path, name, &slot, inLog);
      EXPECT_EQ(slot, nullptr);
      if (slot) CFRelease(slot);
      return status;
    };
  };
  auto getData = [](const char* p, const char* n, CFTypeRef* o, Boolean l) {
    return ZRCopyExtendedAttributeDataRefOfPathBuffer(p, n, reinterpret_cast<CFDataRef*>(o), l);
  };
  auto getPropertyList = [](const char* p, const char* n, CFTypeRef* o, Boolean l) {
    return ZRCopyExtendedAttributePropertyListRefOfPathBuffer(p, n, o, l);
  };
  auto getString = [](const char* p, const char* n, CFTypeRef* o, Boolean l) {
    return ZRCopyExtendedAttributeStringRefOfPathBuffer(p, n, reinterpret_cast<CFStringRef*>(o), l);
  };
  auto getNumber = [](const char* p, const char* n, CFTypeRef* o, Boolean l) {
    return ZRCopyExtendedAttributeNumberRefOfPathBuffer(p, n, reinterpret_cast<CFNumberRef*>(o), l);
  };
  auto getBoolean = [](const char* p, const char* n, CFTypeRef* o, Boolean l) {
    return ZRCopyExtendedAttributeBooleanRefOfPathBuffer(p, n, reinterpret_cast<CFBooleanRef*>(o), l);
  };
  // A value getter's call: its value compared with the one expected; the status is noErr.
  auto value = [](auto getter, const char* path, const char* name, auto defaultValue, auto expected) {
    return [=](Boolean inLog) {
      EXPECT_EQ(getter(path, name, defaultValue, inLog), expected);
      return static_cast<OSStatus>(noErr);
    };
  };
  // The attribute "g" grows between the size query and the read.
  ChangeBetweenReads change;
  auto growing = [&](Boolean inLog) {
    SetRaw("g", "short");
    change = ChangeBetweenReads();
    ZRTestingSetAttributeReadHook(ChangeOnSecondRead, &change);
    OSStatus status = reference(getData, path_, "g")(inLog);
    ZRTestingSetAttributeReadHook(nullptr, nullptr);
    return status;
  };

  expect("setxattr of the data setter", 0, unknownErr,
         {FormattedErrorLine(setData, CFSTR("setxattr returns %@ for '%s'/'%s'"), noFile, "a", missing)},
         [&](Boolean inLog) { return ZRSetExtendedAttributeDataRefOfPathBuffer(missing, "a", data, inLog); });
  expect("the XML data", 1, unknownErr,
         {FormattedErrorLine(setPropertyList, CFSTR("CFPropertyListCreateXMLData returns NULL"))}, [&](Boolean inLog) {
           return ZRSetExtendedAttributePropertyListRefOfPathBuffer(path_, "a", CFSTR("x"), inLog);
         });
  expect("setxattr of the property-list setter", 0, unknownErr,
         {FormattedErrorLine(setPropertyList, CFSTR("setxattr returns %@ for '%s'/'%s'"), noFile, "a", missing)},
         [&](Boolean inLog) { return ZRSetExtendedAttributeStringRefOfPathBuffer(missing, "a", CFSTR("x"), inLog); });
  expect("the number", 1, unknownErr, {FormattedErrorLine(setNumberValue, CFSTR("CFNumberCreate returns NULL"))},
         [&](Boolean inLog) { return ZRSetExtendedAttributeIntegerOfPathBuffer(path_, "a", 1, inLog); });
  expect("the number's property list", 0, unknownErr,
         {FormattedErrorLine(setPropertyList, CFSTR("setxattr returns %@ for '%s'/'%s'"), noFile, "a", missing),
          FormattedErrorLine(setNumberValue, CFSTR("ZRSetExtendedAttributeNumberRefOfPathBuffer returns %i"),
                             unknownNumber)},
         [&](Boolean inLog) { return ZRSetExtendedAttributeDoubleOfPathBuffer(missing, "a", 1, inLog); });
  expect("getxattr of the size", 0, unknownErr, {missingFileLine}, reference(getData, missing, "a"));
  expect("the buffer", 1, unknownErr, {FormattedErrorLine(copyData, CFSTR("calloc returns NULL"))},
         reference(getData, path_, "s"));
  expect("getxattr of the bytes", 0, unknownErr,
         {FormattedErrorLine(copyData, CFSTR("getxattr returns %@ for '%s'/'%s'"), ZRErrnoErrorString(ERANGE), "g",
                             path_)},
         growing);
  expect("the data", 2, unknownErr, {FormattedErrorLine(copyData, CFSTR("CFDataCreate returns NULL"))},
         reference(getData, path_, "s"));
  expect("the property list's data", 0, unknownErr,
         {missingFileLine, FormattedErrorLine(copyPropertyList,
                                              CFSTR("ZRCopyExtendedAttributeDataRefOfPathBuffer returns %@"), unknown)},
         reference(getPropertyList, missing, "a"));
  expect("the property list", 0, unknownErr, {unparsableLine}, reference(getPropertyList, path_, "text"));
  expect(
      "the string's property list", 0, unknownErr,
      {unparsableLine,
       FormattedErrorLine(copyString, CFSTR("ZRCopyExtendedAttributePropertyListRefOfPathBuffer returns %@"), unknown)},
      reference(getString, path_, "text"));
  expect("a number read as a string", 0, unknownErr, {typeLine(copyString, "CFStringGetTypeID", CFNumberGetTypeID())},
         reference(getString, path_, "i"));
  expect("the number's property list", 0, unknownErr,
         {unparsableLine,
          FormattedErrorLine(copyNumber, CFSTR("ZRCopyExtendedAttributePropertyListRefOfPathBuffer returns %i"),
                             unknownNumber)},
         reference(getNumber, path_, "text"));
  expect("a string read as a number", 0, unknownErr, {typeLine(copyNumber, "CFNumberGetTypeID", CFStringGetTypeID())},
         reference(getNumber, path_, "s"));
  expect("the Boolean's property list", 0, unknownErr,
         {unparsableLine,
          FormattedErrorLine(copyBoolean, CFSTR("ZRCopyExtendedAttributePropertyListRefOfPathBuffer returns %@"),
                             unknown)},
         reference(getBoolean, path_, "text"));
  expect("a string read as a Boolean", 0, unknownErr,
         {typeLine(copyBoolean, "CFBooleanGetTypeID", CFStringGetTypeID())}, reference(getBoolean, path_, "s"));

  // The value getters give their default, or the approximation, and no status.
  const std::string numberOfString = typeLine(copyNumber, "CFNumberGetTypeID", CFStringGetTypeID());
  auto numberLine = [](const char* function) {
    return FormattedErrorLine(function, CFSTR("ZRCopyExtendedAttributeNumberRefOfPathBuffer returns %i"),
                              static_cast<int>(unknownErr));
  };
  auto lossyLine = [](const char* function) {
    return FormattedErrorLine(function, CFSTR("CFNumberGetValue returns false, CFNumberGetType returns %i"),
                              static_cast<int>(kCFNumberFloat64Type));
  };
  const char* getInteger = "ZRGetExtendedAttributeIntegerOfPathBuffer";
  const char* getFloat = "ZRGetExtendedAttributeFloatOfPathBuffer";
  const char* getDouble = "ZRGetExtendedAttributeDoubleOfPathBuffer";
  const char* getCFIndex = "ZRGetExtendedAttributeCFIndexOfPathBuffer";
  const char* getBool = "ZRGetExtendedAttributeBoolOfPathBuffer";
  expect("a string read as an integer", 0, noErr, {numberOfString, numberLine(getInteger)},
         value(ZRGetExtendedAttributeIntegerOfPathBuffer, path_, "s", 4, 4));
  expect("a string read as a float", 0, noErr, {numberOfString, numberLine(getFloat)},
         value(ZRGetExtendedAttributeFloatOfPathBuffer, path_, "s", 4.5f, 4.5f));
  expect("a string read as a double", 0, noErr, {numberOfString, numberLine(getDouble)},
         value(ZRGetExtendedAttributeDoubleOfPathBuffer, path_, "s", 5.5, 5.5));
  expect("a string read as a CFIndex", 0, noErr, {numberOfString, numberLine(getCFIndex)},
         value(ZRGetExtendedAttributeCFIndexOfPathBuffer, path_, "s", CFIndex{6}, CFIndex{6}));
  expect(
      "a string read as a Bool", 0, noErr,
      {typeLine(copyBoolean, "CFBooleanGetTypeID", CFStringGetTypeID()),
       FormattedErrorLine(getBool, CFSTR("ZRCopyExtendedAttributeBooleanRefOfPathBuffer returns %i"), unknownNumber)},
      value(ZRGetExtendedAttributeBoolOfPathBuffer, path_, "s", Boolean{true}, Boolean{true}));
  expect("2.5 as an integer", 0, noErr, {lossyLine(getInteger)},
         value(ZRGetExtendedAttributeIntegerOfPathBuffer, path_, "d", 9, 2));
  expect("2.5 as a CFIndex", 0, noErr, {lossyLine(getCFIndex)},
         value(ZRGetExtendedAttributeCFIndexOfPathBuffer, path_, "d", CFIndex{9}, CFIndex{2}));
  expect("0.1 as a float", 0, noErr, {lossyLine(getFloat)},
         value(ZRGetExtendedAttributeFloatOfPathBuffer, path_, "p", 9.0f, 0.1f));
  CFRelease(data);
}

}  // namespace
