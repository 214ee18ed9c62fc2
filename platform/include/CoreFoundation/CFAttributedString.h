// CFAttributedString.h: strings with attributes.
#pragma once

#include <CoreFoundation/CFBase.h>

typedef const struct __CFAttributedString* CFAttributedStringRef;
typedef struct __CFAttributedString* CFMutableAttributedStringRef;
