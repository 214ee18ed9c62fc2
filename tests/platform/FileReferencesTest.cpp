// FileReferencesTest.cpp: file references made from paths and back, catalog names, folders
// created by name, the user's folders, and the login name.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "TestSupport.h"

namespace {

class FileReferencesTest : public zrtest::LeakCheckedTest {
 protected:
  void SetUp() override {
    LeakCheckedTest::SetUp();
    folder_ = zrtest::MakeTemporaryFolder("FileReferencesTest");
    ASSERT_FALSE(folder_.empty());
    char* real = realpath(folder_.c_str(), nullptr);
    folder_ = real;
    free(real);
    ASSERT_TRUE(zrtest::WriteFile(folder_ + "/file.txt", "12345"));
  }
  void TearDown() override {
    EXPECT_TRUE(zrtest::RemoveFolder(folder_));
    LeakCheckedTest::TearDown();
  }

  static const UInt8* Bytes(const std::string& path) { return reinterpret_cast<const UInt8*>(path.c_str()); }

  std::string PathOf(const FSRef& ref, OSStatus* status = nullptr) {
    UInt8 buffer[4096];
    OSStatus result = FSRefMakePath(&ref, buffer, sizeof buffer);
    if (status) *status = result;
    return result == noErr ? std::string(reinterpret_cast<char*>(buffer)) : std::string();
  }

  std::u16string NameOf(const FSRef& ref) {
    HFSUniStr255 name;
    EXPECT_EQ(FSGetCatalogInfo(&ref, kFSCatInfoNone, nullptr, &name, nullptr, nullptr), noErr);
    return std::u16string(reinterpret_cast<const char16_t*>(name.unicode), name.length);
  }

  std::string folder_;
};

TEST_F(FileReferencesTest, PathToReferenceAndBack) {
  FSRef ref;
  Boolean isDirectory = true;
  ASSERT_EQ(FSPathMakeRef(Bytes(folder_ + "/file.txt"), &ref, &isDirectory), noErr);
  EXPECT_FALSE(isDirectory);
  EXPECT_EQ(PathOf(ref), folder_ + "/file.txt");
  ASSERT_EQ(FSPathMakeRef(Bytes(folder_ + "/"), &ref, &isDirectory), noErr);
  EXPECT_TRUE(isDirectory);
  EXPECT_EQ(PathOf(ref), folder_);
  ASSERT_EQ(FSPathMakeRef(Bytes("/"), &ref, nullptr), noErr);
  EXPECT_EQ(PathOf(ref), "/");
  // Folders on the way are resolved.
  ASSERT_EQ(FSPathMakeRef(Bytes(folder_ + "/./x/../file.txt"), &ref, nullptr), fnfErr);
  ASSERT_EQ(mkdir((folder_ + "/x").c_str(), 0700), 0);
  ASSERT_EQ(FSPathMakeRef(Bytes(folder_ + "/./x/../file.txt"), &ref, nullptr), noErr);
  EXPECT_EQ(PathOf(ref), folder_ + "/file.txt");
}

TEST_F(FileReferencesTest, MissingItemsAndFolders) {
  FSRef ref;
  EXPECT_EQ(FSPathMakeRef(Bytes(folder_ + "/missing"), &ref, nullptr), fnfErr);
  EXPECT_EQ(FSPathMakeRef(Bytes(folder_ + "/file.txt/inside"), &ref, nullptr), dirNFErr);
  EXPECT_EQ(
      FSPathMakeRefWithOptions(Bytes(folder_ + "/missing/leaf"), kFSPathMakeRefDoNotFollowLeafSymlink, &ref, nullptr),
      dirNFErr);
  EXPECT_EQ(FSPathMakeRef(Bytes(""), &ref, nullptr), fnfErr);
  EXPECT_EQ(FSPathMakeRef(nullptr, &ref, nullptr), paramErr);
  EXPECT_EQ(FSPathMakeRef(Bytes(folder_), nullptr, nullptr), paramErr);
  EXPECT_EQ(FSPathMakeRefWithOptions(Bytes(folder_), 0x80, &ref, nullptr), paramErr);
}

TEST_F(FileReferencesTest, LeafLinksFollowedUnlessAsked) {
  std::string link = folder_ + "/link";
  ASSERT_EQ(symlink("file.txt", link.c_str()), 0);
  FSRef ref;
  ASSERT_EQ(FSPathMakeRef(Bytes(link), &ref, nullptr), noErr);
  EXPECT_EQ(PathOf(ref), folder_ + "/file.txt");
  ASSERT_EQ(FSPathMakeRefWithOptions(Bytes(link), kFSPathMakeRefDoNotFollowLeafSymlink, &ref, nullptr), noErr);
  EXPECT_EQ(PathOf(ref), link);
  EXPECT_EQ(NameOf(ref), u"link");
  // A dangling link is there only as itself.
  ASSERT_EQ(symlink("nowhere", (folder_ + "/dangling").c_str()), 0);
  EXPECT_EQ(FSPathMakeRef(Bytes(folder_ + "/dangling"), &ref, nullptr), fnfErr);
  EXPECT_EQ(FSPathMakeRefWithOptions(Bytes(folder_ + "/dangling"), kFSPathMakeRefDoNotFollowLeafSymlink, &ref, nullptr),
            noErr);
}

TEST_F(FileReferencesTest, ReferenceGoesStaleWhenTheItemIsReplaced) {
  FSRef ref;
  ASSERT_EQ(FSPathMakeRef(Bytes(folder_ + "/file.txt"), &ref, nullptr), noErr);
  // Another item put in its place (made while the first still holds its inode number).
  ASSERT_TRUE(zrtest::WriteFile(folder_ + "/other", "x"));
  ASSERT_EQ(rename((folder_ + "/other").c_str(), (folder_ + "/file.txt").c_str()), 0);
  OSStatus status;
  PathOf(ref, &status);
  EXPECT_EQ(status, fnfErr);
  ASSERT_EQ(unlink((folder_ + "/file.txt").c_str()), 0);
  PathOf(ref, &status);
  EXPECT_EQ(status, fnfErr);
  // A reference never made names nothing.
  FSRef zero = {};
  PathOf(zero, &status);
  EXPECT_EQ(status, nsvErr);
  UInt8 small[4];
  ASSERT_EQ(FSPathMakeRef(Bytes(folder_), &ref, nullptr), noErr);
  EXPECT_EQ(FSRefMakePath(&ref, small, sizeof small), pathTooLongErr);
  EXPECT_EQ(FSRefMakePath(nullptr, small, sizeof small), paramErr);
}

TEST_F(FileReferencesTest, CatalogNamesAndInformation) {
  ASSERT_TRUE(zrtest::WriteFile(folder_ + "/Kurs: März.txt", "x"));
  FSRef ref;
  ASSERT_EQ(FSPathMakeRef(Bytes(folder_ + "/Kurs: März.txt"), &ref, nullptr), noErr);
  // ":" in a POSIX name is "/" in the catalog.
  EXPECT_EQ(NameOf(ref), u"Kurs/ März.txt");
  FSCatalogInfo info = {};
  FSRef parent;
  ASSERT_EQ(FSGetCatalogInfo(&ref, kFSCatInfoNodeFlags | kFSCatInfoDataSizes, &info, nullptr, nullptr, &parent), noErr);
  EXPECT_EQ(info.nodeFlags & kFSNodeIsDirectoryMask, 0);
  EXPECT_EQ(info.dataLogicalSize, 1u);
  EXPECT_EQ(PathOf(parent), folder_);
  ASSERT_EQ(FSGetCatalogInfo(&parent, kFSCatInfoNodeFlags, &info, nullptr, nullptr, nullptr), noErr);
  EXPECT_NE(info.nodeFlags & kFSNodeIsDirectoryMask, 0);
  // The root is the boot volume.
  ASSERT_EQ(FSPathMakeRef(Bytes("/"), &ref, nullptr), noErr);
  EXPECT_EQ(NameOf(ref), u"Linux");
  EXPECT_EQ(FSGetCatalogInfo(&ref, 0x1, &info, nullptr, nullptr, nullptr), paramErr);
  EXPECT_EQ(FSGetCatalogInfo(&ref, kFSCatInfoNodeFlags, nullptr, nullptr, nullptr, nullptr), paramErr);
}

TEST_F(FileReferencesTest, CreatesFoldersByName) {
  FSRef parent;
  ASSERT_EQ(FSPathMakeRef(Bytes(folder_), &parent, nullptr), noErr);
  std::u16string name = u"Neu/Ordner ✓";
  FSRef made;
  UInt32 id = 0;
  ASSERT_EQ(FSCreateDirectoryUnicode(&parent, name.size(), reinterpret_cast<const UniChar*>(name.data()),
                                     kFSCatInfoNone, nullptr, &made, nullptr, &id),
            noErr);
  EXPECT_NE(id, 0u);
  EXPECT_EQ(PathOf(made), folder_ + "/Neu:Ordner ✓");
  EXPECT_EQ(NameOf(made), name);
  struct stat info;
  ASSERT_EQ(stat((folder_ + "/Neu:Ordner ✓").c_str(), &info), 0);
  EXPECT_TRUE(S_ISDIR(info.st_mode));
  EXPECT_EQ(FSCreateDirectoryUnicode(&parent, name.size(), reinterpret_cast<const UniChar*>(name.data()),
                                     kFSCatInfoNone, nullptr, nullptr, nullptr, nullptr),
            dupFNErr);
  std::u16string dots = u"..";
  EXPECT_EQ(FSCreateDirectoryUnicode(&parent, dots.size(), reinterpret_cast<const UniChar*>(dots.data()),
                                     kFSCatInfoNone, nullptr, nullptr, nullptr, nullptr),
            bdNamErr);
  EXPECT_EQ(FSCreateDirectoryUnicode(&parent, 0, nullptr, kFSCatInfoNone, nullptr, nullptr, nullptr, nullptr),
            bdNamErr);
  UniChar lone = 0xD800;
  EXPECT_EQ(FSCreateDirectoryUnicode(&parent, 1, &lone, kFSCatInfoNone, nullptr, nullptr, nullptr, nullptr), bdNamErr);
  FSRef file;
  ASSERT_EQ(FSPathMakeRef(Bytes(folder_ + "/file.txt"), &file, nullptr), noErr);
  UniChar x = 'x';
  EXPECT_EQ(FSCreateDirectoryUnicode(&file, 1, &x, kFSCatInfoNone, nullptr, nullptr, nullptr, nullptr), dirNFErr);
}

TEST_F(FileReferencesTest, NamesAsStrings) {
  HFSUniStr255 name;
  ASSERT_EQ(FSGetHFSUniStrFromString(CFSTR("Kurse.plist"), &name), noErr);
  EXPECT_EQ(name.length, 11);
  CFStringRef string = FSCreateStringFromHFSUniStr(nullptr, &name);
  EXPECT_EQ(zrtest::Utf8(string), "Kurse.plist");
  CFRelease(string);
  EXPECT_EQ(FSCreateStringFromHFSUniStr(nullptr, nullptr), nullptr);
  name.length = 0;
  string = FSCreateStringFromHFSUniStr(nullptr, &name);
  EXPECT_EQ(CFStringGetLength(string), 0);
  CFRelease(string);
  zrtest::ExpectAllocationFailuresHandled(5,
                                          [&]() -> CFTypeRef { return FSCreateStringFromHFSUniStr(nullptr, &name); });
}

class FoldersTest : public FileReferencesTest {
 protected:
  void SetUp() override {
    FileReferencesTest::SetUp();
    const char* data = getenv("XDG_DATA_HOME");
    savedData_ = data ? data : "";
    hadData_ = data != nullptr;
    // A home folder of the test's own, so that the default place is never the user's.
    savedHome_ = getenv("HOME") ? getenv("HOME") : "";
    setenv("HOME", (folder_ + "/home").c_str(), 1);
  }
  void TearDown() override {
    setenv("HOME", savedHome_.c_str(), 1);
    if (hadData_) {
      setenv("XDG_DATA_HOME", savedData_.c_str(), 1);
    } else {
      unsetenv("XDG_DATA_HOME");
    }
    FileReferencesTest::TearDown();
  }
  std::string savedData_;
  std::string savedHome_;
  bool hadData_ = false;
};

TEST_F(FoldersTest, ApplicationSupportIsTheDataHome) {
  std::string data = folder_ + "/data/home";
  setenv("XDG_DATA_HOME", data.c_str(), 1);
  FSRef ref;
  EXPECT_EQ(FSFindFolder(kUserDomain, kApplicationSupportFolderType, kDontCreateFolder, &ref), fnfErr);
  ASSERT_EQ(FSFindFolder(kUserDomain, kApplicationSupportFolderType, kCreateFolder, &ref), noErr);
  EXPECT_EQ(PathOf(ref), data);
  struct stat info;
  ASSERT_EQ(stat(data.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0700u);
  ASSERT_EQ(stat((folder_ + "/data").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0700u);
  // Found the second time without being made again.
  ASSERT_EQ(FSFindFolder(kUserDomain, kApplicationSupportFolderType, kDontCreateFolder, &ref), noErr);
  EXPECT_EQ(PathOf(ref), data);
}

TEST_F(FoldersTest, DefaultsUnderTheHomeFolder) {
  unsetenv("XDG_DATA_HOME");
  FSRef ref;
  ASSERT_EQ(FSFindFolder(kUserDomain, kApplicationSupportFolderType, kCreateFolder, &ref), noErr);
  EXPECT_EQ(PathOf(ref), std::string(getenv("HOME")) + "/.local/share");
  // A relative value does not count.
  setenv("XDG_DATA_HOME", "relative/data", 1);
  ASSERT_EQ(FSFindFolder(kUserDomain, kApplicationSupportFolderType, kCreateFolder, &ref), noErr);
  EXPECT_EQ(PathOf(ref), std::string(getenv("HOME")) + "/.local/share");
}

TEST_F(FoldersTest, OtherDomainsAndTypesAreNotFound) {
  FSRef ref;
  EXPECT_EQ(FSFindFolder(kLocalDomain, kApplicationSupportFolderType, kCreateFolder, &ref), fnfErr);
  EXPECT_EQ(FSFindFolder(kUserDomain, 0x7a7a7a7a, kCreateFolder, &ref), fnfErr);
  EXPECT_EQ(FSFindFolder(kUserDomain, kApplicationSupportFolderType, kCreateFolder, nullptr), paramErr);
  // A file where the folder should be.
  std::string data = folder_ + "/file.txt";
  setenv("XDG_DATA_HOME", data.c_str(), 1);
  EXPECT_EQ(FSFindFolder(kUserDomain, kApplicationSupportFolderType, kCreateFolder, &ref), dirNFErr);
  setenv("XDG_DATA_HOME", (data + "/below").c_str(), 1);
  EXPECT_EQ(FSFindFolder(kUserDomain, kApplicationSupportFolderType, kCreateFolder, &ref), dirNFErr);
}

TEST(LoginTest, TheTestChoosesTheName) {
  ZRTestingSetLoginName("anna");
  ASSERT_NE(getlogin(), nullptr);
  EXPECT_STREQ(getlogin(), "anna");
  ZRTestingSetLoginName(nullptr);
  EXPECT_EQ(getlogin(), nullptr);
  ZRTestingResetLoginName();
  // The session's own name, found without a terminal.
  const char* name = getlogin();
  ASSERT_NE(name, nullptr);
  EXPECT_GT(strlen(name), 0u);
}

}  // namespace
