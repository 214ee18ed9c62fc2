// NSFont.h: fonts. The NSFont class's methods are functions in the namespace NSFont, over font
// objects that are host objects like any other (CFRetain, CFRelease, CFEqual, %@ work on them).
#pragma once

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFString.h>

#include <CoreGraphics/CGGeometry.h>

typedef const struct __NSFont* NSFontRef;

CF_EXTERN_C_BEGIN

// The key under which an attributed string keeps its font: "NSFont".
CF_EXPORT const CFStringRef NSFontAttributeName;

CF_EXTERN_C_END

#ifdef __cplusplus
namespace NSFont {

// The type identifier of font objects.
__attribute__((visibility("default"))) CFTypeID typeID();

// The desktop's user-interface font (fontconfig's match for "system-ui", else "sans-serif") at
// fontSize points; a size of 0 or less means systemFontSize(). Autoreleased, so it needs an
// autorelease pool; nil when no font is installed or the object cannot be made.
__attribute__((visibility("default"))) NSFontRef systemFontOfSize(CGFloat fontSize);
// The size of the standard system font: 13 points.
__attribute__((visibility("default"))) CGFloat systemFontSize();

// The font's family ("DejaVu Sans") and PostScript name ("DejaVuSans"), lent by the font.
__attribute__((visibility("default"))) CFStringRef familyName(NSFontRef font);
__attribute__((visibility("default"))) CFStringRef fontName(NSFontRef font);
// The font's size in points.
__attribute__((visibility("default"))) CGFloat pointSize(NSFontRef font);

}  // namespace NSFont
#endif
