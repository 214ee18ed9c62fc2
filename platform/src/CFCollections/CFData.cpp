// CFData.cpp: immutable and mutable byte buffers (one type identifier for both), equality
// by content, and the description NSData prints: hexadecimal bytes in groups of four.
#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFString.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string_view>
#include <vector>

#include "CFString/StringImpl.h"
#include "runtime/Checks.h"
#include "runtime/LargeBlocks.h"
#include "runtime/NoThrow.h"
#include "runtime/Object.h"

// The bytes live in one block from malloc, grown with realloc: data can be hundreds of
// megabytes (encoded text, files), and realloc moves a block of that size by remapping its
// pages instead of copying them. A new block of zeros comes from calloc, which gets freshly
// mapped pages without writing them.
struct __CFData final : zrp::Object {
  // Takes the block, which holds at least one byte of capacity: an empty buffer still owns
  // storage, so that its byte pointer is never NULL, as on the platform (callers pass it on to
  // functions that reject NULL even for zero bytes).
  __CFData(UInt8* block, size_t size, size_t room, bool isMutable, bool ownsBytes = true)
      : Object(zrp::kTypeIDData), bytes(block), length(size), capacity(room), mutable_(isMutable), owns_(ownsBytes) {}
  ~__CFData() override {
    if (owns_) std::free(bytes);
  }

  bool equal(const Object& other) const override {
    const __CFData& data = static_cast<const __CFData&>(other);
    return length == data.length && (length == 0 || std::memcmp(bytes, data.bytes, length) == 0);
  }
  CFHashCode hash() const override {
    return std::hash<std::string_view>()(std::string_view(reinterpret_cast<const char*>(bytes), length));
  }
  CFStringRef copyDescription() const override;
  const char* className() const override { return mutable_ ? "NSConcreteMutableData" : "NSConcreteData"; }

  UInt8* bytes;
  size_t length;
  size_t capacity;
  bool mutable_;
  bool owns_;  // false for bytes taken without a copy that the caller frees
};

CFStringRef __CFData::copyDescription() const {
  static const char kHex[] = "0123456789abcdef";
  std::u16string text;
  text.reserve(2 + length * 2 + length / 4);
  text.push_back(u'<');
  for (size_t i = 0; i < length; ++i) {
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

size_t ReservedCapacity(CFIndex capacity) {
  return capacity > 0 ? static_cast<size_t>(std::min(capacity, kLargestReservedCapacity)) : 0;
}

[[noreturn]] void HaltOnMemory(const char* function, size_t size) {
  std::fprintf(stderr, "%s: cannot allocate %zu bytes\n", function, size);
  std::abort();
}

// A data object over a new block with room for `capacity` bytes, holding a copy of the
// `length` bytes at `content` (none when NULL); NULL when the object or the block cannot be
// made.
__CFData* Make(const UInt8* content, size_t length, size_t capacity, bool isMutable) {
  size_t room = std::max<size_t>({capacity, length, 1});
  UInt8* block = static_cast<UInt8*>(std::malloc(room));
  if (!block) return nullptr;
  if (length > 0) {
    zrp::PopulateLargeBlock(block, length);
    std::memcpy(block, content, length);
  }
  __CFData* data = zrp::New<__CFData>(block, length, room, isMutable);
  if (!data) std::free(block);
  return data;
}

// Makes room for `needed` bytes, growing the block geometrically so that a run of appends
// costs amortised constant time per byte. A failure halts, as the platform does when it runs
// out of memory.
void Reserve(__CFData* data, size_t needed, const char* function) {
  if (needed <= data->capacity) return;
  size_t room = std::max(needed, data->capacity * 2);
  UInt8* block = static_cast<UInt8*>(std::realloc(data->bytes, room));
  if (!block) {
    room = needed;
    block = static_cast<UInt8*>(std::realloc(data->bytes, room));
    if (!block) HaltOnMemory(function, room);
  }
  data->bytes = block;
  data->capacity = room;
}

// Sets the length; new bytes are zero.
void Resize(__CFData* data, size_t length, const char* function) {
  if (length > data->length) {
    if (data->length == 0 && length > data->capacity) {
      // Nothing to keep: a block of zeros from calloc, whose fresh pages are not written.
      UInt8* block = static_cast<UInt8*>(std::calloc(length, 1));
      if (!block) HaltOnMemory(function, length);
      std::free(data->bytes);
      data->bytes = block;
      data->capacity = length;
    } else {
      Reserve(data, length, function);
      std::memset(data->bytes + data->length, 0, length - data->length);
    }
  }
  data->length = length;
}

// Returns the data when it may be changed; an immutable one is reported on standard error
// and left alone.
__CFData* Mutable(CFMutableDataRef data, const char* function) {
  if (!data) return nullptr;
  if (!data->mutable_) {
    zrp::ReportImmutable(function, "data", data);
    return nullptr;
  }
  return data;
}

void CheckRange(const char* function, CFDataRef data, CFRange range) {
  zrp::RequireRange(function, range, "data length", data->length);
}

[[noreturn]] void HaltOnLength(const char* function, CFIndex length) {
  std::fprintf(stderr, "%s: length (%ld) cannot be less than zero\n", function, length);
  std::abort();
}

// True when p points into the data's block (bytes a caller took from the data itself).
bool PointsInto(const __CFData* data, const UInt8* p) {
  auto address = reinterpret_cast<uintptr_t>(p);
  auto first = reinterpret_cast<uintptr_t>(data->bytes);
  return address >= first && address < first + data->capacity;
}

}  // namespace

extern "C" {

CFTypeID CFDataGetTypeID(void) { return zrp::kTypeIDData; }

CFDataRef CFDataCreate(CFAllocatorRef, const UInt8* bytes, CFIndex length) {
  return zrp::CatchOutOfMemory<CFDataRef>(nullptr, [&]() -> CFDataRef {
    if (length < 0 || (length > 0 && !bytes)) return nullptr;
    return Make(bytes, static_cast<size_t>(length), 0, false);
  });
}

CFDataRef CFDataCreateWithBytesNoCopy(CFAllocatorRef, const UInt8* bytes, CFIndex length,
                                      CFAllocatorRef bytesDeallocator) {
  if (length < 0 || (length > 0 && !bytes)) return nullptr;
  // No bytes at all: an empty data object of its own, so that its byte pointer is not NULL.
  if (!bytes) return Make(nullptr, 0, 0, false);
  // Every allocator but the null one allocates with malloc here, so free gives the bytes back.
  bool owns = bytesDeallocator != kCFAllocatorNull;
  return zrp::New<__CFData>(const_cast<UInt8*>(bytes), static_cast<size_t>(length), static_cast<size_t>(length), false,
                            owns);
}

CFDataRef CFDataCreateCopy(CFAllocatorRef, CFDataRef theData) {
  if (!theData) return nullptr;
  // Immutable data is its own copy, as on the platform.
  if (!theData->mutable_) {
    if (!zrp::AllocationAllowed()) return nullptr;
    return static_cast<CFDataRef>(CFRetain(theData));
  }
  return Make(theData->bytes, theData->length, 0, false);
}

CFMutableDataRef CFDataCreateMutable(CFAllocatorRef, CFIndex capacity) {
  return Make(nullptr, 0, ReservedCapacity(capacity), true);
}

CFMutableDataRef CFDataCreateMutableCopy(CFAllocatorRef, CFIndex capacity, CFDataRef theData) {
  if (!theData) return nullptr;
  return Make(theData->bytes, theData->length, ReservedCapacity(capacity), true);
}

CFIndex CFDataGetLength(CFDataRef theData) { return static_cast<CFIndex>(theData->length); }

const UInt8* CFDataGetBytePtr(CFDataRef theData) { return theData->bytes; }

UInt8* CFDataGetMutableBytePtr(CFMutableDataRef theData) {
  // Immutable data has no writable bytes: NULL, reported like any other attempt to change it.
  __CFData* data = Mutable(theData, "CFDataGetMutableBytePtr");
  return data ? data->bytes : nullptr;
}

void CFDataGetBytes(CFDataRef theData, CFRange range, UInt8* buffer) {
  CheckRange("CFDataGetBytes", theData, range);
  if (range.length > 0) std::memcpy(buffer, theData->bytes + range.location, static_cast<size_t>(range.length));
}

void CFDataSetLength(CFMutableDataRef theData, CFIndex length) {
  __CFData* data = Mutable(theData, "CFDataSetLength");
  if (!data) return;
  if (length < 0) HaltOnLength("CFDataSetLength", length);
  Resize(data, static_cast<size_t>(length), "CFDataSetLength");
}

void CFDataIncreaseLength(CFMutableDataRef theData, CFIndex extraLength) {
  __CFData* data = Mutable(theData, "CFDataIncreaseLength");
  if (!data) return;
  if (extraLength < 0) HaltOnLength("CFDataIncreaseLength", extraLength);
  Resize(data, data->length + static_cast<size_t>(extraLength), "CFDataIncreaseLength");
}

void CFDataAppendBytes(CFMutableDataRef theData, const UInt8* bytes, CFIndex length) {
  __CFData* data = Mutable(theData, "CFDataAppendBytes");
  if (!data || length <= 0 || !bytes) return;
  // The bytes may lie inside the buffer itself, which growing it may move: they are found
  // again by their offset.
  bool inside = PointsInto(data, bytes);
  size_t offset = inside ? static_cast<size_t>(bytes - data->bytes) : 0;
  Reserve(data, data->length + static_cast<size_t>(length), "CFDataAppendBytes");
  if (inside) bytes = data->bytes + offset;
  std::memmove(data->bytes + data->length, bytes, static_cast<size_t>(length));
  data->length += static_cast<size_t>(length);
}

void CFDataReplaceBytes(CFMutableDataRef theData, CFRange range, const UInt8* newBytes, CFIndex newLength) {
  __CFData* data = Mutable(theData, "CFDataReplaceBytes");
  if (!data) return;
  CheckRange("CFDataReplaceBytes", data, range);
  if (newLength < 0) HaltOnLength("CFDataReplaceBytes", newLength);
  std::vector<UInt8> replacement;
  // The new bytes may lie inside the buffer itself; without them the range becomes zeros.
  if (newLength > 0 && newBytes) {
    replacement.assign(newBytes, newBytes + newLength);
  } else {
    replacement.assign(static_cast<size_t>(newLength), 0);
  }
  size_t location = static_cast<size_t>(range.location);
  size_t tail = data->length - location - static_cast<size_t>(range.length);
  size_t length = location + replacement.size() + tail;
  Reserve(data, length, "CFDataReplaceBytes");
  std::memmove(data->bytes + location + replacement.size(), data->bytes + location + range.length, tail);
  if (!replacement.empty()) std::memcpy(data->bytes + location, replacement.data(), replacement.size());
  data->length = length;
}

void CFDataDeleteBytes(CFMutableDataRef theData, CFRange range) {
  __CFData* data = Mutable(theData, "CFDataDeleteBytes");
  if (!data) return;
  CheckRange("CFDataDeleteBytes", data, range);
  size_t location = static_cast<size_t>(range.location);
  size_t tail = data->length - location - static_cast<size_t>(range.length);
  std::memmove(data->bytes + location, data->bytes + location + range.length, tail);
  data->length -= static_cast<size_t>(range.length);
}

}  // extern "C"
