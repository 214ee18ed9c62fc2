// OpenStepPropertyListFuzz.cpp: feeds arbitrary bytes to the old-style (OpenStep) reader itself,
// immutable and fully mutable; whatever it accepts must be a valid property list that the XML
// writer writes, and nothing made along the way may outlive the call.
#include <CoreFoundation/CoreFoundation.h>
#include <ZRPlatform/Testing.h>

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>

#include "CFPropertyList/PropertyListImpl.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  long live = ZRTestingLiveObjectCount();
  for (CFOptionFlags options : {kCFPropertyListImmutable, kCFPropertyListMutableContainersAndLeaves}) {
    zrp::PropertyListBuilder builder(options);
    std::string why;
    CFPropertyListRef plist = zrp::ReadOpenStepPropertyList(bytes, size, builder, &why);
    if (!plist) {
      if (why.empty()) __builtin_trap();
      continue;
    }
    if (!CFPropertyListIsValid(plist, kCFPropertyListOpenStepFormat)) __builtin_trap();
    CFDataRef xml = CFPropertyListCreateData(nullptr, plist, kCFPropertyListXMLFormat_v1_0, 0, nullptr);
    if (!xml) __builtin_trap();
    CFRelease(xml);
    CFRelease(plist);
  }
  if (ZRTestingLiveObjectCount() != live) __builtin_trap();
  return 0;
}
