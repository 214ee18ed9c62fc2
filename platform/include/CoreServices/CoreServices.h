// CoreServices.h: statuses and their texts, memory handles, metadata types.
#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <CoreServices/Debugging.h>
#include <CoreServices/Gestalt.h>
#include <CoreServices/MacErrors.h>
#include <CoreServices/MacMemory.h>
#include <CoreServices/Metadata.h>
