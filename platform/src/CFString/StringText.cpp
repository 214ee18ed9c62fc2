// StringText.cpp: the text of a string in its two forms (ISO Latin 1 bytes or UTF-16 units):
// storage, widening, edits, and the comparison, equality and hash that read both forms alike.
#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <new>
#include <stdexcept>
#include <string>

#include "CFString/StringImpl.h"
#include "runtime/Seams.h"

namespace zrp {

namespace {

// A block for `units` units of `unitSize` bytes and the NUL after them, from malloc through the
// C++ allocation seam; throws std::bad_alloc when there is none.
void* AllocateUnits(size_t units, size_t unitSize, void* old = nullptr) {
  if (units >= SIZE_MAX / 2 / unitSize) throw std::length_error("string too long");
  if (!CxxAllocationAllowed()) throw std::bad_alloc();
  void* block = old ? std::realloc(old, (units + 1) * unitSize) : std::malloc((units + 1) * unitSize);
  if (!block) throw std::bad_alloc();
  return block;
}

// The capacity to grow to for `needed` units: at least twice the present one, so that a string
// appended to a little at a time is copied a bounded number of times.
size_t GrownCapacity(size_t capacity, size_t needed) { return std::max(needed, capacity * 2); }

template <class Unit>
bool AllAscii(const Unit* units, size_t count) {
  Unit high = 0;
  for (size_t i = 0; i < count; ++i) high |= units[i];
  return high < 0x80;
}

}  // namespace

void Text::release() {
  if (inlineStorage()) return;
  if (!adopted_ || owned_) std::free(data_);
}

void Text::reset(size_t capacity, bool wide) {
  size_t unitSize = wide ? 2 : 1;
  if ((capacity + 1) * unitSize <= kInlineBytes) {
    release();
    data_ = inline_;
    capacity_ = kInlineBytes / unitSize - 1;
  } else {
    void* block = AllocateUnits(capacity, unitSize);
    release();
    data_ = block;
    capacity_ = capacity;
  }
  adopted_ = false;
  owned_ = false;
  wide_ = wide;
  ascii_ = true;
  size_ = 0;
  if (wide) {
    static_cast<char16_t*>(data_)[0] = 0;
  } else {
    static_cast<char8_t*>(data_)[0] = 0;
  }
}

void Text::grow(size_t capacity) {
  if (capacity <= capacity_ && !adopted_) return;
  size_t unitSize = wide_ ? 2 : 1;
  if (inlineStorage() || adopted_) {
    void* block = AllocateUnits(capacity, unitSize);
    std::memcpy(block, data_, size_ * unitSize);
    release();
    data_ = block;
    adopted_ = false;
    owned_ = false;
  } else {
    data_ = AllocateUnits(capacity, unitSize, data_);
  }
  capacity_ = capacity;
  if (wide_) {
    static_cast<char16_t*>(data_)[size_] = 0;
  } else {
    static_cast<char8_t*>(data_)[size_] = 0;
  }
}

void Text::reserve(size_t capacity, bool wide) {
  if (wide && !wide_) {
    widenTo(capacity);
  } else if (capacity > capacity_ || adopted_) {
    grow(GrownCapacity(capacity_, capacity));
  }
}

void Text::widenTo(size_t capacity) {
  capacity = std::max(capacity, size_);
  // Widened into a block of its own (or a copy of the bytes when both fit in the object).
  unsigned char bytes[kInlineBytes];
  const char8_t* narrow = static_cast<const char8_t*>(data_);
  size_t size = size_;
  char16_t* wide;
  if ((capacity + 1) * 2 <= kInlineBytes) {
    std::memcpy(bytes, data_, size);
    narrow = reinterpret_cast<const char8_t*>(bytes);
    release();
    data_ = inline_;
    capacity_ = kInlineBytes / 2 - 1;
    wide = reinterpret_cast<char16_t*>(inline_);
  } else {
    wide = static_cast<char16_t*>(AllocateUnits(capacity, 2));
    for (size_t i = 0; i < size; ++i) wide[i] = narrow[i];
    release();
    data_ = wide;
    capacity_ = capacity;
    narrow = nullptr;
  }
  if (narrow) {
    for (size_t i = 0; i < size; ++i) wide[i] = narrow[i];
  }
  wide[size] = 0;
  adopted_ = false;
  owned_ = false;
  wide_ = true;
  ascii_ = false;
}

bool Text::overlaps(const void* pointer) const {
  auto p = reinterpret_cast<uintptr_t>(pointer);
  auto begin = reinterpret_cast<uintptr_t>(data_);
  return p >= begin && p < begin + (capacity_ + 1) * (wide_ ? 2 : 1);
}

void Text::copyUnits(size_t start, size_t count, char16_t* out) const {
  if (wide_) {
    std::memcpy(out, static_cast<const char16_t*>(data_) + start, count * sizeof(char16_t));
  } else {
    const char8_t* narrow = static_cast<const char8_t*>(data_) + start;
    for (size_t i = 0; i < count; ++i) out[i] = narrow[i];
  }
}

std::u16string Text::toUTF16(size_t start, size_t count) const {
  std::u16string out(count, u'\0');
  copyUnits(start, count, out.data());
  return out;
}

void Text::assign(std::u16string_view units) {
  if (overlaps(units.data())) {
    std::u16string copy(units);
    assign(copy);
    return;
  }
  if (!WideStringsForced() && FitsLatin1(units)) {
    reset(units.size(), false);
    char8_t* out = static_cast<char8_t*>(data_);
    char16_t high = 0;
    for (size_t i = 0; i < units.size(); ++i) {
      high |= units[i];
      out[i] = static_cast<char8_t>(units[i]);
    }
    size_ = units.size();
    out[size_] = 0;
    ascii_ = high < 0x80;
  } else {
    reset(units.size(), true);
    std::memcpy(data_, units.data(), units.size() * sizeof(char16_t));
    size_ = units.size();
    static_cast<char16_t*>(data_)[size_] = 0;
  }
}

void Text::assignLatin1(const uint8_t* bytes, size_t count, bool ascii) {
  if (overlaps(bytes)) {
    std::string copy(reinterpret_cast<const char*>(bytes), count);
    assignLatin1(reinterpret_cast<const uint8_t*>(copy.data()), count, ascii);
    return;
  }
  bool wide = WideStringsForced();
  reset(count, wide);
  size_ = count;
  if (wide) {
    char16_t* out = static_cast<char16_t*>(data_);
    for (size_t i = 0; i < count; ++i) out[i] = bytes[i];
    out[count] = 0;
  } else {
    if (count) std::memcpy(data_, bytes, count);
    static_cast<char8_t*>(data_)[count] = 0;
    ascii_ = ascii;
  }
}

void Text::adoptLatin1(uint8_t* bytes, size_t count, bool ascii, bool owned) {
  if (WideStringsForced()) {
    assignLatin1(bytes, count, ascii);
    if (owned) std::free(bytes);
    return;
  }
  release();
  data_ = bytes;
  size_ = count;
  // No room is known beyond the caller's bytes: the first change moves them into a block of the
  // text's own.
  capacity_ = count;
  adopted_ = true;
  owned_ = owned;
  wide_ = false;
  ascii_ = ascii;
}

void Text::assign(const Text& other) {
  if (&other == this) return;
  if (other.wide_) {
    assign(other.units());
  } else {
    assignLatin1(reinterpret_cast<const uint8_t*>(other.data_), other.size_, other.ascii_);
  }
}

void Text::append(std::u16string_view units) {
  if (units.empty()) return;
  if (overlaps(units.data())) {
    std::u16string copy(units);
    append(copy);
    return;
  }
  if (!wide_) {
    if (FitsLatin1(units)) {
      char8_t* out = narrowRoom(units.size());
      for (size_t i = 0; i < units.size(); ++i) out[i] = static_cast<char8_t>(units[i]);
      grewNarrow(units.size(), AllAscii(units.data(), units.size()));
      return;
    }
    widenTo(GrownCapacity(capacity_, size_ + units.size()));
  }
  reserve(size_ + units.size(), true);
  char16_t* out = static_cast<char16_t*>(data_);
  std::memcpy(out + size_, units.data(), units.size() * sizeof(char16_t));
  size_ += units.size();
  out[size_] = 0;
}

void Text::appendLatin1(const uint8_t* bytes, size_t count, bool ascii) {
  if (count == 0) return;
  if (overlaps(bytes)) {
    std::string copy(reinterpret_cast<const char*>(bytes), count);
    appendLatin1(reinterpret_cast<const uint8_t*>(copy.data()), count, ascii);
    return;
  }
  if (!wide_) {
    std::memcpy(narrowRoom(count), bytes, count);
    grewNarrow(count, ascii);
    return;
  }
  reserve(size_ + count, true);
  char16_t* out = static_cast<char16_t*>(data_) + size_;
  for (size_t i = 0; i < count; ++i) out[i] = bytes[i];
  size_ += count;
  out[count] = 0;
}

void Text::append(const Text& other) {
  if (other.wide_) {
    append(other.units());
  } else {
    appendLatin1(reinterpret_cast<const uint8_t*>(other.data_), other.size_, other.ascii_);
  }
}

void Text::replace(size_t start, size_t count, const Text& other) {
  if (!wide_ && !other.wide_) {
    std::string result;
    result.reserve(size_ - count + other.size_);
    const char* own = static_cast<const char*>(data_);
    result.append(own, start);
    result.append(static_cast<const char*>(other.data_), other.size_);
    result.append(own + start + count, size_ - start - count);
    assignLatin1(reinterpret_cast<const uint8_t*>(result.data()), result.size(), ascii_ && other.ascii_);
    return;
  }
  replace(start, count, other.toUTF16());
}

void Text::replace(size_t start, size_t count, std::u16string_view units) {
  std::u16string result;
  result.resize(size_ - count + units.size());
  copyUnits(0, start, result.data());
  std::memcpy(result.data() + start, units.data(), units.size() * sizeof(char16_t));
  copyUnits(start + count, size_ - start - count, result.data() + start + units.size());
  assign(result);
}

void Text::erase(size_t start, size_t count) {
  if (count == 0) return;
  if (adopted_) grow(size_);
  size_t unitSize = wide_ ? 2 : 1;
  auto* bytes = static_cast<unsigned char*>(data_);
  // The tail and the NUL after it move down.
  std::memmove(bytes + start * unitSize, bytes + (start + count) * unitSize, (size_ - start - count + 1) * unitSize);
  size_ -= count;
}

namespace {

template <class A, class B>
int CompareSpans(const A* a, size_t aSize, const B* b, size_t bSize) {
  size_t common = std::min(aSize, bSize);
  if constexpr (sizeof(A) == 1 && sizeof(B) == 1) {
    int result = common ? std::memcmp(a, b, common) : 0;
    if (result != 0) return result;
  } else {
    for (size_t i = 0; i < common; ++i) {
      if (a[i] != b[i]) return a[i] < b[i] ? -1 : 1;
    }
  }
  return aSize < bSize ? -1 : aSize > bSize ? 1 : 0;
}

// Four UTF-16 units as four 16-bit lanes of one number, the first unit lowest.
inline uint64_t FourUnits(const char16_t* p) {
  uint64_t value;
  std::memcpy(&value, p, 8);
  if constexpr (std::endian::native == std::endian::big) {
    value = ((value & 0xFFFF) << 48) | ((value & 0xFFFF0000) << 16) | ((value >> 16) & 0xFFFF0000) | (value >> 48);
  }
  return value;
}

constexpr uint64_t kHashMultiplier = 0x9E3779B97F4A7C15ull;

inline uint64_t Mix(uint64_t hash, uint64_t value) {
  hash = (hash ^ value) * kHashMultiplier;
  return hash ^ (hash >> 29);
}

// One step of a lane: short, so that four lanes side by side keep the multiplier busy.
inline uint64_t Step(uint64_t lane, uint64_t value) { return std::rotl((lane ^ value) * kHashMultiplier, 27); }

inline uint64_t EightBytes(const uint8_t* p) {
  uint64_t value;
  std::memcpy(&value, p, 8);
  if constexpr (std::endian::native == std::endian::big) value = __builtin_bswap64(value);
  return value;
}

// A run of text whose units all fit in a byte, from its bytes, eight at a time.
uint64_t HashBytes(uint64_t hash, const uint8_t* p, size_t count) {
  size_t i = 0;
  if (count >= 32) {
    uint64_t lanes[4] = {hash, hash ^ 1, hash ^ 2, hash ^ 3};
    for (; i + 32 <= count; i += 32) {
      for (int k = 0; k < 4; ++k) lanes[k] = Step(lanes[k], EightBytes(p + i + 8 * k));
    }
    hash = Mix(Mix(Mix(Mix(hash, lanes[0]), lanes[1]), lanes[2]), lanes[3]);
  }
  for (; i + 8 <= count; i += 8) hash = Mix(hash, EightBytes(p + i));
  if (i < count) {
    uint64_t rest = 0;
    for (size_t k = 0; i + k < count; ++k) rest |= uint64_t{p[i + k]} << (8 * k);
    hash = Mix(hash, rest);
  }
  return hash;
}

// A run of UTF-16 units, four at a time.
uint64_t HashWide(uint64_t hash, const char16_t* p, size_t count) {
  size_t i = 0;
  for (; i + 4 <= count; i += 4) hash = Mix(hash, FourUnits(p + i));
  if (i < count) {
    uint64_t rest = 0;
    for (size_t k = 0; i + k < count; ++k) rest |= uint64_t{p[i + k]} << (16 * k);
    hash = Mix(hash, rest);
  }
  return hash;
}

// The pieces of a text that its hash reads: the whole text up to 96 units; of a longer one its
// first, middle and last 32 units, as the platform does, so that a long string costs no more to
// hash than a short one. Returns their number; starts[k] and lengths[k] say where they are.
constexpr size_t kHashPiece = 32;
size_t HashPieces(size_t count, size_t starts[3], size_t lengths[3]) {
  if (count <= 3 * kHashPiece) {
    starts[0] = 0;
    lengths[0] = count;
    return 1;
  }
  size_t pieceStarts[3] = {0, count / 2 - kHashPiece / 2, count - kHashPiece};
  for (int k = 0; k < 3; ++k) {
    starts[k] = pieceStarts[k];
    lengths[k] = kHashPiece;
  }
  return 3;
}

// Text whose pieces are all in ISO Latin 1 hashes by its bytes, whichever form it is kept in;
// other text by its units. Equal texts thus hash alike.
template <class Unit>
CFHashCode HashUnits(const Unit* p, size_t count) {
  size_t starts[3];
  size_t lengths[3];
  size_t pieces = HashPieces(count, starts, lengths);
  uint64_t hash = count * kHashMultiplier;
  if constexpr (sizeof(Unit) == 1) {
    for (size_t k = 0; k < pieces; ++k)
      hash = HashBytes(hash, reinterpret_cast<const uint8_t*>(p) + starts[k], lengths[k]);
  } else {
    char16_t high = 0;
    for (size_t k = 0; k < pieces; ++k) {
      for (size_t i = 0; i < lengths[k]; ++i) high |= p[starts[k] + i];
    }
    if (high < 0x100) {
      uint8_t bytes[3 * kHashPiece];
      for (size_t k = 0; k < pieces; ++k) {
        for (size_t i = 0; i < lengths[k]; ++i) bytes[i] = static_cast<uint8_t>(p[starts[k] + i]);
        hash = HashBytes(hash, bytes, lengths[k]);
      }
    } else {
      for (size_t k = 0; k < pieces; ++k) hash = HashWide(hash, p + starts[k], lengths[k]);
    }
  }
  return static_cast<CFHashCode>(Mix(hash, count));
}

}  // namespace

int CompareUnits(const Text& a, const Text& b) {
  return a.visit(
      [&](auto x) { return b.visit([&](auto y) { return CompareSpans(x.data(), x.size(), y.data(), y.size()); }); });
}

bool EqualUnits(const Text& a, const Text& b) {
  if (a.size() != b.size()) return false;
  if (a.wide() == b.wide()) return std::memcmp(a.data(), b.data(), a.size() * (a.wide() ? 2 : 1)) == 0;
  return CompareUnits(a, b) == 0;
}

CFHashCode HashText(const Text& text) {
  return text.visit([](auto units) { return HashUnits(units.data(), units.size()); });
}

}  // namespace zrp
