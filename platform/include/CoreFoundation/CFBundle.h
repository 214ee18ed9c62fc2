// CFBundle.h: bundles.
#pragma once

#include <CoreFoundation/CFBase.h>

typedef struct __CFBundle* CFBundleRef;
