// CFData.cpp: immutable and mutable byte buffers (one type identifier for both), equality
// by content, and the description NSData prints: hexadecimal bytes in groups of four.
#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFString.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string_view>
#include <vector>

#include "CFString/StringImpl.h"
#include "runtime/Object.h"

struct __CFData final : zrp::Object {
  __CFData(std::vector<UInt8> content, bool isMutable)
      : Object(zrp::kTypeIDData), bytes(std::move(content)), mutable_(isMutable) {
    // An empty buffer still owns storage, so that its byte pointer is never NULL, as on the
    // platform (callers pass it on to functions that reject NULL even for zero bytes).
    if (bytes.capacity() == 0) bytes.reserve(1);
  }

  bool equal(const Object& other) const override { return bytes == static_cast<const __CFData&>(other).bytes; }
  CFHashCode hash() const override {
    return std::hash<std::string_view>()(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
  }
  CFStringRef copyDescription() const override;
  const char* className() const override { return mutable_ ? "NSConcreteMutableData" : "NSConcreteData"; }

  std::vector<UInt8> bytes;
  bool mutable_;
};

CFStringRef __CFData::copyDescription() const {
  static const char kHex[] = "0123456789abcdef";
  std::u16string text;
  text.reserve(2 + bytes.size() * 2 + bytes.size() / 4);
  text.push_back(u'<');
  for (size_t i = 0; i < bytes.size(); ++i) {
    if (i > 0 && i % 4 == 0) text.push_back(u' ');
    text.push_back(static_cast<char16_t>(kHex[bytes[i] >> 4]));
    text.push_back(static_cast<char16_t>(kHex[bytes[i] & 0xF]));
  }
  text.push_back(u'>');
  return zrp::CreateString(std::move(text));
}

namespace {

// Capacity is only a hint; a large one is not reserved up front.
constexpr CFIndex kLargestReservedCapacity = 1 << 20;

std::vector<UInt8> WithCapacity(CFIndex capacity) {
  std::vector<UInt8> bytes;
  if (capacity > 0) bytes.reserve(static_cast<size_t>(std::min(capacity, kLargestReservedCapacity)));
  return bytes;
}

// Returns the data when it may be changed; an immutable one is reported on standard error
// and left alone.
__CFData* Mutable(CFMutableDataRef data, const char* function) {
  if (!data) return nullptr;
  if (!data->mutable_) {
    std::fprintf(stderr, "%s: attempt to mutate immutable data %p\n", function, static_cast<const void*>(data));
    return nullptr;
  }
  return data;
}

bool IsRangeValid(CFDataRef data, CFRange range) {
  return range.location >= 0 && range.length >= 0 && static_cast<size_t>(range.location) <= data->bytes.size() &&
         static_cast<size_t>(range.length) <= data->bytes.size() - static_cast<size_t>(range.location);
}

[[noreturn]] void HaltOnRange(const char* function, CFRange range, CFDataRef data) {
  std::fprintf(stderr, "%s: range {%ld, %ld} out of bounds; data length %zu\n", function, range.location, range.length,
               data->bytes.size());
  std::abort();
}

[[noreturn]] void HaltOnLength(const char* function, CFIndex length) {
  std::fprintf(stderr, "%s: length (%ld) cannot be less than zero\n", function, length);
  std::abort();
}

}  // namespace

extern "C" {

CFTypeID CFDataGetTypeID(void) { return zrp::kTypeIDData; }

CFDataRef CFDataCreate(CFAllocatorRef, const UInt8* bytes, CFIndex length) {
  if (length < 0 || (length > 0 && !bytes)) return nullptr;
  return zrp::New<__CFData>(std::vector<UInt8>(bytes, bytes + length), false);
}

CFDataRef CFDataCreateCopy(CFAllocatorRef, CFDataRef theData) {
  if (!theData) return nullptr;
  // Immutable data is its own copy, as on the platform.
  if (!theData->mutable_) {
    if (!zrp::AllocationAllowed()) return nullptr;
    return static_cast<CFDataRef>(CFRetain(theData));
  }
  return zrp::New<__CFData>(theData->bytes, false);
}

CFMutableDataRef CFDataCreateMutable(CFAllocatorRef, CFIndex capacity) {
  return zrp::New<__CFData>(WithCapacity(capacity), true);
}

CFMutableDataRef CFDataCreateMutableCopy(CFAllocatorRef, CFIndex capacity, CFDataRef theData) {
  if (!theData) return nullptr;
  std::vector<UInt8> bytes = WithCapacity(capacity);
  bytes.insert(bytes.end(), theData->bytes.begin(), theData->bytes.end());
  return zrp::New<__CFData>(std::move(bytes), true);
}

CFIndex CFDataGetLength(CFDataRef theData) { return static_cast<CFIndex>(theData->bytes.size()); }

const UInt8* CFDataGetBytePtr(CFDataRef theData) { return theData->bytes.data(); }

UInt8* CFDataGetMutableBytePtr(CFMutableDataRef theData) {
  // Immutable data has no writable bytes: NULL, reported like any other attempt to change it.
  __CFData* data = Mutable(theData, "CFDataGetMutableBytePtr");
  return data ? data->bytes.data() : nullptr;
}

void CFDataGetBytes(CFDataRef theData, CFRange range, UInt8* buffer) {
  if (!IsRangeValid(theData, range)) HaltOnRange("CFDataGetBytes", range, theData);
  if (range.length > 0) std::memcpy(buffer, theData->bytes.data() + range.location, static_cast<size_t>(range.length));
}

void CFDataSetLength(CFMutableDataRef theData, CFIndex length) {
  __CFData* data = Mutable(theData, "CFDataSetLength");
  if (!data) return;
  if (length < 0) HaltOnLength("CFDataSetLength", length);
  // New bytes are zero.
  data->bytes.resize(static_cast<size_t>(length), 0);
}

void CFDataIncreaseLength(CFMutableDataRef theData, CFIndex extraLength) {
  __CFData* data = Mutable(theData, "CFDataIncreaseLength");
  if (!data) return;
  if (extraLength < 0) HaltOnLength("CFDataIncreaseLength", extraLength);
  data->bytes.resize(data->bytes.size() + static_cast<size_t>(extraLength), 0);
}

void CFDataAppendBytes(CFMutableDataRef theData, const UInt8* bytes, CFIndex length) {
  __CFData* data = Mutable(theData, "CFDataAppendBytes");
  if (!data || length <= 0 || !bytes) return;
  // The bytes may lie inside the buffer itself, which growing it would move.
  std::vector<UInt8> appended(bytes, bytes + length);
  data->bytes.insert(data->bytes.end(), appended.begin(), appended.end());
}

void CFDataReplaceBytes(CFMutableDataRef theData, CFRange range, const UInt8* newBytes, CFIndex newLength) {
  __CFData* data = Mutable(theData, "CFDataReplaceBytes");
  if (!data) return;
  if (!IsRangeValid(data, range)) HaltOnRange("CFDataReplaceBytes", range, data);
  if (newLength < 0) HaltOnLength("CFDataReplaceBytes", newLength);
  std::vector<UInt8> replacement;
  // The new bytes may lie inside the buffer itself; without them the range becomes zeros.
  if (newLength > 0 && newBytes) {
    replacement.assign(newBytes, newBytes + newLength);
  } else {
    replacement.assign(static_cast<size_t>(newLength), 0);
  }
  auto first = data->bytes.begin() + range.location;
  data->bytes.erase(first, first + range.length);
  data->bytes.insert(data->bytes.begin() + range.location, replacement.begin(), replacement.end());
}

void CFDataDeleteBytes(CFMutableDataRef theData, CFRange range) {
  __CFData* data = Mutable(theData, "CFDataDeleteBytes");
  if (!data) return;
  if (!IsRangeValid(data, range)) HaltOnRange("CFDataDeleteBytes", range, data);
  auto first = data->bytes.begin() + range.location;
  data->bytes.erase(first, first + range.length);
}

}  // extern "C"
