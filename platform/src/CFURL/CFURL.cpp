// CFURL.cpp: file URLs. Each holds its path as a POSIX path (UTF-16, as given or converted from
// the HFS style), whether it names a folder, and for a relative path the working folder it
// counts from.
#include <CoreFoundation/CoreFoundation.h>
#include <CoreServices/CoreServices.h>
#include <unistd.h>

#include <climits>
#include <cstring>
#include <new>
#include <string>

#include "CFString/StringImpl.h"
#include "CFURL/HFSPath.h"
#include "CarbonCore/FileReferences.h"
#include "runtime/Object.h"

struct __CFURL final : zrp::Object {
  __CFURL(std::u16string p, bool directory, std::u16string b)
      : Object(zrp::kTypeIDURL), path(std::move(p)), isDirectory(directory), base(std::move(b)) {}

  bool equal(const Object& other) const override {
    const auto& url = static_cast<const __CFURL&>(other);
    return path == url.path && isDirectory == url.isDirectory && base == url.base;
  }
  CFHashCode hash() const override { return std::hash<std::u16string>()(path); }
  CFStringRef copyDescription() const override;
  const char* className() const override { return "NSURL"; }

  // The absolute path (the base and the path joined), with a "/" at the end for a folder.
  std::u16string absolutePath() const {
    std::u16string whole = base.empty() ? path : (base == u"/" ? u"/" + path : base + u"/" + path);
    if (isDirectory && (whole.empty() || whole.back() != u'/')) whole += u'/';
    return whole;
  }

  std::u16string path;  // POSIX, without a trailing "/" (except the root)
  bool isDirectory;
  std::u16string base;  // the working folder of a relative path, else empty
};

namespace {

// "file://" and the path with the characters that a URL cannot hold as they are escaped.
std::u16string FileURLString(const std::u16string& path) {
  std::string utf8 = zrp::UTF8Of(path);
  static const char kHex[] = "0123456789ABCDEF";
  std::u16string text = u"file://";
  for (unsigned char c : utf8) {
    bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                 std::strchr("/-._~!$&'()*+,;=:@", c) != nullptr;
    if (plain) {
      text += static_cast<char16_t>(c);
    } else {
      text += u'%';
      text += static_cast<char16_t>(kHex[c >> 4]);
      text += static_cast<char16_t>(kHex[c & 15]);
    }
  }
  return text;
}

}  // namespace

CFStringRef __CFURL::copyDescription() const {
  // As the platform prints them: "file:///a/b/", or "b -- file:///a/" for a relative one.
  if (base.empty()) return zrp::CreateString(FileURLString(absolutePath()));
  std::u16string relative = path + (isDirectory ? u"/" : u"");
  return zrp::CreateString(relative + u" -- " + FileURLString(base == u"/" ? base : base + u"/"));
}

namespace {

CFURLRef MakeURL(std::u16string path, bool isDirectory) {
  // A trailing "/" is the folder mark, not part of the path.
  if (path.size() > 1 && path.back() == u'/') {
    isDirectory = true;
    while (path.size() > 1 && path.back() == u'/') path.pop_back();
  }
  if (path == u"/") isDirectory = true;
  std::u16string base;
  if (path.front() != u'/') {
    char folder[PATH_MAX];
    if (!getcwd(folder, sizeof folder)) return nullptr;
    base = zrp::UTF16Of(folder);
  }
  return zrp::New<__CFURL>(std::move(path), isDirectory, std::move(base));
}

}  // namespace

extern "C" {

CFTypeID CFURLGetTypeID(void) { return zrp::kTypeIDURL; }

CFURLRef CFURLCreateWithFileSystemPath(CFAllocatorRef, CFStringRef filePath, CFURLPathStyle pathStyle,
                                       Boolean isDirectory) {
  if (!filePath || CFStringGetLength(filePath) == 0) return nullptr;
  try {
    std::u16string given = zrp::Chars(filePath);
    std::u16string path;
    bool directory = isDirectory;
    switch (pathStyle) {
      case kCFURLPOSIXPathStyle:
        path = given;
        break;
      case kCFURLHFSPathStyle:
        // A trailing ":" marks a folder in an HFS path.
        if (given.back() == u':' && given.size() > 1) directory = true;
        path = zrp::POSIXPathOfHFSPath(given);
        break;
      default:
        return nullptr;
    }
    if (path.empty()) return nullptr;
    return MakeURL(std::move(path), directory);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

CFStringRef CFURLCopyFileSystemPath(CFURLRef anURL, CFURLPathStyle pathStyle) {
  if (!anURL) return nullptr;
  try {
    switch (pathStyle) {
      case kCFURLPOSIXPathStyle:
        return zrp::CreateString(anURL->path);
      case kCFURLHFSPathStyle: {
        std::u16string path =
            anURL->base.empty() ? zrp::HFSPathOfPOSIXPath(anURL->path) : zrp::HFSPathOfRelativePOSIXPath(anURL->path);
        return zrp::CreateString(path);
      }
      default:
        return nullptr;
    }
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

CFURLRef CFURLCreateCopyAppendingPathComponent(CFAllocatorRef, CFURLRef url, CFStringRef pathComponent,
                                               Boolean isDirectory) {
  if (!url || !pathComponent) return nullptr;
  try {
    // The component may hold slashes ("Contents/Info.plist"); a relative URL stays relative to
    // the same working folder.
    std::u16string path = url->path == u"/" ? url->path : url->path + u"/";
    path += zrp::Chars(pathComponent);
    __CFURL* appended = zrp::New<__CFURL>(std::u16string(), isDirectory != 0, url->base);
    if (!appended) return nullptr;
    while (path.size() > 1 && path.back() == u'/') path.pop_back();
    appended->path = std::move(path);
    return appended;
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

Boolean CFURLHasDirectoryPath(CFURLRef anURL) { return anURL && anURL->isDirectory; }

Boolean CFURLGetFileSystemRepresentation(CFURLRef url, Boolean resolveAgainstBase, UInt8* buffer, CFIndex maxBufLen) {
  if (!url || !buffer || maxBufLen <= 0) return false;
  try {
    std::u16string path = resolveAgainstBase ? url->absolutePath() : url->path;
    if (path.size() > 1 && path.back() == u'/') path.pop_back();
    std::string utf8 = zrp::UTF8Of(path);
    if (static_cast<CFIndex>(utf8.size()) + 1 > maxBufLen) return false;
    std::memcpy(buffer, utf8.c_str(), utf8.size() + 1);
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

Boolean CFURLGetFSRef(CFURLRef url, struct FSRef* fsRef) {
  if (!url || !fsRef) return false;
  try {
    std::u16string path = url->absolutePath();
    if (path.size() > 1 && path.back() == u'/') path.pop_back();
    std::string utf8 = zrp::UTF8Of(path);
    return FSPathMakeRef(reinterpret_cast<const UInt8*>(utf8.c_str()), fsRef, nullptr) == noErr;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

CFURLRef CFURLCreateFromFSRef(CFAllocatorRef, const struct FSRef* fsRef) {
  if (!fsRef) return nullptr;
  try {
    std::string path;
    if (zrp::PathOfFSRef(fsRef, &path) != noErr) return nullptr;
    Boolean isDirectory = false;
    FSCatalogInfo info;
    if (FSGetCatalogInfo(fsRef, kFSCatInfoNodeFlags, &info, nullptr, nullptr, nullptr) == noErr) {
      isDirectory = (info.nodeFlags & kFSNodeIsDirectoryMask) != 0;
    }
    return MakeURL(zrp::UTF16Of(path), isDirectory);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

}  // extern "C"
