// NSData.cpp: the NSData and NSMutableData messages over the bridged CFData objects.
#include <Foundation/Foundation.h>

namespace ns {

const void* bytes(NSData* data) { return CFDataGetBytePtr(data); }

NSUInteger length(NSData* data) { return static_cast<NSUInteger>(CFDataGetLength(data)); }

NSData* dataWithBytes(const void* bytes, NSUInteger length) {
  CFDataRef data = CFDataCreate(kCFAllocatorDefault, static_cast<const UInt8*>(bytes), static_cast<CFIndex>(length));
  if (!data) return nil;
  return const_cast<NSData*>(static_cast<CFDataRef>(CFAutorelease(data)));
}

NSData* dataWithBytesNoCopy(void* bytes, NSUInteger length) {
  CFDataRef data = CFDataCreateWithBytesNoCopy(kCFAllocatorDefault, static_cast<const UInt8*>(bytes),
                                               static_cast<CFIndex>(length), kCFAllocatorMalloc);
  if (!data) return nil;
  return const_cast<NSData*>(static_cast<CFDataRef>(CFAutorelease(data)));
}

NSData* data() { return dataWithBytes(nullptr, 0); }

NSMutableData* mutableData() {
  CFMutableDataRef data = CFDataCreateMutable(kCFAllocatorDefault, 0);
  if (!data) return nil;
  CFAutorelease(data);
  return data;
}

void appendBytes(NSMutableData* data, const void* bytes, NSUInteger length) {
  CFDataAppendBytes(data, static_cast<const UInt8*>(bytes), static_cast<CFIndex>(length));
}

}  // namespace ns
