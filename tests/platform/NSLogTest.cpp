// NSLogTest.cpp: NSLog's line on standard error and the capture seam.
#include <Foundation/Foundation.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <regex>
#include <string>

#include "TestSupport.h"

namespace {

TEST(NSLogTest, WritesOneTimestampedLineWithProcessAndThread) {
  testing::internal::CaptureStderr();
  NSLog(const_cast<NSString*>(CFSTR("ERROR %@ (%s,%i)")), CFSTR("message text"), "Function", 42);
  std::string output = testing::internal::GetCapturedStderr();
  std::regex form(
      "^[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3} NSLogTest\\[([0-9]+):([0-9]+)\\] "
      "ERROR message text \\(Function,42\\)\n$");
  std::smatch match;
  ASSERT_TRUE(std::regex_match(output, match, form)) << output;
  EXPECT_EQ(std::stol(match[1].str()), static_cast<long>(getpid()));
}

TEST(NSLogTest, CaptureReceivesTheMessageAloneAndNothingReachesStandardError) {
  testing::internal::CaptureStderr();
  std::vector<std::string> lines;
  {
    zrtest::LogCapture log;
    NSLog(const_cast<NSString*>(CFSTR("%d items of %@")), 3, CFSTR("Feed"));
    lines = log.lines();
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0], "3 items of Feed");
}

}  // namespace
