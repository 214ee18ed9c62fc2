// CFStringEncode.cpp: strings into bytes in the platform's encodings, with a loss byte for the
// characters an encoding cannot represent, C strings copied out and lent by constant strings.
#include <algorithm>
#include <array>
#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <utility>

#include "CFString/AsciiText.h"
#include "CFString/EncodingImpl.h"
#include "CFString/StringImpl.h"
#include "runtime/NoThrow.h"

namespace {

using namespace zrp::encoding;

// Reverse map of a table of 128 characters for bytes 0x80 and up, sorted for binary search.
class ReverseTable {
 public:
  ReverseTable(const char16_t* table, size_t count) {
    for (size_t i = 0; i < count; ++i)
      if (table[i] != 0) entries_[size_++] = {table[i], static_cast<unsigned char>(0x80 + i)};
    std::sort(entries_.begin(), entries_.begin() + static_cast<long>(size_));
  }
  // The byte of the character, or -1 when the table does not hold it.
  int find(char16_t c) const {
    auto end = entries_.begin() + static_cast<long>(size_);
    auto found = std::lower_bound(entries_.begin(), end, std::pair<char16_t, unsigned char>(c, 0));
    return found != end && found->first == c ? found->second : -1;
  }

 private:
  std::array<std::pair<char16_t, unsigned char>, 128> entries_{};
  size_t size_ = 0;
};

const ReverseTable& MacRomanReverse() {
  static const ReverseTable table(kMacRomanHigh, 128);
  return table;
}

const ReverseTable& WindowsLatin1Reverse() {
  static const ReverseTable table(kWindowsLatin1C1, 32);
  return table;
}
void PutUnit16(char16_t unit, bool bigEndian, UInt8* out) {
  out[bigEndian ? 0 : 1] = static_cast<UInt8>(unit >> 8);
  out[bigEndian ? 1 : 0] = static_cast<UInt8>(unit & 0xFF);
}

void PutUnit32(UInt32 unit, bool bigEndian, UInt8* out) {
  for (int k = 0; k < 4; ++k) out[bigEndian ? 3 - k : k] = static_cast<UInt8>(unit >> (8 * k));
}

const char kOctal[] = "01234567";
const char kHexLower[] = "0123456789abcdef";

// Encodes the character at chars[i] (a surrogate pair counts as one character). Returns the
// number of bytes written to out (at most 6), or -1 when the encoding cannot represent it;
// *units receives the number of UTF-16 units the character spans.
int EncodeOne(std::u16string_view chars, size_t i, Kind kind, UInt8* out, int* units) {
  char16_t c = chars[i];
  *units = 1;
  bool pair = IsHighSurrogate(c) && i + 1 < chars.size() && IsLowSurrogate(chars[i + 1]);
  switch (kind) {
    case Kind::kUTF8: {
      char32_t code = c;
      if (pair) {
        code = 0x10000 + ((code - 0xD800) << 10) + (chars[i + 1] - 0xDC00);
        *units = 2;
      } else if (c >= 0xD800 && c <= 0xDFFF) {
        return -1;
      }
      if (code < 0x80) {
        out[0] = static_cast<UInt8>(code);
        return 1;
      }
      if (code < 0x800) {
        out[0] = static_cast<UInt8>(0xC0 | (code >> 6));
        out[1] = static_cast<UInt8>(0x80 | (code & 0x3F));
        return 2;
      }
      if (code < 0x10000) {
        out[0] = static_cast<UInt8>(0xE0 | (code >> 12));
        out[1] = static_cast<UInt8>(0x80 | ((code >> 6) & 0x3F));
        out[2] = static_cast<UInt8>(0x80 | (code & 0x3F));
        return 3;
      }
      out[0] = static_cast<UInt8>(0xF0 | (code >> 18));
      out[1] = static_cast<UInt8>(0x80 | ((code >> 12) & 0x3F));
      out[2] = static_cast<UInt8>(0x80 | ((code >> 6) & 0x3F));
      out[3] = static_cast<UInt8>(0x80 | (code & 0x3F));
      return 4;
    }
    case Kind::kASCII:
      if (c >= 0x80) return -1;
      out[0] = static_cast<UInt8>(c);
      return 1;
    case Kind::kLatin1:
      if (c >= 0x100) return -1;
      out[0] = static_cast<UInt8>(c);
      return 1;
    case Kind::kMacRoman: {
      if (c < 0x80) {
        out[0] = static_cast<UInt8>(c);
        return 1;
      }
      int byte = MacRomanReverse().find(c);
      if (byte < 0) return -1;
      out[0] = static_cast<UInt8>(byte);
      return 1;
    }
    case Kind::kWindowsLatin1: {
      if (c < 0x80 || (c >= 0xA0 && c < 0x100)) {
        out[0] = static_cast<UInt8>(c);
        return 1;
      }
      int byte = WindowsLatin1Reverse().find(c);
      if (byte < 0) return -1;
      out[0] = static_cast<UInt8>(byte);
      return 1;
    }
    case Kind::kUTF16Host:
    case Kind::kUTF16BE:
    case Kind::kUTF16LE: {
      bool bigEndian = kind == Kind::kUTF16BE || (kind == Kind::kUTF16Host && !kHostIsLittleEndian);
      PutUnit16(c, bigEndian, out);
      return 2;
    }
    case Kind::kUTF32Host:
    case Kind::kUTF32BE:
    case Kind::kUTF32LE: {
      bool bigEndian = kind == Kind::kUTF32BE || (kind == Kind::kUTF32Host && !kHostIsLittleEndian);
      char32_t code = c;
      if (pair) {
        code = 0x10000 + ((code - 0xD800) << 10) + (chars[i + 1] - 0xDC00);
        *units = 2;
      } else if (c >= 0xD800 && c <= 0xDFFF) {
        return -1;
      }
      PutUnit32(code, bigEndian, out);
      return 4;
    }
    case Kind::kNonLossyASCII:
      if (c == u'\\') {
        out[0] = out[1] = '\\';
        return 2;
      }
      if (c < 0x80) {
        out[0] = static_cast<UInt8>(c);
        return 1;
      }
      out[0] = '\\';
      if (c < 0x100) {
        out[1] = kOctal[c >> 6];
        out[2] = kOctal[(c >> 3) & 7];
        out[3] = kOctal[c & 7];
        return 4;
      }
      out[1] = 'u';
      out[2] = kHexLower[c >> 12];
      out[3] = kHexLower[(c >> 8) & 0xF];
      out[4] = kHexLower[(c >> 4) & 0xF];
      out[5] = kHexLower[c & 0xF];
      return 6;
    case Kind::kUnsupported:
      return -1;
  }
  return -1;
}

// The stand-in for a character the encoding cannot represent: the loss byte itself in the
// byte-oriented encodings, a unit of that value in the UTF-16 and UTF-32 forms.
int EncodeLossByte(UInt8 lossByte, Kind kind, UInt8* out) {
  switch (kind) {
    case Kind::kUTF16Host:
    case Kind::kUTF16BE:
    case Kind::kUTF16LE:
      PutUnit16(lossByte, kind == Kind::kUTF16BE || (kind == Kind::kUTF16Host && !kHostIsLittleEndian), out);
      return 2;
    case Kind::kUTF32Host:
    case Kind::kUTF32BE:
    case Kind::kUTF32LE:
      PutUnit32(lossByte, kind == Kind::kUTF32BE || (kind == Kind::kUTF32Host && !kHostIsLittleEndian), out);
      return 4;
    default:
      out[0] = lossByte;
      return 1;
  }
}

// The encodings in which each ASCII character is the one byte of its code.
bool AgreesWithAscii(Kind kind) {
  return kind == Kind::kUTF8 || kind == Kind::kASCII || kind == Kind::kMacRoman || kind == Kind::kLatin1 ||
         kind == Kind::kWindowsLatin1;
}

// The conversion behind CFStringGetBytes; returns the number of UTF-16 units converted.
CFIndex EncodeRange(std::u16string_view chars, Kind kind, UInt8 lossByte, bool external, UInt8* buffer,
                    CFIndex maxBufLen, CFIndex* usedBufLen) {
  CFIndex used = 0;
  CFIndex converted = 0;
  if (kind == Kind::kUnsupported) {
    if (usedBufLen) *usedBufLen = 0;
    return 0;
  }
  if (external && (kind == Kind::kUTF16Host || kind == Kind::kUTF32Host)) {
    UInt8 mark[4];
    int size = kind == Kind::kUTF16Host ? 2 : 4;
    if (size == 2)
      PutUnit16(0xFEFF, !kHostIsLittleEndian, mark);
    else
      PutUnit32(0xFEFF, !kHostIsLittleEndian, mark);
    if (buffer) {
      if (maxBufLen < size) {
        if (usedBufLen) *usedBufLen = 0;
        return 0;
      }
      std::memcpy(buffer, mark, static_cast<size_t>(size));
    }
    used = size;
  }
  UInt8 bytes[8];
  bool asciiAgrees = AgreesWithAscii(kind);
  for (size_t i = 0; i < chars.size();) {
    if (asciiAgrees) {
      // A run of ASCII characters, each the one byte of its code, goes in one step.
      size_t room = chars.size() - i;
      if (buffer) room = maxBufLen > used ? std::min(room, static_cast<size_t>(maxBufLen - used)) : 0;
      size_t run = zrp::NarrowAsciiPrefix(chars.data() + i, room, buffer ? buffer + used : nullptr);
      used += static_cast<CFIndex>(run);
      converted += static_cast<CFIndex>(run);
      i += run;
      if (i == chars.size()) break;
    }
    int units = 1;
    int count = EncodeOne(chars, i, kind, bytes, &units);
    if (count < 0) {
      if (lossByte == 0) break;
      count = EncodeLossByte(lossByte, kind, bytes);
      units = 1;
    }
    if (buffer) {
      if (used + count > maxBufLen) break;
      std::memcpy(buffer + used, bytes, static_cast<size_t>(count));
    }
    used += count;
    converted += units;
    i += static_cast<size_t>(units);
  }
  if (usedBufLen) *usedBufLen = used;
  return converted;
}

// Whether the units of a narrow text from `start`, `count` of them, are in the encoding the
// bytes they are: always in ISO Latin 1, and ASCII text in the encodings that agree with ASCII.
bool BytesAsThey(const zrp::Text& text, size_t start, size_t count, Kind kind) {
  if (text.wide()) return false;
  if (kind == Kind::kLatin1) return true;
  if (!AgreesWithAscii(kind)) return false;
  return text.ascii() || zrp::IsAscii(reinterpret_cast<const unsigned char*>(text.narrow().data()) + start, count);
}

// The C strings handed out for constant strings: they live as long as the constants.
std::mutex gCStringPtrMutex;
std::map<std::pair<CFStringRef, CFStringEncoding>, std::string>& CStringPtrTable() {
  static auto* table = new std::map<std::pair<CFStringRef, CFStringEncoding>, std::string>();
  return *table;
}
}  // namespace

extern "C" {

CFIndex CFStringGetBytes(CFStringRef theString, CFRange range, CFStringEncoding encoding, UInt8 lossByte,
                         Boolean isExternalRepresentation, UInt8* buffer, CFIndex maxBufLen, CFIndex* usedBufLen) {
  zrp::CheckRange("CFStringGetBytes", theString, range);
  auto start = static_cast<size_t>(range.location);
  auto count = static_cast<size_t>(range.length);
  Kind kind = KindOf(encoding);
  if (BytesAsThey(theString->text, start, count, kind)) {
    // One byte a character, as many as fit.
    if (buffer) count = std::min(count, static_cast<size_t>(std::max<CFIndex>(maxBufLen, 0)));
    if (buffer && count) std::memcpy(buffer, theString->text.narrow().data() + start, count);
    if (usedBufLen) *usedBufLen = static_cast<CFIndex>(count);
    return static_cast<CFIndex>(count);
  }
  return zrp::CatchOutOfMemory<CFIndex>(0, [&]() -> CFIndex {
    zrp::WideView chars(theString);
    return EncodeRange(chars.view().substr(start, count), kind, lossByte, isExternalRepresentation, buffer, maxBufLen,
                       usedBufLen);
  });
}

Boolean CFStringGetCString(CFStringRef theString, char* buffer, CFIndex bufferSize, CFStringEncoding encoding) {
  return zrp::CatchOutOfMemory<Boolean>(false, [&]() -> Boolean {
    if (!theString || !buffer || bufferSize <= 0) return false;
    // The terminating NUL needs its own byte: the characters get bufferSize - 1.
    CFIndex used = 0;
    size_t size = theString->text.size();
    CFIndex length = static_cast<CFIndex>(size);
    if (BytesAsThey(theString->text, 0, size, KindOf(encoding))) {
      if (size + 1 > static_cast<size_t>(bufferSize)) {
        buffer[0] = '\0';
        return false;
      }
      std::memcpy(buffer, theString->text.narrow().data(), size);
      buffer[size] = '\0';
      return true;
    }
    zrp::WideView chars(theString);
    CFIndex converted =
        EncodeRange(chars, KindOf(encoding), 0, false, reinterpret_cast<UInt8*>(buffer), bufferSize - 1, &used);
    if (converted != length || KindOf(encoding) == Kind::kUnsupported) {
      buffer[0] = '\0';
      return false;
    }
    buffer[used] = '\0';
    return true;
  });
}

const char* CFStringGetCStringPtr(CFStringRef theString, CFStringEncoding encoding) {
  return zrp::CatchOutOfMemory<const char*>(nullptr, [&]() -> const char* {
    if (!theString) return nullptr;
    Kind kind = KindOf(encoding);
    // A string that keeps its text one byte a character lends the bytes themselves, while it is
    // unchanged, when they are the C string in the encoding and hold no NUL of their own.
    const zrp::Text& text = theString->text;
    if (BytesAsThey(text, 0, text.size(), kind)) {
      const char* bytes = reinterpret_cast<const char*>(text.narrow().data());
      if (!text.terminated() || std::memchr(bytes, 0, text.size())) return nullptr;
      return bytes;
    }
    // Other constant strings (in UTF-8, say) lend one made once; every other string may change
    // or go away, and the platform allows NULL whenever no pointer is at hand.
    if (!theString->immortal() || theString->mutable_) return nullptr;
    if (kind != Kind::kUTF8 && kind != Kind::kASCII && kind != Kind::kMacRoman && kind != Kind::kLatin1 &&
        kind != Kind::kWindowsLatin1)
      return nullptr;
    std::lock_guard<std::mutex> lock(gCStringPtrMutex);
    auto& table = CStringPtrTable();
    auto key = std::make_pair(theString, encoding);
    auto found = table.find(key);
    if (found != table.end()) return found->second.c_str();
    zrp::WideView wide(theString);
    std::u16string_view chars = wide;
    if (chars.find(u'\0') != std::u16string_view::npos) return nullptr;
    std::string bytes(
        static_cast<size_t>(CFStringGetMaximumSizeForEncoding(static_cast<CFIndex>(chars.size()), encoding)), '\0');
    CFIndex used = 0;
    if (EncodeRange(chars, kind, 0, false, reinterpret_cast<UInt8*>(bytes.data()), static_cast<CFIndex>(bytes.size()),
                    &used) != static_cast<CFIndex>(chars.size()))
      return nullptr;
    bytes.resize(static_cast<size_t>(used));
    return table.emplace(key, std::move(bytes)).first->second.c_str();
  });
}
}  // extern "C"
