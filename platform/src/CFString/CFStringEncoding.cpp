// CFStringEncoding.cpp: strings to and from bytes in the platform's encodings (UTF-8, ASCII,
// Mac OS Roman, ISO Latin 1, Windows Latin 1, the UTF-16 and UTF-32 forms, non-lossy ASCII),
// C strings, buffer sizes, numeric values of strings, and the NSStringEncoding mapping.
#include <Foundation/NSObjCRuntime.h>
#include <locale.h>

#include <algorithm>
#include <array>
#include <climits>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <utility>

#include "CFString/AsciiText.h"
#include "CFString/StringImpl.h"

namespace {

enum class Kind {
  kUTF8,
  kASCII,
  kMacRoman,
  kLatin1,
  kWindowsLatin1,
  kUTF16Host,  // unmarked UTF-16: host order, a byte-order mark when external
  kUTF16BE,
  kUTF16LE,
  kUTF32Host,
  kUTF32BE,
  kUTF32LE,
  kNonLossyASCII,
  kUnsupported
};

Kind KindOf(CFStringEncoding encoding) {
  switch (encoding) {
    case kCFStringEncodingUTF8:
      return Kind::kUTF8;
    case kCFStringEncodingASCII:
      return Kind::kASCII;
    case kCFStringEncodingMacRoman:
      return Kind::kMacRoman;
    case kCFStringEncodingISOLatin1:
      return Kind::kLatin1;
    case kCFStringEncodingWindowsLatin1:
      return Kind::kWindowsLatin1;
    case kCFStringEncodingUTF16:
      return Kind::kUTF16Host;
    case kCFStringEncodingUTF16BE:
      return Kind::kUTF16BE;
    case kCFStringEncodingUTF16LE:
      return Kind::kUTF16LE;
    case kCFStringEncodingUTF32:
      return Kind::kUTF32Host;
    case kCFStringEncodingUTF32BE:
      return Kind::kUTF32BE;
    case kCFStringEncodingUTF32LE:
      return Kind::kUTF32LE;
    case kCFStringEncodingNonLossyASCII:
      return Kind::kNonLossyASCII;
    default:
      return Kind::kUnsupported;
  }
}

constexpr bool kHostIsLittleEndian = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;

// Mac OS Roman, bytes 0x80 to 0xFF (the lower half is ASCII). 0xDB is the euro sign, as
// since Mac OS 8.5; 0xF0 is the Apple logo in the private use area.
constexpr char16_t kMacRomanHigh[128] = {
    0x00C4, 0x00C5, 0x00C7, 0x00C9, 0x00D1, 0x00D6, 0x00DC, 0x00E1,  // 0x80
    0x00E0, 0x00E2, 0x00E4, 0x00E3, 0x00E5, 0x00E7, 0x00E9, 0x00E8,  // 0x88
    0x00EA, 0x00EB, 0x00ED, 0x00EC, 0x00EE, 0x00EF, 0x00F1, 0x00F3,  // 0x90
    0x00F2, 0x00F4, 0x00F6, 0x00F5, 0x00FA, 0x00F9, 0x00FB, 0x00FC,  // 0x98
    0x2020, 0x00B0, 0x00A2, 0x00A3, 0x00A7, 0x2022, 0x00B6, 0x00DF,  // 0xA0
    0x00AE, 0x00A9, 0x2122, 0x00B4, 0x00A8, 0x2260, 0x00C6, 0x00D8,  // 0xA8
    0x221E, 0x00B1, 0x2264, 0x2265, 0x00A5, 0x00B5, 0x2202, 0x2211,  // 0xB0
    0x220F, 0x03C0, 0x222B, 0x00AA, 0x00BA, 0x03A9, 0x00E6, 0x00F8,  // 0xB8
    0x00BF, 0x00A1, 0x00AC, 0x221A, 0x0192, 0x2248, 0x2206, 0x00AB,  // 0xC0
    0x00BB, 0x2026, 0x00A0, 0x00C0, 0x00C3, 0x00D5, 0x0152, 0x0153,  // 0xC8
    0x2013, 0x2014, 0x201C, 0x201D, 0x2018, 0x2019, 0x00F7, 0x25CA,  // 0xD0
    0x00FF, 0x0178, 0x2044, 0x20AC, 0x2039, 0x203A, 0xFB01, 0xFB02,  // 0xD8
    0x2021, 0x00B7, 0x201A, 0x201E, 0x2030, 0x00C2, 0x00CA, 0x00C1,  // 0xE0
    0x00CB, 0x00C8, 0x00CD, 0x00CE, 0x00CF, 0x00CC, 0x00D3, 0x00D4,  // 0xE8
    0xF8FF, 0x00D2, 0x00DA, 0x00DB, 0x00D9, 0x0131, 0x02C6, 0x02DC,  // 0xF0
    0x00AF, 0x02D8, 0x02D9, 0x02DA, 0x00B8, 0x02DD, 0x02DB, 0x02C7,  // 0xF8
};

// Windows code page 1252, bytes 0x80 to 0x9F; 0 marks the five bytes the code page leaves
// undefined. The rest of the code page is ISO Latin 1.
constexpr char16_t kWindowsLatin1C1[32] = {
    0x20AC, 0x0000, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,  // 0x80
    0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x0000, 0x017D, 0x0000,  // 0x88
    0x0000, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,  // 0x90
    0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x0000, 0x017E, 0x0178,  // 0x98
};

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

bool IsHighSurrogate(char32_t c) { return c >= 0xD800 && c <= 0xDBFF; }
bool IsLowSurrogate(char32_t c) { return c >= 0xDC00 && c <= 0xDFFF; }

int HexValue(unsigned char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Non-lossy ASCII: ASCII stands for itself, a backslash is doubled, characters up to 0xFF
// are written "\ooo" (three octal digits) and all others "\uxxxx" (UTF-16 units).
bool DecodeNonLossyASCII(const UInt8* p, size_t n, std::u16string* out) {
  size_t i = 0;
  while (i < n) {
    unsigned char c = p[i];
    if (c >= 0x80) return false;
    if (c != '\\') {
      out->push_back(c);
      ++i;
      continue;
    }
    if (i + 1 >= n) return false;
    unsigned char next = p[i + 1];
    if (next == '\\') {
      out->push_back(u'\\');
      i += 2;
    } else if (next == 'u' || next == 'U') {
      if (i + 6 > n) return false;
      int value = 0;
      for (size_t k = i + 2; k < i + 6; ++k) {
        int digit = HexValue(p[k]);
        if (digit < 0) return false;
        value = value * 16 + digit;
      }
      out->push_back(static_cast<char16_t>(value));
      i += 6;
    } else if (next >= '0' && next <= '3') {
      if (i + 4 > n) return false;
      int value = 0;
      for (size_t k = i + 1; k < i + 4; ++k) {
        if (p[k] < '0' || p[k] > '7') return false;
        value = value * 8 + (p[k] - '0');
      }
      out->push_back(static_cast<char16_t>(value));
      i += 4;
    } else {
      return false;
    }
  }
  return true;
}

UInt32 ReadUnit32(const UInt8* p, bool bigEndian) {
  return bigEndian ? (UInt32(p[0]) << 24) | (UInt32(p[1]) << 16) | (UInt32(p[2]) << 8) | p[3]
                   : (UInt32(p[3]) << 24) | (UInt32(p[2]) << 16) | (UInt32(p[1]) << 8) | p[0];
}

// Appends the text of a one-byte encoding whose lower half is ASCII: blocks of ASCII bytes are
// widened as they are, in one pass, and only the other blocks go byte by byte through `upper`,
// which gives the character of a byte at or above 0x80, or 0 for a byte the encoding leaves
// undefined (the text is then not valid in it).
template <typename Upper>
bool AppendOneByteText(const UInt8* bytes, size_t n, std::u16string* out, Upper upper) {
  zrp::ReserveChars(out, n);
  char16_t block[zrp::kAsciiBlock];
  for (size_t i = 0; i < n; i += zrp::kAsciiBlock) {
    size_t count = std::min(zrp::kAsciiBlock, n - i);
    if (zrp::WidenBlock(bytes + i, count, block) >= 0x80) {
      for (size_t k = 0; k < count; ++k) {
        if (bytes[i + k] < 0x80) continue;
        char16_t c = upper(bytes[i + k]);
        if (c == 0) return false;
        block[k] = c;
      }
    }
    out->append(block, count);
  }
  return true;
}

// Bytes to UTF-16 in the given encoding; false when the bytes are not valid in it.
bool Decode(const UInt8* bytes, size_t n, Kind kind, bool external, std::u16string* out) {
  switch (kind) {
    case Kind::kUTF8:
      if (external && n >= 3 && bytes[0] == 0xEF && bytes[1] == 0xBB && bytes[2] == 0xBF) bytes += 3, n -= 3;
      return zrp::DecodeUTF8(reinterpret_cast<const char*>(bytes), n, out);
    case Kind::kASCII:
      return zrp::AppendAscii(bytes, n, out);
    case Kind::kLatin1:
      zrp::AppendLatin1(bytes, n, out);
      return true;
    case Kind::kMacRoman:
      return AppendOneByteText(bytes, n, out, [](UInt8 b) { return kMacRomanHigh[b - 0x80]; });
    case Kind::kWindowsLatin1:
      return AppendOneByteText(
          bytes, n, out, [](UInt8 b) { return b < 0xA0 ? kWindowsLatin1C1[b - 0x80] : static_cast<char16_t>(b); });
    case Kind::kUTF16Host:
    case Kind::kUTF16BE:
    case Kind::kUTF16LE: {
      if (n % 2 != 0) return false;
      bool bigEndian = kind == Kind::kUTF16BE || (kind == Kind::kUTF16Host && !kHostIsLittleEndian);
      if (kind == Kind::kUTF16Host && n >= 2) {
        // A byte-order mark at the start of unmarked UTF-16 tells the order and is not text.
        if (bytes[0] == 0xFE && bytes[1] == 0xFF) {
          bigEndian = true, bytes += 2, n -= 2;
        } else if (bytes[0] == 0xFF && bytes[1] == 0xFE) {
          bigEndian = false, bytes += 2, n -= 2;
        }
      }
      out->reserve(n / 2);
      // UTF-16 carries any unit, unpaired surrogates included, as the string itself does.
      for (size_t i = 0; i < n; i += 2)
        out->push_back(
            static_cast<char16_t>(bigEndian ? (bytes[i] << 8) | bytes[i + 1] : (bytes[i + 1] << 8) | bytes[i]));
      return true;
    }
    case Kind::kUTF32Host:
    case Kind::kUTF32BE:
    case Kind::kUTF32LE: {
      if (n % 4 != 0) return false;
      bool bigEndian = kind == Kind::kUTF32BE || (kind == Kind::kUTF32Host && !kHostIsLittleEndian);
      if (kind == Kind::kUTF32Host && n >= 4) {
        if (ReadUnit32(bytes, true) == 0xFEFF) {
          bigEndian = true, bytes += 4, n -= 4;
        } else if (ReadUnit32(bytes, false) == 0xFEFF) {
          bigEndian = false, bytes += 4, n -= 4;
        }
      }
      out->reserve(n / 4);
      for (size_t i = 0; i < n; i += 4) {
        UInt32 code = ReadUnit32(bytes + i, bigEndian);
        if (code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) return false;
        zrp::AppendCodePoint(code, out);
      }
      return true;
    }
    case Kind::kNonLossyASCII:
      return DecodeNonLossyASCII(bytes, n, out);
    case Kind::kUnsupported:
      return false;
  }
  return false;
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

// The number of ASCII characters at the start of `chars`, at most `limit`. A few are looked at
// one by one, so that text with few ASCII characters between others costs little; a longer run
// goes in blocks.
size_t AsciiPrefix(const char16_t* chars, size_t limit) {
  constexpr size_t kFirst = 16;
  constexpr size_t kRun = 64;
  size_t i = 0;
  while (i < limit && i < kFirst && chars[i] < 0x80) ++i;
  if (i < kFirst) return i;
  for (; i + kRun <= limit; i += kRun) {
    char16_t high = 0;
    for (size_t k = 0; k < kRun; ++k) high |= chars[i + k];
    if (high >= 0x80) break;
  }
  while (i < limit && chars[i] < 0x80) ++i;
  return i;
}

void Narrow(const char16_t* __restrict chars, size_t count, UInt8* __restrict out) {
  for (size_t k = 0; k < count; ++k) out[k] = static_cast<UInt8>(chars[k]);
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
      size_t run = AsciiPrefix(chars.data() + i, room);
      if (buffer) Narrow(chars.data() + i, run, buffer + used);
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

[[noreturn]] void HaltOnRange(const char* function, CFRange range, CFStringRef string) {
  std::fprintf(stderr, "%s: range {%ld, %ld} out of bounds; string length %zu\n", function, range.location,
               range.length, string->chars.size());
  std::abort();
}

// The C strings handed out for constant strings: they live as long as the constants.
std::mutex gCStringPtrMutex;
std::map<std::pair<CFStringRef, CFStringEncoding>, std::string>& CStringPtrTable() {
  static auto* table = new std::map<std::pair<CFStringRef, CFStringEncoding>, std::string>();
  return *table;
}

// Skips the white space that a number may be preceded by.
size_t SkipSpace(std::u16string_view text, size_t i) {
  while (i < text.size() && (text[i] == u' ' || text[i] == u'\t' || text[i] == u'\n' || text[i] == u'\r' ||
                             text[i] == u'\v' || text[i] == u'\f'))
    ++i;
  return i;
}

bool IsDigit(char16_t c) { return c >= u'0' && c <= u'9'; }

struct EncodingPair {
  NSUInteger ns;
  CFStringEncoding cf;
};

// The NSStringEncoding values below 0x80000000 and their CF encodings; every other CF encoding
// is the NSStringEncoding value with the high bit set.
constexpr EncodingPair kEncodingPairs[] = {
    {1, kCFStringEncodingASCII},
    {2, kCFStringEncodingNextStepLatin},
    {3, 0x0920 /* EUC-JP */},
    {4, kCFStringEncodingUTF8},
    {5, kCFStringEncodingISOLatin1},
    {6, 0x0021 /* Mac Symbol */},
    {7, kCFStringEncodingNonLossyASCII},
    {8, 0x0421 /* DOS Japanese (Shift JIS) */},
    {9, 0x0202 /* ISO Latin 2 */},
    {10, kCFStringEncodingUnicode},
    {11, 0x0502 /* Windows Cyrillic */},
    {12, kCFStringEncodingWindowsLatin1},
    {13, 0x0503 /* Windows Greek */},
    {14, 0x0504 /* Windows Latin 5 */},
    {15, 0x0501 /* Windows Latin 2 */},
    {21, 0x0820 /* ISO-2022-JP */},
    {30, kCFStringEncodingMacRoman},
};

}  // namespace

extern "C" {

CFStringRef CFStringCreateWithBytes(CFAllocatorRef, const UInt8* bytes, CFIndex numBytes, CFStringEncoding encoding,
                                    Boolean isExternalRepresentation) {
  if (numBytes < 0 || (numBytes > 0 && !bytes)) return nullptr;
  std::u16string chars;
  if (!Decode(bytes, static_cast<size_t>(numBytes), KindOf(encoding), isExternalRepresentation, &chars)) return nullptr;
  return zrp::CreateString(std::move(chars));
}

CFStringRef CFStringCreateWithCString(CFAllocatorRef alloc, const char* cStr, CFStringEncoding encoding) {
  if (!cStr) return nullptr;
  return CFStringCreateWithBytes(alloc, reinterpret_cast<const UInt8*>(cStr), static_cast<CFIndex>(std::strlen(cStr)),
                                 encoding, false);
}

void CFStringAppendCString(CFMutableStringRef theString, const char* cStr, CFStringEncoding encoding) {
  if (!zrp::CheckMutable(theString, "CFStringAppendCString") || !cStr) return;
  std::u16string chars;
  if (!Decode(reinterpret_cast<const UInt8*>(cStr), std::strlen(cStr), KindOf(encoding), false, &chars)) return;
  theString->chars += chars;
}

CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding) {
  CFIndex perUnit = 1;
  switch (KindOf(encoding)) {
    case Kind::kUTF8:
      perUnit = 3;
      break;
    case Kind::kUTF16Host:
    case Kind::kUTF16BE:
    case Kind::kUTF16LE:
      perUnit = 2;
      break;
    case Kind::kUTF32Host:
    case Kind::kUTF32BE:
    case Kind::kUTF32LE:
      perUnit = 4;
      break;
    case Kind::kNonLossyASCII:
      perUnit = 6;
      break;
    case Kind::kASCII:
    case Kind::kMacRoman:
    case Kind::kLatin1:
    case Kind::kWindowsLatin1:
      perUnit = 1;
      break;
    case Kind::kUnsupported:
      // The one-byte encodings the host knows by name but cannot convert still need one byte
      // a character; for anything else no size can be promised.
      if (encoding == kCFStringEncodingNextStepLatin) {
        perUnit = 1;
        break;
      }
      return kCFNotFound;
  }
  if (length < 0 || length > LONG_MAX / perUnit) return kCFNotFound;
  return length * perUnit;
}

CFIndex CFStringGetBytes(CFStringRef theString, CFRange range, CFStringEncoding encoding, UInt8 lossByte,
                         Boolean isExternalRepresentation, UInt8* buffer, CFIndex maxBufLen, CFIndex* usedBufLen) {
  if (range.location < 0 || range.length < 0 ||
      static_cast<size_t>(range.location + range.length) > theString->chars.size())
    HaltOnRange("CFStringGetBytes", range, theString);
  std::u16string_view chars =
      zrp::View(theString).substr(static_cast<size_t>(range.location), static_cast<size_t>(range.length));
  return EncodeRange(chars, KindOf(encoding), lossByte, isExternalRepresentation, buffer, maxBufLen, usedBufLen);
}

Boolean CFStringGetCString(CFStringRef theString, char* buffer, CFIndex bufferSize, CFStringEncoding encoding) {
  if (!theString || !buffer || bufferSize <= 0) return false;
  // The terminating NUL needs its own byte: the characters get bufferSize - 1.
  CFIndex used = 0;
  CFIndex length = static_cast<CFIndex>(theString->chars.size());
  CFIndex converted = EncodeRange(zrp::View(theString), KindOf(encoding), 0, false, reinterpret_cast<UInt8*>(buffer),
                                  bufferSize - 1, &used);
  if (converted != length || KindOf(encoding) == Kind::kUnsupported) {
    buffer[0] = '\0';
    return false;
  }
  buffer[used] = '\0';
  return true;
}

const char* CFStringGetCStringPtr(CFStringRef theString, CFStringEncoding encoding) {
  // Only constant strings can lend a C string: every other string may change or go away,
  // and the platform allows NULL whenever no pointer is at hand.
  if (!theString || !theString->immortal() || theString->mutable_) return nullptr;
  Kind kind = KindOf(encoding);
  if (kind != Kind::kUTF8 && kind != Kind::kASCII && kind != Kind::kMacRoman && kind != Kind::kLatin1 &&
      kind != Kind::kWindowsLatin1)
    return nullptr;
  std::lock_guard<std::mutex> lock(gCStringPtrMutex);
  auto& table = CStringPtrTable();
  auto key = std::make_pair(theString, encoding);
  auto found = table.find(key);
  if (found != table.end()) return found->second.c_str();
  std::u16string_view chars = zrp::View(theString);
  if (chars.find(u'\0') != std::u16string_view::npos) return nullptr;
  std::string bytes(
      static_cast<size_t>(CFStringGetMaximumSizeForEncoding(static_cast<CFIndex>(chars.size()), encoding)), '\0');
  CFIndex used = 0;
  if (EncodeRange(chars, kind, 0, false, reinterpret_cast<UInt8*>(bytes.data()), static_cast<CFIndex>(bytes.size()),
                  &used) != static_cast<CFIndex>(chars.size()))
    return nullptr;
  bytes.resize(static_cast<size_t>(used));
  return table.emplace(key, std::move(bytes)).first->second.c_str();
}

CFStringEncoding CFStringGetSystemEncoding(void) { return kCFStringEncodingUTF8; }

Boolean CFStringIsEncodingAvailable(CFStringEncoding encoding) { return KindOf(encoding) != Kind::kUnsupported; }

SInt32 CFStringGetIntValue(CFStringRef str) {
  if (!str) return 0;
  std::u16string_view text = zrp::View(str);
  size_t i = SkipSpace(text, 0);
  bool negative = false;
  if (i < text.size() && (text[i] == u'+' || text[i] == u'-')) negative = text[i++] == u'-';
  if (i >= text.size() || !IsDigit(text[i])) return 0;
  long long value = 0;
  for (; i < text.size() && IsDigit(text[i]); ++i) {
    value = value * 10 + (text[i] - u'0');
    if (value > static_cast<long long>(INT_MAX) + 1) return negative ? INT_MIN : INT_MAX;
  }
  if (negative) return static_cast<SInt32>(-value);
  return value > INT_MAX ? INT_MAX : static_cast<SInt32>(value);
}

double CFStringGetDoubleValue(CFStringRef str) {
  if (!str) return 0.0;
  std::u16string_view text = zrp::View(str);
  size_t i = SkipSpace(text, 0);
  // Only the characters a number can be made of are collected, and read in the C form ("."
  // as decimal separator) whatever the process locale is.
  std::string number;
  if (i < text.size() && text[i] == u'-') number.push_back('-');
  if (i < text.size() && (text[i] == u'+' || text[i] == u'-')) ++i;
  size_t digits = 0;
  while (i < text.size() && IsDigit(text[i])) number.push_back(static_cast<char>(text[i++])), ++digits;
  if (i < text.size() && text[i] == u'.') {
    number.push_back('.');
    ++i;
    while (i < text.size() && IsDigit(text[i])) number.push_back(static_cast<char>(text[i++])), ++digits;
  }
  if (digits == 0) return 0.0;
  if (i < text.size() && (text[i] == u'e' || text[i] == u'E')) {
    size_t j = i + 1;
    std::string exponent = "e";
    if (j < text.size() && (text[j] == u'+' || text[j] == u'-')) exponent.push_back(static_cast<char>(text[j++]));
    if (j < text.size() && IsDigit(text[j])) {
      while (j < text.size() && IsDigit(text[j])) exponent.push_back(static_cast<char>(text[j++]));
      number += exponent;
    }
  }
  static const locale_t cLocale = newlocale(LC_ALL_MASK, "C", nullptr);
  return strtod_l(number.c_str(), nullptr, cLocale);
}

CFStringEncoding CFStringConvertNSStringEncodingToEncoding(NSUInteger encoding) {
  for (const EncodingPair& pair : kEncodingPairs)
    if (pair.ns == encoding) return pair.cf;
  if ((encoding & 0x80000000UL) != 0 && encoding <= 0xFFFFFFFFUL) {
    CFStringEncoding cf = static_cast<CFStringEncoding>(encoding & 0x7FFFFFFFUL);
    if (cf != 0x7FFFFFFF) return cf;
  }
  return kCFStringEncodingInvalidId;
}

NSUInteger CFStringConvertEncodingToNSStringEncoding(CFStringEncoding encoding) {
  if (encoding == kCFStringEncodingInvalidId) return kCFStringEncodingInvalidId;
  for (const EncodingPair& pair : kEncodingPairs)
    if (pair.cf == encoding) return pair.ns;
  return static_cast<NSUInteger>(encoding) | 0x80000000UL;
}

}  // extern "C"
