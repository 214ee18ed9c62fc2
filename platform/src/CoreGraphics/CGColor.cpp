// CGColor.cpp: the device RGB and gray colour spaces and colours of their components plus alpha.
#include <CoreFoundation/CFString.h>
#include <CoreGraphics/CGColor.h>

#include <cstdio>
#include <string>
#include <vector>

#include "CFString/StringImpl.h"
#include "runtime/Object.h"

struct CGColorSpace final : zrp::Object {
  explicit CGColorSpace(CGColorSpaceModel spaceModel) : Object(zrp::kTypeIDColorSpace), model(spaceModel) {}

  // Two device spaces of one model are the same space.
  bool equal(const Object& other) const override { return model == static_cast<const CGColorSpace&>(other).model; }
  CFHashCode hash() const override { return static_cast<CFHashCode>(model + 1); }
  const char* className() const override { return "CGColorSpace"; }
  CFStringRef copyDescription() const override {
    return CFStringCreateWithFormat(nullptr, nullptr, CFSTR("<CGColorSpace %p> (%s)"), static_cast<const void*>(this),
                                    name());
  }

  const char* name() const {
    return model == kCGColorSpaceModelRGB ? "kCGColorSpaceDeviceRGB" : "kCGColorSpaceDeviceGray";
  }
  size_t componentCount() const { return model == kCGColorSpaceModelRGB ? 3 : 1; }

  CGColorSpaceModel model;
};

struct CGColor final : zrp::Object {
  CGColor(CGColorSpaceRef colorSpace, const CGFloat* values, size_t count)
      : Object(zrp::kTypeIDColor), space(colorSpace), components(values, values + count) {}
  ~CGColor() override { CFRelease(space); }

  bool equal(const Object& other) const override {
    const auto& color = static_cast<const CGColor&>(other);
    return CFEqual(space, color.space) && components == color.components;
  }
  CFHashCode hash() const override {
    CFHashCode hash = CFHash(space);
    for (CGFloat component : components) hash = hash * 31 + static_cast<CFHashCode>(component * 65535.0);
    return hash;
  }
  const char* className() const override { return "CGColor"; }
  // <CGColor 0x...> [<CGColorSpace 0x...> (kCGColorSpaceDeviceRGB)] ( 1 0.5 0 1 )
  CFStringRef copyDescription() const override {
    std::string values;
    for (CGFloat component : components) {
      char buffer[32];
      std::snprintf(buffer, sizeof buffer, " %g", component);
      values += buffer;
    }
    return CFStringCreateWithFormat(nullptr, nullptr, CFSTR("<CGColor %p> [<CGColorSpace %p> (%s)] (%s )"),
                                    static_cast<const void*>(this), static_cast<const void*>(space), space->name(),
                                    values.c_str());
  }

  CGColorSpaceRef space;
  std::vector<CGFloat> components;
};

extern "C" {

CFTypeID CGColorSpaceGetTypeID(void) { return zrp::kTypeIDColorSpace; }

CGColorSpaceRef CGColorSpaceCreateDeviceRGB(void) { return zrp::New<CGColorSpace>(kCGColorSpaceModelRGB); }

CGColorSpaceRef CGColorSpaceCreateDeviceGray(void) { return zrp::New<CGColorSpace>(kCGColorSpaceModelMonochrome); }

CGColorSpaceRef CGColorSpaceRetain(CGColorSpaceRef space) {
  if (space) CFRetain(space);
  return space;
}

void CGColorSpaceRelease(CGColorSpaceRef space) {
  if (space) CFRelease(space);
}

size_t CGColorSpaceGetNumberOfComponents(CGColorSpaceRef space) { return space ? space->componentCount() : 0; }

CGColorSpaceModel CGColorSpaceGetModel(CGColorSpaceRef space) {
  return space ? space->model : kCGColorSpaceModelUnknown;
}

CFTypeID CGColorGetTypeID(void) { return zrp::kTypeIDColor; }

CGColorRef CGColorCreate(CGColorSpaceRef space, const CGFloat* components) {
  if (!space || !components) return nullptr;
  try {
    CGColor* color = zrp::New<CGColor>(space, components, space->componentCount() + 1);
    if (color) CFRetain(space);
    return color;
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

CGColorRef CGColorRetain(CGColorRef color) {
  if (color) CFRetain(color);
  return color;
}

void CGColorRelease(CGColorRef color) {
  if (color) CFRelease(color);
}

size_t CGColorGetNumberOfComponents(CGColorRef color) { return color ? color->components.size() : 0; }

const CGFloat* CGColorGetComponents(CGColorRef color) { return color ? color->components.data() : nullptr; }

CGFloat CGColorGetAlpha(CGColorRef color) { return color ? color->components.back() : 0; }

CGColorSpaceRef CGColorGetColorSpace(CGColorRef color) { return color ? color->space : nullptr; }

bool CGColorEqualToColor(CGColorRef color1, CGColorRef color2) {
  if (color1 == color2) return true;
  if (!color1 || !color2) return false;
  return CFEqual(color1, color2);
}

}  // extern "C"
