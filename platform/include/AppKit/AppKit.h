// AppKit.h: the AppKit services the host layer provides.
#pragma once

#include <AppKit/NSApplication.h>
#include <AppKit/NSFont.h>
#include <AppKit/NSScreen.h>
#include <Foundation/Foundation.h>
