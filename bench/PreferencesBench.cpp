// PreferencesBench.cpp: reading a typed preference beside a plain dictionary lookup of the same
// value, and synchronizing one change in a domain of 1000 keys beside writing that domain's file
// once with the same care (XML bytes, temporary file, fsync, rename, fsync of the folder). Runs in
// a temporary XDG_CONFIG_HOME.
#include <ZRFramework/ZRFramework.h>
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>

namespace {

std::string gFolder;

CFStringRef Key(int index) { return CFStringCreateWithFormat(nullptr, nullptr, CFSTR("Key%d"), index); }

// The anchor for a read: the same number found in a dictionary and converted.
void BM_DictionaryLookupAnchor(benchmark::State& state) {
  CFMutableDictionaryRef dictionary = ZRCreateMutableDictionaryRef();
  ZRSetIntegerOfDictionaryRef(dictionary, CFSTR("BenchInteger"), 42);
  for (auto _ : state) benchmark::DoNotOptimize(ZRGetIntegerOfDictionaryRef(dictionary, CFSTR("BenchInteger"), 0));
  CFRelease(dictionary);
  state.counters["budget_ns"] = 250;
}
BENCHMARK(BM_DictionaryLookupAnchor);

void BM_GetIntegerOfPreferencesKey(benchmark::State& state) {
  ZRSetIntegerOfPreferencesKey(42, CFSTR("BenchInteger"));
  for (auto _ : state) benchmark::DoNotOptimize(ZRGetIntegerOfPreferencesKey(CFSTR("BenchInteger"), 0));
  state.counters["budget_ns"] = 250;
}
BENCHMARK(BM_GetIntegerOfPreferencesKey)->ThreadRange(1, 2);

const CFStringRef kDomain = CFSTR("org.zrframework.bench.large");

void FillLargeDomain() {
  static bool filled = false;
  if (filled) return;
  for (int i = 0; i < 1000; ++i) {
    CFStringRef key = Key(i);
    CFStringRef value = CFStringCreateWithFormat(nullptr, nullptr, CFSTR("value number %d of the domain"), i);
    CFPreferencesSetAppValue(key, value, kDomain);
    CFRelease(value);
    CFRelease(key);
  }
  CFPreferencesAppSynchronize(kDomain);
  filled = true;
}

// The anchor: the domain's 1000 keys turned into XML and written once, durably.
void BM_WriteDomainFileOnceAnchor(benchmark::State& state) {
  FillLargeDomain();
  CFArrayRef keys = CFPreferencesCopyKeyList(kDomain, kCFPreferencesCurrentUser, kCFPreferencesAnyHost);
  CFMutableDictionaryRef dictionary = ZRCreateMutableDictionaryRef();
  for (CFIndex i = 0; i < CFArrayGetCount(keys); ++i) {
    CFStringRef key = static_cast<CFStringRef>(CFArrayGetValueAtIndex(keys, i));
    CFPropertyListRef value = CFPreferencesCopyAppValue(key, kDomain);
    CFDictionarySetValue(dictionary, key, value);
    CFRelease(value);
  }
  std::string path = gFolder + "/anchor.plist";
  for (auto _ : state) {
    CFDataRef data = CFPropertyListCreateData(nullptr, dictionary, kCFPropertyListXMLFormat_v1_0, 0, nullptr);
    std::string temporary = path + ".XXXXXX";
    int fd = mkstemp(temporary.data());
    fchmod(fd, 0600);
    benchmark::DoNotOptimize(write(fd, CFDataGetBytePtr(data), static_cast<size_t>(CFDataGetLength(data))));
    fsync(fd);
    close(fd);
    rename(temporary.c_str(), path.c_str());
    int folder = open(gFolder.c_str(), O_RDONLY | O_DIRECTORY);
    fsync(folder);
    close(folder);
    CFRelease(data);
  }
  CFRelease(dictionary);
  CFRelease(keys);
}
BENCHMARK(BM_WriteDomainFileOnceAnchor)->Unit(benchmark::kMicrosecond);

void BM_SynchronizeOneChangeOf1000Keys(benchmark::State& state) {
  FillLargeDomain();
  int round = 0;
  for (auto _ : state) {
    CFNumberRef number = CFNumberCreate(nullptr, kCFNumberIntType, &round);
    CFPreferencesSetAppValue(CFSTR("Key500"), number, kDomain);
    CFRelease(number);
    ++round;
    if (!CFPreferencesAppSynchronize(kDomain)) state.SkipWithError("synchronize failed");
  }
}
BENCHMARK(BM_SynchronizeOneChangeOf1000Keys)->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char** argv) {
  char pattern[] = "/tmp/PreferencesBench.XXXXXX";
  if (!mkdtemp(pattern)) return 1;
  gFolder = pattern;
  setenv("XDG_CONFIG_HOME", gFolder.c_str(), 1);
  NSAutoreleasePool pool;
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  std::error_code ignored;
  std::filesystem::remove_all(gFolder, ignored);
  return 0;
}
