// ZRTraceLog.cpp: the trace lines that the application's classes write on standard output (a
// note, a method call, initialisation, drawing, deallocation), and the bit-mask test that
// decides whether a trace category is on.
#include <ZRFramework/ZRFramework.h>

#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "diagnostics/Frame.h"

namespace {

// The wall clock as "HH:MM:SS", in a zeroed buffer of 9 bytes.
struct WallClock {
  char text[9];
};

WallClock TakeWallClock() {
  WallClock clock;
  memset(clock.text, 0, sizeof(clock.text));
  time_t now = time(NULL);
  // localtime's static result is used at once, before anything else can call it.
  struct tm* local = localtime(&now);
  if (local) strftime(clock.text, sizeof(clock.text), "%T", local);
  return clock;
}

// The base name of a source path: the text after the last '/' that stands before the last '.',
// up to that '.'. Usable only when start < dot. A path with a '.' but no '/' before it leaves the
// start at -1, one before the path; it is read from the path's first character instead.
struct BaseName {
  long start = -1;
  long dot = -1;

  bool usable() const { return start < dot; }
  int length() const { return static_cast<int>(dot - first()); }
  long first() const { return start < 0 ? 0 : start; }
};

BaseName FindBaseName(const char* path) {
  BaseName name;
  for (long index = static_cast<long>(strlen(path)) - 1; index >= 0; --index) {
    char character = path[index];
    if (name.dot == -1) {
      if (character == '.') name.dot = index;
      if (name.start == -1) name.start = (character == '/') ? index + 1 : -1;
    } else {
      if (name.start != -1) break;
      name.start = (character == '/') ? index + 1 : -1;
    }
  }
  return name;
}

// The fraction of the absolute time in milliseconds, rounded to single precision. The time is
// truncated towards zero to a 32-bit integer; times beyond its range saturate, as the
// processor's own conversion does, rather than overflowing.
double Milliseconds(CFAbsoluteTime now) {
  double whole;
  if (now >= static_cast<double>(INT32_MAX)) {
    whole = INT32_MAX;
  } else if (now <= static_cast<double>(INT32_MIN)) {
    whole = INT32_MIN;
  } else {
    whole = static_cast<SInt32>(now);
  }
  return static_cast<float>((now - whole) * 1000.0);
}

// A string's characters as UTF-8 for printing, as UTF8String gives them; "(null)" stands in for
// a string without a UTF-8 form (a lone surrogate), as printf shows a NULL text.
class Utf8Text {
 public:
  explicit Utf8Text(CFStringRef string) {
    if (const char* direct = CFStringGetCStringPtr(string, kCFStringEncodingUTF8)) {
      text_ = direct;
      return;
    }
    CFIndex size = CFStringGetMaximumSizeForEncoding(CFStringGetLength(string), kCFStringEncodingUTF8) + 1;
    char* buffer = inline_;
    if (size > static_cast<CFIndex>(sizeof(inline_))) {
      buffer = heap_ = static_cast<char*>(malloc(static_cast<size_t>(size)));
      if (!buffer) return;
    }
    text_ = CFStringGetCString(string, buffer, size, kCFStringEncodingUTF8) ? buffer : "(null)";
  }
  ~Utf8Text() { free(heap_); }
  Utf8Text(const Utf8Text&) = delete;
  Utf8Text& operator=(const Utf8Text&) = delete;

  // NULL when the memory for the text could not be had.
  const char* get() const { return text_; }

 private:
  char inline_[256];
  char* heap_ = NULL;
  const char* text_ = NULL;
};

// "[clock] KIND base<separator>object (line)": the line of a drawing or deallocating object, the
// object written with objectFormat ("%p" or "%@"). Nothing is written when a part cannot be made.
void ObjectLine(const char* inFileBuffer, int inLine, id inObject, CFStringRef objectFormat, const char* kind,
                const char* separator) {
  if (!inFileBuffer || !inObject) return;

  CFStringRef objectStringRef = CFStringCreateWithFormat(kCFAllocatorDefault, NULL, objectFormat, inObject);
  ZR_CLEANUP { ZRDestroyStringRef(&objectStringRef); };
  if (!objectStringRef) return;

  CFAbsoluteTime now = CFAbsoluteTimeGetCurrent();
  WallClock clock = TakeWallClock();
  BaseName name = FindBaseName(inFileBuffer);
  if (!name.usable()) return;

  Utf8Text object(objectStringRef);
  if (!object.get()) return;
  printf("[%s.%0*.0f] %s %.*s%s%s (%i)\n", clock.text, 3, Milliseconds(now), kind, name.length(),
         inFileBuffer + name.first(), separator, object.get(), inLine);
}

}  // namespace

void ZRNoteLogMethod(const char* inFileBuffer, int inLine, CFStringRef inFormatStringRef, ...) {
  if (!inFileBuffer || !inFormatStringRef) return;

  va_list arguments;
  va_start(arguments, inFormatStringRef);
  CFStringRef noteStringRef =
      CFStringCreateWithFormatAndArguments(kCFAllocatorDefault, NULL, inFormatStringRef, arguments);
  va_end(arguments);
  ZR_CLEANUP { ZRDestroyStringRef(&noteStringRef); };
  if (!noteStringRef) return;

  CFAbsoluteTime now = CFAbsoluteTimeGetCurrent();
  WallClock clock = TakeWallClock();
  BaseName name = FindBaseName(inFileBuffer);
  if (!name.usable()) return;

  Utf8Text note(noteStringRef);
  if (!note.get()) return;
  printf("[%s.%0*.0f] === [%.*s:%i] %s\n", clock.text, 3, Milliseconds(now), name.length(), inFileBuffer + name.first(),
         inLine, note.get());
}

void ZRLogMethod(const char* inFileBuffer, id inObject, const char* inMethodBuffer) {
  if (!inFileBuffer || !inObject || !inMethodBuffer) return;

  CFStringRef objectStringRef = CFStringCreateWithFormat(kCFAllocatorDefault, NULL, CFSTR("%p"), inObject);
  ZR_CLEANUP { ZRDestroyStringRef(&objectStringRef); };
  if (!objectStringRef) return;

  CFAbsoluteTime now = CFAbsoluteTimeGetCurrent();
  WallClock clock = TakeWallClock();
  BaseName name = FindBaseName(inFileBuffer);
  if (!name.usable()) return;

  Utf8Text object(objectStringRef);
  if (!object.get()) return;
  printf("[%s.%03.0f] %s %.*s %s\n", clock.text, Milliseconds(now), object.get(), name.length(),
         inFileBuffer + name.first(), inMethodBuffer);
}

void ZRInitLogMethod(const char* inFileBuffer, int inLine, const char* inMethodBuffer) {
  if (!inFileBuffer || !inMethodBuffer) return;

  CFAbsoluteTime now = CFAbsoluteTimeGetCurrent();
  WallClock clock = TakeWallClock();
  BaseName name = FindBaseName(inFileBuffer);
  if (!name.usable()) return;

  printf("[%s.%0*.0f] INIT %.*s:%s (%i)\n", clock.text, 3, Milliseconds(now), name.length(),
         inFileBuffer + name.first(), inMethodBuffer, inLine);
}

void ZRDrawLogMethod(const char* inFileBuffer, int inLine, id inObject) {
  ObjectLine(inFileBuffer, inLine, inObject, CFSTR("%p"), "DRAW", ".");
}

void ZRDeallocLogMethod(const char* inFileBuffer, int inLine, id inObject) {
  ObjectLine(inFileBuffer, inLine, inObject, CFSTR("%@"), "DEALLOC", " ");
}

void ZRLogCMethod(const char* inFileBuffer, int inLine, const char* inFunctionBuffer) {
  (void)inLine;
  if (!inFileBuffer || !inFunctionBuffer) return;
  // The clock and the base name are taken as for every trace line; nothing is written, so that
  // plain functions can keep their trace calls without output.
  WallClock clock = TakeWallClock();
  BaseName name = FindBaseName(inFileBuffer);
  (void)clock;
  (void)name;
}

Boolean ZRBitIsSet(UInt32 inValue, UInt32 inBits) { return (inValue & inBits) == inBits; }
