// CFRunLoop.h: run-loop timers and sources (the types; the library only holds and releases them).
#pragma once

#include <CoreFoundation/CFBase.h>

typedef struct __CFRunLoopTimer* CFRunLoopTimerRef;
typedef struct __CFRunLoopSource* CFRunLoopSourceRef;
