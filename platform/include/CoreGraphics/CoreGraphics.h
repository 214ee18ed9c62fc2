// CoreGraphics.h: the graphics object types (the library only holds and releases them).
#pragma once

#include <CoreFoundation/CFBase.h>

typedef struct CGShading* CGShadingRef;
typedef struct CGPath* CGMutablePathRef;
typedef struct CGPDFDocument* CGPDFDocumentRef;
typedef struct CGPDFDictionary* CGPDFDictionaryRef;
typedef struct CGLayer* CGLayerRef;
typedef struct CGImage* CGImageRef;
typedef struct CGDataProvider* CGDataProviderRef;
typedef struct CGContext* CGContextRef;
typedef struct CGColorSpace* CGColorSpaceRef;
typedef struct CGColor* CGColorRef;

#include <CoreGraphics/CGDirectDisplay.h>
#include <CoreGraphics/CGGeometry.h>
