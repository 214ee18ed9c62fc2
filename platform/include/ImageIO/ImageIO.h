// ImageIO.h: image sources and destinations (the types; the library only holds and releases them).
#pragma once

#include <CoreFoundation/CFBase.h>

typedef struct CGImageSource* CGImageSourceRef;
typedef struct CGImageDestination* CGImageDestinationRef;
