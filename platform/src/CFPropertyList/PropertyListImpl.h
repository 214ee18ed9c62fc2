// PropertyListImpl.h: the pieces shared by the property-list readers and the writer: the limits
// that keep hostile input in check, object construction under the mutability options, and
// Base64 as property lists use it.
#pragma once

#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFDate.h>
#include <CoreFoundation/CFDictionary.h>
#include <CoreFoundation/CFError.h>
#include <CoreFoundation/CFNumber.h>
#include <CoreFoundation/CFPropertyList.h>
#include <CoreFoundation/CFString.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#ifndef ZRP_TESTABLE
// The functions tests and fuzz targets reach directly are visible outside the library.
#define ZRP_TESTABLE __attribute__((visibility("default")))
#endif

namespace zrp {

// Containers nested deeper than this are refused: the readers and the writer recurse once per
// level, and no real property list comes near it.
constexpr int kMaxPropertyListDepth = 512;
// Larger inputs are refused before any parsing starts.
constexpr size_t kMaxPropertyListBytes = 256u * 1024u * 1024u;

// Owns one reference and releases it at the end of its scope unless released to the caller.
class CFHolder {
 public:
  CFHolder() = default;
  explicit CFHolder(CFTypeRef object) : object_(object) {}
  ~CFHolder() {
    if (object_) CFRelease(object_);
  }
  CFHolder(CFHolder&& other) noexcept : object_(other.object_) { other.object_ = nullptr; }
  CFHolder& operator=(CFHolder&& other) noexcept {
    if (this != &other) {
      if (object_) CFRelease(object_);
      object_ = other.object_;
      other.object_ = nullptr;
    }
    return *this;
  }
  CFHolder(const CFHolder&) = delete;
  CFHolder& operator=(const CFHolder&) = delete;

  CFTypeRef get() const { return object_; }
  CFTypeRef release() {
    CFTypeRef object = object_;
    object_ = nullptr;
    return object;
  }
  explicit operator bool() const { return object_ != nullptr; }

 private:
  CFTypeRef object_ = nullptr;
};

// Makes the objects of a property list under the reader's mutability options. Every function
// returns a new reference, or NULL when an allocation fails.
class PropertyListBuilder {
 public:
  explicit PropertyListBuilder(CFOptionFlags options)
      : mutableContainers_((options & (kCFPropertyListMutableContainers | kCFPropertyListMutableContainersAndLeaves)) !=
                           0),
        mutableLeaves_((options & kCFPropertyListMutableContainersAndLeaves) != 0) {}

  bool mutableContainers() const { return mutableContainers_; }
  bool mutableLeaves() const { return mutableLeaves_; }

  CFTypeRef string(std::u16string chars) const;
  CFTypeRef data(const uint8_t* bytes, size_t length) const;
  CFTypeRef integer(int64_t value) const;
  // A non-negative value above INT64_MAX, as written by the platform for unsigned 64-bit numbers.
  CFTypeRef unsignedInteger(uint64_t value) const;
  CFTypeRef real(double value) const;
  CFTypeRef real32(float value) const;
  CFTypeRef date(CFAbsoluteTime at) const;
  // Takes the references in values (released whatever the outcome).
  CFTypeRef array(std::vector<CFHolder>* values) const;
  // Keys and values pair up by index; a key given twice keeps its last value.
  CFTypeRef dictionary(std::vector<CFHolder>* keys, std::vector<CFHolder>* values) const;

 private:
  bool mutableContainers_;
  bool mutableLeaves_;
};

// Reads the XML form (plist 1.0). NULL on malformed or hostile input.
CFPropertyListRef ReadXMLPropertyList(const uint8_t* bytes, size_t length, const PropertyListBuilder& builder);
// Reads the binary form ("bplist00"). NULL on malformed or hostile input.
CFPropertyListRef ReadBinaryPropertyList(const uint8_t* bytes, size_t length, const PropertyListBuilder& builder);
// Appends the XML form of plist to out, as the platform writes it; false when plist holds
// anything a property list cannot (the output is then incomplete).
bool WriteXMLPropertyList(CFPropertyListRef plist, std::string* out);
// Reads the old-style (OpenStep) form: every leaf is a string (or data for "<hex>"). NULL on
// malformed or hostile input, with the reason in *why.
ZRP_TESTABLE CFPropertyListRef ReadOpenStepPropertyList(const uint8_t* bytes, size_t length,
                                                        const PropertyListBuilder& builder, std::string* why);
// Reads any of the three forms, telling which in *format and the failure in *error (each may be
// NULL), as CFPropertyListCreateWithData does.
CFPropertyListRef ReadPropertyList(const uint8_t* bytes, size_t length, CFOptionFlags options,
                                   CFPropertyListFormat* format, CFErrorRef* error);
// Appends plist in the format (XML or binary); false, with *error filled when given, otherwise.
bool WritePropertyList(CFPropertyListRef plist, CFPropertyListFormat format, std::string* out, CFErrorRef* error);
// Stores a new property-list error in *error when error is given and *error is still empty.
void Fail(CFErrorRef* error, CFIndex code, const std::string& debugDescription);

// Appends the binary form of plist ("bplist00"); false when plist holds anything a property
// list cannot (the output is then left as it was).
bool WriteBinaryPropertyList(CFPropertyListRef plist, std::string* out);

// The dictionary that the bytes hold as a property list of either form, immutable; NULL when they
// hold anything else or cannot be read. For the files the host reads itself (information property
// lists, strings tables, preference domains). Returns a new reference.
CFDictionaryRef CreateDictionaryFromPropertyListBytes(std::string_view bytes);

// Decodes Base64, skipping whitespace; false on any other stray character or bad padding.
bool DecodeBase64(std::string_view text, std::vector<uint8_t>* out);

// Seconds since 2001-01-01 00:00:00 UTC for a proleptic Gregorian date and time of day.
CFAbsoluteTime AbsoluteTimeFromGregorian(int64_t year, int month, int day, int hour, int minute, int second);
// The UTC calendar fields of the whole second at or before at.
void GregorianFromAbsoluteTime(CFAbsoluteTime at, int64_t* year, int* month, int* day, int* hour, int* minute,
                               int* second);

}  // namespace zrp
