// NSScreen.cpp: screen objects, one per active display, made afresh on each request as the
// platform makes them when the display configuration may have changed.
#include <AppKit/NSScreen.h>
#include <CoreFoundation/CFNumber.h>
#include <CoreFoundation/CFString.h>

#include <new>

#include "CoreGraphics/Displays.h"
#include "runtime/Object.h"

namespace {

CFTypeID ScreenTypeID() {
  static const CFTypeID typeID = zrp::RegisterType("NSScreen");
  return typeID;
}

}  // namespace

struct __NSScreen final : zrp::Object {
  __NSScreen(CGDirectDisplayID theDisplay, NSRect theFrame)
      : Object(ScreenTypeID()), display(theDisplay), frame(theFrame) {}
  ~__NSScreen() override {
    if (description) CFRelease(description);
  }

  bool equal(const Object& other) const override { return display == static_cast<const __NSScreen&>(other).display; }
  CFHashCode hash() const override { return display; }
  CFStringRef copyDescription() const override {
    return CFStringCreateWithFormat(nullptr, nullptr, CFSTR("<NSScreen %p display 0x%x {{%g, %g}, {%g, %g}}>"), this,
                                    static_cast<unsigned int>(display), frame.origin.x, frame.origin.y,
                                    frame.size.width, frame.size.height);
  }
  const char* className() const override { return "NSScreen"; }

  CGDirectDisplayID display;
  NSRect frame;
  // Made with the screen, so that deviceDescription can lend it.
  CFDictionaryRef description = nullptr;
};

namespace {

// The screen's device description: "NSScreenNumber" and "NSDeviceSize". NULL when an object
// cannot be made.
CFDictionaryRef CreateDescription(CGDirectDisplayID display, NSRect frame) {
  int number = static_cast<int>(display);
  CFNumberRef screenNumber = CFNumberCreate(nullptr, kCFNumberIntType, &number);
  CFNumberRef width = CFNumberCreate(nullptr, kCFNumberDoubleType, &frame.size.width);
  CFNumberRef height = CFNumberCreate(nullptr, kCFNumberDoubleType, &frame.size.height);
  CFArrayRef size = nullptr;
  CFDictionaryRef description = nullptr;
  if (screenNumber && width && height) {
    const void* sizes[] = {width, height};
    size = CFArrayCreate(nullptr, sizes, 2, &kCFTypeArrayCallBacks);
  }
  if (size) {
    const void* keys[] = {CFSTR("NSScreenNumber"), CFSTR("NSDeviceSize")};
    const void* values[] = {screenNumber, size};
    description =
        CFDictionaryCreate(nullptr, keys, values, 2, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
  }
  for (CFTypeRef object : {static_cast<CFTypeRef>(screenNumber), static_cast<CFTypeRef>(width),
                           static_cast<CFTypeRef>(height), static_cast<CFTypeRef>(size)}) {
    if (object) CFRelease(object);
  }
  return description;
}

}  // namespace

namespace NSScreen {

CFTypeID typeID() { return ScreenTypeID(); }

NSArray* screens() {
  std::vector<zrp::DisplayInfo> displays;
  try {
    displays = zrp::ActiveDisplays();
  } catch (const std::bad_alloc&) {
    return nil;
  }
  CFMutableArrayRef array =
      CFArrayCreateMutable(nullptr, static_cast<CFIndex>(displays.size()), &kCFTypeArrayCallBacks);
  if (!array) return nil;
  for (const zrp::DisplayInfo& display : displays) {
    __NSScreen* screen = zrp::New<__NSScreen>(display.id, display.bounds);
    if (screen) screen->description = CreateDescription(display.id, display.bounds);
    if (!screen || !screen->description) {
      if (screen) CFRelease(screen);
      CFRelease(array);
      return nil;
    }
    CFArrayAppendValue(array, screen);
    CFRelease(screen);
  }
  return static_cast<NSArray*>(const_cast<void*>(CFAutorelease(array)));
}

NSScreenRef mainScreen() {
  NSArray* all = screens();
  if (!all || CFArrayGetCount(all) == 0) return nil;
  return static_cast<NSScreenRef>(CFArrayGetValueAtIndex(all, 0));
}

NSRect frame(NSScreenRef screen) { return screen ? screen->frame : CGRectMake(0, 0, 0, 0); }

NSDictionary* deviceDescription(NSScreenRef screen) {
  return screen ? static_cast<NSDictionary*>(const_cast<__CFDictionary*>(screen->description)) : nil;
}

}  // namespace NSScreen
