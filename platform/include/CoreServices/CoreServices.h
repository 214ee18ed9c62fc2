// CoreServices.h: statuses and their texts, memory handles, metadata types, the Script
// Manager's keyboard variables, resources, Unicode keyboard layouts and comparison, file
// references and folders, Launch Services.
#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <CoreServices/AE.h>
#include <CoreServices/Debugging.h>
#include <CoreServices/Files.h>
#include <CoreServices/Folders.h>
#include <CoreServices/Gestalt.h>
#include <CoreServices/LaunchServices.h>
#include <CoreServices/LowMem.h>
#include <CoreServices/MacErrors.h>
#include <CoreServices/MacMemory.h>
#include <CoreServices/Metadata.h>
#include <CoreServices/Resources.h>
#include <CoreServices/Script.h>
#include <CoreServices/UnicodeUtilities.h>
