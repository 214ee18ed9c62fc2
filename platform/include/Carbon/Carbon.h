// Carbon.h: the application-level services on top of CoreServices.
#pragma once

#include <ApplicationServices/ApplicationServices.h>
#include <CoreServices/CoreServices.h>
