// AppKit.h: the AppKit services the host layer provides.
#pragma once

#include <AppKit/NSFont.h>
#include <Foundation/Foundation.h>
