// CFBundleResourceTest.cpp: resource files of bundles: the resources folder before the
// localization folders, types and subfolders, the user's languages choosing among localizations,
// and the old localization names and the language codes finding each other's folders.
#include <CoreFoundation/CoreFoundation.h>
#include <ZRPlatform/Testing.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "CFBundle/BundleImpl.h"
#include "TestSupport.h"

namespace {

using zrtest::MakeString;
using zrtest::Utf8;

class BundleResourceTest : public zrtest::LeakCheckedTest {
 protected:
  void SetUp() override {
    LeakCheckedTest::SetUp();
    folder_ = zrtest::MakeTemporaryFolder("CFBundleResourceTest");
    ASSERT_FALSE(folder_.empty());
    resources_ = folder_ + "/Fixture.app/Contents/Resources";
    ASSERT_TRUE(
        zrtest::WriteFile(folder_ + "/Fixture.app/Contents/Info.plist", zrtest::XMLPropertyList("<dict>\n</dict>\n")));
    zrtest::SetLocaleEnvironment({{"LC_ALL", "en_US.UTF-8"}, {"LANG", "en_US.UTF-8"}});
  }
  void TearDown() override {
    if (bundle_) CFRelease(bundle_);
    zrtest::SetLocaleEnvironment({{"LC_ALL", "en_US.UTF-8"}, {"LANG", "en_US.UTF-8"}});
    EXPECT_TRUE(zrtest::RemoveFolder(folder_));
    LeakCheckedTest::TearDown();
  }

  void Add(const std::string& relativePath) {
    ASSERT_TRUE(zrtest::WriteFile(resources_ + "/" + relativePath, relativePath));
  }
  CFBundleRef Bundle() {
    if (!bundle_) bundle_ = zrp::CreateBundleWithPath(folder_ + "/Fixture.app");
    return bundle_;
  }

  // The POSIX path of the URL found, relative to the resources folder; "<NULL>" for none.
  std::string Found(CFURLRef url) {
    if (!url) return "<NULL>";
    CFStringRef path = CFURLCopyFileSystemPath(url, kCFURLPOSIXPathStyle);
    CFRelease(url);
    std::string text = Utf8(path);
    if (path) CFRelease(path);
    if (text.starts_with(resources_ + "/")) return text.substr(resources_.size() + 1);
    return text;
  }
  std::string Resource(const char* name, const char* type = nullptr, const char* subfolder = nullptr) {
    CFStringRef nameString = name ? MakeString(name) : nullptr;
    CFStringRef typeString = type ? MakeString(type) : nullptr;
    CFStringRef subfolderString = subfolder ? MakeString(subfolder) : nullptr;
    std::string found = Found(CFBundleCopyResourceURL(Bundle(), nameString, typeString, subfolderString));
    for (CFStringRef string : {nameString, typeString, subfolderString})
      if (string) CFRelease(string);
    return found;
  }
  std::string Localized(const char* name, const char* localization) {
    CFStringRef nameString = MakeString(name);
    CFStringRef localizationString = localization ? MakeString(localization) : nullptr;
    std::string found =
        Found(CFBundleCopyResourceURLForLocalization(Bundle(), nameString, nullptr, nullptr, localizationString));
    CFRelease(nameString);
    if (localizationString) CFRelease(localizationString);
    return found;
  }

  std::string folder_;
  std::string resources_;
  CFBundleRef bundle_ = nullptr;
};

TEST_F(BundleResourceTest, FindsFilesByNameTypeAndSubfolder) {
  Add("Plain.txt");
  Add("Docs/Inner.txt");
  Add("Archive.tar.gz");
  EXPECT_EQ(Resource("Plain.txt"), "Plain.txt");
  EXPECT_EQ(Resource("Plain.txt", ""), "Plain.txt");
  EXPECT_EQ(Resource("Plain.txt", "", ""), "Plain.txt");
  EXPECT_EQ(Resource("Plain", "txt"), "Plain.txt");
  EXPECT_EQ(Resource("Plain", ".txt"), "Plain.txt");
  EXPECT_EQ(Resource("Archive", "tar.gz"), "Archive.tar.gz");
  EXPECT_EQ(Resource("Inner.txt", nullptr, "Docs"), "Docs/Inner.txt");
  EXPECT_EQ(Resource("Inner.txt"), "<NULL>");
  EXPECT_EQ(Resource("Plain.txt", nullptr, "Docs"), "<NULL>");
  EXPECT_EQ(Resource("Plain", "md"), "<NULL>");
  EXPECT_EQ(Resource("Missing.txt"), "<NULL>");
  EXPECT_EQ(Resource(""), "<NULL>");
  EXPECT_EQ(Resource(nullptr), "<NULL>");
  EXPECT_EQ(CFBundleCopyResourceURL(nullptr, CFSTR("Plain.txt"), nullptr, nullptr), nullptr);
}

TEST_F(BundleResourceTest, FolderResourceGivesDirectoryURL) {
  Add("Docs/Inner.txt");
  CFURLRef url = CFBundleCopyResourceURL(Bundle(), CFSTR("Docs"), nullptr, nullptr);
  ASSERT_NE(url, nullptr);
  EXPECT_TRUE(CFURLHasDirectoryPath(url));
  CFRelease(url);
  url = CFBundleCopyResourceURL(Bundle(), CFSTR("Inner.txt"), CFSTR(""), CFSTR("Docs"));
  ASSERT_NE(url, nullptr);
  EXPECT_FALSE(CFURLHasDirectoryPath(url));
  CFRelease(url);
}

TEST_F(BundleResourceTest, LinkWithoutTargetIsFound) {
  Add("Docs/Inner.txt");
  ASSERT_EQ(symlink("nowhere.txt", (resources_ + "/Dangling.txt").c_str()), 0);
  ASSERT_EQ(symlink("Docs", (resources_ + "/DocsLink").c_str()), 0);
  EXPECT_EQ(Resource("Dangling.txt"), "Dangling.txt");
  CFURLRef url = CFBundleCopyResourceURL(Bundle(), CFSTR("DocsLink"), nullptr, nullptr);
  ASSERT_NE(url, nullptr);
  EXPECT_TRUE(CFURLHasDirectoryPath(url));
  CFRelease(url);
}

TEST_F(BundleResourceTest, ResourcesFolderComesBeforeLocalizations) {
  Add("Both.txt");
  Add("English.lproj/Both.txt");
  Add("English.lproj/Greeting.txt");
  Add("German.lproj/Greeting.txt");
  Add("German.lproj/OnlyGerman.txt");
  EXPECT_EQ(Resource("Both.txt"), "Both.txt");
  EXPECT_EQ(Resource("Greeting.txt"), "English.lproj/Greeting.txt");
  // A file only one localization has is found there, whatever the user's languages.
  EXPECT_EQ(Resource("OnlyGerman.txt"), "German.lproj/OnlyGerman.txt");
}

TEST_F(BundleResourceTest, UserLanguagesChooseTheLocalization) {
  Add("English.lproj/Greeting.txt");
  Add("German.lproj/Greeting.txt");
  zrtest::SetLocaleEnvironment({{"LANGUAGE", "fr:de"}, {"LANG", "fr_FR.UTF-8"}});
  EXPECT_EQ(Resource("Greeting.txt"), "German.lproj/Greeting.txt");
}

TEST_F(BundleResourceTest, OneLocalizationOnly) {
  Add("English.lproj/Greeting.txt");
  Add("German.lproj/Greeting.txt");
  Add("German.lproj/OnlyGerman.txt");
  Add("Plain.txt");
  EXPECT_EQ(Localized("Greeting.txt", "German"), "German.lproj/Greeting.txt");
  EXPECT_EQ(Localized("Greeting.txt", "English"), "English.lproj/Greeting.txt");
  EXPECT_EQ(Localized("OnlyGerman.txt", "English"), "<NULL>");
  EXPECT_EQ(Localized("Greeting.txt", "fr"), "<NULL>");
  EXPECT_EQ(Localized("Greeting.txt", nullptr), "<NULL>");
  // Resources that are not localized are found for any localization.
  EXPECT_EQ(Localized("Plain.txt", "German"), "Plain.txt");
  EXPECT_EQ(Localized("Plain.txt", nullptr), "Plain.txt");
  EXPECT_EQ(CFBundleCopyResourceURLForLocalization(Bundle(), nullptr, nullptr, nullptr, CFSTR("German")), nullptr);
  EXPECT_EQ(CFBundleCopyResourceURLForLocalization(nullptr, CFSTR("Plain.txt"), nullptr, nullptr, nullptr), nullptr);
}

TEST_F(BundleResourceTest, CodesFindOldNamedFolders) {
  Add("English.lproj/Greeting.txt");
  Add("German.lproj/Greeting.txt");
  EXPECT_EQ(Localized("Greeting.txt", "de"), "German.lproj/Greeting.txt");
  EXPECT_EQ(Localized("Greeting.txt", "en"), "English.lproj/Greeting.txt");
}

TEST_F(BundleResourceTest, OldNamesFindCodeFolders) {
  Add("en.lproj/Greeting.txt");
  Add("de.lproj/Greeting.txt");
  EXPECT_EQ(Localized("Greeting.txt", "German"), "de.lproj/Greeting.txt");
  EXPECT_EQ(Localized("Greeting.txt", "English"), "en.lproj/Greeting.txt");
  EXPECT_EQ(Localized("Greeting.txt", "de"), "de.lproj/Greeting.txt");
}

TEST_F(BundleResourceTest, FolderOfTheVeryNameComesFirst) {
  Add("de.lproj/Greeting.txt");
  Add("German.lproj/Greeting.txt");
  EXPECT_EQ(Localized("Greeting.txt", "German"), "German.lproj/Greeting.txt");
  EXPECT_EQ(Localized("Greeting.txt", "de"), "de.lproj/Greeting.txt");
}

TEST_F(BundleResourceTest, FailedAllocationGivesNull) {
  Add("German.lproj/Greeting.txt");
  // The bundle keeps its information property list and localizations from the first lookup on.
  CFRelease(CFBundleCopyResourceURL(Bundle(), CFSTR("Greeting.txt"), nullptr, nullptr));
  zrtest::ExpectAllocationFailuresHandled(50, [this]() -> CFTypeRef {
    return CFBundleCopyResourceURLForLocalization(Bundle(), CFSTR("Greeting.txt"), nullptr, nullptr, CFSTR("German"));
  });
  zrtest::ExpectAllocationFailuresHandled(
      50, [this]() -> CFTypeRef { return CFBundleCopyResourceURL(Bundle(), CFSTR("Greeting.txt"), nullptr, nullptr); });
}

}  // namespace
