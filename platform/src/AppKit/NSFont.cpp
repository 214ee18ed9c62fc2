// NSFont.cpp: font objects for the desktop's user-interface font, found through fontconfig.
#include <AppKit/NSFont.h>
#include <fontconfig/fontconfig.h>

#include <string>

#include "CFString/StringImpl.h"
#include "runtime/Object.h"

namespace {

constexpr CGFloat kSystemFontSize = 13;

// The face fontconfig picks for the desktop's user interface; its names are constant strings,
// found once, since asking fontconfig means loading its configuration and font cache.
struct SystemFace {
  CFStringRef family = nullptr;
  CFStringRef name = nullptr;
};

SystemFace LookUpSystemFace() {
  SystemFace face;
  // A configuration of our own, released once the face is found, rather than fontconfig's
  // process-wide one, which it never frees entirely.
  FcConfig* config = FcInitLoadConfigAndFonts();
  if (!config) return face;
  // "system-ui" is the generic family that desktops configure for their interface text; where
  // it is not configured the ordinary sans-serif family stands in, as it does on the desktop.
  FcPattern* pattern = FcNameParse(reinterpret_cast<const FcChar8*>("system-ui,sans-serif:weight=regular:slant=roman"));
  FcPattern* match = nullptr;
  if (pattern) {
    FcConfigSubstitute(config, pattern, FcMatchPattern);
    FcDefaultSubstitute(pattern);
    FcResult result = FcResultNoMatch;
    match = FcFontMatch(config, pattern, &result);
    FcPatternDestroy(pattern);
  }
  FcChar8* family = nullptr;
  if (match && FcPatternGetString(match, FC_FAMILY, 0, &family) == FcResultMatch && family && *family) {
    face.family = zrp::InternedString(reinterpret_cast<const char*>(family));
    FcChar8* name = nullptr;
    if (FcPatternGetString(match, FC_POSTSCRIPT_NAME, 0, &name) == FcResultMatch && name && *name) {
      face.name = zrp::InternedString(reinterpret_cast<const char*>(name));
    }
    if (!face.name) face.name = face.family;
  }
  if (match) FcPatternDestroy(match);
  FcConfigDestroy(config);
  return face;
}

const SystemFace& TheSystemFace() {
  static const SystemFace face = LookUpSystemFace();
  return face;
}

}  // namespace

struct __NSFont final : zrp::Object {
  __NSFont(CFStringRef theFamily, CFStringRef theName, CGFloat theSize)
      : Object(zrp::kTypeIDFont), family(theFamily), name(theName), size(theSize) {}

  bool equal(const Object& other) const override {
    const auto& that = static_cast<const __NSFont&>(other);
    return size == that.size && CFEqual(family, that.family) && CFEqual(name, that.name);
  }
  CFHashCode hash() const override { return CFHash(name) ^ static_cast<CFHashCode>(size * 64); }
  CFStringRef copyDescription() const override {
    return CFStringCreateWithFormat(nullptr, nullptr, CFSTR("<NSFont %@ %g>"), family, size);
  }

  CFStringRef family;  // constant strings
  CFStringRef name;
  CGFloat size;
};

extern "C" {
const CFStringRef NSFontAttributeName = CFSTR("NSFont");
}

namespace NSFont {

CFTypeID typeID() { return zrp::kTypeIDFont; }

CGFloat systemFontSize() { return kSystemFontSize; }

NSFontRef systemFontOfSize(CGFloat fontSize) {
  const SystemFace& face = TheSystemFace();
  if (!face.family) return nullptr;
  if (!(fontSize > 0)) fontSize = kSystemFontSize;
  NSFontRef font = zrp::New<__NSFont>(face.family, face.name, fontSize);
  if (!font) return nullptr;
  return static_cast<NSFontRef>(CFAutorelease(font));
}

CFStringRef familyName(NSFontRef font) { return font ? font->family : nullptr; }

CFStringRef fontName(NSFontRef font) { return font ? font->name : nullptr; }

CGFloat pointSize(NSFontRef font) { return font ? font->size : 0; }

}  // namespace NSFont
