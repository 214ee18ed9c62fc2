// Foundation.h: the Foundation services the host layer provides.
#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <Foundation/NSAutoreleasePool.h>
#include <Foundation/NSData.h>
#include <Foundation/NSKeyedArchiver.h>
#include <Foundation/NSObjCRuntime.h>
#include <Foundation/NSObject.h>
#include <Foundation/NSString.h>
