// Testing.h: seams for tests of code built on the host layer. Applications never include this.
//
// Fault injection: every object creation of the host layer, every handle allocation and
// every malloc/calloc call made by the ZRFramework library counts as one allocation on the
// calling thread. Tests arm a one-shot failure to reach "returns NULL" paths.
//
// Log capture: NSLog's message text can be routed to a callback instead of standard error
// and syslog, so that tests compare ERROR lines as text.
#pragma once

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFDate.h>

CF_EXTERN_C_BEGIN

// Makes the n-th allocation on the calling thread from now on fail, once (n >= 1).
// n <= 0 disarms a pending failure.
CF_EXPORT void ZRTestingFailAllocation(long n);
// True while a failure armed on the calling thread has not happened yet.
CF_EXPORT Boolean ZRTestingFailurePending(void);
// Allocations counted on the calling thread since the last reset.
CF_EXPORT long ZRTestingAllocationCount(void);
CF_EXPORT void ZRTestingResetAllocationCount(void);

// C++ allocations, counted apart from the above: the test programs replace the global operator
// new (every replaceable form) with one that asks ZRTestingCxxAllocationAllowed first, so that a
// container inside the library or the host can be made to fail. Makes the n-th C++ allocation on
// the calling thread from now on fail, once (n >= 1): the throwing forms throw std::bad_alloc, the
// nothrow forms return NULL. n <= 0 disarms a pending failure.
CF_EXPORT void ZRTestingFailCxxAllocation(long n);
// True while a C++ allocation failure armed on the calling thread has not happened yet.
CF_EXPORT Boolean ZRTestingCxxFailurePending(void);
// Counts one C++ allocation on the calling thread; false when it is the one armed to fail.
CF_EXPORT Boolean ZRTestingCxxAllocationAllowed(void);

// Receives each NSLog message (the formatted text, UTF-8, without the date and process prefix).
typedef void (*ZRTestingLogSink)(const char* message, void* context);
// Routes NSLog to sink instead of standard error and syslog; NULL restores the normal output.
CF_EXPORT void ZRTestingSetLogSink(ZRTestingLogSink sink, void* context);

// Gives a status the name and comment of the test's choosing, in front of the host's own table, so
// that tests reach texts the table does not hold (a comment with trailing blanks, a name without a
// comment). NULL for both takes the override away.
CF_EXPORT void ZRTestingSetStatusText(OSStatus status, const char* name, const char* comment);

// Pins CFAbsoluteTimeGetCurrent to *time for every thread until called again; NULL lets the
// system clock through again.
CF_EXPORT void ZRTestingSetCurrentAbsoluteTime(const CFAbsoluteTime* time);

// Presents a keyboard layout as the current one in place of the machine's: kind 1 (kKLKCHRKind),
// 2 (kKLuchrKind) or 0 (both), under identifier and name, with a copy of its 'KCHR' and 'uchr'
// bytes (NULL for data the layout lacks: its property and resource are then missing). A negative
// kind takes the presented layout away, and the layout named by XKB_DEFAULT_* or the system's
// configuration is current again.
CF_EXPORT void ZRTestingPresentKeyboardLayout(SInt32 kind, SInt32 identifier, const char* name, const void* kchrData,
                                              size_t kchrLength, const void* uchrData, size_t uchrLength);
// Reads the system's keyboard configuration from these files instead of /etc/default/keyboard
// and /etc/X11/xorg.conf.d/00-keyboard.conf; NULL restores the real path.
CF_EXPORT void ZRTestingSetKeyboardConfigurationFiles(const char* defaultKeyboard, const char* xorgKeyboard);
// Makes KLGetKeyboardLayoutProperty return status for the property tag from now on; noErr stops it.
CF_EXPORT void ZRTestingFailKeyboardLayoutProperty(UInt32 tag, OSStatus status);

// Live objects of the host layer (created and not yet freed), for leak checks in tests.
CF_EXPORT long ZRTestingLiveObjectCount(void);

// Called at the start of every getxattr call with its path and name (as the caller gave it),
// on any thread, so that a test can change the attribute between a caller's size query and its
// read. NULL removes the hook.
typedef void (*ZRTestingAttributeReadHook)(const char* path, const char* name, void* context);
CF_EXPORT void ZRTestingSetAttributeReadHook(ZRTestingAttributeReadHook hook, void* context);

// Makes getlogin answer `name` (NULL: answer NULL, as for a process without a login) instead
// of the session's login name, until ZRTestingResetLoginName.
CF_EXPORT void ZRTestingSetLoginName(const char* name);
CF_EXPORT void ZRTestingResetLoginName(void);

// System queries. Makes Gestalt answer `status` for the selector, with `response` when the status
// is noErr, until ZRTestingResetGestalt.
CF_EXPORT void ZRTestingSetGestaltResponse(OSType selector, OSErr status, SInt32 response);
CF_EXPORT void ZRTestingResetGestalt(void);
// Makes host_info return `status` (a kern_return_t) without filling the record when it is not 0,
// or fill it with logical_cpu set to logicalCPU when it is, until ZRTestingResetHostInfo.
CF_EXPORT void ZRTestingSetHostInfo(int status, int logicalCPU);
CF_EXPORT void ZRTestingResetHostInfo(void);
// Reads the kernel's device tree (displays, processor topology) under path instead of "/sys";
// NULL goes back to "/sys".
CF_EXPORT void ZRTestingSetSysfsRoot(const char* path);
// Tells the host that the user's locale settings (the locale variables of the environment, the
// preferences folder) have changed, as the platform's announcement of a changed current locale
// does: the current locale is decided again at the next question instead of within a second.
CF_EXPORT void ZRTestingLocaleSettingsChanged(void);

CF_EXTERN_C_END
