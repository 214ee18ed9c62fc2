// NSObject.h: the class table: class objects by name, each object's class, the superclass chain
// that isKindOfClass: walks, and the application's own classes joining the table.
//
// Every host object has a class: its concrete class, below the public class of its kind, below
// NSObject. A mutable array is an __NSArrayM, a kind of NSMutableArray, itself a kind of NSArray;
// an immutable one an __NSArrayI, a kind of NSArray only. The same holds for strings
// (NSMutableString, NSString), data (NSMutableData, NSData) and dictionaries; numbers and the
// Booleans are kinds of NSNumber (below NSValue), dates of NSDate, kCFNull of NSNull.
#pragma once

#include <Foundation/NSObjCRuntime.h>

typedef struct objc_class* Class;
#define Nil nullptr

CF_EXTERN_C_BEGIN

// The class of that name, NULL (Nil) when there is none. objc_getClass("NSArray") is what
// [NSArray class] answers.
CF_EXPORT Class objc_getClass(const char* name);
// The object's class; Nil for nil.
CF_EXPORT Class object_getClass(id object);
// The class's name; "nil" for Nil.
CF_EXPORT const char* class_getName(Class cls);
// The class's superclass; Nil for NSObject and for Nil.
CF_EXPORT Class class_getSuperclass(Class cls);

// Makes a new class below superclass (Nil: NSObject) named name, whose instances carry
// extraBytes bytes of their own; Nil when the name is taken or the arguments are missing. The
// class can be used, and its instances made, once objc_registerClassPair has added it to the table.
CF_EXPORT Class objc_allocateClassPair(Class superclass, const char* name, size_t extraBytes);
CF_EXPORT void objc_registerClassPair(Class cls);
// A new instance of a class the application registered (retain count 1; released with
// CFRelease), its extra bytes zeroed; nil for the host's own classes, an unregistered class or a
// failed allocation.
CF_EXPORT id class_createInstance(Class cls, size_t extraBytes);
// The instance's extra bytes (class_createInstance's and the class's together).
CF_EXPORT void* object_getIndexedIvars(id object);

CF_EXTERN_C_END

#ifdef __cplusplus
namespace ns {

// -[NSObject isKindOfClass:]: whether the object's class is cls or lies below it; false for nil.
CF_EXPORT bool isKindOfClass(id object, Class cls);
// -[NSObject isMemberOfClass:]: whether the object's class is cls itself.
CF_EXPORT bool isMemberOfClass(id object, Class cls);
// +[NSObject isSubclassOfClass:]: whether cls is other or lies below it.
CF_EXPORT bool isSubclassOfClass(Class cls, Class other);

}  // namespace ns
#endif
