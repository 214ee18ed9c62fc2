// ZRSizeString.cpp: byte counts (bytes, KB, MB, GB) and plain numbers as text in the user's
// locale, with grouping and up to three optional decimals.
#include "diagnostics/Frame.h"

namespace {

// Unit selectors. 0 and 1 both choose the unit from the size.
enum : SInt32 {
  kSizeUnitAutomatic = 0,
  kSizeUnitAutomaticToo = 1,
  kSizeUnitBytes = 2,
  kSizeUnitKilobytes = 3,
  kSizeUnitMegabytes = 4,
  kSizeUnitGigabytes = 5
};

constexpr UInt64 kKilobyte = 1024;
constexpr UInt64 kMegabyte = 1048576;
constexpr UInt64 kGigabyte = 1073741824;

// The formatter patterns: ICU decimal patterns whose "#" digits are optional, so that 1.5 KB
// with two decimals reads "1.5 KB", not "1.50 KB". The unit is part of the pattern text.
CFStringRef SizePattern(SInt32 inUnit, SInt32 inDecimals) {
  static const CFStringRef kPatterns[3][4] = {
      {CFSTR("###,###,###,###,###,### KB"), CFSTR("###,###,###,###,###,###.# KB"),
       CFSTR("###,###,###,###,###,###.## KB"), CFSTR("###,###,###,###,###,###.### KB")},
      {CFSTR("###,###,###,###,###,### MB"), CFSTR("###,###,###,###,###,###.# MB"),
       CFSTR("###,###,###,###,###,###.## MB"), CFSTR("###,###,###,###,###,###.### MB")},
      {CFSTR("###,###,###,###,###,### GB"), CFSTR("###,###,###,###,###,###.# GB"),
       CFSTR("###,###,###,###,###,###.## GB"), CFSTR("###,###,###,###,###,###.### GB")}};
  if (inDecimals < 0 || inDecimals > 3) return NULL;
  return kPatterns[inUnit - kSizeUnitKilobytes][inDecimals];
}

CFStringRef NumberPattern(SInt32 inDecimals) {
  static const CFStringRef kPatterns[4] = {CFSTR("###,###,###,###,###,###"), CFSTR("###,###,###,###,###,###.#"),
                                           CFSTR("###,###,###,###,###,###.##"), CFSTR("###,###,###,###,###,###.###")};
  // Unlike sizes, numbers with an unknown decimals selector get no decimals.
  if (inDecimals < 0 || inDecimals > 3) inDecimals = 0;
  return kPatterns[inDecimals];
}

// Copies the current locale into the empty *outLocaleRef and makes a decimal-style formatter
// for it into the empty *outFormatterRef; the caller destroys both slots, whatever the outcome.
// Returns NULL when both were made, else the name of the call that returned NULL, for the
// caller's ERROR line.
const char* CreateCurrentDecimalFormatter(CFLocaleRef* outLocaleRef, CFNumberFormatterRef* outFormatterRef) {
  *outLocaleRef = CFLocaleCopyCurrent();
  if (!*outLocaleRef) return "CFLocaleCopyCurrent";
  *outFormatterRef = CFNumberFormatterCreate(kCFAllocatorDefault, *outLocaleRef, kCFNumberFormatterDecimalStyle);
  if (!*outFormatterRef) return "CFNumberFormatterCreate";
  return NULL;
}

}  // namespace

extern "C" {

OSStatus ZRCopySizeStringRef(UInt64 inSize, SInt32 inUnit, SInt32 inDecimals, CFStringRef* outStringRef,
                             Boolean inLog) {
  CFLocaleRef localeRef = NULL;
  CFNumberFormatterRef formatterRef = NULL;
  ZR_CLEANUP {
    ZRDestroyNumberFormatterRef(&formatterRef);
    ZRDestroyLocaleRef(&localeRef);
  };

  if (!outStringRef || *outStringRef) {
    ZR_LOG_ERROR(inLog, CFSTR("outStringRef: %p"), outStringRef);
    return paramErr;
  }

  if (const char* failedCall = CreateCurrentDecimalFormatter(&localeRef, &formatterRef)) {
    ZR_LOG_ERROR(inLog, CFSTR("%s returns NULL"), failedCall);
    return unknownErr;
  }

  // Compared as unsigned, so that negative selectors are refused rather than automatic.
  SInt32 unit = inUnit;
  if (static_cast<UInt32>(inUnit) <= static_cast<UInt32>(kSizeUnitAutomaticToo)) {
    if (inSize < kKilobyte) {
      unit = kSizeUnitBytes;
    } else if (inSize < kMegabyte) {
      unit = kSizeUnitKilobytes;
    } else if (inSize < kGigabyte) {
      unit = kSizeUnitMegabytes;
    } else {
      unit = kSizeUnitGigabytes;
    }
  }

  switch (unit) {
    case kSizeUnitBytes: {
      CFNumberFormatterSetFormat(formatterRef, CFSTR("###,###,###,###,###,### B"));
      SInt64 bytes = static_cast<SInt64>(inSize);
      *outStringRef =
          CFNumberFormatterCreateStringWithValue(kCFAllocatorDefault, formatterRef, kCFNumberLongLongType, &bytes);
      break;
    }
    case kSizeUnitKilobytes:
    case kSizeUnitMegabytes:
    case kSizeUnitGigabytes: {
      static const UInt64 kUnitSizes[] = {kKilobyte, kMegabyte, kGigabyte};
      static const CFStringRef kOneUnit[] = {CFSTR("1 KB"), CFSTR("1 MB"), CFSTR("1 GB")};
      UInt64 unitSize = kUnitSizes[unit - kSizeUnitKilobytes];
      if (inSize == unitSize) {
        // Exactly one unit is a fixed text, neither formatted nor localized.
        *outStringRef = kOneUnit[unit - kSizeUnitKilobytes];
        break;
      }
      // 1/1024, 1/1048576 and 1/1073741824 are exact binary fractions.
      Float64 value = static_cast<Float64>(inSize) * (1.0 / static_cast<Float64>(unitSize));
      CFStringRef pattern = SizePattern(unit, inDecimals);
      // Without a pattern the formatter keeps the locale's own decimal pattern.
      if (pattern) CFNumberFormatterSetFormat(formatterRef, pattern);
      *outStringRef =
          CFNumberFormatterCreateStringWithValue(kCFAllocatorDefault, formatterRef, kCFNumberFloat64Type, &value);
      break;
    }
    default:
      break;
  }

  // An unknown unit selector lands here too: no text of its own exists for it.
  if (!*outStringRef) {
    ZR_LOG_ERROR(inLog, CFSTR("CFNumberFormatterCreateStringWithValue returns NULL"));
    return unknownErr;
  }

  return noErr;
}

NSString* ZRSizeString(UInt64 inSize, SInt32 inUnit, SInt32 inDecimals) {
  CFStringRef stringRef = NULL;
  if (ZRCopySizeStringRef(inSize, inUnit, inDecimals, &stringRef, true) != noErr) return nil;
  return static_cast<NSString*>(const_cast<void*>(CFAutorelease(stringRef)));
}

OSStatus ZRCopyLocalizedNumberStringRef(const void* inValue, CFNumberType inNumberType, SInt32 inDecimals,
                                        CFStringRef* outStringRef, Boolean inLog) {
  CFLocaleRef localeRef = NULL;
  CFNumberFormatterRef formatterRef = NULL;
  ZR_CLEANUP {
    ZRDestroyNumberFormatterRef(&formatterRef);
    ZRDestroyLocaleRef(&localeRef);
  };

  if (!inValue || !outStringRef || *outStringRef) {
    ZR_LOG_ERROR(inLog, CFSTR("inValue: %p, outStringRef: %p"), inValue, outStringRef);
    return paramErr;
  }

  if (const char* failedCall = CreateCurrentDecimalFormatter(&localeRef, &formatterRef)) {
    ZR_LOG_ERROR(inLog, CFSTR("%s returns NULL"), failedCall);
    return unknownErr;
  }

  CFNumberFormatterSetFormat(formatterRef, NumberPattern(inDecimals));
  *outStringRef = CFNumberFormatterCreateStringWithValue(kCFAllocatorDefault, formatterRef, inNumberType, inValue);
  if (!*outStringRef) {
    ZR_LOG_ERROR(inLog, CFSTR("CFNumberFormatterCreateStringWithValue returns NULL"));
    return unknownErr;
  }

  return noErr;
}

NSString* ZRLocalizedNumberStringOfValue(const void* inValue, CFNumberType inNumberType, SInt32 inDecimals) {
  CFStringRef stringRef = NULL;
  if (ZRCopyLocalizedNumberStringRef(inValue, inNumberType, inDecimals, &stringRef, true) != noErr) return nil;
  return static_cast<NSString*>(const_cast<void*>(CFAutorelease(stringRef)));
}

}  // extern "C"
