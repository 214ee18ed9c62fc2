// CFAttributedString.h: strings with attributes (a dictionary of attributes over the text).
#pragma once

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFDictionary.h>
#include <CoreFoundation/CFString.h>

typedef const struct __CFAttributedString* CFAttributedStringRef;
typedef struct __CFAttributedString* CFMutableAttributedStringRef;

CF_EXTERN_C_BEGIN

CF_EXPORT CFTypeID CFAttributedStringGetTypeID(void);

// A string whose whole text carries the attributes (NULL: none). The string and the
// dictionary are copied. NULL for a NULL string or when the object cannot be made.
CF_EXPORT CFAttributedStringRef CFAttributedStringCreate(CFAllocatorRef alloc, CFStringRef str,
                                                         CFDictionaryRef attributes);
CF_EXPORT CFAttributedStringRef CFAttributedStringCreateCopy(CFAllocatorRef alloc, CFAttributedStringRef aStr);

// The text; the attributed string keeps ownership.
CF_EXPORT CFStringRef CFAttributedStringGetString(CFAttributedStringRef aStr);
CF_EXPORT CFIndex CFAttributedStringGetLength(CFAttributedStringRef aStr);

// The attributes at loc (0 <= loc < length), lent; *effectiveRange (when given) receives the
// run of characters that share them. An index out of bounds is a programming error: it is
// reported on standard error and gives NULL.
CF_EXPORT CFDictionaryRef CFAttributedStringGetAttributes(CFAttributedStringRef aStr, CFIndex loc,
                                                          CFRange* effectiveRange);
// One attribute at loc, lent; NULL when the characters there do not carry it.
CF_EXPORT CFTypeRef CFAttributedStringGetAttribute(CFAttributedStringRef aStr, CFIndex loc, CFStringRef attrName,
                                                   CFRange* effectiveRange);

CF_EXTERN_C_END
