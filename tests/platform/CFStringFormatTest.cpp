// CFStringFormatTest.cpp: strings made from formats: the printf conversions with flags,
// widths, precisions and length modifiers, positional arguments, %@, %C and %S.
#include <CoreFoundation/CoreFoundation.h>
#include <ZRPlatform/Testing.h>
#include <gtest/gtest.h>

#include <cinttypes>
#include <climits>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

namespace {

std::string Utf8(CFStringRef string) {
  if (!string) return "<NULL>";
  CFIndex length = CFStringGetLength(string);
  std::string text(static_cast<size_t>(CFStringGetMaximumSizeForEncoding(length, kCFStringEncodingUTF8)), '\0');
  CFIndex used = 0;
  CFStringGetBytes(string, CFRangeMake(0, length), kCFStringEncodingUTF8, '?', false,
                   reinterpret_cast<UInt8*>(text.data()), static_cast<CFIndex>(text.size()), &used);
  text.resize(static_cast<size_t>(used));
  return text;
}

// Formats with the host and returns the text as UTF-8.
std::string F(CFStringRef format, ...) {
  va_list arguments;
  va_start(arguments, format);
  CFStringRef string = CFStringCreateWithFormatAndArguments(nullptr, nullptr, format, arguments);
  va_end(arguments);
  std::string text = Utf8(string);
  if (string) CFRelease(string);
  return text;
}

// The C library's result for the same format and arguments.
std::string C(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  char buffer[512];
  int written = std::vsnprintf(buffer, sizeof buffer, format, arguments);
  va_end(arguments);
  return std::string(buffer, static_cast<size_t>(written));
}

TEST(CFStringFormat, PlainTextAndPercent) {
  EXPECT_EQ(F(CFSTR("no conversions")), "no conversions");
  EXPECT_EQ(F(CFSTR("")), "");
  EXPECT_EQ(F(CFSTR("100%% sure")), "100% sure");
  EXPECT_EQ(F(CFSTR("%%%d%%"), 5), "%5%");
  EXPECT_EQ(F(CFSTR("gr\xc3\xbc\xc3\x9f %d"), 1), "gr\xc3\xbc\xc3\x9f 1");
}

TEST(CFStringFormat, Integers) {
  EXPECT_EQ(F(CFSTR("%d %i %u"), -42, 17, 3000000000U), "-42 17 3000000000");
  EXPECT_EQ(F(CFSTR("%d"), INT_MIN), "-2147483648");
  EXPECT_EQ(F(CFSTR("%lld"), LLONG_MIN), "-9223372036854775808");
  EXPECT_EQ(F(CFSTR("%lld %llu"), 1234567890123LL, ULLONG_MAX), "1234567890123 18446744073709551615");
  EXPECT_EQ(F(CFSTR("%qd"), -5LL), "-5");
  EXPECT_EQ(F(CFSTR("%ld %lu %lx"), LONG_MAX, ULONG_MAX, 255UL), C("%ld %lu %lx", LONG_MAX, ULONG_MAX, 255UL));
  EXPECT_EQ(F(CFSTR("%zu %zd %td %jd"), size_t(7), ssize_t(-7), ptrdiff_t(-3), intmax_t(INTMAX_MIN)),
            C("%zu %zd %td %jd", size_t(7), ssize_t(-7), ptrdiff_t(-3), intmax_t(INTMAX_MIN)));
  EXPECT_EQ(F(CFSTR("%hd %hu %hhd %hhu"), 70000, 70000, 300, 300), C("%hd %hu %hhd %hhu", 70000, 70000, 300, 300));
  EXPECT_EQ(F(CFSTR("%o %#o %#o %x %X %#x %#X %#x"), 8, 8, 0, 0xbeef, 0xbeef, 255, 255, 0),
            "10 010 0 beef BEEF 0xff 0XFF 0");
}

// The text of one format and argument made three ways: from a format string made at run
// time, from a constant format (whose parsed form is kept), and appended to a mutable string
// (which has a shorter way for formats of a single number).
template <class Value>
void ExpectEveryWay(const char* format, Value value) {
  SCOPED_TRACE(testing::Message() << format << " of " << value);
  std::string expected = C(format, value);
  CFStringRef runtimeFormat = CFStringCreateWithCString(nullptr, format, kCFStringEncodingUTF8);
  EXPECT_EQ(F(runtimeFormat, value), expected);
  CFRelease(runtimeFormat);
  CFStringRef constantFormat = __CFStringMakeConstantString(format);
  EXPECT_EQ(F(constantFormat, value), expected);
  CFMutableStringRef appended = CFStringCreateMutableCopy(nullptr, 0, CFSTR(">"));
  CFStringAppendFormat(appended, nullptr, constantFormat, value);
  EXPECT_EQ(Utf8(appended), ">" + expected);
  CFRelease(appended);
}

TEST(CFStringFormat, IntegerFlagsWidthPrecisionMatchTheCLibrary) {
  const char* formats[] = {"%d",    "%5d",     "%-5d|",  "%05d",  "%+d",   "% d",   "%+05d", "%-+5d|", "%.3d",
                           "%8.3d", "%-8.3d|", "%08.3d", "%.0d",  "%5.0d", "%#.0o", "%#5x",  "%#08x",  "%-#8x|",
                           "%+.0d", "% 05d",   "%x",     "%.5x",  "%#.5o", "%2d",   "%'d",   "%02x",   "%02X",
                           "%o",    "%u",      "%10u",   "%010o", "%i",    "<%d>",  "%d%%",  "[%3x]"};
  const int values[] = {0, 1, -1, 7, 42, -42, 255, 123456, INT_MAX, INT_MIN};
  for (const char* format : formats)
    for (int value : values) ExpectEveryWay(format, value);
}

TEST(CFStringFormat, IntegerLengthModifiersMatchTheCLibrary) {
  const long long values[] = {0,     1,      -1,      127,     128,          255,          256,       -129,     65535,
                              65536, -32769, INT_MAX, INT_MIN, 4294967295LL, 4294967296LL, LLONG_MAX, LLONG_MIN};
  for (long long value : values) {
    ExpectEveryWay("%hhd", static_cast<int>(value));
    ExpectEveryWay("%hhu", static_cast<int>(value));
    ExpectEveryWay("%02hhx", static_cast<int>(value));
    ExpectEveryWay("%hd", static_cast<int>(value));
    ExpectEveryWay("%hx", static_cast<int>(value));
    ExpectEveryWay("%ld", static_cast<long>(value));
    ExpectEveryWay("%lu", static_cast<unsigned long>(value));
    ExpectEveryWay("%016lx", static_cast<unsigned long>(value));
    ExpectEveryWay("%lld", value);
    ExpectEveryWay("%llo", static_cast<unsigned long long>(value));
    ExpectEveryWay("%jd", static_cast<intmax_t>(value));
    ExpectEveryWay("%zu", static_cast<size_t>(value));
    ExpectEveryWay("%zd", static_cast<ssize_t>(value));
    ExpectEveryWay("%td", static_cast<ptrdiff_t>(value));
    ExpectEveryWay("%5lld|", value);
    ExpectEveryWay("%-21lld|", value);
    ExpectEveryWay("%021lld", value);
  }
}

TEST(CFStringFormat, StarWidthAndPrecision) {
  EXPECT_EQ(F(CFSTR("[%*d]"), 6, 42), "[    42]");
  EXPECT_EQ(F(CFSTR("[%*d]"), -6, 42), "[42    ]");
  EXPECT_EQ(F(CFSTR("[%.*d]"), 4, 7), "[0007]");
  EXPECT_EQ(F(CFSTR("[%.*d]"), -1, 7), "[7]");
  EXPECT_EQ(F(CFSTR("[%*.*f]"), 8, 2, 3.14159), "[    3.14]");
}

TEST(CFStringFormat, HexBytesOfEveryValue) {
  CFMutableStringRef hex = CFStringCreateMutable(nullptr, 0);
  std::string expected;
  for (int byte = 0; byte < 256; ++byte) {
    CFStringAppendFormat(hex, nullptr, CFSTR("%02x"), static_cast<unsigned char>(byte));
    expected += C("%02x", byte);
  }
  EXPECT_EQ(Utf8(hex), expected);
  EXPECT_EQ(expected.substr(0, 6), "000102");
  EXPECT_EQ(expected.substr(expected.size() - 4), "feff");
  CFRelease(hex);
}

TEST(CFStringFormat, LongHexDumpKeepsEveryByte) {
  // Long enough for the string to grow past a few MiB, one append per byte.
  const size_t count = size_t{3} << 19;
  CFMutableStringRef hex = CFStringCreateMutable(nullptr, 0);
  std::string expected;
  expected.reserve(count * 2);
  const char* digits = "0123456789abcdef";
  for (size_t k = 0; k < count; ++k) {
    unsigned byte = static_cast<unsigned>((k * 2654435761u) >> 24) & 0xFF;
    CFStringAppendFormat(hex, nullptr, CFSTR("%02x"), byte);
    expected.push_back(digits[byte >> 4]);
    expected.push_back(digits[byte & 15]);
  }
  ASSERT_EQ(CFStringGetLength(hex), static_cast<CFIndex>(count * 2));
  EXPECT_TRUE(Utf8(hex) == expected);
  CFRelease(hex);
}

TEST(CFStringFormat, Floating) {
  EXPECT_EQ(F(CFSTR("%5.2f"), 3.14159), " 3.14");
  EXPECT_EQ(F(CFSTR("%f"), 1.5), "1.500000");
  EXPECT_EQ(F(CFSTR("%e %E"), 12345.678, 0.00012), C("%e %E", 12345.678, 0.00012));
  EXPECT_EQ(F(CFSTR("%g %G %g"), 0.0001, 1e20, 100.0), C("%g %G %g", 0.0001, 1e20, 100.0));
  EXPECT_EQ(F(CFSTR("%a %A %.2a"), 1.0, 0.5, 3.0), C("%a %A %.2a", 1.0, 0.5, 3.0));
  EXPECT_EQ(F(CFSTR("%-8.1f|%+f|% f|%08.3f|%#.0f"), 2.25, 1.0, 1.0, -3.5, 2.0),
            C("%-8.1f|%+f|% f|%08.3f|%#.0f", 2.25, 1.0, 1.0, -3.5, 2.0));
  EXPECT_EQ(F(CFSTR("%Lf %Lg"), 1.25L, 1e300L * 1e10L), C("%Lf %Lg", 1.25L, 1e300L * 1e10L));
  EXPECT_EQ(F(CFSTR("%f %f %F"), INFINITY, -INFINITY, NAN), C("%f %f %F", INFINITY, -INFINITY, NAN));
  EXPECT_EQ(F(CFSTR("%.0f %.3f"), 0.5, 2.0005), C("%.0f %.3f", 0.5, 2.0005));
  // Long results are not cut.
  EXPECT_EQ(F(CFSTR("%f"), 1e200), C("%f", 1e200));
}

TEST(CFStringFormat, Characters) {
  EXPECT_EQ(F(CFSTR("%c%c%c"), 'a', 'b', 'c'), "abc");
  EXPECT_EQ(F(CFSTR("[%3c][%-3c]"), 'x', 'y'), "[  x][y  ]");
  EXPECT_EQ(F(CFSTR("%C"), 0x21A9), "\xe2\x86\xa9");
  EXPECT_EQ(F(CFSTR("%C%C"), static_cast<UniChar>(0x2318), static_cast<UniChar>('P')), "\xe2\x8c\x98P");
  EXPECT_EQ(F(CFSTR("%lc"), 0x00e9), "\xc3\xa9");
  EXPECT_EQ(F(CFSTR("%c"), 0xe9), "\xc3\xa9");  // a byte of ISO Latin 1
}

TEST(CFStringFormat, CStrings) {
  EXPECT_EQ(F(CFSTR("<%s>"), "plain"), "<plain>");
  EXPECT_EQ(F(CFSTR("<%s>"), "gr\xc3\xbc\xc3\x9f"), "<gr\xc3\xbc\xc3\x9f>");
  // Bytes that are not UTF-8 are read as ISO Latin 1, each on its own.
  EXPECT_EQ(F(CFSTR("<%s>"), "caf\xe9"), "<caf\xc3\xa9>");
  EXPECT_EQ(F(CFSTR("<%s>"), "\xc3\xa9\xe9\xff\xc3"), "<\xc3\xa9\xc3\xa9\xc3\xbf\xc3\x83>");
  EXPECT_EQ(F(CFSTR("<%s>"), "\xed\xa0\x80"), "<\xc3\xad\xc2\xa0\xc2\x80>");  // an encoded surrogate
  // A precision that cuts a UTF-8 sequence leaves its first bytes as ISO Latin 1.
  EXPECT_EQ(F(CFSTR("<%.2s>"), "a\xc3\xa9"), "<a\xc3\x83>");
  EXPECT_EQ(F(CFSTR("<%s>"), static_cast<const char*>(nullptr)), "<(null)>");
  EXPECT_EQ(F(CFSTR("<%8s|%-8s>"), "ab", "cd"), "<      ab|cd      >");
  EXPECT_EQ(F(CFSTR("<%.3s>"), "abcdef"), "<abc>");
  EXPECT_EQ(F(CFSTR("<%.*s>"), 2, "abcdef"), "<ab>");
  // The precision counts bytes, and the text need not be terminated beyond it.
  const char unterminated[4] = {'w', 'x', 'y', 'z'};
  EXPECT_EQ(F(CFSTR("<%.*s>"), 4, unterminated), "<wxyz>");
  EXPECT_EQ(F(CFSTR("<%.*s>"), 0, "abc"), "<>");
}

TEST(CFStringFormat, UniCharStrings) {
  const UniChar text[] = {'h', 0x00e9, 0x4e2d, 0xD83D, 0xDE00, 0};
  EXPECT_EQ(F(CFSTR("<%S>"), text), "<h\xc3\xa9\xe4\xb8\xad\xf0\x9f\x98\x80>");
  EXPECT_EQ(F(CFSTR("<%.2S>"), text), "<h\xc3\xa9>");
  EXPECT_EQ(F(CFSTR("<%4S>"), text + 5), "<    >");
  EXPECT_EQ(F(CFSTR("<%ls>"), text + 2), "<\xe4\xb8\xad\xf0\x9f\x98\x80>");
  EXPECT_EQ(F(CFSTR("<%S>"), static_cast<const UniChar*>(nullptr)), "<(null)>");
}

TEST(CFStringFormat, Objects) {
  // A string prints itself, whatever its kind.
  EXPECT_EQ(F(CFSTR("<%@>"), CFSTR("constant")), "<constant>");
  CFMutableStringRef mutableText = CFStringCreateMutableCopy(nullptr, 0, CFSTR("mutable \xe2\x82\xac"));
  EXPECT_EQ(F(CFSTR("<%@>"), mutableText), "<mutable \xe2\x82\xac>");
  CFRelease(mutableText);
  EXPECT_EQ(F(CFSTR("<%@>"), static_cast<CFTypeRef>(nullptr)), "<(null)>");
  EXPECT_EQ(F(CFSTR("<%8@|%-6@>"), CFSTR("right"), CFSTR("left")), "<   right|left  >");
  EXPECT_EQ(F(CFSTR("<%.3@>"), CFSTR("truncated")), "<tru>");
  // Other objects print their description.
  CFStringRef nullDescription = CFCopyDescription(kCFNull);
  EXPECT_EQ(F(CFSTR("%@"), kCFNull), Utf8(nullDescription));
  CFRelease(nullDescription);
  EXPECT_EQ(F(CFSTR("%@ and %@"), CFSTR("this"), CFSTR("that")), "this and that");
}

TEST(CFStringFormat, Pointers) {
  int local = 0;
  EXPECT_EQ(F(CFSTR("%p"), static_cast<void*>(&local)), C("%p", static_cast<void*>(&local)));
  EXPECT_EQ(F(CFSTR("%p"), static_cast<void*>(nullptr)), "0x0");
  EXPECT_EQ(F(CFSTR("[%20p]"), reinterpret_cast<void*>(0xabc)), "[               0xabc]");
  EXPECT_EQ(F(CFSTR("[%-8p]"), reinterpret_cast<void*>(0xabc)), "[0xabc   ]");
}

TEST(CFStringFormat, PositionalArguments) {
  EXPECT_EQ(F(CFSTR("%2$@ %1$@"), CFSTR("world"), CFSTR("hello")), "hello world");
  EXPECT_EQ(F(CFSTR("%1$@ %1$@"), CFSTR("twice")), "twice twice");
  // Arguments of different sizes are fetched in their own order, not the format's.
  EXPECT_EQ(F(CFSTR("%3$s %1$lld %2$.1f"), 1234567890123LL, 2.5, "three"), "three 1234567890123 2.5");
  EXPECT_EQ(F(CFSTR("[%2$*1$d]"), 5, 42), "[   42]");
  EXPECT_EQ(F(CFSTR("[%3$.*2$f|%1$d]"), 7, 3, 3.14159), "[3.142|7]");
}

TEST(CFStringFormat, NumberOfUnitsWritten) {
  int count = -1;
  EXPECT_EQ(F(CFSTR("\xe2\x82\xac"
                    "ab%n!"),
              &count),
            "\xe2\x82\xac"
            "ab!");
  EXPECT_EQ(count, 3);
}

TEST(CFStringFormat, NotAConversionStaysAsItIs) {
  EXPECT_EQ(F(CFSTR("%y %d"), 4), "%y 4");
  EXPECT_EQ(F(CFSTR("trailing %")), "trailing %");
  // A star of something that is no conversion takes no argument either.
  EXPECT_EQ(F(CFSTR("%*y %d"), 4), "%*y 4");
  EXPECT_EQ(F(CFSTR("%99999$d %d"), 5), "%99999$d 5");
}

TEST(CFStringFormat, AppendFormat) {
  CFMutableStringRef text = CFStringCreateMutableCopy(nullptr, 0, CFSTR("start"));
  CFStringAppendFormat(text, nullptr, CFSTR(" %d"), 1);
  CFStringAppendFormat(text, nullptr, CFSTR(" %@"), CFSTR("two"));
  // The string itself as an argument: its text before the append.
  CFStringAppendFormat(text, nullptr, CFSTR(" [%@]"), text);
  EXPECT_EQ(Utf8(text), "start 1 two [start 1 two]");
  // A format that is not a constant, and one whose text comes from the appended string.
  CFStringRef format = CFStringCreateWithCString(nullptr, " <%s>", kCFStringEncodingUTF8);
  CFStringAppendFormat(text, nullptr, format, "x");
  CFRelease(format);
  EXPECT_EQ(Utf8(text), "start 1 two [start 1 two] <x>");
  CFRelease(text);
}

TEST(CFStringFormat, NonConstantFormats) {
  CFMutableStringRef format = CFStringCreateMutableCopy(nullptr, 0, CFSTR("%d-"));
  CFStringAppend(format, CFSTR("%s"));
  EXPECT_EQ(F(format, 3, "x"), "3-x");
  CFRelease(format);
}

TEST(CFStringFormat, SameConstantFormatFromManyThreads) {
  std::vector<std::thread> threads;
  std::vector<std::string> results(4);
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t, &results] {
      CFMutableStringRef text = CFStringCreateMutable(nullptr, 0);
      for (int k = 0; k < 1000; ++k) CFStringAppendFormat(text, nullptr, CFSTR("%d,"), t);
      results[static_cast<size_t>(t)] = Utf8(text);
      CFRelease(text);
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (int t = 0; t < 4; ++t) {
    std::string expected;
    for (int k = 0; k < 1000; ++k) expected += std::to_string(t) + ",";
    EXPECT_EQ(results[static_cast<size_t>(t)], expected);
  }
}

TEST(CFStringFormat, FailedAllocationGivesNullAndLeaksNothing) {
  long live = ZRTestingLiveObjectCount();
  ZRTestingFailAllocation(1);
  EXPECT_EQ(CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%d"), 1), nullptr);
  EXPECT_FALSE(ZRTestingFailurePending());
  EXPECT_EQ(ZRTestingLiveObjectCount(), live);
}

TEST(CFStringFormat, ImmutableStringIsNotAppendedTo) {
  CFStringRef immutable = CFStringCreateWithCString(nullptr, "fixed", kCFStringEncodingUTF8);
  CFStringAppendFormat(const_cast<CFMutableStringRef>(immutable), nullptr, CFSTR("%d"), 1);
  EXPECT_EQ(Utf8(immutable), "fixed");
  CFRelease(immutable);
}

}  // namespace
