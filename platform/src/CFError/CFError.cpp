// CFError.cpp: error objects (domain, code, user information), their texts and description,
// the domain and key constants, and the property-list errors the readers and writers report.
#include <CoreFoundation/CFError.h>

#include <string>
#include <vector>

#include "CFError/ErrorImpl.h"
#include "CFString/StringImpl.h"
#include "runtime/Object.h"

namespace {

// The texts Foundation gives its own codes where it has one of its own for the code.
const char16_t* KnownCocoaText(CFIndex code) {
  switch (code) {
    case 3840:  // a property list that cannot be parsed
    case 4864:  // an archive that cannot be decoded
      return u"The data couldn\u2019t be read because it isn\u2019t in the correct format.";
    case 3852:  // an object that no property list can hold
      return u"The data couldn\u2019t be written because it isn\u2019t in the correct format.";
    default:
      return nullptr;
  }
}

CFStringRef CopyUserInfoString(CFDictionaryRef userInfo, CFStringRef key) {
  CFTypeRef value = userInfo ? CFDictionaryGetValue(userInfo, key) : nullptr;
  if (!value || CFGetTypeID(value) != CFStringGetTypeID()) return nullptr;
  return static_cast<CFStringRef>(CFRetain(value));
}

}  // namespace

struct __CFError final : zrp::Object {
  __CFError(CFStringRef errorDomain, CFIndex errorCode, CFDictionaryRef info)
      : Object(zrp::kTypeIDError), domain(errorDomain), code(errorCode), userInfo(info) {}
  ~__CFError() override {
    CFRelease(domain);
    CFRelease(userInfo);
  }

  bool equal(const Object& other) const override {
    const auto& error = static_cast<const __CFError&>(other);
    return code == error.code && CFEqual(domain, error.domain) && CFEqual(userInfo, error.userInfo);
  }
  CFHashCode hash() const override { return static_cast<CFHashCode>(code) ^ CFHash(domain); }
  const char* className() const override { return "__NSCFError"; }

  // Error Domain=<domain> Code=<code> "<description>" UserInfo={key=value, ...}
  CFStringRef copyDescription() const override {
    CFStringRef text = CFErrorCopyDescription(const_cast<__CFError*>(this));
    if (!text) return nullptr;
    std::u16string out = u"Error Domain=";
    out += zrp::WideView(domain).view();
    out += u" Code=";
    std::string number = std::to_string(code);
    out.append(number.begin(), number.end());
    out += u" \"";
    out += zrp::WideView(text).view();
    out += u"\"";
    CFRelease(text);
    CFIndex count = CFDictionaryGetCount(userInfo);
    if (count > 0) {
      std::vector<const void*> keys(static_cast<size_t>(count));
      std::vector<const void*> values(static_cast<size_t>(count));
      CFDictionaryGetKeysAndValues(userInfo, keys.data(), values.data());
      out += u" UserInfo={";
      for (size_t i = 0; i < keys.size(); ++i) {
        if (i > 0) out += u", ";
        for (const void* part : {keys[i], values[i]}) {
          CFStringRef description = CFCopyDescription(part);
          if (description) {
            out += zrp::WideView(description).view();
            CFRelease(description);
          }
          if (part == keys[i]) out += u"=";
        }
      }
      out += u"}";
    }
    return zrp::CreateString(std::move(out));
  }

  CFStringRef domain;
  CFIndex code;
  CFDictionaryRef userInfo;
};

namespace zrp {

CFErrorRef CreatePropertyListError(CFIndex code, const std::string& debugDescription) {
  try {
    std::u16string text;
    if (!DecodeUTF8(debugDescription.data(), debugDescription.size(), &text)) text = u"(unprintable)";
    CFStringRef value = CreateString(std::move(text));
    if (!value) return nullptr;
    const void* keys[] = {CFSTR("NSDebugDescription")};
    const void* values[] = {value};
    CFErrorRef error = CFErrorCreateWithUserInfoKeysAndValues(nullptr, kCFErrorDomainCocoa, code, keys, values, 1);
    CFRelease(value);
    return error;
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

}  // namespace zrp

extern "C" {

const CFStringRef kCFErrorDomainPOSIX = CFSTR("NSPOSIXErrorDomain");
const CFStringRef kCFErrorDomainOSStatus = CFSTR("NSOSStatusErrorDomain");
const CFStringRef kCFErrorDomainMach = CFSTR("NSMachErrorDomain");
const CFStringRef kCFErrorDomainCocoa = CFSTR("NSCocoaErrorDomain");

const CFStringRef kCFErrorLocalizedDescriptionKey = CFSTR("NSLocalizedDescription");
const CFStringRef kCFErrorLocalizedFailureReasonKey = CFSTR("NSLocalizedFailureReason");
const CFStringRef kCFErrorLocalizedRecoverySuggestionKey = CFSTR("NSLocalizedRecoverySuggestion");
const CFStringRef kCFErrorDescriptionKey = CFSTR("NSDescription");
const CFStringRef kCFErrorUnderlyingErrorKey = CFSTR("NSUnderlyingError");
const CFStringRef kCFErrorURLKey = CFSTR("NSURL");
const CFStringRef kCFErrorFilePathKey = CFSTR("NSFilePath");

CFTypeID CFErrorGetTypeID(void) { return zrp::kTypeIDError; }

CFErrorRef CFErrorCreate(CFAllocatorRef, CFStringRef domain, CFIndex code, CFDictionaryRef userInfo) {
  if (!domain) return nullptr;
  CFStringRef domainCopy = CFStringCreateCopy(nullptr, domain);
  if (!domainCopy) return nullptr;
  CFDictionaryRef info = userInfo ? CFDictionaryCreateCopy(nullptr, userInfo)
                                  : CFDictionaryCreate(nullptr, nullptr, nullptr, 0, &kCFTypeDictionaryKeyCallBacks,
                                                       &kCFTypeDictionaryValueCallBacks);
  if (!info) {
    CFRelease(domainCopy);
    return nullptr;
  }
  __CFError* error = zrp::New<__CFError>(domainCopy, code, info);
  if (!error) {
    CFRelease(domainCopy);
    CFRelease(info);
  }
  return error;
}

CFErrorRef CFErrorCreateWithUserInfoKeysAndValues(CFAllocatorRef allocator, CFStringRef domain, CFIndex code,
                                                  const void* const* userInfoKeys, const void* const* userInfoValues,
                                                  CFIndex numberOfUserInfoValues) {
  if (!domain) return nullptr;
  CFDictionaryRef info =
      CFDictionaryCreate(nullptr, const_cast<const void**>(userInfoKeys), const_cast<const void**>(userInfoValues),
                         numberOfUserInfoValues, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
  if (!info) return nullptr;
  CFErrorRef error = CFErrorCreate(allocator, domain, code, info);
  CFRelease(info);
  return error;
}

CFStringRef CFErrorGetDomain(CFErrorRef err) { return err->domain; }

CFIndex CFErrorGetCode(CFErrorRef err) { return err->code; }

CFDictionaryRef CFErrorCopyUserInfo(CFErrorRef err) { return static_cast<CFDictionaryRef>(CFRetain(err->userInfo)); }

CFStringRef CFErrorCopyDescription(CFErrorRef err) {
  if (CFStringRef localized = CopyUserInfoString(err->userInfo, kCFErrorLocalizedDescriptionKey)) return localized;
  try {
    if (CFEqual(err->domain, kCFErrorDomainCocoa))
      if (const char16_t* known = KnownCocoaText(err->code)) return zrp::CreateString(known);
    std::u16string text = u"The operation couldn\u2019t be completed.";
    CFStringRef reason = CopyUserInfoString(err->userInfo, kCFErrorLocalizedFailureReasonKey);
    if (reason) {
      text += u" ";
      text += zrp::WideView(reason).view();
      CFRelease(reason);
    } else {
      text += u" (";
      text += zrp::WideView(err->domain).view();
      text += u" error ";
      std::string number = std::to_string(err->code);
      text.append(number.begin(), number.end());
      text += u".)";
    }
    return zrp::CreateString(std::move(text));
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

CFStringRef CFErrorCopyFailureReason(CFErrorRef err) {
  return CopyUserInfoString(err->userInfo, kCFErrorLocalizedFailureReasonKey);
}

CFStringRef CFErrorCopyRecoverySuggestion(CFErrorRef err) {
  return CopyUserInfoString(err->userInfo, kCFErrorLocalizedRecoverySuggestionKey);
}

}  // extern "C"
