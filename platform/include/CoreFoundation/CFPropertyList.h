// CFPropertyList.h: property lists: reading the XML, binary ("bplist00") and old-style (OpenStep)
// forms, writing XML and binary, to data or to a stream.
#pragma once

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFError.h>
#include <CoreFoundation/CFStream.h>
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

// The codes of property-list errors (domain kCFErrorDomainCocoa).
enum {
  kCFPropertyListReadCorruptError = 3840,
  kCFPropertyListReadUnknownVersionError = 3841,
  kCFPropertyListReadStreamError = 3842,
  kCFPropertyListWriteStreamError = 3851
};

// Reads a property list in any of the three forms (binary by its header; XML when the text opens
// with markup; old-style otherwise). Returns NULL on malformed input, and then, when error is
// given, a new error there (code kCFPropertyListReadCorruptError, the reason under
// "NSDebugDescription") that the caller releases; *error is NULL on success.
CF_EXPORT CFPropertyListRef CFPropertyListCreateWithData(CFAllocatorRef allocator, CFDataRef data,
                                                         CFOptionFlags options, CFPropertyListFormat* format,
                                                         CFErrorRef* error);
// Writes the XML form byte for byte as the platform writes it, or the binary form. NULL for the
// old-style form (never written), for objects a property list cannot hold, cycles and nesting
// deeper than 512, with a new error in *error when given (code 3852, NSPropertyListWriteInvalidError).
CF_EXPORT CFDataRef CFPropertyListCreateData(CFAllocatorRef allocator, CFPropertyListRef propertyList,
                                             CFPropertyListFormat format, CFOptionFlags options, CFErrorRef* error);
// A deep copy of the property list with the mutability asked for (the options of reading);
// NULL when it holds anything a property list cannot, or an allocation fails.
CF_EXPORT CFPropertyListRef CFPropertyListCreateDeepCopy(CFAllocatorRef allocator, CFPropertyListRef propertyList,
                                                         CFOptionFlags mutabilityOption);
CF_EXPORT Boolean CFPropertyListIsValid(CFPropertyListRef plist, CFPropertyListFormat format);

// The older calls: the XML form of a property list (as CFPropertyListCreateData writes it), and
// a property list read from data in any format. *errorString, when given, receives NULL on
// success and a new string saying why on failure.
CF_EXPORT CFDataRef CFPropertyListCreateXMLData(CFAllocatorRef allocator, CFPropertyListRef propertyList);
CF_EXPORT CFPropertyListRef CFPropertyListCreateFromXMLData(CFAllocatorRef allocator, CFDataRef xmlData,
                                                            CFOptionFlags mutabilityOption, CFStringRef* errorString);

// Read the property list that the next streamLength bytes of an open stream hold (0: up to the
// end of the stream), in any of the three forms, as CFPropertyListCreateWithData reads data. NULL
// when the stream is not open, a read fails, or the bytes are no property list; the older call
// then puts a new string saying why in *errorString, the newer a new error in *error (code
// kCFPropertyListReadStreamError when the stream failed). The stream is left open.
CF_EXPORT CFPropertyListRef CFPropertyListCreateFromStream(CFAllocatorRef allocator, CFReadStreamRef stream,
                                                           CFIndex streamLength, CFOptionFlags mutabilityOption,
                                                           CFPropertyListFormat* format, CFStringRef* errorString);
CF_EXPORT CFPropertyListRef CFPropertyListCreateWithStream(CFAllocatorRef allocator, CFReadStreamRef stream,
                                                           CFIndex streamLength, CFOptionFlags options,
                                                           CFPropertyListFormat* format, CFErrorRef* error);

// Write the property list to an open stream in the XML or binary form, as CFPropertyListCreateData
// makes it, in as many pieces as the stream takes, and answer the count of bytes written. 0 on
// failure: for a format or object that cannot be written (code 3852), a NULL stream, a stream that
// is not open, took no bytes or failed (code kCFPropertyListWriteStreamError, with the stream's
// own error under "NSUnderlyingError" when it has one); the newer call then puts a new error in
// *error, the older a new string saying why in *errorString. The stream is left open; the options
// are unused, as on the platform.
CF_EXPORT CFIndex CFPropertyListWrite(CFPropertyListRef propertyList, CFWriteStreamRef stream,
                                      CFPropertyListFormat format, CFOptionFlags options, CFErrorRef* error);
CF_EXPORT CFIndex CFPropertyListWriteToStream(CFPropertyListRef propertyList, CFWriteStreamRef stream,
                                              CFPropertyListFormat format, CFStringRef* errorString);

CF_EXTERN_C_END
