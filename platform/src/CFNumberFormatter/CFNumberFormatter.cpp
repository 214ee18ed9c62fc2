// CFNumberFormatter.cpp: number formatters over ICU's UNumberFormat: the platform's styles,
// ICU decimal patterns, and formatting of every CFNumberType.
#include <CoreFoundation/CFNumberFormatter.h>
#include <unicode/unum.h>

#include <cstdint>
#include <cstring>
#include <mutex>
#include <string>
#include <unordered_map>

#include "CFLocale/LocaleImpl.h"
#include "CFString/StringImpl.h"

namespace {

// The platform names the root locale with the empty identifier; ICU would read "" as its own
// default locale, so the root is asked for by name.
const char* IcuLocaleName(CFLocaleRef locale) {
  if (!locale || locale->identifier.empty()) return "root";
  return locale->identifier.c_str();
}

// Opens a formatter of the platform's style; NULL for a style the platform does not have.
UNumberFormat* OpenStyle(const char* localeName, CFNumberFormatterStyle style) {
  UNumberFormatStyle icuStyle;
  switch (style) {
    case kCFNumberFormatterNoStyle:
    case kCFNumberFormatterDecimalStyle: icuStyle = UNUM_DECIMAL; break;
    case kCFNumberFormatterCurrencyStyle: icuStyle = UNUM_CURRENCY; break;
    case kCFNumberFormatterPercentStyle: icuStyle = UNUM_PERCENT; break;
    case kCFNumberFormatterScientificStyle: icuStyle = UNUM_SCIENTIFIC; break;
    case kCFNumberFormatterSpellOutStyle: icuStyle = UNUM_SPELLOUT; break;
    case kCFNumberFormatterOrdinalStyle: icuStyle = UNUM_ORDINAL; break;
    case kCFNumberFormatterCurrencyISOCodeStyle: icuStyle = UNUM_CURRENCY_ISO; break;
    case kCFNumberFormatterCurrencyPluralStyle: icuStyle = UNUM_CURRENCY_PLURAL; break;
    case kCFNumberFormatterCurrencyAccountingStyle: icuStyle = UNUM_CURRENCY_ACCOUNTING; break;
    default: return nullptr;
  }
  UErrorCode status = U_ZERO_ERROR;
  UNumberFormat* format = unum_open(icuStyle, nullptr, 0, localeName, nullptr, &status);
  if (U_FAILURE(status)) {
    if (format) unum_close(format);
    return nullptr;
  }
  if (style == kCFNumberFormatterNoStyle) {
    // The platform's "no style" is whole numbers without grouping.
    unum_setAttribute(format, UNUM_GROUPING_USED, 0);
    unum_setAttribute(format, UNUM_MAX_FRACTION_DIGITS, 0);
  }
  return format;
}

// Opening an ICU formatter loads and parses locale data, which costs far more than copying a
// prepared one; callers make a formatter per call, so each locale and style is opened once and
// cloned from then on. The prototypes are never changed after they are stored, and ICU allows
// concurrent cloning of a formatter that nobody changes.
UNumberFormat* ClonePrototype(const char* localeName, CFNumberFormatterStyle style) {
  static std::mutex mutex;
  static auto* prototypes = new std::unordered_map<std::string, UNumberFormat*>();
  std::string key = std::to_string(style) + ':' + localeName;
  UNumberFormat* prototype = nullptr;
  {
    std::lock_guard<std::mutex> lock(mutex);
    auto found = prototypes->find(key);
    if (found != prototypes->end()) {
      prototype = found->second;
    } else {
      prototype = OpenStyle(localeName, style);
      if (!prototype) return nullptr;
      prototypes->emplace(std::move(key), prototype);
    }
  }
  UErrorCode status = U_ZERO_ERROR;
  UNumberFormat* clone = unum_clone(prototype, &status);
  if (U_FAILURE(status)) {
    if (clone) unum_close(clone);
    return nullptr;
  }
  return clone;
}

// Runs one of ICU's format calls into a UTF-16 buffer, growing it once when the text is longer.
template <class Format>
CFStringRef CreateFormatted(Format format) {
  UChar buffer[64];
  UErrorCode status = U_ZERO_ERROR;
  int32_t length = format(buffer, static_cast<int32_t>(sizeof buffer / sizeof buffer[0]), &status);
  if (status == U_BUFFER_OVERFLOW_ERROR) {
    std::u16string text(static_cast<size_t>(length) + 1, u'\0');
    status = U_ZERO_ERROR;
    length = format(text.data(), static_cast<int32_t>(text.size()), &status);
    if (U_FAILURE(status)) return nullptr;
    text.resize(static_cast<size_t>(length));
    return zrp::CreateString(std::move(text));
  }
  if (U_FAILURE(status)) return nullptr;
  return zrp::CreateString(std::u16string(buffer, static_cast<size_t>(length)));
}

}  // namespace

struct __CFNumberFormatter final : zrp::Object {
  __CFNumberFormatter(CFLocaleRef theLocale, CFNumberFormatterStyle theStyle, UNumberFormat* theFormat)
      : Object(zrp::kTypeIDNumberFormatter), locale(theLocale), style(theStyle), format(theFormat) {
    if (locale) CFRetain(locale);
  }
  ~__CFNumberFormatter() override {
    unum_close(format);
    if (locale) CFRelease(locale);
    if (pattern) CFRelease(pattern);
  }

  CFLocaleRef locale;
  CFNumberFormatterStyle style;
  UNumberFormat* format;
  // The text CFNumberFormatterGetFormat lent last; kept until the next call or the end.
  CFStringRef pattern = nullptr;
};

namespace {

CFStringRef CreateWithInteger(CFNumberFormatterRef formatter, int64_t value) {
  return CreateFormatted([&](UChar* out, int32_t capacity, UErrorCode* status) {
    return unum_formatInt64(formatter->format, value, out, capacity, nullptr, status);
  });
}

CFStringRef CreateWithDouble(CFNumberFormatterRef formatter, double value) {
  return CreateFormatted([&](UChar* out, int32_t capacity, UErrorCode* status) {
    return unum_formatDouble(formatter->format, value, out, capacity, nullptr, status);
  });
}

template <class T>
T Load(const void* valuePtr) {
  T value;
  std::memcpy(&value, valuePtr, sizeof value);
  return value;
}

}  // namespace

extern "C" {

CFTypeID CFNumberFormatterGetTypeID(void) { return zrp::kTypeIDNumberFormatter; }

CFNumberFormatterRef CFNumberFormatterCreate(CFAllocatorRef, CFLocaleRef locale, CFNumberFormatterStyle style) {
  UNumberFormat* format = ClonePrototype(IcuLocaleName(locale), style);
  if (!format) return nullptr;
  CFNumberFormatterRef formatter = zrp::New<__CFNumberFormatter>(locale ? locale : CFLocaleGetSystem(), style, format);
  if (!formatter) unum_close(format);
  return formatter;
}

CFLocaleRef CFNumberFormatterGetLocale(CFNumberFormatterRef formatter) { return formatter ? formatter->locale : nullptr; }

CFNumberFormatterStyle CFNumberFormatterGetStyle(CFNumberFormatterRef formatter) {
  if (!formatter) return kCFNumberFormatterNoStyle;
  return formatter->style;
}

void CFNumberFormatterSetFormat(CFNumberFormatterRef formatter, CFStringRef formatString) {
  if (!formatter || !formatString) return;
  const std::u16string& chars = zrp::Chars(formatString);
  UParseError parseError;
  UErrorCode status = U_ZERO_ERROR;
  // ICU parses the whole pattern before it changes anything, so a bad pattern leaves the
  // formatter as it was.
  unum_applyPattern(formatter->format, false, chars.data(), static_cast<int32_t>(chars.size()), &parseError, &status);
}

CFStringRef CFNumberFormatterGetFormat(CFNumberFormatterRef formatter) {
  if (!formatter) return nullptr;
  CFStringRef pattern = CreateFormatted([&](UChar* out, int32_t capacity, UErrorCode* status) {
    return unum_toPattern(formatter->format, false, out, capacity, status);
  });
  if (!pattern) return nullptr;
  if (formatter->pattern) CFRelease(formatter->pattern);
  formatter->pattern = pattern;
  return pattern;
}

CFStringRef CFNumberFormatterCreateStringWithValue(CFAllocatorRef, CFNumberFormatterRef formatter,
                                                   CFNumberType numberType, const void* valuePtr) {
  if (!formatter || !valuePtr) return nullptr;
  switch (numberType) {
    case kCFNumberSInt8Type:
    case kCFNumberCharType: return CreateWithInteger(formatter, Load<int8_t>(valuePtr));
    case kCFNumberSInt16Type:
    case kCFNumberShortType: return CreateWithInteger(formatter, Load<int16_t>(valuePtr));
    case kCFNumberSInt32Type:
    case kCFNumberIntType: return CreateWithInteger(formatter, Load<int32_t>(valuePtr));
    case kCFNumberSInt64Type:
    case kCFNumberLongType:
    case kCFNumberLongLongType:
    case kCFNumberCFIndexType:
    case kCFNumberNSIntegerType: return CreateWithInteger(formatter, Load<int64_t>(valuePtr));
    case kCFNumberFloat32Type:
    case kCFNumberFloatType: return CreateWithDouble(formatter, Load<float>(valuePtr));
    case kCFNumberFloat64Type:
    case kCFNumberDoubleType:
    case kCFNumberCGFloatType: return CreateWithDouble(formatter, Load<double>(valuePtr));
    default: return nullptr;
  }
}

CFStringRef CFNumberFormatterCreateStringWithNumber(CFAllocatorRef allocator, CFNumberFormatterRef formatter,
                                                    CFNumberRef number) {
  if (!formatter || !number) return nullptr;
  if (CFNumberIsFloatType(number)) {
    double value = 0;
    CFNumberGetValue(number, kCFNumberFloat64Type, &value);
    return CFNumberFormatterCreateStringWithValue(allocator, formatter, kCFNumberFloat64Type, &value);
  }
  int64_t value = 0;
  CFNumberGetValue(number, kCFNumberSInt64Type, &value);
  return CFNumberFormatterCreateStringWithValue(allocator, formatter, kCFNumberSInt64Type, &value);
}

}  // extern "C"
