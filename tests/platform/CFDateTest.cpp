// CFDateTest.cpp: the absolute-time clock and its reference-date constants, and date
// objects: creation, intervals, comparison, equality and description.
#include <CoreFoundation/CoreFoundation.h>
#include <ZRPlatform/Testing.h>
#include <gtest/gtest.h>
#include <sys/time.h>

#include <cmath>
#include <ctime>
#include <string>

#include "TestSupport.h"

namespace {

using zrtest::Description;

TEST(CFDate, ReferenceDateConstants) {
  // 31 years from 1970 to 2001, eight of them leap years.
  EXPECT_EQ(kCFAbsoluteTimeIntervalSince1970, (31.0 * 365 + 8) * 86400);
  EXPECT_EQ(kCFAbsoluteTimeIntervalSince1970, 978307200.0);
  // 97 years from 1904 to 2001, 25 of them leap years.
  EXPECT_EQ(kCFAbsoluteTimeIntervalSince1904, (97.0 * 365 + 25) * 86400);
  EXPECT_EQ(kCFAbsoluteTimeIntervalSince1904, 3061152000.0);
}

TEST(CFDate, CurrentTimeCountsFrom2001InUTC) {
  struct timeval before;
  gettimeofday(&before, nullptr);
  CFAbsoluteTime now = CFAbsoluteTimeGetCurrent();
  struct timeval after;
  gettimeofday(&after, nullptr);
  double low = before.tv_sec + before.tv_usec * 1e-6 - kCFAbsoluteTimeIntervalSince1970;
  double high = after.tv_sec + after.tv_usec * 1e-6 - kCFAbsoluteTimeIntervalSince1970;
  EXPECT_GE(now, low - 1e-6);
  EXPECT_LE(now, high + 1e-6);
  // Well after the reference date, in seconds.
  EXPECT_GT(now, 7e8);
}

TEST(CFDate, CurrentTimeHasSubsecondResolution) {
  // Successive readings differ by fractions of a second; with whole seconds, nearly all
  // of these differences would be zero and a nonzero one at least a second.
  CFAbsoluteTime previous = CFAbsoluteTimeGetCurrent();
  bool sawFraction = false;
  for (int i = 0; i < 100000 && !sawFraction; ++i) {
    CFAbsoluteTime next = CFAbsoluteTimeGetCurrent();
    EXPECT_GE(next, previous - 1.0);  // the wall clock may be set back, but not in this loop by much
    double step = next - previous;
    if (step > 0 && step < 0.01) sawFraction = true;
    previous = next;
  }
  EXPECT_TRUE(sawFraction);
}

TEST(CFDate, CreateAndRead) {
  long live = ZRTestingLiveObjectCount();
  CFDateRef date = CFDateCreate(nullptr, 123.25);
  ASSERT_NE(date, nullptr);
  EXPECT_EQ(CFGetTypeID(date), CFDateGetTypeID());
  EXPECT_NE(CFDateGetTypeID(), CFNumberGetTypeID());
  EXPECT_EQ(CFDateGetAbsoluteTime(date), 123.25);
  CFRelease(date);
  EXPECT_EQ(ZRTestingLiveObjectCount(), live);
}

TEST(CFDate, IntervalsAndComparison) {
  CFDateRef early = CFDateCreate(nullptr, -1000.5);
  CFDateRef late = CFDateCreate(nullptr, 2000.0);
  CFDateRef lateAgain = CFDateCreate(nullptr, 2000.0);
  EXPECT_EQ(CFDateGetTimeIntervalSinceDate(late, early), 3000.5);
  EXPECT_EQ(CFDateGetTimeIntervalSinceDate(early, late), -3000.5);
  EXPECT_EQ(CFDateCompare(early, late, nullptr), kCFCompareLessThan);
  EXPECT_EQ(CFDateCompare(late, early, nullptr), kCFCompareGreaterThan);
  EXPECT_EQ(CFDateCompare(late, lateAgain, nullptr), kCFCompareEqualTo);
  EXPECT_TRUE(CFEqual(late, lateAgain));
  EXPECT_EQ(CFHash(late), CFHash(lateAgain));
  EXPECT_FALSE(CFEqual(early, late));
  CFRelease(early);
  CFRelease(late);
  CFRelease(lateAgain);
}

TEST(CFDate, DescriptionIsUTCToTheSecond) {
  struct {
    CFAbsoluteTime at;
    const char* text;
  } cases[] = {
      {0, "2001-01-01 00:00:00 +0000"},
      {0.999, "2001-01-01 00:00:00 +0000"},
      {-0.5, "2000-12-31 23:59:59 +0000"},
      {-kCFAbsoluteTimeIntervalSince1970, "1970-01-01 00:00:00 +0000"},
      {-kCFAbsoluteTimeIntervalSince1904, "1904-01-01 00:00:00 +0000"},
      {86400.0 * 59 + 3723, "2001-03-01 01:02:03 +0000"},
      {1700000000.0 - kCFAbsoluteTimeIntervalSince1970, "2023-11-14 22:13:20 +0000"},
  };
  for (const auto& c : cases) {
    CFDateRef date = CFDateCreate(nullptr, c.at);
    EXPECT_EQ(Description(date), c.text) << c.at;
    CFRelease(date);
  }
}

TEST(CFDate, FailedAllocationReturnsNull) {
  ZRTestingFailAllocation(1);
  EXPECT_EQ(CFDateCreate(nullptr, 1.0), nullptr);
  EXPECT_FALSE(ZRTestingFailurePending());
}

}  // namespace
