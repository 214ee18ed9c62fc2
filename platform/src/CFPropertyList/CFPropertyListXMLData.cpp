// CFPropertyListXMLData.cpp: the older pair of property-list calls that speak XML data:
// CFPropertyListCreateXMLData and CFPropertyListCreateFromXMLData.
#include <CoreFoundation/CoreFoundation.h>

extern "C" {

CFDataRef CFPropertyListCreateXMLData(CFAllocatorRef allocator, CFPropertyListRef propertyList) {
  return CFPropertyListCreateData(allocator, propertyList, kCFPropertyListXMLFormat_v1_0, 0, nullptr);
}

CFPropertyListRef CFPropertyListCreateFromXMLData(CFAllocatorRef allocator, CFDataRef xmlData,
                                                  CFOptionFlags mutabilityOption, CFStringRef* errorString) {
  if (errorString) *errorString = nullptr;
  if (!xmlData) return nullptr;
  CFPropertyListRef result = CFPropertyListCreateWithData(allocator, xmlData, mutabilityOption, nullptr, nullptr);
  // The platform explains a refusal in a new string that the caller releases.
  if (!result && errorString)
    *errorString =
        CFStringCreateWithCString(allocator, "Unable to parse the data as a property list", kCFStringEncodingUTF8);
  return result;
}

}  // extern "C"
