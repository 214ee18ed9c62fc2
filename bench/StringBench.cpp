// StringBench.cpp: making, comparing and hashing short and long ASCII strings, each beside the
// same work done on plain bytes (memcpy into a fresh block, memcmp, std::hash) in the same run,
// and beside the figures the string object gave when it held UTF-16 for every text.
#include <CoreFoundation/CoreFoundation.h>
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace {

// Nanoseconds per call measured on this machine (default preset, one run) while every string
// held UTF-16, kept to state how much the one-byte form gains:
//   benchmark                    8 chars   64 chars   1024 chars
//   CreateWithCString (ASCII)       63.2      112.4        597.7
//   CreateWithBytes (ASCII)         61.3      104.1        590.3
//   CFStringCompare                 22.3       94.6       1342.8
//   CFEqual                          7.0       31.2        490.8
//   CFHash                           5.5       20.7        465.1
const std::map<std::string, double>& Recorded() {
  static const std::map<std::string, double> figures = {
      {"BM_CreateWithCString/8", 63.2},
      {"BM_CreateWithCString/64", 112.4},
      {"BM_CreateWithCString/1024", 597.7},
      {"BM_CreateWithBytes/8", 61.3},
      {"BM_CreateWithBytes/64", 104.1},
      {"BM_CreateWithBytes/1024", 590.3},
      {"BM_CFStringCompare/8", 22.3},
      {"BM_CFStringCompare/64", 94.6},
      {"BM_CFStringCompare/1024", 1342.8},
      {"BM_CFEqual/8", 7.0},
      {"BM_CFEqual/64", 31.2},
      {"BM_CFEqual/1024", 490.8},
      {"BM_CFHash/8", 5.5},
      {"BM_CFHash/64", 20.7},
      {"BM_CFHash/1024", 465.1},
  };
  return figures;
}

std::string AsciiText(size_t length, char last) {
  std::string text;
  text.reserve(length);
  for (size_t i = 0; i < length; ++i) text.push_back(static_cast<char>('a' + i % 26));
  if (length) text.back() = last;
  return text;
}

CFStringRef MakeString(const std::string& text) {
  return CFStringCreateWithCString(nullptr, text.c_str(), kCFStringEncodingASCII);
}

void BM_CreateWithCString(benchmark::State& state) {
  std::string text = AsciiText(static_cast<size_t>(state.range(0)), 'z');
  for (auto _ : state) {
    CFStringRef string = CFStringCreateWithCString(nullptr, text.c_str(), kCFStringEncodingASCII);
    benchmark::DoNotOptimize(string);
    CFRelease(string);
  }
}
BENCHMARK(BM_CreateWithCString)->Arg(8)->Arg(64)->Arg(1024);

void BM_CreateWithBytes(benchmark::State& state) {
  std::string text = AsciiText(static_cast<size_t>(state.range(0)), 'z');
  for (auto _ : state) {
    CFStringRef string = CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(text.data()),
                                                 static_cast<CFIndex>(text.size()), kCFStringEncodingASCII, false);
    benchmark::DoNotOptimize(string);
    CFRelease(string);
  }
}
BENCHMARK(BM_CreateWithBytes)->Arg(8)->Arg(64)->Arg(1024);

// Two strings that differ in their last character, so the whole text is read.
void BM_CFStringCompare(benchmark::State& state) {
  size_t length = static_cast<size_t>(state.range(0));
  CFStringRef a = MakeString(AsciiText(length, 'y'));
  CFStringRef b = MakeString(AsciiText(length, 'z'));
  for (auto _ : state) benchmark::DoNotOptimize(CFStringCompare(a, b, 0));
  CFRelease(a);
  CFRelease(b);
}
BENCHMARK(BM_CFStringCompare)->Arg(8)->Arg(64)->Arg(1024);

// Two distinct strings of the same text: equal, after reading all of it.
void BM_CFEqual(benchmark::State& state) {
  std::string text = AsciiText(static_cast<size_t>(state.range(0)), 'z');
  CFStringRef a = MakeString(text);
  CFStringRef b = MakeString(text);
  for (auto _ : state) benchmark::DoNotOptimize(CFEqual(a, b));
  CFRelease(a);
  CFRelease(b);
}
BENCHMARK(BM_CFEqual)->Arg(8)->Arg(64)->Arg(1024);

void BM_CFHash(benchmark::State& state) {
  CFStringRef a = MakeString(AsciiText(static_cast<size_t>(state.range(0)), 'z'));
  for (auto _ : state) benchmark::DoNotOptimize(CFHash(a));
  CFRelease(a);
}
BENCHMARK(BM_CFHash)->Arg(8)->Arg(64)->Arg(1024);

// An immutable string keeps its hash once made; a mutable one is hashed anew each time, so this
// is the cost of hashing the text itself (the same as above while strings held UTF-16).
void BM_CFHashMutable(benchmark::State& state) {
  CFStringRef text = MakeString(AsciiText(static_cast<size_t>(state.range(0)), 'z'));
  CFMutableStringRef a = CFStringCreateMutableCopy(nullptr, 0, text);
  for (auto _ : state) benchmark::DoNotOptimize(CFHash(a));
  CFRelease(a);
  CFRelease(text);
}
BENCHMARK(BM_CFHashMutable)->Arg(8)->Arg(64)->Arg(1024);

// Baselines on plain bytes: a fresh block holding a copy, a comparison, a hash.
void Base_CopyBytes(benchmark::State& state) {
  std::string text = AsciiText(static_cast<size_t>(state.range(0)), 'z');
  for (auto _ : state) {
    char* copy = static_cast<char*>(std::malloc(text.size() + 1));
    std::memcpy(copy, text.c_str(), text.size() + 1);
    benchmark::DoNotOptimize(copy);
    std::free(copy);
  }
}
BENCHMARK(Base_CopyBytes)->Arg(8)->Arg(64)->Arg(1024);

void Base_CompareBytes(benchmark::State& state) {
  size_t length = static_cast<size_t>(state.range(0));
  std::string a = AsciiText(length, 'y');
  std::string b = AsciiText(length, 'z');
  for (auto _ : state) {
    benchmark::DoNotOptimize(a.data());
    benchmark::DoNotOptimize(b.data());
    benchmark::DoNotOptimize(std::memcmp(a.data(), b.data(), length));
  }
}
BENCHMARK(Base_CompareBytes)->Arg(8)->Arg(64)->Arg(1024);

void Base_HashBytes(benchmark::State& state) {
  std::string a = AsciiText(static_cast<size_t>(state.range(0)), 'z');
  for (auto _ : state) {
    benchmark::DoNotOptimize(a.data());
    benchmark::DoNotOptimize(std::hash<std::string_view>{}(a));
  }
}
BENCHMARK(Base_HashBytes)->Arg(8)->Arg(64)->Arg(1024);

// Prints the table as usual and keeps each benchmark's nanoseconds per call.
class RecordingReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type == Run::RT_Iteration && run.iterations > 0 && !run.error_occurred) {
        times[run.benchmark_name()] = run.GetAdjustedRealTime() * 1e9 / benchmark::GetTimeUnitMultiplier(run.time_unit);
      }
    }
    ConsoleReporter::ReportRuns(runs);
  }
  std::map<std::string, double> times;
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  RecordingReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();

  // For each measured call: the ratio of the recorded UTF-16 figure to today's (above 1 is
  // faster now; the goal is 1.5), and today's time over the plain-bytes baseline of the run.
  struct Row {
    const char* name;
    const char* baseline;
  };
  const Row rows[] = {{"BM_CreateWithCString", "Base_CopyBytes"},
                      {"BM_CreateWithBytes", "Base_CopyBytes"},
                      {"BM_CFStringCompare", "Base_CompareBytes"},
                      {"BM_CFEqual", "Base_CompareBytes"},
                      {"BM_CFHash", "Base_HashBytes"},
                      {"BM_CFHashMutable", "Base_HashBytes"}};
  std::printf("\n%-24s %6s %12s %12s %10s %14s\n", "", "chars", "now ns", "UTF-16 ns", "speed-up", "x baseline");
  for (const Row& row : rows) {
    for (const char* length : {"8", "64", "1024"}) {
      std::string key = std::string(row.name) + "/" + length;
      auto now = reporter.times.find(key);
      if (now == reporter.times.end()) continue;
      // (Hashing a mutable string did the same work as an immutable one's then.)
      auto recorded =
          Recorded().find(std::string(row.name) == "BM_CFHashMutable" ? "BM_CFHash/" + std::string(length) : key);
      auto base = reporter.times.find(std::string(row.baseline) + "/" + length);
      std::printf("%-24s %6s %12.1f", row.name, length, now->second);
      if (recorded != Recorded().end()) {
        std::printf(" %12.1f %9.2fx", recorded->second, recorded->second / now->second);
      } else {
        std::printf(" %12s %10s", "-", "-");
      }
      if (base != reporter.times.end()) std::printf(" %13.2fx", now->second / base->second);
      std::printf("\n");
    }
  }
  return 0;
}
