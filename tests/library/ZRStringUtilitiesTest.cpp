// ZRStringUtilitiesTest.cpp: equality and emptiness tests, C buffers, find-and-replace,
// character removal, space normalisation and numbers read from text.
#include <ZRFramework/ZRFramework.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "TestSupport.h"

namespace {

using zrtest::LogCapture;
using zrtest::MakeString;
using zrtest::MakeUnits;
using zrtest::Pointer;
using zrtest::Units;
using zrtest::WithoutLine;
using zrtest::WithoutLines;

class ZRStringUtilitiesTest : public ::testing::Test {
 protected:
  NSAutoreleasePool pool_;
};

std::string Line(const std::string& message, const char* function) { return zrtest::ErrorLine(function, message); }

// One run of a function with the n-th allocation failing.
struct FaultRun {
  OSStatus status;
  std::vector<std::string> lines;  // without their source lines
  std::u16string result;           // the output string's units, or "<NULL>"
};

// Runs call(inLog, &out) with the 1st, 2nd, ... allocation failing until a run makes fewer
// allocations than the failure was armed for. Every run must leave no host object alive and,
// with inLog false, write nothing and return the same status as with inLog true.
std::vector<FaultRun> RunWithEachAllocationFailing(const std::function<OSStatus(Boolean, CFStringRef*)>& call) {
  std::vector<FaultRun> runs;
  for (long n = 1; n < 1000; ++n) {
    long before = ZRTestingLiveObjectCount();
    FaultRun run;
    bool pending = false;
    {
      NSAutoreleasePool pool;
      LogCapture log;
      CFStringRef out = NULL;
      ZRTestingFailAllocation(n);
      run.status = call(true, &out);
      pending = ZRTestingFailurePending();
      ZRTestingFailAllocation(0);
      run.lines = WithoutLines(log.lines());
      run.result = Units(out);
      if (run.status != noErr) {
        EXPECT_EQ(out, nullptr) << "allocation " << n;
      }
      if (out) CFRelease(out);

      log.clear();
      out = NULL;
      ZRTestingFailAllocation(n);
      OSStatus quiet = call(false, &out);
      ZRTestingFailAllocation(0);
      EXPECT_EQ(quiet, run.status) << "allocation " << n;
      EXPECT_TRUE(log.lines().empty()) << "allocation " << n;
      if (out) CFRelease(out);
    }
    EXPECT_EQ(ZRTestingLiveObjectCount(), before) << "allocation " << n;
    if (pending) break;
    runs.push_back(run);
  }
  return runs;
}

// ---------------------------------------------------------------------------------------------
// Equality and emptiness

TEST_F(ZRStringUtilitiesTest, EqualityAcceptsNull) {
  CFStringRef a = CFSTR("a");
  EXPECT_TRUE(ZRStringRefsAreEqual(NULL, NULL));
  EXPECT_FALSE(ZRStringRefsAreDifferent(NULL, NULL));
  EXPECT_FALSE(ZRStringRefsAreEqual(NULL, a));
  EXPECT_FALSE(ZRStringRefsAreEqual(a, NULL));
  EXPECT_TRUE(ZRStringRefsAreDifferent(NULL, a));
  EXPECT_TRUE(ZRStringRefsAreDifferent(a, NULL));
}

TEST_F(ZRStringUtilitiesTest, EqualityIsExact) {
  CFStringRef lower = CFSTR("a");
  CFStringRef upper = CFSTR("A");
  EXPECT_FALSE(ZRStringRefsAreEqual(lower, upper));
  EXPECT_TRUE(ZRStringRefsAreDifferent(lower, upper));

  // Two objects with the same characters are equal; so is an object to itself.
  CFStringRef made = MakeString("abc");
  EXPECT_TRUE(ZRStringRefsAreEqual(made, CFSTR("abc")));
  EXPECT_FALSE(ZRStringRefsAreDifferent(made, CFSTR("abc")));
  EXPECT_TRUE(ZRStringRefsAreEqual(made, made));
  EXPECT_FALSE(ZRStringRefsAreEqual(made, CFSTR("abcd")));
  CFRelease(made);

  // No normalisation: a precomposed letter differs from its decomposed form.
  CFStringRef precomposed = MakeUnits(u"\u00e9");
  CFStringRef decomposed = MakeUnits(u"e\u0301");
  EXPECT_FALSE(ZRStringRefsAreEqual(precomposed, decomposed));
  EXPECT_TRUE(ZRStringRefsAreDifferent(precomposed, decomposed));
  CFRelease(precomposed);
  CFRelease(decomposed);
}

TEST_F(ZRStringUtilitiesTest, EqualityOfSupplementaryCharactersAndLoneSurrogates) {
  CFStringRef smile1 = MakeString("x\xF0\x9F\x98\x80");
  CFStringRef smile2 = MakeUnits(u"x\U0001F600");
  CFStringRef grin = MakeUnits(u"x\U0001F601");
  EXPECT_TRUE(ZRStringRefsAreEqual(smile1, smile2));
  EXPECT_FALSE(ZRStringRefsAreEqual(smile1, grin));

  CFStringRef high1 = MakeUnits(u"a\xD83D");
  CFStringRef high2 = MakeUnits(u"a\xD83D");
  CFStringRef low = MakeUnits(u"a\xDE00");
  EXPECT_TRUE(ZRStringRefsAreEqual(high1, high2));
  EXPECT_FALSE(ZRStringRefsAreDifferent(high1, high2));
  EXPECT_FALSE(ZRStringRefsAreEqual(high1, low));
  EXPECT_TRUE(ZRStringRefsAreDifferent(high1, low));
  EXPECT_FALSE(ZRStringRefsAreEqual(high1, smile1));

  for (CFStringRef string : {smile1, smile2, grin, high1, high2, low}) CFRelease(string);
}

TEST_F(ZRStringUtilitiesTest, Emptiness) {
  EXPECT_TRUE(ZRStringRefIsEmpty(NULL));
  EXPECT_FALSE(ZRStringRefIsNotEmpty(NULL));
  EXPECT_TRUE(ZRStringRefIsEmpty(CFSTR("")));
  EXPECT_FALSE(ZRStringRefIsNotEmpty(CFSTR("")));
  EXPECT_FALSE(ZRStringRefIsEmpty(CFSTR(" ")));
  EXPECT_TRUE(ZRStringRefIsNotEmpty(CFSTR(" ")));

  CFStringRef lone = MakeUnits(u"\xDC00");
  EXPECT_FALSE(ZRStringRefIsEmpty(lone));
  EXPECT_TRUE(ZRStringRefIsNotEmpty(lone));
  CFRelease(lone);

  CFMutableStringRef growing = CFStringCreateMutable(NULL, 0);
  EXPECT_TRUE(ZRStringRefIsEmpty(growing));
  CFStringAppend(growing, CFSTR("z"));
  EXPECT_TRUE(ZRStringRefIsNotEmpty(growing));
  CFRelease(growing);
}

// ---------------------------------------------------------------------------------------------
// C buffers

TEST_F(ZRStringUtilitiesTest, CBufferHoldsTheBytesAndATerminator) {
  LogCapture log;
  char* buffer = NULL;
  ASSERT_EQ(ZRCopyCBufferOfStringRef(CFSTR("abc"), kCFStringEncodingUTF8, &buffer, true), noErr);
  ASSERT_NE(buffer, nullptr);
  EXPECT_EQ(std::memcmp(buffer, "abc", 4), 0);
  free(buffer);
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(ZRStringUtilitiesTest, CBufferOfSupplementaryCharacter) {
  CFStringRef string = MakeUnits(u"\U0001F600");
  char* buffer = NULL;
  ASSERT_EQ(ZRCopyCBufferOfStringRef(string, kCFStringEncodingUTF8, &buffer, true), noErr);
  EXPECT_EQ(std::memcmp(buffer, "\xF0\x9F\x98\x80", 5), 0);
  free(buffer);
  CFRelease(string);
}

TEST_F(ZRStringUtilitiesTest, CBufferOfEmptyStringFails) {
  LogCapture log;
  char* buffer = NULL;
  EXPECT_EQ(ZRCopyCBufferOfStringRef(CFSTR(""), kCFStringEncodingUTF8, &buffer, true), unknownErr);
  EXPECT_EQ(buffer, nullptr);
  EXPECT_EQ(
      WithoutLines(log.lines()),
      std::vector<std::string>{Line("CFStringGetMaximumSizeForEncoding returns 0 for ''", "ZRCopyCBufferOfStringRef")});

  log.clear();
  EXPECT_EQ(ZRCopyCBufferOfStringRef(CFSTR(""), kCFStringEncodingUTF8, &buffer, false), unknownErr);
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(ZRStringUtilitiesTest, CBufferFailsWhenTheTextFillsTheMaximumSize) {
  LogCapture log;
  char* buffer = NULL;
  // One character that takes three bytes in UTF-8 leaves no byte for the terminator.
  EXPECT_EQ(ZRCopyCBufferOfStringRef(CFSTR("\u20ac"), kCFStringEncodingUTF8, &buffer, true), unknownErr);
  EXPECT_EQ(buffer, nullptr);
  // In a one-byte encoding every string fills its maximum.
  EXPECT_EQ(ZRCopyCBufferOfStringRef(CFSTR("abc"), kCFStringEncodingASCII, &buffer, true), unknownErr);
  EXPECT_EQ(buffer, nullptr);
  EXPECT_EQ(ZRCopyCBufferOfStringRef(CFSTR("abc"), kCFStringEncodingMacRoman, &buffer, false), unknownErr);
  EXPECT_EQ(buffer, nullptr);
  EXPECT_EQ(WithoutLines(log.lines()),
            (std::vector<std::string>{
                Line("CFStringGetCString returns false for '\u20ac'", "ZRCopyCBufferOfStringRef"),
                Line("CFStringGetCString returns false for 'abc'", "ZRCopyCBufferOfStringRef"),
            }));

  // With room left over the same character converts.
  ASSERT_EQ(ZRCopyCBufferOfStringRef(CFSTR("a\u20ac"), kCFStringEncodingUTF8, &buffer, true), noErr);
  EXPECT_STREQ(buffer, "a\u20ac");
  free(buffer);
}

TEST_F(ZRStringUtilitiesTest, CBufferOfAnEncodingWithoutAMaximumSizeFails) {
  LogCapture log;
  char* buffer = NULL;
  const CFStringEncoding kNoSuchEncoding = 0x7ffe;
  EXPECT_EQ(ZRCopyCBufferOfStringRef(CFSTR("abc"), kNoSuchEncoding, &buffer, true), unknownErr);
  EXPECT_EQ(buffer, nullptr);
  EXPECT_EQ(WithoutLines(log.lines()),
            std::vector<std::string>{
                Line("CFStringGetMaximumSizeForEncoding returns -1 for 'abc'", "ZRCopyCBufferOfStringRef")});
}

TEST_F(ZRStringUtilitiesTest, CBufferInUTF16AlwaysFillsItsMaximum) {
  // Two bytes a unit leave no byte for the terminator, paired or lone units alike.
  for (const std::u16string& units :
       {std::u16string(u"ab"), std::u16string(u"\U0001F600"), std::u16string(u"a\xD800")}) {
    CFStringRef string = MakeUnits(units);
    char* buffer = NULL;
    EXPECT_EQ(ZRCopyCBufferOfStringRef(string, kCFStringEncodingUTF16, &buffer, false), unknownErr);
    EXPECT_EQ(buffer, nullptr);
    CFRelease(string);
  }
}

TEST_F(ZRStringUtilitiesTest, CBufferOfLoneSurrogateFails) {
  LogCapture log;
  for (const std::u16string& units : {std::u16string(u"ab\xD800"), std::u16string(u"\xDFFF"
                                                                                  u"cd")}) {
    CFStringRef string = MakeUnits(units);
    char* buffer = NULL;
    EXPECT_EQ(ZRCopyCBufferOfStringRef(string, kCFStringEncodingUTF8, &buffer, true), unknownErr);
    EXPECT_EQ(buffer, nullptr);
    CFRelease(string);
  }
  // The log shows the unpaired unit as the replacement character.
  EXPECT_EQ(WithoutLines(log.lines()),
            (std::vector<std::string>{
                Line("CFStringGetCString returns false for 'ab\xEF\xBF\xBD'", "ZRCopyCBufferOfStringRef"),
                Line("CFStringGetCString returns false for '\xEF\xBF\xBD"
                     "cd'",
                     "ZRCopyCBufferOfStringRef"),
            }));
}

TEST_F(ZRStringUtilitiesTest, CBufferBadArguments) {
  LogCapture log;
  char* buffer = NULL;
  EXPECT_EQ(ZRCopyCBufferOfStringRef(NULL, kCFStringEncodingUTF8, &buffer, true), paramErr);
  EXPECT_EQ(ZRCopyCBufferOfStringRef(CFSTR("a"), kCFStringEncodingUTF8, NULL, true), paramErr);
  EXPECT_EQ(WithoutLines(log.lines()),
            (std::vector<std::string>{
                Line("inStringRef: 0x0, outCBuffer: " + Pointer(&buffer), "ZRCopyCBufferOfStringRef"),
                Line("inStringRef: " + Pointer(CFSTR("a")) + ", outCBuffer: 0x0", "ZRCopyCBufferOfStringRef"),
            }));

  log.clear();
  EXPECT_EQ(ZRCopyCBufferOfStringRef(NULL, kCFStringEncodingUTF8, &buffer, false), paramErr);
  EXPECT_EQ(ZRCopyCBufferOfStringRef(CFSTR("a"), kCFStringEncodingUTF8, NULL, false), paramErr);
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(ZRStringUtilitiesTest, CBufferFreesABufferLeftInTheSlot) {
  LogCapture log;
  // The slot's old buffer is freed and the slot emptied (a leak checker sees the free).
  char* buffer = static_cast<char*>(std::malloc(16));
  char* held = buffer;
  EXPECT_EQ(ZRCopyCBufferOfStringRef(CFSTR("abc"), kCFStringEncodingUTF8, &buffer, true), paramErr);
  EXPECT_EQ(buffer, nullptr);
  EXPECT_EQ(WithoutLines(log.lines()),
            std::vector<std::string>{Line("inStringRef: " + Pointer(CFSTR("abc")) + ", outCBuffer: " + Pointer(&buffer),
                                          "ZRCopyCBufferOfStringRef")});
  (void)held;

  // Also when the string is missing as well, and without a line.
  log.clear();
  buffer = static_cast<char*>(std::malloc(16));
  EXPECT_EQ(ZRCopyCBufferOfStringRef(NULL, kCFStringEncodingUTF8, &buffer, false), paramErr);
  EXPECT_EQ(buffer, nullptr);
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(ZRStringUtilitiesTest, CBufferAllocationFailure) {
  LogCapture log;
  char* buffer = NULL;
  ZRTestingFailAllocation(1);
  EXPECT_EQ(ZRCopyCBufferOfStringRef(CFSTR("abc"), kCFStringEncodingUTF8, &buffer, true), unknownErr);
  EXPECT_FALSE(ZRTestingFailurePending());
  EXPECT_EQ(buffer, nullptr);
  EXPECT_EQ(WithoutLines(log.lines()),
            std::vector<std::string>{Line("malloc returns NULL", "ZRCopyCBufferOfStringRef")});

  log.clear();
  ZRTestingFailAllocation(1);
  EXPECT_EQ(ZRCopyCBufferOfStringRef(CFSTR("abc"), kCFStringEncodingUTF8, &buffer, false), unknownErr);
  EXPECT_FALSE(ZRTestingFailurePending());
  EXPECT_EQ(buffer, nullptr);
  EXPECT_TRUE(log.lines().empty());

  // The buffer is the one allocation: a failure armed for the second never happens.
  ZRTestingFailAllocation(2);
  ASSERT_EQ(ZRCopyCBufferOfStringRef(CFSTR("abc"), kCFStringEncodingUTF8, &buffer, false), noErr);
  EXPECT_TRUE(ZRTestingFailurePending());
  ZRTestingFailAllocation(0);
  free(buffer);
}

TEST_F(ZRStringUtilitiesTest, CBufferFailuresLeaveNothingAllocated) {
  long before = ZRTestingLiveObjectCount();
  {
    NSAutoreleasePool pool;
    LogCapture log;
    char* buffer = NULL;
    EXPECT_EQ(ZRCopyCBufferOfStringRef(CFSTR(""), kCFStringEncodingUTF8, &buffer, true), unknownErr);
    EXPECT_EQ(ZRCopyCBufferOfStringRef(CFSTR("\u20ac"), kCFStringEncodingUTF8, &buffer, true), unknownErr);
    EXPECT_EQ(ZRCopyCBufferOfStringRef(NULL, kCFStringEncodingUTF8, &buffer, true), paramErr);
    ZRTestingFailAllocation(1);
    EXPECT_EQ(ZRCopyCBufferOfStringRef(CFSTR("abc"), kCFStringEncodingUTF8, &buffer, true), unknownErr);
    EXPECT_EQ(log.lines().size(), 4u);
  }
  EXPECT_EQ(ZRTestingLiveObjectCount(), before);
}

// ---------------------------------------------------------------------------------------------
// Find and replace

OSStatus FindAndReplace(const std::u16string& text, const std::u16string& find, const std::u16string& replace,
                        CFStringCompareFlags options, std::u16string* result) {
  CFStringRef string = MakeUnits(text);
  CFStringRef findString = MakeUnits(find);
  CFStringRef replaceString = MakeUnits(replace);
  CFStringRef out = NULL;
  OSStatus status =
      ZRCopyStringRefOfStringRefAfterFindAndReplace(string, findString, replaceString, options, &out, true);
  *result = Units(out);
  if (out) CFRelease(out);
  CFRelease(string);
  CFRelease(findString);
  CFRelease(replaceString);
  return status;
}

TEST_F(ZRStringUtilitiesTest, FindAndReplaceEveryOccurrence) {
  std::u16string result;
  EXPECT_EQ(FindAndReplace(u"a-b-c", u"-", u"+", 0, &result), noErr);
  EXPECT_EQ(result, u"a+b+c");
  EXPECT_EQ(FindAndReplace(u"one, two, three", u", ", u"", 0, &result), noErr);
  EXPECT_EQ(result, u"onetwothree");
  EXPECT_EQ(FindAndReplace(u"aaaa", u"aa", u"b", 0, &result), noErr);
  EXPECT_EQ(result, u"bb");
  EXPECT_EQ(FindAndReplace(u"nothing here", u"x", u"y", 0, &result), noErr);
  EXPECT_EQ(result, u"nothing here");
  EXPECT_EQ(FindAndReplace(u"", u"x", u"y", 0, &result), noErr);
  EXPECT_EQ(result, u"");
}

TEST_F(ZRStringUtilitiesTest, FindAndReplaceHonoursCompareOptions) {
  std::u16string result;
  EXPECT_EQ(FindAndReplace(u"aAa", u"a", u"b", 0, &result), noErr);
  EXPECT_EQ(result, u"bAb");
  EXPECT_EQ(FindAndReplace(u"aAa", u"a", u"b", kCFCompareCaseInsensitive, &result), noErr);
  EXPECT_EQ(result, u"bbb");
}

TEST_F(ZRStringUtilitiesTest, FindAndReplaceSupplementaryCharactersAndLoneSurrogates) {
  std::u16string result;
  EXPECT_EQ(FindAndReplace(u"x\U0001F600y\U0001F600", u"\U0001F600", u"!", 0, &result), noErr);
  EXPECT_EQ(result, u"x!y!");
  EXPECT_EQ(FindAndReplace(u"x!y", u"!", u"\U0001F601", 0, &result), noErr);
  EXPECT_EQ(result, u"x\U0001F601y");
  // Unpaired units pass through untouched, can be found, and can be put in.
  EXPECT_EQ(FindAndReplace(u"a\xD800"
                           u"b",
                           u"a", u"c", 0, &result),
            noErr);
  EXPECT_EQ(result,
            u"c\xD800"
            u"b");
  EXPECT_EQ(FindAndReplace(u"a\xD800"
                           u"b\xD800",
                           u"\xD800", u"", 0, &result),
            noErr);
  EXPECT_EQ(result, u"ab");
  EXPECT_EQ(FindAndReplace(u"a-b", u"-", u"\xDC00", 0, &result), noErr);
  EXPECT_EQ(result,
            u"a\xDC00"
            u"b");
}

TEST_F(ZRStringUtilitiesTest, FindAndReplaceBadArguments) {
  LogCapture log;
  CFStringRef s = CFSTR("s");
  CFStringRef f = CFSTR("f");
  CFStringRef r = CFSTR("r");
  CFStringRef out = NULL;
  CFStringRef held = CFSTR("held");
  CFStringRef full = held;
  const char* kName = "ZRCopyStringRefOfStringRefAfterFindAndReplace";
  auto message = [](const void* a, const void* b, const void* c, const void* d) {
    return "inStringRef: " + Pointer(a) + ", inFindStringRef: " + Pointer(b) + ", inReplaceStringRef: " + Pointer(c) +
           ", outStringRef: " + Pointer(d);
  };
  EXPECT_EQ(ZRCopyStringRefOfStringRefAfterFindAndReplace(NULL, f, r, 0, &out, true), paramErr);
  EXPECT_EQ(ZRCopyStringRefOfStringRefAfterFindAndReplace(s, NULL, r, 0, &out, true), paramErr);
  EXPECT_EQ(ZRCopyStringRefOfStringRefAfterFindAndReplace(s, f, NULL, 0, &out, true), paramErr);
  EXPECT_EQ(ZRCopyStringRefOfStringRefAfterFindAndReplace(s, f, r, 0, NULL, true), paramErr);
  EXPECT_EQ(ZRCopyStringRefOfStringRefAfterFindAndReplace(s, f, r, 0, &full, true), paramErr);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(full, held);  // the caller's reference is left alone
  EXPECT_EQ(WithoutLines(log.lines()), (std::vector<std::string>{
                                           Line(message(NULL, f, r, &out), kName),
                                           Line(message(s, NULL, r, &out), kName),
                                           Line(message(s, f, NULL, &out), kName),
                                           Line(message(s, f, r, NULL), kName),
                                           Line(message(s, f, r, &full), kName),
                                       }));

  log.clear();
  EXPECT_EQ(ZRCopyStringRefOfStringRefAfterFindAndReplace(NULL, f, r, 0, &out, false), paramErr);
  EXPECT_EQ(ZRCopyStringRefOfStringRefAfterFindAndReplace(s, f, r, 0, &full, false), paramErr);
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(ZRStringUtilitiesTest, FindAndReplaceAllocationFailures) {
  const char* kName = "ZRCopyStringRefOfStringRefAfterFindAndReplace";
  CFStringRef text = MakeUnits(u"a-b-\U0001F600");
  std::vector<FaultRun> runs = RunWithEachAllocationFailing([&](Boolean inLog, CFStringRef* out) {
    return ZRCopyStringRefOfStringRefAfterFindAndReplace(text, CFSTR("-"), CFSTR("+"), 0, out, inLog);
  });
  CFRelease(text);

  ASSERT_GE(runs.size(), 2u);
  // The first allocation is the mutable copy.
  EXPECT_EQ(runs.front().status, unknownErr);
  EXPECT_EQ(runs.front().lines, std::vector<std::string>{Line("CFStringCreateMutableCopy returns NULL", kName)});
  // The last is the final copy, which reports paramErr.
  EXPECT_EQ(runs.back().status, paramErr);
  EXPECT_EQ(runs.back().lines, std::vector<std::string>{Line("CFStringCreateCopy returns NULL", kName)});
  for (const FaultRun& run : runs) {
    if (run.status == noErr) {
      EXPECT_EQ(run.result, u"a+b+\U0001F600");
    } else {
      EXPECT_EQ(run.lines.size(), 1u);
    }
  }
}

// ---------------------------------------------------------------------------------------------
// Character removal

OSStatus Remove(const std::u16string& text, const std::u16string& characters, CFStringCompareFlags options,
                std::u16string* result) {
  CFStringRef string = MakeUnits(text);
  CFStringRef characterString = MakeUnits(characters);
  CFStringRef out = NULL;
  OSStatus status = ZRRemoveCharactersFromStringRef(string, characterString, options, &out, true);
  *result = Units(out);
  if (out) CFRelease(out);
  CFRelease(string);
  CFRelease(characterString);
  return status;
}

TEST_F(ZRStringUtilitiesTest, RemoveCharacters) {
  std::u16string result;
  EXPECT_EQ(Remove(u"abcab", u"ab", 0, &result), noErr);
  EXPECT_EQ(result, u"c");
  EXPECT_EQ(Remove(u"abcab", u"", 0, &result), noErr);
  EXPECT_EQ(result, u"abcab");
  EXPECT_EQ(Remove(u"abcab", u"abc", 0, &result), noErr);
  EXPECT_EQ(result, u"");
  EXPECT_EQ(Remove(u"", u"abc", 0, &result), noErr);
  EXPECT_EQ(result, u"");
  EXPECT_EQ(Remove(u"1 234 567", u" ", 0, &result), noErr);
  EXPECT_EQ(result, u"1234567");
}

TEST_F(ZRStringUtilitiesTest, RemoveCharactersHonoursCompareOptions) {
  std::u16string result;
  EXPECT_EQ(Remove(u"aAbBc", u"ab", 0, &result), noErr);
  EXPECT_EQ(result, u"ABc");
  EXPECT_EQ(Remove(u"aAbBc", u"ab", kCFCompareCaseInsensitive, &result), noErr);
  EXPECT_EQ(result, u"c");
}

TEST_F(ZRStringUtilitiesTest, RemoveCharactersWorksUnitByUnit) {
  std::u16string result;
  // Both halves of the pair go, each wherever it occurs: the high half that U+1F601 shares
  // with U+1F600 is removed from it too, leaving its low half alone.
  EXPECT_EQ(Remove(u"a\U0001F600b\U0001F601", u"\U0001F600", 0, &result), noErr);
  EXPECT_EQ(result, u"ab\xDE01");
  EXPECT_EQ(Remove(u"\xD800x\xDC00y", u"\xDC00\xD800", 0, &result), noErr);
  EXPECT_EQ(result, u"xy");
  EXPECT_EQ(Remove(u"x\xD800y", u"y", 0, &result), noErr);
  EXPECT_EQ(result, u"x\xD800");
}

TEST_F(ZRStringUtilitiesTest, RemoveCharactersBadArguments) {
  LogCapture log;
  CFStringRef s = CFSTR("s");
  CFStringRef c = CFSTR("c");
  CFStringRef out = NULL;
  CFStringRef full = CFSTR("held");
  const char* kName = "ZRRemoveCharactersFromStringRef";
  auto message = [](const void* a, const void* b, const void* d) {
    return "inStringRef: " + Pointer(a) + ", inCharacterStringRef: " + Pointer(b) + ", outStringRef: " + Pointer(d);
  };
  EXPECT_EQ(ZRRemoveCharactersFromStringRef(NULL, c, 0, &out, true), paramErr);
  EXPECT_EQ(ZRRemoveCharactersFromStringRef(s, NULL, 0, &out, true), paramErr);
  EXPECT_EQ(ZRRemoveCharactersFromStringRef(s, c, 0, NULL, true), paramErr);
  EXPECT_EQ(ZRRemoveCharactersFromStringRef(s, c, 0, &full, true), paramErr);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(Units(full), u"held");
  EXPECT_EQ(WithoutLines(log.lines()), (std::vector<std::string>{
                                           Line(message(NULL, c, &out), kName),
                                           Line(message(s, NULL, &out), kName),
                                           Line(message(s, c, NULL), kName),
                                           Line(message(s, c, &full), kName),
                                       }));
  log.clear();
  EXPECT_EQ(ZRRemoveCharactersFromStringRef(s, NULL, 0, &out, false), paramErr);
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(ZRStringUtilitiesTest, RemoveCharactersAllocationFailures) {
  const char* kName = "ZRRemoveCharactersFromStringRef";
  std::vector<FaultRun> runs = RunWithEachAllocationFailing([&](Boolean inLog, CFStringRef* out) {
    return ZRRemoveCharactersFromStringRef(CFSTR("abcab"), CFSTR("ab"), 0, out, inLog);
  });
  ASSERT_GE(runs.size(), 4u);
  EXPECT_EQ(runs.front().status, unknownErr);
  EXPECT_EQ(runs.front().lines, std::vector<std::string>{Line("CFStringCreateMutableCopy returns NULL", kName)});
  EXPECT_EQ(runs.back().status, unknownErr);
  EXPECT_EQ(runs.back().lines, std::vector<std::string>{Line("CFStringCreateCopy returns NULL", kName)});
  // A one-unit string that cannot be made is skipped without a word: that unit stays.
  std::set<std::u16string> partial;
  for (const FaultRun& run : runs) {
    if (run.status != noErr) continue;
    EXPECT_TRUE(run.lines.empty());
    partial.insert(run.result);
  }
  EXPECT_EQ(partial, (std::set<std::u16string>{u"bcb", u"aca"}));
}

// ---------------------------------------------------------------------------------------------
// Space normalisation

OSStatus Normalize(const std::u16string& text, std::u16string* result, Boolean inLog = true) {
  CFStringRef string = MakeUnits(text);
  CFStringRef out = NULL;
  OSStatus status = ZRCopyStringRefOfStringRefAfterNormalizingWhitespace(string, &out, inLog);
  *result = Units(out);
  if (out) CFRelease(out);
  CFRelease(string);
  return status;
}

TEST_F(ZRStringUtilitiesTest, NormalizeCollapsesSpaces) {
  LogCapture log;
  std::u16string result;
  EXPECT_EQ(Normalize(u"  a  bc ", &result), noErr);
  EXPECT_EQ(result, u"a bc");
  EXPECT_EQ(Normalize(u"  two   words ", &result), noErr);
  EXPECT_EQ(result, u"two words");
  EXPECT_EQ(Normalize(u"ab", &result), noErr);
  EXPECT_EQ(result, u"ab");
  EXPECT_EQ(Normalize(u"one two three", &result), noErr);
  EXPECT_EQ(result, u"one two three");
  // Only U+0020 separates: tabs, line breaks and no-break spaces are part of the words.
  EXPECT_EQ(Normalize(u"one\ttwo  three\nfour ", &result), noErr);
  EXPECT_EQ(result, u"one\ttwo three\nfour");
  EXPECT_EQ(Normalize(u"a\u00a0b  c\u00a0d", &result), noErr);
  EXPECT_EQ(result, u"a\u00a0b c\u00a0d");
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(ZRStringUtilitiesTest, NormalizeDropsAFinalWordOfOneUnit) {
  LogCapture log;
  std::u16string result;
  EXPECT_EQ(Normalize(u"ab c", &result), noErr);
  EXPECT_EQ(result, u"ab");
  EXPECT_EQ(Normalize(u"a b", &result), noErr);
  EXPECT_EQ(result, u"a");
  EXPECT_EQ(Normalize(u"a b ", &result), noErr);  // followed by a space it is a word like any other
  EXPECT_EQ(result, u"a b");
  EXPECT_TRUE(log.lines().empty());

  for (const std::u16string& text :
       {std::u16string(u"x"), std::u16string(u"   "), std::u16string(u" "), std::u16string(u"  x")}) {
    log.clear();
    EXPECT_EQ(Normalize(text, &result), unknownErr);
    EXPECT_EQ(result, u"<NULL>");
    EXPECT_EQ(WithoutLines(log.lines()),
              std::vector<std::string>{
                  Line("*outStringRef is NULL", "ZRCopyStringRefOfStringRefAfterNormalizingWhitespace")});
    log.clear();
    EXPECT_EQ(Normalize(text, &result, false), unknownErr);
    EXPECT_TRUE(log.lines().empty());
  }
}

TEST_F(ZRStringUtilitiesTest, NormalizeEmptyStringFailsWithoutALine) {
  LogCapture log;
  std::u16string result;
  EXPECT_EQ(Normalize(u"", &result), unknownErr);
  EXPECT_EQ(result, u"<NULL>");
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(ZRStringUtilitiesTest, NormalizeSupplementaryCharactersAndLoneSurrogates) {
  std::u16string result;
  // A pair is two units, so a final supplementary character is a word of its own.
  EXPECT_EQ(Normalize(u" \U0001F600  \U0001F600", &result), noErr);
  EXPECT_EQ(result, u"\U0001F600 \U0001F600");
  EXPECT_EQ(Normalize(u"\xD800  \xDC00x ", &result), noErr);
  EXPECT_EQ(result, u"\xD800 \xDC00x");
  // A lone unit at the end is a one-unit word and is dropped like any other.
  EXPECT_EQ(Normalize(u"ab \xDC00", &result), noErr);
  EXPECT_EQ(result, u"ab");
}

TEST_F(ZRStringUtilitiesTest, NormalizeBadArguments) {
  LogCapture log;
  CFStringRef out = NULL;
  CFStringRef full = CFSTR("held");
  const char* kName = "ZRCopyStringRefOfStringRefAfterNormalizingWhitespace";
  EXPECT_EQ(ZRCopyStringRefOfStringRefAfterNormalizingWhitespace(NULL, &out, true), paramErr);
  EXPECT_EQ(ZRCopyStringRefOfStringRefAfterNormalizingWhitespace(CFSTR("a b"), NULL, true), paramErr);
  EXPECT_EQ(ZRCopyStringRefOfStringRefAfterNormalizingWhitespace(CFSTR("a b"), &full, true), paramErr);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(Units(full), u"held");
  EXPECT_EQ(WithoutLines(log.lines()),
            (std::vector<std::string>{
                Line("inStringRef: 0x0, outStringRef: " + Pointer(&out), kName),
                Line("inStringRef: " + Pointer(CFSTR("a b")) + ", outStringRef: 0x0", kName),
                Line("inStringRef: " + Pointer(CFSTR("a b")) + ", outStringRef: " + Pointer(&full), kName),
            }));
  log.clear();
  EXPECT_EQ(ZRCopyStringRefOfStringRefAfterNormalizingWhitespace(NULL, &out, false), paramErr);
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(ZRStringUtilitiesTest, NormalizeAllocationFailures) {
  const char* kName = "ZRCopyStringRefOfStringRefAfterNormalizingWhitespace";
  // One word: the buffer, the result, the final copy.
  std::vector<FaultRun> runs = RunWithEachAllocationFailing([](Boolean inLog, CFStringRef* out) {
    return ZRCopyStringRefOfStringRefAfterNormalizingWhitespace(CFSTR(" ab "), out, inLog);
  });
  ASSERT_EQ(runs.size(), 3u);
  EXPECT_EQ(runs[0].status, unknownErr);
  EXPECT_EQ(runs[0].lines, std::vector<std::string>{Line("calloc returns NULL", kName)});
  EXPECT_EQ(runs[1].status, unknownErr);
  EXPECT_EQ(runs[1].lines, std::vector<std::string>{Line("*outStringRef is NULL", kName)});
  EXPECT_EQ(runs[2].status, unknownErr);
  EXPECT_EQ(runs[2].lines, std::vector<std::string>{Line("*outStringRef is NULL", kName)});

  // When the result cannot be made for the first word, the next word makes it.
  runs = RunWithEachAllocationFailing([](Boolean inLog, CFStringRef* out) {
    return ZRCopyStringRefOfStringRefAfterNormalizingWhitespace(CFSTR("ab  cd ef"), out, inLog);
  });
  ASSERT_EQ(runs.size(), 3u);
  EXPECT_EQ(runs[1].status, noErr);
  EXPECT_EQ(runs[1].result, u"cd ef");
  EXPECT_TRUE(runs[1].lines.empty());
}

// ---------------------------------------------------------------------------------------------
// Numbers from text

TEST_F(ZRStringUtilitiesTest, DoubleOfBuffer) {
  EXPECT_EQ(ZRGetDoubleOfStringBuffer(NULL, 42.0), 42.0);
  EXPECT_EQ(ZRGetDoubleOfStringBuffer("12", 42.0), 12.0);
  // The "." decides: -12.5e1 is -125, and the "5e1" after it adds 50 / 10^2.
  EXPECT_DOUBLE_EQ(ZRGetDoubleOfStringBuffer("-12.5e1", 42.0), -124.5);
  EXPECT_EQ(ZRGetDoubleOfStringBuffer("", 42.0), 0.0);
  EXPECT_EQ(ZRGetDoubleOfStringBuffer("abc", 42.0), 0.0);
  EXPECT_EQ(ZRGetDoubleOfStringBuffer("7", 42.0), 7.0);
  // Bytes that are no number, UTF-8 of a supplementary character among them, read as 0.
  EXPECT_EQ(ZRGetDoubleOfStringBuffer("\xF0\x9F\x98\x80", 42.0), 0.0);
  EXPECT_EQ(ZRGetDoubleOfStringBuffer("4\xF0\x9F\x98\x80", 42.0), 4.0);
  EXPECT_TRUE(std::isinf(ZRGetDoubleOfStringBuffer("2/\xF0\x9F\x98\x80", 42.0)));
  EXPECT_EQ(ZRGetDoubleOfStringBuffer("2,\xF0\x9F\x98\x80", 42.0), 2.0);
}

TEST_F(ZRStringUtilitiesTest, DoubleOfFraction) {
  EXPECT_EQ(ZRGetDoubleOfStringBuffer("1/4", 42.0), 0.25);
  EXPECT_EQ(ZRGetDoubleOfStringBuffer("3/4", 42.0), 0.75);
  EXPECT_EQ(ZRGetDoubleOfStringBuffer("-3/4", 42.0), -0.75);
  EXPECT_EQ(ZRGetDoubleOfStringBuffer("0/5", 42.0), 0.0);
  EXPECT_EQ(ZRGetDoubleOfStringBuffer("0/0", 42.0), 0.0);
  EXPECT_TRUE(std::isinf(ZRGetDoubleOfStringBuffer("3/0", 42.0)));
  EXPECT_GT(ZRGetDoubleOfStringBuffer("3/0", 42.0), 0.0);
  // A slash at the first or the last byte is not looked at.
  EXPECT_EQ(ZRGetDoubleOfStringBuffer("/4", 42.0), 0.0);
  EXPECT_EQ(ZRGetDoubleOfStringBuffer("4/", 42.0), 4.0);
}

TEST_F(ZRStringUtilitiesTest, DoubleOfDecimalSeparator) {
  EXPECT_EQ(ZRGetDoubleOfStringBuffer("7,5", 42.0), 7.5);
  EXPECT_EQ(ZRGetDoubleOfStringBuffer("3,25", 42.0), 3.25);
  EXPECT_EQ(ZRGetDoubleOfStringBuffer(".5", 42.0), 0.5);
  EXPECT_EQ(ZRGetDoubleOfStringBuffer("5.", 42.0), 5.0);
  EXPECT_EQ(ZRGetDoubleOfStringBuffer(",5", 42.0), 0.0);
  EXPECT_EQ(ZRGetDoubleOfStringBuffer("1,0", 42.0), 1.0);
  EXPECT_EQ(ZRGetDoubleOfStringBuffer("12,500", 42.0), 12.5);
  // Kept quirks: leading zeros of the fraction are lost, and "." is read twice.
  EXPECT_EQ(ZRGetDoubleOfStringBuffer("3,05", 42.0), 3.5);
  EXPECT_EQ(ZRGetDoubleOfStringBuffer("3.25", 42.0), 3.5);
  EXPECT_DOUBLE_EQ(ZRGetDoubleOfStringBuffer("1.2.3", 42.0), 1.2 + 2.3 / 10.0);
  // The first separator decides, whichever it is.
  EXPECT_EQ(ZRGetDoubleOfStringBuffer("1,5/2", 42.0), 1.0 + 0.5);
  EXPECT_EQ(ZRGetDoubleOfStringBuffer("3/2,5", 42.0), 1.5);
  // The fraction's digits are counted as printed: an exponent spells out its zeros.
  EXPECT_DOUBLE_EQ(ZRGetDoubleOfStringBuffer("1,1e9", 42.0), 1.0 + 1e9 / 1e10);
}

TEST_F(ZRStringUtilitiesTest, DoubleOfString) {
  LogCapture log;
  EXPECT_EQ(ZRGetDoubleOfStringRef(NULL, 42.0), 42.0);
  EXPECT_EQ(ZRGetDoubleOfStringRef(CFSTR("7,5"), 42.0), 7.5);
  EXPECT_EQ(ZRGetDoubleOfStringRef(CFSTR("1/4"), 42.0), 0.25);
  EXPECT_EQ(ZRGetDoubleOfStringRef(CFSTR("12"), 42.0), 12.0);
  EXPECT_EQ(ZRGetDoubleOfStringRef(CFSTR("x"), 42.0), 0.0);
  CFStringRef smile = MakeUnits(u"\U0001F600");
  EXPECT_EQ(ZRGetDoubleOfStringRef(smile, 42.0), 0.0);
  CFRelease(smile);
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(ZRStringUtilitiesTest, DoubleOfUnconvertibleStringIsTheDefaultAndAlwaysLogged) {
  long before = ZRTestingLiveObjectCount();
  {
    NSAutoreleasePool pool;
    LogCapture log;
    EXPECT_EQ(ZRGetDoubleOfStringRef(CFSTR(""), 42.0), 42.0);
    EXPECT_EQ(ZRGetDoubleOfStringRef(CFSTR("\u20ac"), 42.0), 42.0);
    CFStringRef lone = MakeUnits(u"1\xD800");
    EXPECT_EQ(ZRGetDoubleOfStringRef(lone, 42.0), 42.0);
    CFRelease(lone);
    ZRTestingFailAllocation(1);
    EXPECT_EQ(ZRGetDoubleOfStringRef(CFSTR("3,5"), 42.0), 42.0);
    ZRTestingFailAllocation(0);
    EXPECT_EQ(WithoutLines(log.lines()),
              (std::vector<std::string>{
                  Line("CFStringGetMaximumSizeForEncoding returns 0 for ''", "ZRCopyCBufferOfStringRef"),
                  Line("CFStringGetCString returns false for '\u20ac'", "ZRCopyCBufferOfStringRef"),
                  Line("CFStringGetCString returns false for '1\xEF\xBF\xBD'", "ZRCopyCBufferOfStringRef"),
                  Line("malloc returns NULL", "ZRCopyCBufferOfStringRef"),
              }));
  }
  EXPECT_EQ(ZRTestingLiveObjectCount(), before);
}

}  // namespace
