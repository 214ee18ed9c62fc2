// RuntimeBench.cpp: the cost of the host runtime's most frequent operations (reference counting,
// string creation, formatting), beside the C library doing the same formatting as a baseline.
#include <CoreFoundation/CoreFoundation.h>
#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>

namespace {

void BM_CFRetainRelease(benchmark::State& state) {
  CFStringRef string = CFStringCreateWithCString(nullptr, "retained", kCFStringEncodingUTF8);
  for (auto _ : state) {
    CFRetain(string);
    CFRelease(string);
  }
  CFRelease(string);
}
BENCHMARK(BM_CFRetainRelease);

void BM_CFStringCreateWithCString(benchmark::State& state) {
  for (auto _ : state) {
    CFStringRef string = CFStringCreateWithCString(nullptr, "Application Support", kCFStringEncodingUTF8);
    benchmark::DoNotOptimize(string);
    CFRelease(string);
  }
}
BENCHMARK(BM_CFStringCreateWithCString);

void BM_CFStringCreateWithFormat(benchmark::State& state) {
  CFStringRef folder = CFStringCreateWithCString(nullptr, "Documents", kCFStringEncodingUTF8);
  int count = 0;
  for (auto _ : state) {
    CFStringRef string = CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%d items of %@"), ++count, folder);
    benchmark::DoNotOptimize(string);
    CFRelease(string);
  }
  CFRelease(folder);
}
BENCHMARK(BM_CFStringCreateWithFormat);

// Baseline: the same text with snprintf into a std::string.
void BM_snprintf_Format(benchmark::State& state) {
  const char* folder = "Documents";
  int count = 0;
  for (auto _ : state) {
    char buffer[64];
    int length = std::snprintf(buffer, sizeof buffer, "%d items of %s", ++count, folder);
    std::string string(buffer, static_cast<size_t>(length));
    benchmark::DoNotOptimize(string);
  }
}
BENCHMARK(BM_snprintf_Format);

// Appends `range(0)` bytes as hex, two digits each, the way a digest is printed.
void BM_CFStringAppendFormatHex(benchmark::State& state) {
  const int bytes = static_cast<int>(state.range(0));
  for (auto _ : state) {
    CFMutableStringRef string = CFStringCreateMutable(nullptr, 0);
    for (int i = 0; i < bytes; ++i) CFStringAppendFormat(string, nullptr, CFSTR("%02x"), i & 0xff);
    benchmark::DoNotOptimize(string);
    CFRelease(string);
  }
  state.SetBytesProcessed(state.iterations() * bytes);
}
BENCHMARK(BM_CFStringAppendFormatHex)->Arg(20)->Arg(1024);

// Baseline: the same hex text with snprintf appended to a std::string.
void BM_snprintf_AppendHex(benchmark::State& state) {
  const int bytes = static_cast<int>(state.range(0));
  for (auto _ : state) {
    std::string string;
    for (int i = 0; i < bytes; ++i) {
      char digits[3];
      std::snprintf(digits, sizeof digits, "%02x", i & 0xff);
      string.append(digits, 2);
    }
    benchmark::DoNotOptimize(string);
  }
  state.SetBytesProcessed(state.iterations() * bytes);
}
BENCHMARK(BM_snprintf_AppendHex)->Arg(20)->Arg(1024);

}  // namespace

BENCHMARK_MAIN();
