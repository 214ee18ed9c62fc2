// CFStringEncoding.cpp: strings made from bytes in the platform's encodings (UTF-8, ASCII,
// Mac OS Roman, ISO Latin 1, Windows Latin 1, the UTF-16 and UTF-32 forms, non-lossy ASCII),
// buffer sizes, the encodings available, and the NSStringEncoding mapping. Strings into bytes
// are in CFStringEncode.cpp.
#include <Foundation/NSObjCRuntime.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>

#include "CFString/AsciiText.h"
#include "CFString/EncodingImpl.h"
#include "CFString/StringImpl.h"
#include "runtime/Characters.h"
#include "runtime/NoThrow.h"

namespace zrp::encoding {

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

}  // namespace zrp::encoding

namespace {

using namespace zrp::encoding;

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
        int digit = zrp::HexDigitValue(p[k]);
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
// Whether the bytes in the encoding are the ISO Latin 1 characters of the same codes: always in
// ISO Latin 1 itself, and for ASCII text in the encodings whose lower half is ASCII (a UTF-8 byte
// order mark excepted, which an external representation drops).
bool ByteForByte(const UInt8* bytes, size_t n, Kind kind, bool external) {
  switch (kind) {
    case Kind::kLatin1:
      return true;
    case Kind::kUTF8:
      if (external && n >= 3 && bytes[0] == 0xEF) return false;
      return zrp::IsAscii(bytes, n);
    case Kind::kASCII:
    case Kind::kMacRoman:
    case Kind::kWindowsLatin1:
      return zrp::IsAscii(bytes, n);
    default:
      return false;
  }
}

// CFStringCreateWithBytes.
CFStringRef CreateFromBytes(const UInt8* bytes, CFIndex numBytes, CFStringEncoding encoding, bool external) {
  return zrp::CatchOutOfMemory<CFStringRef>(nullptr, [&]() -> CFStringRef {
    if (numBytes < 0 || (numBytes > 0 && !bytes)) return nullptr;
    auto n = static_cast<size_t>(numBytes);
    Kind kind = KindOf(encoding);
    // Bytes that are their own characters become the text as they are, one byte each.
    if (ByteForByte(bytes, n, kind, external))
      return zrp::CreateStringLatin1(bytes, n, kind != Kind::kLatin1 || zrp::IsAscii(bytes, n));
    std::u16string chars;
    if (!Decode(bytes, n, kind, external, &chars)) return nullptr;
    return zrp::CreateString(chars);
  });
}

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
  return CreateFromBytes(bytes, numBytes, encoding, isExternalRepresentation);
}

CFStringRef CFStringCreateWithCString(CFAllocatorRef, const char* cStr, CFStringEncoding encoding) {
  if (!cStr) return nullptr;
  return CreateFromBytes(reinterpret_cast<const UInt8*>(cStr), static_cast<CFIndex>(std::strlen(cStr)), encoding,
                         false);
}

CFStringRef CFStringCreateWithBytesNoCopy(CFAllocatorRef alloc, const UInt8* bytes, CFIndex numBytes,
                                          CFStringEncoding encoding, Boolean isExternalRepresentation,
                                          CFAllocatorRef contentsDeallocator) {
  if (numBytes < 0 || (numBytes > 0 && !bytes)) return nullptr;
  auto n = static_cast<size_t>(numBytes);
  Kind kind = KindOf(encoding);
  // Every allocator but the null one allocates with malloc here, so free gives the bytes back.
  bool owned = contentsDeallocator != kCFAllocatorNull;
  auto* writable = const_cast<UInt8*>(bytes);
  if (bytes && ByteForByte(bytes, n, kind, isExternalRepresentation)) {
    bool ascii = kind != Kind::kLatin1 || zrp::IsAscii(bytes, n);
    return zrp::CatchOutOfMemory<CFStringRef>(nullptr, [&]() -> CFStringRef {
      return zrp::Finished(zrp::New<__CFString>(false),
                           [&](__CFString* string) { string->text.adoptLatin1(writable, n, ascii, owned); });
    });
  }
  // Any other text is converted; the bytes are not needed after that.
  CFStringRef string = CFStringCreateWithBytes(alloc, bytes, numBytes, encoding, isExternalRepresentation);
  if (string && owned) std::free(writable);
  return string;
}

void CFStringAppendCString(CFMutableStringRef theString, const char* cStr, CFStringEncoding encoding) {
  zrp::CatchOutOfMemory([&] {
    if (!zrp::CheckMutable(theString, "CFStringAppendCString") || !cStr) return;
    const auto* bytes = reinterpret_cast<const UInt8*>(cStr);
    size_t n = std::strlen(cStr);
    Kind kind = KindOf(encoding);
    if (ByteForByte(bytes, n, kind, false)) {
      theString->text.appendLatin1(bytes, n, kind != Kind::kLatin1 || zrp::IsAscii(bytes, n));
      return;
    }
    std::u16string chars;
    if (!Decode(bytes, n, kind, false, &chars)) return;
    theString->text.append(chars);
  });
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
CFStringEncoding CFStringGetSystemEncoding(void) { return kCFStringEncodingUTF8; }

Boolean CFStringIsEncodingAvailable(CFStringEncoding encoding) { return KindOf(encoding) != Kind::kUnsupported; }
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
