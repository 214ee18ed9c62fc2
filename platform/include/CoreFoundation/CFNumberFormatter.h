// CFNumberFormatter.h: number formatters: numbers as text in a locale, in one of the platform's
// styles or after an ICU decimal pattern ("#,##0.## KB").
#pragma once

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFLocale.h>
#include <CoreFoundation/CFNumber.h>
#include <CoreFoundation/CFString.h>

typedef struct __CFNumberFormatter* CFNumberFormatterRef;

typedef CFIndex CFNumberFormatterStyle;
enum {
  kCFNumberFormatterNoStyle = 0,
  kCFNumberFormatterDecimalStyle = 1,
  kCFNumberFormatterCurrencyStyle = 2,
  kCFNumberFormatterPercentStyle = 3,
  kCFNumberFormatterScientificStyle = 4,
  kCFNumberFormatterSpellOutStyle = 5,
  kCFNumberFormatterOrdinalStyle = 6,
  kCFNumberFormatterCurrencyISOCodeStyle = 8,
  kCFNumberFormatterCurrencyPluralStyle = 9,
  kCFNumberFormatterCurrencyAccountingStyle = 10
};

CF_EXTERN_C_BEGIN

CF_EXPORT CFTypeID CFNumberFormatterGetTypeID(void);

// A formatter for the locale (NULL: the system locale) in the style. NULL for an unknown style,
// or when the formatter cannot be made.
CF_EXPORT CFNumberFormatterRef CFNumberFormatterCreate(CFAllocatorRef allocator, CFLocaleRef locale,
                                                       CFNumberFormatterStyle style);

// The formatter's locale and style, as given to CFNumberFormatterCreate.
CF_EXPORT CFLocaleRef CFNumberFormatterGetLocale(CFNumberFormatterRef formatter);
CF_EXPORT CFNumberFormatterStyle CFNumberFormatterGetStyle(CFNumberFormatterRef formatter);

// Replaces the formatter's pattern with an ICU decimal pattern ("###,###.## MB"). A pattern that
// does not parse leaves the formatter as it was.
CF_EXPORT void CFNumberFormatterSetFormat(CFNumberFormatterRef formatter, CFStringRef formatString);
// The formatter's current pattern; the formatter keeps ownership.
CF_EXPORT CFStringRef CFNumberFormatterGetFormat(CFNumberFormatterRef formatter);

// The number as text. Integer types are formatted exactly, floating-point types as doubles.
// NULL for an unknown number type or when formatting fails.
CF_EXPORT CFStringRef CFNumberFormatterCreateStringWithNumber(CFAllocatorRef allocator, CFNumberFormatterRef formatter,
                                                              CFNumberRef number);
CF_EXPORT CFStringRef CFNumberFormatterCreateStringWithValue(CFAllocatorRef allocator, CFNumberFormatterRef formatter,
                                                             CFNumberType numberType, const void* valuePtr);

CF_EXTERN_C_END
