// CFPropertyList.h: property lists (the reference type of any property-list object).
#pragma once

#include <CoreFoundation/CFBase.h>
