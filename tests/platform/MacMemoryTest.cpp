// MacMemoryTest.cpp: handles: allocation, sizes, resizing, locking, MemError and the
// fault-injection seam.
#include <CoreServices/CoreServices.h>
#include <ZRPlatform/Testing.h>
#include <gtest/gtest.h>

#include <cstring>
#include <thread>

namespace {

TEST(MacMemory, NewHandleGivesABlockOfTheRequestedSize) {
  Handle h = NewHandle(100);
  ASSERT_NE(h, nullptr);
  EXPECT_EQ(MemError(), noErr);
  ASSERT_NE(*h, nullptr);
  EXPECT_EQ(GetHandleSize(h), 100);
  EXPECT_EQ(MemError(), noErr);
  std::memset(*h, 0x5A, 100);  // the whole block is writable (ASan checks the bounds)
  EXPECT_EQ(static_cast<unsigned char>((*h)[99]), 0x5A);
  DisposeHandle(h);
  EXPECT_EQ(MemError(), noErr);
}

TEST(MacMemory, NewHandleOfZeroBytesHasAValidEmptyBlock) {
  Handle h = NewHandle(0);
  ASSERT_NE(h, nullptr);
  EXPECT_EQ(MemError(), noErr);
  EXPECT_NE(*h, nullptr);
  EXPECT_EQ(GetHandleSize(h), 0);
  EXPECT_EQ(MemError(), noErr);
  DisposeHandle(h);
}

TEST(MacMemory, NewHandleClearZeroesTheBlock) {
  Handle h = NewHandleClear(64);
  ASSERT_NE(h, nullptr);
  for (int i = 0; i < 64; ++i) EXPECT_EQ((*h)[i], 0) << i;
  DisposeHandle(h);
}

TEST(MacMemory, NegativeSizeFailsWithMemFullErr) {
  EXPECT_EQ(NewHandle(-1), nullptr);
  EXPECT_EQ(MemError(), memFullErr);
  EXPECT_EQ(NewHandleClear(-5), nullptr);
  EXPECT_EQ(MemError(), memFullErr);
}

TEST(MacMemory, InjectedFailureGivesNullAndMemFullErr) {
  ZRTestingResetAllocationCount();
  ZRTestingFailAllocation(1);
  EXPECT_EQ(NewHandle(8), nullptr);
  EXPECT_EQ(MemError(), memFullErr);
  EXPECT_FALSE(ZRTestingFailurePending());
  EXPECT_EQ(ZRTestingAllocationCount(), 1);
  // The failure happens once only.
  Handle h = NewHandle(8);
  ASSERT_NE(h, nullptr);
  EXPECT_EQ(MemError(), noErr);
  EXPECT_EQ(ZRTestingAllocationCount(), 2);
  DisposeHandle(h);
}

TEST(MacMemory, SecondHandleAllocationCanBeMadeToFail) {
  ZRTestingFailAllocation(2);
  Handle first = NewHandle(4);
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(NewHandle(4), nullptr);
  EXPECT_EQ(MemError(), memFullErr);
  DisposeHandle(first);
}

TEST(MacMemory, SetHandleSizeGrowsAndKeepsTheBytes) {
  Handle h = NewHandle(4);
  ASSERT_NE(h, nullptr);
  std::memcpy(*h, "abcd", 4);
  SetHandleSize(h, 4096);
  EXPECT_EQ(MemError(), noErr);
  EXPECT_EQ(GetHandleSize(h), 4096);
  EXPECT_EQ(std::memcmp(*h, "abcd", 4), 0);
  (*h)[4095] = 'z';
  SetHandleSize(h, 2);
  EXPECT_EQ(MemError(), noErr);
  EXPECT_EQ(GetHandleSize(h), 2);
  EXPECT_EQ(std::memcmp(*h, "ab", 2), 0);
  SetHandleSize(h, 0);
  EXPECT_EQ(MemError(), noErr);
  EXPECT_EQ(GetHandleSize(h), 0);
  EXPECT_NE(*h, nullptr);
  DisposeHandle(h);
}

TEST(MacMemory, SetHandleSizeFailureLeavesTheBlockAlone) {
  Handle h = NewHandle(3);
  ASSERT_NE(h, nullptr);
  std::memcpy(*h, "xyz", 3);
  Ptr before = *h;
  SetHandleSize(h, -1);
  EXPECT_EQ(MemError(), memFullErr);
  ZRTestingFailAllocation(1);
  SetHandleSize(h, 1000);
  EXPECT_EQ(MemError(), memFullErr);
  EXPECT_EQ(*h, before);
  EXPECT_EQ(GetHandleSize(h), 3);
  EXPECT_EQ(std::memcmp(*h, "xyz", 3), 0);
  DisposeHandle(h);
}

TEST(MacMemory, NullHandleIsReportedAsNilHandleErr) {
  EXPECT_EQ(GetHandleSize(nullptr), 0);
  EXPECT_EQ(MemError(), nilHandleErr);
  SetHandleSize(nullptr, 10);
  EXPECT_EQ(MemError(), nilHandleErr);
  HLock(nullptr);
  EXPECT_EQ(MemError(), nilHandleErr);
  HUnlock(nullptr);
  EXPECT_EQ(MemError(), nilHandleErr);
  DisposeHandle(nullptr);
  EXPECT_EQ(MemError(), noErr);
}

TEST(MacMemory, LockedBlockStaysPutAndKeepsItsContents) {
  Handle h = NewHandle(16);
  ASSERT_NE(h, nullptr);
  std::memcpy(*h, "0123456789abcdef", 16);
  (void)NewHandle(-1);  // leaves MemError() at memFullErr, so the next calls must reset it
  HLock(h);
  EXPECT_EQ(MemError(), noErr);
  Ptr locked = *h;
  Handle other = NewHandle(1 << 16);
  ASSERT_NE(other, nullptr);
  EXPECT_EQ(*h, locked);
  EXPECT_EQ(std::memcmp(*h, "0123456789abcdef", 16), 0);
  HUnlock(h);
  EXPECT_EQ(MemError(), noErr);
  DisposeHandle(other);
  DisposeHandle(h);
}

TEST(MacMemory, MemErrorIsPerThread) {
  EXPECT_EQ(NewHandle(-1), nullptr);
  EXPECT_EQ(MemError(), memFullErr);
  OSErr seen = memFullErr;
  std::thread([&seen] { seen = MemError(); }).join();
  EXPECT_EQ(seen, noErr);
  EXPECT_EQ(MemError(), memFullErr);
}

}  // namespace
