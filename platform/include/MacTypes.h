// MacTypes.h: the platform's basic scalar types, as in its 64-bit build.
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef uint8_t UInt8;
typedef int8_t SInt8;
typedef uint16_t UInt16;
typedef int16_t SInt16;
typedef uint32_t UInt32;
typedef int32_t SInt32;
typedef uint64_t UInt64;
typedef int64_t SInt64;
typedef float Float32;
typedef double Float64;

typedef unsigned char Boolean;  // 8 bits, as on the platform
typedef int32_t OSStatus;
typedef int16_t OSErr;
typedef UInt32 FourCharCode;
typedef FourCharCode OSType;
typedef FourCharCode ResType;

typedef UInt16 UniChar;
typedef UInt32 UTF32Char;
typedef UniChar* UniCharPtr;
typedef unsigned long UniCharCount;
typedef UInt32 OptionBits;

typedef char* Ptr;
typedef Ptr* Handle;  // a relocatable block: a pointer to its master pointer
typedef long Size;

typedef unsigned char Str255[256];
typedef unsigned char Str63[64];
typedef unsigned char Str31[32];
typedef const unsigned char* ConstStr255Param;
typedef unsigned char* StringPtr;
typedef const unsigned char* ConstStringPtr;

enum { noErr = 0 };

#ifdef __cplusplus
}
#endif
