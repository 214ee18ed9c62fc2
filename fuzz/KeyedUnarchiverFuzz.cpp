// KeyedUnarchiverFuzz.cpp: feeds arbitrary bytes to the keyed unarchiver; whatever it decodes
// must archive again and decode to an equal object, and nothing may outlive the call.
#include <CoreFoundation/CoreFoundation.h>
#include <Foundation/Foundation.h>
#include <ZRPlatform/Testing.h>

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  long live = ZRTestingLiveObjectCount();
  {
    NSAutoreleasePool pool;
    NSData* data = ns::dataWithBytes(bytes, size);
    id object = data ? ns::unarchiveObjectWithData(data) : nullptr;
    if (object) {
      NSData* archive = ns::archivedDataWithRootObject(object);
      if (!archive) __builtin_trap();
      id again = ns::unarchiveObjectWithData(archive);
      if (!again || !CFEqual(object, again)) __builtin_trap();
    }
  }
  if (ZRTestingLiveObjectCount() != live) __builtin_trap();
  return 0;
}
