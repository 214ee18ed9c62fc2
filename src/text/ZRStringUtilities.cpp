// ZRStringUtilities.cpp: equality and emptiness tests that accept NULL, conversion of a string
// to a malloc'ed C buffer, find-and-replace, removal of characters, collapsing of spaces, and
// reading a number out of text.
#include <ZRFramework/ZRFramework.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "diagnostics/Frame.h"

namespace {

// Only U+0020 separates words; tabs and line breaks belong to the words around them.
constexpr UniChar kSpace = 0x0020;

}  // namespace

extern "C" {

Boolean ZRStringRefsAreEqual(CFStringRef inStringRef1, CFStringRef inStringRef2) {
  if (!inStringRef1 && !inStringRef2) return true;
  if (!inStringRef1 || !inStringRef2) return false;
  return CFStringCompare(inStringRef1, inStringRef2, 0) == kCFCompareEqualTo;
}

Boolean ZRStringRefsAreDifferent(CFStringRef inStringRef1, CFStringRef inStringRef2) {
  return !ZRStringRefsAreEqual(inStringRef1, inStringRef2);
}

Boolean ZRStringRefIsEmpty(CFStringRef inStringRef) { return !inStringRef || CFStringGetLength(inStringRef) == 0; }

Boolean ZRStringRefIsNotEmpty(CFStringRef inStringRef) { return inStringRef && CFStringGetLength(inStringRef) > 0; }

OSStatus ZRCopyCBufferOfStringRef(CFStringRef inStringRef, CFStringEncoding inEncoding, char** outCBuffer,
                                  Boolean inLog) {
  OSStatus status = noErr;
  // Whatever the slot holds when this function fails (a buffer the caller left in it, or the
  // one made here) is freed, so that a failed call never hands back a buffer.
  ZR_CLEANUP {
    if (status != noErr && outCBuffer) {
      free(*outCBuffer);
      *outCBuffer = NULL;
    }
  };

  if (!inStringRef || !outCBuffer || *outCBuffer) {
    ZR_LOG_ERROR(inLog, CFSTR("inStringRef: %p, outCBuffer: %p"), inStringRef, outCBuffer);
    return status = paramErr;
  }

  // The maximum size is taken as it is, with no byte added for the terminator: a string whose
  // converted form fills the whole maximum does not fit and fails below.
  CFIndex size = CFStringGetMaximumSizeForEncoding(CFStringGetLength(inStringRef), inEncoding);
  if (size <= 0) {
    ZR_LOG_ERROR(inLog, CFSTR("CFStringGetMaximumSizeForEncoding returns %i for '%@'"), static_cast<int>(size),
                 inStringRef);
    return status = unknownErr;
  }

  *outCBuffer = static_cast<char*>(malloc(static_cast<size_t>(size)));
  if (!*outCBuffer) {
    ZR_LOG_ERROR(inLog, CFSTR("malloc returns NULL"));
    return status = unknownErr;
  }

  if (!CFStringGetCString(inStringRef, *outCBuffer, size, inEncoding)) {
    ZR_LOG_ERROR(inLog, CFSTR("CFStringGetCString returns false for '%@'"), inStringRef);
    return status = unknownErr;
  }

  return status;
}

OSStatus ZRCopyStringRefOfStringRefAfterFindAndReplace(CFStringRef inStringRef, CFStringRef inFindStringRef,
                                                       CFStringRef inReplaceStringRef,
                                                       CFStringCompareFlags inCompareOptions, CFStringRef* outStringRef,
                                                       Boolean inLog) {
  CFMutableStringRef mutableStringRef = NULL;
  ZR_CLEANUP { ZRDestroyMutableStringRef(&mutableStringRef); };

  if (!inStringRef || !inFindStringRef || !inReplaceStringRef || !outStringRef || *outStringRef) {
    ZR_LOG_ERROR(inLog, CFSTR("inStringRef: %p, inFindStringRef: %p, inReplaceStringRef: %p, outStringRef: %p"),
                 inStringRef, inFindStringRef, inReplaceStringRef, outStringRef);
    return paramErr;
  }

  mutableStringRef = CFStringCreateMutableCopy(NULL, 0, inStringRef);
  if (!mutableStringRef) {
    ZR_LOG_ERROR(inLog, CFSTR("CFStringCreateMutableCopy returns NULL"));
    return unknownErr;
  }

  CFStringFindAndReplace(mutableStringRef, inFindStringRef, inReplaceStringRef,
                         CFRangeMake(0, CFStringGetLength(mutableStringRef)), inCompareOptions);

  *outStringRef = CFStringCreateCopy(NULL, mutableStringRef);
  if (!*outStringRef) {
    // This failure has always been reported as paramErr; callers may test for it, so it stays.
    ZR_LOG_ERROR(inLog, CFSTR("CFStringCreateCopy returns NULL"));
    return paramErr;
  }

  return noErr;
}

OSStatus ZRRemoveCharactersFromStringRef(CFStringRef inStringRef, CFStringRef inCharacterStringRef,
                                         CFStringCompareFlags inCompareOptions, CFStringRef* outStringRef,
                                         Boolean inLog) {
  CFMutableStringRef mutableStringRef = NULL;
  ZR_CLEANUP { ZRDestroyMutableStringRef(&mutableStringRef); };

  if (!inStringRef || !inCharacterStringRef || !outStringRef || *outStringRef) {
    ZR_LOG_ERROR(inLog, CFSTR("inStringRef: %p, inCharacterStringRef: %p, outStringRef: %p"), inStringRef,
                 inCharacterStringRef, outStringRef);
    return paramErr;
  }

  mutableStringRef = CFStringCreateMutableCopy(NULL, 0, inStringRef);
  if (!mutableStringRef) {
    ZR_LOG_ERROR(inLog, CFSTR("CFStringCreateMutableCopy returns NULL"));
    return unknownErr;
  }

  // Unit by unit, from the last to the first: the two halves of a surrogate pair are removed
  // separately, wherever each occurs.
  for (CFIndex index = CFStringGetLength(inCharacterStringRef) - 1; index >= 0; --index) {
    UniChar character = CFStringGetCharacterAtIndex(inCharacterStringRef, index);
    CFStringRef characterStringRef = CFStringCreateWithCharacters(NULL, &character, 1);
    if (!characterStringRef) continue;
    CFStringFindAndReplace(mutableStringRef, characterStringRef, CFSTR(""),
                           CFRangeMake(0, CFStringGetLength(mutableStringRef)), inCompareOptions);
    ZRDestroyStringRef(&characterStringRef);
  }

  *outStringRef = CFStringCreateCopy(NULL, mutableStringRef);
  if (!*outStringRef) {
    ZR_LOG_ERROR(inLog, CFSTR("CFStringCreateCopy returns NULL"));
    return unknownErr;
  }

  return noErr;
}

OSStatus ZRCopyStringRefOfStringRefAfterNormalizingWhitespace(CFStringRef inStringRef, CFStringRef* outStringRef,
                                                              Boolean inLog) {
  UniChar* buffer = NULL;
  CFMutableStringRef resultStringRef = NULL;
  ZR_CLEANUP {
    free(buffer);
    ZRDestroyMutableStringRef(&resultStringRef);
  };

  if (!inStringRef || !outStringRef || *outStringRef) {
    ZR_LOG_ERROR(inLog, CFSTR("inStringRef: %p, outStringRef: %p"), inStringRef, outStringRef);
    return paramErr;
  }

  CFIndex count = CFStringGetLength(inStringRef);
  if (count < 1) return unknownErr;

  buffer = static_cast<UniChar*>(calloc(static_cast<size_t>(count), sizeof(UniChar)));
  if (!buffer) {
    ZR_LOG_ERROR(inLog, CFSTR("calloc returns NULL"));
    return unknownErr;
  }
  CFStringGetCharacters(inStringRef, CFRangeMake(0, count), buffer);

  // A word is written when the space after it is reached, or at the last unit. The last unit
  // itself is written only as the end of a word that began before it, so a final word of one
  // unit is dropped ("a b" gives "a") and a lone non-space unit gives nothing: long-standing
  // behaviour that callers rely on.
  CFIndex start = kCFNotFound;
  for (CFIndex i = 0; i < count; ++i) {
    bool isSpace = buffer[i] == kSpace;
    bool isLast = i == count - 1;
    if (!isSpace && !isLast) {
      if (start == kCFNotFound) start = i;
      continue;
    }
    if (start == kCFNotFound) continue;
    bool writeWord = true;
    if (!resultStringRef) {
      resultStringRef = CFStringCreateMutable(NULL, 0);
      writeWord = resultStringRef != NULL;
    } else {
      CFStringAppendCharacters(resultStringRef, &kSpace, 1);
    }
    if (writeWord) {
      CFIndex end = (isLast && !isSpace) ? i + 1 : i;
      CFStringAppendCharacters(resultStringRef, buffer + start, end - start);
    }
    start = kCFNotFound;
  }

  if (resultStringRef) *outStringRef = CFStringCreateCopy(NULL, resultStringRef);
  if (!*outStringRef) {
    ZR_LOG_ERROR(inLog, CFSTR("*outStringRef is NULL"));
    return unknownErr;
  }

  return noErr;
}

double ZRGetDoubleOfStringBuffer(const char* inStringBuffer, double inDefaultValue) {
  if (!inStringBuffer) return inDefaultValue;

  // The first and the last byte are never separators: ".5" and "5." are plain numbers.
  size_t length = strlen(inStringBuffer);
  for (size_t i = 1; i + 1 < length; ++i) {
    char character = inStringBuffer[i];
    if (character == '/') {
      double numerator = strtod(inStringBuffer, NULL);
      double denominator = strtod(inStringBuffer + i + 1, NULL);
      return numerator != 0.0 ? numerator / denominator : numerator;
    }
    if (character == ',' || character == '.') {
      // The digits after the separator are read as a whole number and shifted right by their
      // printed length. Leading zeros of the fraction are thereby lost ("3,05" gives 3.5), and
      // since strtod already reads through ".", "3.25" gives 3.5: results that stored values
      // were made with, so they stay.
      double whole = strtod(inStringBuffer, NULL);
      double fraction = strtod(inStringBuffer + i + 1, NULL);
      if (fraction == 0.0) return whole;
      // The printed length is what snprintf reports: the whole rendering (an exponent written
      // out in full), measured without writing it anywhere.
      int digits = snprintf(NULL, 0, "%.0f", fraction);
      if (digits < 0) digits = 0;
      return whole + fraction / pow(10.0, static_cast<double>(digits));
    }
  }

  return strtod(inStringBuffer, NULL);
}

double ZRGetDoubleOfStringRef(CFStringRef inStringRef, double inDefaultValue) {
  if (!inStringRef) return inDefaultValue;

  char* buffer = NULL;
  ZR_CLEANUP { free(buffer); };
  // A string that cannot be converted is worth a line in the log whatever the caller wants.
  if (ZRCopyCBufferOfStringRef(inStringRef, kCFStringEncodingUTF8, &buffer, true) != noErr) return inDefaultValue;
  return ZRGetDoubleOfStringBuffer(buffer, inDefaultValue);
}

}  // extern "C"
