// CFBundleTest.cpp: bundles: the main bundle, information property lists, the choice of
// localization, strings files in UTF-8 and UTF-16 of both byte orders, and the fallbacks of
// CFBundleCopyLocalizedString.
#include <CoreFoundation/CoreFoundation.h>
#include <ZRPlatform/Testing.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <string>
#include <vector>

#include "CFBundle/BundleImpl.h"
#include "CFBundle/StringsFile.h"
#include "TestSupport.h"

namespace {

using zrtest::SetLocaleEnvironment;
using zrtest::Utf8;

std::string Utf8Of(const std::u16string& text) {
  CFStringRef string = zrtest::MakeUnits(text);
  std::string utf8 = Utf8(string);
  CFRelease(string);
  return utf8;
}

// The bytes of text in UTF-16 of the given byte order, after a byte-order mark.
std::string Utf16WithMark(const std::string& utf8, bool littleEndian) {
  CFStringRef string = zrtest::MakeString(utf8);
  std::string bytes = littleEndian ? "\xFF\xFE" : "\xFE\xFF";
  for (CFIndex i = 0; i < CFStringGetLength(string); ++i) {
    UniChar unit = CFStringGetCharacterAtIndex(string, i);
    char high = static_cast<char>(unit >> 8);
    char low = static_cast<char>(unit & 0xFF);
    bytes += littleEndian ? std::string{low, high} : std::string{high, low};
  }
  CFRelease(string);
  return bytes;
}

zrp::StringsTable Parse(const std::string& bytes, bool* ok = nullptr) {
  zrp::StringsTable table;
  bool parsed = zrp::ParseStringsFile(bytes, &table);
  if (ok) *ok = parsed;
  return table;
}

std::string Lookup(const zrp::StringsTable& table, const std::u16string& key) {
  auto found = table.find(key);
  return found == table.end() ? "<missing>" : Utf8Of(found->second);
}

TEST(StringsFileTest, ReadsPairsCommentsAndEscapes) {
  bool ok = false;
  zrp::StringsTable table = Parse(
      "/* A comment\n   over lines; \"not\" = \"a pair\"; */\n"
      "\"plain\" = \"Plain text\";\n"
      "// a line comment \"x\" = \"y\";\n"
      "\"escapes\" = \"quote \\\" backslash \\\\ newline \\n tab \\t return \\r bell \\a back \\b feed \\f vertical "
      "\\v\";\n"
      "\"unicode\" = \"caf\\U00e9 \\u00FC\";\n"
      "\"surrogates\" = \"\\UD83D\\UDE00\";\n"
      "\"octal\" = \"\\101\\102\";\n"
      "unquoted_key = \"word key\";\n"
      "\"unquoted value\" = value.with-punctuation;\n"
      "\"alone\";\n"
      "'single' = 'quoted';\n"
      "\"%@ of %@\" = \"%1$@ von %2$@\";\n"
      "\"plain\" = \"Later wins\";\n",
      &ok);
  EXPECT_TRUE(ok);
  EXPECT_EQ(table.size(), 10u);
  EXPECT_EQ(Lookup(table, u"plain"), "Later wins");
  EXPECT_EQ(Lookup(table, u"escapes"),
            "quote \" backslash \\ newline \n tab \t return \r bell \a back \b feed \f vertical \v");
  EXPECT_EQ(Lookup(table, u"unicode"), "café ü");
  EXPECT_EQ(Lookup(table, u"surrogates"), "\U0001F600");
  EXPECT_EQ(Lookup(table, u"octal"), "AB");
  EXPECT_EQ(Lookup(table, u"unquoted_key"), "word key");
  EXPECT_EQ(Lookup(table, u"unquoted value"), "value.with-punctuation");
  EXPECT_EQ(Lookup(table, u"alone"), "alone");
  EXPECT_EQ(Lookup(table, u"single"), "quoted");
  EXPECT_EQ(Lookup(table, u"%@ of %@"), "%1$@ von %2$@");
  EXPECT_EQ(Lookup(table, u"not"), "<missing>");
  EXPECT_EQ(Lookup(table, u"x"), "<missing>");
}

TEST(StringsFileTest, ReadsEveryEncodingWithItsMark) {
  std::string text = "/* Übersetzung */\n\"Key_Space\" = \"Leertaste\";\n\"Größe\" = \"Größe: %@\";\n";
  for (const std::string& bytes :
       {text, "\xEF\xBB\xBF" + text, Utf16WithMark(text, true), Utf16WithMark(text, false)}) {
    bool ok = false;
    zrp::StringsTable table = Parse(bytes, &ok);
    EXPECT_TRUE(ok);
    EXPECT_EQ(Lookup(table, u"Key_Space"), "Leertaste");
    EXPECT_EQ(Lookup(table, u"Größe"), "Größe: %@");
  }
}

TEST(StringsFileTest, ReadsUtf16WithoutMarkByItsShape) {
  std::string text = "\"a\" = \"b\";";
  std::string little = Utf16WithMark(text, true).substr(2);
  std::string big = Utf16WithMark(text, false).substr(2);
  EXPECT_EQ(Lookup(Parse(little), u"a"), "b");
  EXPECT_EQ(Lookup(Parse(big), u"a"), "b");
}

TEST(StringsFileTest, ReadsBracedDictionaries) {
  bool ok = false;
  zrp::StringsTable table = Parse("{\n  \"a\" = \"1\";\n  b = \"2\";\n}\n", &ok);
  EXPECT_TRUE(ok);
  EXPECT_EQ(Lookup(table, u"a"), "1");
  EXPECT_EQ(Lookup(table, u"b"), "2");
}

TEST(StringsFileTest, ReadsPropertyListFiles) {
  bool ok = false;
  zrp::StringsTable table = Parse(
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
      "<plist version=\"1.0\"><dict><key>Key_Space</key><string>Space</string>"
      "<key>number</key><integer>3</integer></dict></plist>\n",
      &ok);
  EXPECT_TRUE(ok);
  EXPECT_EQ(table.size(), 1u);
  EXPECT_EQ(Lookup(table, u"Key_Space"), "Space");
}

TEST(StringsFileTest, EmptyFilesAndCommentsOnlyAreEmptyTables) {
  bool ok = false;
  EXPECT_TRUE(Parse("", &ok).empty());
  EXPECT_TRUE(ok);
  EXPECT_TRUE(Parse("  /* nothing */\n// here\n", &ok).empty());
  EXPECT_TRUE(ok);
}

TEST(StringsFileTest, MalformedFilesAreEmptyTables) {
  for (const std::string& bytes : std::vector<std::string>{
           "\"a\" = \"b\";\n\"c\" = \"d\"\n",  // missing semicolon
           "\"a\" = \"b;\n",                   // unterminated string
           "\"a\" = \"b\"; /* open comment",   // unterminated comment
           "\"a\" \"b\";",                     // missing equals sign
           "\"a\" = ;",                        // missing value
           "= \"b\";",                         // missing key
           "\"a\" = \"\\U\";",                 // \U without digits
           "{ \"a\" = \"b\";",                 // unclosed brace
           "\"a\" = \"b\"; }",                 // stray brace
           "\"a\" = (\"b\");",                 // not a string
           "\"a\" = \"\xC3\x28\";",            // invalid UTF-8
           std::string("\xFF\xFE\"\0a", 5),    // odd UTF-16 length
           "<plist><dict><key>a</key>",        // broken property list
       }) {
    bool ok = true;
    zrp::StringsTable table = Parse(bytes, &ok);
    EXPECT_FALSE(ok) << bytes;
    EXPECT_TRUE(table.empty()) << bytes;
  }
}

TEST(BundleLayoutTest, MainBundleFolderOfAnExecutable) {
  EXPECT_EQ(zrp::BundlePathOfExecutable("/opt/Korvane.app/Contents/MacOS/Korvane"), "/opt/Korvane.app");
  EXPECT_EQ(zrp::BundlePathOfExecutable("/opt/Korvane.app/Contents/Linux/Korvane"), "/opt/Korvane.app");
  EXPECT_EQ(zrp::BundlePathOfExecutable("/usr/local/bin/zr"), "/usr/local/bin");
  EXPECT_EQ(zrp::BundlePathOfExecutable("/opt/MacOS/tool"), "/opt/MacOS");
  EXPECT_EQ(zrp::BundlePathOfExecutable("/opt/Stuff/Linux/tool"), "/opt/Stuff/Linux");
}

TEST(BundleLayoutTest, ChoiceOfLocalization) {
  const std::vector<std::string> oldNames = {"English", "French", "German"};
  const std::vector<std::string> codes = {"de", "en", "en_GB", "pt_BR"};
  EXPECT_EQ(zrp::ChooseLocalization(oldNames, {"de-DE", "de"}, "English"), "German");
  EXPECT_EQ(zrp::ChooseLocalization(oldNames, {"it", "fr-CA"}, "English"), "French");
  EXPECT_EQ(zrp::ChooseLocalization(oldNames, {"it"}, "German"), "German");
  EXPECT_EQ(zrp::ChooseLocalization(oldNames, {"it"}, ""), "English");
  EXPECT_EQ(zrp::ChooseLocalization(oldNames, {"en-US", "de"}, "German"), "English");
  EXPECT_EQ(zrp::ChooseLocalization(codes, {"en-GB"}, "en"), "en_GB");
  EXPECT_EQ(zrp::ChooseLocalization(codes, {"en-AU"}, "de"), "en");
  EXPECT_EQ(zrp::ChooseLocalization(codes, {"pt-PT"}, "de"), "pt_BR");
  EXPECT_EQ(zrp::ChooseLocalization(codes, {"German"}, "en"), "de");
  EXPECT_EQ(zrp::ChooseLocalization({"ja", "ko"}, {"it"}, ""), "ja");
  EXPECT_EQ(zrp::ChooseLocalization({}, {"it"}, "en"), "");
}

// A bundle laid out in a temporary folder by the test.
class CFBundleTest : public ::testing::Test {
 protected:
  void SetUp() override {
    root_ = zrtest::MakeTemporaryFolder("CFBundleTest");
    ASSERT_FALSE(root_.empty());
    setenv("XDG_CONFIG_HOME", (root_ + "/config").c_str(), 1);
    SetLocaleEnvironment({});
  }
  void TearDown() override {
    for (CFTypeRef object : objects_) CFRelease(object);
    ASSERT_TRUE(zrtest::RemoveFolder(root_)) << root_;
  }

  void Write(const std::string& relative, const std::string& bytes) {
    ASSERT_TRUE(zrtest::WriteFile(root_ + "/" + relative, bytes)) << relative;
  }

  static std::string InfoPlist(const std::string& entries) {
    return zrtest::XMLPropertyList("<dict>\n" + entries + "</dict>\n");
  }

  // Foo.app with English (UTF-8), German (UTF-16 little-endian), French (UTF-16 big-endian)
  // and a malformed Italian table, plus a table of its own name in English only.
  CFBundleRef MakeApplication() {
    Write("Foo.app/Contents/Info.plist", InfoPlist("<key>CFBundleIdentifier</key><string>org.example.foo</string>\n"
                                                   "<key>CFBundleDevelopmentRegion</key><string>English</string>\n"
                                                   "<key>CFBundleName</key><string>Foo</string>\n"));
    Write("Foo.app/Contents/MacOS/Foo", "");
    Write("Foo.app/Contents/Resources/English.lproj/Localizable.strings",
          "/* English */\n\"Key_Space\" = \"Space\";\n\"Only_English\" = \"English only\";\n");
    Write("Foo.app/Contents/Resources/English.lproj/Errors.strings", "\"Disk_Full\" = \"The disk is full.\";\n");
    Write("Foo.app/Contents/Resources/German.lproj/Localizable.strings",
          Utf16WithMark("// Deutsch\n\"Key_Space\" = \"Leertaste\";\n\"Umlaut\" = \"Schlüssel\";\n", true));
    Write("Foo.app/Contents/Resources/German.lproj/InfoPlist.strings",
          Utf16WithMark("CFBundleName = \"Fuh\";\n", false));
    Write("Foo.app/Contents/Resources/fr.lproj/Localizable.strings",
          Utf16WithMark("\"Key_Space\" = \"Espace\";\n", false));
    Write("Foo.app/Contents/Resources/it.lproj/Localizable.strings", "\"Key_Space\" = \"Spazio\"\n");
    Write("Foo.app/Contents/Resources/Shared.strings", "\"Shared_Key\" = \"Not localized\";\n");
    return Keep(zrp::CreateBundleWithPath(root_ + "/Foo.app"));
  }

  CFBundleRef Keep(CFBundleRef bundle) {
    if (bundle) objects_.push_back(bundle);
    return bundle;
  }

  static std::string Localized(CFBundleRef bundle, const char* key, const char* value = nullptr,
                               const char* table = nullptr) {
    CFStringRef keyString = key ? zrtest::MakeString(key) : nullptr;
    CFStringRef valueString = value ? zrtest::MakeString(value) : nullptr;
    CFStringRef tableString = table ? zrtest::MakeString(table) : nullptr;
    CFStringRef result = CFBundleCopyLocalizedString(bundle, keyString, valueString, tableString);
    std::string text = Utf8(result);
    for (CFTypeRef object : {CFTypeRef(keyString), CFTypeRef(valueString), CFTypeRef(tableString), CFTypeRef(result)})
      if (object) CFRelease(object);
    return text;
  }

  std::string root_;
  std::vector<CFTypeRef> objects_;
};

TEST_F(CFBundleTest, MainBundleIsTheExecutablesFolder) {
  CFBundleRef main = CFBundleGetMainBundle();
  ASSERT_NE(main, nullptr);
  EXPECT_EQ(main, CFBundleGetMainBundle());
  EXPECT_EQ(CFGetTypeID(main), CFBundleGetTypeID());
  char executable[4096];
  ssize_t length = readlink("/proc/self/exe", executable, sizeof executable - 1);
  ASSERT_GT(length, 0);
  executable[length] = '\0';
  EXPECT_EQ(main->path, zrp::BundlePathOfExecutable(executable));
  // The main bundle lives as long as the process.
  long live = ZRTestingLiveObjectCount();
  CFRelease(main);
  EXPECT_EQ(ZRTestingLiveObjectCount(), live);
  EXPECT_NE(CFBundleGetInfoDictionary(main), nullptr);
}

TEST_F(CFBundleTest, InformationPropertyList) {
  CFBundleRef bundle = MakeApplication();
  ASSERT_NE(bundle, nullptr);
  EXPECT_EQ(Utf8(CFBundleGetIdentifier(bundle)), "org.example.foo");
  EXPECT_EQ(Utf8(CFBundleGetDevelopmentRegion(bundle)), "English");
  CFDictionaryRef info = CFBundleGetInfoDictionary(bundle);
  ASSERT_NE(info, nullptr);
  EXPECT_EQ(info, CFBundleGetInfoDictionary(bundle));
  EXPECT_EQ(CFDictionaryGetCount(info), 3);
  EXPECT_EQ(Utf8(CFBundleGetValueForInfoDictionaryKey(bundle, kCFBundleIdentifierKey)), "org.example.foo");
  EXPECT_EQ(CFBundleGetValueForInfoDictionaryKey(bundle, CFSTR("Missing")), nullptr);
}

TEST_F(CFBundleTest, InformationValuesAreLocalizedByInfoPlistStrings) {
  CFBundleRef bundle = MakeApplication();
  SetLocaleEnvironment({{"LANGUAGE", "en"}});
  EXPECT_EQ(Utf8(CFBundleGetValueForInfoDictionaryKey(bundle, kCFBundleNameKey)), "Foo");
  SetLocaleEnvironment({{"LANGUAGE", "de"}});
  CFTypeRef german = CFBundleGetValueForInfoDictionaryKey(bundle, kCFBundleNameKey);
  EXPECT_EQ(Utf8(german), "Fuh");
  EXPECT_EQ(german, CFBundleGetValueForInfoDictionaryKey(bundle, kCFBundleNameKey));
  // The information property list itself keeps its own values.
  EXPECT_EQ(Utf8(CFDictionaryGetValue(CFBundleGetInfoDictionary(bundle), kCFBundleNameKey)), "Foo");
}

TEST_F(CFBundleTest, BundleWithoutInformationPropertyList) {
  Write("Bare.app/Contents/Resources/en.lproj/Localizable.strings", "\"a\" = \"b\";");
  CFBundleRef bundle = Keep(zrp::CreateBundleWithPath(root_ + "/Bare.app"));
  CFDictionaryRef info = CFBundleGetInfoDictionary(bundle);
  ASSERT_NE(info, nullptr);
  EXPECT_EQ(CFDictionaryGetCount(info), 0);
  EXPECT_EQ(CFBundleGetIdentifier(bundle), nullptr);
  EXPECT_EQ(CFBundleGetDevelopmentRegion(bundle), nullptr);
  EXPECT_EQ(Localized(bundle, "a"), "b");
}

TEST_F(CFBundleTest, LanguageChoiceFollowsTheEnvironment) {
  CFBundleRef bundle = MakeApplication();
  SetLocaleEnvironment({{"LANG", "en_US.UTF-8"}});
  EXPECT_EQ(Localized(bundle, "Key_Space"), "Space");
  SetLocaleEnvironment({{"LANG", "de_DE.UTF-8"}});
  EXPECT_EQ(Localized(bundle, "Key_Space"), "Leertaste");
  EXPECT_EQ(Localized(bundle, "Umlaut"), "Schlüssel");
  SetLocaleEnvironment({{"LANGUAGE", "fr_CA:de"}, {"LANG", "de_DE.UTF-8"}});
  EXPECT_EQ(Localized(bundle, "Key_Space"), "Espace");
  SetLocaleEnvironment({{"LC_ALL", "de_AT.UTF-8"}, {"LANG", "fr_FR.UTF-8"}});
  EXPECT_EQ(Localized(bundle, "Key_Space"), "Leertaste");
  SetLocaleEnvironment({{"LC_MESSAGES", "fr_FR.UTF-8"}, {"LANG", "de_DE.UTF-8"}});
  EXPECT_EQ(Localized(bundle, "Key_Space"), "Espace");
  // A language the bundle lacks falls back to the development region.
  SetLocaleEnvironment({{"LANG", "ja_JP.UTF-8"}});
  EXPECT_EQ(Localized(bundle, "Key_Space"), "Space");
  SetLocaleEnvironment({{"LANG", "C"}});
  EXPECT_EQ(Localized(bundle, "Key_Space"), "Space");
  SetLocaleEnvironment({});
  EXPECT_EQ(Localized(bundle, "Key_Space"), "Space");
}

TEST_F(CFBundleTest, LanguageChoiceFollowsAppleLanguages) {
  CFBundleRef bundle = MakeApplication();
  SetLocaleEnvironment({{"LANGUAGE", "fr"}});
  Write("config/.GlobalPreferences.plist",
        InfoPlist("<key>AppleLanguages</key><array><string>de-CH</string><string>fr</string></array>\n"));
  EXPECT_EQ(Localized(bundle, "Key_Space"), "Leertaste");
}

TEST_F(CFBundleTest, MissingKeysFallBackToTheValueThenTheKey) {
  CFBundleRef bundle = MakeApplication();
  SetLocaleEnvironment({{"LANG", "de_DE.UTF-8"}});
  // The German table lacks the key: no other table is consulted for it.
  EXPECT_EQ(Localized(bundle, "Only_English", "Default"), "Default");
  EXPECT_EQ(Localized(bundle, "Only_English", ""), "Only_English");
  EXPECT_EQ(Localized(bundle, "Only_English"), "Only_English");
  EXPECT_EQ(Localized(bundle, "Key_Space", "Default"), "Leertaste");
  // The value comes back as the very object given.
  CFStringRef value = CFSTR("Given value");
  CFStringRef result = CFBundleCopyLocalizedString(bundle, CFSTR("No_Such_Key"), value, nullptr);
  EXPECT_EQ(result, value);
  CFRelease(result);
  CFStringRef key = zrtest::MakeString("No_Such_Key");
  result = CFBundleCopyLocalizedString(bundle, key, nullptr, nullptr);
  EXPECT_EQ(result, key);
  CFRelease(result);
  CFRelease(key);
}

TEST_F(CFBundleTest, NoKeyGivesTheValueElseTheEmptyString) {
  CFBundleRef bundle = MakeApplication();
  SetLocaleEnvironment({{"LANG", "de_DE.UTF-8"}});
  EXPECT_EQ(Localized(bundle, nullptr), "");
  EXPECT_EQ(Localized(nullptr, nullptr), "");
  EXPECT_EQ(Localized(bundle, nullptr, nullptr, "Other"), "");
  EXPECT_EQ(Localized(bundle, nullptr, "Default"), "Default");
  EXPECT_EQ(Localized(bundle, nullptr, ""), "");
  // Without a bundle a key is not found: the value, else the key.
  EXPECT_EQ(Localized(nullptr, "Key_Space", "Default"), "Default");
  EXPECT_EQ(Localized(nullptr, "Key_Space", ""), "Key_Space");
  EXPECT_EQ(Localized(nullptr, "Key_Space"), "Key_Space");
  CFStringRef empty = CFBundleCopyLocalizedString(bundle, nullptr, nullptr, nullptr);
  ASSERT_NE(empty, nullptr);
  EXPECT_EQ(CFGetTypeID(empty), CFStringGetTypeID());
  EXPECT_EQ(CFStringGetLength(empty), 0);
  CFRelease(empty);
}

TEST_F(CFBundleTest, MalformedTableIsEmpty) {
  CFBundleRef bundle = MakeApplication();
  SetLocaleEnvironment({{"LANG", "it_IT.UTF-8"}});
  EXPECT_EQ(Localized(bundle, "Key_Space", "Fallback"), "Fallback");
}

TEST_F(CFBundleTest, OtherTables) {
  CFBundleRef bundle = MakeApplication();
  SetLocaleEnvironment({{"LANG", "de_DE.UTF-8"}});
  // A table that the chosen localization lacks is read from the development region's folder.
  EXPECT_EQ(Localized(bundle, "Disk_Full", nullptr, "Errors"), "The disk is full.");
  // Tables outside any localization folder are read too.
  EXPECT_EQ(Localized(bundle, "Shared_Key", nullptr, "Shared"), "Not localized");
  EXPECT_EQ(Localized(bundle, "Key_Space", "None", "NoSuchTable"), "None");
  // An empty table name is the default table.
  EXPECT_EQ(Localized(bundle, "Key_Space", nullptr, ""), "Leertaste");
}

TEST_F(CFBundleTest, TablesAreReadOnce) {
  CFBundleRef bundle = MakeApplication();
  SetLocaleEnvironment({{"LANG", "en_US.UTF-8"}});
  EXPECT_EQ(Localized(bundle, "Key_Space"), "Space");
  Write("Foo.app/Contents/Resources/English.lproj/Localizable.strings", "\"Key_Space\" = \"Changed\";\n");
  EXPECT_EQ(Localized(bundle, "Key_Space"), "Space");
}

TEST_F(CFBundleTest, FlatBundle) {
  Write("tool/Info.plist", InfoPlist("<key>CFBundleIdentifier</key><string>org.example.tool</string>\n"
                                     "<key>CFBundleDevelopmentRegion</key><string>en</string>\n"));
  Write("tool/en.lproj/Localizable.strings", "\"Hello\" = \"Hello!\";\n");
  Write("tool/de.lproj/Localizable.strings", "\"Hello\" = \"Hallo!\";\n");
  CFBundleRef bundle = Keep(zrp::CreateBundleWithPath(root_ + "/tool"));
  EXPECT_EQ(Utf8(CFBundleGetIdentifier(bundle)), "org.example.tool");
  SetLocaleEnvironment({{"LANG", "de_DE.UTF-8"}});
  EXPECT_EQ(Localized(bundle, "Hello"), "Hallo!");
  SetLocaleEnvironment({{"LANG", "sv_SE.UTF-8"}});
  EXPECT_EQ(Localized(bundle, "Hello"), "Hello!");
}

// The strings of an array as UTF-8, in its order; {"<NULL>"} for NULL. Releases the array.
std::vector<std::string> TextsReleasing(CFArrayRef array) {
  if (!array) return {"<NULL>"};
  std::vector<std::string> list;
  for (CFIndex i = 0; i < CFArrayGetCount(array); ++i) list.push_back(Utf8(CFArrayGetValueAtIndex(array, i)));
  CFRelease(array);
  return list;
}

// The localizations CFBundleCopyPreferredLocalizationsFromArray gives for `names`, in its order.
std::vector<std::string> PreferredOf(const std::vector<const char*>& names) {
  std::vector<CFTypeRef> strings;
  for (const char* name : names) strings.push_back(zrtest::MakeString(name));
  CFArrayRef array =
      CFArrayCreate(nullptr, strings.data(), static_cast<CFIndex>(strings.size()), &kCFTypeArrayCallBacks);
  for (CFTypeRef string : strings) CFRelease(string);
  std::vector<std::string> preferred = TextsReleasing(CFBundleCopyPreferredLocalizationsFromArray(array));
  CFRelease(array);
  return preferred;
}

TEST_F(CFBundleTest, Localizations) {
  CFBundleRef bundle = MakeApplication();
  CFArrayRef names = CFBundleCopyBundleLocalizations(bundle);
  ASSERT_NE(names, nullptr);
  CFRetain(names);
  EXPECT_EQ(TextsReleasing(names), (std::vector<std::string>{"English", "German", "fr", "it"}));
  SetLocaleEnvironment({{"LANGUAGE", "fr:de"}});
  EXPECT_EQ(TextsReleasing(CFBundleCopyPreferredLocalizationsFromArray(names)), (std::vector<std::string>{"fr"}));
  CFRelease(names);
}

TEST_F(CFBundleTest, PreferredLocalizationsAreEveryNameOfTheChoiceThenItsBareLanguage) {
  using List = std::vector<std::string>;
  SetLocaleEnvironment({{"LANGUAGE", "en_GB:de"}});
  EXPECT_EQ(PreferredOf({"de", "English", "en-GB", "en", "en_GB", "fr"}), (List{"en-GB", "en_GB", "English", "en"}));
  EXPECT_EQ(PreferredOf({"de", "en", "English"}), (List{"en", "English"}));
  EXPECT_EQ(PreferredOf({"de", "en_GB"}), (List{"en_GB"}));
  // Another region of the language is no fallback of the chosen one.
  EXPECT_EQ(PreferredOf({"en_US", "en_GB", "de"}), (List{"en_GB"}));
  SetLocaleEnvironment({{"LANGUAGE", "de_AT"}});
  EXPECT_EQ(PreferredOf({"de_DE", "German", "en"}), (List{"German"}));
  EXPECT_EQ(PreferredOf({"de_DE", "en"}), (List{"de_DE"}));
  SetLocaleEnvironment({{"LANGUAGE", "zh_Hant"}});
  EXPECT_EQ(PreferredOf({"zh-Hant", "zh", "en"}), (List{"zh-Hant", "zh"}));
  // Nothing to choose from: nothing chosen. Elements that are not strings are passed over.
  EXPECT_EQ(PreferredOf({}), (List{}));
  CFTypeRef mixed[] = {kCFBooleanTrue, CFSTR("fr")};
  CFArrayRef array = CFArrayCreate(nullptr, mixed, 2, &kCFTypeArrayCallBacks);
  EXPECT_EQ(TextsReleasing(CFBundleCopyPreferredLocalizationsFromArray(array)), (List{"fr"}));
  CFRelease(array);
  EXPECT_EQ(CFBundleCopyPreferredLocalizationsFromArray(nullptr), nullptr);
}

TEST_F(CFBundleTest, ARegionalLocalizationFallsBackToItsBareLanguageForTables) {
  Write("tool/Info.plist", InfoPlist("<key>CFBundleIdentifier</key><string>org.example.tool</string>\n"
                                     "<key>CFBundleDevelopmentRegion</key><string>de</string>\n"));
  Write("tool/en_GB.lproj/Localizable.strings", "\"Colour\" = \"Colour\";\n");
  Write("tool/en.lproj/Extra.strings", "\"Hello\" = \"Hello!\";\n");
  Write("tool/de.lproj/Extra.strings", "\"Hello\" = \"Hallo!\";\n");
  CFBundleRef bundle = Keep(zrp::CreateBundleWithPath(root_ + "/tool"));
  SetLocaleEnvironment({{"LANGUAGE", "en_GB"}});
  EXPECT_EQ(Localized(bundle, "Colour"), "Colour");
  // en_GB has no such table: English's, not the development region's.
  EXPECT_EQ(Localized(bundle, "Hello", nullptr, "Extra"), "Hello!");
}

TEST_F(CFBundleTest, BundlesAreEqualByFolder) {
  CFBundleRef first = Keep(zrp::CreateBundleWithPath(root_ + "/Foo.app"));
  CFBundleRef second = Keep(zrp::CreateBundleWithPath(root_ + "/Foo.app"));
  CFBundleRef other = Keep(zrp::CreateBundleWithPath(root_ + "/Bar.app"));
  EXPECT_TRUE(CFEqual(first, second));
  EXPECT_EQ(CFHash(first), CFHash(second));
  EXPECT_FALSE(CFEqual(first, other));
}

TEST_F(CFBundleTest, FixtureApplicationBundle) {
  CFBundleRef bundle = Keep(zrp::CreateBundleWithPath(ZR_TEST_BUNDLE_PATH));
  EXPECT_EQ(Utf8(CFBundleGetIdentifier(bundle)), "org.zrframework.tests");
  SetLocaleEnvironment({{"LANG", "de_DE.UTF-8"}});
  EXPECT_EQ(Localized(bundle, "Process_General_SecondsRemaining"), "Noch %d Sekunden");
  EXPECT_EQ(Localized(bundle, "Process_General_OneHourRemaining"), "Noch ungefähr eine Stunde");
  EXPECT_EQ(Localized(bundle, "%@ of %@"), "%@ von %@");
  SetLocaleEnvironment({{"LANG", "en_US.UTF-8"}});
  EXPECT_EQ(Localized(bundle, "Process_General_HoursRemaining"), "About %d hours remaining");
  EXPECT_EQ(Localized(bundle, "Key_Space"), "Space");
}

TEST_F(CFBundleTest, FailuresLeaveNothingBehind) {
  long live = ZRTestingLiveObjectCount();
  ZRTestingFailAllocation(1);
  EXPECT_EQ(zrp::CreateBundleWithPath(root_ + "/Foo.app"), nullptr);
  EXPECT_EQ(ZRTestingLiveObjectCount(), live);
  CFBundleRef bundle = MakeApplication();
  SetLocaleEnvironment({{"LANG", "de_DE.UTF-8"}});
  // Read the information property list and the table first: they stay with the bundle.
  EXPECT_EQ(Localized(bundle, "Key_Space"), "Leertaste");
  zrtest::ExpectAllocationFailuresHandled(
      64,
      [&] { return CFTypeRef(CFBundleCopyLocalizedString(bundle, CFSTR("Key_Space"), CFSTR("Key_Space"), nullptr)); },
      [](CFTypeRef text) {
        // A failure on the way may cost the translation, never the answer.
        std::string utf8 = Utf8(text);
        EXPECT_TRUE(utf8 == "Leertaste" || utf8 == "Key_Space") << utf8;
        return utf8 == "Leertaste";
      });
}

}  // namespace
