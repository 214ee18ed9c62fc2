// CFCalendar.h: calendars (the type; the library only holds and releases them).
#pragma once

#include <CoreFoundation/CFBase.h>

typedef const struct __CFCalendar* CFCalendarRef;
