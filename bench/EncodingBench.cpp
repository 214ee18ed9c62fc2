// EncodingBench.cpp: throughput of the encodings and digests on large inputs, beside the tools a
// user would otherwise run on the same bytes: SHA-1 of a 1 GiB file against `openssl sha1`,
// Base32 and Base64 encoding and decoding of 256 MiB against coreutils `base32 -w0`/`-d` and
// `base64 -w0`/`-d`, hexadecimal encoding against `xxd -p`. The tools are timed in the same run
// on the same temporary files (kept under /tmp and removed at the end); after the table come the
// ratios, the tool's time divided by ours (above 1 means faster than the tool), both on the
// clock and on the processor, since the clock alone says little on a busy machine.
//
// The codecs are timed from memory to memory, once on the whole 256 MiB in one call and once in
// blocks of about 1 MiB as a streaming tool works; the tools read the file from the page cache
// (it was just written) and write to /dev/null.
#include <ZRFramework/ZRFramework.h>
#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <initializer_list>
#include <map>
#include <string>
#include <vector>

namespace {

constexpr size_t kDigestFileSize = size_t{1} << 30;
constexpr size_t kCodecSize = size_t{256} << 20;
// One CFStringAppendFormat per byte: a smaller input keeps the run short; the ratio is a
// ratio of throughputs all the same.
constexpr size_t kHexSize = size_t{32} << 20;

struct Inputs {
  std::string folder;
  std::string digestFile;  // kDigestFileSize random bytes
  std::string codecFile;   // kCodecSize random bytes
  std::string hexFile;     // kHexSize random bytes
  std::string base32File;  // codecFile in padded Base32, for the decoding tool
  std::string base64File;  // codecFile in Base64
  std::string codecBytes;
  std::string hexBytes;
};

Inputs& TheInputs() {
  static Inputs inputs;
  return inputs;
}

// Fast, reproducible filler bytes (xorshift64*), so that making 1 GiB takes a second or two.
void WriteRandomFile(const std::string& path, size_t size, std::string* keep) {
  std::ofstream out(path, std::ios::binary);
  uint64_t state = 0x9E3779B97F4A7C15ull ^ size;
  std::vector<uint64_t> block(1 << 17);
  size_t written = 0;
  while (written < size) {
    for (uint64_t& word : block) {
      state ^= state >> 12;
      state ^= state << 25;
      state ^= state >> 27;
      word = state * 0x2545F4914F6CDD1Dull;
    }
    size_t count = std::min(size - written, block.size() * sizeof(uint64_t));
    out.write(reinterpret_cast<const char*>(block.data()), static_cast<std::streamsize>(count));
    if (keep) keep->append(reinterpret_cast<const char*>(block.data()), count);
    written += count;
  }
}

bool Run(const std::string& command) { return std::system(command.c_str()) == 0; }

// Times in seconds: on the clock, and on the processor (user and system). The processor
// time is the steadier of the two on a busy machine.
struct Time {
  double wall = -1;
  double cpu = -1;
  bool valid() const { return wall > 0 && cpu > 0; }
};

Time operator+(Time a, Time b) {
  if (!a.valid() || !b.valid()) return Time();
  return {a.wall + b.wall, a.cpu + b.cpu};
}

// The best times of `repetitions` runs of a shell command (its processor time is that of the
// shell and its children); invalid when the command fails, the tool is missing for example.
Time TimeCommand(const std::string& command, int repetitions = 3) {
  Time best;
  for (int i = 0; i < repetitions; ++i) {
    auto start = std::chrono::steady_clock::now();
    pid_t child = fork();
    if (child < 0) return Time();
    if (child == 0) {
      execl("/bin/sh", "sh", "-c", command.c_str(), static_cast<char*>(nullptr));
      _exit(127);
    }
    int status = 0;
    struct rusage usage;
    if (wait4(child, &status, 0, &usage) != child || !WIFEXITED(status) || WEXITSTATUS(status) != 0) return Time();
    double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    double cpu = static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
                 static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) * 1e-6;
    if (best.wall < 0 || wall < best.wall) best.wall = wall;
    if (best.cpu < 0 || cpu < best.cpu) best.cpu = cpu;
  }
  return best;
}

bool Prepare() {
  Inputs& in = TheInputs();
  std::string pattern = "/tmp/ZREncodingBench.XXXXXX";
  if (!mkdtemp(pattern.data())) return false;
  in.folder = pattern;
  in.digestFile = in.folder + "/digest.bin";
  in.codecFile = in.folder + "/codec.bin";
  in.hexFile = in.folder + "/hex.bin";
  in.base32File = in.folder + "/codec.b32";
  in.base64File = in.folder + "/codec.b64";
  std::fprintf(stderr, "Writing test files under %s ...\n", in.folder.c_str());
  WriteRandomFile(in.digestFile, kDigestFileSize, nullptr);
  WriteRandomFile(in.codecFile, kCodecSize, &in.codecBytes);
  WriteRandomFile(in.hexFile, kHexSize, &in.hexBytes);
  Run("base32 -w0 '" + in.codecFile + "' > '" + in.base32File + "' 2>/dev/null");
  Run("base64 -w0 '" + in.codecFile + "' > '" + in.base64File + "' 2>/dev/null");
  return true;
}

void CleanUp() {
  std::error_code ignored;
  if (!TheInputs().folder.empty()) std::filesystem::remove_all(TheInputs().folder, ignored);
}

void BM_SHA1File(benchmark::State& state) {
  CFStringRef path = CFStringCreateWithCString(nullptr, TheInputs().digestFile.c_str(), kCFStringEncodingUTF8);
  for (auto _ : state) {
    CFDataRef digest = nullptr;
    ZRCopySHADataRefOfPathStringRef(path, true, &digest);
    if (!digest) {
      state.SkipWithError("no digest");
      break;
    }
    CFRelease(digest);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kDigestFileSize));
  CFRelease(path);
}
BENCHMARK(BM_SHA1File)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

// The C functions, each direction on its own.
void BM_Base32Encode(benchmark::State& state) {
  const std::string& bytes = TheInputs().codecBytes;
  for (auto _ : state) {
    char* text = nullptr;
    if (ZRCopyBase32BufferOfBuffer(bytes.data(), static_cast<UInt32>(bytes.size()), &text) != noErr) {
      state.SkipWithError("Base32 encoding failed");
    }
    free(text);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kCodecSize));
}
BENCHMARK(BM_Base32Encode)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

void BM_Base32Decode(benchmark::State& state) {
  const std::string& bytes = TheInputs().codecBytes;
  char* text = nullptr;
  ZRCopyBase32BufferOfBuffer(bytes.data(), static_cast<UInt32>(bytes.size()), &text);
  for (auto _ : state) {
    void* decoded = nullptr;
    if (!text || ZRCopyBufferOfBase32Buffer(text, &decoded) != noErr) state.SkipWithError("Base32 decoding failed");
    free(decoded);
  }
  free(text);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kCodecSize));
}
BENCHMARK(BM_Base32Decode)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

// The category: NSData in, NSString out, and back.
void BM_Base32CategoryEncode(benchmark::State& state) {
  const std::string& bytes = TheInputs().codecBytes;
  NSAutoreleasePool outer;
  NSData* data = ns::dataWithBytes(bytes.data(), bytes.size());
  for (auto _ : state) {
    NSAutoreleasePool pool;
    if (!ZR::base32String(data)) state.SkipWithError("Base32 encoding failed");
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kCodecSize));
}
BENCHMARK(BM_Base32CategoryEncode)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

void BM_Base32CategoryDecode(benchmark::State& state) {
  const std::string& bytes = TheInputs().codecBytes;
  NSAutoreleasePool outer;
  NSString* text = ZR::base32String(ns::dataWithBytes(bytes.data(), bytes.size()));
  for (auto _ : state) {
    NSAutoreleasePool pool;
    if (!text || !ZR::dataWithBase32String(text)) state.SkipWithError("Base32 decoding failed");
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kCodecSize));
}
BENCHMARK(BM_Base32CategoryDecode)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

void BM_Base64Encode(benchmark::State& state) {
  const std::string& bytes = TheInputs().codecBytes;
  NSAutoreleasePool outer;
  NSData* data = ns::dataWithBytes(bytes.data(), bytes.size());
  for (auto _ : state) {
    NSAutoreleasePool pool;
    if (!ZR::base64String(data)) state.SkipWithError("Base64 encoding failed");
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kCodecSize));
}
BENCHMARK(BM_Base64Encode)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

void BM_Base64Decode(benchmark::State& state) {
  const std::string& bytes = TheInputs().codecBytes;
  NSAutoreleasePool outer;
  NSString* text = ZR::base64String(ns::dataWithBytes(bytes.data(), bytes.size()));
  for (auto _ : state) {
    NSAutoreleasePool pool;
    NSData* decoded = text ? ZR::dataWithBase64String(text) : nil;
    if (!decoded || ns::length(decoded) != bytes.size()) state.SkipWithError("Base64 decoding failed");
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kCodecSize));
}
BENCHMARK(BM_Base64Decode)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

// The same 256 MiB in blocks of 1048575 bytes (a multiple of 3 and of 5, so that the texts of
// the blocks join into the text of the whole), the way a streaming tool works: the blocks'
// buffers are small enough for the allocator to reuse them, where the whole-buffer runs above
// pay for fresh pages (first touches cost more than the coding itself on some machines).
constexpr size_t kBlockSize = 1048575;

void BM_Base32EncodeBlocks(benchmark::State& state) {
  const std::string& bytes = TheInputs().codecBytes;
  for (auto _ : state) {
    for (size_t offset = 0; offset < bytes.size(); offset += kBlockSize) {
      size_t length = std::min(kBlockSize, bytes.size() - offset);
      char* text = nullptr;
      if (ZRCopyBase32BufferOfBuffer(bytes.data() + offset, static_cast<UInt32>(length), &text) != noErr) {
        state.SkipWithError("Base32 encoding failed");
      }
      free(text);
    }
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kCodecSize));
}
BENCHMARK(BM_Base32EncodeBlocks)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

void BM_Base32DecodeBlocks(benchmark::State& state) {
  const std::string& bytes = TheInputs().codecBytes;
  std::vector<std::string> texts;
  for (size_t offset = 0; offset < bytes.size(); offset += kBlockSize) {
    char* text = nullptr;
    ZRCopyBase32BufferOfBuffer(bytes.data() + offset, static_cast<UInt32>(std::min(kBlockSize, bytes.size() - offset)),
                               &text);
    texts.emplace_back(text ? text : "");
    free(text);
  }
  for (auto _ : state) {
    for (const std::string& text : texts) {
      void* decoded = nullptr;
      if (ZRCopyBufferOfBase32Buffer(text.c_str(), &decoded) != noErr) state.SkipWithError("Base32 decoding failed");
      free(decoded);
    }
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kCodecSize));
}
BENCHMARK(BM_Base32DecodeBlocks)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

void BM_Base64EncodeBlocks(benchmark::State& state) {
  const std::string& bytes = TheInputs().codecBytes;
  NSAutoreleasePool outer;
  std::vector<NSData*> blocks;
  for (size_t offset = 0; offset < bytes.size(); offset += kBlockSize) {
    blocks.push_back(ns::dataWithBytes(bytes.data() + offset, std::min(kBlockSize, bytes.size() - offset)));
  }
  for (auto _ : state) {
    for (NSData* block : blocks) {
      NSAutoreleasePool pool;
      if (!ZR::base64String(block)) state.SkipWithError("Base64 encoding failed");
    }
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kCodecSize));
}
BENCHMARK(BM_Base64EncodeBlocks)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

void BM_Base64DecodeBlocks(benchmark::State& state) {
  const std::string& bytes = TheInputs().codecBytes;
  NSAutoreleasePool outer;
  std::vector<NSString*> texts;
  for (size_t offset = 0; offset < bytes.size(); offset += kBlockSize) {
    texts.push_back(
        ZR::base64String(ns::dataWithBytes(bytes.data() + offset, std::min(kBlockSize, bytes.size() - offset))));
  }
  for (auto _ : state) {
    for (NSString* text : texts) {
      NSAutoreleasePool pool;
      if (!text || !ZR::dataWithBase64String(text)) state.SkipWithError("Base64 decoding failed");
    }
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kCodecSize));
}
BENCHMARK(BM_Base64DecodeBlocks)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

void BM_HexEncode(benchmark::State& state) {
  const std::string& bytes = TheInputs().hexBytes;
  CFDataRef data =
      CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(bytes.data()), static_cast<CFIndex>(bytes.size()));
  for (auto _ : state) {
    CFMutableStringRef text = nullptr;
    if (ZRCopyHexStringRefOfDataRef(data, true, &text) != noErr) {
      state.SkipWithError("hex failed");
      break;
    }
    CFRelease(text);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kHexSize));
  CFRelease(data);
}
BENCHMARK(BM_HexEncode)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

// The same bytes back from their text (made directly: one CFStringCreateWithBytes of the ASCII
// digits, not the appends).
CFStringRef MakeHexString(const std::string& bytes) {
  static const char kDigits[] = "0123456789abcdef";
  std::string text(bytes.size() * 2, '0');
  for (size_t i = 0; i < bytes.size(); ++i) {
    text[2 * i] = kDigits[static_cast<unsigned char>(bytes[i]) >> 4];
    text[2 * i + 1] = kDigits[static_cast<unsigned char>(bytes[i]) & 15];
  }
  return CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(text.data()),
                                 static_cast<CFIndex>(text.size()), kCFStringEncodingASCII, false);
}

void BM_HexDecode(benchmark::State& state) {
  CFStringRef text = MakeHexString(TheInputs().hexBytes);
  for (auto _ : state) {
    CFDataRef data = nullptr;
    if (!text || ZRCopyDataRefOfHexStringRef(text, true, &data) != noErr) {
      state.SkipWithError("hex decoding failed");
      break;
    }
    CFRelease(data);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kHexSize));
  if (text) CFRelease(text);
}
BENCHMARK(BM_HexDecode)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

// The floor of a whole-buffer call: no call that must hand back a result of N bytes can take
// less than allocating N fresh bytes and writing each of them once, which on virtual machines
// costs a page fault per 4 KiB, often more than the coding itself. Each floor is the size of one
// call's result as it is stored: the bytes of a C text or a data object, one byte per character
// of a string (the encoders' strings are ASCII, which strings keep one byte a character).
struct Floor {
  const char* name;
  size_t bytes;
};
constexpr size_t kBase32Text = (kCodecSize * 8 + 4) / 5;
constexpr size_t kBase64Text = (kCodecSize + 2) / 3 * 4;
const Floor kFloors[] = {
    {"Floor_Base32CText", kBase32Text + 1}, {"Floor_Base32String", kBase32Text}, {"Floor_CodecBytes", kCodecSize},
    {"Floor_Base64String", kBase64Text},    {"Floor_HexString", kHexSize * 2},   {"Floor_HexBytes", kHexSize},
};

void BM_Floor(benchmark::State& state, size_t bytes) {
  // Straight from the kernel, so that every page is fresh, as a large result's are: a block
  // from malloc may be memory an earlier run touched and freed.
  for (auto _ : state) {
    void* block = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (block == MAP_FAILED) {
      state.SkipWithError("no memory");
      break;
    }
    std::memset(block, 0x5A, bytes);
    benchmark::DoNotOptimize(block);
    benchmark::ClobberMemory();
    munmap(block, bytes);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
}

// Prints the table as usual and keeps each benchmark's times per iteration.
class RecordingReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type == Run::RT_Iteration && run.iterations > 0 && !run.error_occurred) {
        double iterations = static_cast<double>(run.iterations);
        times[run.run_name.function_name] = {run.real_accumulated_time / iterations,
                                             run.cpu_accumulated_time / iterations};
      }
    }
    ConsoleReporter::ReportRuns(runs);
  }
  std::map<std::string, Time> times;
};

// The summed times of the named benchmarks, invalid when one of them did not run.
Time Ours(const std::map<std::string, Time>& times, std::initializer_list<const char*> names) {
  Time total{0, 0};
  for (const char* name : names) {
    auto found = times.find(name);
    if (found == times.end()) return Time();
    total.wall += found->second.wall;
    total.cpu += found->second.cpu;
  }
  return total;
}

// The memory one call takes beyond what the process held before it: the call runs once in a
// child process (sharing the inputs with this one), whose peak resident size is reset to its
// size just before the call (/proc/self/clear_refs) and read after it with getrusage. In bytes;
// -1 when it could not be measured.
long long ExtraPeakOfCall(const std::function<void()>& call) {
  int pipeEnds[2];
  if (pipe(pipeEnds) != 0) return -1;
  pid_t child = fork();
  if (child < 0) return -1;
  if (child == 0) {
    close(pipeEnds[0]);
    long long extra = -1;
    FILE* clear = std::fopen("/proc/self/clear_refs", "w");
    FILE* statm = std::fopen("/proc/self/statm", "r");
    long pages = 0, resident = 0;
    if (clear && statm && std::fputs("5", clear) >= 0 && std::fflush(clear) == 0 &&
        std::fscanf(statm, "%ld %ld", &pages, &resident) == 2) {
      call();
      struct rusage usage;
      getrusage(RUSAGE_SELF, &usage);
      extra = static_cast<long long>(usage.ru_maxrss) * 1024 - static_cast<long long>(resident) * sysconf(_SC_PAGESIZE);
    }
    if (write(pipeEnds[1], &extra, sizeof extra) != sizeof extra) _exit(1);
    _exit(0);
  }
  close(pipeEnds[1]);
  long long extra = -1;
  if (read(pipeEnds[0], &extra, sizeof extra) != sizeof extra) extra = -1;
  close(pipeEnds[0]);
  int status = 0;
  waitpid(child, &status, 0);
  return extra;
}

// The process's own small allocations during a call (a few objects, the pool, the libraries'
// first use): allowed beside the result and the text copy.
constexpr size_t kPeakSlack = size_t{2} << 20;

void PrintPeak(const char* what, long long extra, size_t result, size_t textCopy) {
  constexpr double kMiB = 1 << 20;
  size_t allowed = result + textCopy + kPeakSlack;
  if (extra < 0) {
    std::printf("%-34s %9s   %9.1f   not measured\n", what, "-", allowed / kMiB);
    return;
  }
  std::printf("%-34s %9.1f   %9.1f   %s\n", what, static_cast<double>(extra) / kMiB, allowed / kMiB,
              static_cast<size_t>(extra) <= allowed ? "met" : "not met");
}

void PrintFloor(const char* what, Time ours, Time floor) {
  if (!ours.valid() || !floor.valid()) return;
  double wallRatio = ours.wall / floor.wall;
  double cpuRatio = ours.cpu / floor.cpu;
  std::printf(
      "%-34s %9.1f %9.1f %9.1f %9.1f   %5.2f %5.2f   <= 1.25 %s\n", what, ours.wall * 1e3, ours.cpu * 1e3,
      floor.wall * 1e3, floor.cpu * 1e3, wallRatio, cpuRatio,
      wallRatio <= 1.25 && cpuRatio <= 1.25 ? "met" : (wallRatio <= 1.25 || cpuRatio <= 1.25 ? "partly" : "not met"));
}

void PrintRatio(const char* what, Time ours, const char* tool, Time theirs, double goal, size_t bytes) {
  if (!ours.valid()) return;
  double mib = static_cast<double>(bytes) / (1 << 20);
  if (!theirs.valid()) {
    std::printf("%-34s %7.1f %7.1f   %-24s   not available\n", what, mib / ours.wall, mib / ours.cpu, tool);
    return;
  }
  double wallRatio = theirs.wall / ours.wall;
  double cpuRatio = theirs.cpu / ours.cpu;
  std::printf(
      "%-34s %7.1f %7.1f   %-24s %7.1f %7.1f   %5.2f %5.2f   >= %.1f %s\n", what, mib / ours.wall, mib / ours.cpu, tool,
      mib / theirs.wall, mib / theirs.cpu, wallRatio, cpuRatio, goal,
      wallRatio >= goal && cpuRatio >= goal ? "met" : (wallRatio >= goal || cpuRatio >= goal ? "partly" : "not met"));
}

}  // namespace

int main(int argc, char** argv) {
  NSAutoreleasePool pool;
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  if (!Prepare()) {
    std::fprintf(stderr, "cannot make a folder under /tmp\n");
    return 1;
  }
  for (const Floor& floor : kFloors) {
    benchmark::RegisterBenchmark(floor.name, BM_Floor, floor.bytes)
        ->Unit(benchmark::kMillisecond)
        ->UseRealTime()
        ->Iterations(3);
  }
  RecordingReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);

  const Inputs& in = TheInputs();
  const std::map<std::string, Time>& ours = reporter.times;
  auto ran = [&](std::initializer_list<const char*> names) {
    for (const char* name : names) {
      if (ours.count(name)) return true;
    }
    return false;
  };
  auto tool = [&](bool wanted, const std::string& command) { return wanted ? TimeCommand(command) : Time(); };
  Time sha1 = tool(ran({"BM_SHA1File"}), "openssl sha1 '" + in.digestFile + "' > /dev/null 2>&1");
  bool base32 = ran({"BM_Base32Encode", "BM_Base32Decode", "BM_Base32CategoryEncode", "BM_Base32CategoryDecode",
                     "BM_Base32EncodeBlocks", "BM_Base32DecodeBlocks"});
  Time base32Encode = tool(base32, "base32 -w0 '" + in.codecFile + "' > /dev/null 2>&1");
  Time base32Decode = tool(base32, "base32 -d '" + in.base32File + "' > /dev/null 2>&1");
  bool base64 = ran({"BM_Base64Encode", "BM_Base64Decode", "BM_Base64EncodeBlocks", "BM_Base64DecodeBlocks"});
  Time base64Encode = tool(base64, "base64 -w0 '" + in.codecFile + "' > /dev/null 2>&1");
  Time base64Decode = tool(base64, "base64 -d '" + in.base64File + "' > /dev/null 2>&1");
  Time hex = tool(ran({"BM_HexEncode"}), "xxd -p '" + in.hexFile + "' > /dev/null 2>&1");

  std::printf(
      "\nThroughput in MiB/s beside the usual tools on the same bytes (best of 3 runs of each tool).\n"
      "Ratio = the tool's time / ours, on the clock and on the processor; above 1 is faster than the tool.\n");
  std::printf("%-34s %7s %7s   %-24s %7s %7s   %5s %5s   %s\n", "", "wall", "cpu", "tool", "wall", "cpu", "wall", "cpu",
              "goal");
  const size_t codec = kCodecSize;
  PrintRatio("SHA-1 of 1 GiB", Ours(ours, {"BM_SHA1File"}), "openssl sha1", sha1, 0.9, kDigestFileSize);
  PrintRatio("Base32 encode 256 MiB (C)", Ours(ours, {"BM_Base32Encode"}), "base32 -w0", base32Encode, 1.0, codec);
  PrintRatio("Base32 decode 256 MiB (C)", Ours(ours, {"BM_Base32Decode"}), "base32 -d", base32Decode, 1.0, codec);
  PrintRatio("Base32 enc+dec 256 MiB (C)", Ours(ours, {"BM_Base32Encode", "BM_Base32Decode"}), "base32 -w0 + base32 -d",
             base32Encode + base32Decode, 1.0, codec);
  PrintRatio("Base32 enc+dec 1 MiB blocks (C)", Ours(ours, {"BM_Base32EncodeBlocks", "BM_Base32DecodeBlocks"}),
             "base32 -w0 + base32 -d", base32Encode + base32Decode, 1.0, codec);
  PrintRatio("Base32 enc+dec 256 MiB (NSData)", Ours(ours, {"BM_Base32CategoryEncode", "BM_Base32CategoryDecode"}),
             "base32 -w0 + base32 -d", base32Encode + base32Decode, 1.0, codec);
  PrintRatio("Base64 encode 256 MiB", Ours(ours, {"BM_Base64Encode"}), "base64 -w0", base64Encode, 0.5, codec);
  PrintRatio("Base64 decode 256 MiB", Ours(ours, {"BM_Base64Decode"}), "base64 -d", base64Decode, 0.5, codec);
  PrintRatio("Base64 enc+dec 256 MiB", Ours(ours, {"BM_Base64Encode", "BM_Base64Decode"}), "base64 -w0 + base64 -d",
             base64Encode + base64Decode, 0.5, codec);
  PrintRatio("Base64 encode 1 MiB blocks", Ours(ours, {"BM_Base64EncodeBlocks"}), "base64 -w0", base64Encode, 0.5,
             codec);
  PrintRatio("Base64 decode 1 MiB blocks", Ours(ours, {"BM_Base64DecodeBlocks"}), "base64 -d", base64Decode, 0.5,
             codec);
  PrintRatio("Base64 enc+dec 1 MiB blocks", Ours(ours, {"BM_Base64EncodeBlocks", "BM_Base64DecodeBlocks"}),
             "base64 -w0 + base64 -d", base64Encode + base64Decode, 0.5, codec);
  PrintRatio("hex encode 32 MiB", Ours(ours, {"BM_HexEncode"}), "xxd -p", hex, 1.0, kHexSize);

  std::printf(
      "\nWhole-buffer calls beside the floor measured in the same run: allocating the bytes the\n"
      "result holds and writing each once (milliseconds on the clock and on the processor;\n"
      "ratio = ours / floor, on the clock and on the processor).\n");
  std::printf("%-34s %9s %9s %9s %9s   %5s %5s   %s\n", "", "ours", "cpu", "floor", "cpu", "wall", "cpu", "goal");
  PrintFloor("Base32 encode 256 MiB (C)", Ours(ours, {"BM_Base32Encode"}), Ours(ours, {"Floor_Base32CText"}));
  PrintFloor("Base32 decode 256 MiB (C)", Ours(ours, {"BM_Base32Decode"}), Ours(ours, {"Floor_CodecBytes"}));
  PrintFloor("Base32 encode 256 MiB (NSData)", Ours(ours, {"BM_Base32CategoryEncode"}),
             Ours(ours, {"Floor_Base32String"}));
  PrintFloor("Base32 decode 256 MiB (NSData)", Ours(ours, {"BM_Base32CategoryDecode"}),
             Ours(ours, {"Floor_CodecBytes"}));
  PrintFloor("Base64 encode 256 MiB", Ours(ours, {"BM_Base64Encode"}), Ours(ours, {"Floor_Base64String"}));
  PrintFloor("Base64 decode 256 MiB", Ours(ours, {"BM_Base64Decode"}), Ours(ours, {"Floor_CodecBytes"}));
  PrintFloor("hex encode 32 MiB (%02x appends)", Ours(ours, {"BM_HexEncode"}), Ours(ours, {"Floor_HexString"}));
  PrintFloor("hex decode 32 MiB", Ours(ours, {"BM_HexDecode"}), Ours(ours, {"Floor_HexBytes"}));

  if (ran({"BM_Base32Encode", "BM_Base64Encode", "BM_HexEncode"})) {
    std::printf(
        "\nMemory of one whole-buffer call beyond the input, in a child process (MiB): the peak\n"
        "resident size it adds, against the goal of the result and one copy of the text (and 2 MiB\n"
        "for the process's own small allocations).\n");
    std::printf("%-34s %9s   %9s   %s\n", "", "extra", "allowed", "goal");
    const std::string& bytes = in.codecBytes;
    NSData* data = ns::dataWithBytes(bytes.data(), bytes.size());
    PrintPeak("Base32 encode 256 MiB (C)", ExtraPeakOfCall([&] {
                char* text = nullptr;
                ZRCopyBase32BufferOfBuffer(bytes.data(), static_cast<UInt32>(bytes.size()), &text);
              }),
              kBase32Text + 1, 0);
    char* base32 = nullptr;
    ZRCopyBase32BufferOfBuffer(bytes.data(), static_cast<UInt32>(bytes.size()), &base32);
    PrintPeak("Base32 decode 256 MiB (C)", ExtraPeakOfCall([&] {
                void* decoded = nullptr;
                if (base32) ZRCopyBufferOfBase32Buffer(base32, &decoded);
              }),
              kCodecSize, 0);
    free(base32);
    PrintPeak("Base32 encode 256 MiB (NSData)", ExtraPeakOfCall([&] { ZR::base32String(data); }), kBase32Text,
              kBase32Text);
    NSString* base32String = ZR::base32String(data);
    PrintPeak("Base32 decode 256 MiB (NSData)", ExtraPeakOfCall([&] { ZR::dataWithBase32String(base32String); }),
              kCodecSize, kBase32Text);
    PrintPeak("Base64 encode 256 MiB", ExtraPeakOfCall([&] { ZR::base64String(data); }), kBase64Text, kBase64Text);
    NSString* base64String = ZR::base64String(data);
    PrintPeak("Base64 decode 256 MiB", ExtraPeakOfCall([&] { ZR::dataWithBase64String(base64String); }), kCodecSize,
              kBase64Text);
    CFDataRef hexData = CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(in.hexBytes.data()),
                                     static_cast<CFIndex>(in.hexBytes.size()));
    PrintPeak("hex encode 32 MiB (%02x appends)", ExtraPeakOfCall([&] {
                CFMutableStringRef text = nullptr;
                ZRCopyHexStringRefOfDataRef(hexData, false, &text);
              }),
              kHexSize * 2, kHexSize * 2);
    CFRelease(hexData);
    CFStringRef hexText = MakeHexString(in.hexBytes);
    PrintPeak("hex decode 32 MiB", ExtraPeakOfCall([&] {
                CFDataRef decoded = nullptr;
                ZRCopyDataRefOfHexStringRef(hexText, false, &decoded);
              }),
              kHexSize, kHexSize * 2);
    if (hexText) CFRelease(hexText);
  }

  CleanUp();
  benchmark::Shutdown();
  return 0;
}
