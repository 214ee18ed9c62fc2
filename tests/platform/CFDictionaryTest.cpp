// CFDictionaryTest.cpp: dictionaries with object callbacks, copied string keys, custom
// callbacks and raw pointers: add/set/replace/remove semantics, retain counts, lookups
// after many insertions and removals, equality, descriptions, and immutable dictionaries.
#include <CoreFoundation/CoreFoundation.h>
#include <ZRPlatform/Testing.h>
#include <gtest/gtest.h>

#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "TestSupport.h"

namespace {

using zrtest::Description;
using zrtest::IntOf;
using zrtest::MakeString;
using zrtest::Number;
using zrtest::Utf8;

CFMutableDictionaryRef MakeTypeDictionary() {
  return CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
}

using CFDictionaryTest = zrtest::LeakCheckedTest;

TEST_F(CFDictionaryTest, CreateRetainsKeysAndValues) {
  CFStringRef key1 = MakeString("one");
  CFStringRef key2 = MakeString("two");
  CFNumberRef value1 = Number(1);
  CFNumberRef value2 = Number(2);
  const void* keys[] = {key1, key2};
  const void* values[] = {value1, value2};
  CFDictionaryRef dict =
      CFDictionaryCreate(nullptr, keys, values, 2, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
  ASSERT_NE(dict, nullptr);
  EXPECT_EQ(CFGetTypeID(dict), CFDictionaryGetTypeID());
  EXPECT_EQ(CFDictionaryGetCount(dict), 2);
  EXPECT_EQ(CFGetRetainCount(key1), 2);
  EXPECT_EQ(CFGetRetainCount(value2), 2);
  // Lookups compare keys by content, not identity.
  CFStringRef lookup = MakeString("two");
  EXPECT_EQ(CFDictionaryGetValue(dict, lookup), value2);
  EXPECT_EQ(CFDictionaryGetValue(dict, CFSTR("one")), value1);
  EXPECT_EQ(CFDictionaryGetValue(dict, CFSTR("three")), nullptr);
  CFRelease(lookup);
  CFRelease(dict);
  for (CFTypeRef object : {static_cast<CFTypeRef>(key1), static_cast<CFTypeRef>(key2), static_cast<CFTypeRef>(value1),
                           static_cast<CFTypeRef>(value2)}) {
    EXPECT_EQ(CFGetRetainCount(object), 1);
    CFRelease(object);
  }
}

TEST_F(CFDictionaryTest, CreateRejectsBadArguments) {
  EXPECT_EQ(CFDictionaryCreate(nullptr, nullptr, nullptr, 1, nullptr, nullptr), nullptr);
  EXPECT_EQ(CFDictionaryCreate(nullptr, nullptr, nullptr, -1, nullptr, nullptr), nullptr);
  EXPECT_EQ(CFDictionaryCreateCopy(nullptr, nullptr), nullptr);
  EXPECT_EQ(CFDictionaryCreateMutableCopy(nullptr, 0, nullptr), nullptr);
  CFDictionaryRef empty = CFDictionaryCreate(nullptr, nullptr, nullptr, 0, nullptr, nullptr);
  ASSERT_NE(empty, nullptr);
  EXPECT_EQ(CFDictionaryGetCount(empty), 0);
  EXPECT_EQ(CFDictionaryGetValue(empty, "anything"), nullptr);
  CFRelease(empty);
}

TEST_F(CFDictionaryTest, AKeyGivenTwiceToCreateKeepsTheLaterValue) {
  CFNumberRef one = Number(1);
  CFNumberRef two = Number(2);
  const void* keys[] = {CFSTR("k"), CFSTR("k")};
  const void* values[] = {one, two};
  CFDictionaryRef dict =
      CFDictionaryCreate(nullptr, keys, values, 2, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
  EXPECT_EQ(CFDictionaryGetCount(dict), 1);
  EXPECT_EQ(CFDictionaryGetValue(dict, CFSTR("k")), two);
  EXPECT_EQ(CFGetRetainCount(one), 1);
  CFRelease(dict);
  CFRelease(one);
  CFRelease(two);
}

TEST_F(CFDictionaryTest, AddDoesNotReplaceSetDoesReplaceOnlyReplaces) {
  CFMutableDictionaryRef dict = MakeTypeDictionary();
  CFNumberRef one = Number(1);
  CFNumberRef two = Number(2);
  CFNumberRef three = Number(3);

  CFDictionaryAddValue(dict, CFSTR("a"), one);
  CFDictionaryAddValue(dict, CFSTR("a"), two);
  EXPECT_EQ(CFDictionaryGetValue(dict, CFSTR("a")), one);
  EXPECT_EQ(CFGetRetainCount(two), 1);

  CFDictionarySetValue(dict, CFSTR("a"), two);
  EXPECT_EQ(CFDictionaryGetValue(dict, CFSTR("a")), two);
  EXPECT_EQ(CFGetRetainCount(one), 1);
  EXPECT_EQ(CFGetRetainCount(two), 2);
  // Setting the value a key already holds keeps it alive.
  CFDictionarySetValue(dict, CFSTR("a"), two);
  EXPECT_EQ(CFGetRetainCount(two), 2);

  CFDictionaryReplaceValue(dict, CFSTR("missing"), three);
  EXPECT_FALSE(CFDictionaryContainsKey(dict, CFSTR("missing")));
  EXPECT_EQ(CFGetRetainCount(three), 1);
  CFDictionaryReplaceValue(dict, CFSTR("a"), three);
  EXPECT_EQ(CFDictionaryGetValue(dict, CFSTR("a")), three);
  EXPECT_EQ(CFGetRetainCount(two), 1);

  CFDictionarySetValue(dict, CFSTR("b"), one);
  EXPECT_EQ(CFDictionaryGetCount(dict), 2);
  CFDictionaryRemoveValue(dict, CFSTR("a"));
  CFDictionaryRemoveValue(dict, CFSTR("not there"));
  EXPECT_EQ(CFDictionaryGetCount(dict), 1);
  EXPECT_EQ(CFGetRetainCount(three), 1);
  EXPECT_FALSE(CFDictionaryContainsKey(dict, CFSTR("a")));
  EXPECT_TRUE(CFDictionaryContainsKey(dict, CFSTR("b")));

  CFDictionaryRemoveAllValues(dict);
  EXPECT_EQ(CFDictionaryGetCount(dict), 0);
  EXPECT_EQ(CFGetRetainCount(one), 1);
  // Still usable after being emptied.
  CFDictionarySetValue(dict, CFSTR("c"), three);
  EXPECT_EQ(CFDictionaryGetValue(dict, CFSTR("c")), three);
  CFRelease(dict);
  CFRelease(one);
  CFRelease(two);
  CFRelease(three);
}

TEST_F(CFDictionaryTest, GetValueIfPresentAndContainsValue) {
  CFMutableDictionaryRef dict = MakeTypeDictionary();
  CFNumberRef one = Number(1);
  CFNumberRef otherOne = Number(1);
  CFDictionarySetValue(dict, CFSTR("x"), one);
  const void* value = nullptr;
  EXPECT_TRUE(CFDictionaryGetValueIfPresent(dict, CFSTR("x"), &value));
  EXPECT_EQ(value, one);
  EXPECT_TRUE(CFDictionaryGetValueIfPresent(dict, CFSTR("x"), nullptr));
  value = one;
  EXPECT_FALSE(CFDictionaryGetValueIfPresent(dict, CFSTR("y"), &value));
  EXPECT_EQ(value, one);
  EXPECT_TRUE(CFDictionaryContainsValue(dict, otherOne));
  EXPECT_FALSE(CFDictionaryContainsValue(dict, kCFBooleanTrue));
  CFRelease(dict);
  CFRelease(one);
  CFRelease(otherOne);
}

TEST_F(CFDictionaryTest, NumberKeysMatchAcrossTypes) {
  CFMutableDictionaryRef dict = MakeTypeDictionary();
  CFNumberRef one = Number(1);
  double oneValue = 1.0;
  CFNumberRef oneDouble = CFNumberCreate(nullptr, kCFNumberDoubleType, &oneValue);
  CFDictionarySetValue(dict, one, CFSTR("one"));
  EXPECT_EQ(CFDictionaryGetValue(dict, oneDouble), CFSTR("one"));
  CFRelease(dict);
  CFRelease(one);
  CFRelease(oneDouble);
}

TEST_F(CFDictionaryTest, CopyStringKeyCallbacksCopyMutableKeys) {
  CFMutableDictionaryRef dict =
      CFDictionaryCreateMutable(nullptr, 0, &kCFCopyStringDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
  CFMutableStringRef key = CFStringCreateMutable(nullptr, 0);
  CFStringAppend(key, CFSTR("name"));
  CFDictionarySetValue(dict, key, CFSTR("value"));
  EXPECT_EQ(CFGetRetainCount(key), 1);
  // Changing the caller's string does not change the stored key.
  CFStringAppend(key, CFSTR("changed"));
  EXPECT_EQ(CFDictionaryGetValue(dict, CFSTR("name")), CFSTR("value"));
  EXPECT_EQ(CFDictionaryGetValue(dict, key), nullptr);
  const void* storedKey = nullptr;
  CFDictionaryGetKeysAndValues(dict, &storedKey, nullptr);
  EXPECT_NE(storedKey, key);
  EXPECT_EQ(Utf8(static_cast<CFStringRef>(storedKey)), "name");

  // An immutable key is its own copy; non-string keys are retained.
  CFStringRef immutableKey = MakeString("fixed");
  CFDictionarySetValue(dict, immutableKey, CFSTR("v"));
  EXPECT_EQ(CFGetRetainCount(immutableKey), 2);
  CFNumberRef numberKey = Number(5);
  CFDictionarySetValue(dict, numberKey, CFSTR("five"));
  EXPECT_EQ(CFGetRetainCount(numberKey), 2);
  CFRelease(dict);
  EXPECT_EQ(CFGetRetainCount(immutableKey), 1);
  EXPECT_EQ(CFGetRetainCount(numberKey), 1);
  CFRelease(key);
  CFRelease(immutableKey);
  CFRelease(numberKey);
}

// Keys whose hash is their value modulo 4, so that many of them collide.
struct Key {
  int value;
  int retains = 0;
  int releases = 0;
};
const void* RetainKey(CFAllocatorRef, const void* key) {
  ++const_cast<Key*>(static_cast<const Key*>(key))->retains;
  return key;
}
void ReleaseKey(CFAllocatorRef, const void* key) { ++const_cast<Key*>(static_cast<const Key*>(key))->releases; }
Boolean EqualKeys(const void* a, const void* b) {
  return static_cast<const Key*>(a)->value == static_cast<const Key*>(b)->value;
}
CFHashCode HashKey(const void* key) { return static_cast<CFHashCode>(static_cast<const Key*>(key)->value % 4); }
CFStringRef DescribeKey(const void* key) {
  std::string text = "k" + std::to_string(static_cast<const Key*>(key)->value);
  return MakeString(text);
}
const CFDictionaryKeyCallBacks kKeyCallBacks = {0, RetainKey, ReleaseKey, DescribeKey, EqualKeys, HashKey};

TEST_F(CFDictionaryTest, CustomKeyCallbacksWithCollidingHashes) {
  std::vector<Key> keys(64);
  for (int i = 0; i < 64; ++i) keys[static_cast<size_t>(i)].value = i;
  CFMutableDictionaryRef dict = CFDictionaryCreateMutable(nullptr, 0, &kKeyCallBacks, nullptr);
  for (Key& key : keys)
    CFDictionarySetValue(dict, &key, reinterpret_cast<const void*>(static_cast<intptr_t>(key.value * 10)));
  EXPECT_EQ(CFDictionaryGetCount(dict), 64);
  for (int i = 0; i < 64; ++i) {
    Key probe{i};
    EXPECT_EQ(CFDictionaryGetValue(dict, &probe), reinterpret_cast<const void*>(static_cast<intptr_t>(i * 10)));
  }
  // Setting an existing key keeps the stored key and retains no new one.
  Key again{5};
  CFDictionarySetValue(dict, &again, reinterpret_cast<const void*>(static_cast<intptr_t>(555)));
  EXPECT_EQ(again.retains, 0);
  EXPECT_EQ(keys[5].retains, 1);
  // Remove every other key; the rest stay reachable.
  for (int i = 0; i < 64; i += 2) {
    Key probe{i};
    CFDictionaryRemoveValue(dict, &probe);
  }
  EXPECT_EQ(CFDictionaryGetCount(dict), 32);
  for (int i = 0; i < 64; ++i) {
    Key probe{i};
    EXPECT_EQ(static_cast<bool>(CFDictionaryContainsKey(dict, &probe)), i % 2 == 1) << i;
    EXPECT_EQ(keys[static_cast<size_t>(i)].releases, i % 2 == 0 ? 1 : 0) << i;
  }
  Key probe{5};
  EXPECT_EQ(CFDictionaryGetValue(dict, &probe), reinterpret_cast<const void*>(static_cast<intptr_t>(555)));
  CFRelease(dict);
  for (const Key& key : keys) EXPECT_EQ(key.retains, key.releases);
}

TEST_F(CFDictionaryTest, NullCallbacksUsePointerIdentity) {
  CFMutableDictionaryRef dict = CFDictionaryCreateMutable(nullptr, 0, nullptr, nullptr);
  char a[] = "key", b[] = "key";
  CFDictionarySetValue(dict, a, "A");
  CFDictionarySetValue(dict, b, "B");
  EXPECT_EQ(CFDictionaryGetCount(dict), 2);
  EXPECT_STREQ(static_cast<const char*>(CFDictionaryGetValue(dict, a)), "A");
  EXPECT_STREQ(static_cast<const char*>(CFDictionaryGetValue(dict, b)), "B");
  CFStringRef object = MakeString("s");
  CFDictionarySetValue(dict, object, object);
  EXPECT_EQ(CFGetRetainCount(object), 1);  // neither key nor value is retained
  CFRelease(dict);
  EXPECT_EQ(CFGetRetainCount(object), 1);
  CFRelease(object);
}

// Against a std::map model, through random sets and removals that force the table to
// grow and entries to move on removal.
TEST_F(CFDictionaryTest, RandomOperationsAgreeWithAModel) {
  CFMutableDictionaryRef dict = CFDictionaryCreateMutable(nullptr, 0, nullptr, nullptr);
  std::map<intptr_t, intptr_t> model;
  std::mt19937 random(12345);
  for (int step = 0; step < 20000; ++step) {
    intptr_t key = static_cast<intptr_t>(random() % 500) * 8;
    auto k = reinterpret_cast<const void*>(key);
    switch (random() % 3) {
      case 0:
      case 1: {
        intptr_t value = static_cast<intptr_t>(random());
        CFDictionarySetValue(dict, k, reinterpret_cast<const void*>(value));
        model[key] = value;
        break;
      }
      case 2:
        CFDictionaryRemoveValue(dict, k);
        model.erase(key);
        break;
    }
  }
  ASSERT_EQ(CFDictionaryGetCount(dict), static_cast<CFIndex>(model.size()));
  for (intptr_t key = 0; key < 500 * 8; key += 8) {
    auto found = model.find(key);
    const void* value = nullptr;
    bool present = CFDictionaryGetValueIfPresent(dict, reinterpret_cast<const void*>(key), &value);
    ASSERT_EQ(present, found != model.end()) << key;
    if (present) {
      EXPECT_EQ(value, reinterpret_cast<const void*>(found->second));
    }
  }
  std::vector<const void*> keys(model.size()), values(model.size());
  CFDictionaryGetKeysAndValues(dict, keys.data(), values.data());
  for (size_t i = 0; i < keys.size(); ++i)
    EXPECT_EQ(values[i], reinterpret_cast<const void*>(model.at(reinterpret_cast<intptr_t>(keys[i]))));
  CFRelease(dict);
}

TEST_F(CFDictionaryTest, ApplyFunctionVisitsEveryPairOnce) {
  CFMutableDictionaryRef dict = MakeTypeDictionary();
  for (int i = 0; i < 10; ++i) {
    CFStringRef key = MakeString("k" + std::to_string(i));
    CFNumberRef value = Number(i);
    CFDictionarySetValue(dict, key, value);
    CFRelease(key);
    CFRelease(value);
  }
  std::map<std::string, int> seen;
  CFDictionaryApplyFunction(
      dict,
      [](const void* key, const void* value, void* context) {
        (*static_cast<std::map<std::string, int>*>(context))[Utf8(static_cast<CFStringRef>(key))] += IntOf(value) + 1;
      },
      &seen);
  ASSERT_EQ(seen.size(), 10u);
  for (int i = 0; i < 10; ++i) EXPECT_EQ(seen["k" + std::to_string(i)], i + 1);
  CFRelease(dict);
}

TEST_F(CFDictionaryTest, CopiesAndMutability) {
  CFMutableDictionaryRef original = MakeTypeDictionary();
  CFDictionarySetValue(original, CFSTR("a"), kCFBooleanTrue);
  CFDictionaryRef frozen = CFDictionaryCreateCopy(nullptr, original);
  CFMutableDictionaryRef thawed = CFDictionaryCreateMutableCopy(nullptr, 0, frozen);
  CFDictionaryRef same = CFDictionaryCreateCopy(nullptr, frozen);
  EXPECT_EQ(same, frozen);
  CFRelease(same);
  EXPECT_EQ(CFGetTypeID(frozen), CFGetTypeID(original));
  CFDictionarySetValue(original, CFSTR("b"), kCFBooleanFalse);
  CFDictionarySetValue(thawed, CFSTR("c"), kCFBooleanFalse);
  EXPECT_EQ(CFDictionaryGetCount(frozen), 1);
  EXPECT_EQ(CFDictionaryGetCount(thawed), 2);
  EXPECT_FALSE(CFDictionaryContainsKey(thawed, CFSTR("b")));

  testing::internal::CaptureStderr();
  auto cheat = const_cast<CFMutableDictionaryRef>(frozen);
  CFDictionaryAddValue(cheat, CFSTR("x"), kCFBooleanTrue);
  CFDictionarySetValue(cheat, CFSTR("a"), kCFBooleanFalse);
  CFDictionaryReplaceValue(cheat, CFSTR("a"), kCFBooleanFalse);
  CFDictionaryRemoveValue(cheat, CFSTR("a"));
  CFDictionaryRemoveAllValues(cheat);
  std::string messages = testing::internal::GetCapturedStderr();
  EXPECT_EQ(CFDictionaryGetCount(frozen), 1);
  EXPECT_EQ(CFDictionaryGetValue(frozen, CFSTR("a")), kCFBooleanTrue);
  for (const char* function : {"CFDictionaryAddValue", "CFDictionarySetValue", "CFDictionaryReplaceValue",
                               "CFDictionaryRemoveValue", "CFDictionaryRemoveAllValues"})
    EXPECT_NE(messages.find(std::string(function) + ": attempt to mutate immutable dictionary"), std::string::npos)
        << function;
  CFRelease(original);
  CFRelease(frozen);
  CFRelease(thawed);
}

TEST_F(CFDictionaryTest, CopiesKeepCustomCallbacks) {
  Key key{1};
  CFMutableDictionaryRef dict = CFDictionaryCreateMutable(nullptr, 0, &kKeyCallBacks, nullptr);
  CFDictionarySetValue(dict, &key, "v");
  CFDictionaryRef copy = CFDictionaryCreateCopy(nullptr, dict);
  EXPECT_EQ(key.retains, 2);
  Key probe{1};
  EXPECT_STREQ(static_cast<const char*>(CFDictionaryGetValue(copy, &probe)), "v");
  CFRelease(copy);
  CFRelease(dict);
  EXPECT_EQ(key.releases, 2);
}

TEST_F(CFDictionaryTest, EqualityByContent) {
  CFMutableDictionaryRef a = MakeTypeDictionary();
  CFMutableDictionaryRef b = MakeTypeDictionary();
  CFNumberRef one = Number(1);
  double oneValue = 1.0;
  CFNumberRef oneDouble = CFNumberCreate(nullptr, kCFNumberDoubleType, &oneValue);
  CFDictionarySetValue(a, CFSTR("x"), one);
  CFDictionarySetValue(a, CFSTR("y"), CFSTR("text"));
  CFStringRef y = MakeString("y");
  CFDictionarySetValue(b, y, CFSTR("text"));
  CFDictionarySetValue(b, CFSTR("x"), oneDouble);
  EXPECT_TRUE(CFEqual(a, b));
  EXPECT_EQ(CFHash(a), CFHash(b));
  CFDictionarySetValue(b, CFSTR("x"), kCFBooleanTrue);
  EXPECT_FALSE(CFEqual(a, b));
  CFDictionaryRemoveValue(b, CFSTR("x"));
  EXPECT_FALSE(CFEqual(a, b));
  for (CFTypeRef object : {static_cast<CFTypeRef>(a), static_cast<CFTypeRef>(b), static_cast<CFTypeRef>(one),
                           static_cast<CFTypeRef>(oneDouble), static_cast<CFTypeRef>(y)})
    CFRelease(object);
}

TEST_F(CFDictionaryTest, DescriptionLikeNSDictionary) {
  CFMutableDictionaryRef empty = MakeTypeDictionary();
  EXPECT_EQ(Description(empty), "{\n}");

  CFMutableDictionaryRef inner = MakeTypeDictionary();
  CFNumberRef two = Number(2);
  CFDictionarySetValue(inner, CFSTR("b"), two);
  const void* listValues[] = {two, CFSTR("x y")};
  CFArrayRef list = CFArrayCreate(nullptr, listValues, 2, &kCFTypeArrayCallBacks);

  CFMutableDictionaryRef dict = MakeTypeDictionary();
  // Inserted out of order: string keys print sorted.
  CFDictionarySetValue(dict, CFSTR("zeta"), kCFBooleanFalse);
  CFDictionarySetValue(dict, CFSTR("key with space"), CFSTR("value"));
  CFDictionarySetValue(dict, CFSTR("Alpha"), inner);
  CFDictionarySetValue(dict, CFSTR("list"), list);
  CFDictionarySetValue(dict, CFSTR("empty"), empty);
  EXPECT_EQ(Description(dict),
            "{\n"
            "    Alpha =     {\n"
            "        b = 2;\n"
            "    };\n"
            "    empty =     {\n"
            "    };\n"
            "    \"key with space\" = value;\n"
            "    list =     (\n"
            "        2,\n"
            "        \"x y\"\n"
            "    );\n"
            "    zeta = 0;\n"
            "}");

  // An array holding a dictionary indents it the same way.
  const void* outerValues[] = {inner};
  CFArrayRef outer = CFArrayCreate(nullptr, outerValues, 1, &kCFTypeArrayCallBacks);
  EXPECT_EQ(Description(outer),
            "(\n"
            "        {\n"
            "        b = 2;\n"
            "    }\n"
            ")");
  for (CFTypeRef object : {static_cast<CFTypeRef>(outer), static_cast<CFTypeRef>(dict), static_cast<CFTypeRef>(list),
                           static_cast<CFTypeRef>(inner), static_cast<CFTypeRef>(two), static_cast<CFTypeRef>(empty)})
    CFRelease(object);
}

TEST_F(CFDictionaryTest, DescriptionUsesTheCallbacks) {
  Key key{7};
  CFMutableDictionaryRef dict = CFDictionaryCreateMutable(nullptr, 0, &kKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
  CFDictionarySetValue(dict, &key, CFSTR("seven"));
  EXPECT_EQ(Description(dict), "{\n    k7 = seven;\n}");
  CFRelease(dict);
}

TEST_F(CFDictionaryTest, FailedAllocationReturnsNullAndRetainsNothing) {
  CFNumberRef one = Number(1);
  const void* keys[] = {CFSTR("k")};
  const void* values[] = {one};
  CFMutableDictionaryRef dict = MakeTypeDictionary();
  CFDictionarySetValue(dict, CFSTR("k"), one);
  for (int i = 0; i < 4; ++i) {
    ZRTestingFailAllocation(1);
    CFTypeRef made = nullptr;
    switch (i) {
      case 0:
        made = CFDictionaryCreate(nullptr, keys, values, 1, &kCFTypeDictionaryKeyCallBacks,
                                  &kCFTypeDictionaryValueCallBacks);
        break;
      case 1:
        made = CFDictionaryCreateCopy(nullptr, dict);
        break;
      case 2:
        made = CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
        break;
      case 3:
        made = CFDictionaryCreateMutableCopy(nullptr, 0, dict);
        break;
    }
    EXPECT_EQ(made, nullptr) << "case " << i;
  }
  EXPECT_EQ(CFGetRetainCount(one), 2);
  CFRelease(dict);
  CFRelease(one);
}

}  // namespace
