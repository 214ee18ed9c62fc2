// HFSPath.cpp: conversions between HFS and POSIX paths with the host's volume mapping.
#include "CFURL/HFSPath.h"

#include <sys/stat.h>
#include <unistd.h>

#include <vector>

#include "CFString/StringImpl.h"
#include "POSIX/Users.h"

namespace {

std::vector<std::u16string> Split(const std::u16string& text, char16_t separator) {
  std::vector<std::u16string> parts;
  size_t start = 0;
  for (;;) {
    size_t end = text.find(separator, start);
    parts.push_back(text.substr(start, end == std::u16string::npos ? std::u16string::npos : end - start));
    if (end == std::u16string::npos) return parts;
    start = end + 1;
  }
}

std::u16string SwapSeparators(std::u16string name) {
  for (char16_t& unit : name) unit = unit == u'/' ? u':' : unit == u':' ? u'/' : unit;
  return name;
}

std::u16string UserName() {
  std::string name;
  return zrp::UserNameOfUID(getuid(), &name) ? zrp::UTF16Of(name) : u"";
}

bool IsFolder(const std::u16string& path) {
  std::string utf8;
  zrp::EncodeUTF8(path, &utf8);
  struct stat info;
  return stat(utf8.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

// The folders in which other volumes are found, in the order they are looked in.
std::vector<std::u16string> VolumeFolders() {
  std::vector<std::u16string> folders;
  std::u16string user = UserName();
  if (!user.empty()) folders.push_back(u"/media/" + user + u"/");
  folders.push_back(u"/media/");
  folders.push_back(u"/mnt/");
  return folders;
}

// The names after the volume (or of a relative path) as POSIX names joined by "/".
std::u16string JoinPOSIXNames(const std::vector<std::u16string>& names, size_t first) {
  std::u16string path;
  for (size_t i = first; i < names.size(); ++i) {
    // An empty name steps up, except the last one, which is the folder mark.
    if (names[i].empty() && i + 1 == names.size()) break;
    if (!path.empty()) path += u'/';
    path += names[i].empty() ? u".." : SwapSeparators(names[i]);
  }
  return path;
}

// Appends the POSIX names to an HFS path that ends in ":", joined by ":"; ".." becomes an empty
// name (a step up), "." is left out when skipDots. A path that ends in a step up gets one more
// ":", the folder mark: a last empty name would be read as the mark alone and the step lost.
void AppendHFSNames(const std::vector<std::u16string>& names, bool skipDots, std::u16string* hfs) {
  bool first = true;
  bool up = false;
  for (const std::u16string& name : names) {
    if (name.empty() || (skipDots && name == u".")) continue;
    if (!first) *hfs += u':';
    up = name == u"..";
    *hfs += up ? u"" : SwapSeparators(name);
    first = false;
  }
  if (up) *hfs += u':';
}

}  // namespace

namespace zrp {

std::u16string POSIXPathOfHFSPath(const std::u16string& hfsPath) {
  if (hfsPath.empty()) return u"";
  if (hfsPath.find(u':') == std::u16string::npos) return SwapSeparators(hfsPath);
  if (hfsPath.front() == u':') {
    std::u16string relative = JoinPOSIXNames(Split(hfsPath.substr(1), u':'), 0);
    return relative.empty() ? u"." : relative;
  }
  std::vector<std::u16string> names = Split(hfsPath, u':');
  std::u16string volume = SwapSeparators(names[0]);
  std::u16string root = u"/";
  if (volume != zrp::UTF16Of(kBootVolumeName) && volume != u"." && volume != u"..") {
    for (const std::u16string& folder : VolumeFolders()) {
      if (IsFolder(folder + volume)) {
        root = folder + volume + u"/";
        break;
      }
    }
  }
  std::u16string rest = JoinPOSIXNames(names, 1);
  if (rest.empty() && root.size() > 1) root.pop_back();
  return root + rest;
}

std::u16string HFSPathOfPOSIXPath(const std::u16string& posixPath) {
  std::u16string volume = zrp::UTF16Of(kBootVolumeName);
  std::u16string rest = posixPath;
  for (const std::u16string& folder : VolumeFolders()) {
    if (posixPath.compare(0, folder.size(), folder) != 0) continue;
    size_t end = posixPath.find(u'/', folder.size());
    std::u16string name = posixPath.substr(folder.size(), end == std::u16string::npos ? end : end - folder.size());
    // /media/<user> itself is the folder of the user's volumes, not a volume.
    if (name.empty() || (folder == u"/media/" && name == UserName())) continue;
    volume = name;
    rest = end == std::u16string::npos ? u"" : posixPath.substr(end);
    break;
  }
  std::u16string hfs = SwapSeparators(volume) + u":";
  AppendHFSNames(Split(rest, u'/'), false, &hfs);
  return hfs;
}

std::u16string HFSPathOfRelativePOSIXPath(const std::u16string& posixPath) {
  std::u16string hfs = u":";
  AppendHFSNames(Split(posixPath, u'/'), true, &hfs);
  return hfs;
}

}  // namespace zrp
