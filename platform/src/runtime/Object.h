// Object.h: the runtime base every host object derives from, the fixed type identifiers,
// and the allocation seam through which every object creation passes.
#pragma once

#include <CoreFoundation/CFBase.h>

#include <atomic>
#include <new>
#include <utility>

#include "runtime/Seams.h"

namespace zrp {

// Type identifiers of the host's classes. Mutable and immutable kinds share one identifier.
enum : CFTypeID {
  kTypeIDNull = 1,
  kTypeIDBoolean,
  kTypeIDNumber,
  kTypeIDString,
  kTypeIDData,
  kTypeIDArray,
  kTypeIDDictionary,
  kTypeIDDate,
  kTypeIDLocale,
  kTypeIDNumberFormatter,
  kTypeIDBundle,
  kTypeIDAttributedString,
  kTypeIDURL,
  kTypeIDFont,
  kTypeIDError,
  kTypeIDReadStream,
  kTypeIDWriteStream,
  kTypeIDColorSpace,
  kTypeIDColor,
  kTypeIDFirstDynamic = 64
};

// Stops the process with "<what> called with NULL" on standard error, as the platform does when
// CFRetain, CFRelease and their kin are handed NULL.
[[noreturn]] void Halt(const char* what);

class Object {
 public:
  explicit Object(CFTypeID typeID);
  virtual ~Object();
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;

  // Called by CFEqual only for two distinct objects of the same type identifier.
  virtual bool equal(const Object& other) const;
  virtual CFHashCode hash() const;
  // The text of %@ and CFCopyDescription; the default is "<Name 0x...>".
  virtual CFStringRef copyDescription() const;
  virtual const char* className() const;

  CFTypeID typeID() const { return typeID_; }

  // Immortal objects (constant strings, the Booleans, kCFNull) ignore retain and release.
  void makeImmortal();
  bool immortal() const { return immortal_; }

  std::atomic<CFIndex> refCount{1};

 private:
  CFTypeID typeID_;
  bool immortal_ = false;
};

// Creates an object through the allocation seam: NULL when the allocation fails.
template <class T, class... Args>
T* New(Args&&... args) {
  if (!AllocationAllowed()) return nullptr;
  return new (std::nothrow) T(std::forward<Args>(args)...);
}

inline const Object* AsObject(CFTypeRef cf) { return static_cast<const Object*>(cf); }
inline Object* AsMutableObject(CFTypeRef cf) { return const_cast<Object*>(static_cast<const Object*>(cf)); }

// Registers a host class that is not one of the fixed kinds, below NSObject in the class table
// (once: the same name gives the same identifier); returns its type identifier.
CFTypeID RegisterType(const char* name);
// The name a type identifier was registered under, or NULL.
const char* TypeName(CFTypeID typeID);
// The name of the application's class whose instances have the type identifier (one at or above
// kTypeIDFirstDynamic, handed out by the class table), or NULL.
const char* ClassNameOfType(CFTypeID typeID);

}  // namespace zrp
