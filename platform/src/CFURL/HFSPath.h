// HFSPath.h: HFS paths ("Disk:Users:anna:q.txt") and POSIX paths, one into the other.
//
// Volumes: the root folder "/" is the boot volume, named kBootVolumeName; any other volume is a
// folder /media/<user>/<name>, /media/<name> or /mnt/<name> (looked for in that order when an
// HFS path names it). A volume name found in none of them names the boot volume, so that paths
// written on another machine, whose boot disk had its own name, still lead from "/".
// Names: HFS's "/" inside a name is the ":" of a POSIX name and the other way round.
#pragma once

#include <string>

namespace zrp {

// What the root folder is called as a volume.
inline constexpr char kBootVolumeName[] = "Linux";

// The POSIX path of an HFS path. An HFS path that starts with ":" or has no ":" is relative and
// gives a relative path ("::" steps up as ".."); a trailing ":" (a folder's mark) is dropped.
std::u16string POSIXPathOfHFSPath(const std::u16string& hfsPath);
// The HFS path of an absolute POSIX path: the volume's name, ":", the names after it joined by
// ":" ("Linux:" for the root).
std::u16string HFSPathOfPOSIXPath(const std::u16string& posixPath);
// The HFS path of a relative POSIX path: ":" and its names joined by ":" (".." is an empty name).
std::u16string HFSPathOfRelativePOSIXPath(const std::u16string& posixPath);

}  // namespace zrp
