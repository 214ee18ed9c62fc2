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

CF_EXTERN_C_BEGIN

// Makes the n-th allocation on the calling thread from now on fail, once (n >= 1).
// n <= 0 disarms a pending failure.
CF_EXPORT void ZRTestingFailAllocation(long n);
// True while a failure armed on the calling thread has not happened yet.
CF_EXPORT Boolean ZRTestingFailurePending(void);
// Allocations counted on the calling thread since the last reset.
CF_EXPORT long ZRTestingAllocationCount(void);
CF_EXPORT void ZRTestingResetAllocationCount(void);

// Receives each NSLog message (the formatted text, UTF-8, without the date and process prefix).
typedef void (*ZRTestingLogSink)(const char* message, void* context);
// Routes NSLog to sink instead of standard error and syslog; NULL restores the normal output.
CF_EXPORT void ZRTestingSetLogSink(ZRTestingLogSink sink, void* context);

// Gives a status the name and comment of the test's choosing, in front of the host's own table, so
// that tests reach texts the table does not hold (a comment with trailing blanks, a name without a
// comment). NULL for both takes the override away.
CF_EXPORT void ZRTestingSetStatusText(OSStatus status, const char* name, const char* comment);

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

CF_EXTERN_C_END
