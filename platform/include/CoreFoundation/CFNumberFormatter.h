// CFNumberFormatter.h: number formatters.
#pragma once

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFLocale.h>

typedef struct __CFNumberFormatter* CFNumberFormatterRef;
