// CFPropertyListTest.cpp: reading XML and binary property lists (every type, the mutability
// options, malformed and hostile input), writing the XML form byte for byte, and validity.
#include <CoreFoundation/CoreFoundation.h>
#include <ZRPlatform/Testing.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "CFString/StringImpl.h"
#include "TestSupport.h"

namespace {

using Bytes = std::vector<uint8_t>;
using zrtest::MakeData;

CFDataRef MakeData(const Bytes& bytes) {
  return CFDataCreate(nullptr, bytes.data(), static_cast<CFIndex>(bytes.size()));
}

CFPropertyListRef Read(const std::string& text, CFOptionFlags options = kCFPropertyListImmutable,
                       CFPropertyListFormat* format = nullptr) {
  CFDataRef data = MakeData(text);
  CFPropertyListRef plist = CFPropertyListCreateWithData(nullptr, data, options, format, nullptr);
  CFRelease(data);
  return plist;
}

CFPropertyListRef Read(const Bytes& bytes, CFOptionFlags options = kCFPropertyListImmutable,
                       CFPropertyListFormat* format = nullptr) {
  CFDataRef data = MakeData(bytes);
  CFPropertyListRef plist = CFPropertyListCreateWithData(nullptr, data, options, format, nullptr);
  CFRelease(data);
  return plist;
}

std::string Write(CFPropertyListRef plist) {
  CFDataRef data = CFPropertyListCreateData(nullptr, plist, kCFPropertyListXMLFormat_v1_0, 0, nullptr);
  if (!data) return "<NULL>";
  std::string text(reinterpret_cast<const char*>(CFDataGetBytePtr(data)), static_cast<size_t>(CFDataGetLength(data)));
  CFRelease(data);
  return text;
}

std::string InPlist(const std::string& body) { return zrtest::XMLPropertyList(body); }

CFTypeRef Value(CFTypeRef dictionary, const char* key) {
  CFStringRef name = CFStringCreateWithCString(nullptr, key, kCFStringEncodingUTF8);
  CFTypeRef value = CFDictionaryGetValue(static_cast<CFDictionaryRef>(dictionary), name);
  CFRelease(name);
  return value;
}

int64_t IntegerOf(CFTypeRef number) {
  int64_t value = 0;
  EXPECT_TRUE(number && CFGetTypeID(number) == CFNumberGetTypeID());
  if (number) CFNumberGetValue(static_cast<CFNumberRef>(number), kCFNumberSInt64Type, &value);
  return value;
}

double RealOf(CFTypeRef number) {
  double value = 0;
  EXPECT_TRUE(number && CFGetTypeID(number) == CFNumberGetTypeID());
  if (number) CFNumberGetValue(static_cast<CFNumberRef>(number), kCFNumberFloat64Type, &value);
  return value;
}

std::string BytesOf(CFTypeRef data) {
  EXPECT_TRUE(data && CFGetTypeID(data) == CFDataGetTypeID());
  if (!data) return "";
  return zrtest::Bytes(static_cast<CFDataRef>(data));
}

CFNumberRef Int(int64_t value) { return CFNumberCreate(nullptr, kCFNumberSInt64Type, &value); }
CFNumberRef Real(double value) { return CFNumberCreate(nullptr, kCFNumberFloat64Type, &value); }

// Sets a value under a UTF-8 key and releases the value.
void Put(CFMutableDictionaryRef dictionary, const char* key, CFTypeRef value) {
  CFStringRef name = CFStringCreateWithCString(nullptr, key, kCFStringEncodingUTF8);
  CFDictionarySetValue(dictionary, name, value);
  CFRelease(name);
  CFRelease(value);
}

CFMutableDictionaryRef NewDictionary() {
  return CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
}

CFMutableArrayRef NewArray() { return CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks); }

// Appends a value to an array and releases it.
void Push(CFMutableArrayRef array, CFTypeRef value) {
  CFArrayAppendValue(array, value);
  CFRelease(value);
}

// Builds "bplist00" files object by object, with references and offsets of chosen sizes, so
// that every encoding (and every way of getting one wrong) can be written down exactly.
class BinaryPlist {
 public:
  explicit BinaryPlist(size_t referenceSize = 1, size_t offsetSize = 0)
      : referenceSize_(referenceSize), offsetSize_(offsetSize) {}

  // Adds an object's encoding; returns its number.
  size_t add(Bytes encoding) {
    objects_.push_back(std::move(encoding));
    return objects_.size() - 1;
  }

  static void BigEndian(uint64_t value, size_t size, Bytes* out) {
    for (size_t i = size; i-- > 0;) out->push_back(static_cast<uint8_t>(value >> (8 * i)));
  }

  // A marker whose low nibble is the count, or 0xF followed by the count as an integer.
  static Bytes Marker(uint8_t kind, uint64_t count) {
    Bytes out;
    if (count < 15) {
      out.push_back(static_cast<uint8_t>(kind << 4 | count));
    } else {
      out.push_back(static_cast<uint8_t>(kind << 4 | 0xF));
      Bytes number = Integer(count);
      out.insert(out.end(), number.begin(), number.end());
    }
    return out;
  }

  static Bytes Integer(uint64_t value, size_t size = 0) {
    if (size == 0) size = value <= 0xFF ? 1 : value <= 0xFFFF ? 2 : value <= 0xFFFFFFFFu ? 4 : 8;
    Bytes out{static_cast<uint8_t>(0x10 | (size == 1 ? 0 : size == 2 ? 1 : size == 4 ? 2 : size == 8 ? 3 : 4))};
    if (size == 16) BigEndian(0, 8, &out);
    BigEndian(value, size == 16 ? 8 : size, &out);
    return out;
  }

  static Bytes Double(double value, uint8_t marker = 0x23) {
    uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    Bytes out{marker};
    BigEndian(bits, 8, &out);
    return out;
  }

  static Bytes Float(float value) {
    uint32_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    Bytes out{0x22};
    BigEndian(bits, 4, &out);
    return out;
  }

  static Bytes Data(const std::string& bytes) {
    Bytes out = Marker(0x4, bytes.size());
    out.insert(out.end(), bytes.begin(), bytes.end());
    return out;
  }

  static Bytes ASCII(const std::string& text) {
    Bytes out = Marker(0x5, text.size());
    out.insert(out.end(), text.begin(), text.end());
    return out;
  }

  static Bytes UTF16(const std::u16string& text) {
    Bytes out = Marker(0x6, text.size());
    for (char16_t c : text) BigEndian(c, 2, &out);
    return out;
  }

  Bytes array(const std::vector<size_t>& items) const {
    Bytes out = Marker(0xA, items.size());
    for (size_t item : items) BigEndian(item, referenceSize_, &out);
    return out;
  }

  Bytes dictionary(const std::vector<size_t>& keys, const std::vector<size_t>& values) const {
    Bytes out = Marker(0xD, keys.size());
    for (size_t key : keys) BigEndian(key, referenceSize_, &out);
    for (size_t value : values) BigEndian(value, referenceSize_, &out);
    return out;
  }

  Bytes finish(size_t top) const {
    Bytes out{'b', 'p', 'l', 'i', 's', 't', '0', '0'};
    std::vector<uint64_t> offsets;
    for (const Bytes& object : objects_) {
      offsets.push_back(out.size());
      out.insert(out.end(), object.begin(), object.end());
    }
    uint64_t tableOffset = out.size();
    size_t offsetSize = offsetSize_;
    if (offsetSize == 0) offsetSize = tableOffset <= 0xFF ? 1 : tableOffset <= 0xFFFF ? 2 : 4;
    for (uint64_t offset : offsets) BigEndian(offset, offsetSize, &out);
    out.insert(out.end(), 6, 0);
    out.push_back(static_cast<uint8_t>(offsetSize));
    out.push_back(static_cast<uint8_t>(referenceSize_));
    BigEndian(objects_.size(), 8, &out);
    BigEndian(top, 8, &out);
    BigEndian(tableOffset, 8, &out);
    return out;
  }

  // Encodes a property list made of CF objects (every object written out once per use).
  size_t encode(CFTypeRef object) {
    CFTypeID type = CFGetTypeID(object);
    if (type == CFStringGetTypeID()) {
      std::u16string chars = zrtest::Units(static_cast<CFStringRef>(object));
      bool ascii = true;
      for (char16_t c : chars) ascii = ascii && c < 0x80;
      return add(ascii ? ASCII(std::string(chars.begin(), chars.end())) : UTF16(chars));
    }
    if (type == CFBooleanGetTypeID()) return add({static_cast<uint8_t>(object == kCFBooleanTrue ? 0x09 : 0x08)});
    if (type == CFNumberGetTypeID()) {
      auto number = static_cast<CFNumberRef>(object);
      if (CFNumberIsFloatType(number)) {
        double value;
        CFNumberGetValue(number, kCFNumberFloat64Type, &value);
        return add(Double(value));
      }
      int64_t value;
      CFNumberGetValue(number, kCFNumberSInt64Type, &value);
      return add(value < 0 ? Integer(static_cast<uint64_t>(value), 8) : Integer(static_cast<uint64_t>(value)));
    }
    if (type == CFDateGetTypeID()) return add(Double(CFDateGetAbsoluteTime(static_cast<CFDateRef>(object)), 0x33));
    if (type == CFDataGetTypeID()) return add(Data(BytesOf(object)));
    if (type == CFArrayGetTypeID()) {
      auto array = static_cast<CFArrayRef>(object);
      size_t self = add({});
      std::vector<size_t> items;
      for (CFIndex i = 0; i < CFArrayGetCount(array); ++i) items.push_back(encode(CFArrayGetValueAtIndex(array, i)));
      objects_[self] = this->array(items);
      return self;
    }
    auto dictionary = static_cast<CFDictionaryRef>(object);
    size_t self = add({});
    CFIndex count = CFDictionaryGetCount(dictionary);
    std::vector<const void*> keys(static_cast<size_t>(count));
    std::vector<const void*> values(static_cast<size_t>(count));
    CFDictionaryGetKeysAndValues(dictionary, keys.data(), values.data());
    std::vector<size_t> keyNumbers;
    std::vector<size_t> valueNumbers;
    for (size_t i = 0; i < keys.size(); ++i) {
      keyNumbers.push_back(encode(keys[i]));
      valueNumbers.push_back(encode(values[i]));
    }
    objects_[self] = this->dictionary(keyNumbers, valueNumbers);
    return self;
  }

 private:
  size_t referenceSize_;
  size_t offsetSize_;
  std::vector<Bytes> objects_;
};

// The test's property list of every type, as a dictionary.
CFDictionaryRef CreateSample() {
  CFMutableDictionaryRef sample = NewDictionary();
  Put(sample, "Name",
      CFStringCreateWithCString(nullptr, "Tom & Jerry <cartoon> \xC3\xA9\xF0\x9F\x98\x80", kCFStringEncodingUTF8));
  Put(sample, "Count", Int(42));
  Put(sample, "Negative", Int(-7));
  Put(sample, "Ratio", Real(0.1));
  Put(sample, "Whole", Real(1.0));
  Put(sample, "Zero", Real(0.0));
  Put(sample, "Enabled", CFRetain(kCFBooleanTrue));
  Put(sample, "Disabled", CFRetain(kCFBooleanFalse));
  Put(sample, "Created", CFDateCreate(nullptr, 730902896.75));
  Bytes blob;
  for (int i = 0; i < 100; ++i) blob.push_back(static_cast<uint8_t>(i));
  Put(sample, "Blob", MakeData(blob));
  CFMutableArrayRef list = NewArray();
  Push(list, CFSTR("a"));
  Push(list, Int(1));
  Push(list, NewDictionary());
  Push(list, NewArray());
  Put(sample, "List", list);
  CFMutableDictionaryRef nested = NewDictionary();
  Put(nested, "Deep", MakeData(std::string("hello")));
  Put(sample, "Nested", nested);
  Put(sample, "Empty", CFSTR(""));
  Put(sample, "alpha", Int(std::numeric_limits<int64_t>::min()));
  return sample;
}

// The sample as the platform writes it: keys in UTF-16 order (capitals first), tabs, Base64
// lines of 76 columns counting each tab as eight, reals with 17 digits, dates to the second.
const std::string kSampleXML = InPlist(
    "<dict>\n"
    "\t<key>Blob</key>\n"
    "\t<data>\n"
    "\tAAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8gISIjJCUmJygpKissLS4vMDEy\n"
    "\tMzQ1Njc4OTo7PD0+P0BBQkNERUZHSElKS0xNTk9QUVJTVFVWV1hZWltcXV5fYGFiYw==\n"
    "\t</data>\n"
    "\t<key>Count</key>\n"
    "\t<integer>42</integer>\n"
    "\t<key>Created</key>\n"
    "\t<date>2024-02-29T12:34:56Z</date>\n"
    "\t<key>Disabled</key>\n"
    "\t<false/>\n"
    "\t<key>Empty</key>\n"
    "\t<string></string>\n"
    "\t<key>Enabled</key>\n"
    "\t<true/>\n"
    "\t<key>List</key>\n"
    "\t<array>\n"
    "\t\t<string>a</string>\n"
    "\t\t<integer>1</integer>\n"
    "\t\t<dict/>\n"
    "\t\t<array/>\n"
    "\t</array>\n"
    "\t<key>Name</key>\n"
    "\t<string>Tom &amp; Jerry &lt;cartoon&gt; \xC3\xA9\xF0\x9F\x98\x80</string>\n"
    "\t<key>Negative</key>\n"
    "\t<integer>-7</integer>\n"
    "\t<key>Nested</key>\n"
    "\t<dict>\n"
    "\t\t<key>Deep</key>\n"
    "\t\t<data>\n"
    "\t\taGVsbG8=\n"
    "\t\t</data>\n"
    "\t</dict>\n"
    "\t<key>Ratio</key>\n"
    "\t<real>0.10000000000000001</real>\n"
    "\t<key>Whole</key>\n"
    "\t<real>1</real>\n"
    "\t<key>Zero</key>\n"
    "\t<real>0.0</real>\n"
    "\t<key>alpha</key>\n"
    "\t<integer>-9223372036854775808</integer>\n"
    "</dict>\n");

using CFPropertyListTest = zrtest::LeakCheckedTest;

TEST_F(CFPropertyListTest, WritesTheSampleByteForByte) {
  CFDictionaryRef sample = CreateSample();
  EXPECT_EQ(Write(sample), kSampleXML);
  CFRelease(sample);
}

TEST_F(CFPropertyListTest, ReadsEveryXMLType) {
  CFPropertyListFormat format = 0;
  CFPropertyListRef plist = Read(kSampleXML, kCFPropertyListImmutable, &format);
  ASSERT_NE(plist, nullptr);
  EXPECT_EQ(format, kCFPropertyListXMLFormat_v1_0);
  ASSERT_EQ(CFGetTypeID(plist), CFDictionaryGetTypeID());
  EXPECT_EQ(CFDictionaryGetCount(static_cast<CFDictionaryRef>(plist)), 14);
  EXPECT_EQ(zrtest::Utf8(Value(plist, "Name")), "Tom & Jerry <cartoon> \xC3\xA9\xF0\x9F\x98\x80");
  EXPECT_EQ(IntegerOf(Value(plist, "Count")), 42);
  EXPECT_EQ(IntegerOf(Value(plist, "Negative")), -7);
  EXPECT_EQ(IntegerOf(Value(plist, "alpha")), std::numeric_limits<int64_t>::min());
  EXPECT_FALSE(CFNumberIsFloatType(static_cast<CFNumberRef>(Value(plist, "Count"))));
  EXPECT_TRUE(CFNumberIsFloatType(static_cast<CFNumberRef>(Value(plist, "Whole"))));
  EXPECT_EQ(RealOf(Value(plist, "Ratio")), 0.1);
  EXPECT_EQ(RealOf(Value(plist, "Whole")), 1.0);
  EXPECT_EQ(Value(plist, "Enabled"), kCFBooleanTrue);
  EXPECT_EQ(Value(plist, "Disabled"), kCFBooleanFalse);
  CFTypeRef created = Value(plist, "Created");
  ASSERT_EQ(CFGetTypeID(created), CFDateGetTypeID());
  EXPECT_EQ(CFDateGetAbsoluteTime(static_cast<CFDateRef>(created)), 730902896.0);
  EXPECT_EQ(BytesOf(Value(plist, "Blob")).size(), 100u);
  EXPECT_EQ(BytesOf(Value(plist, "Blob"))[99], 99);
  EXPECT_EQ(BytesOf(Value(Value(plist, "Nested"), "Deep")), "hello");
  EXPECT_EQ(zrtest::Utf8(Value(plist, "Empty")), "");
  auto list = static_cast<CFArrayRef>(Value(plist, "List"));
  ASSERT_EQ(CFGetTypeID(list), CFArrayGetTypeID());
  ASSERT_EQ(CFArrayGetCount(list), 4);
  EXPECT_EQ(CFGetTypeID(CFArrayGetValueAtIndex(list, 2)), CFDictionaryGetTypeID());
  EXPECT_EQ(CFGetTypeID(CFArrayGetValueAtIndex(list, 3)), CFArrayGetTypeID());
  CFRelease(plist);
}

TEST_F(CFPropertyListTest, RoundTripsThroughXML) {
  CFDictionaryRef sample = CreateSample();
  CFPropertyListRef back = Read(Write(sample));
  ASSERT_NE(back, nullptr);
  // The date loses its fraction of a second; everything else comes back equal.
  CFMutableDictionaryRef expected = CFDictionaryCreateMutableCopy(nullptr, 0, sample);
  Put(expected, "Created", CFDateCreate(nullptr, 730902896.0));
  EXPECT_TRUE(CFEqual(back, expected));
  EXPECT_EQ(Write(back), kSampleXML);
  CFRelease(expected);
  CFRelease(back);
  CFRelease(sample);
}

TEST_F(CFPropertyListTest, ReadsTextTheWayXMLWritesIt) {
  CFPropertyListRef plist =
      Read(InPlist("<array>\n"
                   "  <string>&lt;&amp;&gt;&apos;&quot;&#65;&#x42;&#x1F600;</string>\n"
                   "  <string><![CDATA[<raw> & ]]>tail</string>\n"
                   "  <string>  spaced  \r\n</string>\n"
                   "  <string/>\n"
                   "  <!-- a comment between elements -->\n"
                   "  <string>a<!-- inside -->b</string>\n"
                   "  <data>\n  aGVs\n\tbG8=  \n</data>\n"
                   "  <data></data>\n"
                   "  <integer> 0x1F </integer>\n"
                   "  <integer>+5</integer>\n"
                   "  <integer>-0</integer>\n"
                   "  <real>-2.5e3</real>\n"
                   "  <real>nan</real>\n"
                   "  <real>+infinity</real>\n"
                   "  <real>-infinity</real>\n"
                   "  <real>.5</real>\n"
                   "  <true></true>\n"
                   "</array>\n"));
  ASSERT_NE(plist, nullptr);
  auto array = static_cast<CFArrayRef>(plist);
  ASSERT_EQ(CFArrayGetCount(array), 16);
  EXPECT_EQ(zrtest::Utf8(CFArrayGetValueAtIndex(array, 0)), "<&>'\"AB\xF0\x9F\x98\x80");
  EXPECT_EQ(zrtest::Utf8(CFArrayGetValueAtIndex(array, 1)), "<raw> & tail");
  EXPECT_EQ(zrtest::Utf8(CFArrayGetValueAtIndex(array, 2)), "  spaced  \n");
  EXPECT_EQ(zrtest::Utf8(CFArrayGetValueAtIndex(array, 3)), "");
  EXPECT_EQ(zrtest::Utf8(CFArrayGetValueAtIndex(array, 4)), "ab");
  EXPECT_EQ(BytesOf(CFArrayGetValueAtIndex(array, 5)), "hello");
  EXPECT_EQ(BytesOf(CFArrayGetValueAtIndex(array, 6)), "");
  EXPECT_EQ(IntegerOf(CFArrayGetValueAtIndex(array, 7)), 31);
  EXPECT_EQ(IntegerOf(CFArrayGetValueAtIndex(array, 8)), 5);
  EXPECT_EQ(IntegerOf(CFArrayGetValueAtIndex(array, 9)), 0);
  EXPECT_EQ(RealOf(CFArrayGetValueAtIndex(array, 10)), -2500.0);
  EXPECT_TRUE(std::isnan(RealOf(CFArrayGetValueAtIndex(array, 11))));
  EXPECT_EQ(RealOf(CFArrayGetValueAtIndex(array, 12)), std::numeric_limits<double>::infinity());
  EXPECT_EQ(RealOf(CFArrayGetValueAtIndex(array, 13)), -std::numeric_limits<double>::infinity());
  EXPECT_EQ(RealOf(CFArrayGetValueAtIndex(array, 14)), 0.5);
  EXPECT_EQ(CFArrayGetValueAtIndex(array, 15), kCFBooleanTrue);
  CFRelease(plist);
}

TEST_F(CFPropertyListTest, ReadsABareTopLevelObjectAndOtherEncodings) {
  CFPropertyListRef plist = Read("<string>bare</string>");
  ASSERT_NE(plist, nullptr);
  EXPECT_EQ(zrtest::Utf8(plist), "bare");
  CFRelease(plist);

  std::string utf16 = "\xFF\xFE";
  for (char c : InPlist("<string>wide</string>\n")) {
    utf16.push_back(c);
    utf16.push_back('\0');
  }
  plist = Read(utf16);
  ASSERT_NE(plist, nullptr);
  EXPECT_EQ(zrtest::Utf8(plist), "wide");
  CFRelease(plist);

  plist =
      Read(std::string("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n<plist><string>caf\xE9</string></plist>\n"));
  ASSERT_NE(plist, nullptr);
  EXPECT_EQ(zrtest::Utf8(plist), "caf\xC3\xA9");
  CFRelease(plist);
}

TEST_F(CFPropertyListTest, ReadsDatesInUTC) {
  struct Case {
    const char* text;
    double expected;
  };
  const Case cases[] = {
      {"2001-01-01T00:00:00Z", 0.0},          {"2000-12-31T23:59:59Z", -1.0},
      {"1970-01-01T00:00:00Z", -978307200.0}, {"2024-02-29T12:34:56Z", 730902896.0},
      {"2100-03-01T00:00:00Z", 3129235200.0},
  };
  for (const Case& c : cases) {
    CFPropertyListRef date = Read(InPlist(std::string("<date>") + c.text + "</date>\n"));
    ASSERT_NE(date, nullptr) << c.text;
    EXPECT_EQ(CFDateGetAbsoluteTime(static_cast<CFDateRef>(date)), c.expected) << c.text;
    EXPECT_EQ(Write(date), InPlist(std::string("<date>") + c.text + "</date>\n"));
    CFRelease(date);
  }
}

TEST_F(CFPropertyListTest, WritesRealsAsThePlatformDoes) {
  struct Case {
    double value;
    const char* text;
  };
  const Case cases[] = {
      {0.1, "0.10000000000000001"},
      {2.5, "2.5"},
      {-1234.5678, "-1234.5678"},
      {1e100, "1e+100"},
      {1e-7, "9.9999999999999995e-08"},
      {-0.0, "0.0"},
      {std::numeric_limits<double>::infinity(), "+infinity"},
      {-std::numeric_limits<double>::infinity(), "-infinity"},
      {std::numeric_limits<double>::quiet_NaN(), "nan"},
  };
  for (const Case& c : cases) {
    CFNumberRef number = Real(c.value);
    EXPECT_EQ(Write(number), InPlist(std::string("<real>") + c.text + "</real>\n")) << c.text;
    CFRelease(number);
  }
  // A Float32 number is written as the double it widens to.
  float single = 0.1f;
  CFNumberRef number = CFNumberCreate(nullptr, kCFNumberFloat32Type, &single);
  EXPECT_EQ(Write(number), InPlist("<real>0.10000000149011612</real>\n"));
  CFRelease(number);
}

TEST_F(CFPropertyListTest, WritesDataLinesNarrowerWithEachLevel) {
  std::string bytes(120, '\xAB');
  std::string line76(76, 'q');
  CFDataRef data = MakeData(bytes);
  // 120 bytes are 160 Base64 characters.
  std::string encoded;
  for (int i = 0; i < 40; ++i) encoded += "q6ur";
  EXPECT_EQ(Write(data), InPlist("<data>\n" + encoded.substr(0, 76) + "\n" + encoded.substr(76, 76) + "\n" +
                                 encoded.substr(152) + "\n</data>\n"));

  // Nine levels down the lines keep eight tabs and 12 characters.
  CFTypeRef nested = CFRetain(data);
  for (int i = 0; i < 9; ++i) {
    const void* item = nested;
    CFArrayRef array = CFArrayCreate(nullptr, &item, 1, &kCFTypeArrayCallBacks);
    CFRelease(nested);
    nested = array;
  }
  std::string body;
  for (int i = 0; i < 9; ++i) body += std::string(static_cast<size_t>(i), '\t') + "<array>\n";
  body += std::string(9, '\t') + "<data>\n";
  for (size_t start = 0; start < encoded.size(); start += 12)
    body += std::string(8, '\t') + encoded.substr(start, 12) + "\n";
  body += std::string(9, '\t') + "</data>\n";
  for (int i = 8; i >= 0; --i) body += std::string(static_cast<size_t>(i), '\t') + "</array>\n";
  EXPECT_EQ(Write(nested), InPlist(body));
  CFRelease(nested);
  CFRelease(data);

  CFDataRef empty = MakeData(std::string());
  EXPECT_EQ(Write(empty), InPlist("<data>\n</data>\n"));
  CFRelease(empty);
}

TEST_F(CFPropertyListTest, RefusesToWriteWhatIsNoPropertyList) {
  CFMutableDictionaryRef dictionary = NewDictionary();
  CFNumberRef numberKey = Int(1);
  CFDictionarySetValue(dictionary, numberKey, CFSTR("number key"));
  CFRelease(numberKey);
  EXPECT_EQ(Write(dictionary), "<NULL>");
  EXPECT_FALSE(CFPropertyListIsValid(dictionary, kCFPropertyListXMLFormat_v1_0));
  CFRelease(dictionary);

  CFMutableArrayRef array = NewArray();
  CFArrayAppendValue(array, array);
  EXPECT_EQ(Write(array), "<NULL>");
  EXPECT_FALSE(CFPropertyListIsValid(array, kCFPropertyListXMLFormat_v1_0));
  CFArrayRemoveAllValues(array);
  CFRelease(array);

  EXPECT_EQ(Write(kCFNull), "<NULL>");
  EXPECT_FALSE(CFPropertyListIsValid(kCFNull, kCFPropertyListXMLFormat_v1_0));

  CFDictionaryRef sample = CreateSample();
  EXPECT_EQ(CFPropertyListCreateData(nullptr, sample, kCFPropertyListOpenStepFormat, 0, nullptr), nullptr);
  EXPECT_EQ(CFPropertyListCreateData(nullptr, nullptr, kCFPropertyListXMLFormat_v1_0, 0, nullptr), nullptr);
  CFRelease(sample);
}

TEST_F(CFPropertyListTest, TellsValidPropertyLists) {
  CFDictionaryRef sample = CreateSample();
  EXPECT_TRUE(CFPropertyListIsValid(sample, kCFPropertyListXMLFormat_v1_0));
  EXPECT_TRUE(CFPropertyListIsValid(sample, kCFPropertyListBinaryFormat_v1_0));
  // The old-style form has no numbers, Booleans or dates.
  EXPECT_FALSE(CFPropertyListIsValid(sample, kCFPropertyListOpenStepFormat));
  EXPECT_FALSE(CFPropertyListIsValid(sample, 12345));
  EXPECT_FALSE(CFPropertyListIsValid(nullptr, kCFPropertyListXMLFormat_v1_0));
  CFRelease(sample);
  CFMutableArrayRef strings = NewArray();
  Push(strings, CFSTR("one"));
  Push(strings, MakeData(std::string("two")));
  EXPECT_TRUE(CFPropertyListIsValid(strings, kCFPropertyListOpenStepFormat));
  CFRelease(strings);
}

TEST_F(CFPropertyListTest, ReadsTheMutabilityAskedFor) {
  const std::string text = InPlist(
      "<dict><key>a</key><array><string>s</string><data>AA==</data></array>"
      "<key>d</key><dict/></dict>\n");
  for (CFOptionFlags options :
       {kCFPropertyListImmutable, kCFPropertyListMutableContainers, kCFPropertyListMutableContainersAndLeaves}) {
    CFPropertyListRef plist = Read(text, options);
    ASSERT_NE(plist, nullptr);
    bool containers = options != kCFPropertyListImmutable;
    bool leaves = options == kCFPropertyListMutableContainersAndLeaves;
    auto array = static_cast<CFArrayRef>(Value(plist, "a"));
    auto string = static_cast<CFStringRef>(CFArrayGetValueAtIndex(array, 0));
    EXPECT_EQ(string->mutable_, leaves);
    if (containers) {
      // Mutable containers take new values, at every level.
      Put(static_cast<CFMutableDictionaryRef>(const_cast<void*>(plist)), "added", Int(1));
      CFArrayAppendValue(static_cast<CFMutableArrayRef>(const_cast<__CFArray*>(array)), CFSTR("more"));
      Put(static_cast<CFMutableDictionaryRef>(const_cast<void*>(Value(plist, "d"))), "x", Int(2));
      EXPECT_EQ(CFDictionaryGetCount(static_cast<CFDictionaryRef>(plist)), 3);
      EXPECT_EQ(CFArrayGetCount(array), 3);
    }
    if (leaves) {
      CFStringAppend(const_cast<CFMutableStringRef>(string), CFSTR("!"));
      EXPECT_EQ(zrtest::Utf8(string), "s!");
      auto data = static_cast<CFMutableDataRef>(const_cast<void*>(CFArrayGetValueAtIndex(array, 1)));
      CFDataAppendBytes(data, reinterpret_cast<const UInt8*>("b"), 1);
      EXPECT_EQ(BytesOf(data), std::string("\0b", 2));
    }
    CFRelease(plist);
  }
}

TEST_F(CFPropertyListTest, RefusesMalformedXML) {
  const char* const bodies[] = {
      "",
      "<dict>",
      "<dict><key>a</key></dict>",
      "<dict><string>no key</string><string>v</string></dict>",
      "<dict><key>a</key><string>b</string>text</dict>",
      "<array>text</array>",
      "<array><![CDATA[x]]></array>",
      "<unknown/>",
      "<key>outside</key>",
      "<string>a<b/>c</string>",
      "<string>&unknown;</string>",
      "<string>&#xD800;</string>",
      "<string>&#0;</string>",
      "<string>&amp</string>",
      "<string>\xC3\x28</string>",
      "<data>A</data>",
      "<data>AA=A</data>",
      "<data>AA!=</data>",
      "<date>2001-01-01</date>",
      "<date>2001-13-01T00:00:00Z</date>",
      "<date>2001-01-01T00:00:00</date>",
      "<integer></integer>",
      "<integer>12a</integer>",
      "<integer>18446744073709551616</integer>",
      "<integer>-9223372036854775809</integer>",
      "<real></real>",
      "<real>1.5x</real>",
      "<real>--1</real>",
      "<true>yes</true>",
      "<string>one</string><string>two</string>",
  };
  for (const char* body : bodies) {
    CFPropertyListRef plist = Read(InPlist(std::string(body) + "\n"));
    EXPECT_EQ(plist, nullptr) << body;
    if (plist) CFRelease(plist);
  }
  EXPECT_EQ(Read(std::string("<plist version=\"1.0\"></plist>")), nullptr);
  EXPECT_EQ(Read(std::string("not xml at all")), nullptr);
  EXPECT_EQ(CFPropertyListCreateWithData(nullptr, nullptr, 0, nullptr, nullptr), nullptr);
}

TEST_F(CFPropertyListTest, RefusesEntityDeclarations) {
  std::string laughs =
      "<?xml version=\"1.0\"?>\n"
      "<!DOCTYPE plist [\n"
      "  <!ENTITY lol \"lol\">\n";
  for (int level = 1; level <= 9; ++level) {
    laughs += "  <!ENTITY lol" + std::to_string(level) + " \"";
    for (int i = 0; i < 10; ++i) laughs += level == 1 ? "&lol;" : "&lol" + std::to_string(level - 1) + ";";
    laughs += "\">\n";
  }
  laughs += "]>\n<plist version=\"1.0\"><string>&lol9;</string></plist>\n";
  CFErrorRef error = reinterpret_cast<CFErrorRef>(1);
  CFDataRef data = MakeData(laughs);
  auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(CFPropertyListCreateWithData(nullptr, data, 0, nullptr, &error), nullptr);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(CFErrorGetCode(error), kCFPropertyListReadCorruptError);
  CFRelease(error);
  CFRelease(data);

  // An external entity is never fetched, and an internal subset is refused even when empty.
  EXPECT_EQ(Read(std::string("<!DOCTYPE plist [ <!ENTITY x SYSTEM \"file:///etc/passwd\"> ]>"
                             "<plist><string>&x;</string></plist>")),
            nullptr);
  EXPECT_EQ(Read(std::string("<!DOCTYPE plist []><plist><string>a</string></plist>")), nullptr);
}

// Expects the list that nested(levels) gives to be read 512 levels deep, and refused 513 and
// farTooDeep levels deep.
template <class Nested>
void ExpectNestingLimit(Nested nested, int farTooDeep) {
  CFPropertyListRef plist = Read(nested(512));
  EXPECT_NE(plist, nullptr);
  if (plist) CFRelease(plist);
  EXPECT_EQ(Read(nested(513)), nullptr);
  EXPECT_EQ(Read(nested(farTooDeep)), nullptr);
}

TEST_F(CFPropertyListTest, RefusesNestingDeeperThan512) {
  auto nested = [](int levels) {
    std::string text;
    for (int i = 0; i < levels; ++i) text += "<array>";
    text += "<true/>";
    for (int i = 0; i < levels; ++i) text += "</array>";
    return InPlist(text + "\n");
  };
  ExpectNestingLimit(nested, 100000);
}

TEST_F(CFPropertyListTest, ReadsAPlatformWrittenBinaryList) {
  // An edit record written by the platform's photo library: shared keys and numbers, 8, 4 and
  // 1-byte integers and a Float32 real.
  const Bytes bytes = {
      0x62, 0x70, 0x6c, 0x69, 0x73, 0x74, 0x30, 0x30, 0xd1, 0x01, 0x02, 0x5a, 0x73, 0x6c, 0x6f, 0x77, 0x4d, 0x6f, 0x74,
      0x69, 0x6f, 0x6e, 0xd2, 0x03, 0x04, 0x05, 0x16, 0x57, 0x72, 0x65, 0x67, 0x69, 0x6f, 0x6e, 0x73, 0x54, 0x72, 0x61,
      0x74, 0x65, 0xa1, 0x06, 0xd1, 0x07, 0x08, 0x59, 0x74, 0x69, 0x6d, 0x65, 0x52, 0x61, 0x6e, 0x67, 0x65, 0xd2, 0x09,
      0x0a, 0x0b, 0x14, 0x55, 0x73, 0x74, 0x61, 0x72, 0x74, 0x58, 0x64, 0x75, 0x72, 0x61, 0x74, 0x69, 0x6f, 0x6e, 0xd4,
      0x0c, 0x0d, 0x0e, 0x0f, 0x10, 0x11, 0x12, 0x13, 0x55, 0x66, 0x6c, 0x61, 0x67, 0x73, 0x55, 0x76, 0x61, 0x6c, 0x75,
      0x65, 0x59, 0x74, 0x69, 0x6d, 0x65, 0x73, 0x63, 0x61, 0x6c, 0x65, 0x55, 0x65, 0x70, 0x6f, 0x63, 0x68, 0x10, 0x01,
      0x13, 0x00, 0x00, 0x00, 0x01, 0x77, 0x49, 0x26, 0x90, 0x12, 0x3b, 0x9a, 0xca, 0x00, 0x10, 0x00, 0xd4, 0x0c, 0x0d,
      0x0e, 0x0f, 0x10, 0x15, 0x12, 0x13, 0x13, 0x00, 0x00, 0x00, 0x06, 0xd7, 0x55, 0x5e, 0xa0, 0x22, 0x3e, 0x00, 0x00,
      0x00, 0x08, 0x0b, 0x16, 0x1b, 0x23, 0x28, 0x2a, 0x2d, 0x37, 0x3c, 0x42, 0x4b, 0x54, 0x5a, 0x60, 0x6a, 0x70, 0x72,
      0x7b, 0x80, 0x82, 0x8b, 0x94, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x01, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
      0x00, 0x17, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x99,
  };
  for (CFOptionFlags options : {kCFPropertyListImmutable, kCFPropertyListMutableContainersAndLeaves}) {
    CFPropertyListFormat format = 0;
    CFPropertyListRef plist = Read(bytes, options, &format);
    ASSERT_NE(plist, nullptr);
    EXPECT_EQ(format, kCFPropertyListBinaryFormat_v1_0);
    CFTypeRef slowMotion = Value(plist, "slowMotion");
    EXPECT_EQ(RealOf(Value(slowMotion, "rate")), 0.125);
    auto regions = static_cast<CFArrayRef>(Value(slowMotion, "regions"));
    ASSERT_EQ(CFArrayGetCount(regions), 1);
    CFTypeRef timeRange = Value(CFArrayGetValueAtIndex(regions, 0), "timeRange");
    CFTypeRef start = Value(timeRange, "start");
    CFTypeRef duration = Value(timeRange, "duration");
    EXPECT_EQ(IntegerOf(Value(start, "value")), 6296250000);
    EXPECT_EQ(IntegerOf(Value(start, "timescale")), 1000000000);
    EXPECT_EQ(IntegerOf(Value(start, "flags")), 1);
    EXPECT_EQ(IntegerOf(Value(start, "epoch")), 0);
    EXPECT_EQ(IntegerOf(Value(duration, "value")), 29382500000);
    EXPECT_EQ(Write(plist), InPlist("<dict>\n"
                                    "\t<key>slowMotion</key>\n"
                                    "\t<dict>\n"
                                    "\t\t<key>rate</key>\n"
                                    "\t\t<real>0.125</real>\n"
                                    "\t\t<key>regions</key>\n"
                                    "\t\t<array>\n"
                                    "\t\t\t<dict>\n"
                                    "\t\t\t\t<key>timeRange</key>\n"
                                    "\t\t\t\t<dict>\n"
                                    "\t\t\t\t\t<key>duration</key>\n"
                                    "\t\t\t\t\t<dict>\n"
                                    "\t\t\t\t\t\t<key>epoch</key>\n"
                                    "\t\t\t\t\t\t<integer>0</integer>\n"
                                    "\t\t\t\t\t\t<key>flags</key>\n"
                                    "\t\t\t\t\t\t<integer>1</integer>\n"
                                    "\t\t\t\t\t\t<key>timescale</key>\n"
                                    "\t\t\t\t\t\t<integer>1000000000</integer>\n"
                                    "\t\t\t\t\t\t<key>value</key>\n"
                                    "\t\t\t\t\t\t<integer>29382500000</integer>\n"
                                    "\t\t\t\t\t</dict>\n"
                                    "\t\t\t\t\t<key>start</key>\n"
                                    "\t\t\t\t\t<dict>\n"
                                    "\t\t\t\t\t\t<key>epoch</key>\n"
                                    "\t\t\t\t\t\t<integer>0</integer>\n"
                                    "\t\t\t\t\t\t<key>flags</key>\n"
                                    "\t\t\t\t\t\t<integer>1</integer>\n"
                                    "\t\t\t\t\t\t<key>timescale</key>\n"
                                    "\t\t\t\t\t\t<integer>1000000000</integer>\n"
                                    "\t\t\t\t\t\t<key>value</key>\n"
                                    "\t\t\t\t\t\t<integer>6296250000</integer>\n"
                                    "\t\t\t\t\t</dict>\n"
                                    "\t\t\t\t</dict>\n"
                                    "\t\t\t</dict>\n"
                                    "\t\t</array>\n"
                                    "\t</dict>\n"
                                    "</dict>\n"));
    CFRelease(plist);
  }
}

TEST_F(CFPropertyListTest, RoundTripsThroughBinary) {
  CFDictionaryRef sample = CreateSample();
  for (size_t referenceSize : {1u, 2u, 8u}) {
    BinaryPlist writer(referenceSize);
    size_t top = writer.encode(sample);
    CFPropertyListRef back = Read(writer.finish(top));
    ASSERT_NE(back, nullptr);
    EXPECT_TRUE(CFEqual(back, sample));
    CFRelease(back);
  }
  CFRelease(sample);
}

TEST_F(CFPropertyListTest, ReadsEveryBinaryEncoding) {
  BinaryPlist writer(2, 8);
  std::vector<size_t> items = {
      writer.add(BinaryPlist::Integer(0xFE, 1)),
      writer.add(BinaryPlist::Integer(0xFEDC, 2)),
      writer.add(BinaryPlist::Integer(0xFEDCBA98u, 4)),
      writer.add(BinaryPlist::Integer(static_cast<uint64_t>(-5), 8)),
      writer.add(BinaryPlist::Integer(77, 16)),
      writer.add(BinaryPlist::Float(1.5f)),
      writer.add(BinaryPlist::Double(-0.25)),
      writer.add(BinaryPlist::Double(-1.0, 0x33)),
      writer.add(BinaryPlist::Data(std::string("\x00\x01\x02", 3))),
      writer.add(BinaryPlist::Data(std::string(300, 'x'))),
      writer.add(BinaryPlist::ASCII("plain")),
      writer.add(BinaryPlist::ASCII(std::string(20, 'y'))),
      writer.add(BinaryPlist::UTF16(u"\u00E9t\u00E9 \U0001F600")),
      writer.add({0x09}),
      writer.add({0x08}),
      writer.add({0x80, 0x07}),
  };
  size_t top = writer.add(writer.array(items));
  CFPropertyListRef plist = Read(writer.finish(top));
  ASSERT_NE(plist, nullptr);
  auto array = static_cast<CFArrayRef>(plist);
  ASSERT_EQ(CFArrayGetCount(array), 16);
  EXPECT_EQ(IntegerOf(CFArrayGetValueAtIndex(array, 0)), 0xFE);
  EXPECT_EQ(IntegerOf(CFArrayGetValueAtIndex(array, 1)), 0xFEDC);
  EXPECT_EQ(IntegerOf(CFArrayGetValueAtIndex(array, 2)), 0xFEDCBA98);
  EXPECT_EQ(IntegerOf(CFArrayGetValueAtIndex(array, 3)), -5);
  EXPECT_EQ(IntegerOf(CFArrayGetValueAtIndex(array, 4)), 77);
  EXPECT_EQ(CFNumberGetType(static_cast<CFNumberRef>(CFArrayGetValueAtIndex(array, 5))), kCFNumberFloat32Type);
  EXPECT_EQ(RealOf(CFArrayGetValueAtIndex(array, 5)), 1.5);
  EXPECT_EQ(RealOf(CFArrayGetValueAtIndex(array, 6)), -0.25);
  EXPECT_EQ(CFDateGetAbsoluteTime(static_cast<CFDateRef>(CFArrayGetValueAtIndex(array, 7))), -1.0);
  EXPECT_EQ(BytesOf(CFArrayGetValueAtIndex(array, 8)), std::string("\x00\x01\x02", 3));
  EXPECT_EQ(BytesOf(CFArrayGetValueAtIndex(array, 9)), std::string(300, 'x'));
  EXPECT_EQ(zrtest::Utf8(CFArrayGetValueAtIndex(array, 10)), "plain");
  EXPECT_EQ(zrtest::Utf8(CFArrayGetValueAtIndex(array, 11)), std::string(20, 'y'));
  EXPECT_EQ(zrtest::Utf8(CFArrayGetValueAtIndex(array, 12)), "\xC3\xA9t\xC3\xA9 \xF0\x9F\x98\x80");
  EXPECT_EQ(CFArrayGetValueAtIndex(array, 13), kCFBooleanTrue);
  EXPECT_EQ(CFArrayGetValueAtIndex(array, 14), kCFBooleanFalse);
  // A keyed archive's object reference reads as the dictionary the XML form writes for it.
  EXPECT_EQ(IntegerOf(Value(CFArrayGetValueAtIndex(array, 15), "CF$UID")), 7);
  CFRelease(plist);
}

// A binary list from its header and objects, offset table and the trailer's fields, each given as is.
Bytes WithTrailer(const Bytes& objects, uint8_t offsetSize, uint8_t referenceSize, uint64_t count, uint64_t top,
                  uint64_t tableOffset, const Bytes& table) {
  Bytes out = objects;
  out.insert(out.end(), table.begin(), table.end());
  out.insert(out.end(), 6, 0);
  out.push_back(offsetSize);
  out.push_back(referenceSize);
  BinaryPlist::BigEndian(count, 8, &out);
  BinaryPlist::BigEndian(top, 8, &out);
  BinaryPlist::BigEndian(tableOffset, 8, &out);
  return out;
}

TEST_F(CFPropertyListTest, RefusesMalformedBinaryLists) {
  // A valid list to start from: ["ab", 5].
  BinaryPlist writer;
  size_t a = writer.add(BinaryPlist::ASCII("ab"));
  size_t five = writer.add(BinaryPlist::Integer(5));
  size_t top = writer.add(writer.array({a, five}));
  Bytes valid = writer.finish(top);
  CFPropertyListRef plist = Read(valid);
  ASSERT_NE(plist, nullptr);
  CFRelease(plist);

  // Every truncation fails once the header is there ("bplis" and shorter read as old-style strings).
  for (size_t length = 6; length < valid.size(); ++length)
    EXPECT_EQ(Read(Bytes(valid.begin(), valid.begin() + static_cast<long>(length))), nullptr) << length;

  const Bytes header = {'b', 'p', 'l', 'i', 's', 't', '0', '0'};
  Bytes objects = header;
  objects.insert(objects.end(), {0x52, 'a', 'b', 0x10, 0x05, 0xA2, 0x00, 0x01});
  const Bytes table = {8, 11, 13};
  plist = Read(WithTrailer(objects, 1, 1, 3, 2, 16, table));
  ASSERT_NE(plist, nullptr);
  CFRelease(plist);
  // Bad sizes in the trailer.
  EXPECT_EQ(Read(WithTrailer(objects, 0, 1, 3, 2, 16, table)), nullptr);
  EXPECT_EQ(Read(WithTrailer(objects, 9, 1, 3, 2, 16, table)), nullptr);
  EXPECT_EQ(Read(WithTrailer(objects, 1, 0, 3, 2, 16, table)), nullptr);
  // Object count zero, too large, or wrapping around.
  EXPECT_EQ(Read(WithTrailer(objects, 1, 1, 0, 0, 16, table)), nullptr);
  EXPECT_EQ(Read(WithTrailer(objects, 1, 1, 4, 2, 16, table)), nullptr);
  EXPECT_EQ(Read(WithTrailer(objects, 8, 1, 0x2000000000000001ull, 2, 16, table)), nullptr);
  // Top object out of range.
  EXPECT_EQ(Read(WithTrailer(objects, 1, 1, 3, 3, 16, table)), nullptr);
  // Offset table outside the file or inside the header.
  EXPECT_EQ(Read(WithTrailer(objects, 1, 1, 3, 2, 200, table)), nullptr);
  EXPECT_EQ(Read(WithTrailer(objects, 1, 1, 3, 2, 4, table)), nullptr);
  EXPECT_EQ(Read(WithTrailer(objects, 1, 1, 3, 2, ~0ull, table)), nullptr);
  // An offset pointing into the header, at the table, or past it.
  EXPECT_EQ(Read(WithTrailer(objects, 1, 1, 3, 2, 16, {3, 11, 13})), nullptr);
  EXPECT_EQ(Read(WithTrailer(objects, 1, 1, 3, 2, 16, {8, 11, 16})), nullptr);
  EXPECT_EQ(Read(WithTrailer(objects, 1, 1, 3, 2, 16, {8, 11, 250})), nullptr);
  // A reference beyond the objects.
  Bytes badReference = header;
  badReference.insert(badReference.end(), {0x52, 'a', 'b', 0x10, 0x05, 0xA2, 0x00, 0x03});
  EXPECT_EQ(Read(WithTrailer(badReference, 1, 1, 3, 2, 16, table)), nullptr);
  // A string or data longer than the file; a count that is no integer; a huge count.
  for (const Bytes& body : std::vector<Bytes>{
           {0x5F, 0x10, 0xFF, 0x00, 0x00, 0x00, 0x00, 0x00},
           {0x4F, 0x13, 0x7F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF},
           {0x4F, 0x23, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00},
           {0x6F, 0x13, 0x40, 0x00, 0x00, 0x00, 0x00, 0x00},
           {0xAF, 0x13, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF},
           {0xDF, 0x13, 0x10, 0x00, 0x00, 0x00, 0x00, 0x00},
           {0x14, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00},
           {0x15, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00},
           {0x24, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00},
           {0x34, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00},
           {0x51, 0xC3, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00},
           {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00},
           {0x0F, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00},
           {0x88, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00},
           {0xC1, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00},
           {0xB1, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00},
           {0x70, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00},
       }) {
    Bytes file = header;
    file.insert(file.end(), body.begin(), body.end());
    EXPECT_EQ(Read(WithTrailer(file, 1, 1, 1, 0, 16, {8})), nullptr) << std::hex << int(body[0]);
  }
  // A dictionary whose key is not a string.
  Bytes numberKey = header;
  numberKey.insert(numberKey.end(), {0xD1, 0x01, 0x01, 0x10, 0x05});
  EXPECT_EQ(Read(WithTrailer(numberKey, 1, 1, 2, 0, 13, {8, 11})), nullptr);
  // Other versions of the binary form are not read.
  Bytes otherVersion = valid;
  otherVersion[7] = '1';
  EXPECT_EQ(Read(otherVersion), nullptr);
}

TEST_F(CFPropertyListTest, RefusesReferenceCycles) {
  // An array holding itself, and two arrays holding each other.
  Bytes self = {'b', 'p', 'l', 'i', 's', 't', '0', '0', 0xA1, 0x00};
  EXPECT_EQ(Read(WithTrailer(self, 1, 1, 1, 0, 10, {8})), nullptr);
  Bytes pair = {'b', 'p', 'l', 'i', 's', 't', '0', '0', 0xA1, 0x01, 0xD1, 0x02, 0x00, 0x51, 'k'};
  for (CFOptionFlags options : {kCFPropertyListImmutable, kCFPropertyListMutableContainers})
    EXPECT_EQ(Read(WithTrailer(pair, 1, 1, 3, 0, 15, {8, 10, 13}), options), nullptr);
}

TEST_F(CFPropertyListTest, SharesObjectsWithoutMultiplyingThem) {
  // Sixty levels of arrays, each holding the level below twice: 2^60 paths to the bottom.
  BinaryPlist writer;
  size_t below = writer.add(BinaryPlist::ASCII("leaf"));
  for (int level = 0; level < 60; ++level) below = writer.add(writer.array({below, below}));
  Bytes file = writer.finish(below);
  auto start = std::chrono::steady_clock::now();
  // Immutable objects are shared as the file shares them.
  CFPropertyListRef plist = Read(file);
  ASSERT_NE(plist, nullptr);
  EXPECT_EQ(CFArrayGetValueAtIndex(static_cast<CFArrayRef>(plist), 0),
            CFArrayGetValueAtIndex(static_cast<CFArrayRef>(plist), 1));
  CFRelease(plist);
  // Mutable containers would each need a copy of their own: refused, and quickly.
  EXPECT_EQ(Read(file, kCFPropertyListMutableContainers), nullptr);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));

  // A little sharing of containers is fine with mutable containers too.
  BinaryPlist small;
  size_t leaf = small.add(BinaryPlist::ASCII("leaf"));
  size_t inner = small.add(small.array({leaf}));
  size_t outer = small.add(small.array({inner, inner}));
  plist = Read(small.finish(outer), kCFPropertyListMutableContainers);
  ASSERT_NE(plist, nullptr);
  EXPECT_NE(CFArrayGetValueAtIndex(static_cast<CFArrayRef>(plist), 0),
            CFArrayGetValueAtIndex(static_cast<CFArrayRef>(plist), 1));
  CFRelease(plist);
}

TEST_F(CFPropertyListTest, RefusesDeepBinaryNesting) {
  auto nested = [](int levels) {
    BinaryPlist writer(2);
    size_t below = writer.add({0x09});
    for (int i = 0; i < levels; ++i) below = writer.add(writer.array({below}));
    return writer.finish(below);
  };
  ExpectNestingLimit(nested, 20000);
}

TEST_F(CFPropertyListTest, LeaksNothingWhenAllocationsFail) {
  CFDictionaryRef sample = CreateSample();
  BinaryPlist writer;
  Bytes binary = writer.finish(writer.encode(sample));
  CFPropertyListRef fromXML = Read(kSampleXML);
  ASSERT_NE(fromXML, nullptr);
  CFDataRef xml = MakeData(kSampleXML);
  CFDataRef bin = MakeData(binary);
  for (CFDataRef data : {xml, bin}) {
    CFTypeRef expected = data == xml ? fromXML : sample;
    for (CFOptionFlags options : {kCFPropertyListImmutable, kCFPropertyListMutableContainersAndLeaves}) {
      bool completed = false;
      long n = 1;
      for (; !completed && n < 5000; ++n) {
        long before = ZRTestingLiveObjectCount();
        ZRTestingFailAllocation(n);
        CFPropertyListRef plist = CFPropertyListCreateWithData(nullptr, data, options, nullptr, nullptr);
        completed = ZRTestingFailurePending();
        ZRTestingFailAllocation(0);
        if (completed) {
          ASSERT_NE(plist, nullptr);
          EXPECT_TRUE(CFEqual(plist, expected));
        } else {
          EXPECT_EQ(plist, nullptr) << "allocation " << n;
        }
        if (plist) CFRelease(plist);
        EXPECT_EQ(ZRTestingLiveObjectCount(), before) << "allocation " << n;
      }
      EXPECT_TRUE(completed);
      EXPECT_GT(n, 20);
    }
  }
  CFRelease(bin);
  CFRelease(xml);
  CFRelease(fromXML);
  CFRelease(sample);
}

}  // namespace
