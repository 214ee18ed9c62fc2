// CFPreferencesWriteTest.cpp: setting, removing and synchronizing preferences: what the file holds
// and how it is written, merging with other writers, taking up their changes, failing to write
// without losing anything, corrupt and binary files, key lists, threads, concurrent processes and
// writers killed part-way. Runs on a temporary XDG_CONFIG_HOME and HOME, never the user's own.
#include <CoreFoundation/CoreFoundation.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "CFBundle/BundleImpl.h"
#include "CFPreferences/PreferencesImpl.h"
#include "TemporaryHome.h"
#include "TestSupport.h"

namespace {

namespace fs = std::filesystem;

using zrtest::Home;

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream bytes;
  bytes << in.rdbuf();
  return bytes.str();
}

// The dictionary a file holds, or NULL.
CFDictionaryRef FileDictionary(const std::string& path) {
  std::string bytes = ReadFile(path);
  CFDataRef data = CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(bytes.data()), CFIndex(bytes.size()));
  CFPropertyListFormat format = 0;
  CFPropertyListRef plist = CFPropertyListCreateWithData(nullptr, data, 0, &format, nullptr);
  CFRelease(data);
  if (plist && (CFGetTypeID(plist) != CFDictionaryGetTypeID() || format != kCFPropertyListXMLFormat_v1_0)) {
    CFRelease(plist);
    return nullptr;
  }
  return static_cast<CFDictionaryRef>(plist);
}

// The string under key in a file's dictionary: "<none>" when missing, "<no file>" when unreadable.
std::string FileString(const std::string& path, const char* key) {
  CFDictionaryRef dictionary = FileDictionary(path);
  if (!dictionary) return "<no file>";
  CFStringRef name = zrtest::MakeString(key);
  CFTypeRef value = CFDictionaryGetValue(dictionary, name);
  std::string text = value ? zrtest::Utf8(value) : "<none>";
  CFRelease(name);
  CFRelease(dictionary);
  return text;
}

std::string Text(CFPropertyListRef value) {
  std::string text = value && CFGetTypeID(value) == CFStringGetTypeID() ? zrtest::Utf8(value) : "<not a string>";
  if (value) CFRelease(value);
  return value ? text : "<NULL>";
}

void SetString(CFStringRef app, const std::string& key, const std::string& value) {
  CFStringRef k = zrtest::MakeString(key);
  CFStringRef v = zrtest::MakeString(value);
  CFPreferencesSetAppValue(k, v, app);
  CFRelease(v);
  CFRelease(k);
}

std::string GetString(CFStringRef app, const std::string& key) {
  CFStringRef k = zrtest::MakeString(key);
  std::string text = Text(CFPreferencesCopyAppValue(k, app));
  CFRelease(k);
  return text;
}

std::string Plist(const std::string& body) { return zrtest::XMLPropertyList(body); }

class CFPreferencesWriteTest : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const auto& entry : fs::directory_iterator(Home().config)) fs::remove_all(entry.path());
    zrp::ForgetPreferencesInMemory();
  }
  static std::string domain(const std::string& identifier) { return Home().config + "/" + identifier + ".plist"; }
};

const CFStringRef kApp = CFSTR("com.example.write");

TEST_F(CFPreferencesWriteTest, SetValuesAreSeenAtOnceAndWrittenOnSynchronize) {
  SetString(kApp, "Name", "first");
  EXPECT_EQ(GetString(kApp, "Name"), "first");
  EXPECT_FALSE(fs::exists(domain("com.example.write")));  // nothing is written before a synchronize
  EXPECT_TRUE(CFPreferencesAppSynchronize(kApp));
  EXPECT_EQ(FileString(domain("com.example.write"), "Name"), "first");
  struct stat info;
  ASSERT_EQ(stat(domain("com.example.write").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 07777, 0600u);
  // Written as the platform writes XML, and nothing but the domain and its lock file is left.
  EXPECT_EQ(ReadFile(domain("com.example.write")),
            Plist("<dict>\n\t<key>Name</key>\n\t<string>first</string>\n</dict>\n"));
  std::set<std::string> names;
  for (const auto& entry : fs::directory_iterator(Home().config)) names.insert(entry.path().filename());
  EXPECT_EQ(names, (std::set<std::string>{"com.example.write.plist", "com.example.write.plist.lock"}));
}

TEST_F(CFPreferencesWriteTest, ANullValueRemovesTheKeyAndUncoversTheGlobalOne) {
  SetString(kCFPreferencesAnyApplication, "Shared", "global");
  SetString(kApp, "Shared", "mine");
  EXPECT_TRUE(CFPreferencesAppSynchronize(kCFPreferencesAnyApplication));
  EXPECT_TRUE(CFPreferencesAppSynchronize(kApp));
  EXPECT_EQ(FileString(domain(".GlobalPreferences"), "Shared"), "global");
  EXPECT_EQ(GetString(kApp, "Shared"), "mine");
  CFPreferencesSetAppValue(CFSTR("Shared"), nullptr, kApp);
  EXPECT_EQ(GetString(kApp, "Shared"), "global");
  EXPECT_TRUE(CFPreferencesAppSynchronize(kApp));
  EXPECT_EQ(FileString(domain("com.example.write"), "Shared"), "<none>");
  EXPECT_EQ(GetString(kCFPreferencesAnyApplication, "Shared"), "global");
}

TEST_F(CFPreferencesWriteTest, TheCurrentApplicationIsTheMainBundlesIdentifier) {
  SetString(kCFPreferencesCurrentApplication, "Mine", "yes");
  EXPECT_TRUE(CFPreferencesAppSynchronize(kCFPreferencesCurrentApplication));
  // Outside any bundle, the executable's name.
  EXPECT_EQ(zrp::CurrentApplicationIdentifier(), "CFPreferencesWriteTest");
  EXPECT_EQ(FileString(domain("CFPreferencesWriteTest"), "Mine"), "yes");
  EXPECT_EQ(GetString(CFSTR("CFPreferencesWriteTest"), "Mine"), "yes");
}

TEST_F(CFPreferencesWriteTest, BundleAndPreferencesAgreeOnABundleNotNamedApp) {
  std::string bundle = Home().root + "/Plain Folder";
  fs::create_directories(bundle + "/Contents/Linux");
  ASSERT_TRUE(zrtest::WriteFile(bundle + "/Contents/Info.plist",
                                Plist("<dict><key>CFBundleIdentifier</key><string>com.example.plain</string></dict>")));
  std::string executable = bundle + "/Contents/Linux/tool";
  EXPECT_EQ(zrp::BundlePathOfExecutable(executable), bundle);
  CFBundleRef made = zrp::CreateBundleWithPath(zrp::BundlePathOfExecutable(executable));
  EXPECT_EQ(zrtest::Utf8(CFBundleGetIdentifier(made)), "com.example.plain");
  CFRelease(made);
  EXPECT_EQ(zrp::ApplicationIdentifierForExecutable(executable), "com.example.plain");
  fs::remove_all(bundle);
}

TEST_F(CFPreferencesWriteTest, SynchronizeWritesOnlyWhenSomethingChanged) {
  SetString(kApp, "A", "1");
  ASSERT_TRUE(CFPreferencesAppSynchronize(kApp));
  struct stat before, after;
  ASSERT_EQ(stat(domain("com.example.write").c_str(), &before), 0);
  EXPECT_TRUE(CFPreferencesAppSynchronize(kApp));
  // Setting a value the file already holds changes nothing either.
  SetString(kApp, "A", "1");
  EXPECT_TRUE(CFPreferencesAppSynchronize(kApp));
  ASSERT_EQ(stat(domain("com.example.write").c_str(), &after), 0);
  EXPECT_EQ(before.st_ino, after.st_ino);
  EXPECT_EQ(before.st_mtim.tv_nsec, after.st_mtim.tv_nsec);
  // Nor does a synchronize of a domain that was never touched make a file.
  EXPECT_TRUE(CFPreferencesAppSynchronize(CFSTR("com.example.untouched")));
  EXPECT_FALSE(fs::exists(domain("com.example.untouched")));
}

TEST_F(CFPreferencesWriteTest, MergesPerKeyWithWhatOthersWrote) {
  SetString(kApp, "Mine", "1");
  SetString(kApp, "Both", "mine");
  SetString(kApp, "Gone", "soon");
  ASSERT_TRUE(CFPreferencesAppSynchronize(kApp));
  // Another process writes its own keys (and one of ours) meanwhile.
  ASSERT_TRUE(zrtest::WriteFile(domain("com.example.write"),
                                Plist("<dict><key>Mine</key><string>1</string><key>Both</key><string>theirs</string>"
                                      "<key>Gone</key><string>soon</string><key>Theirs</key><string>2</string>"
                                      "<key>Untouched</key><string>3</string></dict>")));
  SetString(kApp, "Mine", "changed");
  CFPreferencesSetAppValue(CFSTR("Gone"), nullptr, kApp);
  ASSERT_TRUE(CFPreferencesAppSynchronize(kApp));
  std::string path = domain("com.example.write");
  EXPECT_EQ(FileString(path, "Mine"), "changed");
  EXPECT_EQ(FileString(path, "Gone"), "<none>");
  EXPECT_EQ(FileString(path, "Theirs"), "2");
  EXPECT_EQ(FileString(path, "Untouched"), "3");
  // "Both" was not changed by this process since its last write: the other writer's value stays.
  EXPECT_EQ(FileString(path, "Both"), "theirs");
  EXPECT_EQ(GetString(kApp, "Both"), "theirs");
  EXPECT_EQ(GetString(kApp, "Theirs"), "2");
}

TEST_F(CFPreferencesWriteTest, TakesUpOtherWritersChangesAfterASynchronize) {
  std::string path = domain("com.example.write");
  ASSERT_TRUE(zrtest::WriteFile(path, Plist("<dict><key>K</key><string>old</string></dict>")));
  EXPECT_EQ(GetString(kApp, "K"), "old");
  std::string temporary = path + ".other";
  ASSERT_TRUE(zrtest::WriteFile(temporary, Plist("<dict><key>K</key><string>new</string></dict>")));
  fs::rename(temporary, path);  // a new file: another identity
  EXPECT_EQ(GetString(kApp, "K"), "old");
  EXPECT_TRUE(CFPreferencesAppSynchronize(kApp));
  EXPECT_EQ(GetString(kApp, "K"), "new");
  // This process's unsynchronized change stays on top of what it takes up.
  SetString(kApp, "Pending", "p");
  ASSERT_TRUE(zrtest::WriteFile(temporary, Plist("<dict><key>K</key><string>newer</string></dict>")));
  fs::rename(temporary, path);
  EXPECT_TRUE(CFPreferencesAppSynchronize(kApp));
  EXPECT_EQ(GetString(kApp, "K"), "newer");
  EXPECT_EQ(GetString(kApp, "Pending"), "p");
  EXPECT_EQ(FileString(path, "Pending"), "p");
}

TEST_F(CFPreferencesWriteTest, AFailedWriteAnswersFalseAndLosesNothing) {
  std::string path = domain("com.example.write");
  SetString(kApp, "Kept", "1");
  ASSERT_TRUE(CFPreferencesAppSynchronize(kApp));
  // A folder where the lock file belongs: neither the lock nor the write can be made, even as root.
  fs::remove(path + ".lock");
  fs::create_directory(path + ".lock");
  SetString(kApp, "Kept", "2");
  SetString(kApp, "New", "3");
  EXPECT_FALSE(CFPreferencesAppSynchronize(kApp));
  EXPECT_EQ(GetString(kApp, "Kept"), "2");
  EXPECT_EQ(GetString(kApp, "New"), "3");
  EXPECT_EQ(FileString(path, "Kept"), "1");
  fs::remove(path + ".lock");
  EXPECT_TRUE(CFPreferencesAppSynchronize(kApp));
  EXPECT_EQ(FileString(path, "Kept"), "2");
  EXPECT_EQ(FileString(path, "New"), "3");
}

TEST_F(CFPreferencesWriteTest, AFolderInTheWayOfTheDomainFailsTheWrite) {
  std::string path = domain("com.example.write");
  fs::create_directories(path + "/inside");
  SetString(kApp, "K", "v");
  EXPECT_FALSE(CFPreferencesAppSynchronize(kApp));
  EXPECT_TRUE(fs::is_directory(path + "/inside"));  // never removed
  EXPECT_EQ(GetString(kApp, "K"), "v");
}

TEST_F(CFPreferencesWriteTest, MakesTheFolderWhenMissing) {
  std::string saved = std::getenv("XDG_CONFIG_HOME");
  std::string nested = Home().root + "/new/config";
  setenv("XDG_CONFIG_HOME", nested.c_str(), 1);
  SetString(kApp, "K", "v");
  EXPECT_TRUE(CFPreferencesAppSynchronize(kApp));
  EXPECT_EQ(FileString(nested + "/com.example.write.plist", "K"), "v");
  struct stat info;
  ASSERT_EQ(stat(nested.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0700u);
  setenv("XDG_CONFIG_HOME", saved.c_str(), 1);
  fs::remove_all(Home().root + "/new");
}

TEST_F(CFPreferencesWriteTest, ACorruptFileReadsAsEmptyAndIsKeptAsideOnWrite) {
  std::string path = domain("com.example.write");
  ASSERT_TRUE(zrtest::WriteFile(path, "<plist><dict><key>Half"));
  EXPECT_EQ(GetString(kApp, "Half"), "<NULL>");
  EXPECT_TRUE(CFPreferencesAppSynchronize(kApp));
  // A mere read or synchronize leaves the file as it is.
  EXPECT_EQ(ReadFile(path), "<plist><dict><key>Half");
  EXPECT_FALSE(fs::exists(path + ".corrupt"));
  SetString(kApp, "K", "v");
  EXPECT_TRUE(CFPreferencesAppSynchronize(kApp));
  EXPECT_EQ(ReadFile(path + ".corrupt"), "<plist><dict><key>Half");
  EXPECT_EQ(FileString(path, "K"), "v");
}

TEST_F(CFPreferencesWriteTest, AFileWithoutADictionaryIsKeptAsideToo) {
  std::string path = domain("com.example.write");
  ASSERT_TRUE(zrtest::WriteFile(path, Plist("<array><string>x</string></array>")));
  SetString(kApp, "K", "v");
  EXPECT_TRUE(CFPreferencesAppSynchronize(kApp));
  EXPECT_EQ(ReadFile(path + ".corrupt"), Plist("<array><string>x</string></array>"));
  EXPECT_EQ(FileString(path, "K"), "v");
}

TEST_F(CFPreferencesWriteTest, ABinaryFileIsReadAndRewrittenAsXML) {
  // {"Mode": "dark"} in the binary form.
  const unsigned char bytes[] = {'b', 'p', 'l',  'i', 's', 't', '0', '0',  0xD1, 0x01, 0x02, 0x54, 'M', 'o',
                                 'd', 'e', 0x54, 'd', 'a', 'r', 'k', 0x08, 0x0B, 0x10, 0,    0,    0,   0,
                                 0,   0,   1,    1,   0,   0,   0,   0,    0,    0,    0,    3,    0,   0,
                                 0,   0,   0,    0,   0,   0,   0,   0,    0,    0,    0,    0,    0,   0x15};
  std::string path = domain("com.example.write");
  ASSERT_TRUE(zrtest::WriteFile(path, std::string(reinterpret_cast<const char*>(bytes), sizeof bytes)));
  EXPECT_EQ(GetString(kApp, "Mode"), "dark");
  SetString(kApp, "Size", "big");
  EXPECT_TRUE(CFPreferencesAppSynchronize(kApp));
  EXPECT_EQ(FileString(path, "Mode"), "dark");
  EXPECT_EQ(FileString(path, "Size"), "big");
  EXPECT_FALSE(fs::exists(path + ".corrupt"));
}

TEST_F(CFPreferencesWriteTest, KeepsEveryPropertyListKind) {
  CFMutableDictionaryRef inner =
      CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
  CFNumberRef number = zrtest::Number(7);
  CFDictionarySetValue(inner, CFSTR("n"), number);
  CFDateRef date = CFDateCreate(nullptr, 1000.0) /* whole seconds, as XML keeps them */;
  CFDataRef data = zrtest::MakeData("\x01\x02");
  const void* items[] = {number, date, data, kCFBooleanTrue};
  CFArrayRef array = CFArrayCreate(nullptr, items, 4, &kCFTypeArrayCallBacks);
  CFPreferencesSetAppValue(CFSTR("Dictionary"), inner, kApp);
  CFPreferencesSetAppValue(CFSTR("Array"), array, kApp);
  ASSERT_TRUE(CFPreferencesAppSynchronize(kApp));
  zrp::ForgetPreferencesInMemory();
  CFPropertyListRef readArray = CFPreferencesCopyAppValue(CFSTR("Array"), kApp);
  CFPropertyListRef readDictionary = CFPreferencesCopyAppValue(CFSTR("Dictionary"), kApp);
  EXPECT_TRUE(readArray && CFEqual(readArray, array));
  EXPECT_TRUE(readDictionary && CFEqual(readDictionary, inner));
  for (CFTypeRef object : {CFTypeRef(readArray), CFTypeRef(readDictionary), CFTypeRef(array), CFTypeRef(data),
                           CFTypeRef(date), CFTypeRef(number), CFTypeRef(inner)})
    if (object) CFRelease(object);
}

TEST_F(CFPreferencesWriteTest, IgnoresValuesThatAreNoPropertyList) {
  CFBundleRef bundle = zrp::CreateBundleWithPath(Home().root);
  CFPreferencesSetAppValue(CFSTR("Bundle"), bundle, kApp);
  CFRelease(bundle);
  EXPECT_EQ(CFPreferencesCopyAppValue(CFSTR("Bundle"), kApp), nullptr);
  EXPECT_TRUE(CFPreferencesAppSynchronize(kApp));
  CFPreferencesSetAppValue(nullptr, kCFBooleanTrue, kApp);
  CFPreferencesSetAppValue(CFSTR("K"), kCFBooleanTrue, nullptr);
  EXPECT_FALSE(CFPreferencesAppSynchronize(nullptr));
}

TEST_F(CFPreferencesWriteTest, ListsTheKeysOfTheDomainItself) {
  SetString(kCFPreferencesAnyApplication, "Global", "g");
  EXPECT_EQ(CFPreferencesCopyKeyList(kApp, kCFPreferencesCurrentUser, kCFPreferencesAnyHost), nullptr);
  SetString(kApp, "B", "2");
  SetString(kApp, "A", "1");
  CFArrayRef keys = CFPreferencesCopyKeyList(kApp, kCFPreferencesCurrentUser, kCFPreferencesAnyHost);
  ASSERT_NE(keys, nullptr);
  std::set<std::string> names;
  for (CFIndex i = 0; i < CFArrayGetCount(keys); ++i) names.insert(zrtest::Utf8(CFArrayGetValueAtIndex(keys, i)));
  EXPECT_EQ(names, (std::set<std::string>{"A", "B"}));
  CFRelease(keys);
  EXPECT_EQ(CFPreferencesCopyKeyList(kApp, kCFPreferencesAnyUser, kCFPreferencesAnyHost), nullptr);
  EXPECT_EQ(CFPreferencesCopyKeyList(kApp, kCFPreferencesCurrentUser, kCFPreferencesCurrentHost), nullptr);
  EXPECT_EQ(CFPreferencesCopyKeyList(nullptr, kCFPreferencesCurrentUser, kCFPreferencesAnyHost), nullptr);
}

TEST_F(CFPreferencesWriteTest, ListsTheDomainsThatHaveAFile) {
  SetString(kCFPreferencesAnyApplication, "G", "g");
  SetString(kApp, "K", "v");
  SetString(CFSTR("com.example.unsaved"), "K", "v");
  ASSERT_TRUE(CFPreferencesAppSynchronize(kApp));
  ASSERT_TRUE(CFPreferencesAppSynchronize(kCFPreferencesAnyApplication));
  CFArrayRef names = CFPreferencesCopyApplicationList(kCFPreferencesCurrentUser, kCFPreferencesAnyHost);
  ASSERT_NE(names, nullptr);
  ASSERT_EQ(CFArrayGetCount(names), 1);
  EXPECT_EQ(zrtest::Utf8(CFArrayGetValueAtIndex(names, 0)), "com.example.write");
  CFRelease(names);
  EXPECT_EQ(CFPreferencesCopyApplicationList(kCFPreferencesAnyUser, kCFPreferencesAnyHost), nullptr);
  EXPECT_EQ(CFPreferencesCopyApplicationList(kCFPreferencesCurrentUser, nullptr), nullptr);
}

TEST_F(CFPreferencesWriteTest, ThreadsSetReadAndSynchronizeAtOnce) {
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < 50; ++i) {
        std::string key = "t" + std::to_string(t) + "k" + std::to_string(i);
        SetString(kApp, key, std::to_string(i));
        EXPECT_EQ(GetString(kApp, key), std::to_string(i));
        SetString(kCFPreferencesCurrentApplication, key, "current");
        if (i % 5 == 0) {
          EXPECT_TRUE(CFPreferencesAppSynchronize(kApp));
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_TRUE(CFPreferencesAppSynchronize(kApp));
  CFDictionaryRef file = FileDictionary(domain("com.example.write"));
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(CFDictionaryGetCount(file), 200);
  CFRelease(file);
}

// Runs body in a child process; returns its pid.
template <class Body>
pid_t Spawn(Body body) {
  pid_t pid = fork();
  if (pid == 0) {
    zrp::ForgetPreferencesInMemory();
    _exit(body() ? 0 : 1);
  }
  return pid;
}

TEST_F(CFPreferencesWriteTest, TwoProcessesSynchronizingAtOnceKeepEachOthersKeys) {
  std::vector<pid_t> children;
  for (const char* prefix : {"a", "b"}) {
    children.push_back(Spawn([prefix] {
      for (int i = 0; i < 500; ++i) {
        SetString(kApp, prefix + std::to_string(i), std::to_string(i));
        if (!CFPreferencesAppSynchronize(kApp)) return false;
      }
      return true;
    }));
  }
  for (pid_t child : children) {
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  }
  CFDictionaryRef file = FileDictionary(domain("com.example.write"));
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(CFDictionaryGetCount(file), 1000);
  CFRelease(file);
  EXPECT_EQ(FileString(domain("com.example.write"), "a499"), "499");
  EXPECT_EQ(FileString(domain("com.example.write"), "b0"), "0");
}

TEST_F(CFPreferencesWriteTest, AWriterKilledAnywhereLeavesTheOldOrTheNewFile) {
  std::string path = domain("com.example.write");
  constexpr int kKeys = 40;
  // Every synchronize writes one generation into all keys at once; after the first, the writer says
  // so on the pipe, so that a slow machine (or a sanitizer build) still has rounds killed in the
  // middle of later writes rather than only before the first.
  auto writeGenerations = [](int first, int written) {
    for (int generation = first;; ++generation) {
      for (int k = 0; k < kKeys; ++k) SetString(kApp, "k" + std::to_string(k), std::to_string(generation));
      if (!CFPreferencesAppSynchronize(kApp)) return false;
      if (generation == first && write(written, "w", 1) != 1) return false;
    }
  };
  std::mt19937 random(1234);
  std::uniform_int_distribution<int> delay(0, 4000);
  int generationsSeen = 0;
  for (int round = 0; round < 200; ++round) {
    int pipeEnds[2];
    ASSERT_EQ(pipe(pipeEnds), 0);
    pid_t child = Spawn([&] {
      close(pipeEnds[0]);
      return writeGenerations(round * 100000, pipeEnds[1]);
    });
    ASSERT_GT(child, 0);
    close(pipeEnds[1]);
    // Even rounds may kill the writer anywhere, its first write included; odd ones after it.
    if (round % 2 == 1) {
      char byte = 0;
      ASSERT_EQ(read(pipeEnds[0], &byte, 1), 1) << "round " << round;
    }
    usleep(static_cast<useconds_t>(delay(random)));
    kill(child, SIGKILL);
    close(pipeEnds[0]);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    if (!fs::exists(path)) continue;  // killed before its first write
    CFDictionaryRef file = FileDictionary(path);
    ASSERT_NE(file, nullptr) << "round " << round;
    ASSERT_EQ(CFDictionaryGetCount(file), kKeys) << "round " << round;
    std::set<std::string> generations;
    for (int k = 0; k < kKeys; ++k) {
      CFStringRef key = zrtest::MakeString("k" + std::to_string(k));
      generations.insert(zrtest::Utf8(CFDictionaryGetValue(file, key)));
      CFRelease(key);
    }
    CFRelease(file);
    EXPECT_EQ(generations.size(), 1u) << "round " << round;
    ++generationsSeen;
  }
  EXPECT_GE(generationsSeen, 100);
}

}  // namespace
