// CoreFoundation.h: the object library, every service the host layer provides.
#pragma once

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFString.h>
#include <CoreFoundation/CFNumber.h>
#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFDictionary.h>
#include <CoreFoundation/CFDate.h>
#include <CoreFoundation/CFURL.h>
#include <CoreFoundation/CFUUID.h>
#include <CoreFoundation/CFSocket.h>
#include <CoreFoundation/CFRunLoop.h>
#include <CoreFoundation/CFStream.h>
#include <CoreFoundation/CFCharacterSet.h>
#include <CoreFoundation/CFCalendar.h>
#include <CoreFoundation/CFLocale.h>
#include <CoreFoundation/CFNumberFormatter.h>
#include <CoreFoundation/CFDateFormatter.h>
#include <CoreFoundation/CFBundle.h>
#include <CoreFoundation/CFAttributedString.h>
#include <CoreFoundation/CFPropertyList.h>
#include <CoreFoundation/CFPreferences.h>
