// CFDictionary.cpp: key-value collections (immutable and mutable share one type
// identifier): a hash table driven by the key callbacks' hash and equal functions (pointer
// identity when they are NULL), retaining keys and values through their callbacks.
#include <CoreFoundation/CFDictionary.h>
#include <CoreFoundation/CFString.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <utility>
#include <vector>

#include "CFCollections/Collection.h"
#include "CFString/StringImpl.h"
#include "runtime/NoThrow.h"
#include "runtime/Object.h"

namespace {

const void* RetainObject(CFAllocatorRef, const void* value) { return CFRetain(value); }
void ReleaseObject(CFAllocatorRef, const void* value) { CFRelease(value); }

// A string key is copied, so that changing a mutable string later cannot move its entry;
// an immutable string's copy is the string itself.
const void* CopyStringKey(CFAllocatorRef allocator, const void* value) {
  if (CFGetTypeID(value) == CFStringGetTypeID()) {
    CFStringRef copy = CFStringCreateCopy(allocator, static_cast<CFStringRef>(value));
    if (copy) return copy;
  }
  return CFRetain(value);
}

}  // namespace

extern "C" {
const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks = {0,       RetainObject, ReleaseObject, CFCopyDescription,
                                                                CFEqual, CFHash};
const CFDictionaryKeyCallBacks kCFCopyStringDictionaryKeyCallBacks = {
    0, CopyStringKey, ReleaseObject, CFCopyDescription, CFEqual, CFHash};
const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks = {0, RetainObject, ReleaseObject, CFCopyDescription,
                                                                    CFEqual};
}

// Entries live in insertion order in a dense vector (a removal moves the last entry into
// the hole); an open-addressing table with linear probing maps hashes to entry indexes.
struct __CFDictionary final : zrp::Collection {
  struct Entry {
    const void* key;
    const void* value;
    CFHashCode hash;
  };

  __CFDictionary(CFAllocatorRef allocatorRef, const CFDictionaryKeyCallBacks* keyCB,
                 const CFDictionaryValueCallBacks* valueCB, bool isMutable)
      : Collection(zrp::kTypeIDDictionary),
        allocator(allocatorRef),
        keyCallbacks(keyCB ? *keyCB : CFDictionaryKeyCallBacks{}),
        valueCallbacks(valueCB ? *valueCB : CFDictionaryValueCallBacks{}),
        mutable_(isMutable) {}
  ~__CFDictionary() override {
    for (const Entry& entry : entries) {
      releaseKey(entry.key);
      releaseValue(entry.value);
    }
  }

  bool equal(const Object& other) const override;
  // Equal dictionaries have equal counts; the values need not be hashable.
  CFHashCode hash() const override { return entries.size(); }
  void appendDescription(int level, std::u16string* out) const override;
  const char* className() const override { return mutable_ ? "__NSDictionaryM" : "__NSDictionaryI"; }

  CFHashCode hashKey(const void* key) const {
    return keyCallbacks.hash ? keyCallbacks.hash(key) : static_cast<CFHashCode>(reinterpret_cast<uintptr_t>(key));
  }
  bool sameKey(const void* a, const void* b) const {
    return a == b || (keyCallbacks.equal && keyCallbacks.equal(a, b));
  }
  bool sameValue(const void* a, const void* b) const {
    return a == b || (valueCallbacks.equal && valueCallbacks.equal(a, b));
  }
  const void* retainKey(const void* key) const {
    return keyCallbacks.retain ? keyCallbacks.retain(allocator, key) : key;
  }
  const void* retainValue(const void* value) const {
    return valueCallbacks.retain ? valueCallbacks.retain(allocator, value) : value;
  }
  void releaseKey(const void* key) const {
    if (keyCallbacks.release) keyCallbacks.release(allocator, key);
  }
  void releaseValue(const void* value) const {
    if (valueCallbacks.release) valueCallbacks.release(allocator, value);
  }

  // The entry index of key, or -1.
  long find(const void* key) const;
  // Adds a key known to be absent.
  void insert(const void* key, const void* value);
  // Removes the entry at index (keys and values are released by the caller).
  Entry remove(long index);

  CFAllocatorRef allocator;
  CFDictionaryKeyCallBacks keyCallbacks;
  CFDictionaryValueCallBacks valueCallbacks;
  std::vector<Entry> entries;
  std::vector<long> slots;  // entry indexes; -1 marks an empty slot
  bool mutable_;

 private:
  static size_t Mix(CFHashCode hash) {
    // Callback hashes are often addresses or small integers: spread them over the table.
    uint64_t h = hash;
    h ^= h >> 33;
    h *= 0xff51afd7ed558ccdULL;
    h ^= h >> 33;
    h *= 0xc4ceb9fe1a85ec53ULL;
    h ^= h >> 33;
    return static_cast<size_t>(h);
  }
  size_t slotOf(long index) const;
  void rebuild(size_t slotCount);
};

long __CFDictionary::find(const void* key) const {
  if (entries.empty()) return -1;
  CFHashCode hash = hashKey(key);
  size_t mask = slots.size() - 1;
  for (size_t i = Mix(hash) & mask;; i = (i + 1) & mask) {
    long index = slots[i];
    if (index < 0) return -1;
    const Entry& entry = entries[static_cast<size_t>(index)];
    if (entry.hash == hash && sameKey(entry.key, key)) return index;
  }
}

size_t __CFDictionary::slotOf(long index) const {
  size_t mask = slots.size() - 1;
  for (size_t i = Mix(entries[static_cast<size_t>(index)].hash) & mask;; i = (i + 1) & mask)
    if (slots[i] == index) return i;
}

void __CFDictionary::rebuild(size_t slotCount) {
  slots.assign(slotCount, -1);
  size_t mask = slotCount - 1;
  for (size_t index = 0; index < entries.size(); ++index) {
    size_t i = Mix(entries[index].hash) & mask;
    while (slots[i] >= 0) i = (i + 1) & mask;
    slots[i] = static_cast<long>(index);
  }
}

void __CFDictionary::insert(const void* key, const void* value) {
  // At most half the slots are in use, which keeps probe sequences short.
  if ((entries.size() + 1) * 2 > slots.size()) rebuild(std::max<size_t>(8, slots.size() * 2));
  zrp::MakeRoomForOne(&entries);
  const void* retainedKey = retainKey(key);
  // Hashed after retaining: a copied key hashes like the original.
  entries.push_back({retainedKey, retainValue(value), hashKey(retainedKey)});
  size_t mask = slots.size() - 1;
  size_t i = Mix(entries.back().hash) & mask;
  while (slots[i] >= 0) i = (i + 1) & mask;
  slots[i] = static_cast<long>(entries.size() - 1);
}

__CFDictionary::Entry __CFDictionary::remove(long index) {
  Entry removed = entries[static_cast<size_t>(index)];
  size_t mask = slots.size() - 1;
  // Empty the slot, then shift later members of the probe run back so that no lookup
  // stops early at the hole.
  size_t hole = slotOf(index);
  slots[hole] = -1;
  for (size_t i = (hole + 1) & mask; slots[i] >= 0; i = (i + 1) & mask) {
    size_t home = Mix(entries[static_cast<size_t>(slots[i])].hash) & mask;
    // The entry at i may move to the hole when its home is not cyclically within (hole, i].
    bool homeAfterHole = hole <= i ? (home > hole && home <= i) : (home > hole || home <= i);
    if (!homeAfterHole) {
      slots[hole] = slots[i];
      slots[i] = -1;
      hole = i;
    }
  }
  // Keep the entries dense: the last one takes the removed one's place.
  long last = static_cast<long>(entries.size() - 1);
  if (index != last) {
    slots[slotOf(last)] = index;
    entries[static_cast<size_t>(index)] = entries.back();
  }
  entries.pop_back();
  return removed;
}

bool __CFDictionary::equal(const Object& other) const {
  const auto& that = static_cast<const __CFDictionary&>(other);
  if (entries.size() != that.entries.size()) return false;
  for (const Entry& entry : entries) {
    long index = that.find(entry.key);
    if (index < 0 || !sameValue(entry.value, that.entries[static_cast<size_t>(index)].value)) return false;
  }
  return true;
}

void __CFDictionary::appendDescription(int level, std::u16string* out) const {
  // Entries are listed in ascending order of their keys when every key is a string.
  std::vector<const Entry*> ordered;
  ordered.reserve(entries.size());
  bool allStrings = keyCallbacks.copyDescription == &CFCopyDescription;
  for (const Entry& entry : entries) {
    ordered.push_back(&entry);
    if (allStrings && (!entry.key || CFGetTypeID(entry.key) != CFStringGetTypeID())) allStrings = false;
  }
  if (allStrings) {
    std::sort(ordered.begin(), ordered.end(), [](const Entry* a, const Entry* b) {
      return zrp::CompareUnits(static_cast<CFStringRef>(a->key)->text, static_cast<CFStringRef>(b->key)->text) < 0;
    });
  }
  zrp::AppendIndent(level, out);
  out->append(u"{\n");
  for (const Entry* entry : ordered) {
    zrp::AppendIndent(level + 1, out);
    zrp::AppendElementDescription(entry->key, keyCallbacks.copyDescription, level + 1, out);
    out->append(u" = ");
    zrp::AppendElementDescription(entry->value, valueCallbacks.copyDescription, level + 1, out);
    out->append(u";\n");
  }
  zrp::AppendIndent(level, out);
  out->push_back(u'}');
}

namespace {

constexpr CFIndex kLargestReservedCapacity = 1 << 16;

__CFDictionary* Mutable(CFMutableDictionaryRef dict, const char* function) {
  if (!dict) return nullptr;
  if (!dict->mutable_) {
    std::fprintf(stderr, "%s: attempt to mutate immutable dictionary %p\n", function, static_cast<const void*>(dict));
    return nullptr;
  }
  return dict;
}

__CFDictionary* MakeDictionary(CFAllocatorRef allocator, const CFDictionaryKeyCallBacks* keyCallBacks,
                               const CFDictionaryValueCallBacks* valueCallBacks, bool isMutable, CFIndex capacity) {
  __CFDictionary* dict = zrp::New<__CFDictionary>(allocator, keyCallBacks, valueCallBacks, isMutable);
  if (capacity <= 0) return dict;
  return zrp::Finished(dict, [&](__CFDictionary* made) {
    made->entries.reserve(static_cast<size_t>(std::min(capacity, kLargestReservedCapacity)));
  });
}

// Stores a value under a key: a new key is added; an existing key keeps its key object and
// has its value replaced when replace is true.
void Store(__CFDictionary* dict, const void* key, const void* value, bool add, bool replace) {
  long index = dict->find(key);
  if (index < 0) {
    if (add) dict->insert(key, value);
    return;
  }
  if (!replace) return;
  __CFDictionary::Entry& entry = dict->entries[static_cast<size_t>(index)];
  // Retained before the old value goes, in case they are the same object.
  const void* retained = dict->retainValue(value);
  const void* old = entry.value;
  entry.value = retained;
  dict->releaseValue(old);
}

void CopyEntries(__CFDictionary* to, CFDictionaryRef from) {
  for (const __CFDictionary::Entry& entry : from->entries) to->insert(entry.key, entry.value);
}

}  // namespace

extern "C" {

CFTypeID CFDictionaryGetTypeID(void) { return zrp::kTypeIDDictionary; }

CFDictionaryRef CFDictionaryCreate(CFAllocatorRef allocator, const void** keys, const void** values, CFIndex numValues,
                                   const CFDictionaryKeyCallBacks* keyCallBacks,
                                   const CFDictionaryValueCallBacks* valueCallBacks) {
  return zrp::CatchOutOfMemory<CFDictionaryRef>(nullptr, [&]() -> CFDictionaryRef {
    if (numValues < 0 || (numValues > 0 && (!keys || !values))) return nullptr;
    // A key given twice keeps the later value, as if each pair had been set in turn.
    return zrp::Finished(MakeDictionary(allocator, keyCallBacks, valueCallBacks, false, numValues),
                         [&](__CFDictionary* dict) {
                           for (CFIndex i = 0; i < numValues; ++i) Store(dict, keys[i], values[i], true, true);
                         });
  });
}

CFDictionaryRef CFDictionaryCreateCopy(CFAllocatorRef allocator, CFDictionaryRef theDict) {
  return zrp::CatchOutOfMemory<CFDictionaryRef>(nullptr, [&]() -> CFDictionaryRef {
    if (!theDict) return nullptr;
    // An immutable dictionary is its own copy, as on the platform.
    if (!theDict->mutable_) {
      if (!zrp::AllocationAllowed()) return nullptr;
      return static_cast<CFDictionaryRef>(CFRetain(theDict));
    }
    return zrp::Finished(MakeDictionary(allocator, &theDict->keyCallbacks, &theDict->valueCallbacks, false,
                                        static_cast<CFIndex>(theDict->entries.size())),
                         [&](__CFDictionary* dict) { CopyEntries(dict, theDict); });
  });
}

CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef allocator, CFIndex capacity,
                                                 const CFDictionaryKeyCallBacks* keyCallBacks,
                                                 const CFDictionaryValueCallBacks* valueCallBacks) {
  return zrp::CatchOutOfMemory<CFMutableDictionaryRef>(nullptr, [&]() -> CFMutableDictionaryRef {
    return MakeDictionary(allocator, keyCallBacks, valueCallBacks, true, capacity);
  });
}

CFMutableDictionaryRef CFDictionaryCreateMutableCopy(CFAllocatorRef allocator, CFIndex capacity,
                                                     CFDictionaryRef theDict) {
  return zrp::CatchOutOfMemory<CFMutableDictionaryRef>(nullptr, [&]() -> CFMutableDictionaryRef {
    if (!theDict) return nullptr;
    return zrp::Finished(MakeDictionary(allocator, &theDict->keyCallbacks, &theDict->valueCallbacks, true,
                                        std::max(capacity, static_cast<CFIndex>(theDict->entries.size()))),
                         [&](__CFDictionary* dict) { CopyEntries(dict, theDict); });
  });
}

CFIndex CFDictionaryGetCount(CFDictionaryRef theDict) { return static_cast<CFIndex>(theDict->entries.size()); }

const void* CFDictionaryGetValue(CFDictionaryRef theDict, const void* key) {
  long index = theDict->find(key);
  return index < 0 ? nullptr : theDict->entries[static_cast<size_t>(index)].value;
}

Boolean CFDictionaryGetValueIfPresent(CFDictionaryRef theDict, const void* key, const void** value) {
  long index = theDict->find(key);
  if (index < 0) return false;
  if (value) *value = theDict->entries[static_cast<size_t>(index)].value;
  return true;
}

Boolean CFDictionaryContainsKey(CFDictionaryRef theDict, const void* key) { return theDict->find(key) >= 0; }

Boolean CFDictionaryContainsValue(CFDictionaryRef theDict, const void* value) {
  for (const __CFDictionary::Entry& entry : theDict->entries)
    if (theDict->sameValue(entry.value, value)) return true;
  return false;
}

void CFDictionaryGetKeysAndValues(CFDictionaryRef theDict, const void** keys, const void** values) {
  size_t i = 0;
  for (const __CFDictionary::Entry& entry : theDict->entries) {
    if (keys) keys[i] = entry.key;
    if (values) values[i] = entry.value;
    ++i;
  }
}

void CFDictionaryApplyFunction(CFDictionaryRef theDict, CFDictionaryApplierFunction applier, void* context) {
  for (const __CFDictionary::Entry& entry : theDict->entries) applier(entry.key, entry.value, context);
}

void CFDictionaryAddValue(CFMutableDictionaryRef theDict, const void* key, const void* value) {
  zrp::CatchOutOfMemory([&] {
    __CFDictionary* dict = Mutable(theDict, "CFDictionaryAddValue");
    if (dict) Store(dict, key, value, true, false);
  });
}

void CFDictionarySetValue(CFMutableDictionaryRef theDict, const void* key, const void* value) {
  zrp::CatchOutOfMemory([&] {
    __CFDictionary* dict = Mutable(theDict, "CFDictionarySetValue");
    if (dict) Store(dict, key, value, true, true);
  });
}

void CFDictionaryReplaceValue(CFMutableDictionaryRef theDict, const void* key, const void* value) {
  zrp::CatchOutOfMemory([&] {
    __CFDictionary* dict = Mutable(theDict, "CFDictionaryReplaceValue");
    if (dict) Store(dict, key, value, false, true);
  });
}

void CFDictionaryRemoveValue(CFMutableDictionaryRef theDict, const void* key) {
  __CFDictionary* dict = Mutable(theDict, "CFDictionaryRemoveValue");
  if (!dict) return;
  long index = dict->find(key);
  if (index < 0) return;
  __CFDictionary::Entry removed = dict->remove(index);
  dict->releaseKey(removed.key);
  dict->releaseValue(removed.value);
}

void CFDictionaryRemoveAllValues(CFMutableDictionaryRef theDict) {
  __CFDictionary* dict = Mutable(theDict, "CFDictionaryRemoveAllValues");
  if (!dict) return;
  // Emptied first: a release callback may look at the dictionary.
  std::vector<__CFDictionary::Entry> old;
  old.swap(dict->entries);
  dict->slots.clear();
  for (const __CFDictionary::Entry& entry : old) {
    dict->releaseKey(entry.key);
    dict->releaseValue(entry.value);
  }
}

}  // extern "C"
