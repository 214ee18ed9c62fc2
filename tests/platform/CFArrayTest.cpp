// CFArrayTest.cpp: arrays with object callbacks, custom callbacks and raw pointers:
// retain and release counts, searches, editing, binary search, stable sort, equality,
// descriptions, and mutation of immutable arrays.
#include <CoreFoundation/CoreFoundation.h>
#include <ZRPlatform/Testing.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "TestSupport.h"

namespace {

using zrtest::Description;
using zrtest::IntOf;
using zrtest::Number;

// Values that count their own retains and releases through custom callbacks.
struct Counted {
  int key;
  int tag;
  int retains = 0;
  int releases = 0;
};

std::vector<std::pair<CFAllocatorRef, const void*>> gRetainCalls;

const void* RetainCounted(CFAllocatorRef allocator, const void* value) {
  gRetainCalls.emplace_back(allocator, value);
  ++const_cast<Counted*>(static_cast<const Counted*>(value))->retains;
  return value;
}
void ReleaseCounted(CFAllocatorRef, const void* value) {
  ++const_cast<Counted*>(static_cast<const Counted*>(value))->releases;
}
Boolean EqualCounted(const void* a, const void* b) {
  return static_cast<const Counted*>(a)->key == static_cast<const Counted*>(b)->key;
}
CFStringRef DescribeCounted(const void* value) {
  return zrtest::MakeString("#" + std::to_string(static_cast<const Counted*>(value)->key));
}

const CFArrayCallBacks kCountedCallBacks = {0, RetainCounted, ReleaseCounted, DescribeCounted, EqualCounted};

CFComparisonResult CompareCountedKeys(const void* a, const void* b, void* context) {
  ++*static_cast<int*>(context);
  int ka = static_cast<const Counted*>(a)->key;
  int kb = static_cast<const Counted*>(b)->key;
  return ka < kb ? kCFCompareLessThan : (ka > kb ? kCFCompareGreaterThan : kCFCompareEqualTo);
}

CFComparisonResult CompareNumbers(const void* a, const void* b, void*) {
  return CFNumberCompare(static_cast<CFNumberRef>(a), static_cast<CFNumberRef>(b), nullptr);
}

class CFArrayTest : public zrtest::LeakCheckedTest {
 protected:
  void SetUp() override {
    LeakCheckedTest::SetUp();
    gRetainCalls.clear();
  }
};

TEST_F(CFArrayTest, TypeArrayRetainsItsValuesAndReleasesThemWhenFreed) {
  CFNumberRef one = Number(1);
  CFNumberRef two = Number(2);
  const void* values[] = {one, two, one};
  CFArrayRef array = CFArrayCreate(nullptr, values, 3, &kCFTypeArrayCallBacks);
  ASSERT_NE(array, nullptr);
  EXPECT_EQ(CFGetTypeID(array), CFArrayGetTypeID());
  EXPECT_EQ(CFArrayGetCount(array), 3);
  EXPECT_EQ(CFGetRetainCount(one), 3);
  EXPECT_EQ(CFGetRetainCount(two), 2);
  EXPECT_EQ(CFArrayGetValueAtIndex(array, 1), two);
  CFRelease(array);
  EXPECT_EQ(CFGetRetainCount(one), 1);
  EXPECT_EQ(CFGetRetainCount(two), 1);
  CFRelease(one);
  CFRelease(two);
}

TEST_F(CFArrayTest, CreateRejectsBadArguments) {
  EXPECT_EQ(CFArrayCreate(nullptr, nullptr, 2, &kCFTypeArrayCallBacks), nullptr);
  const void* values[] = {nullptr};
  EXPECT_EQ(CFArrayCreate(nullptr, values, -1, nullptr), nullptr);
  EXPECT_EQ(CFArrayCreateCopy(nullptr, nullptr), nullptr);
  EXPECT_EQ(CFArrayCreateMutableCopy(nullptr, 0, nullptr), nullptr);
  CFArrayRef empty = CFArrayCreate(nullptr, nullptr, 0, &kCFTypeArrayCallBacks);
  ASSERT_NE(empty, nullptr);
  EXPECT_EQ(CFArrayGetCount(empty), 0);
  CFRelease(empty);
}

TEST_F(CFArrayTest, CustomCallbacksAreCalledForEveryInsertionAndRemoval) {
  Counted a{1, 0}, b{2, 0}, c{3, 0};
  CFAllocatorRef allocator = kCFAllocatorSystemDefault;
  CFMutableArrayRef array = CFArrayCreateMutable(allocator, 0, &kCountedCallBacks);
  CFArrayAppendValue(array, &a);
  CFArrayAppendValue(array, &b);
  CFArrayInsertValueAtIndex(array, 0, &c);
  EXPECT_EQ(a.retains, 1);
  EXPECT_EQ(b.retains, 1);
  EXPECT_EQ(c.retains, 1);
  ASSERT_EQ(gRetainCalls.size(), 3u);
  EXPECT_EQ(gRetainCalls[0].first, allocator);
  EXPECT_EQ(gRetainCalls[2].second, &c);

  // Replacing a value retains the new one and releases the old one.
  CFArraySetValueAtIndex(array, 0, &a);
  EXPECT_EQ(a.retains, 2);
  EXPECT_EQ(c.releases, 1);
  // Setting the value a slot already holds keeps it alive.
  CFArraySetValueAtIndex(array, 0, &a);
  EXPECT_EQ(a.retains, 3);
  EXPECT_EQ(a.releases, 1);

  CFArrayRemoveValueAtIndex(array, 2);
  EXPECT_EQ(b.releases, 1);
  EXPECT_EQ(CFArrayGetCount(array), 2);

  // A mutable copy keeps the callbacks and retains every value again.
  CFMutableArrayRef copy = CFArrayCreateMutableCopy(nullptr, 0, array);
  EXPECT_EQ(a.retains, 5);
  CFArrayRemoveAllValues(copy);
  EXPECT_EQ(a.releases, 3);
  CFRelease(copy);

  CFRelease(array);
  EXPECT_EQ(a.retains, a.releases);
  EXPECT_EQ(b.retains, b.releases);
  EXPECT_EQ(c.retains, c.releases);
}

TEST_F(CFArrayTest, NullCallbacksStoreRawPointers) {
  int x = 0, y = 0;
  const void* values[] = {&x, &y, nullptr};
  CFArrayRef array = CFArrayCreate(nullptr, values, 3, nullptr);
  EXPECT_EQ(CFArrayGetValueAtIndex(array, 0), &x);
  EXPECT_EQ(CFArrayGetValueAtIndex(array, 2), nullptr);
  EXPECT_EQ(CFArrayGetFirstIndexOfValue(array, CFRangeMake(0, 3), &y), 1);
  EXPECT_EQ(CFArrayGetFirstIndexOfValue(array, CFRangeMake(0, 3), nullptr), 2);
  CFRelease(array);
}

TEST_F(CFArrayTest, SearchesUseTheEqualCallback) {
  Counted a{1, 0}, b{2, 0}, a2{1, 99}, missing{7, 0};
  const void* values[] = {&a, &b, &a2, &b};
  CFArrayRef array = CFArrayCreate(nullptr, values, 4, &kCountedCallBacks);
  CFRange all = CFRangeMake(0, 4);
  EXPECT_TRUE(CFArrayContainsValue(array, all, &a2));
  EXPECT_FALSE(CFArrayContainsValue(array, all, &missing));
  EXPECT_FALSE(CFArrayContainsValue(array, CFRangeMake(1, 1), &a));
  EXPECT_EQ(CFArrayGetCountOfValue(array, all, &a), 2);
  EXPECT_EQ(CFArrayGetCountOfValue(array, CFRangeMake(1, 3), &b), 2);
  EXPECT_EQ(CFArrayGetFirstIndexOfValue(array, all, &a2), 0);
  EXPECT_EQ(CFArrayGetFirstIndexOfValue(array, CFRangeMake(1, 3), &a), 2);
  EXPECT_EQ(CFArrayGetLastIndexOfValue(array, all, &b), 3);
  EXPECT_EQ(CFArrayGetLastIndexOfValue(array, CFRangeMake(0, 3), &b), 1);
  EXPECT_EQ(CFArrayGetFirstIndexOfValue(array, all, &missing), kCFNotFound);
  EXPECT_EQ(CFArrayGetLastIndexOfValue(array, all, &missing), kCFNotFound);
  EXPECT_EQ(CFArrayGetFirstIndexOfValue(array, CFRangeMake(4, 0), &a), kCFNotFound);
  CFRelease(array);
}

TEST_F(CFArrayTest, ObjectSearchesCompareWithCFEqual) {
  CFNumberRef one = Number(1);
  CFNumberRef otherOne = Number(1);
  double oneValue = 1.0;
  CFNumberRef oneDouble = CFNumberCreate(nullptr, kCFNumberDoubleType, &oneValue);
  const void* values[] = {one};
  CFArrayRef array = CFArrayCreate(nullptr, values, 1, &kCFTypeArrayCallBacks);
  EXPECT_TRUE(CFArrayContainsValue(array, CFRangeMake(0, 1), otherOne));
  EXPECT_TRUE(CFArrayContainsValue(array, CFRangeMake(0, 1), oneDouble));
  EXPECT_FALSE(CFArrayContainsValue(array, CFRangeMake(0, 1), kCFBooleanTrue));
  CFRelease(array);
  CFRelease(one);
  CFRelease(otherOne);
  CFRelease(oneDouble);
}

TEST_F(CFArrayTest, GetValuesAndApplyFunction) {
  const void* values[5];
  for (int i = 0; i < 5; ++i) values[i] = Number(i * 10);
  CFArrayRef array = CFArrayCreate(nullptr, values, 5, &kCFTypeArrayCallBacks);
  for (const void* value : values) CFRelease(value);

  const void* out[3] = {};
  CFArrayGetValues(array, CFRangeMake(1, 3), out);
  EXPECT_EQ(IntOf(out[0]), 10);
  EXPECT_EQ(IntOf(out[2]), 30);

  std::vector<int> seen;
  CFArrayApplyFunction(
      array, CFRangeMake(2, 3),
      [](const void* value, void* context) { static_cast<std::vector<int>*>(context)->push_back(IntOf(value)); },
      &seen);
  EXPECT_EQ(seen, (std::vector<int>{20, 30, 40}));
  CFRelease(array);
}

TEST_F(CFArrayTest, InsertSetRemoveExchange) {
  CFMutableArrayRef array = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
  CFNumberRef n[5];
  for (int i = 0; i < 5; ++i) n[i] = Number(i);
  CFArrayAppendValue(array, n[1]);
  CFArrayInsertValueAtIndex(array, 0, n[0]);
  CFArrayInsertValueAtIndex(array, 2, n[3]);
  CFArrayInsertValueAtIndex(array, 2, n[2]);
  // Setting at the count appends.
  CFArraySetValueAtIndex(array, 4, n[4]);
  ASSERT_EQ(CFArrayGetCount(array), 5);
  for (int i = 0; i < 5; ++i) EXPECT_EQ(CFArrayGetValueAtIndex(array, i), n[i]);

  CFArrayExchangeValuesAtIndices(array, 0, 4);
  EXPECT_EQ(CFArrayGetValueAtIndex(array, 0), n[4]);
  EXPECT_EQ(CFArrayGetValueAtIndex(array, 4), n[0]);
  CFArrayExchangeValuesAtIndices(array, 2, 2);
  EXPECT_EQ(CFArrayGetValueAtIndex(array, 2), n[2]);

  CFArrayRemoveValueAtIndex(array, 0);
  EXPECT_EQ(CFGetRetainCount(n[4]), 1);
  EXPECT_EQ(CFArrayGetValueAtIndex(array, 0), n[1]);
  CFArraySetValueAtIndex(array, 0, n[3]);
  EXPECT_EQ(CFGetRetainCount(n[1]), 1);
  EXPECT_EQ(CFGetRetainCount(n[3]), 3);

  CFArrayRemoveAllValues(array);
  EXPECT_EQ(CFArrayGetCount(array), 0);
  for (CFNumberRef number : n) EXPECT_EQ(CFGetRetainCount(number), 1);
  CFRelease(array);
  for (CFNumberRef number : n) CFRelease(number);
}

TEST_F(CFArrayTest, AppendArrayCopiesARangeEvenFromItself) {
  CFMutableArrayRef array = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
  CFNumberRef one = Number(1);
  CFNumberRef two = Number(2);
  CFArrayAppendValue(array, one);
  CFArrayAppendValue(array, two);
  CFArrayAppendArray(array, array, CFRangeMake(0, 2));
  ASSERT_EQ(CFArrayGetCount(array), 4);
  EXPECT_EQ(CFArrayGetValueAtIndex(array, 2), one);
  EXPECT_EQ(CFArrayGetValueAtIndex(array, 3), two);
  EXPECT_EQ(CFGetRetainCount(one), 3);

  const void* values[] = {two, one, two};
  CFArrayRef other = CFArrayCreate(nullptr, values, 3, &kCFTypeArrayCallBacks);
  CFArrayAppendArray(array, other, CFRangeMake(1, 2));
  ASSERT_EQ(CFArrayGetCount(array), 6);
  EXPECT_EQ(CFArrayGetValueAtIndex(array, 4), one);
  EXPECT_EQ(CFArrayGetValueAtIndex(array, 5), two);
  CFRelease(other);
  CFRelease(array);
  EXPECT_EQ(CFGetRetainCount(one), 1);
  EXPECT_EQ(CFGetRetainCount(two), 1);
  CFRelease(one);
  CFRelease(two);
}

TEST_F(CFArrayTest, AppendsStayFastForLargeArrays) {
  CFMutableArrayRef array = CFArrayCreateMutable(nullptr, 0, nullptr);
  for (long i = 0; i < 200000; ++i) CFArrayAppendValue(array, reinterpret_cast<const void*>(i));
  EXPECT_EQ(CFArrayGetCount(array), 200000);
  EXPECT_EQ(CFArrayGetValueAtIndex(array, 123456), reinterpret_cast<const void*>(123456L));
  CFRelease(array);
}

TEST_F(CFArrayTest, BinarySearchResults) {
  CFMutableArrayRef array = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
  for (int value : {10, 20, 20, 30, 40}) {
    CFNumberRef number = Number(value);
    CFArrayAppendValue(array, number);
    CFRelease(number);
  }
  CFRange all = CFRangeMake(0, 5);
  auto search = [&](int value, CFRange range) {
    CFNumberRef number = Number(value);
    CFIndex index = CFArrayBSearchValues(array, range, number, CompareNumbers, nullptr);
    CFRelease(number);
    return index;
  };
  EXPECT_EQ(search(10, all), 0);
  EXPECT_EQ(search(30, all), 3);
  EXPECT_EQ(search(40, all), 4);
  // Of equal values, a matching one (here the first).
  CFIndex twenty = search(20, all);
  EXPECT_TRUE(twenty == 1 || twenty == 2);
  // Between two values: the index of the greater one.
  EXPECT_EQ(search(25, all), 3);
  EXPECT_EQ(search(15, all), 1);
  // Below every value: the start of the range; above every value: its end.
  EXPECT_EQ(search(5, all), 0);
  EXPECT_EQ(search(50, all), 5);
  EXPECT_EQ(search(5, CFRangeMake(2, 2)), 2);
  EXPECT_EQ(search(35, CFRangeMake(1, 3)), 4);
  EXPECT_EQ(search(99, CFRangeMake(3, 0)), 3);
  CFRelease(array);
}

TEST_F(CFArrayTest, SortIsStable) {
  // Keys with tags that record the original order of equal keys.
  std::vector<Counted> items = {{3, 0}, {1, 1}, {2, 2}, {1, 3}, {3, 4}, {2, 5}, {1, 6}, {0, 7}};
  CFMutableArrayRef array = CFArrayCreateMutable(nullptr, 0, nullptr);
  for (Counted& item : items) CFArrayAppendValue(array, &item);
  int comparisons = 0;
  CFArraySortValues(array, CFRangeMake(0, CFArrayGetCount(array)), CompareCountedKeys, &comparisons);
  EXPECT_GT(comparisons, 0);
  std::vector<std::pair<int, int>> sorted;
  for (CFIndex i = 0; i < CFArrayGetCount(array); ++i) {
    auto* item = static_cast<const Counted*>(CFArrayGetValueAtIndex(array, i));
    sorted.emplace_back(item->key, item->tag);
  }
  EXPECT_EQ(sorted, (std::vector<std::pair<int, int>>{{0, 7}, {1, 1}, {1, 3}, {1, 6}, {2, 2}, {2, 5}, {3, 0}, {3, 4}}));
  CFRelease(array);
}

TEST_F(CFArrayTest, SortOfASubrangeLeavesTheRestAlone) {
  CFMutableArrayRef array = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
  for (int value : {9, 5, 3, 4, 1, 0}) {
    CFNumberRef number = Number(value);
    CFArrayAppendValue(array, number);
    CFRelease(number);
  }
  CFArraySortValues(array, CFRangeMake(1, 4), CompareNumbers, nullptr);
  std::vector<int> values;
  for (CFIndex i = 0; i < CFArrayGetCount(array); ++i) values.push_back(IntOf(CFArrayGetValueAtIndex(array, i)));
  EXPECT_EQ(values, (std::vector<int>{9, 1, 3, 4, 5, 0}));
  CFRelease(array);
}

TEST_F(CFArrayTest, CopiesShareOrSeparate) {
  CFNumberRef one = Number(1);
  const void* values[] = {one};
  CFArrayRef immutable = CFArrayCreate(nullptr, values, 1, &kCFTypeArrayCallBacks);
  CFArrayRef sameObject = CFArrayCreateCopy(nullptr, immutable);
  EXPECT_EQ(sameObject, immutable);
  CFRelease(sameObject);

  CFMutableArrayRef mutableCopy = CFArrayCreateMutableCopy(nullptr, 0, immutable);
  CFArrayRef frozen = CFArrayCreateCopy(nullptr, mutableCopy);
  EXPECT_NE(frozen, static_cast<CFArrayRef>(mutableCopy));
  CFArrayAppendValue(mutableCopy, one);
  EXPECT_EQ(CFArrayGetCount(frozen), 1);
  EXPECT_EQ(CFArrayGetCount(mutableCopy), 2);
  EXPECT_EQ(CFGetTypeID(frozen), CFGetTypeID(mutableCopy));
  EXPECT_EQ(CFGetRetainCount(one), 5);
  CFRelease(frozen);
  CFRelease(mutableCopy);
  CFRelease(immutable);
  EXPECT_EQ(CFGetRetainCount(one), 1);
  CFRelease(one);
}

TEST_F(CFArrayTest, MutatingAnImmutableArrayPrintsAndDoesNothing) {
  CFNumberRef one = Number(1);
  const void* values[] = {one, one};
  CFArrayRef array = CFArrayCreate(nullptr, values, 2, &kCFTypeArrayCallBacks);
  auto cheat = const_cast<CFMutableArrayRef>(array);
  testing::internal::CaptureStderr();
  CFArrayAppendValue(cheat, one);
  CFArrayInsertValueAtIndex(cheat, 0, one);
  CFArraySetValueAtIndex(cheat, 0, one);
  CFArrayRemoveValueAtIndex(cheat, 0);
  CFArrayRemoveAllValues(cheat);
  CFArrayExchangeValuesAtIndices(cheat, 0, 1);
  CFArrayAppendArray(cheat, array, CFRangeMake(0, 2));
  CFArraySortValues(cheat, CFRangeMake(0, 2), CompareNumbers, nullptr);
  std::string messages = testing::internal::GetCapturedStderr();
  EXPECT_EQ(CFArrayGetCount(array), 2);
  EXPECT_EQ(CFGetRetainCount(one), 3);
  for (const char* function :
       {"CFArrayAppendValue", "CFArrayInsertValueAtIndex", "CFArraySetValueAtIndex", "CFArrayRemoveValueAtIndex",
        "CFArrayRemoveAllValues", "CFArrayExchangeValuesAtIndices", "CFArrayAppendArray", "CFArraySortValues"})
    EXPECT_NE(messages.find(std::string(function) + ": attempt to mutate immutable array"), std::string::npos)
        << function;
  CFRelease(array);
  CFRelease(one);
}

TEST_F(CFArrayTest, EqualityIsElementWise) {
  CFNumberRef one = Number(1);
  CFNumberRef otherOne = Number(1);
  CFNumberRef two = Number(2);
  const void* a[] = {one, two};
  const void* b[] = {otherOne, two};
  const void* c[] = {two, one};
  CFArrayRef first = CFArrayCreate(nullptr, a, 2, &kCFTypeArrayCallBacks);
  CFMutableArrayRef second = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
  CFArrayAppendValue(second, b[0]);
  CFArrayAppendValue(second, b[1]);
  CFArrayRef reversed = CFArrayCreate(nullptr, c, 2, &kCFTypeArrayCallBacks);
  CFArrayRef shorter = CFArrayCreate(nullptr, a, 1, &kCFTypeArrayCallBacks);
  EXPECT_TRUE(CFEqual(first, second));
  EXPECT_EQ(CFHash(first), CFHash(second));
  EXPECT_FALSE(CFEqual(first, reversed));
  EXPECT_FALSE(CFEqual(first, shorter));
  for (CFTypeRef object : {static_cast<CFTypeRef>(first), static_cast<CFTypeRef>(second),
                           static_cast<CFTypeRef>(reversed), static_cast<CFTypeRef>(shorter),
                           static_cast<CFTypeRef>(one), static_cast<CFTypeRef>(otherOne), static_cast<CFTypeRef>(two)})
    CFRelease(object);
}

TEST_F(CFArrayTest, DescriptionLikeNSArray) {
  CFArrayRef empty = CFArrayCreate(nullptr, nullptr, 0, &kCFTypeArrayCallBacks);
  EXPECT_EQ(Description(empty), "(\n)");

  CFNumberRef one = Number(1);
  double half = 2.5;
  CFNumberRef twoAndAHalf = CFNumberCreate(nullptr, kCFNumberDoubleType, &half);
  const void* inner[] = {one, CFSTR("x")};
  CFArrayRef nested = CFArrayCreate(nullptr, inner, 2, &kCFTypeArrayCallBacks);
  const void* outer[] = {one,
                         twoAndAHalf,
                         CFSTR("plain_word.txt"),
                         CFSTR("two words"),
                         CFSTR(""),
                         CFSTR("quote\" \\ \n\t\r"),
                         CFSTR("caf\xC3\xA9"),
                         kCFBooleanTrue,
                         nested,
                         empty};
  CFArrayRef array = CFArrayCreate(nullptr, outer, 10, &kCFTypeArrayCallBacks);
  EXPECT_EQ(Description(array),
            "(\n"
            "    1,\n"
            "    2.5,\n"
            "    plain_word.txt,\n"
            "    \"two words\",\n"
            "    \"\",\n"
            "    \"quote\\\" \\\\ \\n\\t\\r\",\n"
            "    \"caf\\U00e9\",\n"
            "    1,\n"
            "        (\n"
            "        1,\n"
            "        x\n"
            "    ),\n"
            "        (\n"
            "    )\n"
            ")");
  for (CFTypeRef object : {static_cast<CFTypeRef>(array), static_cast<CFTypeRef>(nested), static_cast<CFTypeRef>(empty),
                           static_cast<CFTypeRef>(one), static_cast<CFTypeRef>(twoAndAHalf)})
    CFRelease(object);
}

TEST_F(CFArrayTest, DescriptionUsesTheDescriptionCallback) {
  Counted a{4, 0}, b{5, 0};
  const void* values[] = {&a, &b};
  CFArrayRef array = CFArrayCreate(nullptr, values, 2, &kCountedCallBacks);
  EXPECT_EQ(Description(array), "(\n    #4,\n    #5\n)");
  CFRelease(array);

  int x = 0;
  const void* raw[] = {&x};
  CFArrayRef pointers = CFArrayCreate(nullptr, raw, 1, nullptr);
  char expected[64];
  std::snprintf(expected, sizeof expected, "(\n    <%p>\n)", static_cast<void*>(&x));
  EXPECT_EQ(Description(pointers), expected);
  CFRelease(pointers);
}

TEST_F(CFArrayTest, FailedAllocationReturnsNullAndRetainsNothing) {
  CFNumberRef one = Number(1);
  const void* values[] = {one};
  CFArrayRef array = CFArrayCreate(nullptr, values, 1, &kCFTypeArrayCallBacks);
  for (int i = 0; i < 4; ++i) {
    ZRTestingFailAllocation(1);
    CFTypeRef made = nullptr;
    switch (i) {
      case 0:
        made = CFArrayCreate(nullptr, values, 1, &kCFTypeArrayCallBacks);
        break;
      case 1:
        made = CFArrayCreateCopy(nullptr, array);
        break;
      case 2:
        made = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
        break;
      case 3:
        made = CFArrayCreateMutableCopy(nullptr, 0, array);
        break;
    }
    EXPECT_EQ(made, nullptr) << "case " << i;
  }
  EXPECT_EQ(CFGetRetainCount(one), 2);
  EXPECT_EQ(CFGetRetainCount(array), 1);
  CFRelease(array);
  CFRelease(one);
}

TEST(CFArrayDeathTest, IndexesAndRangesOutOfBoundsHalt) {
  CFMutableArrayRef array = CFArrayCreateMutable(nullptr, 0, nullptr);
  CFArrayAppendValue(array, nullptr);
  const void* out[4];
  EXPECT_DEATH(CFArrayGetValueAtIndex(array, 1), "CFArrayGetValueAtIndex: index \\(1\\) out of bounds; array count 1");
  EXPECT_DEATH(CFArrayGetValueAtIndex(array, -1), "CFArrayGetValueAtIndex: index \\(-1\\)");
  EXPECT_DEATH(CFArrayInsertValueAtIndex(array, 2, nullptr), "CFArrayInsertValueAtIndex: index \\(2\\)");
  EXPECT_DEATH(CFArrayRemoveValueAtIndex(array, 1), "CFArrayRemoveValueAtIndex: index");
  EXPECT_DEATH(CFArrayGetValues(array, CFRangeMake(0, 2), out), "CFArrayGetValues: range \\{0, 2\\} out of bounds");
  EXPECT_DEATH(CFArrayContainsValue(array, CFRangeMake(2, 0), nullptr), "CFArrayContainsValue: range");
  CFRelease(array);
}

}  // namespace
