// ZRHFSName.cpp: catalog names (HFSUniStr255): extensions, equivalence under collation
// options, suffixes, digits, names from strings and back, and names with a suffix inserted
// before the extension; and the table of character constants.
#include <ZRFramework/ZRFramework.h>

#include "diagnostics/Frame.h"

// The character constants are exported one by one, yet laid out in this order as one table of
// UniChar values, so they are defined together in read-only data rather than as separate
// variables whose order the compiler would choose.
#define ZR_CHARACTER(name, value) \
  ".globl " #name "\n.type " #name ", @object\n.size " #name ", 2\n" #name ":\n.short " #value "\n"
// clang-format off
__asm__(".pushsection .rodata\n.balign 2\n"
        ZR_CHARACTER(kCharacterDot, 0x002E)
        ZR_CHARACTER(kCharacterNormalA, 0x0041)
        ZR_CHARACTER(kCharacterNormalB, 0x0042)
        ZR_CHARACTER(kCharacterNormalC, 0x0043)
        ZR_CHARACTER(kCharacterNormalD, 0x0044)
        ZR_CHARACTER(kCharacterNormalE, 0x0045)
        ZR_CHARACTER(kCharacterNormalF, 0x0046)
        ZR_CHARACTER(kCharacterNormalG, 0x0047)
        ZR_CHARACTER(kCharacterNormalH, 0x0048)
        ZR_CHARACTER(kCharacterNormalI, 0x0049)
        ZR_CHARACTER(kCharacterNormalJ, 0x004A)
        ZR_CHARACTER(kCharacterNormalK, 0x004B)
        ZR_CHARACTER(kCharacterNormalL, 0x004C)
        ZR_CHARACTER(kCharacterNormalM, 0x004D)
        ZR_CHARACTER(kCharacterNormalN, 0x004E)
        ZR_CHARACTER(kCharacterNormalO, 0x004F)
        ZR_CHARACTER(kCharacterNormalP, 0x0050)
        ZR_CHARACTER(kCharacterNormalQ, 0x0051)
        ZR_CHARACTER(kCharacterNormalR, 0x0052)
        ZR_CHARACTER(kCharacterNormalS, 0x0053)
        ZR_CHARACTER(kCharacterNormalT, 0x0054)
        ZR_CHARACTER(kCharacterNormalU, 0x0055)
        ZR_CHARACTER(kCharacterNormalV, 0x0056)
        ZR_CHARACTER(kCharacterNormalW, 0x0057)
        ZR_CHARACTER(kCharacterNormalX, 0x0058)
        ZR_CHARACTER(kCharacterNormalY, 0x0059)
        ZR_CHARACTER(kCharacterNormalZ, 0x005A)
        ZR_CHARACTER(kCharacterNormal0, 0x0030)
        ZR_CHARACTER(kCharacterNormal1, 0x0031)
        ZR_CHARACTER(kCharacterNormal2, 0x0032)
        ZR_CHARACTER(kCharacterNormal3, 0x0033)
        ZR_CHARACTER(kCharacterNormal4, 0x0034)
        ZR_CHARACTER(kCharacterNormal5, 0x0035)
        ZR_CHARACTER(kCharacterNormal6, 0x0036)
        ZR_CHARACTER(kCharacterNormal7, 0x0037)
        ZR_CHARACTER(kCharacterNormal8, 0x0038)
        ZR_CHARACTER(kCharacterNormal9, 0x0039)
        ZR_CHARACTER(kCharacterSmallA, 0x0061)
        ZR_CHARACTER(kCharacterSmallB, 0x0062)
        ZR_CHARACTER(kCharacterSmallC, 0x0063)
        ZR_CHARACTER(kCharacterSmallD, 0x0064)
        ZR_CHARACTER(kCharacterSmallE, 0x0065)
        ZR_CHARACTER(kCharacterSmallF, 0x0066)
        ZR_CHARACTER(kCharacterSmallG, 0x0067)
        ZR_CHARACTER(kCharacterSmallH, 0x0068)
        ZR_CHARACTER(kCharacterSmallI, 0x0069)
        ZR_CHARACTER(kCharacterSmallJ, 0x006A)
        ZR_CHARACTER(kCharacterSmallK, 0x006B)
        ZR_CHARACTER(kCharacterSmallL, 0x006C)
        ZR_CHARACTER(kCharacterSmallM, 0x006D)
        ZR_CHARACTER(kCharacterSmallN, 0x006E)
        ZR_CHARACTER(kCharacterSmallO, 0x006F)
        ZR_CHARACTER(kCharacterSmallP, 0x0070)
        ZR_CHARACTER(kCharacterSmallQ, 0x0071)
        ZR_CHARACTER(kCharacterSmallR, 0x0072)
        ZR_CHARACTER(kCharacterSmallS, 0x0073)
        ZR_CHARACTER(kCharacterSmallT, 0x0074)
        ZR_CHARACTER(kCharacterSmallU, 0x0075)
        ZR_CHARACTER(kCharacterSmallV, 0x0076)
        ZR_CHARACTER(kCharacterSmallW, 0x0077)
        ZR_CHARACTER(kCharacterSmallX, 0x0078)
        ZR_CHARACTER(kCharacterSmallY, 0x0079)
        ZR_CHARACTER(kCharacterSmallZ, 0x007A)
        ".popsection\n");
// clang-format on
#undef ZR_CHARACTER

namespace {

// The index of the last "." of the first `length` units, or -1.
SInt32 LastDotIndex(const UniChar* units, CFIndex length) {
  for (CFIndex index = length - 1; index >= 0; --index) {
    if (units[index] == '.') return static_cast<SInt32>(index);
  }
  return -1;
}

}  // namespace

SInt32 ZRGetExtensionIndexOfHFSName(const HFSUniStr255* inHFSName) {
  if (!inHFSName || inHFSName->length == 0) return -1;
  return LastDotIndex(inHFSName->unicode, inHFSName->length);
}

Boolean ZRUniCharIsNumber(UniChar inUniChar) { return inUniChar >= '0' && inUniChar <= '9'; }

Boolean ZRUniCharBuffersAreEqual(const UniChar* inBuffer1, UniCharCount inLength1, const UniChar* inBuffer2,
                                 UniCharCount inLength2, UCCollateOptions inOptions) {
  // The comparison's status is not looked at: a failed comparison leaves the flag false.
  Boolean equivalent = false;
  UCCompareTextDefault(inOptions, inBuffer1, inLength1, inBuffer2, inLength2, &equivalent, NULL);
  return equivalent;
}

Boolean ZRHFSNamesAreEqual(const HFSUniStr255* inHFSName1, const HFSUniStr255* inHFSName2, UCCollateOptions inOptions) {
  if (!inHFSName1 || !inHFSName2) return false;
  return ZRUniCharBuffersAreEqual(inHFSName1->unicode, inHFSName1->length, inHFSName2->unicode, inHFSName2->length,
                                  inOptions);
}

Boolean ZRHFSNameArrayContainsHFSName(const HFSUniStr255* inHFSNameArray, CFIndex inCount,
                                      const HFSUniStr255* inHFSName, UCCollateOptions inOptions) {
  if (!inHFSNameArray || !inHFSName) return false;
  for (CFIndex index = 0; index < inCount; ++index) {
    if (ZRHFSNamesAreEqual(&inHFSNameArray[index], inHFSName, inOptions)) return true;
  }
  return false;
}

// A plain comparison of code units, not one under collation.
Boolean ZRHFSNameHasSuffix(const HFSUniStr255* inHFSName, const HFSUniStr255* inSuffixHFSName, Boolean inLog) {
  if (!inHFSName || !inSuffixHFSName) {
    ZR_LOG_ERROR(inLog, CFSTR("inHFSName: %p, inSuffixHFSName: %p"), inHFSName, inSuffixHFSName);
    return false;
  }
  if (inHFSName->length == 0) return false;
  if (inSuffixHFSName->length > inHFSName->length) return false;
  CFIndex nameIndex = inHFSName->length - 1;
  for (CFIndex suffixIndex = inSuffixHFSName->length - 1; suffixIndex >= 0; --suffixIndex, --nameIndex) {
    if (inHFSName->unicode[nameIndex] != inSuffixHFSName->unicode[suffixIndex]) return false;
  }
  return true;
}

NSString* ZRNameStringOfHFSName(const HFSUniStr255* inHFSName) {
  if (!inHFSName) return NULL;
  CFStringRef stringRef = FSCreateStringFromHFSUniStr(kCFAllocatorDefault, inHFSName);
  if (!stringRef) return NULL;
  return static_cast<NSString*>(const_cast<void*>(CFAutorelease(stringRef)));
}

OSStatus ZRIncrementUniCharNumber(UniChar* ioUniChar, Boolean* outIncrementedToZero, Boolean inLog) {
  if (!ioUniChar || !outIncrementedToZero) {
    ZR_LOG_ERROR(inLog, CFSTR("ioUniChar: %p, outIncrementedToZero: %p"), ioUniChar, outIncrementedToZero);
    return paramErr;
  }
  // Any other unit is left alone without an error: the caller tests for digits itself.
  if (*ioUniChar >= '0' && *ioUniChar <= '8') {
    *ioUniChar = static_cast<UniChar>(*ioUniChar + 1);
    *outIncrementedToZero = false;
  } else if (*ioUniChar == '9') {
    *ioUniChar = '0';
    *outIncrementedToZero = true;
  }
  return noErr;
}

OSStatus ZRGetHFSNameOfStringRef(CFStringRef inStringRef, HFSUniStr255* outHFSName, Boolean inLog) {
  if (!inStringRef || !outHFSName) {
    ZR_LOG_ERROR(inLog, CFSTR("inStringRef: %@, outHFSName: %p"), inStringRef, outHFSName);
    return paramErr;
  }
  // Clipped to 255 units, even inside a surrogate pair; units past the length are left alone.
  CFIndex length = CFStringGetLength(inStringRef);
  if (length > 255) length = 255;
  outHFSName->length = static_cast<UInt16>(length);
  CFStringGetCharacters(inStringRef, CFRangeMake(0, length), outHFSName->unicode);
  return noErr;
}

OSStatus ZRCopyExtensionStringRefOfHFSName(const HFSUniStr255* inHFSName, CFStringRef* outExtensionStringRef,
                                           Boolean inLog) {
  if (!inHFSName || !outExtensionStringRef || *outExtensionStringRef) {
    ZR_LOG_ERROR(inLog, CFSTR("inHFSName: %p, outExtensionStringRef: %p"), inHFSName, outExtensionStringRef);
    return paramErr;
  }
  SInt32 index = ZRGetExtensionIndexOfHFSName(inHFSName);
  if (index < 0) {
    // The constant empty string: releasing it later is harmless.
    *outExtensionStringRef = CFSTR("");
    return noErr;
  }
  *outExtensionStringRef =
      CFStringCreateWithCharacters(kCFAllocatorDefault, &inHFSName->unicode[index + 1], inHFSName->length - index - 1);
  if (!*outExtensionStringRef) {
    ZR_LOG_ERROR(inLog, CFSTR("CFStringCreateWithCharacters returns NULL"));
    return unknownErr;
  }
  return noErr;
}

OSStatus ZRCopyNameStringRefByAddingSuffixStringRef(CFStringRef inNameStringRef, CFStringRef inSuffixStringRef,
                                                    Boolean inSplitExtension, CFStringRef* outNameStringRef,
                                                    Boolean inLog) {
  CFStringRef baseStringRef = NULL;
  CFStringRef extensionStringRef = NULL;
  ZR_CLEANUP {
    ZRDestroyStringRef(&baseStringRef);
    ZRDestroyStringRef(&extensionStringRef);
  };

  if (!inNameStringRef || !inSuffixStringRef || !outNameStringRef) {
    ZR_LOG_ERROR(inLog, CFSTR("inNameStringRef: %p, inSuffixStringRef: %p, outNameStringRef: %p"), inNameStringRef,
                 inSuffixStringRef, outNameStringRef);
    return paramErr;
  }

  CFIndex length = CFStringGetLength(inNameStringRef);
  CFIndex dot = -1;
  if (inSplitExtension) {
    for (CFIndex index = length - 1; index >= 0; --index) {
      if (CFStringGetCharacterAtIndex(inNameStringRef, index) == '.') {
        dot = index;
        break;
      }
    }
  }

  bool hasExtension = true;
  if (dot == 0) {
    // '.profile': no base, all of it the extension.
    baseStringRef = CFSTR("");
    extensionStringRef = CFStringCreateWithSubstring(kCFAllocatorDefault, inNameStringRef, CFRangeMake(1, length - 1));
  } else if (dot == length - 1 && length > 0) {
    // 'name.': an empty extension, whose separator is still written.
    extensionStringRef = CFSTR("");
    baseStringRef = CFStringCreateWithSubstring(kCFAllocatorDefault, inNameStringRef, CFRangeMake(0, length - 1));
  } else if (dot == -1) {
    // No extension (an empty name counts here too): the result is the name and the suffix.
    hasExtension = false;
    baseStringRef = CFStringCreateCopy(kCFAllocatorDefault, inNameStringRef);
    if (!baseStringRef) {
      ZR_LOG_ERROR(inLog, CFSTR("CFStringCreateCopy returns NULL"));
      return unknownErr;
    }
  } else {
    baseStringRef = CFStringCreateWithSubstring(kCFAllocatorDefault, inNameStringRef, CFRangeMake(0, dot));
    extensionStringRef =
        CFStringCreateWithSubstring(kCFAllocatorDefault, inNameStringRef, CFRangeMake(dot + 1, length - dot - 1));
  }
  if (!baseStringRef || (hasExtension && !extensionStringRef)) {
    ZR_LOG_ERROR(inLog, CFSTR("CFStringCreateWithSubstring returns NULL"));
    return unknownErr;
  }

  // Only the base is shortened; a base too short to absorb the excess leaves the result long.
  CFIndex baseLength = CFStringGetLength(baseStringRef);
  CFIndex total = baseLength + CFStringGetLength(inSuffixStringRef) +
                  (hasExtension ? CFStringGetLength(extensionStringRef) + 1 : 0);
  if (total > 255) {
    CFIndex excess = total - 255;
    if (baseLength > excess) {
      CFStringRef shortened =
          CFStringCreateWithSubstring(kCFAllocatorDefault, baseStringRef, CFRangeMake(0, baseLength - excess));
      ZRDestroyStringRef(&baseStringRef);
      baseStringRef = shortened;
      if (!baseStringRef) {
        ZR_LOG_ERROR(inLog, CFSTR("CFStringCreateWithSubstring returns NULL"));
        return unknownErr;
      }
    }
  }

  *outNameStringRef =
      CFStringCreateWithFormat(kCFAllocatorDefault, NULL, CFSTR("%@%@%@%@"), baseStringRef, inSuffixStringRef,
                               hasExtension ? CFSTR(".") : CFSTR(""), hasExtension ? extensionStringRef : CFSTR(""));
  if (!*outNameStringRef) {
    ZR_LOG_ERROR(inLog, CFSTR("CFStringCreateWithFormat returns NULL"));
    return unknownErr;
  }
  return noErr;
}
