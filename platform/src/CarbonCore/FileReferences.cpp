// FileReferences.cpp: FSRef and the file-manager calls on it: making a reference from a path and
// a path from a reference, the catalog name, creating folders, names as strings.
//
// Layout of the 80 bytes of an FSRef (FileRecord below): a tag, an index into the process's
// table of paths, and the device and inode numbers the item had when the reference was made.
// Linux cannot find a path from an inode, so the path is kept in the table (each distinct path
// once, for the life of the process) and checked against the identity on every use.
#include "CarbonCore/FileReferences.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <mutex>
#include <new>
#include <string>
#include <unordered_map>

#include "CFString/StringImpl.h"
#include "CFURL/HFSPath.h"
#include "runtime/Files.h"

namespace {

constexpr UInt32 kFileRecordTag = 0x5A524652;  // 'ZRFR'

struct FileRecord {
  UInt32 tag;
  UInt32 index;
  UInt64 device;
  UInt64 inode;
};
static_assert(sizeof(FileRecord) <= sizeof(FSRef));

// The table of paths that references point into.
class PathTable {
 public:
  // The index of the path, added when new; false when memory runs out.
  bool Intern(const std::string& path, UInt32* index) {
    std::lock_guard<std::mutex> lock(mutex_);
    auto found = indices_.find(path);
    if (found != indices_.end()) {
      *index = found->second;
      return true;
    }
    if (paths_.size() >= UINT32_MAX) return false;
    paths_.push_back(path);
    *index = static_cast<UInt32>(paths_.size() - 1);
    indices_.emplace(path, *index);
    return true;
  }
  bool Lookup(UInt32 index, std::string* path) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (index >= paths_.size()) return false;
    *path = paths_[index];
    return true;
  }

 private:
  std::mutex mutex_;
  std::deque<std::string> paths_;
  std::unordered_map<std::string, UInt32> indices_;
};

PathTable& Table() {
  static PathTable* table = new PathTable();  // never destroyed: references may outlive statics
  return *table;
}

const FileRecord* RecordOf(const FSRef* ref) { return reinterpret_cast<const FileRecord*>(ref->hidden); }

// "/" in a catalog name is ":" in a POSIX path and the other way round.
UniChar SwapSeparator(UniChar unit) { return unit == '/' ? ':' : unit == ':' ? '/' : unit; }

// UTF-8 bytes to a catalog name, ":" turned into "/"; false when the name is not UTF-8 or
// longer than 255 units.
bool NameOfComponent(const std::string& component, HFSUniStr255* name) {
  std::u16string units;
  if (!zrp::DecodeUTF8(component.data(), component.size(), &units) || units.size() > 255) return false;
  name->length = static_cast<UInt16>(units.size());
  for (size_t i = 0; i < units.size(); ++i) name->unicode[i] = SwapSeparator(units[i]);
  return true;
}

}  // namespace

namespace zrp {

OSStatus StatusOfErrno(int number) {
  switch (number) {
    case 0:
      return noErr;
    case ENOENT:
      return fnfErr;
    case ENOTDIR:
      return dirNFErr;
    case EEXIST:
    case ENOTEMPTY:
      return dupFNErr;
    case ENAMETOOLONG:
    case EILSEQ:
      return bdNamErr;
    case EACCES:
    case EPERM:
      return afpAccessDenied;
    case EROFS:
      return wPrErr;
    case ENOSPC:
    case EDQUOT:
      return dskFulErr;
    case ENOMEM:
      return memFullErr;
    case EINVAL:
    case EFAULT:
      return paramErr;
    default:
      return ioErr;
  }
}

OSStatus MakeFSRef(const std::string& path, bool noFollow, FSRef* ref, Boolean* isDirectory) {
  struct stat info;
  if ((noFollow ? lstat(path.c_str(), &info) : stat(path.c_str(), &info)) != 0) return StatusOfErrno(errno);
  UInt32 index;
  try {
    if (!Table().Intern(path, &index)) return memFullErr;
  } catch (const std::bad_alloc&) {
    return memFullErr;
  }
  std::memset(ref, 0, sizeof(*ref));
  FileRecord record = {kFileRecordTag, index, static_cast<UInt64>(info.st_dev), static_cast<UInt64>(info.st_ino)};
  std::memcpy(ref->hidden, &record, sizeof(record));
  if (isDirectory) *isDirectory = S_ISDIR(info.st_mode);
  return noErr;
}

OSStatus PathOfFSRef(const FSRef* ref, std::string* path) {
  if (!ref) return paramErr;
  FileRecord record;
  std::memcpy(&record, RecordOf(ref), sizeof(record));
  if (record.tag != kFileRecordTag) return nsvErr;
  try {
    if (!Table().Lookup(record.index, path)) return nsvErr;
  } catch (const std::bad_alloc&) {
    return memFullErr;
  }
  struct stat info;
  if (lstat(path->c_str(), &info) != 0) return StatusOfErrno(errno);
  if (static_cast<UInt64>(info.st_dev) != record.device || static_cast<UInt64>(info.st_ino) != record.inode) {
    return fnfErr;
  }
  return noErr;
}

}  // namespace zrp

extern "C" {

OSStatus FSPathMakeRefWithOptions(const UInt8* path, OptionBits options, FSRef* ref, Boolean* isDirectory) {
  if (!path || !ref || (options & ~kFSPathMakeRefDoNotFollowLeafSymlink)) return paramErr;
  try {
    std::string given(reinterpret_cast<const char*>(path));
    if (given.empty()) return fnfErr;
    bool noFollow = options & kFSPathMakeRefDoNotFollowLeafSymlink;
    // The folders on the way are resolved, as the platform's references always name the real
    // item; the leaf stays itself when it is not to be followed.
    std::string resolved;
    if (noFollow) {
      std::string leaf = zrp::LastPathComponent(given);
      std::string parent = zrp::ParentPath(given);
      if (leaf.empty() || leaf == "." || leaf == "..") {
        noFollow = false;
      } else {
        char* real = realpath(parent.c_str(), nullptr);
        if (!real) return zrp::StatusOfErrno(errno == ENOENT ? ENOTDIR : errno);
        resolved = real;
        free(real);
        resolved = resolved == "/" ? "/" + leaf : resolved + "/" + leaf;
      }
    }
    if (!noFollow) {
      char* real = realpath(given.c_str(), nullptr);
      if (!real) return zrp::StatusOfErrno(errno);
      resolved = real;
      free(real);
    }
    return zrp::MakeFSRef(resolved, noFollow, ref, isDirectory);
  } catch (const std::bad_alloc&) {
    return memFullErr;
  }
}

OSStatus FSPathMakeRef(const UInt8* path, FSRef* ref, Boolean* isDirectory) {
  return FSPathMakeRefWithOptions(path, kFSPathMakeRefDefaultOptions, ref, isDirectory);
}

OSStatus FSRefMakePath(const FSRef* ref, UInt8* path, UInt32 maxPathSize) {
  if (!ref || !path || maxPathSize == 0) return paramErr;
  try {
    std::string found;
    OSStatus status = zrp::PathOfFSRef(ref, &found);
    if (status != noErr) return status;
    if (found.size() + 1 > maxPathSize) return pathTooLongErr;
    std::memcpy(path, found.c_str(), found.size() + 1);
    return noErr;
  } catch (const std::bad_alloc&) {
    return memFullErr;
  }
}

OSStatus FSGetCatalogInfo(const FSRef* ref, FSCatalogInfoBitmap whichInfo, FSCatalogInfo* catalogInfo,
                          HFSUniStr255* outName, FSSpecPtr fsSpec, FSRef* parentRef) {
  if (!ref || fsSpec || (whichInfo & ~(kFSCatInfoNodeFlags | kFSCatInfoDataSizes)) ||
      (whichInfo != kFSCatInfoNone && !catalogInfo)) {
    return paramErr;
  }
  try {
    std::string path;
    OSStatus status = zrp::PathOfFSRef(ref, &path);
    if (status != noErr) return status;
    if (whichInfo != kFSCatInfoNone) {
      struct stat info;
      if (lstat(path.c_str(), &info) != 0) return zrp::StatusOfErrno(errno);
      if (whichInfo & kFSCatInfoNodeFlags) catalogInfo->nodeFlags = S_ISDIR(info.st_mode) ? kFSNodeIsDirectoryMask : 0;
      if (whichInfo & kFSCatInfoDataSizes) {
        catalogInfo->dataLogicalSize = static_cast<UInt64>(info.st_size);
        catalogInfo->dataPhysicalSize = static_cast<UInt64>(info.st_blocks) * 512;
      }
    }
    if (outName) {
      std::string leaf = path == "/" ? std::string(zrp::kBootVolumeName) : zrp::LastPathComponent(path);
      if (!NameOfComponent(leaf, outName)) return bdNamErr;
    }
    if (parentRef) {
      // The root has no parent: its parent reference is all zeros, as on the platform.
      if (path == "/") {
        std::memset(parentRef, 0, sizeof(*parentRef));
      } else {
        status = zrp::MakeFSRef(zrp::ParentPath(path), false, parentRef, nullptr);
        if (status != noErr) return status;
      }
    }
    return noErr;
  } catch (const std::bad_alloc&) {
    return memFullErr;
  }
}

OSStatus FSCreateDirectoryUnicode(const FSRef* parentRef, UniCharCount nameLength, const UniChar* name,
                                  FSCatalogInfoBitmap whichInfo, const FSCatalogInfo* catalogInfo, FSRef* newRef,
                                  FSSpecPtr newSpec, UInt32* newDirID) {
  if (!parentRef || (!name && nameLength) || newSpec || (whichInfo != kFSCatInfoNone && catalogInfo)) return paramErr;
  if (nameLength == 0 || nameLength > 255) return bdNamErr;
  try {
    std::string parent;
    OSStatus status = zrp::PathOfFSRef(parentRef, &parent);
    if (status != noErr) return status;
    // The catalog name's "/" is ":" on disk.
    UniChar units[255];
    for (UniCharCount i = 0; i < nameLength; ++i) units[i] = SwapSeparator(name[i]);
    CFStringRef string = CFStringCreateWithCharacters(nullptr, units, static_cast<CFIndex>(nameLength));
    if (!string) return memFullErr;
    CFIndex size = CFStringGetMaximumSizeForEncoding(CFStringGetLength(string), kCFStringEncodingUTF8) + 1;
    std::string component(static_cast<size_t>(size), '\0');
    CFIndex used = 0;
    CFIndex converted = CFStringGetBytes(string, CFRangeMake(0, CFStringGetLength(string)), kCFStringEncodingUTF8, 0,
                                         false, reinterpret_cast<UInt8*>(component.data()), size, &used);
    bool whole = converted == CFStringGetLength(string);
    CFRelease(string);
    if (!whole) return bdNamErr;  // a lone surrogate has no UTF-8 form
    component.resize(static_cast<size_t>(used));
    if (component == "." || component == ".." || component.find('\0') != std::string::npos) return bdNamErr;
    std::string path = parent == "/" ? "/" + component : parent + "/" + component;
    if (mkdir(path.c_str(), 0777) != 0) return zrp::StatusOfErrno(errno);
    if (newDirID) {
      struct stat info;
      *newDirID = stat(path.c_str(), &info) == 0 ? static_cast<UInt32>(info.st_ino) : 0;
    }
    if (newRef) return zrp::MakeFSRef(path, true, newRef, nullptr);
    return noErr;
  } catch (const std::bad_alloc&) {
    return memFullErr;
  }
}

CFStringRef FSCreateStringFromHFSUniStr(CFAllocatorRef alloc, const HFSUniStr255* uniStr) {
  if (!uniStr) return nullptr;
  return CFStringCreateWithCharacters(alloc, uniStr->unicode, uniStr->length > 255 ? 255 : uniStr->length);
}

OSStatus FSGetHFSUniStrFromString(CFStringRef theString, HFSUniStr255* uniStr) {
  if (!theString || !uniStr) return paramErr;
  CFIndex length = CFStringGetLength(theString);
  if (length > 255) return paramErr;
  CFStringGetCharacters(theString, CFRangeMake(0, length), uniStr->unicode);
  uniStr->length = static_cast<UInt16>(length);
  return noErr;
}

OSStatus FSCompareFSRefs(const FSRef* ref1, const FSRef* ref2) {
  if (!ref1 || !ref2) return paramErr;
  FileRecord record1, record2;
  std::memcpy(&record1, RecordOf(ref1), sizeof(record1));
  std::memcpy(&record2, RecordOf(ref2), sizeof(record2));
  if (record1.tag != kFileRecordTag || record2.tag != kFileRecordTag) return nsvErr;
  // diffVolErr (-1303) when the volumes differ, errFSRefsDifferent (-1420) when the items do.
  if (record1.device != record2.device) return -1303;
  return record1.inode == record2.inode ? noErr : -1420;
}

}  // extern "C"
