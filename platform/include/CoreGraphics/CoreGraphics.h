// CoreGraphics.h: colours and colour spaces; the other graphics object types, which the library
// only holds and releases.
#pragma once

#include <CoreFoundation/CFBase.h>
#include <CoreGraphics/CGColor.h>

typedef struct CGShading* CGShadingRef;
typedef struct CGPath* CGMutablePathRef;
typedef struct CGPDFDocument* CGPDFDocumentRef;
typedef struct CGPDFDictionary* CGPDFDictionaryRef;
typedef struct CGLayer* CGLayerRef;
typedef struct CGImage* CGImageRef;
typedef struct CGDataProvider* CGDataProviderRef;
typedef struct CGContext* CGContextRef;

#include <CoreGraphics/CGDirectDisplay.h>
#include <CoreGraphics/CGGeometry.h>
