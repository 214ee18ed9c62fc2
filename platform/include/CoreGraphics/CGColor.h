// CGColor.h: colour spaces (device RGB and device gray) and colours made of their components
// and an alpha value.
#pragma once

#include <CoreFoundation/CFBase.h>
#include <CoreGraphics/CGGeometry.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

CF_EXTERN_C_BEGIN

typedef struct CGColorSpace* CGColorSpaceRef;
typedef struct CGColor* CGColorRef;

typedef int32_t CGColorSpaceModel;
enum { kCGColorSpaceModelUnknown = -1, kCGColorSpaceModelMonochrome = 0, kCGColorSpaceModelRGB = 1 };

CF_EXPORT CFTypeID CGColorSpaceGetTypeID(void);
// New colour spaces (the caller releases them); NULL when the allocation fails.
CF_EXPORT CGColorSpaceRef CGColorSpaceCreateDeviceRGB(void);
CF_EXPORT CGColorSpaceRef CGColorSpaceCreateDeviceGray(void);
// Retain and release accept NULL (and then do nothing); retain returns its argument.
CF_EXPORT CGColorSpaceRef CGColorSpaceRetain(CGColorSpaceRef space);
CF_EXPORT void CGColorSpaceRelease(CGColorSpaceRef space);
// The colour components of the space, alpha not counted: 3 for RGB, 1 for gray; 0 for NULL.
CF_EXPORT size_t CGColorSpaceGetNumberOfComponents(CGColorSpaceRef space);
CF_EXPORT CGColorSpaceModel CGColorSpaceGetModel(CGColorSpaceRef space);

CF_EXPORT CFTypeID CGColorGetTypeID(void);
// A new colour in the space from its components followed by alpha (the space's count plus one
// values, copied); NULL when either argument is NULL or the allocation fails.
CF_EXPORT CGColorRef CGColorCreate(CGColorSpaceRef space, const CGFloat* components);
CF_EXPORT CGColorRef CGColorRetain(CGColorRef color);
CF_EXPORT void CGColorRelease(CGColorRef color);
// The count of components, alpha included (4 for RGB, 2 for gray); 0 for NULL.
CF_EXPORT size_t CGColorGetNumberOfComponents(CGColorRef color);
// The components, alpha last, valid while the colour lives; NULL for NULL.
CF_EXPORT const CGFloat* CGColorGetComponents(CGColorRef color);
CF_EXPORT CGFloat CGColorGetAlpha(CGColorRef color);
// The colour's space, not retained; NULL for NULL.
CF_EXPORT CGColorSpaceRef CGColorGetColorSpace(CGColorRef color);
// True when both are colours of the same kind of space with equal components (or the same object).
CF_EXPORT bool CGColorEqualToColor(CGColorRef color1, CGColorRef color2);

CF_EXTERN_C_END
