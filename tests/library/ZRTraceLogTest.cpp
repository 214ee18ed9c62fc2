// ZRTraceLogTest.cpp: the trace lines on standard output (their text, the base name taken from
// the source path, the milliseconds kept as they are) and the bit-mask test.
#include <ZRFramework/ZRFramework.h>
#include <gtest/gtest.h>

#include <regex>
#include <string>

#include "TestSupport.h"

namespace {

using zrtest::LogCapture;
using zrtest::Pointer;

// Trace lines are compared with the wall clock matched by pattern and the milliseconds as text:
// the fraction comes from the pinned absolute time, the seconds from the real clock.
class ZRTraceLogTest : public zrtest::LeakCheckedTest {
 protected:
  void SetUp() override {
    LeakCheckedTest::SetUp();
    Pin(780000000.0071);
  }
  void TearDown() override {
    ZRTestingSetCurrentAbsoluteTime(NULL);
    LeakCheckedTest::TearDown();
  }

  static void Pin(CFAbsoluteTime time) { ZRTestingSetCurrentAbsoluteTime(&time); }

  static void StartCapture() { ::testing::internal::CaptureStdout(); }
  static std::string StopCapture() { return ::testing::internal::GetCapturedStdout(); }

  // The captured output with "[HH:MM:SS." checked and replaced by "[".
  static std::string WithoutClock(const std::string& output) {
    static const std::regex clock(R"(\[\d\d:\d\d:\d\d\.)");
    std::string result;
    size_t lines = 0;
    for (size_t start = 0; start < output.size();) {
      size_t end = output.find('\n', start);
      std::string line = output.substr(start, end == std::string::npos ? std::string::npos : end - start + 1);
      std::smatch match;
      if (!std::regex_search(line, match, clock) || match.position(0) != 0) return "no clock in: " + line;
      result += "[" + line.substr(match.length(0));
      ++lines;
      start = end == std::string::npos ? output.size() : end + 1;
    }
    return result;
  }

  NSAutoreleasePool pool_;
};

TEST_F(ZRTraceLogTest, NoteWritesTheFormattedTextAfterTheBaseNameAndLine) {
  StartCapture();
  ZRNoteLogMethod("/x/Feed.ext", 42, CFSTR("%i items"), 3);
  EXPECT_EQ(WithoutClock(StopCapture()), "[007] === [Feed:42] 3 items\n");
}

TEST_F(ZRTraceLogTest, NoteFormatsObjectsAndSeveralArguments) {
  StartCapture();
  ZRNoteLogMethod("/src/Chart/ChartView.ext", -1, CFSTR("%@ of %d at %.2f"), CFSTR("quote"), 7, 1.5);
  EXPECT_EQ(WithoutClock(StopCapture()), "[007] === [ChartView:-1] quote of 7 at 1.50\n");
}

TEST_F(ZRTraceLogTest, NotePrintsNonAsciiTextAsUtf8) {
  StartCapture();
  ZRNoteLogMethod("Kurs.mm", 1, CFSTR("%@"), CFSTR("Börse €"));
  EXPECT_EQ(WithoutClock(StopCapture()), "[007] === [Kurs:1] Börse €\n");
}

TEST_F(ZRTraceLogTest, LogMethodWritesTheObjectAddressBaseNameAndMethod) {
  CFStringRef object = CFSTR("object");
  StartCapture();
  ZRLogMethod("/src/Chart/ChartView.ext", const_cast<void*>(static_cast<const void*>(object)), "drawRect:");
  EXPECT_EQ(WithoutClock(StopCapture()), "[007] " + Pointer(object) + " ChartView drawRect:\n");
}

TEST_F(ZRTraceLogTest, InitLogMethodWritesBaseNameMethodAndLine) {
  StartCapture();
  ZRInitLogMethod("/src/Feed.m", 12, "initWithURL:");
  EXPECT_EQ(WithoutClock(StopCapture()), "[007] INIT Feed:initWithURL: (12)\n");
}

TEST_F(ZRTraceLogTest, DrawLogMethodJoinsBaseNameAndAddressWithADot) {
  CFNumberRef object = zrtest::Number(5);
  StartCapture();
  ZRDrawLogMethod("/src/Chart/ChartView.ext", 99, const_cast<void*>(static_cast<const void*>(object)));
  EXPECT_EQ(WithoutClock(StopCapture()), "[007] DRAW ChartView." + Pointer(object) + " (99)\n");
  CFRelease(object);
}

TEST_F(ZRTraceLogTest, DeallocLogMethodWritesTheDescriptionBeforeTheLine) {
  CFNumberRef object = zrtest::Number(5);
  StartCapture();
  ZRDeallocLogMethod("/src/Quote.m", 7, const_cast<void*>(static_cast<const void*>(object)));
  ZRDeallocLogMethod("/src/Quote.m", 8, const_cast<void*>(static_cast<const void*>(CFSTR("a quote"))));
  EXPECT_EQ(WithoutClock(StopCapture()), "[007] DEALLOC Quote 5 (7)\n[007] DEALLOC Quote a quote (8)\n");
  CFRelease(object);
}

TEST_F(ZRTraceLogTest, LogCMethodWritesNothing) {
  StartCapture();
  ZRLogCMethod("/src/Feed.c", 3, "main");
  ZRLogCMethod(NULL, 3, "main");
  ZRLogCMethod("/src/Feed.c", 3, NULL);
  EXPECT_EQ(StopCapture(), "");
}

TEST_F(ZRTraceLogTest, MissingArgumentsWriteNothing) {
  void* object = const_cast<void*>(static_cast<const void*>(CFSTR("x")));
  StartCapture();
  ZRNoteLogMethod(NULL, 1, CFSTR("text"));
  ZRNoteLogMethod("/a/B.c", 1, NULL);
  ZRLogMethod(NULL, object, "m");
  ZRLogMethod("/a/B.c", NULL, "m");
  ZRLogMethod("/a/B.c", object, NULL);
  ZRInitLogMethod(NULL, 1, "m");
  ZRInitLogMethod("/a/B.c", 1, NULL);
  ZRDrawLogMethod(NULL, 1, object);
  ZRDrawLogMethod("/a/B.c", 1, NULL);
  ZRDeallocLogMethod(NULL, 1, object);
  ZRDeallocLogMethod("/a/B.c", 1, NULL);
  EXPECT_EQ(StopCapture(), "");
}

TEST_F(ZRTraceLogTest, PathsWithoutAUsableBaseNameWriteNothing) {
  void* object = const_cast<void*>(static_cast<const void*>(CFSTR("x")));
  for (const char* path :
       {"", "/src/Makefile", "Makefile", "/a.b/c", "/src/Feed.m/", "/src/.", "./", "/.hidden", "/."}) {
    StartCapture();
    ZRNoteLogMethod(path, 1, CFSTR("text"));
    ZRLogMethod(path, object, "m");
    ZRInitLogMethod(path, 1, "m");
    ZRDrawLogMethod(path, 1, object);
    ZRDeallocLogMethod(path, 1, object);
    EXPECT_EQ(StopCapture(), "") << path;
  }
}

TEST_F(ZRTraceLogTest, BaseNameIsTheTextBeforeTheLastDot) {
  StartCapture();
  ZRInitLogMethod("/src/Feed.test.m", 1, "m");  // the last dot ends the name
  ZRInitLogMethod("Feed.m", 2, "m");            // no slash: the name starts at the path's start
  ZRInitLogMethod("a/b.c/Feed.m", 3, "m");      // a dot in a folder name does not matter
  ZRInitLogMethod("..m", 4, "m");               // the name may hold dots itself
  EXPECT_EQ(WithoutClock(StopCapture()),
            "[007] INIT Feed.test:m (1)\n[007] INIT Feed:m (2)\n[007] INIT Feed:m (3)\n[007] INIT .:m (4)\n");
}

TEST_F(ZRTraceLogTest, MillisecondsArePaddedToThreeDigits) {
  StartCapture();
  Pin(780000000.0);
  ZRInitLogMethod("/a/B.c", 1, "m");
  Pin(780000000.042);
  ZRInitLogMethod("/a/B.c", 2, "m");
  Pin(780000000.5);
  ZRInitLogMethod("/a/B.c", 3, "m");
  Pin(780000000.9994);
  ZRInitLogMethod("/a/B.c", 4, "m");
  EXPECT_EQ(WithoutClock(StopCapture()),
            "[000] INIT B:m (1)\n[042] INIT B:m (2)\n[500] INIT B:m (3)\n[999] INIT B:m (4)\n");
}

TEST_F(ZRTraceLogTest, FractionNearTheNextSecondPrintsAThousand) {
  StartCapture();
  Pin(780000000.9996);
  ZRInitLogMethod("/a/B.c", 1, "m");
  ZRLogMethod("/a/B.c", const_cast<void*>(static_cast<const void*>(CFSTR("x"))), "m");
  ZRNoteLogMethod("/a/B.c", 1, CFSTR("n"));
  std::string output = WithoutClock(StopCapture());
  EXPECT_EQ(output, "[1000] INIT B:m (1)\n[1000] " + Pointer(CFSTR("x")) + " B m\n[1000] === [B:1] n\n");
}

TEST_F(ZRTraceLogTest, MillisecondsAreRoundedInSinglePrecision) {
  // 0.0125 s is 12.5 ms: the product rounded to a float is exactly 12.5, which printf rounds to
  // the even neighbour.
  StartCapture();
  Pin(0.0125);
  ZRInitLogMethod("/a/B.c", 1, "m");
  Pin(0.0135);
  ZRInitLogMethod("/a/B.c", 2, "m");
  EXPECT_EQ(WithoutClock(StopCapture()), "[012] INIT B:m (1)\n[014] INIT B:m (2)\n");
}

TEST_F(ZRTraceLogTest, TimesBeforeTheReferenceDateGiveNegativeMilliseconds) {
  // The time is truncated towards zero, so the fraction of a negative time is negative too.
  StartCapture();
  Pin(-10.25);
  ZRInitLogMethod("/a/B.c", 1, "m");
  EXPECT_EQ(WithoutClock(StopCapture()), "[-250] INIT B:m (1)\n");
}

TEST_F(ZRTraceLogTest, TimesBeyondThirtyTwoBitsSaturate) {
  StartCapture();
  Pin(2147483648.0);  // one past the largest 32-bit integer: the fraction is one whole second
  ZRInitLogMethod("/a/B.c", 1, "m");
  EXPECT_EQ(WithoutClock(StopCapture()), "[1000] INIT B:m (1)\n");
}

TEST_F(ZRTraceLogTest, FailedObjectTextWritesNothingAndLeaksNothing) {
  void* object = const_cast<void*>(static_cast<const void*>(CFSTR("x")));
  StartCapture();
  ZRTestingFailAllocation(1);
  ZRNoteLogMethod("/a/B.c", 1, CFSTR("%d"), 1);
  EXPECT_FALSE(ZRTestingFailurePending());
  ZRTestingFailAllocation(1);
  ZRLogMethod("/a/B.c", object, "m");
  EXPECT_FALSE(ZRTestingFailurePending());
  ZRTestingFailAllocation(1);
  ZRDrawLogMethod("/a/B.c", 1, object);
  EXPECT_FALSE(ZRTestingFailurePending());
  ZRTestingFailAllocation(1);
  ZRDeallocLogMethod("/a/B.c", 1, object);
  EXPECT_FALSE(ZRTestingFailurePending());
  EXPECT_EQ(StopCapture(), "");
}

TEST_F(ZRTraceLogTest, LongNotesAreWrittenWhole) {
  std::string text(5000, 'q');
  text += "ä";
  CFStringRef long_text = zrtest::MakeString(text);
  StartCapture();
  ZRNoteLogMethod("/a/B.c", 1, CFSTR("%@"), long_text);
  EXPECT_EQ(WithoutClock(StopCapture()), "[007] === [B:1] " + text + "\n");
  CFRelease(long_text);
}

TEST_F(ZRTraceLogTest, NothingGoesToTheLog) {
  LogCapture log;
  StartCapture();
  ZRNoteLogMethod("/a/B.c", 1, CFSTR("n"));
  StopCapture();
  EXPECT_TRUE(log.lines().empty());
}

TEST(ZRBitIsSetTest, EveryBitOfTheMaskMustBeSet) {
  EXPECT_TRUE(ZRBitIsSet(0x6, 0x2));
  EXPECT_FALSE(ZRBitIsSet(0x6, 0x3));
  EXPECT_TRUE(ZRBitIsSet(0x6, 0x6));
  EXPECT_FALSE(ZRBitIsSet(0, 0x1));
  EXPECT_TRUE(ZRBitIsSet(0xFFFFFFFFu, 0x80000001u));
  EXPECT_FALSE(ZRBitIsSet(0x7FFFFFFFu, 0x80000000u));
  for (UInt32 value : {0u, 1u, 0x6u, 0xFFFFFFFFu}) EXPECT_TRUE(ZRBitIsSet(value, 0)) << value;
}

}  // namespace
