// BinaryPropertyListWriterTest.cpp: writing the binary form ("bplist00"): the encoding of each
// kind, the sizes of integers, references and offsets, shared objects, refusals, and the
// cross-checks with Python's plistlib in both directions.
#include <CoreFoundation/CoreFoundation.h>
#include <ZRPlatform/Testing.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "CFNumber/NumberImpl.h"
#include "TestSupport.h"

namespace {

using zrtest::Bytes;
using zrtest::MakeData;

class BinaryPropertyListWriterTest : public zrtest::LeakCheckedTest {};

CFPropertyListRef ReadXML(const std::string& body) {
  CFDataRef data = MakeData(zrtest::XMLPropertyList(body));
  CFPropertyListRef plist = CFPropertyListCreateWithData(nullptr, data, kCFPropertyListImmutable, nullptr, nullptr);
  CFRelease(data);
  return plist;
}

std::string WriteBinary(CFPropertyListRef plist) {
  CFDataRef data = CFPropertyListCreateData(nullptr, plist, kCFPropertyListBinaryFormat_v1_0, 0, nullptr);
  if (!data) return "<NULL>";
  std::string bytes = Bytes(data);
  CFRelease(data);
  return bytes;
}

std::string BinaryOf(const std::string& body) {
  CFPropertyListRef plist = ReadXML(body);
  if (!plist) return "<unreadable>";
  std::string bytes = WriteBinary(plist);
  CFRelease(plist);
  return bytes;
}

// The objects of a binary list: what lies between the header and the offset table.
std::string ObjectsOf(const std::string& binary) {
  if (binary.size() < 40) return "<short>";
  uint64_t table = 0;
  for (size_t i = binary.size() - 8; i < binary.size(); ++i) table = table << 8 | static_cast<uint8_t>(binary[i]);
  return binary.substr(8, table - 8);
}

// Reads a binary list back and compares it with the XML it was written from.
void ExpectRoundTrip(const std::string& body) {
  CFPropertyListRef expected = ReadXML(body);
  ASSERT_NE(expected, nullptr) << body;
  CFDataRef data = CFPropertyListCreateData(nullptr, expected, kCFPropertyListBinaryFormat_v1_0, 0, nullptr);
  ASSERT_NE(data, nullptr) << body;
  CFPropertyListFormat format = 0;
  CFPropertyListRef back = CFPropertyListCreateWithData(nullptr, data, kCFPropertyListImmutable, &format, nullptr);
  ASSERT_NE(back, nullptr) << body;
  EXPECT_EQ(format, kCFPropertyListBinaryFormat_v1_0);
  EXPECT_TRUE(CFEqual(expected, back)) << body;
  CFRelease(back);
  CFRelease(data);
  CFRelease(expected);
}

TEST_F(BinaryPropertyListWriterTest, WritesEachKindOfLeaf) {
  EXPECT_EQ(ObjectsOf(BinaryOf("<true/>\n")), "\x09");
  EXPECT_EQ(ObjectsOf(BinaryOf("<false/>\n")), std::string("\x08", 1));
  EXPECT_EQ(ObjectsOf(BinaryOf("<string>abc</string>\n")),
            "\x53"
            "abc");
  EXPECT_EQ(ObjectsOf(BinaryOf("<string></string>\n")), "\x50");
  // Any character outside ASCII makes the whole string UTF-16BE.
  EXPECT_EQ(ObjectsOf(BinaryOf("<string>a\xC3\xA9</string>\n")), std::string("\x62\x00"
                                                                             "a\x00\xE9",
                                                                             5));
  EXPECT_EQ(ObjectsOf(BinaryOf("<string>\xF0\x9F\x98\x80</string>\n")), std::string("\x62\xD8\x3D\xDE\x00", 5));
  EXPECT_EQ(ObjectsOf(BinaryOf("<data>AAEC</data>\n")), std::string("\x43\x00\x01\x02", 4));
  EXPECT_EQ(ObjectsOf(BinaryOf("<real>1.5</real>\n")), std::string("\x23\x3F\xF8\x00\x00\x00\x00\x00\x00", 9));
  EXPECT_EQ(ObjectsOf(BinaryOf("<date>2001-01-01T00:00:01Z</date>\n")),
            std::string("\x33\x3F\xF0\x00\x00\x00\x00\x00\x00", 9));
}

TEST_F(BinaryPropertyListWriterTest, WritesFloat32NumbersInFourBytes) {
  float value = 0.5f;
  CFNumberRef number = CFNumberCreate(nullptr, kCFNumberFloat32Type, &value);
  EXPECT_EQ(ObjectsOf(WriteBinary(number)), std::string("\x22\x3F\x00\x00\x00", 5));
  CFRelease(number);
}

TEST_F(BinaryPropertyListWriterTest, WritesIntegersInTheFewestBytes) {
  EXPECT_EQ(ObjectsOf(BinaryOf("<integer>0</integer>\n")), std::string("\x10\x00", 2));
  EXPECT_EQ(ObjectsOf(BinaryOf("<integer>255</integer>\n")), "\x10\xFF");
  EXPECT_EQ(ObjectsOf(BinaryOf("<integer>256</integer>\n")), std::string("\x11\x01\x00", 3));
  EXPECT_EQ(ObjectsOf(BinaryOf("<integer>65536</integer>\n")), std::string("\x12\x00\x01\x00\x00", 5));
  EXPECT_EQ(ObjectsOf(BinaryOf("<integer>4294967296</integer>\n")),
            std::string("\x13\x00\x00\x00\x01\x00\x00\x00\x00", 9));
  // Negative integers always take eight bytes.
  EXPECT_EQ(ObjectsOf(BinaryOf("<integer>-1</integer>\n")), "\x13\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF");
  // Above INT64_MAX: sixteen bytes, the upper half zero.
  EXPECT_EQ(ObjectsOf(BinaryOf("<integer>18446744073709551615</integer>\n")),
            std::string("\x14\x00\x00\x00\x00\x00\x00\x00\x00\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF", 17));
}

TEST_F(BinaryPropertyListWriterTest, WritesLongCountsAfterTheMarker) {
  std::string text(15, 'x');
  EXPECT_EQ(ObjectsOf(BinaryOf("<string>" + text + "</string>\n")), "\x5F\x10\x0F" + text);
  std::string longer(300, 'y');
  EXPECT_EQ(ObjectsOf(BinaryOf("<string>" + longer + "</string>\n")), "\x5F\x11\x01\x2C" + longer);
}

TEST_F(BinaryPropertyListWriterTest, NumbersObjectsDepthFirstAndSharesEqualLeaves) {
  // The array, then "a" (shared by both uses), then the dictionary, its key "k" and value 1.
  std::string binary = BinaryOf(
      "<array>\n<string>a</string>\n<string>a</string>\n<dict>\n<key>k</key>\n<integer>1</integer>\n</dict>\n"
      "</array>\n");
  EXPECT_EQ(ObjectsOf(binary), std::string("\xA3\x01\x01\x02"
                                           "\x51"
                                           "a"
                                           "\xD1\x03\x04"
                                           "\x51"
                                           "k"
                                           "\x10\x01",
                                           13));
  // Trailer: one-byte offsets and references, five objects, top 0, the table at 21.
  std::string trailer = binary.substr(binary.size() - 32);
  EXPECT_EQ(trailer, std::string("\0\0\0\0\0\0\x01\x01"
                                 "\0\0\0\0\0\0\0\x05"
                                 "\0\0\0\0\0\0\0\0"
                                 "\0\0\0\0\0\0\0\x15",
                                 32));
  EXPECT_EQ(binary.substr(21, 5), std::string("\x08\x0C\x0E\x11\x13", 5));
}

TEST_F(BinaryPropertyListWriterTest, SortsDictionaryKeysAndWritesKeysBeforeValues) {
  std::string binary = BinaryOf("<dict>\n<key>b</key>\n<true/>\n<key>a</key>\n<false/>\n</dict>\n");
  EXPECT_EQ(ObjectsOf(binary), std::string("\xD2\x01\x02\x03\x04"
                                           "\x51"
                                           "a"
                                           "\x51"
                                           "b"
                                           "\x08"
                                           "\x09",
                                           11));
}

TEST_F(BinaryPropertyListWriterTest, WritesKeyedArchiveReferencesAsUIDs) {
  EXPECT_EQ(ObjectsOf(BinaryOf("<dict>\n<key>CF$UID</key>\n<integer>7</integer>\n</dict>\n")), "\x80\x07");
  EXPECT_EQ(ObjectsOf(BinaryOf("<dict>\n<key>CF$UID</key>\n<integer>300</integer>\n</dict>\n")),
            std::string("\x81\x01\x2C", 3));
  // Not a reference: a second key, a value that is not an integer.
  EXPECT_EQ(ObjectsOf(BinaryOf("<dict>\n<key>CF$UID</key>\n<string>7</string>\n</dict>\n")).substr(0, 1), "\xD1");
}

TEST_F(BinaryPropertyListWriterTest, UsesWiderReferencesAndOffsetsWhenNeeded) {
  std::string body = "<array>\n";
  for (int i = 0; i < 300; ++i) body += "<integer>" + std::to_string(1000 + i) + "</integer>\n";
  body += "</array>\n";
  std::string binary = BinaryOf(body);
  ASSERT_GE(binary.size(), 32u);
  EXPECT_EQ(binary[binary.size() - 26], 2);  // offsets
  EXPECT_EQ(binary[binary.size() - 25], 2);  // references
  ExpectRoundTrip(body);
  ExpectRoundTrip("<data>" + std::string(100000, 'A') + "</data>\n");
}

TEST_F(BinaryPropertyListWriterTest, ReadsBackWhatItWrites) {
  ExpectRoundTrip(
      "<dict>\n<key>array</key>\n<array>\n<integer>-9223372036854775808</integer>\n<real>-0.25</real>\n"
      "<date>1999-12-31T23:59:59Z</date>\n<data>/wA=</data>\n<array/>\n<dict/>\n</array>\n"
      "<key>\xC3\xBC\xF0\x9F\x98\x80</key>\n<string>\xE2\x82\xAC</string>\n"
      "<key>big</key>\n<integer>9223372036854775808</integer>\n</dict>\n");
}

TEST_F(BinaryPropertyListWriterTest, RefusesWhatAPropertyListCannotHold) {
  CFErrorRef error = nullptr;
  CFMutableArrayRef array = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
  CFArrayAppendValue(array, kCFNull);
  EXPECT_EQ(CFPropertyListCreateData(nullptr, array, kCFPropertyListBinaryFormat_v1_0, 0, &error), nullptr);
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(CFErrorGetCode(error), 3852);
  EXPECT_TRUE(CFEqual(CFErrorGetDomain(error), kCFErrorDomainCocoa));
  CFRelease(error);
  // An array that holds itself.
  CFArrayRemoveAllValues(array);
  CFArrayAppendValue(array, array);
  EXPECT_EQ(CFPropertyListCreateData(nullptr, array, kCFPropertyListBinaryFormat_v1_0, 0, nullptr), nullptr);
  CFArrayRemoveAllValues(array);
  CFRelease(array);
  // Nesting beyond the limit.
  std::string deep;
  for (int i = 0; i < 600; ++i) deep += "<array>";
  CFMutableArrayRef inner = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
  CFTypeRef outer = CFRetain(inner);
  for (int i = 0; i < 600; ++i) {
    CFMutableArrayRef next = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
    CFArrayAppendValue(next, outer);
    CFRelease(outer);
    outer = next;
  }
  EXPECT_EQ(WriteBinary(outer), "<NULL>");
  CFRelease(outer);
  CFRelease(inner);
}

TEST_F(BinaryPropertyListWriterTest, WritesTheSameContainerOnce) {
  CFMutableArrayRef shared = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
  CFArrayAppendValue(shared, kCFBooleanTrue);
  const void* values[] = {shared, shared};
  CFArrayRef outer = CFArrayCreate(nullptr, values, 2, &kCFTypeArrayCallBacks);
  EXPECT_EQ(ObjectsOf(WriteBinary(outer)), std::string("\xA2\x01\x01"
                                                       "\xA1\x02"
                                                       "\x09",
                                                       6));
  CFRelease(outer);
  CFRelease(shared);
}

TEST_F(BinaryPropertyListWriterTest, FailedAllocationsGiveNullAndLeakNothing) {
  CFPropertyListRef plist = ReadXML("<array>\n<string>a</string>\n<integer>5</integer>\n</array>\n");
  ASSERT_NE(plist, nullptr);
  zrtest::ExpectAllocationFailuresHandled(10, [plist]() -> CFTypeRef {
    return CFPropertyListCreateData(nullptr, plist, kCFPropertyListBinaryFormat_v1_0, 0, nullptr);
  });
  CFRelease(plist);
}

// plistlib, Python's own reader and writer, against this host.
const char kPlistlibScript[] = R"PY(
import math, plistlib, sys
data = sys.stdin.buffer.read()
mode, xml, other = data.split(b'\0', 2)
def same(a, b):
    if type(a) is not type(b): return False
    if isinstance(a, dict): return a.keys() == b.keys() and all(same(a[k], b[k]) for k in a)
    if isinstance(a, list): return len(a) == len(b) and all(same(x, y) for x, y in zip(a, b))
    if isinstance(a, float) and math.isnan(a): return math.isnan(b)
    return a == b
reference = plistlib.loads(xml)
if mode == b'read':
    ours = plistlib.loads(other)
    print('equal' if same(reference, ours) else 'different: %r' % (ours,))
    print('identical' if plistlib.dumps(reference, fmt=plistlib.FMT_BINARY) == other else 'not identical')
else:
    sys.stdout.buffer.write(plistlib.dumps(reference, fmt=plistlib.FMT_BINARY if mode == b'binary' else plistlib.FMT_XML))
)PY";

// Bodies that hold every kind of value, nested, with non-ASCII text and edge numbers.
const char* const kCrossCheckBodies[] = {
    "<string>plain</string>\n",
    "<string>\xC3\xA9t\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80</string>\n",
    "<integer>-1</integer>\n",
    "<integer>9223372036854775807</integer>\n",
    "<integer>-9223372036854775808</integer>\n",
    "<integer>18446744073709551615</integer>\n",
    "<integer>9223372036854775808</integer>\n",
    "<real>0.1</real>\n",
    "<real>-1e+300</real>\n",
    "<date>1970-01-01T00:00:00Z</date>\n",
    "<date>2038-01-19T03:14:08Z</date>\n",
    "<data>AAECAwQF/w==</data>\n",
    "<array/>\n",
    "<dict/>\n",
    "<array>\n<true/>\n<false/>\n<integer>1</integer>\n<real>1</real>\n<string>1</string>\n</array>\n",
    "<dict>\n<key>a</key>\n<dict>\n<key>b</key>\n<array>\n<array>\n<string>deep</string>\n</array>\n</array>\n"
    "</dict>\n<key>empty</key>\n<string></string>\n<key>\xC3\xA4</key>\n<data></data>\n</dict>\n",
};

TEST_F(BinaryPropertyListWriterTest, PlistlibReadsWhatThisHostWritesByteForByteAsItsOwn) {
  for (const char* body : kCrossCheckBodies) {
    std::string xml = zrtest::XMLPropertyList(body);
    std::string binary = BinaryOf(body);
    std::string output;
    ASSERT_TRUE(zrtest::RunPython(kPlistlibScript, std::string("read") + '\0' + xml + '\0' + binary, &output)) << body;
    EXPECT_EQ(output, "equal\nidentical\n") << body;
  }
  // Many objects and long data: wider references and offsets.
  std::string body = "<array>\n";
  for (int i = 0; i < 400; ++i) body += "<string>item " + std::to_string(i) + "</string>\n";
  body += "<data>" + std::string(120000, 'Q') + "</data>\n</array>\n";
  std::string output;
  ASSERT_TRUE(zrtest::RunPython(
      kPlistlibScript, std::string("read") + '\0' + zrtest::XMLPropertyList(body) + '\0' + BinaryOf(body), &output));
  EXPECT_EQ(output, "equal\nidentical\n");
}

TEST_F(BinaryPropertyListWriterTest, ThisHostReadsWhatPlistlibWrites) {
  for (const char* body : kCrossCheckBodies) {
    std::string xml = zrtest::XMLPropertyList(body);
    for (const char* mode : {"binary", "xml"}) {
      std::string output;
      ASSERT_TRUE(zrtest::RunPython(kPlistlibScript, std::string(mode) + '\0' + xml + '\0', &output)) << body;
      CFDataRef data = MakeData(output);
      CFPropertyListRef theirs =
          CFPropertyListCreateWithData(nullptr, data, kCFPropertyListImmutable, nullptr, nullptr);
      CFPropertyListRef ours = ReadXML(body);
      ASSERT_NE(theirs, nullptr) << mode << " " << body;
      ASSERT_NE(ours, nullptr) << body;
      EXPECT_TRUE(CFEqual(theirs, ours)) << mode << " " << body;
      CFRelease(ours);
      CFRelease(theirs);
      CFRelease(data);
    }
  }
}

}  // namespace
