// CombinationBench.cpp: the combination summary of one million strings with one hundred
// thousand distinct values (goal: well under a second), beside the same counting done the way
// a shell user would (`sort | uniq -c`: sort the lines, count the runs).
#include <ZRFramework/ZRFramework.h>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr int kStrings = 1000000;
constexpr int kDistinct = 100000;

// Names such as "Quote 4711" and "quote 4711": numbers compared as numbers, and case variants
// that rank equal but stay separate groups. Shuffled with a fixed seed.
std::vector<std::string> MakeNumberedNames() {
  std::vector<std::string> names;
  names.reserve(kStrings);
  for (int i = 0; i < kStrings; ++i) {
    int value = i % kDistinct;
    names.push_back((value % 2 ? "Quote " : "quote ") + std::to_string(value / 2));
  }
  std::mt19937 random(20240611);
  std::shuffle(names.begin(), names.end(), random);
  return names;
}

// Names without digits, such as "Kelmaro Tiv": letters only, so the comparison never reads
// numbers. Shuffled with a fixed seed.
std::vector<std::string> MakeWordNames() {
  static const char* const kSyllables[] = {"ka", "lo", "mer", "tiv", "sa", "no", "ri", "bel", "du", "fen"};
  std::vector<std::string> distinct;
  distinct.reserve(kDistinct);
  for (int value = 0; value < kDistinct; ++value) {
    std::string name;
    int rest = value;
    for (int i = 0; i < 5; ++i, rest /= 10) {
      if (i == 3) name += ' ';
      name += kSyllables[rest % 10];
    }
    name[0] = static_cast<char>(name[0] - 'a' + 'A');
    distinct.push_back(name);
  }
  std::vector<std::string> names;
  names.reserve(kStrings);
  for (int i = 0; i < kStrings; ++i) names.push_back(distinct[i % kDistinct]);
  std::mt19937 random(20240611);
  std::shuffle(names.begin(), names.end(), random);
  return names;
}

CFArrayRef MakeArray(const std::vector<std::string>& names) {
  std::vector<CFStringRef> strings;
  strings.reserve(names.size());
  for (const std::string& name : names) {
    strings.push_back(CFStringCreateWithBytes(NULL, reinterpret_cast<const UInt8*>(name.data()),
                                              static_cast<CFIndex>(name.size()), kCFStringEncodingUTF8, false));
  }
  CFArrayRef array = CFArrayCreate(NULL, reinterpret_cast<const void**>(strings.data()),
                                   static_cast<CFIndex>(strings.size()), &kCFTypeArrayCallBacks);
  for (CFStringRef string : strings) CFRelease(string);
  return array;
}

void RunCombination(benchmark::State& state, const std::vector<std::string>& names) {
  NSAutoreleasePool pool;
  CFArrayRef array = MakeArray(names);
  CFIndex length = 0;
  for (auto _ : state) {
    CFStringRef result = NULL;
    if (ZRCopyCombinationStringRefOfStringArrayRef(array, false, &result, false) != noErr) {
      state.SkipWithError("ZRCopyCombinationStringRefOfStringArrayRef failed");
      break;
    }
    length = CFStringGetLength(result);
    CFRelease(result);
  }
  state.counters["strings"] = kStrings;
  state.counters["result_units"] = static_cast<double>(length);
  CFRelease(array);
}

void BM_CombinationNumberedNames(benchmark::State& state) { RunCombination(state, MakeNumberedNames()); }
BENCHMARK(BM_CombinationNumberedNames)->Unit(benchmark::kMillisecond);

void BM_CombinationWordNames(benchmark::State& state) { RunCombination(state, MakeWordNames()); }
BENCHMARK(BM_CombinationWordNames)->Unit(benchmark::kMillisecond);

// `sort | uniq -c` in process: byte-order sorting, exact runs, no locale and no formatting.
void BM_SortUniqCount(benchmark::State& state) {
  const std::vector<std::string> names = MakeNumberedNames();
  for (auto _ : state) {
    std::vector<std::string> sorted = names;
    std::sort(sorted.begin(), sorted.end());
    std::vector<std::pair<std::string, long>> runs;
    for (const std::string& name : sorted) {
      if (!runs.empty() && runs.back().first == name) {
        ++runs.back().second;
      } else {
        runs.emplace_back(name, 1);
      }
    }
    benchmark::DoNotOptimize(runs.data());
  }
  state.counters["strings"] = kStrings;
}
BENCHMARK(BM_SortUniqCount)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
