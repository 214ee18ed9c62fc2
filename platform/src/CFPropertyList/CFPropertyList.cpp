// CFPropertyList.cpp: the public property-list functions (reading either form, writing XML,
// validity), object construction under the mutability options, Base64 and calendar helpers.
#include <CoreFoundation/CFPropertyList.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "CFError/ErrorImpl.h"
#include "CFNumber/NumberImpl.h"
#include "CFPropertyList/PropertyListImpl.h"
#include "CFString/StringImpl.h"

namespace zrp {

CFTypeRef PropertyListBuilder::string(std::u16string chars) const {
  if (mutableLeaves_) return CreateMutableString(std::move(chars));
  return CreateString(std::move(chars));
}

CFTypeRef PropertyListBuilder::data(const uint8_t* bytes, size_t length) const {
  if (!mutableLeaves_) return CFDataCreate(nullptr, bytes, static_cast<CFIndex>(length));
  CFMutableDataRef data = CFDataCreateMutable(nullptr, 0);
  if (data && length > 0) CFDataAppendBytes(data, bytes, static_cast<CFIndex>(length));
  return data;
}

CFTypeRef PropertyListBuilder::integer(int64_t value) const {
  return CFNumberCreate(nullptr, kCFNumberSInt64Type, &value);
}

CFTypeRef PropertyListBuilder::unsignedInteger(uint64_t value) const { return CreateUnsigned64Number(value); }

CFTypeRef PropertyListBuilder::real(double value) const {
  return CFNumberCreate(nullptr, kCFNumberFloat64Type, &value);
}

CFTypeRef PropertyListBuilder::real32(float value) const {
  return CFNumberCreate(nullptr, kCFNumberFloat32Type, &value);
}

CFTypeRef PropertyListBuilder::date(CFAbsoluteTime at) const { return CFDateCreate(nullptr, at); }

CFTypeRef PropertyListBuilder::array(std::vector<CFHolder>* values) const {
  std::vector<const void*> pointers;
  pointers.reserve(values->size());
  for (const CFHolder& value : *values) pointers.push_back(value.get());
  CFTypeRef result;
  if (mutableContainers_) {
    CFMutableArrayRef array = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
    if (array)
      for (const void* value : pointers) CFArrayAppendValue(array, value);
    result = array;
  } else {
    result = CFArrayCreate(nullptr, pointers.data(), static_cast<CFIndex>(pointers.size()), &kCFTypeArrayCallBacks);
  }
  values->clear();
  return result;
}

CFTypeRef PropertyListBuilder::dictionary(std::vector<CFHolder>* keys, std::vector<CFHolder>* values) const {
  CFMutableDictionaryRef dictionary =
      CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
  if (dictionary)
    for (size_t i = 0; i < keys->size() && i < values->size(); ++i)
      CFDictionarySetValue(dictionary, (*keys)[i].get(), (*values)[i].get());
  keys->clear();
  values->clear();
  if (!dictionary || mutableContainers_) return dictionary;
  CFDictionaryRef copy = CFDictionaryCreateCopy(nullptr, dictionary);
  CFRelease(dictionary);
  return copy;
}

bool DecodeBase64(std::string_view text, std::vector<uint8_t>* out) {
  uint32_t accumulator = 0;
  int bits = 0;
  int padding = 0;
  out->reserve(out->size() + text.size() / 4 * 3);
  for (char c : text) {
    int value;
    if (c >= 'A' && c <= 'Z') {
      value = c - 'A';
    } else if (c >= 'a' && c <= 'z') {
      value = c - 'a' + 26;
    } else if (c >= '0' && c <= '9') {
      value = c - '0' + 52;
    } else if (c == '+') {
      value = 62;
    } else if (c == '/') {
      value = 63;
    } else if (c == ' ' || c == '\t' || c == '\n' || c == '\r') {
      continue;
    } else if (c == '=') {
      ++padding;
      continue;
    } else {
      return false;
    }
    // Nothing but padding and whitespace may follow padding.
    if (padding > 0) return false;
    accumulator = (accumulator << 6) | static_cast<uint32_t>(value);
    bits += 6;
    if (bits >= 8) {
      bits -= 8;
      out->push_back(static_cast<uint8_t>(accumulator >> bits));
      accumulator &= (1u << bits) - 1;
    }
  }
  // A lone character in the last group carries less than one byte.
  if (bits == 6) return false;
  return padding <= 2;
}

CFDictionaryRef CreateDictionaryFromPropertyListBytes(std::string_view bytes) {
  CFDataRef data =
      CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(bytes.data()), static_cast<CFIndex>(bytes.size()));
  if (!data) return nullptr;
  CFPropertyListRef plist = CFPropertyListCreateWithData(nullptr, data, kCFPropertyListImmutable, nullptr, nullptr);
  CFRelease(data);
  if (plist && CFGetTypeID(plist) != CFDictionaryGetTypeID()) {
    CFRelease(plist);
    plist = nullptr;
  }
  return static_cast<CFDictionaryRef>(plist);
}

namespace {

// Days from 1970-01-01 to a proleptic Gregorian date (year, 1-12, 1-31).
int64_t DaysFromCivil(int64_t year, int month, int day) {
  year -= month <= 2;
  int64_t era = (year >= 0 ? year : year - 399) / 400;
  int64_t yearOfEra = year - era * 400;
  int64_t dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
  int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
  return era * 146097 + dayOfEra - 719468;
}

void CivilFromDays(int64_t days, int64_t* year, int* month, int* day) {
  days += 719468;
  int64_t era = (days >= 0 ? days : days - 146096) / 146097;
  int64_t dayOfEra = days - era * 146097;
  int64_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  int64_t monthIndex = (5 * dayOfYear + 2) / 153;
  *day = static_cast<int>(dayOfYear - (153 * monthIndex + 2) / 5 + 1);
  *month = static_cast<int>(monthIndex < 10 ? monthIndex + 3 : monthIndex - 9);
  *year = yearOfEra + era * 400 + (*month <= 2);
}

constexpr int64_t kDaysFrom1970To2001 = 11323;

}  // namespace

CFAbsoluteTime AbsoluteTimeFromGregorian(int64_t year, int month, int day, int hour, int minute, int second) {
  int64_t days = DaysFromCivil(year, month, day) - kDaysFrom1970To2001;
  return static_cast<double>(days) * 86400.0 + hour * 3600.0 + minute * 60.0 + second;
}

void GregorianFromAbsoluteTime(CFAbsoluteTime at, int64_t* year, int* month, int* day, int* hour, int* minute,
                               int* second) {
  double whole = std::floor(at);
  // Far outside any calendar a property list holds; clamp so that the arithmetic stays defined.
  constexpr double kLimit = 1e17;
  whole = std::clamp(std::isnan(whole) ? 0.0 : whole, -kLimit, kLimit);
  auto seconds = static_cast<int64_t>(whole);
  int64_t days = seconds / 86400;
  int64_t rest = seconds % 86400;
  if (rest < 0) {
    rest += 86400;
    --days;
  }
  CivilFromDays(days + kDaysFrom1970To2001, year, month, day);
  *hour = static_cast<int>(rest / 3600);
  *minute = static_cast<int>(rest / 60 % 60);
  *second = static_cast<int>(rest % 60);
}

namespace {

bool IsValidObject(CFTypeRef plist, CFPropertyListFormat format, std::vector<CFTypeRef>* ancestors);

struct ValidityContext {
  CFPropertyListFormat format;
  std::vector<CFTypeRef>* ancestors;
  bool valid;
};

void CheckArrayValue(const void* value, void* context) {
  auto* check = static_cast<ValidityContext*>(context);
  if (check->valid && !IsValidObject(value, check->format, check->ancestors)) check->valid = false;
}

void CheckDictionaryEntry(const void* key, const void* value, void* context) {
  auto* check = static_cast<ValidityContext*>(context);
  if (!check->valid) return;
  if (!key || CFGetTypeID(key) != CFStringGetTypeID() || !IsValidObject(value, check->format, check->ancestors))
    check->valid = false;
}

bool IsValidObject(CFTypeRef plist, CFPropertyListFormat format, std::vector<CFTypeRef>* ancestors) {
  if (!plist) return false;
  CFTypeID type = CFGetTypeID(plist);
  if (type == CFStringGetTypeID() || type == CFDataGetTypeID()) return true;
  if (type == CFNumberGetTypeID() || type == CFBooleanGetTypeID() || type == CFDateGetTypeID())
    return format != kCFPropertyListOpenStepFormat;
  bool isArray = type == CFArrayGetTypeID();
  if (!isArray && type != CFDictionaryGetTypeID()) return false;
  // A container that holds itself, directly or not, has no finite form.
  if (std::find(ancestors->begin(), ancestors->end(), plist) != ancestors->end()) return false;
  if (static_cast<int>(ancestors->size()) >= kMaxPropertyListDepth) return false;
  ancestors->push_back(plist);
  ValidityContext context{format, ancestors, true};
  if (isArray) {
    auto array = static_cast<CFArrayRef>(plist);
    CFArrayApplyFunction(array, CFRangeMake(0, CFArrayGetCount(array)), CheckArrayValue, &context);
  } else {
    CFDictionaryApplyFunction(static_cast<CFDictionaryRef>(plist), CheckDictionaryEntry, &context);
  }
  ancestors->pop_back();
  return context.valid;
}

bool HasBinaryHeader(const UInt8* bytes, size_t length) { return length >= 6 && std::memcmp(bytes, "bplist", 6) == 0; }

}  // namespace

void Fail(CFErrorRef* error, CFIndex code, const std::string& debugDescription) {
  if (error && !*error) *error = CreatePropertyListError(code, debugDescription);
}

// Whether the text, past white space and a byte order mark (UTF-8 or UTF-16, whose zero bytes
// are passed over too), opens with markup: the XML form is tried first then (an old-style list
// may still start with "<" for data).
bool StartsWithMarkup(const uint8_t* bytes, size_t length) {
  for (size_t i = 0; i < length; ++i) {
    switch (bytes[i]) {
      case ' ':
      case '\t':
      case '\n':
      case '\r':
      case 0:
      case 0xEF:
      case 0xBB:
      case 0xBF:
      case 0xFE:
      case 0xFF:
        continue;
      default:
        return bytes[i] == '<';
    }
  }
  return false;
}

// Whether the markup is rather an old-style list's data: nothing but hex digits and white space
// between the first "<" and the first ">".
bool OpensWithData(const uint8_t* bytes, size_t length) {
  const auto* open = static_cast<const uint8_t*>(std::memchr(bytes, '<', length));
  if (!open) return false;
  for (const uint8_t* p = open + 1; p < bytes + length; ++p) {
    if (*p == '>') return true;
    if (!std::isxdigit(*p) && !std::isspace(*p)) return false;
  }
  return false;
}

CFPropertyListRef ReadPropertyList(const uint8_t* bytes, size_t size, CFOptionFlags options,
                                   CFPropertyListFormat* format, CFErrorRef* error) {
  try {
    PropertyListBuilder builder(options);
    CFPropertyListRef result = nullptr;
    CFPropertyListFormat found;
    if (HasBinaryHeader(bytes, size)) {
      found = kCFPropertyListBinaryFormat_v1_0;
      result = ReadBinaryPropertyList(bytes, size, builder);
      if (!result) Fail(error, kCFPropertyListReadCorruptError, "Binary property list is malformed or not supported");
    } else {
      bool markup = StartsWithMarkup(bytes, size);
      found = kCFPropertyListXMLFormat_v1_0;
      if (markup) result = ReadXMLPropertyList(bytes, size, builder);
      if (!result) {
        std::string why;
        found = kCFPropertyListOpenStepFormat;
        result = ReadOpenStepPropertyList(bytes, size, builder, &why);
        if (!result)
          Fail(error, kCFPropertyListReadCorruptError,
               markup && !OpensWithData(bytes, size) ? "XML property list is malformed" : why);
      }
    }
    if (result && format) *format = found;
    return result;
  } catch (const std::bad_alloc&) {
    Fail(error, kCFPropertyListReadCorruptError, "Out of memory while reading the property list");
    return nullptr;
  }
}

bool WritePropertyList(CFPropertyListRef plist, CFPropertyListFormat format, std::string* out, CFErrorRef* error) {
  try {
    if (format == kCFPropertyListOpenStepFormat) {
      Fail(error, kPropertyListWriteInvalidError,
           "Property list format kCFPropertyListOpenStepFormat not supported for writing");
      return false;
    }
    if (format != kCFPropertyListXMLFormat_v1_0 && format != kCFPropertyListBinaryFormat_v1_0) {
      Fail(error, kPropertyListWriteInvalidError, "Unknown property list format " + std::to_string(format));
      return false;
    }
    bool written = plist && (format == kCFPropertyListXMLFormat_v1_0 ? WriteXMLPropertyList(plist, out)
                                                                     : WriteBinaryPropertyList(plist, out));
    if (!written)
      Fail(error, kPropertyListWriteInvalidError,
           "Property list invalid for format: " + std::to_string(format) +
               " (property lists cannot contain objects of this type, cycles or nesting this deep)");
    return written;
  } catch (const std::bad_alloc&) {
    Fail(error, kCFPropertyListWriteStreamError, "Out of memory while writing the property list");
    return false;
  }
}

}  // namespace zrp

extern "C" {

CFPropertyListRef CFPropertyListCreateWithData(CFAllocatorRef, CFDataRef data, CFOptionFlags options,
                                               CFPropertyListFormat* format, CFErrorRef* error) {
  if (error) *error = nullptr;
  CFIndex length = data ? CFDataGetLength(data) : 0;
  if (length <= 0) {
    zrp::Fail(error, kCFPropertyListReadCorruptError, "Cannot parse a NULL or zero-length data");
    return nullptr;
  }
  if (static_cast<size_t>(length) > zrp::kMaxPropertyListBytes) {
    zrp::Fail(error, kCFPropertyListReadCorruptError, "Property list data is larger than 256 MB");
    return nullptr;
  }
  return zrp::ReadPropertyList(CFDataGetBytePtr(data), static_cast<size_t>(length), options, format, error);
}

CFDataRef CFPropertyListCreateData(CFAllocatorRef, CFPropertyListRef propertyList, CFPropertyListFormat format,
                                   CFOptionFlags, CFErrorRef* error) {
  if (error) *error = nullptr;
  std::string bytes;
  if (!zrp::WritePropertyList(propertyList, format, &bytes, error)) return nullptr;
  CFDataRef result =
      CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(bytes.data()), static_cast<CFIndex>(bytes.size()));
  if (!result) zrp::Fail(error, kCFPropertyListWriteStreamError, "Cannot allocate the property list's data");
  return result;
}

CFPropertyListRef CFPropertyListCreateDeepCopy(CFAllocatorRef, CFPropertyListRef propertyList,
                                               CFOptionFlags mutabilityOption) {
  // Through the binary form: it keeps every kind exactly, and its reader makes the objects
  // under the options.
  try {
    std::string bytes;
    if (!propertyList || !zrp::WriteBinaryPropertyList(propertyList, &bytes)) return nullptr;
    zrp::PropertyListBuilder builder(mutabilityOption);
    return zrp::ReadBinaryPropertyList(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(), builder);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

Boolean CFPropertyListIsValid(CFPropertyListRef plist, CFPropertyListFormat format) {
  if (format != kCFPropertyListOpenStepFormat && format != kCFPropertyListXMLFormat_v1_0 &&
      format != kCFPropertyListBinaryFormat_v1_0)
    return false;
  std::vector<CFTypeRef> ancestors;
  return zrp::IsValidObject(plist, format, &ancestors);
}

}  // extern "C"
