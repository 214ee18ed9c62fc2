// sys/xattr.h: extended attributes with the platform's signatures (a position and an options
// argument on every call, XATTR_NOFOLLOW instead of separate l* functions, ENOATTR).
//
// This header stands in for the C library's own <sys/xattr.h>, whose functions have the same
// names but fewer arguments. It claims that header's include guard, so that a translation unit
// sees one set of declarations only, and it binds the names to the host's own symbols through
// assembler labels: code written for the platform compiles unchanged, while the C library's
// getxattr() stays untouched for every other library in the process.
#pragma once
#ifndef _SYS_XATTR_H
#define _SYS_XATTR_H 1

#include <errno.h>
#include <stdint.h>
#include <sys/types.h>

#ifdef __cplusplus
extern "C" {
#endif

// Options, with the platform's values.
#define XATTR_NOFOLLOW 0x0001  // act on a symbolic link itself, never on its target
#define XATTR_CREATE 0x0002    // setxattr: fail with EEXIST when the attribute exists
#define XATTR_REPLACE 0x0004   // setxattr: fail with ENOATTR when the attribute is missing

#define XATTR_MAXNAMELEN 127

// The platform's error number for a missing attribute. Linux reports ENODATA in that case.
#ifndef ENOATTR
#define ENOATTR ENODATA
#endif

// A name without a namespace ("com.example.tag") is stored in Linux's "user." namespace; a name
// that names a namespace ("user.", "trusted.", "security.", "system.") is passed unchanged.
// position must be 0 (it only addresses the platform's resource forks): other values give
// EINVAL, as do option bits other than the ones above, and XATTR_CREATE with XATTR_REPLACE.
__attribute__((visibility("default"))) ssize_t getxattr(const char* path, const char* name, void* value, size_t size,
                                                        uint32_t position, int options) __asm__("ZRPlatform_getxattr");
__attribute__((visibility("default"))) int setxattr(const char* path, const char* name, const void* value, size_t size,
                                                    uint32_t position, int options) __asm__("ZRPlatform_setxattr");
__attribute__((visibility("default"))) int removexattr(const char* path, const char* name,
                                                       int options) __asm__("ZRPlatform_removexattr");
// The names, each NUL-terminated, "user." taken off again; NULL or size 0 asks for the size.
__attribute__((visibility("default"))) ssize_t listxattr(const char* path, char* namebuff, size_t size,
                                                         int options) __asm__("ZRPlatform_listxattr");

#ifdef __cplusplus
}
#endif

#endif  // _SYS_XATTR_H
