// PropertyListBench.cpp: parsing a 10 MB XML property list and a 10 MB binary one (the same
// values: an array of records of strings, integers, reals, dates, Booleans and data), by this
// host's CFPropertyListCreateWithData beside libplist's plist_from_xml and plist_from_bin, and
// writing both forms. After the table come the ratios, libplist's time divided by ours (above 1
// means faster than libplist), on the processor, since the clock alone says little on a busy machine.
#include <CoreFoundation/CoreFoundation.h>
#include <benchmark/benchmark.h>
#include <plist/plist.h>

#include <cstdio>
#include <map>
#include <string>

namespace {

constexpr size_t kTargetBytes = size_t{10} << 20;

// An array of `count` records.
CFPropertyListRef MakeSample(int count) {
  CFMutableArrayRef records = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
  for (int i = 0; i < count; ++i) {
    CFMutableDictionaryRef record =
        CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    CFStringRef name = CFStringCreateWithFormat(nullptr, nullptr, CFSTR("Quote %d \u00e9"), i);
    CFStringRef symbol = CFStringCreateWithFormat(nullptr, nullptr, CFSTR("SYM%d"), i % 5000);
    long long volume = 1000LL * i;
    double price = i * 0.37;
    CFNumberRef volumeNumber = CFNumberCreate(nullptr, kCFNumberLongLongType, &volume);
    CFNumberRef priceNumber = CFNumberCreate(nullptr, kCFNumberDoubleType, &price);
    CFDateRef date = CFDateCreate(nullptr, 600000000.0 + i);
    UInt8 bytes[24];
    for (size_t b = 0; b < sizeof bytes; ++b) bytes[b] = static_cast<UInt8>(i + b);
    CFDataRef data = CFDataCreate(nullptr, bytes, sizeof bytes);
    CFDictionarySetValue(record, CFSTR("name"), name);
    CFDictionarySetValue(record, CFSTR("symbol"), symbol);
    CFDictionarySetValue(record, CFSTR("volume"), volumeNumber);
    CFDictionarySetValue(record, CFSTR("price"), priceNumber);
    CFDictionarySetValue(record, CFSTR("updated"), date);
    CFDictionarySetValue(record, CFSTR("active"), i % 2 ? kCFBooleanTrue : kCFBooleanFalse);
    CFDictionarySetValue(record, CFSTR("chart"), data);
    CFArrayAppendValue(records, record);
    for (CFTypeRef object :
         {static_cast<CFTypeRef>(name), static_cast<CFTypeRef>(symbol), static_cast<CFTypeRef>(volumeNumber),
          static_cast<CFTypeRef>(priceNumber), static_cast<CFTypeRef>(date), static_cast<CFTypeRef>(data),
          static_cast<CFTypeRef>(record)})
      CFRelease(object);
  }
  return records;
}

struct Inputs {
  std::string xml;
  std::string binary;
};

const Inputs& TheInputs() {
  static const Inputs* inputs = [] {
    auto* made = new Inputs();
    // Each form gets as many records as make it about kTargetBytes long.
    for (auto [format, out] : {std::pair{kCFPropertyListXMLFormat_v1_0, &made->xml},
                               std::pair{kCFPropertyListBinaryFormat_v1_0, &made->binary}}) {
      int count = 1000;
      for (int pass = 0; pass < 2; ++pass) {
        CFPropertyListRef sample = MakeSample(count);
        CFDataRef data = CFPropertyListCreateData(nullptr, sample, format, 0, nullptr);
        out->assign(reinterpret_cast<const char*>(CFDataGetBytePtr(data)), static_cast<size_t>(CFDataGetLength(data)));
        CFRelease(data);
        CFRelease(sample);
        count = static_cast<int>(static_cast<double>(count) * kTargetBytes / static_cast<double>(out->size()));
      }
    }
    return made;
  }();
  return *inputs;
}

std::map<std::string, double>& CpuSeconds() {
  static std::map<std::string, double> seconds;
  return seconds;
}

void Record(benchmark::State& state, const std::string& name, size_t bytes) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
  state.counters["MB"] = static_cast<double>(bytes) / 1e6;
  (void)name;
}

void ParseHost(benchmark::State& state, const std::string& bytes) {
  CFDataRef data =
      CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(bytes.data()), static_cast<CFIndex>(bytes.size()));
  for (auto _ : state) {
    CFPropertyListRef plist = CFPropertyListCreateWithData(nullptr, data, kCFPropertyListImmutable, nullptr, nullptr);
    if (!plist) state.SkipWithError("unreadable");
    benchmark::DoNotOptimize(plist);
    if (plist) CFRelease(plist);
  }
  CFRelease(data);
}

void BM_HostParseXML(benchmark::State& state) {
  ParseHost(state, TheInputs().xml);
  Record(state, "xml", TheInputs().xml.size());
}

void BM_LibplistParseXML(benchmark::State& state) {
  const std::string& xml = TheInputs().xml;
  for (auto _ : state) {
    plist_t plist = nullptr;
    plist_from_xml(xml.data(), static_cast<uint32_t>(xml.size()), &plist);
    if (!plist) state.SkipWithError("unreadable");
    benchmark::DoNotOptimize(plist);
    plist_free(plist);
  }
  Record(state, "xml", xml.size());
}

void BM_HostParseBinary(benchmark::State& state) {
  ParseHost(state, TheInputs().binary);
  Record(state, "binary", TheInputs().binary.size());
}

void BM_LibplistParseBinary(benchmark::State& state) {
  const std::string& binary = TheInputs().binary;
  for (auto _ : state) {
    plist_t plist = nullptr;
    plist_from_bin(binary.data(), static_cast<uint32_t>(binary.size()), &plist);
    if (!plist) state.SkipWithError("unreadable");
    benchmark::DoNotOptimize(plist);
    plist_free(plist);
  }
  Record(state, "binary", binary.size());
}

void BM_HostWriteBinary(benchmark::State& state) {
  CFDataRef data = CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(TheInputs().binary.data()),
                                static_cast<CFIndex>(TheInputs().binary.size()));
  CFPropertyListRef plist = CFPropertyListCreateWithData(nullptr, data, 0, nullptr, nullptr);
  for (auto _ : state) {
    CFDataRef out = CFPropertyListCreateData(nullptr, plist, kCFPropertyListBinaryFormat_v1_0, 0, nullptr);
    benchmark::DoNotOptimize(out);
    CFRelease(out);
  }
  CFRelease(plist);
  CFRelease(data);
  Record(state, "binary", TheInputs().binary.size());
}

void BM_LibplistWriteBinary(benchmark::State& state) {
  plist_t plist = nullptr;
  plist_from_bin(TheInputs().binary.data(), static_cast<uint32_t>(TheInputs().binary.size()), &plist);
  for (auto _ : state) {
    char* out = nullptr;
    uint32_t length = 0;
    plist_to_bin(plist, &out, &length);
    benchmark::DoNotOptimize(out);
    free(out);
  }
  plist_free(plist);
  Record(state, "binary", TheInputs().binary.size());
}

BENCHMARK(BM_HostParseXML)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();
BENCHMARK(BM_LibplistParseXML)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();
BENCHMARK(BM_HostParseBinary)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();
BENCHMARK(BM_LibplistParseBinary)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();
BENCHMARK(BM_HostWriteBinary)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();
BENCHMARK(BM_LibplistWriteBinary)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();

// Keeps each run's processor time per iteration, for the ratios printed after the table.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs)
      if (run.iterations > 0) CpuSeconds()[run.benchmark_name()] = run.cpu_accumulated_time / run.iterations;
    ConsoleReporter::ReportRuns(runs);
  }
};

void PrintRatio(const char* what, const char* ours, const char* theirs) {
  auto& seconds = CpuSeconds();
  if (!seconds.count(ours) || !seconds.count(theirs) || seconds[ours] <= 0) return;
  std::printf("%-28s libplist / host = %.2f (above 1: the host is faster)\n", what, seconds[theirs] / seconds[ours]);
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  std::printf("inputs: XML %zu bytes, binary %zu bytes\n", TheInputs().xml.size(), TheInputs().binary.size());
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  PrintRatio("parse 10 MB XML:", "BM_HostParseXML/process_time", "BM_LibplistParseXML/process_time");
  PrintRatio("parse 10 MB binary:", "BM_HostParseBinary/process_time", "BM_LibplistParseBinary/process_time");
  PrintRatio("write 10 MB binary:", "BM_HostWriteBinary/process_time", "BM_LibplistWriteBinary/process_time");
  return 0;
}
