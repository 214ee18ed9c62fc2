// CFDataTest.cpp: immutable and mutable byte buffers: creation, copies, every editing
// operation, equality and hashing, the description, and mutation of immutable data.
#include <CoreFoundation/CoreFoundation.h>
#include <ZRPlatform/Testing.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "TestSupport.h"

namespace {

using zrtest::Description;

std::vector<UInt8> Bytes(CFDataRef data) {
  const UInt8* p = CFDataGetBytePtr(data);
  return std::vector<UInt8>(p, p + CFDataGetLength(data));
}

using CFDataTest = zrtest::LeakCheckedTest;

const UInt8 kFive[] = {0x00, 0x01, 0x02, 0x03, 0x04};

TEST_F(CFDataTest, CreateCopiesTheBytes) {
  UInt8 source[] = {1, 2, 3};
  CFDataRef data = CFDataCreate(nullptr, source, 3);
  ASSERT_NE(data, nullptr);
  source[0] = 9;
  EXPECT_EQ(CFGetTypeID(data), CFDataGetTypeID());
  EXPECT_EQ(CFDataGetLength(data), 3);
  EXPECT_EQ(Bytes(data), (std::vector<UInt8>{1, 2, 3}));
  CFRelease(data);
}

TEST_F(CFDataTest, CreateRejectsBadArguments) {
  EXPECT_EQ(CFDataCreate(nullptr, kFive, -1), nullptr);
  EXPECT_EQ(CFDataCreate(nullptr, nullptr, 3), nullptr);
  EXPECT_EQ(CFDataCreateCopy(nullptr, nullptr), nullptr);
  EXPECT_EQ(CFDataCreateMutableCopy(nullptr, 0, nullptr), nullptr);
}

TEST_F(CFDataTest, EmptyDataHasANonNullBytePointer) {
  CFDataRef empty = CFDataCreate(nullptr, nullptr, 0);
  ASSERT_NE(empty, nullptr);
  EXPECT_EQ(CFDataGetLength(empty), 0);
  EXPECT_NE(CFDataGetBytePtr(empty), nullptr);
  CFMutableDataRef mutableEmpty = CFDataCreateMutable(nullptr, 0);
  EXPECT_NE(CFDataGetBytePtr(mutableEmpty), nullptr);
  EXPECT_NE(CFDataGetMutableBytePtr(mutableEmpty), nullptr);
  CFDataAppendBytes(mutableEmpty, kFive, 2);
  CFDataDeleteBytes(mutableEmpty, CFRangeMake(0, 2));
  EXPECT_NE(CFDataGetBytePtr(mutableEmpty), nullptr);
  CFRelease(empty);
  CFRelease(mutableEmpty);
}

TEST_F(CFDataTest, MutableAndImmutableShareTheTypeIdentifier) {
  CFDataRef data = CFDataCreate(nullptr, kFive, 5);
  CFMutableDataRef mutableData = CFDataCreateMutable(nullptr, 0);
  EXPECT_EQ(CFGetTypeID(data), CFGetTypeID(mutableData));
  CFRelease(data);
  CFRelease(mutableData);
}

TEST_F(CFDataTest, CopyOfImmutableDataIsTheSameObject) {
  CFDataRef data = CFDataCreate(nullptr, kFive, 5);
  CFDataRef copy = CFDataCreateCopy(nullptr, data);
  EXPECT_EQ(copy, data);
  EXPECT_EQ(CFGetRetainCount(data), 2);
  CFRelease(copy);
  CFRelease(data);
}

TEST_F(CFDataTest, CopiesOfMutableDataAreIndependent) {
  CFMutableDataRef original = CFDataCreateMutable(nullptr, 0);
  CFDataAppendBytes(original, kFive, 5);
  CFDataRef copy = CFDataCreateCopy(nullptr, original);
  CFMutableDataRef mutableCopy = CFDataCreateMutableCopy(nullptr, 0, original);
  ASSERT_NE(copy, original);
  CFDataSetLength(original, 1);
  EXPECT_EQ(CFDataGetLength(copy), 5);
  EXPECT_EQ(Bytes(mutableCopy), (std::vector<UInt8>{0, 1, 2, 3, 4}));
  CFDataAppendBytes(mutableCopy, kFive, 1);
  EXPECT_EQ(CFDataGetLength(mutableCopy), 6);
  EXPECT_EQ(CFDataGetLength(original), 1);
  // The immutable copy refuses changes.
  CFDataAppendBytes(const_cast<CFMutableDataRef>(copy), kFive, 1);
  EXPECT_EQ(CFDataGetLength(copy), 5);
  CFRelease(original);
  CFRelease(copy);
  CFRelease(mutableCopy);
}

TEST_F(CFDataTest, GetBytesCopiesARange) {
  CFDataRef data = CFDataCreate(nullptr, kFive, 5);
  UInt8 buffer[3] = {0xEE, 0xEE, 0xEE};
  CFDataGetBytes(data, CFRangeMake(1, 3), buffer);
  EXPECT_EQ(buffer[0], 1);
  EXPECT_EQ(buffer[1], 2);
  EXPECT_EQ(buffer[2], 3);
  CFDataGetBytes(data, CFRangeMake(5, 0), buffer);
  EXPECT_EQ(buffer[0], 1);
  CFRelease(data);
}

TEST_F(CFDataTest, SetAndIncreaseLengthZeroFill) {
  CFMutableDataRef data = CFDataCreateMutable(nullptr, 0);
  CFDataAppendBytes(data, kFive + 1, 2);
  CFDataSetLength(data, 4);
  EXPECT_EQ(Bytes(data), (std::vector<UInt8>{1, 2, 0, 0}));
  CFDataSetLength(data, 1);
  EXPECT_EQ(Bytes(data), (std::vector<UInt8>{1}));
  CFDataIncreaseLength(data, 2);
  EXPECT_EQ(Bytes(data), (std::vector<UInt8>{1, 0, 0}));
  CFDataGetMutableBytePtr(data)[2] = 7;
  EXPECT_EQ(Bytes(data), (std::vector<UInt8>{1, 0, 7}));
  CFRelease(data);
}

TEST_F(CFDataTest, AppendGrowsAndAcceptsItsOwnBytes) {
  CFMutableDataRef data = CFDataCreateMutable(nullptr, 2);
  for (int i = 0; i < 1000; ++i) {
    UInt8 byte = static_cast<UInt8>(i);
    CFDataAppendBytes(data, &byte, 1);
  }
  EXPECT_EQ(CFDataGetLength(data), 1000);
  EXPECT_EQ(CFDataGetBytePtr(data)[999], static_cast<UInt8>(999));
  // Appending the data to itself must survive the buffer moving.
  CFDataAppendBytes(data, CFDataGetBytePtr(data), CFDataGetLength(data));
  EXPECT_EQ(CFDataGetLength(data), 2000);
  EXPECT_EQ(CFDataGetBytePtr(data)[1999], static_cast<UInt8>(999));
  EXPECT_EQ(CFDataGetBytePtr(data)[1000], 0);
  // Nothing happens for no bytes.
  CFDataAppendBytes(data, nullptr, 0);
  CFDataAppendBytes(data, kFive, 0);
  EXPECT_EQ(CFDataGetLength(data), 2000);
  CFRelease(data);
}

// Data of many megabytes, as encoded files make it: built by small appends, set to a length
// at once, copied, and appended to itself, every byte stays where it belongs.
TEST_F(CFDataTest, LargeDataKeepsEveryByte) {
  std::vector<UInt8> expected;
  CFMutableDataRef data = CFDataCreateMutable(nullptr, 0);
  UInt32 state = 1;
  while (expected.size() < (size_t{12} << 20)) {
    UInt8 piece[1000];
    size_t count = 1 + expected.size() % 997;
    for (size_t i = 0; i < count; ++i) piece[i] = static_cast<UInt8>((state = state * 1103515245 + 12345) >> 16);
    CFDataAppendBytes(data, piece, static_cast<CFIndex>(count));
    expected.insert(expected.end(), piece, piece + count);
  }
  ASSERT_TRUE(Bytes(data) == expected);
  CFDataRef copy = CFDataCreateCopy(nullptr, data);
  EXPECT_TRUE(Bytes(copy) == expected);
  CFDataRef made = CFDataCreate(nullptr, expected.data(), static_cast<CFIndex>(expected.size()));
  EXPECT_TRUE(Bytes(made) == expected);
  EXPECT_TRUE(CFEqual(made, data));
  CFDataAppendBytes(data, CFDataGetBytePtr(data), CFDataGetLength(data));
  expected.insert(expected.end(), expected.begin(), expected.end());
  EXPECT_TRUE(Bytes(data) == expected);

  CFMutableDataRef zeros = CFDataCreateMutable(nullptr, 0);
  CFDataSetLength(zeros, CFIndex{16} << 20);
  std::vector<UInt8> bytes = Bytes(zeros);
  EXPECT_EQ(bytes.size(), size_t{16} << 20);
  EXPECT_TRUE(std::all_of(bytes.begin(), bytes.end(), [](UInt8 b) { return b == 0; }));
  CFRelease(zeros);
  CFRelease(made);
  CFRelease(copy);
  CFRelease(data);
}

TEST_F(CFDataTest, ReplaceBytes) {
  CFMutableDataRef data = CFDataCreateMutable(nullptr, 0);
  CFDataAppendBytes(data, kFive, 5);
  const UInt8 replacement[] = {0xAA, 0xBB, 0xCC};
  // Grow in the middle.
  CFDataReplaceBytes(data, CFRangeMake(1, 1), replacement, 3);
  EXPECT_EQ(Bytes(data), (std::vector<UInt8>{0, 0xAA, 0xBB, 0xCC, 2, 3, 4}));
  // Shrink.
  CFDataReplaceBytes(data, CFRangeMake(1, 3), replacement + 2, 1);
  EXPECT_EQ(Bytes(data), (std::vector<UInt8>{0, 0xCC, 2, 3, 4}));
  // Insert at the end with an empty range.
  CFDataReplaceBytes(data, CFRangeMake(5, 0), replacement, 1);
  EXPECT_EQ(Bytes(data), (std::vector<UInt8>{0, 0xCC, 2, 3, 4, 0xAA}));
  // Delete through replacement with nothing.
  CFDataReplaceBytes(data, CFRangeMake(0, 2), nullptr, 0);
  EXPECT_EQ(Bytes(data), (std::vector<UInt8>{2, 3, 4, 0xAA}));
  // Replace with bytes taken from the data itself.
  CFDataReplaceBytes(data, CFRangeMake(0, 1), CFDataGetBytePtr(data) + 1, 3);
  EXPECT_EQ(Bytes(data), (std::vector<UInt8>{3, 4, 0xAA, 3, 4, 0xAA}));
  CFRelease(data);
}

TEST_F(CFDataTest, DeleteBytes) {
  CFMutableDataRef data = CFDataCreateMutableCopy(nullptr, 0, nullptr);
  EXPECT_EQ(data, nullptr);
  data = CFDataCreateMutable(nullptr, 0);
  CFDataAppendBytes(data, kFive, 5);
  CFDataDeleteBytes(data, CFRangeMake(1, 2));
  EXPECT_EQ(Bytes(data), (std::vector<UInt8>{0, 3, 4}));
  CFDataDeleteBytes(data, CFRangeMake(3, 0));
  EXPECT_EQ(Bytes(data), (std::vector<UInt8>{0, 3, 4}));
  CFDataDeleteBytes(data, CFRangeMake(0, 3));
  EXPECT_EQ(CFDataGetLength(data), 0);
  CFRelease(data);
}

TEST_F(CFDataTest, MutatingImmutableDataPrintsAndDoesNothing) {
  CFDataRef data = CFDataCreate(nullptr, kFive, 5);
  CFMutableDataRef cheat = const_cast<CFMutableDataRef>(data);
  testing::internal::CaptureStderr();
  CFDataAppendBytes(cheat, kFive, 2);
  CFDataSetLength(cheat, 0);
  CFDataIncreaseLength(cheat, 3);
  CFDataReplaceBytes(cheat, CFRangeMake(0, 1), kFive, 1);
  CFDataDeleteBytes(cheat, CFRangeMake(0, 5));
  EXPECT_EQ(CFDataGetMutableBytePtr(cheat), nullptr);
  std::string messages = testing::internal::GetCapturedStderr();
  EXPECT_EQ(Bytes(data), (std::vector<UInt8>{0, 1, 2, 3, 4}));
  for (const char* function : {"CFDataAppendBytes", "CFDataSetLength", "CFDataIncreaseLength", "CFDataReplaceBytes",
                               "CFDataDeleteBytes", "CFDataGetMutableBytePtr"}) {
    EXPECT_NE(messages.find(std::string(function) + ": attempt to mutate immutable data"), std::string::npos)
        << function << " in " << messages;
  }
  CFRelease(data);
}

TEST_F(CFDataTest, EqualityAndHashByContent) {
  CFDataRef a = CFDataCreate(nullptr, kFive, 5);
  CFMutableDataRef b = CFDataCreateMutable(nullptr, 0);
  CFDataAppendBytes(b, kFive, 5);
  CFDataRef shorter = CFDataCreate(nullptr, kFive, 4);
  EXPECT_TRUE(CFEqual(a, b));
  EXPECT_EQ(CFHash(a), CFHash(b));
  EXPECT_FALSE(CFEqual(a, shorter));
  CFDataGetMutableBytePtr(b)[4] = 9;
  EXPECT_FALSE(CFEqual(a, b));
  CFDataRef emptyA = CFDataCreate(nullptr, nullptr, 0);
  CFDataRef emptyB = CFDataCreate(nullptr, kFive, 0);
  EXPECT_TRUE(CFEqual(emptyA, emptyB));
  for (CFTypeRef object : {static_cast<CFTypeRef>(a), static_cast<CFTypeRef>(b), static_cast<CFTypeRef>(shorter),
                           static_cast<CFTypeRef>(emptyA), static_cast<CFTypeRef>(emptyB)})
    CFRelease(object);
}

TEST_F(CFDataTest, DescriptionGroupsFourBytes) {
  const UInt8 bytes[] = {0x00, 0xab, 0xff, 0x10, 0x7f, 0x80, 0x01, 0x02, 0x03};
  struct {
    CFIndex length;
    const char* text;
  } cases[] = {{0, "<>"},         {1, "<00>"},          {3, "<00abff>"},
               {4, "<00abff10>"}, {5, "<00abff10 7f>"}, {9, "<00abff10 7f800102 03>"}};
  for (const auto& c : cases) {
    CFDataRef data = CFDataCreate(nullptr, bytes, c.length);
    EXPECT_EQ(Description(data), c.text);
    CFRelease(data);
  }
}

TEST_F(CFDataTest, CreateWithBytesNoCopyTakesTheBytes) {
  // A block from malloc becomes the data's own: the same bytes, freed with the data (the leak
  // check and the sanitizers see to that).
  auto* block = static_cast<UInt8*>(malloc(5));
  std::copy(kFive, kFive + 5, block);
  CFDataRef data = CFDataCreateWithBytesNoCopy(nullptr, block, 5, kCFAllocatorMalloc);
  ASSERT_NE(data, nullptr);
  EXPECT_EQ(CFDataGetBytePtr(data), block);
  EXPECT_EQ(CFDataGetLength(data), 5);
  CFDataRef copy = CFDataCreate(nullptr, kFive, 5);
  EXPECT_TRUE(CFEqual(data, copy));
  CFRelease(copy);
  CFRelease(data);

  block = static_cast<UInt8*>(malloc(3));
  data = CFDataCreateWithBytesNoCopy(nullptr, block, 3, nullptr);  // the default allocator: free
  ASSERT_NE(data, nullptr);
  CFRelease(data);

  // The null deallocator leaves the bytes to the caller, who frees them after the data.
  UInt8 kept[3] = {7, 8, 9};
  data = CFDataCreateWithBytesNoCopy(nullptr, kept, 3, kCFAllocatorNull);
  ASSERT_NE(data, nullptr);
  EXPECT_EQ(CFDataGetBytePtr(data), kept);
  CFRelease(data);
  EXPECT_EQ(kept[2], 9);

  // No bytes: an empty data object whose byte pointer is not NULL.
  data = CFDataCreateWithBytesNoCopy(nullptr, nullptr, 0, kCFAllocatorMalloc);
  ASSERT_NE(data, nullptr);
  EXPECT_NE(CFDataGetBytePtr(data), nullptr);
  EXPECT_EQ(CFDataGetLength(data), 0);
  CFRelease(data);

  EXPECT_EQ(CFDataCreateWithBytesNoCopy(nullptr, nullptr, 1, kCFAllocatorMalloc), nullptr);
  EXPECT_EQ(CFDataCreateWithBytesNoCopy(nullptr, kept, -1, kCFAllocatorNull), nullptr);
}

TEST_F(CFDataTest, CreateWithBytesNoCopyFailsLeavingTheBytesToTheCaller) {
  auto* block = static_cast<UInt8*>(malloc(5));
  ZRTestingFailAllocation(1);
  EXPECT_EQ(CFDataCreateWithBytesNoCopy(nullptr, block, 5, kCFAllocatorMalloc), nullptr);
  EXPECT_FALSE(ZRTestingFailurePending());
  free(block);
}

TEST_F(CFDataTest, FailedAllocationReturnsNull) {
  CFDataRef data = CFDataCreate(nullptr, kFive, 5);
  for (int i = 0; i < 4; ++i) {
    ZRTestingFailAllocation(1);
    CFTypeRef made = nullptr;
    switch (i) {
      case 0:
        made = CFDataCreate(nullptr, kFive, 5);
        break;
      case 1:
        made = CFDataCreateCopy(nullptr, data);
        break;
      case 2:
        made = CFDataCreateMutable(nullptr, 0);
        break;
      case 3:
        made = CFDataCreateMutableCopy(nullptr, 0, data);
        break;
    }
    EXPECT_EQ(made, nullptr) << "case " << i;
    EXPECT_FALSE(ZRTestingFailurePending());
  }
  EXPECT_EQ(CFGetRetainCount(data), 1);
  CFRelease(data);
}

TEST(CFDataDeathTest, RangesOutOfBoundsHalt) {
  CFMutableDataRef data = CFDataCreateMutable(nullptr, 0);
  CFDataAppendBytes(data, kFive, 5);
  UInt8 buffer[8];
  EXPECT_DEATH(CFDataGetBytes(data, CFRangeMake(3, 3), buffer), "CFDataGetBytes: range \\{3, 3\\} out of bounds");
  EXPECT_DEATH(CFDataDeleteBytes(data, CFRangeMake(-1, 1)), "CFDataDeleteBytes: range");
  EXPECT_DEATH(CFDataReplaceBytes(data, CFRangeMake(6, 0), kFive, 1), "CFDataReplaceBytes: range");
  EXPECT_DEATH(CFDataSetLength(data, -1), "CFDataSetLength: length \\(-1\\) cannot be less than zero");
  CFRelease(data);
}

}  // namespace
