// NSKeyedArchiverTest.cpp: keyed archives: the published layout of what this host writes, each
// kind and its mutable kind through a round trip, archives written by hand in the published
// format, refusals of malformed and hostile archives, and the cross-checks with Python's plistlib
// (which reads and writes the UIDs) in both directions.
#include <CoreFoundation/CoreFoundation.h>
#include <Foundation/Foundation.h>
#include <ZRPlatform/Testing.h>
#include <gtest/gtest.h>

#include <string>

#include "TestSupport.h"

namespace {

using zrtest::Utf8;

class NSKeyedArchiverTest : public zrtest::LeakCheckedTest {
 protected:
  void TearDown() override {
    pool_.drain();
    LeakCheckedTest::TearDown();
  }
  NSAutoreleasePool pool_;
};

CFPropertyListRef ReadXML(const std::string& body) {
  CFDataRef data = zrtest::MakeData(zrtest::XMLPropertyList(body));
  CFPropertyListRef plist =
      CFPropertyListCreateWithData(nullptr, data, kCFPropertyListMutableContainersAndLeaves, nullptr, nullptr);
  CFRelease(data);
  return plist;
}

id RoundTrip(CFTypeRef object) {
  NSData* archive = ns::archivedDataWithRootObject(const_cast<void*>(object));
  if (!archive) return nullptr;
  return ns::unarchiveObjectWithData(archive);
}

// A Python keyed-archive reader and writer, made from the published format alone.
const char kArchiveScript[] = R"PY(
import datetime, plistlib, sys
mode, payload = sys.stdin.buffer.read().split(b'\0', 1)

def show(archive):
    top = plistlib.loads(archive)
    assert top['$archiver'] == 'NSKeyedArchiver' and top['$version'] == 100000, top
    objects = top['$objects']
    assert objects[0] == '$null'
    def value(uid):
        assert isinstance(uid, plistlib.UID)
        item = objects[uid.data]
        if isinstance(item, dict):
            cls = objects[item['$class'].data]
            name = cls['$classname']
            assert cls['$classes'][0] == name and cls['$classes'][-1] == 'NSObject', cls
            chain = '/'.join(cls['$classes'])
            if 'NS.keys' in item:
                pairs = sorted((value(k), value(v)) for k, v in zip(item['NS.keys'], item['NS.objects']))
                return chain + '{' + ', '.join(k + '=' + v for k, v in pairs) + '}'
            if 'NS.objects' in item:
                return chain + '(' + ', '.join(value(v) for v in item['NS.objects']) + ')'
            if 'NS.string' in item: return chain + ':' + item['NS.string']
            if 'NS.data' in item: return chain + ':' + item['NS.data'].hex()
            if 'NS.time' in item: return chain + ':' + repr(item['NS.time'])
            return chain
        if item == '$null' and uid.data == 0: return 'nil'
        if isinstance(item, bool): return 'bool:' + str(item)
        return type(item).__name__ + ':' + (item.hex() if isinstance(item, bytes) else str(item))
    return value(top['$top']['root'])

class Archive:
    def __init__(self):
        self.objects = ['$null']
        self.classes = {}
    def add(self, item):
        self.objects.append(item)
        return plistlib.UID(len(self.objects) - 1)
    def cls(self, *chain):
        if chain[0] not in self.classes:
            self.classes[chain[0]] = self.add({'$classname': chain[0], '$classes': list(chain)})
        return self.classes[chain[0]]
    def obj(self, fields, *chain):
        uid = self.add(None)
        fields = fields()
        fields['$class'] = self.cls(*chain)
        self.objects[uid.data] = fields
        return uid
    def data(self, root, fmt):
        top = {'$archiver': 'NSKeyedArchiver', '$version': 100000, '$top': {'root': root}, '$objects': self.objects}
        if fmt == plistlib.FMT_XML:
            # plistlib writes UIDs in binary only; the XML form spells them {CF$UID = n}.
            def spell(v):
                if isinstance(v, plistlib.UID): return {'CF$UID': v.data}
                if isinstance(v, dict): return {k: spell(x) for k, x in v.items()}
                if isinstance(v, list): return [spell(x) for x in v]
                return v
            top = spell(top)
        return plistlib.dumps(top, fmt=fmt, sort_keys=True)

def sample(a, mutable):
    suffix = 'Mutable' if mutable else ''
    s = a.add('text \u00e9\U0001F600')
    n = a.add(-42)
    big = a.add(18446744073709551615)
    r = a.add(2.5)
    t = a.add(True)
    d = a.add(b'\x00\xff')
    date = a.obj(lambda: {'NS.time': 86400.5}, 'NSDate', 'NSObject')
    ms = a.obj(lambda: {'NS.string': 'mutable'}, 'NSMutableString', 'NSString', 'NSObject')
    md = a.obj(lambda: {'NS.data': b'\x01\x02'}, 'NSMutableData', 'NSData', 'NSObject')
    null = a.obj(lambda: {}, 'NSNull', 'NSObject')
    empty = a.obj(lambda: {'NS.objects': []}, 'NSArray', 'NSObject')
    inner = a.obj(lambda: {'NS.keys': [a.add('k')], 'NS.objects': [s]},
                  'NS%sDictionary' % suffix, *(['NSMutableDictionary'] if mutable else []), 'NSDictionary', 'NSObject')
    return a.obj(lambda: {'NS.objects': [s, n, big, r, t, d, date, ms, md, null, empty, inner, s]},
                 'NS%sArray' % suffix, *(['NSMutableArray'] if mutable else []), 'NSArray', 'NSObject')

if mode == b'show':
    print(show(payload))
else:
    a = Archive()
    root = sample(a, mode.endswith(b'mutable'))
    sys.stdout.buffer.write(a.data(root, plistlib.FMT_XML if mode.startswith(b'xml') else plistlib.FMT_BINARY))
)PY";

std::string ShownByPython(CFTypeRef object) {
  NSData* archive = ns::archivedDataWithRootObject(const_cast<void*>(object));
  if (!archive) return "<no archive>";
  std::string output;
  if (!zrtest::RunPython(kArchiveScript, std::string("show") + '\0' + zrtest::Bytes(archive), &output))
    return "<python failed>";
  return output;
}

TEST_F(NSKeyedArchiverTest, WritesThePublishedLayout) {
  CFMutableArrayRef array = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
  CFArrayAppendValue(array, CFSTR("a"));
  NSData* archive = ns::archivedDataWithRootObject(array);
  ASSERT_NE(archive, nullptr);
  std::string bytes = zrtest::Bytes(archive);
  EXPECT_EQ(bytes.substr(0, 8), "bplist00");
  CFPropertyListRef plist = CFPropertyListCreateWithData(nullptr, archive, 0, nullptr, nullptr);
  CFDataRef xml = CFPropertyListCreateData(nullptr, plist, kCFPropertyListXMLFormat_v1_0, 0, nullptr);
  EXPECT_EQ(zrtest::Bytes(xml), zrtest::XMLPropertyList(R"(<dict>
	<key>$archiver</key>
	<string>NSKeyedArchiver</string>
	<key>$objects</key>
	<array>
		<string>$null</string>
		<dict>
			<key>$class</key>
			<dict>
				<key>CF$UID</key>
				<integer>3</integer>
			</dict>
			<key>NS.objects</key>
			<array>
				<dict>
					<key>CF$UID</key>
					<integer>2</integer>
				</dict>
			</array>
		</dict>
		<string>a</string>
		<dict>
			<key>$classes</key>
			<array>
				<string>NSMutableArray</string>
				<string>NSArray</string>
				<string>NSObject</string>
			</array>
			<key>$classname</key>
			<string>NSMutableArray</string>
		</dict>
	</array>
	<key>$top</key>
	<dict>
		<key>root</key>
		<dict>
			<key>CF$UID</key>
			<integer>1</integer>
		</dict>
	</dict>
	<key>$version</key>
	<integer>100000</integer>
</dict>
)"));
  CFRelease(xml);
  CFRelease(plist);
  CFRelease(array);
}

TEST_F(NSKeyedArchiverTest, KeepsEachKindAndItsMutability) {
  CFPropertyListRef mutableSample = ReadXML(
      "<dict>\n<key>list</key>\n<array>\n<string>x</string>\n<data>AAE=</data>\n</array>\n"
      "<key>n</key>\n<integer>-5</integer>\n<key>r</key>\n<real>0.25</real>\n<key>b</key>\n<true/>\n"
      "<key>d</key>\n<date>2020-02-29T12:00:00Z</date>\n<key>u</key>\n<integer>18446744073709551615</integer>\n"
      "</dict>\n");
  ASSERT_NE(mutableSample, nullptr);
  id back = RoundTrip(mutableSample);
  ASSERT_NE(back, nullptr);
  EXPECT_TRUE(CFEqual(back, mutableSample));
  EXPECT_TRUE(ns::isKindOfClass(back, objc_getClass("NSMutableDictionary")));
  CFTypeRef list = CFDictionaryGetValue(static_cast<CFDictionaryRef>(back), CFSTR("list"));
  EXPECT_TRUE(ns::isKindOfClass(const_cast<void*>(list), objc_getClass("NSMutableArray")));
  CFTypeRef text = CFArrayGetValueAtIndex(static_cast<CFArrayRef>(list), 0);
  EXPECT_TRUE(ns::isKindOfClass(const_cast<void*>(text), objc_getClass("NSMutableString")));
  CFTypeRef bytes = CFArrayGetValueAtIndex(static_cast<CFArrayRef>(list), 1);
  EXPECT_TRUE(ns::isKindOfClass(const_cast<void*>(bytes), objc_getClass("NSMutableData")));

  CFPropertyListRef immutable = CFPropertyListCreateDeepCopy(nullptr, mutableSample, kCFPropertyListImmutable);
  ASSERT_NE(immutable, nullptr);
  back = RoundTrip(immutable);
  ASSERT_NE(back, nullptr);
  EXPECT_TRUE(CFEqual(back, immutable));
  EXPECT_FALSE(ns::isKindOfClass(back, objc_getClass("NSMutableDictionary")));
  EXPECT_TRUE(ns::isKindOfClass(back, objc_getClass("NSDictionary")));
  list = CFDictionaryGetValue(static_cast<CFDictionaryRef>(back), CFSTR("list"));
  EXPECT_FALSE(ns::isKindOfClass(const_cast<void*>(list), objc_getClass("NSMutableArray")));
  CFRelease(immutable);
  CFRelease(mutableSample);

  EXPECT_EQ(RoundTrip(kCFNull), kCFNull);
  EXPECT_EQ(RoundTrip(kCFBooleanFalse), kCFBooleanFalse);
  EXPECT_EQ(ns::archivedDataWithRootObject(nullptr)
                ? ns::unarchiveObjectWithData(ns::archivedDataWithRootObject(nullptr))
                : reinterpret_cast<void*>(1),
            nullptr);
}

TEST_F(NSKeyedArchiverTest, ArchivesAnObjectMetTwiceOnce) {
  CFMutableArrayRef shared = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
  CFArrayAppendValue(shared, CFSTR("s"));
  const void* values[] = {shared, shared};
  CFArrayRef outer = CFArrayCreate(nullptr, values, 2, &kCFTypeArrayCallBacks);
  id back = RoundTrip(outer);
  ASSERT_NE(back, nullptr);
  EXPECT_EQ(CFArrayGetValueAtIndex(static_cast<CFArrayRef>(back), 0),
            CFArrayGetValueAtIndex(static_cast<CFArrayRef>(back), 1));
  CFRelease(outer);
  // An array that holds itself has no archive.
  CFArrayAppendValue(shared, shared);
  EXPECT_EQ(ns::archivedDataWithRootObject(shared), nullptr);
  CFArrayRemoveAllValues(shared);
  CFRelease(shared);
}

TEST_F(NSKeyedArchiverTest, RefusesObjectsItCannotArchive) {
  CGColorSpaceRef space = CGColorSpaceCreateDeviceRGB();
  EXPECT_EQ(ns::archivedDataWithRootObject(space), nullptr);
  const void* values[] = {space};
  CFArrayRef array = CFArrayCreate(nullptr, values, 1, &kCFTypeArrayCallBacks);
  EXPECT_EQ(ns::archivedDataWithRootObject(const_cast<__CFArray*>(array)), nullptr);
  CFRelease(array);
  CGColorSpaceRelease(space);
}

// An archive whose objects are given as XML (the top dictionary's other entries as usual).
NSData* Archive(const std::string& objects, const std::string& root = "1") {
  std::string body =
      "<dict>\n<key>$archiver</key>\n<string>NSKeyedArchiver</string>\n<key>$version</key>\n"
      "<integer>100000</integer>\n<key>$top</key>\n<dict>\n<key>root</key>\n<dict><key>CF$UID</key>"
      "<integer>" +
      root +
      "</integer></dict>\n</dict>\n<key>$objects</key>\n<array>\n"
      "<string>$null</string>\n" +
      objects + "</array>\n</dict>\n";
  return zrtest::AutoreleasedData(zrtest::XMLPropertyList(body));
}

std::string UID(int n) { return "<dict><key>CF$UID</key><integer>" + std::to_string(n) + "</integer></dict>"; }

std::string ClassEntry(const std::string& name) {
  return "<dict><key>$classname</key><string>" + name + "</string><key>$classes</key><array><string>" + name +
         "</string><string>NSObject</string></array></dict>\n";
}

TEST_F(NSKeyedArchiverTest, ReadsArchivesWrittenByHandInThePublishedForm) {
  // An NSString kept as a dictionary, its text as UTF-8 bytes; data under NS.bytes.
  id text = ns::unarchiveObjectWithData(Archive("<dict><key>NS.bytes</key><data>w6k=</data><key>$class</key>" + UID(2) +
                                                "</dict>\n" + ClassEntry("NSString")));
  EXPECT_EQ(Utf8(text), "\xC3\xA9");
  id bytes = ns::unarchiveObjectWithData(Archive("<dict><key>NS.bytes</key><data>AQI=</data><key>$class</key>" +
                                                 UID(2) + "</dict>\n" + ClassEntry("NSData")));
  EXPECT_EQ(zrtest::Bytes(static_cast<CFDataRef>(bytes)), "\x01\x02");
  // The root may be nil.
  EXPECT_EQ(ns::unarchiveObjectWithData(Archive("", "0")), nullptr);
}

TEST_F(NSKeyedArchiverTest, RefusesMalformedAndHostileArchives) {
  auto refused = [](NSData* archive) { return ns::unarchiveObjectWithData(archive) == nullptr; };
  EXPECT_TRUE(refused(nullptr));
  EXPECT_TRUE(refused(zrtest::AutoreleasedData("not a property list")));
  EXPECT_TRUE(refused(zrtest::AutoreleasedData(zrtest::XMLPropertyList("<array/>\n"))));
  // Wrong archiver name; root beyond the objects; a class the host does not decode.
  EXPECT_TRUE(refused(zrtest::AutoreleasedData(zrtest::XMLPropertyList(
      "<dict><key>$archiver</key><string>Other</string><key>$objects</key><array/><key>$top</key><dict/></dict>"))));
  EXPECT_TRUE(refused(Archive("<string>x</string>\n", "5")));
  EXPECT_TRUE(refused(Archive("<dict><key>$class</key>" + UID(2) + "</dict>\n" + ClassEntry("NSWindow"))));
  // An array that holds itself; an element reference out of range; a nil element.
  EXPECT_TRUE(refused(Archive("<dict><key>NS.objects</key><array>" + UID(1) + "</array><key>$class</key>" + UID(2) +
                              "</dict>\n" + ClassEntry("NSArray"))));
  EXPECT_TRUE(refused(Archive("<dict><key>NS.objects</key><array>" + UID(9) + "</array><key>$class</key>" + UID(2) +
                              "</dict>\n" + ClassEntry("NSArray"))));
  EXPECT_TRUE(refused(Archive("<dict><key>NS.objects</key><array>" + UID(0) + "</array><key>$class</key>" + UID(2) +
                              "</dict>\n" + ClassEntry("NSArray"))));
  // Keys and values that do not pair up; a class reference to a non-class.
  EXPECT_TRUE(refused(Archive("<dict><key>NS.keys</key><array>" + UID(3) + "</array><key>NS.objects</key><array/>" +
                              "<key>$class</key>" + UID(2) + "</dict>\n" + ClassEntry("NSDictionary") +
                              "<string>k</string>\n")));
  EXPECT_TRUE(refused(Archive("<dict><key>$class</key>" + UID(2) + "</dict>\n<string>NSArray</string>\n")));
  // Arrays nested deeper than the limit, each holding the next.
  std::string deep;
  const int kLevels = 600;
  for (int i = 1; i <= kLevels; ++i)
    deep += "<dict><key>NS.objects</key><array>" + (i < kLevels ? UID(i + 1) : std::string()) +
            "</array><key>$class</key>" + UID(kLevels + 1) + "</dict>\n";
  EXPECT_TRUE(refused(Archive(deep + ClassEntry("NSArray"))));
}

TEST_F(NSKeyedArchiverTest, FailedAllocationsGiveNilAndLeakNothing) {
  CFPropertyListRef sample =
      ReadXML("<array>\n<string>x</string>\n<dict>\n<key>k</key>\n<real>1.5</real>\n</dict>\n</array>\n");
  zrtest::ExpectAllocationFailuresHandled(400, [sample]() -> CFTypeRef {
    NSAutoreleasePool pool;
    NSData* archive = ns::archivedDataWithRootObject(const_cast<void*>(sample));
    return archive ? CFRetain(archive) : nullptr;
  });
  NSData* archive = ns::archivedDataWithRootObject(const_cast<void*>(sample));
  zrtest::ExpectAllocationFailuresHandled(400, [archive]() -> CFTypeRef {
    NSAutoreleasePool pool;
    id object = ns::unarchiveObjectWithData(archive);
    return object ? CFRetain(object) : nullptr;
  });
  CFRelease(sample);
}

// Under a failed C++ allocation an archive is either refused or complete: an archive that lost an
// entry would decode as another object.
TEST_F(NSKeyedArchiverTest, FailedContainerGrowthGivesNilNeverAnIncompleteArchive) {
  CFPropertyListRef sample = ReadXML(
      "<array>\n<string>x</string>\n<dict>\n<key>k</key>\n<real>1.5</real>\n<key>l</key>\n<string>y</string>\n"
      "</dict>\n</array>\n");
  ASSERT_NE(sample, nullptr);
  NSData* good = ns::archivedDataWithRootObject(const_cast<void*>(sample));
  ASSERT_NE(good, nullptr);
  {
    // Room in this thread's pool stack beforehand: an object autoreleased when the pool has no
    // room for it is leaked, as without a pool, and that is not what is tested here.
    NSAutoreleasePool warm;
    for (int i = 0; i < 64; ++i) CFAutorelease(CFRetain(kCFNull));
  }
  bool complete = false;
  for (long n = 1; n <= 400 && !complete; ++n) {
    NSAutoreleasePool pool;
    ZRTestingFailCxxAllocation(n);
    NSData* archive = ns::archivedDataWithRootObject(const_cast<void*>(sample));
    complete = ZRTestingCxxFailurePending();
    ZRTestingFailCxxAllocation(0);
    if (archive) {
      id back = ns::unarchiveObjectWithData(archive);
      EXPECT_TRUE(back && CFEqual(back, sample)) << "allocation " << n;
    }
  }
  EXPECT_TRUE(complete);
  complete = false;
  for (long n = 1; n <= 400 && !complete; ++n) {
    NSAutoreleasePool pool;
    ZRTestingFailCxxAllocation(n);
    id back = ns::unarchiveObjectWithData(good);
    complete = ZRTestingCxxFailurePending();
    ZRTestingFailCxxAllocation(0);
    if (back) {
      EXPECT_TRUE(CFEqual(back, sample)) << "allocation " << n;
    }
  }
  EXPECT_TRUE(complete);
  CFRelease(sample);
}

TEST_F(NSKeyedArchiverTest, PlistlibReadsTheArchivesThisHostWrites) {
  CFPropertyListRef sample = ReadXML(
      "<array>\n<string>t\xC3\xA9xt</string>\n<integer>-42</integer>\n<integer>18446744073709551615</integer>\n"
      "<real>2.5</real>\n<true/>\n<data>AP8=</data>\n<date>2001-01-02T00:00:00Z</date>\n<array/>\n"
      "<dict>\n<key>k</key>\n<string>v</string>\n</dict>\n</array>\n");
  EXPECT_EQ(ShownByPython(sample),
            "NSMutableArray/NSArray/NSObject(NSMutableString/NSString/NSObject:t\xC3\xA9xt, int:-42, "
            "int:18446744073709551615, float:2.5, bool:True, NSMutableData/NSData/NSObject:00ff, "
            "NSDate/NSObject:86400.0, NSMutableArray/NSArray/NSObject(), "
            "NSMutableDictionary/NSDictionary/NSObject{str:k="
            "NSMutableString/NSString/NSObject:v})\n");
  CFPropertyListRef immutable = CFPropertyListCreateDeepCopy(nullptr, sample, kCFPropertyListImmutable);
  EXPECT_EQ(ShownByPython(immutable),
            "NSArray/NSObject(str:t\xC3\xA9xt, int:-42, int:18446744073709551615, float:2.5, bool:True, bytes:00ff, "
            "NSDate/NSObject:86400.0, NSArray/NSObject(), NSDictionary/NSObject{str:k=str:v})\n");
  EXPECT_EQ(ShownByPython(kCFNull), "NSNull/NSObject\n");
  EXPECT_EQ(ShownByPython(nullptr), "nil\n");
  CFRelease(immutable);
  CFRelease(sample);
}

TEST_F(NSKeyedArchiverTest, ReadsTheArchivesPlistlibWrites) {
  for (const char* mode : {"binary", "xml", "binary-mutable", "xml-mutable"}) {
    std::string output;
    ASSERT_TRUE(zrtest::RunPython(kArchiveScript, std::string(mode) + '\0', &output)) << mode;
    id root = ns::unarchiveObjectWithData(zrtest::AutoreleasedData(output));
    ASSERT_NE(root, nullptr) << mode;
    bool isMutable = std::string(mode).find("mutable") != std::string::npos;
    EXPECT_EQ(ns::isKindOfClass(root, objc_getClass("NSMutableArray")), isMutable) << mode;
    auto array = static_cast<CFArrayRef>(root);
    ASSERT_EQ(CFArrayGetCount(array), 13);
    EXPECT_EQ(Utf8(CFArrayGetValueAtIndex(array, 0)), "text \xC3\xA9\xF0\x9F\x98\x80");
    EXPECT_EQ(zrtest::IntOf(CFArrayGetValueAtIndex(array, 1)), -42);
    EXPECT_EQ(zrtest::Description(CFArrayGetValueAtIndex(array, 2)), "18446744073709551615");
    EXPECT_EQ(zrtest::Description(CFArrayGetValueAtIndex(array, 3)), "2.5");
    EXPECT_EQ(CFArrayGetValueAtIndex(array, 4), kCFBooleanTrue);
    EXPECT_EQ(zrtest::Bytes(static_cast<CFDataRef>(CFArrayGetValueAtIndex(array, 5))), std::string("\x00\xFF", 2));
    EXPECT_EQ(CFDateGetAbsoluteTime(static_cast<CFDateRef>(CFArrayGetValueAtIndex(array, 6))), 86400.5);
    EXPECT_EQ(Utf8(CFArrayGetValueAtIndex(array, 7)), "mutable");
    EXPECT_TRUE(
        ns::isKindOfClass(const_cast<void*>(CFArrayGetValueAtIndex(array, 7)), objc_getClass("NSMutableString")));
    EXPECT_TRUE(ns::isKindOfClass(const_cast<void*>(CFArrayGetValueAtIndex(array, 8)), objc_getClass("NSMutableData")));
    EXPECT_EQ(CFArrayGetValueAtIndex(array, 9), kCFNull);
    EXPECT_EQ(CFArrayGetCount(static_cast<CFArrayRef>(CFArrayGetValueAtIndex(array, 10))), 0);
    auto inner = static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(array, 11));
    EXPECT_EQ(
        ns::isKindOfClass(const_cast<void*>(static_cast<const void*>(inner)), objc_getClass("NSMutableDictionary")),
        isMutable);
    EXPECT_EQ(CFDictionaryGetValue(inner, CFSTR("k")), CFArrayGetValueAtIndex(array, 0));
    // The same object twice comes back as one object.
    EXPECT_EQ(CFArrayGetValueAtIndex(array, 12), CFArrayGetValueAtIndex(array, 0));
  }
}

}  // namespace
