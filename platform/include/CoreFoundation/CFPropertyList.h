// CFPropertyList.h: property lists: reading XML and binary ("bplist00") forms, writing XML.
#pragma once

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFString.h>

CF_EXTERN_C_BEGIN

typedef CFOptionFlags CFPropertyListMutabilityOptions;
enum {
  kCFPropertyListImmutable = 0,
  kCFPropertyListMutableContainers = 1 << 0,
  kCFPropertyListMutableContainersAndLeaves = 1 << 1
};

typedef CFIndex CFPropertyListFormat;
enum { kCFPropertyListOpenStepFormat = 1, kCFPropertyListXMLFormat_v1_0 = 100, kCFPropertyListBinaryFormat_v1_0 = 200 };

typedef struct __CFError* CFErrorRef;

// Reads an XML or binary property list. Returns NULL on malformed input; *error, when given,
// receives NULL (error objects are not made by this host).
CF_EXPORT CFPropertyListRef CFPropertyListCreateWithData(CFAllocatorRef allocator, CFDataRef data,
                                                         CFOptionFlags options, CFPropertyListFormat* format,
                                                         CFErrorRef* error);
// Writes the XML form byte for byte as the platform writes it; other formats give NULL.
CF_EXPORT CFDataRef CFPropertyListCreateData(CFAllocatorRef allocator, CFPropertyListRef propertyList,
                                             CFPropertyListFormat format, CFOptionFlags options, CFErrorRef* error);
CF_EXPORT Boolean CFPropertyListIsValid(CFPropertyListRef plist, CFPropertyListFormat format);

// The older calls: the XML form of a property list (as CFPropertyListCreateData writes it), and
// a property list read from data in any format. *errorString, when given, receives NULL on
// success and a new string saying why on failure.
CF_EXPORT CFDataRef CFPropertyListCreateXMLData(CFAllocatorRef allocator, CFPropertyListRef propertyList);
CF_EXPORT CFPropertyListRef CFPropertyListCreateFromXMLData(CFAllocatorRef allocator, CFDataRef xmlData,
                                                          CFOptionFlags mutabilityOption, CFStringRef* errorString);

CF_EXTERN_C_END
