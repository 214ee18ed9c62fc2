// CFArray.cpp: ordered collections (immutable and mutable share one type identifier) whose
// value callbacks retain on insertion, release on removal, compare for searches and
// describe the elements; NULL callbacks store the pointers as they are.
#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFString.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "CFCollections/Collection.h"
#include "runtime/Checks.h"
#include "runtime/NoThrow.h"
#include "runtime/Object.h"

namespace {

const void* RetainObject(CFAllocatorRef, const void* value) { return CFRetain(value); }
void ReleaseObject(CFAllocatorRef, const void* value) { CFRelease(value); }

}  // namespace

extern "C" const CFArrayCallBacks kCFTypeArrayCallBacks = {0, RetainObject, ReleaseObject, CFCopyDescription, CFEqual};

struct __CFArray final : zrp::Collection {
  __CFArray(CFAllocatorRef allocatorRef, const CFArrayCallBacks* cb, bool isMutable)
      : Collection(zrp::kTypeIDArray),
        allocator(allocatorRef),
        callbacks(cb ? *cb : CFArrayCallBacks{}),
        mutable_(isMutable) {}
  ~__CFArray() override {
    for (const void* value : values) release(value);
  }

  bool equal(const Object& other) const override;
  // Equal arrays have equal counts; the elements need not be hashable.
  CFHashCode hash() const override { return values.size(); }
  void appendDescription(int level, std::u16string* out) const override;
  const char* className() const override { return mutable_ ? "__NSArrayM" : "__NSArrayI"; }

  const void* retain(const void* value) const { return callbacks.retain ? callbacks.retain(allocator, value) : value; }
  void release(const void* value) const {
    if (callbacks.release) callbacks.release(allocator, value);
  }
  bool same(const void* a, const void* b) const { return a == b || (callbacks.equal && callbacks.equal(a, b)); }

  CFAllocatorRef allocator;
  CFArrayCallBacks callbacks;
  std::vector<const void*> values;
  bool mutable_;
};

bool __CFArray::equal(const Object& other) const {
  const auto& that = static_cast<const __CFArray&>(other);
  if (values.size() != that.values.size()) return false;
  for (size_t i = 0; i < values.size(); ++i)
    if (!same(values[i], that.values[i])) return false;
  return true;
}

void __CFArray::appendDescription(int level, std::u16string* out) const {
  zrp::AppendIndent(level, out);
  out->append(u"(\n");
  for (size_t i = 0; i < values.size(); ++i) {
    zrp::AppendIndent(level + 1, out);
    zrp::AppendElementDescription(values[i], callbacks.copyDescription, level + 1, out);
    out->append(i + 1 < values.size() ? u",\n" : u"\n");
  }
  zrp::AppendIndent(level, out);
  out->push_back(u')');
}

namespace {

// Capacity is only a hint; a large one is not reserved up front.
constexpr CFIndex kLargestReservedCapacity = 1 << 16;

__CFArray* Mutable(CFMutableArrayRef array, const char* function) {
  if (!array) return nullptr;
  if (!array->mutable_) {
    zrp::ReportImmutable(function, "array", array);
    return nullptr;
  }
  return array;
}

CFIndex Count(CFArrayRef array) { return static_cast<CFIndex>(array->values.size()); }

[[noreturn]] void HaltOnIndex(const char* function, CFIndex idx, CFArrayRef array) {
  std::fprintf(stderr, "%s: index (%ld) out of bounds; array count %ld\n", function, idx, Count(array));
  std::abort();
}

void CheckRange(const char* function, CFArrayRef array, CFRange range) {
  zrp::RequireRange(function, range, "array count", array->values.size());
}

// Valid element indexes are 0 ..< count, or 0 ... count where the index may be one past the end.
void CheckIndex(const char* function, CFArrayRef array, CFIndex idx, bool mayBeEnd) {
  if (idx < 0 || idx > Count(array) || (!mayBeEnd && idx == Count(array))) HaltOnIndex(function, idx, array);
}

__CFArray* MakeArray(CFAllocatorRef allocator, const CFArrayCallBacks* callBacks, bool isMutable, CFIndex capacity) {
  __CFArray* array = zrp::New<__CFArray>(allocator, callBacks, isMutable);
  if (capacity <= 0) return array;
  return zrp::Finished(array, [&](__CFArray* made) {
    made->values.reserve(static_cast<size_t>(std::min(capacity, kLargestReservedCapacity)));
  });
}

void AppendRetained(__CFArray* array, const void* const* values, CFIndex count) {
  array->values.reserve(array->values.size() + static_cast<size_t>(count));
  for (CFIndex i = 0; i < count; ++i) array->values.push_back(array->retain(values[i]));
}

}  // namespace

extern "C" {

CFTypeID CFArrayGetTypeID(void) { return zrp::kTypeIDArray; }

CFArrayRef CFArrayCreate(CFAllocatorRef allocator, const void** values, CFIndex numValues,
                         const CFArrayCallBacks* callBacks) {
  return zrp::CatchOutOfMemory<CFArrayRef>(nullptr, [&]() -> CFArrayRef {
    if (numValues < 0 || (numValues > 0 && !values)) return nullptr;
    return zrp::Finished(MakeArray(allocator, callBacks, false, numValues),
                         [&](__CFArray* array) { AppendRetained(array, values, numValues); });
  });
}

CFArrayRef CFArrayCreateCopy(CFAllocatorRef allocator, CFArrayRef theArray) {
  return zrp::CatchOutOfMemory<CFArrayRef>(nullptr, [&]() -> CFArrayRef {
    if (!theArray) return nullptr;
    // An immutable array is its own copy, as on the platform.
    if (!theArray->mutable_) {
      if (!zrp::AllocationAllowed()) return nullptr;
      return static_cast<CFArrayRef>(CFRetain(theArray));
    }
    return zrp::Finished(MakeArray(allocator, &theArray->callbacks, false, Count(theArray)),
                         [&](__CFArray* array) { AppendRetained(array, theArray->values.data(), Count(theArray)); });
  });
}

CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef allocator, CFIndex capacity, const CFArrayCallBacks* callBacks) {
  return zrp::CatchOutOfMemory<CFMutableArrayRef>(
      nullptr, [&]() -> CFMutableArrayRef { return MakeArray(allocator, callBacks, true, capacity); });
}

CFMutableArrayRef CFArrayCreateMutableCopy(CFAllocatorRef allocator, CFIndex capacity, CFArrayRef theArray) {
  return zrp::CatchOutOfMemory<CFMutableArrayRef>(nullptr, [&]() -> CFMutableArrayRef {
    if (!theArray) return nullptr;
    return zrp::Finished(MakeArray(allocator, &theArray->callbacks, true, std::max(capacity, Count(theArray))),
                         [&](__CFArray* array) { AppendRetained(array, theArray->values.data(), Count(theArray)); });
  });
}

CFIndex CFArrayGetCount(CFArrayRef theArray) { return Count(theArray); }

CFIndex CFArrayGetCountOfValue(CFArrayRef theArray, CFRange range, const void* value) {
  CheckRange("CFArrayGetCountOfValue", theArray, range);
  CFIndex count = 0;
  for (CFIndex i = range.location; i < range.location + range.length; ++i)
    if (theArray->same(theArray->values[i], value)) ++count;
  return count;
}

Boolean CFArrayContainsValue(CFArrayRef theArray, CFRange range, const void* value) {
  CheckRange("CFArrayContainsValue", theArray, range);
  for (CFIndex i = range.location; i < range.location + range.length; ++i)
    if (theArray->same(theArray->values[i], value)) return true;
  return false;
}

const void* CFArrayGetValueAtIndex(CFArrayRef theArray, CFIndex idx) {
  CheckIndex("CFArrayGetValueAtIndex", theArray, idx, false);
  return theArray->values[idx];
}

void CFArrayGetValues(CFArrayRef theArray, CFRange range, const void** values) {
  CheckRange("CFArrayGetValues", theArray, range);
  std::copy_n(theArray->values.begin() + range.location, range.length, values);
}

CFIndex CFArrayGetFirstIndexOfValue(CFArrayRef theArray, CFRange range, const void* value) {
  CheckRange("CFArrayGetFirstIndexOfValue", theArray, range);
  for (CFIndex i = range.location; i < range.location + range.length; ++i)
    if (theArray->same(theArray->values[i], value)) return i;
  return kCFNotFound;
}

CFIndex CFArrayGetLastIndexOfValue(CFArrayRef theArray, CFRange range, const void* value) {
  CheckRange("CFArrayGetLastIndexOfValue", theArray, range);
  for (CFIndex i = range.location + range.length - 1; i >= range.location; --i)
    if (theArray->same(theArray->values[i], value)) return i;
  return kCFNotFound;
}

CFIndex CFArrayBSearchValues(CFArrayRef theArray, CFRange range, const void* value, CFComparatorFunction comparator,
                             void* context) {
  CheckRange("CFArrayBSearchValues", theArray, range);
  // The first element not less than the value: a match when there is one, else the element
  // just above the value, or the end of the range when every element is below it.
  auto first = theArray->values.begin() + range.location;
  auto found = std::lower_bound(first, first + range.length, value, [&](const void* element, const void* target) {
    return comparator(element, target, context) < 0;
  });
  return static_cast<CFIndex>(found - theArray->values.begin());
}

void CFArrayApplyFunction(CFArrayRef theArray, CFRange range, CFArrayApplierFunction applier, void* context) {
  CheckRange("CFArrayApplyFunction", theArray, range);
  for (CFIndex i = range.location; i < range.location + range.length; ++i) applier(theArray->values[i], context);
}

void CFArrayAppendValue(CFMutableArrayRef theArray, const void* value) {
  zrp::CatchOutOfMemory([&] {
    __CFArray* array = Mutable(theArray, "CFArrayAppendValue");
    if (!array) return;
    zrp::MakeRoomForOne(&array->values);
    array->values.push_back(array->retain(value));
  });
}

void CFArrayInsertValueAtIndex(CFMutableArrayRef theArray, CFIndex idx, const void* value) {
  zrp::CatchOutOfMemory([&] {
    __CFArray* array = Mutable(theArray, "CFArrayInsertValueAtIndex");
    if (!array) return;
    CheckIndex("CFArrayInsertValueAtIndex", array, idx, true);
    zrp::MakeRoomForOne(&array->values);
    array->values.insert(array->values.begin() + idx, array->retain(value));
  });
}

void CFArraySetValueAtIndex(CFMutableArrayRef theArray, CFIndex idx, const void* value) {
  zrp::CatchOutOfMemory([&] {
    __CFArray* array = Mutable(theArray, "CFArraySetValueAtIndex");
    if (!array) return;
    CheckIndex("CFArraySetValueAtIndex", array, idx, true);
    if (idx == Count(array)) zrp::MakeRoomForOne(&array->values);
    // Retained before the old value goes, in case they are the same object.
    const void* retained = array->retain(value);
    if (idx == Count(array)) {
      array->values.push_back(retained);
      return;
    }
    const void* old = array->values[idx];
    array->values[idx] = retained;
    array->release(old);
  });
}

void CFArrayRemoveValueAtIndex(CFMutableArrayRef theArray, CFIndex idx) {
  __CFArray* array = Mutable(theArray, "CFArrayRemoveValueAtIndex");
  if (!array) return;
  CheckIndex("CFArrayRemoveValueAtIndex", array, idx, false);
  const void* old = array->values[idx];
  array->values.erase(array->values.begin() + idx);
  array->release(old);
}

void CFArrayRemoveAllValues(CFMutableArrayRef theArray) {
  __CFArray* array = Mutable(theArray, "CFArrayRemoveAllValues");
  if (!array) return;
  // Emptied first: a release callback may look at the array.
  std::vector<const void*> old;
  old.swap(array->values);
  for (const void* value : old) array->release(value);
}

void CFArrayExchangeValuesAtIndices(CFMutableArrayRef theArray, CFIndex idx1, CFIndex idx2) {
  __CFArray* array = Mutable(theArray, "CFArrayExchangeValuesAtIndices");
  if (!array) return;
  CheckIndex("CFArrayExchangeValuesAtIndices", array, idx1, false);
  CheckIndex("CFArrayExchangeValuesAtIndices", array, idx2, false);
  std::swap(array->values[idx1], array->values[idx2]);
}

void CFArrayAppendArray(CFMutableArrayRef theArray, CFArrayRef otherArray, CFRange otherRange) {
  __CFArray* array = Mutable(theArray, "CFArrayAppendArray");
  if (!array || !otherArray) return;
  CheckRange("CFArrayAppendArray", otherArray, otherRange);
  // Copied first: the other array may be this one.
  std::vector<const void*> appended(otherArray->values.begin() + otherRange.location,
                                    otherArray->values.begin() + otherRange.location + otherRange.length);
  AppendRetained(array, appended.data(), otherRange.length);
}

void CFArraySortValues(CFMutableArrayRef theArray, CFRange range, CFComparatorFunction comparator, void* context) {
  __CFArray* array = Mutable(theArray, "CFArraySortValues");
  if (!array) return;
  CheckRange("CFArraySortValues", array, range);
  // A merge sort: equal elements keep their order, as on the platform.
  auto first = array->values.begin() + range.location;
  std::stable_sort(first, first + range.length,
                   [&](const void* a, const void* b) { return comparator(a, b, context) < 0; });
}

}  // extern "C"
