// HFSPathFuzz.cpp: HFS paths and names from arbitrary input. A URL made from an HFS path gives a
// POSIX path and an HFS path back, and the HFS path of an absolute URL leads to the same POSIX
// path again; the HFS-name functions keep their rules: records of at most 255 units, the
// extension index pointing at a ".", names with a suffix that hold the suffix, clipped only in
// the base.
#include <ZRFramework/ZRFramework.h>

#include <cstdlib>
#include <cstring>

#include "FuzzSupport.h"

namespace {

CFStringRef CopyPath(CFStringRef path, CFURLPathStyle from, CFURLPathStyle to) {
  CFURLRef url = CFURLCreateWithFileSystemPath(nullptr, path, from, false);
  if (!url) return nullptr;
  CFStringRef result = CFURLCopyFileSystemPath(url, to);
  CFRelease(url);
  return result;
}

void CheckHFSPath(CFStringRef hfs) {
  CFStringRef posix = CopyPath(hfs, kCFURLHFSPathStyle, kCFURLPOSIXPathStyle);
  if (!posix) {
    if (CFStringGetLength(hfs) != 0) abort();
    return;
  }
  CFStringRef back = CopyPath(hfs, kCFURLHFSPathStyle, kCFURLHFSPathStyle);
  if (!back) abort();
  if (CFStringGetLength(posix) > 0 && CFStringGetCharacterAtIndex(posix, 0) == '/') {
    CFStringRef again = CopyPath(back, kCFURLHFSPathStyle, kCFURLPOSIXPathStyle);
    if (!again || !CFEqual(again, posix)) abort();
    CFRelease(again);
  }
  CFRelease(back);
  CFStringRef library = nullptr;
  if (ZRCopyPathStringRefOfHFSPathStringRef(hfs, &library, false) != noErr || !CFEqual(library, posix)) abort();
  CFRelease(library);
  CFRelease(posix);
}

void CheckNames(CFStringRef text) {
  HFSUniStr255 name;
  if (ZRGetHFSNameOfStringRef(text, &name, false) != noErr) abort();
  CFIndex length = CFStringGetLength(text);
  if (name.length != (length > 255 ? 255 : length)) abort();
  SInt32 dot = ZRGetExtensionIndexOfHFSName(&name);
  if (dot >= 0 && (dot >= name.length || name.unicode[dot] != '.')) abort();
  CFStringRef extension = nullptr;
  if (ZRCopyExtensionStringRefOfHFSName(&name, &extension, false) != noErr) abort();
  if (CFStringGetLength(extension) != (dot < 0 ? 0 : name.length - dot - 1)) abort();
  CFRelease(extension);
  for (Boolean split : {false, true}) {
    CFStringRef result = nullptr;
    if (ZRCopyNameStringRefByAddingSuffixStringRef(text, CFSTR(" 2"), split, &result, false) != noErr) abort();
    CFIndex expected = length + 2;
    CFIndex got = CFStringGetLength(result);
    if (got > expected || (got < expected && got != 255)) abort();
    CFRelease(result);
  }
  if (!ZRHFSNamesAreEqual(&name, &name, 0) || !ZRHFSNameHasSuffix(&name, &name, false) != (name.length == 0)) abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  CFStringRef text = CFStringCreateWithBytes(nullptr, data, static_cast<CFIndex>(size), kCFStringEncodingUTF8, false);
  if (!text) text = zrfuzz::CreateLatin1String(data, size);
  CheckHFSPath(text);
  CheckNames(text);
  CFRelease(text);
  return 0;
}
