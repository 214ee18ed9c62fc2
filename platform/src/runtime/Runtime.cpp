// Runtime.cpp: reference counting, type identifiers, equality, hashing, descriptions,
// allocators and CFNull.
#include <CoreFoundation/CFString.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <vector>

#include "runtime/Checks.h"
#include "runtime/NoThrow.h"
#include "runtime/Object.h"
#include "runtime/Seams.h"

namespace zrp {
namespace {

const char* const kBuiltinTypeNames[] = {nullptr,
                                         "CFNull",
                                         "CFBoolean",
                                         "CFNumber",
                                         "CFString",
                                         "CFData",
                                         "CFArray",
                                         "CFDictionary",
                                         "CFDate",
                                         "CFLocale",
                                         "CFNumberFormatter",
                                         "CFBundle",
                                         "CFAttributedString",
                                         "CFURL",
                                         "NSFont",
                                         "CFError",
                                         "CFReadStream",
                                         "CFWriteStream",
                                         "CGColorSpace",
                                         "CGColor"};

}  // namespace

Object::Object(CFTypeID typeID) : typeID_(typeID) { ObjectCreated(); }

Object::~Object() {
  if (!immortal_) ObjectDestroyed();
}

void Object::makeImmortal() {
  if (!immortal_) {
    immortal_ = true;
    ObjectDestroyed();
  }
}

bool Object::equal(const Object& other) const { return this == &other; }

CFHashCode Object::hash() const { return reinterpret_cast<CFHashCode>(this); }

const char* Object::className() const {
  const char* name = TypeName(typeID_);
  return name ? name : "CFType";
}

CFStringRef Object::copyDescription() const {
  return CFStringCreateWithFormat(nullptr, nullptr, CFSTR("<%s %p [%p]>"), className(), static_cast<const void*>(this),
                                  static_cast<const void*>(kCFAllocatorSystemDefault));
}

const char* TypeName(CFTypeID typeID) {
  if (typeID < sizeof(kBuiltinTypeNames) / sizeof(kBuiltinTypeNames[0])) return kBuiltinTypeNames[typeID];
  if (typeID < kTypeIDFirstDynamic) return nullptr;
  return ClassNameOfType(typeID);
}

[[noreturn]] void Halt(const char* what) {
  std::fprintf(stderr, "%s called with NULL\n", what);
  std::abort();
}

[[noreturn]] void HaltOnRange(const char* function, CFRange range, const char* measure, size_t count) {
  std::fprintf(stderr, "%s: range {%ld, %ld} out of bounds; %s %zu\n", function, range.location, range.length, measure,
               count);
  std::abort();
}

[[noreturn]] void HaltWith(const char* function, const char* what) {
  std::fprintf(stderr, "%s: %s\n", function, what);
  std::abort();
}

void ReportImmutable(const char* function, const char* kind, const void* object) {
  std::fprintf(stderr, "%s: attempt to mutate immutable %s %p\n", function, kind, object);
}

namespace {

// The allocators are distinct markers; every object is allocated by the runtime itself.
struct AllocatorMarker {
  int which;
};
const AllocatorMarker kSystemDefaultMarker{1};
const AllocatorMarker kMallocMarker{2};
const AllocatorMarker kNullMarker{3};

class NullObject final : public Object {
 public:
  NullObject() : Object(kTypeIDNull) { makeImmortal(); }
  CFStringRef copyDescription() const override { return CFSTR("<null>"); }
};
}  // namespace

}  // namespace zrp

using zrp::AsMutableObject;
using zrp::AsObject;

extern "C" {

const CFAllocatorRef kCFAllocatorDefault = nullptr;
const CFAllocatorRef kCFAllocatorSystemDefault = reinterpret_cast<CFAllocatorRef>(&zrp::kSystemDefaultMarker);
const CFAllocatorRef kCFAllocatorMalloc = reinterpret_cast<CFAllocatorRef>(&zrp::kMallocMarker);
const CFAllocatorRef kCFAllocatorNull = reinterpret_cast<CFAllocatorRef>(&zrp::kNullMarker);

CFTypeRef CFRetain(CFTypeRef cf) {
  if (!cf) zrp::Halt("CFRetain()");
  zrp::Object* object = AsMutableObject(cf);
  if (!object->immortal()) object->refCount.fetch_add(1, std::memory_order_relaxed);
  return cf;
}

void CFRelease(CFTypeRef cf) {
  if (!cf) zrp::Halt("CFRelease()");
  zrp::Object* object = AsMutableObject(cf);
  if (object->immortal()) return;
  if (object->refCount.fetch_sub(1, std::memory_order_acq_rel) == 1) delete object;
}

CFIndex CFGetRetainCount(CFTypeRef cf) {
  if (!cf) zrp::Halt("CFGetRetainCount()");
  const zrp::Object* object = AsObject(cf);
  // Constant objects report the very large count the platform gives them.
  if (object->immortal()) return LONG_MAX;
  return object->refCount.load(std::memory_order_relaxed);
}

CFTypeID CFGetTypeID(CFTypeRef cf) {
  if (!cf) zrp::Halt("CFGetTypeID()");
  return AsObject(cf)->typeID();
}

Boolean CFEqual(CFTypeRef cf1, CFTypeRef cf2) {
  if (!cf1) zrp::Halt("CFEqual()");
  if (!cf2) zrp::Halt("CFEqual()");
  if (cf1 == cf2) return true;
  const zrp::Object* a = AsObject(cf1);
  const zrp::Object* b = AsObject(cf2);
  if (a->typeID() != b->typeID()) return false;
  return a->equal(*b);
}

CFHashCode CFHash(CFTypeRef cf) {
  if (!cf) zrp::Halt("CFHash()");
  return AsObject(cf)->hash();
}

CFStringRef CFCopyDescription(CFTypeRef cf) {
  return zrp::CatchOutOfMemory<CFStringRef>(nullptr, [&]() -> CFStringRef {
    if (!cf) return nullptr;
    return AsObject(cf)->copyDescription();
  });
}

CFStringRef CFCopyTypeIDDescription(CFTypeID type_id) {
  const char* name = zrp::TypeName(type_id);
  return name ? CFStringCreateWithCString(nullptr, name, kCFStringEncodingUTF8) : nullptr;
}

const CFNullRef kCFNull = reinterpret_cast<CFNullRef>(static_cast<zrp::Object*>(new zrp::NullObject()));

CFTypeID CFNullGetTypeID(void) { return zrp::kTypeIDNull; }

}  // extern "C"
