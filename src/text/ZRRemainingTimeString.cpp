// ZRRemainingTimeString.cpp: an estimate of the seconds left as a short localized phrase, in
// coarse steps that keep the phrase from flickering while the estimate moves.
#include <climits>
#include <cmath>

#include "diagnostics/Frame.h"

namespace {

// The double as a signed 32-bit integer, truncated towards zero the way the platform's
// conversion instruction does it: NaN and values below the range give the smallest integer,
// values above it the largest. So NaN and huge negative estimates end up as 5 seconds and huge
// positive ones as 2 hours, instead of depending on undefined behaviour.
SInt32 TruncatedSInt32(double inValue) {
  if (std::isnan(inValue) || inValue <= static_cast<double>(INT_MIN)) return INT_MIN;
  if (inValue >= static_cast<double>(INT_MAX)) return INT_MAX;
  return static_cast<SInt32>(inValue);
}

// The main bundle's text for the key, the key itself when no localization has it.
CFStringRef CopyLocalizedText(CFStringRef inKeyRef) {
  return CFBundleCopyLocalizedString(CFBundleGetMainBundle(), inKeyRef, inKeyRef, NULL);
}

}  // namespace

extern "C" {

OSStatus ZRCopyRemainingTimeStringRef(double inSeconds, CFStringRef* outStringRef, Boolean inLog) {
  CFStringRef textRef = NULL;
  ZR_CLEANUP { ZRDestroyStringRef(&textRef); };

  if (!outStringRef || *outStringRef) {
    ZR_LOG_ERROR(inLog, CFSTR("outStringRef: %p"), outStringRef);
    return paramErr;
  }

  // "Not at least 55" rather than "below 55": negative estimates and NaN read as seconds too.
  if (!(inSeconds >= 55)) {
    SInt32 seconds = TruncatedSInt32(ceil(inSeconds / 5) * 5);
    if (seconds < 5) seconds = 5;
    textRef = CopyLocalizedText(CFSTR("Process_General_SecondsRemaining"));
    if (textRef) *outStringRef = CFStringCreateWithFormat(kCFAllocatorDefault, NULL, textRef, seconds);
  } else if (inSeconds < 90) {
    *outStringRef = CopyLocalizedText(CFSTR("Process_General_OneMinuteRemaining"));
  } else if (inSeconds < 3300) {
    SInt32 minutes = TruncatedSInt32(ceil(inSeconds / 60));
    if (minutes < 2) minutes = 2;
    textRef = CopyLocalizedText(CFSTR("Process_General_MinutesRemaining"));
    if (textRef) *outStringRef = CFStringCreateWithFormat(kCFAllocatorDefault, NULL, textRef, minutes);
  } else if (inSeconds < 5400) {
    *outStringRef = CopyLocalizedText(CFSTR("Process_General_OneHourRemaining"));
  } else {
    // Truncated, not rounded up, and never more than 2: every estimate from 3 hours up reads
    // as 2 hours, and one between 1 h 30 min and 2 h as 1 with the hours text.
    SInt32 hours = TruncatedSInt32(inSeconds / 3600);
    if (hours > 2) hours = 2;
    textRef = CopyLocalizedText(CFSTR("Process_General_HoursRemaining"));
    if (textRef) *outStringRef = CFStringCreateWithFormat(kCFAllocatorDefault, NULL, textRef, hours);
  }

  if (!*outStringRef) {
    ZR_LOG_ERROR(inLog, CFSTR("*outStringRef is NULL"));
    return unknownErr;
  }

  return noErr;
}

NSString* ZRRemainingTimeString(double inSeconds) {
  CFStringRef stringRef = NULL;
  if (ZRCopyRemainingTimeStringRef(inSeconds, &stringRef, true) != noErr) return nil;
  return static_cast<NSString*>(const_cast<void*>(CFAutorelease(stringRef)));
}

}  // extern "C"
