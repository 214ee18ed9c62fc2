// CFLocale.h: locales.
#pragma once

#include <CoreFoundation/CFBase.h>

typedef const struct __CFLocale* CFLocaleRef;
