// NSKeyedArchiver.h: keyed archives of property-list objects in the platform's published format
// (a binary property list with "$archiver", "$version", "$top" and "$objects"), so that archives
// move between the two systems.
#pragma once

#include <Foundation/NSObjCRuntime.h>

#ifdef __cplusplus
namespace ns {

// +[NSKeyedArchiver archivedDataWithRootObject:]: the archive of the object graph under
// rootObject (strings, numbers, Booleans, data, dates, arrays, dictionaries, their mutable
// kinds, and kCFNull as NSNull), autoreleased; nil when the graph holds anything else or cannot
// be written. A nil root archives as the archive's null object.
CF_EXPORT NSData* archivedDataWithRootObject(id rootObject);

// +[NSKeyedUnarchiver unarchiveObjectWithData:]: the root object of a keyed archive (binary or
// XML), autoreleased; nil when the data is no keyed archive, names a class the host does not
// decode, refers outside its objects or to an object being decoded, or nests too deep. Each
// object comes back as the class it was archived as: an NSMutableArray as a mutable array, an
// NSArray as an immutable one.
CF_EXPORT id unarchiveObjectWithData(NSData* data);

}  // namespace ns
#endif
