// CFNumberFormatter.cpp: number formatters over ICU's UNumberFormat: the platform's styles,
// ICU decimal patterns, and formatting of every CFNumberType.
#include <CoreFoundation/CFNumberFormatter.h>
#include <unicode/unum.h>

#include <cstdint>
#include <cstring>
#include <mutex>
#include <new>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "CFLocale/LocaleImpl.h"
#include "CFString/StringImpl.h"
#include "runtime/NoThrow.h"
#include "runtime/Unaligned.h"

namespace {

// The platform names the root locale with the empty identifier; ICU would read "" as its own
// default locale, so the root is asked for by name.
const char* IcuLocaleName(CFLocaleRef locale) {
  if (!locale || locale->identifier.empty()) return "root";
  return locale->identifier.c_str();
}

// The ICU style of one of the platform's styles; false for a style the platform does not have.
bool IcuStyle(CFNumberFormatterStyle style, UNumberFormatStyle* icuStyle) {
  switch (style) {
    case kCFNumberFormatterNoStyle:
    case kCFNumberFormatterDecimalStyle:
      *icuStyle = UNUM_DECIMAL;
      return true;
    case kCFNumberFormatterCurrencyStyle:
      *icuStyle = UNUM_CURRENCY;
      return true;
    case kCFNumberFormatterPercentStyle:
      *icuStyle = UNUM_PERCENT;
      return true;
    case kCFNumberFormatterScientificStyle:
      *icuStyle = UNUM_SCIENTIFIC;
      return true;
    case kCFNumberFormatterSpellOutStyle:
      *icuStyle = UNUM_SPELLOUT;
      return true;
    case kCFNumberFormatterOrdinalStyle:
      *icuStyle = UNUM_ORDINAL;
      return true;
    case kCFNumberFormatterCurrencyISOCodeStyle:
      *icuStyle = UNUM_CURRENCY_ISO;
      return true;
    case kCFNumberFormatterCurrencyPluralStyle:
      *icuStyle = UNUM_CURRENCY_PLURAL;
      return true;
    case kCFNumberFormatterCurrencyAccountingStyle:
      *icuStyle = UNUM_CURRENCY_ACCOUNTING;
      return true;
    default:
      return false;
  }
}

// Opens a formatter of the platform's style; NULL when ICU cannot make one.
UNumberFormat* OpenStyle(const char* localeName, CFNumberFormatterStyle style) {
  UNumberFormatStyle icuStyle;
  if (!IcuStyle(style, &icuStyle)) return nullptr;
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
// prepared one; each locale and style is opened once and cloned from then on. The prototypes
// are never changed after they are stored, and ICU allows cloning a formatter that nobody
// changes from several threads at once.
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

// The state an ICU formatter is in: made for a locale and a style, and then perhaps given a
// pattern.
struct FormatState {
  std::string locale;
  CFNumberFormatterStyle style = kCFNumberFormatterNoStyle;
  bool patterned = false;
  std::u16string pattern;
};

// A state looked for, by its parts (nothing is copied until a formatter in it is made).
struct StateView {
  std::string_view locale;
  CFNumberFormatterStyle style;
  bool patterned;
  std::u16string_view pattern;

  // The patterns are compared as bytes (char16_t's own comparison goes one unit at a time).
  bool matches(const FormatState& state) const {
    return style == state.style && patterned == state.patterned && pattern.size() == state.pattern.size() &&
           locale == state.locale &&
           (pattern.empty() ||
            std::memcmp(pattern.data(), state.pattern.data(), pattern.size() * sizeof(char16_t)) == 0);
  }
  FormatState state() const { return FormatState{std::string(locale), style, patterned, std::u16string(pattern)}; }
};

// A free ICU formatter and the state it is in.
struct FreeFormat {
  FormatState state;
  UNumberFormat* format = nullptr;
};

// Callers make a formatter, give it a pattern, format one number and release it, over and over
// (a size string per call). Cloning a formatter and applying a pattern to it each time costs
// ten times the formatting itself, so released ICU formatters are kept, by the state they are
// in, for the next formatter that wants that very state. Each ICU formatter belongs to one
// CFNumberFormatter at a time, as ICU requires; the pool hands them over under its lock.
class RecycledFormats {
 public:
  // A formatter in the state, or NULL when none is free.
  UNumberFormat* take(const StateView& state) {
    std::u16string key = Key(state);
    std::lock_guard<std::mutex> lock(mutex_);
    auto found = free_.find(key);
    if (found == free_.end() || found->second.empty()) return nullptr;
    UNumberFormat* format = found->second.back();
    found->second.pop_back();
    return format;
  }

  // Keeps the formatter for its state, or closes it when the pool is full (or has no memory to
  // keep it: formatters are given back from destructors, which must not throw).
  void give(const FormatState& state, UNumberFormat* format) {
    try {
      std::u16string key = Key(StateView{state.locale, state.style, state.patterned, state.pattern});
      std::lock_guard<std::mutex> lock(mutex_);
      auto found = free_.find(key);
      if (found == free_.end() && free_.size() < kMaxStates)
        found = free_.emplace(std::move(key), std::vector<UNumberFormat*>()).first;
      if (found != free_.end() && found->second.size() < kMaxPerState) {
        found->second.push_back(format);
        return;
      }
    } catch (const std::bad_alloc&) {
    }
    unum_close(format);
  }

 private:
  // "<style>:<locale>" and then, once a pattern is set, "\n<pattern>".
  static std::u16string Key(const StateView& state) {
    std::string base = std::to_string(state.style) + ':';
    base += state.locale;
    std::u16string key(base.begin(), base.end());
    if (state.patterned) {
      key.push_back(u'\n');
      key += state.pattern;
    }
    return key;
  }

  // Enough for the patterns an application formats with, and for a few threads at once.
  static constexpr size_t kMaxStates = 128;
  static constexpr size_t kMaxPerState = 8;
  std::mutex mutex_;
  std::unordered_map<std::u16string, std::vector<UNumberFormat*>> free_;
};

RecycledFormats& Recycled() {
  static auto* pool = new RecycledFormats();
  return *pool;
}

// The few formatters a thread released last, kept in front of the shared pool: a thread that
// formats over and over hands them to itself without a lock, a hash or a copy of the state.
class ThreadFormats {
 public:
  ~ThreadFormats() {
    for (size_t i = 0; i < count_; ++i) Recycled().give(free_[i].state, free_[i].format);
  }

  // Moves a formatter in the state, and the state, into *taken; false when none is free.
  bool take(const StateView& state, FreeFormat* taken) {
    for (size_t i = count_; i-- > 0;) {
      if (state.matches(free_[i].state)) {
        *taken = std::move(free_[i]);
        if (i + 1 != count_) free_[i] = std::move(free_[count_ - 1]);
        --count_;
        return true;
      }
    }
    return TakeShared(state, taken);
  }

  void give(FreeFormat&& free) {
    if (count_ < kMaxKept) {
      free_[count_++] = std::move(free);
    } else {
      Recycled().give(free.state, free.format);
    }
  }

  // From the shared pool: the state is copied first, so that a failure to copy it takes nothing.
  static bool TakeShared(const StateView& state, FreeFormat* taken) {
    FormatState made = state.state();
    taken->format = Recycled().take(state);
    if (!taken->format) return false;
    taken->state = std::move(made);
    return true;
  }

 private:
  // A fixed number, so that giving one back never needs memory.
  static constexpr size_t kMaxKept = 8;
  FreeFormat free_[kMaxKept];
  size_t count_ = 0;
};

// The calling thread's formatters, made on first use; NULL while the thread ends (its
// formatters have gone back to the shared pool), when formatters released then go there
// directly. Plain values, so that they can be read at any time during the thread's end.
struct ThreadFormatsSlot {
  ThreadFormats* formats;
  bool ending;
};
thread_local ThreadFormatsSlot tThreadFormats = {nullptr, false};

struct ThreadFormatsOwner {
  ~ThreadFormatsOwner() {
    ThreadFormatsSlot& slot = tThreadFormats;
    slot.ending = true;
    delete slot.formats;
    slot.formats = nullptr;
  }
};

ThreadFormats* MyFormats() {
  ThreadFormatsSlot& slot = tThreadFormats;
  if (!slot.formats && !slot.ending) {
    thread_local ThreadFormatsOwner owner;
    slot.formats = new (std::nothrow) ThreadFormats();
  }
  return slot.formats;
}

// A free formatter in the state, with the state, into *taken; false when none is free.
bool TakeFormat(const StateView& state, FreeFormat* taken) {
  if (ThreadFormats* mine = MyFormats()) return mine->take(state, taken);
  return ThreadFormats::TakeShared(state, taken);
}

void GiveFormat(FreeFormat&& free) {
  if (ThreadFormats* mine = MyFormats()) {
    mine->give(std::move(free));
  } else {
    Recycled().give(free.state, free.format);
  }
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
  __CFNumberFormatter(CFLocaleRef theLocale, CFNumberFormatterStyle theStyle)
      : Object(zrp::kTypeIDNumberFormatter), locale(theLocale), style(theStyle) {
    CFRetain(locale);
  }
  ~__CFNumberFormatter() override {
    if (format) GiveFormat(FreeFormat{std::move(state), format});
    CFRelease(locale);
    if (pattern) CFRelease(pattern);
  }

  CFLocaleRef locale;
  CFNumberFormatterStyle style;
  // The ICU formatter, owned, and the state it is in.
  UNumberFormat* format = nullptr;
  FormatState state;
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

}  // namespace

extern "C" {

CFTypeID CFNumberFormatterGetTypeID(void) { return zrp::kTypeIDNumberFormatter; }

CFNumberFormatterRef CFNumberFormatterCreate(CFAllocatorRef, CFLocaleRef locale, CFNumberFormatterStyle style) {
  return zrp::CatchOutOfMemory<CFNumberFormatterRef>(nullptr, [&]() -> CFNumberFormatterRef {
    UNumberFormatStyle icuStyle;
    if (!IcuStyle(style, &icuStyle)) return nullptr;
    CFNumberFormatterRef formatter = zrp::New<__CFNumberFormatter>(locale ? locale : CFLocaleGetSystem(), style);
    if (!formatter) return nullptr;
    const char* localeName = IcuLocaleName(formatter->locale);
    StateView state{localeName, style, false, std::u16string_view()};
    FreeFormat free;
    if (TakeFormat(state, &free)) {
      formatter->state = std::move(free.state);
      formatter->format = free.format;
    } else {
      formatter->state = state.state();
      formatter->format = ClonePrototype(localeName, style);
    }
    if (!formatter->format) {
      CFRelease(formatter);
      return nullptr;
    }
    return formatter;
  });
}

CFLocaleRef CFNumberFormatterGetLocale(CFNumberFormatterRef formatter) {
  return formatter ? formatter->locale : nullptr;
}

CFNumberFormatterStyle CFNumberFormatterGetStyle(CFNumberFormatterRef formatter) {
  if (!formatter) return kCFNumberFormatterNoStyle;
  return formatter->style;
}

void CFNumberFormatterSetFormat(CFNumberFormatterRef formatter, CFStringRef formatString) {
  zrp::CatchOutOfMemory([&] {
    if (!formatter || !formatString) return;
    const std::u16string& chars = zrp::Chars(formatString);
    FormatState& current = formatter->state;
    if (current.patterned && current.pattern == chars) return;
    StateView state{current.locale, current.style, true, chars};
    // A recycled formatter already in that state saves parsing the pattern and preparing the
    // formatter for it.
    FreeFormat free;
    if (TakeFormat(state, &free)) {
      GiveFormat(FreeFormat{std::move(current), formatter->format});
      formatter->format = free.format;
      formatter->state = std::move(free.state);
      return;
    }
    UParseError parseError;
    UErrorCode status = U_ZERO_ERROR;
    // ICU parses the whole pattern before it changes anything, so a bad pattern leaves the
    // formatter as it was.
    unum_applyPattern(formatter->format, false, chars.data(), static_cast<int32_t>(chars.size()), &parseError, &status);
    if (U_SUCCESS(status)) formatter->state = state.state();
  });
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
  return zrp::CatchOutOfMemory<CFStringRef>(nullptr, [&]() -> CFStringRef {
    if (!formatter || !valuePtr) return nullptr;
    switch (numberType) {
      case kCFNumberSInt8Type:
      case kCFNumberCharType:
        return CreateWithInteger(formatter, zrp::LoadUnaligned<int8_t>(valuePtr));
      case kCFNumberSInt16Type:
      case kCFNumberShortType:
        return CreateWithInteger(formatter, zrp::LoadUnaligned<int16_t>(valuePtr));
      case kCFNumberSInt32Type:
      case kCFNumberIntType:
        return CreateWithInteger(formatter, zrp::LoadUnaligned<int32_t>(valuePtr));
      case kCFNumberSInt64Type:
      case kCFNumberLongType:
      case kCFNumberLongLongType:
      case kCFNumberCFIndexType:
      case kCFNumberNSIntegerType:
        return CreateWithInteger(formatter, zrp::LoadUnaligned<int64_t>(valuePtr));
      case kCFNumberFloat32Type:
      case kCFNumberFloatType:
        return CreateWithDouble(formatter, zrp::LoadUnaligned<float>(valuePtr));
      case kCFNumberFloat64Type:
      case kCFNumberDoubleType:
      case kCFNumberCGFloatType:
        return CreateWithDouble(formatter, zrp::LoadUnaligned<double>(valuePtr));
      default:
        return nullptr;
    }
  });
}

CFStringRef CFNumberFormatterCreateStringWithNumber(CFAllocatorRef allocator, CFNumberFormatterRef formatter,
                                                    CFNumberRef number) {
  return zrp::CatchOutOfMemory<CFStringRef>(nullptr, [&]() -> CFStringRef {
    if (!formatter || !number) return nullptr;
    if (CFNumberIsFloatType(number)) {
      double value = 0;
      CFNumberGetValue(number, kCFNumberFloat64Type, &value);
      return CFNumberFormatterCreateStringWithValue(allocator, formatter, kCFNumberFloat64Type, &value);
    }
    int64_t value = 0;
    CFNumberGetValue(number, kCFNumberSInt64Type, &value);
    return CFNumberFormatterCreateStringWithValue(allocator, formatter, kCFNumberSInt64Type, &value);
  });
}

}  // extern "C"
