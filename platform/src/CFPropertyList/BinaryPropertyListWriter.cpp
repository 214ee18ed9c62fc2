// BinaryPropertyListWriter.cpp: writes the binary form of property lists ("bplist00") as the
// platform does.
//
// The objects are numbered depth first from the top object (number 0): a container before its
// contents, a dictionary's keys (in ascending order) before its values. Strings, numbers,
// Booleans, dates and data that encode to the same bytes are written once and shared, as the
// platform's writer shares them; a container met twice (the same object) is written once too.
// Integers take the fewest bytes of 1, 2, 4 or 8 that hold them (negative ones always 8, values
// above INT64_MAX 16); strings of ASCII characters are written as ASCII, others as UTF-16BE;
// object references and offsets take the fewest bytes that hold the largest of them. A
// dictionary of the single key "CF$UID" with an integer value that fits in 32 bits is a keyed
// archive's object reference: it is written as one (marker 0x8).
#include <algorithm>
#include <cstring>
#include <string>
#include <unordered_map>
#include <vector>

#include "CFNumber/NumberImpl.h"
#include "CFPropertyList/PropertyListImpl.h"
#include "CFString/StringImpl.h"

namespace zrp {
namespace {

// The fewest bytes (1, 2, 4 or 8) that hold value.
unsigned ByteCount(uint64_t value) {
  if (value <= 0xFF) return 1;
  if (value <= 0xFFFF) return 2;
  if (value <= 0xFFFFFFFFu) return 4;
  return 8;
}

void AppendBigEndian(uint64_t value, unsigned size, std::string* out) {
  for (unsigned i = size; i-- > 0;) out->push_back(static_cast<char>(value >> (8 * i)));
}

// The marker of a counted object and its count: in the low nibble below 15, else after the
// marker as an integer object.
void AppendMarkerAndCount(uint8_t kind, uint64_t count, std::string* out) {
  if (count < 15) {
    out->push_back(static_cast<char>(kind | count));
    return;
  }
  out->push_back(static_cast<char>(kind | 0x0F));
  unsigned size = ByteCount(count);
  out->push_back(static_cast<char>(0x10 | (size == 1 ? 0 : size == 2 ? 1 : size == 4 ? 2 : 3)));
  AppendBigEndian(count, size, out);
}

void AppendInteger(int64_t value, std::string* out) {
  unsigned size = value < 0 ? 8 : ByteCount(static_cast<uint64_t>(value));
  out->push_back(static_cast<char>(0x10 | (size == 1 ? 0 : size == 2 ? 1 : size == 4 ? 2 : 3)));
  AppendBigEndian(static_cast<uint64_t>(value), size, out);
}

// The value of a keyed archive's object reference held as {"CF$UID": n}, or -1.
int64_t ArchiverUID(CFDictionaryRef dictionary) {
  if (CFDictionaryGetCount(dictionary) != 1) return -1;
  CFTypeRef value = CFDictionaryGetValue(dictionary, CFSTR("CF$UID"));
  if (!value || CFGetTypeID(value) != CFNumberGetTypeID() || CFNumberIsFloatType(static_cast<CFNumberRef>(value)))
    return -1;
  int64_t uid = 0;
  if (!CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberSInt64Type, &uid) || uid < 0 || uid > 0xFFFFFFFFll)
    return -1;
  return uid;
}

class BinaryWriter {
 public:
  // Numbers the objects and encodes every leaf; false when plist holds anything a property
  // list cannot, refers to its own ancestor or nests too deep.
  bool flatten(CFTypeRef object, int depth, uint64_t* index) {
    if (!object) return false;
    CFTypeID type = CFGetTypeID(object);
    bool isArray = type == CFArrayGetTypeID();
    bool isDictionary = type == CFDictionaryGetTypeID();
    if (isDictionary) {
      int64_t uid = ArchiverUID(static_cast<CFDictionaryRef>(object));
      if (uid >= 0) {
        std::string bytes;
        unsigned size = ByteCount(static_cast<uint64_t>(uid));
        bytes.push_back(static_cast<char>(0x80 | (size - 1)));
        AppendBigEndian(static_cast<uint64_t>(uid), size, &bytes);
        *index = leaf(std::move(bytes));
        return true;
      }
    }
    if (!isArray && !isDictionary) {
      std::string bytes;
      if (!encodeLeaf(object, type, &bytes)) return false;
      *index = leaf(std::move(bytes));
      return true;
    }
    auto known = containers_.find(object);
    if (known != containers_.end()) {
      if (known->second.inProgress) return false;
      *index = known->second.index;
      return true;
    }
    if (depth >= kMaxPropertyListDepth) return false;
    *index = objects_.size();
    objects_.emplace_back();
    containers_[object] = {*index, true};
    std::vector<uint64_t> references;
    bool ok = isArray ? flattenArray(static_cast<CFArrayRef>(object), depth, &references)
                      : flattenDictionary(static_cast<CFDictionaryRef>(object), depth, &references);
    if (!ok) return false;
    containers_[object].inProgress = false;
    // The references are filled in once the count of objects, and so their size, is known.
    Object& entry = objects_[*index];
    entry.isArray = isArray;
    entry.references = std::move(references);
    return true;
  }

  void write(std::string* out) {
    uint64_t count = objects_.size();
    unsigned referenceSize = ByteCount(count);
    std::vector<uint64_t> offsets;
    offsets.reserve(objects_.size());
    size_t start = out->size();
    *out += "bplist00";
    for (const Object& object : objects_) {
      offsets.push_back(out->size() - start);
      if (!object.bytes.empty()) {
        *out += object.bytes;
        continue;
      }
      uint64_t items = object.isArray ? object.references.size() : object.references.size() / 2;
      AppendMarkerAndCount(object.isArray ? 0xA0 : 0xD0, items, out);
      for (uint64_t reference : object.references) AppendBigEndian(reference, referenceSize, out);
    }
    uint64_t tableOffset = out->size() - start;
    unsigned offsetSize = ByteCount(tableOffset);
    for (uint64_t offset : offsets) AppendBigEndian(offset, offsetSize, out);
    out->append(6, '\0');
    out->push_back(static_cast<char>(offsetSize));
    out->push_back(static_cast<char>(referenceSize));
    AppendBigEndian(count, 8, out);
    AppendBigEndian(0, 8, out);
    AppendBigEndian(tableOffset, 8, out);
  }

 private:
  struct Object {
    std::string bytes;  // a leaf's encoding; empty for a container
    bool isArray = false;
    std::vector<uint64_t> references;  // a dictionary's keys, then its values
  };
  struct Container {
    uint64_t index;
    bool inProgress;
  };

  uint64_t leaf(std::string bytes) {
    auto [it, inserted] = leaves_.try_emplace(bytes, objects_.size());
    if (inserted) {
      objects_.emplace_back();
      objects_.back().bytes = std::move(bytes);
    }
    return it->second;
  }

  static bool encodeLeaf(CFTypeRef object, CFTypeID type, std::string* out) {
    if (type == CFStringGetTypeID()) {
      // ASCII text one byte a character, any other as big-endian UTF-16, whichever form the
      // string keeps its text in.
      static_cast<CFStringRef>(object)->text.visit([out](auto chars) {
        bool ascii = std::all_of(chars.begin(), chars.end(), [](auto c) { return c < 0x80; });
        AppendMarkerAndCount(ascii ? 0x50 : 0x60, chars.size(), out);
        if (ascii) {
          for (auto c : chars) out->push_back(static_cast<char>(c));
        } else {
          for (auto c : chars) AppendBigEndian(static_cast<char16_t>(c), 2, out);
        }
      });
    } else if (type == CFBooleanGetTypeID()) {
      out->push_back(CFBooleanGetValue(static_cast<CFBooleanRef>(object)) ? '\x09' : '\x08');
    } else if (type == CFNumberGetTypeID()) {
      auto number = static_cast<CFNumberRef>(object);
      uint64_t unsignedValue;
      if (CFNumberGetType(number) == kCFNumberFloat32Type) {
        float value = 0;
        CFNumberGetValue(number, kCFNumberFloat32Type, &value);
        uint32_t bits;
        std::memcpy(&bits, &value, sizeof bits);
        out->push_back('\x22');
        AppendBigEndian(bits, 4, out);
      } else if (CFNumberIsFloatType(number)) {
        double value = 0;
        CFNumberGetValue(number, kCFNumberFloat64Type, &value);
        uint64_t bits;
        std::memcpy(&bits, &value, sizeof bits);
        out->push_back('\x23');
        AppendBigEndian(bits, 8, out);
      } else if (NumberGetUnsigned64(number, &unsignedValue)) {
        // Above INT64_MAX: a 16-byte integer whose upper half is zero.
        out->push_back('\x14');
        AppendBigEndian(0, 8, out);
        AppendBigEndian(unsignedValue, 8, out);
      } else {
        int64_t value = 0;
        CFNumberGetValue(number, kCFNumberSInt64Type, &value);
        AppendInteger(value, out);
      }
    } else if (type == CFDateGetTypeID()) {
      double at = CFDateGetAbsoluteTime(static_cast<CFDateRef>(object));
      uint64_t bits;
      std::memcpy(&bits, &at, sizeof bits);
      out->push_back('\x33');
      AppendBigEndian(bits, 8, out);
    } else if (type == CFDataGetTypeID()) {
      auto data = static_cast<CFDataRef>(object);
      auto length = static_cast<size_t>(CFDataGetLength(data));
      AppendMarkerAndCount(0x40, length, out);
      out->append(reinterpret_cast<const char*>(CFDataGetBytePtr(data)), length);
    } else {
      return false;
    }
    return true;
  }

  bool flattenArray(CFArrayRef array, int depth, std::vector<uint64_t>* references) {
    CFIndex count = CFArrayGetCount(array);
    references->reserve(static_cast<size_t>(count));
    for (CFIndex i = 0; i < count; ++i) {
      uint64_t index;
      if (!flatten(CFArrayGetValueAtIndex(array, i), depth + 1, &index)) return false;
      references->push_back(index);
    }
    return true;
  }

  bool flattenDictionary(CFDictionaryRef dictionary, int depth, std::vector<uint64_t>* references) {
    auto count = static_cast<size_t>(CFDictionaryGetCount(dictionary));
    std::vector<const void*> keys(count);
    std::vector<const void*> values(count);
    CFDictionaryGetKeysAndValues(dictionary, keys.data(), values.data());
    std::vector<size_t> order(count);
    for (size_t i = 0; i < count; ++i) {
      order[i] = i;
      if (!keys[i] || CFGetTypeID(keys[i]) != CFStringGetTypeID()) return false;
    }
    std::sort(order.begin(), order.end(), [&keys](size_t a, size_t b) {
      return CompareUnits(static_cast<CFStringRef>(keys[a])->text, static_cast<CFStringRef>(keys[b])->text) < 0;
    });
    references->resize(2 * count);
    for (size_t i = 0; i < count; ++i)
      if (!flatten(keys[order[i]], depth + 1, &(*references)[i])) return false;
    for (size_t i = 0; i < count; ++i)
      if (!flatten(values[order[i]], depth + 1, &(*references)[count + i])) return false;
    return true;
  }

  std::vector<Object> objects_;
  std::unordered_map<std::string, uint64_t> leaves_;
  std::unordered_map<CFTypeRef, Container> containers_;
};

}  // namespace

bool WriteBinaryPropertyList(CFPropertyListRef plist, std::string* out) {
  BinaryWriter writer;
  uint64_t top;
  if (!writer.flatten(plist, 0, &top)) return false;
  writer.write(out);
  return true;
}

}  // namespace zrp
