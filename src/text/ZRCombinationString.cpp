// ZRCombinationString.cpp: the combination summary of a list of strings: each distinct string
// with how often it occurs, "apple (1 of 3), Pear (2 of 3)".
#include <ZRFramework/ZRFramework.h>

#include <algorithm>
#include <cstddef>
#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "diagnostics/Frame.h"

namespace {

// Groups are ordered the way people read lists: case-insensitively, in the user's language,
// and "Item 9" before "Item 10".
constexpr CFStringCompareFlags kOrderOptions = kCFCompareCaseInsensitive | kCFCompareLocalized | kCFCompareNumerically;

// One group of the table: a two-element CF array holding the string and its count as a
// CFIndex number. The string and the count are also kept at hand, for the comparisons and so
// that counting does not have to read the number back; later occurrences wait in pending
// until they are counted.
struct Group {
  CFMutableArrayRef array;
  CFStringRef name;
  CFIndex count;
  CFIndex pending;
};

CFMutableArrayRef CreateGroup(CFStringRef name) {
  CFIndex one = 1;
  CFNumberRef countRef = CFNumberCreate(NULL, kCFNumberCFIndexType, &one);
  if (!countRef) return NULL;
  CFMutableArrayRef array = CFArrayCreateMutable(NULL, 2, &kCFTypeArrayCallBacks);
  if (array) {
    CFArrayAppendValue(array, name);
    CFArrayAppendValue(array, countRef);
  }
  CFRelease(countRef);
  return array;
}

// Counts one more occurrence by replacing the group's number; when the new number cannot be
// made the occurrence is lost.
void CountOccurrence(Group* group) {
  CFIndex count = group->count + 1;
  CFNumberRef countRef = CFNumberCreate(NULL, kCFNumberCFIndexType, &count);
  if (!countRef) return;
  CFArraySetValueAtIndex(group->array, 1, countRef);
  CFRelease(countRef);
  group->count = count;
}

// The UTF-16 units of a string: its own storage when the string lends it, else a copy.
std::u16string_view UnitsOf(CFStringRef string, std::u16string* copy) {
  CFIndex length = CFStringGetLength(string);
  if (const UniChar* units = CFStringGetCharactersPtr(string)) {
    return std::u16string_view(reinterpret_cast<const char16_t*>(units), static_cast<size_t>(length));
  }
  copy->resize(static_cast<size_t>(length));
  CFStringGetCharacters(string, CFRangeMake(0, length), reinterpret_cast<UniChar*>(copy->data()));
  return *copy;
}

// Finds the group of a string by its content. Strings are the same distinct string when an
// exact comparison (options 0) finds them equal; that comparison is literal, unit by unit, so
// equal content is exactly that equality, and hashing the content finds a group in constant
// time instead of scanning the groups one by one. Open addressing over a power-of-two table
// keeps each lookup to about one slot and the group's own characters.
class GroupIndex {
 public:
  static constexpr size_t kNone = static_cast<size_t>(-1);

  GroupIndex() : slots_(16) {}

  // The number of the group with these units, or kNone.
  size_t find(std::u16string_view units, size_t hash) const {
    for (size_t at = hash & (slots_.size() - 1);; at = (at + 1) & (slots_.size() - 1)) {
      const Slot& slot = slots_[at];
      if (slot.group == kNone) return kNone;
      if (slot.hash == hash && slot.units == units) return slot.group;
    }
  }

  // Records a new group under its units, which must stay valid as long as the index is used.
  void add(std::u16string_view units, size_t hash, size_t group) {
    if (2 * (count_ + 1) > slots_.size()) grow();
    place(Slot{hash, units, group});
    ++count_;
  }

 private:
  struct Slot {
    size_t hash = 0;
    std::u16string_view units;
    size_t group = kNone;
  };

  void place(const Slot& entry) {
    size_t at = entry.hash & (slots_.size() - 1);
    while (slots_[at].group != kNone) at = (at + 1) & (slots_.size() - 1);
    slots_[at] = entry;
  }

  void grow() {
    std::vector<Slot> old(2 * slots_.size());
    old.swap(slots_);
    for (const Slot& slot : old) {
      if (slot.group != kNone) place(slot);
    }
  }

  std::vector<Slot> slots_;
  size_t count_ = 0;
};

}  // namespace

extern "C" {

OSStatus ZRCopyCombinationStringRefOfStringArrayRef(CFArrayRef inStringArrayRef, Boolean inMultiline,
                                                    CFStringRef* outStringRef, Boolean inLog) try {
  CFMutableArrayRef tableRef = NULL;
  CFMutableStringRef resultStringRef = NULL;
  CFStringRef totalStringRef = NULL;
  CFStringRef ratioFormatRef = NULL;
  // Groups in the order they were made; each holds one reference until the end.
  std::vector<Group> groups;
  // Copies of the characters of strings that do not lend their own.
  std::deque<std::u16string> ownedUnits;
  // The ratio text of each count already met: many groups share a count, and a count always
  // reads the same within one call. Only texts that could be made are kept, so a count whose
  // text failed is tried again for the next group that has it.
  std::unordered_map<CFIndex, CFStringRef> ratios;
  ZR_CLEANUP {
    for (Group& group : groups) CFRelease(group.array);
    for (auto& entry : ratios)
      if (entry.second) CFRelease(entry.second);
    ZRDestroyMutableArrayRef(&tableRef);
    ZRDestroyMutableStringRef(&resultStringRef);
    ZRDestroyStringRef(&ratioFormatRef);
    ZRDestroyStringRef(&totalStringRef);
  };

  if (!inStringArrayRef || !outStringRef || *outStringRef) {
    ZR_LOG_ERROR(inLog, CFSTR("inStringArrayRef: %p, outStringRef: %p"), inStringArrayRef, outStringRef);
    return paramErr;
  }

  tableRef = CFArrayCreateMutable(NULL, 0, &kCFTypeArrayCallBacks);
  if (!tableRef) {
    ZR_LOG_ERROR(inLog, CFSTR("CFArrayCreateMutable returns NULL"));
    return unknownErr;
  }

  // An occurrence whose group or count cannot be made is dropped (it still counts in the
  // total below); an element that is not a string is dropped the same way, having no text to
  // be counted under.
  CFIndex total = CFArrayGetCount(inStringArrayRef);
  GroupIndex groupIndex;
  std::hash<std::u16string_view> hashUnits;
  std::u16string scratch;
  for (CFIndex position = 0; position < total; ++position) {
    CFStringRef string = static_cast<CFStringRef>(CFArrayGetValueAtIndex(inStringArrayRef, position));
    if (!string || CFGetTypeID(string) != CFStringGetTypeID()) continue;
    std::u16string_view units = UnitsOf(string, &scratch);
    size_t hash = hashUnits(units);
    size_t found = groupIndex.find(units, hash);
    if (found != GroupIndex::kNone) {
      ++groups[found].pending;
      continue;
    }
    // Room first, so that the group, once made, is always held.
    if (groups.size() == groups.capacity()) groups.reserve(std::max<size_t>(8, 2 * groups.capacity()));
    CFMutableArrayRef array = CreateGroup(string);
    if (!array) continue;
    groups.push_back(Group{array, string, 1, 0});
    // The index looks at the group's own string, which its array keeps alive.
    if (units.data() == scratch.data()) units = ownedUnits.emplace_back(scratch);
    groupIndex.add(units, hash, groups.size() - 1);
  }

  // Every later occurrence of a string is counted as the string's group would count it when
  // met: a new number one greater replaces the old, and a number that cannot be made loses
  // that one occurrence. Doing it group by group once the scan is over gives the same counts
  // while each group's array stays at hand, instead of jumping between a million places.
  for (Group& group : groups) {
    for (CFIndex occurrence = 0; occurrence < group.pending; ++occurrence) CountOccurrence(&group);
  }

  // Each new group belongs before the first group that compares greater than it, so a group
  // goes after every earlier group that ranks equal (b before a later B). Sorting the groups
  // stably, in the order they were made, gives exactly that table without moving the groups
  // once per insertion.
  std::stable_sort(groups.begin(), groups.end(), [](const Group& group1, const Group& group2) {
    return CFStringCompare(group1.name, group2.name, kOrderOptions) == kCFCompareLessThan;
  });
  for (const Group& group : groups) CFArrayAppendValue(tableRef, group.array);

  resultStringRef = CFStringCreateMutable(NULL, 0);
  if (!resultStringRef) {
    ZR_LOG_ERROR(inLog, CFSTR("CFStringCreateMutable returns NULL"));
    return unknownErr;
  }

  OSStatus status = ZRCopyLocalizedNumberStringRef(&total, kCFNumberCFIndexType, 0, &totalStringRef, inLog);
  if (status != noErr) {
    ZR_LOG_ERROR(inLog, CFSTR("ZRCopyLocalizedNumberStringRef returns %@"), ZRCarbonErrorString(status));
    return status;
  }

  // The application's own localization may translate the ratio ("%@ von %@").
  ratioFormatRef = CFBundleCopyLocalizedString(CFBundleGetMainBundle(), CFSTR("%@ of %@"), CFSTR("%@ of %@"), NULL);
  if (!ratioFormatRef) {
    ZR_LOG_ERROR(inLog, CFSTR("CLOC returns NULL"));
    return unknownErr;
  }

  CFIndex groupCount = CFArrayGetCount(tableRef);
  for (CFIndex index = 0; index < groupCount; ++index) {
    CFArrayRef group = static_cast<CFArrayRef>(CFArrayGetValueAtIndex(tableRef, index));
    CFStringRef name = static_cast<CFStringRef>(CFArrayGetValueAtIndex(group, 0));
    CFIndex count = 0;
    if (!CFNumberGetValue(static_cast<CFNumberRef>(CFArrayGetValueAtIndex(group, 1)), kCFNumberCFIndexType, &count)) {
      continue;
    }

    bool isFirst = CFStringGetLength(resultStringRef) == 0;
    // Every entry was the same string: the string alone says it all.
    if (isFirst && count == total && groupCount == 1) {
      CFStringAppend(resultStringRef, name);
      continue;
    }

    CFStringRef ratioRef = NULL;
    auto known = ratios.find(count);
    if (known != ratios.end()) {
      ratioRef = known->second;
    } else {
      // The entry first, so that the texts, once made, are always let go: making room for it
      // can fail with nothing of this group's yet to release.
      auto entry = ratios.emplace(count, nullptr).first;
      // A count or ratio that cannot be made leaves the group out; the lower function has
      // written its own line.
      CFStringRef countStringRef = NULL;
      if (ZRCopyLocalizedNumberStringRef(&count, kCFNumberCFIndexType, 0, &countStringRef, inLog) != noErr) {
        ratios.erase(entry);
        continue;
      }
      ratioRef = CFStringCreateWithFormat(NULL, NULL, ratioFormatRef, countStringRef, totalStringRef);
      ZRDestroyStringRef(&countStringRef);
      if (!ratioRef) {
        ratios.erase(entry);
        continue;
      }
      entry->second = ratioRef;
    }

    if (isFirst) {
      CFStringAppendFormat(resultStringRef, NULL, CFSTR("%@ (%@)"), name, ratioRef);
    } else if (inMultiline) {
      CFStringAppendFormat(resultStringRef, NULL, CFSTR(",\n%@ (%@)"), name, ratioRef);
    } else {
      CFStringAppendFormat(resultStringRef, NULL, CFSTR(", %@ (%@)"), name, ratioRef);
    }
  }

  *outStringRef = CFStringCreateCopy(NULL, resultStringRef);
  if (!*outStringRef) {
    ZR_LOG_ERROR(inLog, CFSTR("CFStringCreateCopy returns NULL"));
    return unknownErr;
  }

  return noErr;
}
ZR_CATCH_OUT_OF_MEMORY(inLog, unknownErr)

}  // extern "C"
