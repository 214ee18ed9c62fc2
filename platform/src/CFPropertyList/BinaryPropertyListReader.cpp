// BinaryPropertyListReader.cpp: reads the binary form of property lists ("bplist00").
//
// Layout: the 8-byte header, the objects, a table of object offsets, and a 32-byte trailer
// (6 unused bytes, the size of an offset, the size of an object reference, then the object
// count, the top object's number and the offset table's position as big-endian 64-bit
// integers). Each object starts with a marker byte whose high nibble tells its kind and whose
// low nibble its size or count (0xF: the count follows as an integer object).
//
// Every offset, count and reference is checked against the buffer before use; a container
// that refers to one of its own ancestors is refused; and the work done is bounded by the
// input's size, so that objects shared many times over cannot blow up into an exponential
// number of copies when mutable containers are asked for.
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "CFPropertyList/PropertyListImpl.h"
#include "CFString/StringImpl.h"

namespace zrp {
namespace {

constexpr size_t kHeaderSize = 8;
constexpr size_t kTrailerSize = 32;

uint64_t ReadBigEndian(const uint8_t* bytes, size_t size) {
  uint64_t value = 0;
  for (size_t i = 0; i < size; ++i) value = (value << 8) | bytes[i];
  return value;
}

class BinaryReader {
 public:
  BinaryReader(const uint8_t* bytes, size_t length, const PropertyListBuilder& builder)
      : bytes_(bytes), length_(length), builder_(builder) {}

  ~BinaryReader() {
    for (CFTypeRef object : cache_)
      if (object) CFRelease(object);
  }

  BinaryReader(const BinaryReader&) = delete;
  BinaryReader& operator=(const BinaryReader&) = delete;

  CFTypeRef read() {
    if (length_ < kHeaderSize + 1 + kTrailerSize || std::memcmp(bytes_, "bplist00", kHeaderSize) != 0) return nullptr;
    const uint8_t* trailer = bytes_ + length_ - kTrailerSize;
    offsetSize_ = trailer[6];
    referenceSize_ = trailer[7];
    objectCount_ = ReadBigEndian(trailer + 8, 8);
    uint64_t top = ReadBigEndian(trailer + 16, 8);
    tableOffset_ = ReadBigEndian(trailer + 24, 8);
    objectsEnd_ = length_ - kTrailerSize;
    if (offsetSize_ < 1 || offsetSize_ > 8 || referenceSize_ < 1 || referenceSize_ > 8) return nullptr;
    if (objectCount_ < 1 || top >= objectCount_) return nullptr;
    if (tableOffset_ < kHeaderSize + 1 || tableOffset_ > objectsEnd_) return nullptr;
    if (objectCount_ > (objectsEnd_ - tableOffset_) / offsetSize_) return nullptr;
    // Each object made or reference followed costs one unit; a list whose objects are not
    // shared between containers needs fewer units than it has bytes.
    budget_ = 4 * static_cast<uint64_t>(length_) + 64;
    state_.assign(static_cast<size_t>(objectCount_), kUnvisited);
    cache_.assign(static_cast<size_t>(objectCount_), nullptr);
    return object(top, 0);
  }

 private:
  enum : uint8_t { kUnvisited, kInProgress };

  bool spend() {
    if (budget_ == 0) return false;
    --budget_;
    return true;
  }

  // The position of object number index, which must lie among the objects.
  bool offsetOf(uint64_t index, size_t* offset) const {
    uint64_t value = ReadBigEndian(bytes_ + tableOffset_ + index * offsetSize_, offsetSize_);
    if (value < kHeaderSize || value >= tableOffset_) return false;
    *offset = static_cast<size_t>(value);
    return true;
  }

  // Takes size bytes at *position, which must stay inside the object area.
  bool take(size_t* position, uint64_t size, const uint8_t** start) const {
    if (*position > objectsEnd_ || size > objectsEnd_ - *position) return false;
    *start = bytes_ + *position;
    *position += static_cast<size_t>(size);
    return true;
  }

  // The count of a data, string or container object: the marker's low nibble, or an integer
  // object of 1, 2, 4 or 8 bytes after the marker when that nibble is 0xF.
  bool count(uint8_t marker, size_t* position, uint64_t* result) const {
    if ((marker & 0x0F) != 0x0F) {
      *result = marker & 0x0F;
      return true;
    }
    const uint8_t* p;
    if (!take(position, 1, &p) || (*p & 0xF0) != 0x10 || (*p & 0x0F) > 3) return false;
    size_t size = size_t{1} << (*p & 0x0F);
    if (!take(position, size, &p)) return false;
    *result = ReadBigEndian(p, size);
    // No count can exceed the bytes there are; this also rules out negative 8-byte counts.
    return *result <= length_;
  }

  bool reference(size_t* position, uint64_t* index) const {
    const uint8_t* p;
    if (!take(position, referenceSize_, &p)) return false;
    *index = ReadBigEndian(p, referenceSize_);
    return *index < objectCount_;
  }

  CFTypeRef object(uint64_t index, int depth) {
    if (depth > kMaxPropertyListDepth || !spend()) return nullptr;
    auto slot = static_cast<size_t>(index);
    if (cache_[slot]) return CFRetain(cache_[slot]);
    // Reached again while still being read: the list refers to its own ancestor.
    if (state_[slot] == kInProgress) return nullptr;
    size_t position;
    if (!offsetOf(index, &position)) return nullptr;
    state_[slot] = kInProgress;
    bool isContainer = false;
    CFTypeRef result = parse(position, depth, &isContainer);
    state_[slot] = kUnvisited;
    // Shared objects are made once, except where each use must be a distinct mutable object.
    bool shareable = isContainer ? !builder_.mutableContainers() : !builder_.mutableLeaves();
    if (result && shareable) cache_[slot] = CFRetain(result);
    return result;
  }

  CFTypeRef parse(size_t position, int depth, bool* isContainer) {
    const uint8_t* p;
    if (!take(&position, 1, &p)) return nullptr;
    uint8_t marker = *p;
    uint8_t low = marker & 0x0F;
    switch (marker >> 4) {
      case 0x0:
        if (marker == 0x08) return CFRetain(kCFBooleanFalse);
        if (marker == 0x09) return CFRetain(kCFBooleanTrue);
        return nullptr;
      case 0x1: {
        if (low > 4) return nullptr;
        size_t size = size_t{1} << low;
        if (!take(&position, size, &p)) return nullptr;
        if (size == 16) {
          // 128-bit integers: the platform writes unsigned 64-bit values this way, with
          // the high half zero; a negative value in this form sign-extends an 8-byte one.
          uint64_t high = ReadBigEndian(p, 8);
          uint64_t value = ReadBigEndian(p + 8, 8);
          if (high == 0) return builder_.unsignedInteger(value);
          if (high == ~uint64_t{0} && (value >> 63) != 0) return builder_.integer(static_cast<int64_t>(value));
          return nullptr;
        }
        uint64_t value = ReadBigEndian(p, size);
        // 1, 2 and 4-byte integers are unsigned; 8-byte ones are signed.
        return builder_.integer(static_cast<int64_t>(value));
      }
      case 0x2:
        if (low == 2) {
          if (!take(&position, 4, &p)) return nullptr;
          auto bits = static_cast<uint32_t>(ReadBigEndian(p, 4));
          float value;
          std::memcpy(&value, &bits, sizeof value);
          return builder_.real32(value);
        }
        if (low == 3) {
          if (!take(&position, 8, &p)) return nullptr;
          uint64_t bits = ReadBigEndian(p, 8);
          double value;
          std::memcpy(&value, &bits, sizeof value);
          return builder_.real(value);
        }
        return nullptr;
      case 0x3: {
        if (marker != 0x33 || !take(&position, 8, &p)) return nullptr;
        uint64_t bits = ReadBigEndian(p, 8);
        double at;
        std::memcpy(&at, &bits, sizeof at);
        return builder_.date(at);
      }
      case 0x4: {
        uint64_t size;
        if (!count(marker, &position, &size) || !take(&position, size, &p)) return nullptr;
        return builder_.data(p, static_cast<size_t>(size));
      }
      case 0x5: {
        uint64_t size;
        if (!count(marker, &position, &size) || !take(&position, size, &p)) return nullptr;
        std::u16string chars;
        chars.reserve(static_cast<size_t>(size));
        for (uint64_t i = 0; i < size; ++i) {
          if (p[i] >= 0x80) return nullptr;
          chars.push_back(p[i]);
        }
        return builder_.string(std::move(chars));
      }
      case 0x6: {
        uint64_t units;
        if (!count(marker, &position, &units) || units > length_ / 2 || !take(&position, units * 2, &p)) return nullptr;
        std::u16string chars;
        chars.reserve(static_cast<size_t>(units));
        for (uint64_t i = 0; i < units; ++i) chars.push_back(static_cast<char16_t>(ReadBigEndian(p + 2 * i, 2)));
        return builder_.string(std::move(chars));
      }
      case 0x8: {
        // A keyed archive's object reference: read as the dictionary {"CF$UID": n} that
        // stands for it in the XML form, so that both forms of an archive read alike.
        size_t size = low + 1u;
        if (size > 4 || !take(&position, size, &p)) return nullptr;
        *isContainer = true;
        std::vector<CFHolder> keys;
        std::vector<CFHolder> values;
        // Room first: a new object handed to a vector that then fails to grow would be lost.
        keys.reserve(1);
        values.reserve(1);
        keys.emplace_back(CreateString(u"CF$UID"));
        values.emplace_back(builder_.integer(static_cast<int64_t>(ReadBigEndian(p, size))));
        if (!keys[0] || !values[0]) return nullptr;
        return builder_.dictionary(&keys, &values);
      }
      case 0xA:
        *isContainer = true;
        return array(marker, position, depth);
      case 0xD:
        *isContainer = true;
        return dictionary(marker, position, depth);
      default:
        // Sets, ordered sets and unused markers are not property-list objects.
        return nullptr;
    }
  }

  CFTypeRef array(uint8_t marker, size_t position, int depth) {
    if (depth >= kMaxPropertyListDepth) return nullptr;
    uint64_t items;
    if (!count(marker, &position, &items) || items > length_ / referenceSize_) return nullptr;
    std::vector<CFHolder> values;
    values.reserve(static_cast<size_t>(items));
    for (uint64_t i = 0; i < items; ++i) {
      uint64_t index;
      if (!reference(&position, &index)) return nullptr;
      CFHolder value(object(index, depth + 1));
      if (!value) return nullptr;
      values.push_back(std::move(value));
    }
    return builder_.array(&values);
  }

  CFTypeRef dictionary(uint8_t marker, size_t position, int depth) {
    if (depth >= kMaxPropertyListDepth) return nullptr;
    uint64_t entries;
    if (!count(marker, &position, &entries) || entries > length_ / (2u * referenceSize_)) return nullptr;
    // Keys are all the references first, then all the values.
    size_t valuePosition = position + static_cast<size_t>(entries) * referenceSize_;
    std::vector<CFHolder> keys;
    std::vector<CFHolder> values;
    keys.reserve(static_cast<size_t>(entries));
    values.reserve(static_cast<size_t>(entries));
    for (uint64_t i = 0; i < entries; ++i) {
      uint64_t keyIndex;
      uint64_t valueIndex;
      if (!reference(&position, &keyIndex) || !reference(&valuePosition, &valueIndex)) return nullptr;
      CFHolder key(object(keyIndex, depth + 1));
      if (!key || CFGetTypeID(key.get()) != CFStringGetTypeID()) return nullptr;
      // Keys stay immutable whatever the options, as in the XML form.
      if (builder_.mutableLeaves()) {
        key = CFHolder(CreateString(static_cast<CFStringRef>(key.get())->text));
        if (!key) return nullptr;
      }
      CFHolder value(object(valueIndex, depth + 1));
      if (!value) return nullptr;
      keys.push_back(std::move(key));
      values.push_back(std::move(value));
    }
    return builder_.dictionary(&keys, &values);
  }

  const uint8_t* bytes_;
  size_t length_;
  const PropertyListBuilder& builder_;
  size_t offsetSize_ = 0;
  size_t referenceSize_ = 0;
  uint64_t objectCount_ = 0;
  uint64_t tableOffset_ = 0;
  size_t objectsEnd_ = 0;
  uint64_t budget_ = 0;
  std::vector<uint8_t> state_;
  std::vector<CFTypeRef> cache_;
};

}  // namespace

CFPropertyListRef ReadBinaryPropertyList(const uint8_t* bytes, size_t length, const PropertyListBuilder& builder) {
  BinaryReader reader(bytes, length, builder);
  return reader.read();
}

}  // namespace zrp
