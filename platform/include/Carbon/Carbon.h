// Carbon.h: the application-level services on top of CoreServices: key codes, modifiers and
// keyboard layouts.
#pragma once

#include <ApplicationServices/ApplicationServices.h>
#include <Carbon/Events.h>
#include <Carbon/KeyboardLayouts.h>
#include <CoreServices/CoreServices.h>
