// PropertyListFuzz.cpp: feeds arbitrary bytes to the property-list readers (XML, binary and
// old-style, immutable and fully mutable), writes out whatever they accept in both forms, checks
// that the binary form reads back to what writes the same bytes again, and that nothing made along
// the way outlives the call.
#include <CoreFoundation/CoreFoundation.h>
#include <ZRPlatform/Testing.h>

#include <cstddef>
#include <cstdint>
#include <initializer_list>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  long live = ZRTestingLiveObjectCount();
  CFDataRef data = CFDataCreate(nullptr, bytes, static_cast<CFIndex>(size));
  if (!data) return 0;
  for (CFOptionFlags options : {kCFPropertyListImmutable, kCFPropertyListMutableContainersAndLeaves}) {
    CFPropertyListFormat format = 0;
    CFPropertyListRef plist = CFPropertyListCreateWithData(nullptr, data, options, &format, nullptr);
    if (!plist) continue;
    if (!CFPropertyListIsValid(plist, format)) __builtin_trap();
    CFDataRef xml = CFPropertyListCreateData(nullptr, plist, kCFPropertyListXMLFormat_v1_0, 0, nullptr);
    // Everything a reader accepts is a property list the writer can write.
    if (!xml) __builtin_trap();
    CFRelease(xml);
    CFDataRef binary = CFPropertyListCreateData(nullptr, plist, kCFPropertyListBinaryFormat_v1_0, 0, nullptr);
    if (!binary) __builtin_trap();
    CFPropertyListRef again = CFPropertyListCreateWithData(nullptr, binary, options, nullptr, nullptr);
    if (!again) __builtin_trap();
    CFDataRef rewritten = CFPropertyListCreateData(nullptr, again, kCFPropertyListBinaryFormat_v1_0, 0, nullptr);
    if (!rewritten || !CFEqual(binary, rewritten)) __builtin_trap();
    CFRelease(rewritten);
    CFRelease(again);
    CFRelease(binary);
    CFRelease(plist);
  }
  CFRelease(data);
  if (ZRTestingLiveObjectCount() != live) __builtin_trap();
  return 0;
}
