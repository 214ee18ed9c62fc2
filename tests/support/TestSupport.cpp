// TestSupport.cpp: helpers shared by the test suites.
#include "TestSupport.h"

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <thread>

namespace zrtest {

LogCapture::LogCapture() { ZRTestingSetLogSink(&LogCapture::Sink, this); }

LogCapture::~LogCapture() { ZRTestingSetLogSink(nullptr, nullptr); }

void LogCapture::Sink(const char* message, void* context) {
  static_cast<LogCapture*>(context)->lines_.emplace_back(message);
}

void LeakCheckedTest::SetUp() { liveObjects_ = ZRTestingLiveObjectCount(); }

void LeakCheckedTest::TearDown() {
  ZRTestingFailAllocation(0);
  EXPECT_EQ(ZRTestingLiveObjectCount(), liveObjects_) << "objects leaked";
}

void PrivatePreferencesTest::SetUp() {
  configHome_ = MakeTemporaryFolder(::testing::UnitTest::GetInstance()->current_test_info()->test_suite_name());
  ASSERT_FALSE(configHome_.empty());
  setenv("XDG_CONFIG_HOME", configHome_.c_str(), 1);
  UseLocale("en_US.UTF-8");
}

void PrivatePreferencesTest::TearDown() {
  if (!configHome_.empty()) {
    EXPECT_TRUE(RemoveFolder(configHome_)) << configHome_;
  }
}

namespace {

// The loop of both allocation-failure helpers, over one seam.
void ExpectFailuresHandled(const AllocationSeam& seam, long limit, const std::function<CFTypeRef()>& create,
                           const std::function<bool(CFTypeRef)>& isComplete) {
  auto arm = seam.fail;
  auto pending = seam.pending;
  long live = ZRTestingLiveObjectCount();
  bool failed = false;
  bool succeeded = false;
  for (long n = 1; n <= limit && !succeeded; ++n) {
    arm(n);
    CFTypeRef object = nullptr;
    try {
      object = create();
    } catch (...) {
      ADD_FAILURE() << "an exception left the call at allocation " << n;
    }
    bool stillPending = pending();
    arm(0);
    if (object) {
      bool complete = !isComplete || isComplete(object);
      succeeded = stillPending && complete;
      CFRelease(object);
    } else {
      failed = true;
    }
    EXPECT_EQ(ZRTestingLiveObjectCount(), live) << "allocation " << n;
  }
  EXPECT_TRUE(failed) << "no failed allocation made the call return NULL";
  EXPECT_TRUE(succeeded) << "no call gave the full answer within " << limit << " allocations";
}

}  // namespace

const std::vector<AllocationSeam>& AllocationSeams() {
  static const std::vector<AllocationSeam> seams = {
      {"host allocations", ZRTestingFailAllocation, ZRTestingFailurePending},
      {"C++ allocations", ZRTestingFailCxxAllocation, ZRTestingCxxFailurePending}};
  return seams;
}

void ExpectAllocationFailuresHandled(long limit, const std::function<CFTypeRef()>& create,
                                     const std::function<bool(CFTypeRef)>& isComplete) {
  ExpectFailuresHandled(AllocationSeams()[0], limit, create, isComplete);
}

void ExpectCxxAllocationFailuresHandled(long limit, const std::function<CFTypeRef()>& create,
                                        const std::function<bool(CFTypeRef)>& isComplete) {
  ExpectFailuresHandled(AllocationSeams()[1], limit, create, isComplete);
}

void ExpectFailureLinesOnlyWithInLog(LogCapture* log, long failingAllocation, OSStatus status,
                                     const std::vector<std::string>& lines,
                                     const std::function<OSStatus(Boolean inLog)>& call) {
  ExpectFailureLinesOnlyWithInLog(log, AllocationSeams()[0], failingAllocation, status, lines, call);
}

void ExpectFailureLinesOnlyWithInLog(LogCapture* log, const AllocationSeam& seam, long failingAllocation,
                                     OSStatus status, const std::vector<std::string>& lines,
                                     const std::function<OSStatus(Boolean inLog)>& call) {
  for (Boolean inLog : {true, false}) {
    log->clear();
    if (failingAllocation > 0) seam.fail(failingAllocation);
    EXPECT_EQ(call(inLog), status) << "inLog " << int{inLog};
    if (failingAllocation > 0) {
      EXPECT_FALSE(seam.pending()) << seam.name << ": allocation " << failingAllocation << " not reached";
      seam.fail(0);
    }
    EXPECT_EQ(WithoutLines(log->lines()), inLog ? lines : std::vector<std::string>()) << "inLog " << int{inLog};
  }
  log->clear();
}

std::string Utf8(CFTypeRef string) {
  if (!string) return "<NULL>";
  CFStringRef text = static_cast<CFStringRef>(string);
  CFIndex size = CFStringGetMaximumSizeForEncoding(CFStringGetLength(text), kCFStringEncodingUTF8) + 1;
  std::string buffer(static_cast<size_t>(size), '\0');
  if (!CFStringGetCString(text, buffer.data(), size, kCFStringEncodingUTF8)) return "<unconvertible>";
  buffer.resize(std::char_traits<char>::length(buffer.c_str()));
  return buffer;
}

std::string Description(CFTypeRef object) {
  CFStringRef text = CFCopyDescription(object);
  std::string description = Utf8(text);
  if (text) CFRelease(text);
  return description;
}

CFStringRef MakeString(const std::string& utf8) {
  return CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(utf8.data()),
                                 static_cast<CFIndex>(utf8.size()), kCFStringEncodingUTF8, false);
}

CFStringRef MakeUnits(const std::u16string& units) {
  return CFStringCreateWithCharacters(nullptr, reinterpret_cast<const UniChar*>(units.data()),
                                      static_cast<CFIndex>(units.size()));
}

std::u16string Units(CFStringRef string) {
  if (!string) return u"<NULL>";
  std::u16string units(static_cast<size_t>(CFStringGetLength(string)), u'\0');
  CFStringGetCharacters(string, CFRangeMake(0, CFStringGetLength(string)), reinterpret_cast<UniChar*>(units.data()));
  return units;
}

CFDataRef MakeData(const std::string& bytes) {
  return CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(bytes.data()), static_cast<CFIndex>(bytes.size()));
}

CFNumberRef Number(int value) { return CFNumberCreate(nullptr, kCFNumberIntType, &value); }

int IntOf(const void* number) {
  int value = 0;
  CFNumberGetValue(static_cast<CFNumberRef>(number), kCFNumberIntType, &value);
  return value;
}

NSString* AutoreleasedString(const std::string& utf8) {
  CFStringRef string = MakeString(utf8);
  if (!string) return nil;
  return const_cast<NSString*>(static_cast<CFStringRef>(CFAutorelease(string)));
}

NSString* AutoreleasedStringOfUnits(const std::u16string& units) {
  CFStringRef string = CFStringCreateWithCharacters(nullptr, reinterpret_cast<const UniChar*>(units.data()),
                                                    static_cast<CFIndex>(units.size()));
  if (!string) return nil;
  return const_cast<NSString*>(static_cast<CFStringRef>(CFAutorelease(string)));
}

NSData* AutoreleasedData(const std::string& bytes) { return ns::dataWithBytes(bytes.data(), bytes.size()); }

std::string Bytes(CFDataRef data) {
  return std::string(reinterpret_cast<const char*>(CFDataGetBytePtr(data)), static_cast<size_t>(CFDataGetLength(data)));
}

std::string RandomBytes(size_t length, std::mt19937* generator) {
  std::uniform_int_distribution<int> byte(0, 255);
  std::string bytes(length, '\0');
  for (char& c : bytes) c = static_cast<char>(byte(*generator));
  return bytes;
}

std::string MakeTemporaryFolder(const std::string& name) {
  std::error_code error;
  std::filesystem::path folder = std::filesystem::temp_directory_path(error);
  if (error) return std::string();
  std::string pattern = (folder / (name + ".XXXXXX")).string();
  if (!mkdtemp(pattern.data())) return std::string();
  return pattern;
}

std::string RunUnprivileged(const std::function<std::string()>& body) {
  // Looked up before fork: the child does nothing but drop its privileges, run the body and write.
  uid_t uid = 65534;
  gid_t gid = 65534;
  if (const struct passwd* nobody = getpwnam("nobody")) {
    uid = nobody->pw_uid;
    gid = nobody->pw_gid;
  }
  bool root = geteuid() == 0;
  int channel[2];
  if (pipe2(channel, O_CLOEXEC) != 0) {
    ADD_FAILURE() << "pipe2: " << std::strerror(errno);
    return std::string();
  }
  std::fflush(nullptr);
  pid_t child = fork();
  if (child < 0) {
    ADD_FAILURE() << "fork: " << std::strerror(errno);
    close(channel[0]);
    close(channel[1]);
    return std::string();
  }
  if (child == 0) {
    close(channel[0]);
    if (root && (setgroups(0, nullptr) != 0 || setgid(gid) != 0 || setuid(uid) != 0 || geteuid() == 0)) _exit(3);
    std::string result = body();
    for (size_t written = 0; written < result.size();) {
      ssize_t count = write(channel[1], result.data() + written, result.size() - written);
      if (count < 0 && errno == EINTR) continue;
      if (count <= 0) _exit(4);
      written += static_cast<size_t>(count);
    }
    // _exit: the child's copy of the test program must not run its exit handlers (or leak checks).
    _exit(0);
  }
  close(channel[1]);
  std::string result;
  char block[4096];
  for (;;) {
    ssize_t count = read(channel[0], block, sizeof block);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) break;
    result.append(block, static_cast<size_t>(count));
  }
  close(channel[0]);
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    ADD_FAILURE() << "the unprivileged child failed (wait status " << status << ")";
    return std::string();
  }
  return result;
}

bool RemoveFolder(const std::string& path) {
  std::error_code error;
  std::filesystem::remove_all(path, error);
  return !error;
}

std::string UserAttributesUnsupported(const std::string& folder) {
  std::string probe = folder + "/.attribute-probe";
  if (!WriteFile(probe, "")) return "cannot write a file in " + folder;
  std::string reason;
  if (setxattr(probe.c_str(), "probe", "1", 1, 0, XATTR_NOFOLLOW) != 0) {
    reason = "the file system of " + folder + " refuses user attributes: " + strerror(errno);
  }
  unlink(probe.c_str());
  return reason;
}

size_t LargestAttributeValue(const std::string& file, const char* name) {
  // Values up to `low` fit, `high` does not.
  size_t low = 0;
  size_t high = 1 << 24;
  std::string value(high, 'v');
  while (high - low > 1) {
    size_t middle = low + (high - low) / 2;
    if (setxattr(file.c_str(), name, value.data(), middle, 0, XATTR_NOFOLLOW) == 0) {
      low = middle;
    } else {
      high = middle;
    }
  }
  removexattr(file.c_str(), name, XATTR_NOFOLLOW);
  return low;
}

bool WriteFile(const std::string& path, const std::string& bytes) {
  std::error_code error;
  std::filesystem::path parent = std::filesystem::path(path).parent_path();
  if (!parent.empty()) std::filesystem::create_directories(parent, error);
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  file.close();
  return !file.fail();
}

bool RunPython(const std::string& script, const std::string& input, std::string* output) {
  std::string folder = MakeTemporaryFolder("python");
  if (folder.empty()) return false;
  std::string scriptPath = folder + "/script.py";
  std::string inputPath = folder + "/input";
  bool ran = false;
  if (WriteFile(scriptPath, script) && WriteFile(inputPath, input)) {
    std::string command = "/usr/bin/python3 '" + scriptPath + "' < '" + inputPath + "'";
    if (FILE* pipe = popen(command.c_str(), "r")) {
      output->clear();
      char buffer[4096];
      size_t got;
      while ((got = fread(buffer, 1, sizeof buffer, pipe)) > 0) output->append(buffer, got);
      ran = pclose(pipe) == 0;
    }
  }
  RemoveFolder(folder);
  return ran;
}

std::string XMLPropertyList(const std::string& body) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
         "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
         "<plist version=\"1.0\">\n" +
         body + "</plist>\n";
}

void SetLocaleEnvironment(const std::vector<std::pair<const char*, const char*>>& variables) {
  for (const char* name : {"LANGUAGE", "LC_ALL", "LC_MESSAGES", "LC_NUMERIC", "LC_COLLATE", "LANG"}) unsetenv(name);
  for (const auto& [name, value] : variables) setenv(name, value, 1);
  ZRTestingLocaleSettingsChanged();
}

void UseLocale(const char* name) { SetLocaleEnvironment({{"LC_ALL", name}, {"LANG", name}}); }

std::string Pointer(const void* pointer) {
  // glibc prints "(nil)" for NULL; the platform prints "0x0".
  if (!pointer) return "0x0";
  char text[32];
  std::snprintf(text, sizeof text, "%p", pointer);
  return text;
}

std::string WithoutLine(const std::string& errorLine) {
  static const std::regex kLine(",[0-9]+\\)$");
  return std::regex_replace(errorLine, kLine, ")");
}

std::vector<std::string> WithoutLines(const std::vector<std::string>& lines) {
  std::vector<std::string> result;
  for (const std::string& line : lines) result.push_back(WithoutLine(line));
  return result;
}

std::string ErrorLine(const char* function, const std::string& message) {
  return "ERROR " + message + " (" + function + ")";
}

std::string FormattedErrorLine(const char* function, CFStringRef format, ...) {
  va_list arguments;
  va_start(arguments, format);
  CFStringRef message = CFStringCreateWithFormatAndArguments(nullptr, nullptr, format, arguments);
  va_end(arguments);
  std::string line = ErrorLine(function, Utf8(message));
  if (message) CFRelease(message);
  return line;
}

bool AddDrmConnector(const std::string& root, int card, const std::string& connector, const std::string& status,
                     const std::string& modes) {
  std::string drm = root + "/class/drm/";
  std::string name = "card" + std::to_string(card);
  return WriteFile(drm + name + "/dev", "226:" + std::to_string(card) + "\n") &&
         WriteFile(drm + name + "-" + connector + "/status", status + "\n") &&
         WriteFile(drm + name + "-" + connector + "/enabled", status == "connected" ? "enabled\n" : "disabled\n") &&
         WriteFile(drm + name + "-" + connector + "/modes", modes);
}

bool AddDrmRenderNode(const std::string& root, int card) {
  std::string device = root + "/class/drm/card" + std::to_string(card) + "/device/drm/";
  return WriteFile(device + "card" + std::to_string(card) + "/dev", "226:0\n") &&
         WriteFile(device + "renderD" + std::to_string(128 + card) + "/dev", "226:128\n");
}

bool MakeApplicationBundle(const std::string& folder, const std::string& name, const std::string& signature,
                           const std::string& identifier, const std::string& executable) {
  std::string contents = folder + "/" + name + ".app/Contents";
  std::string body = "<dict>\n\t<key>CFBundleExecutable</key>\n\t<string>" + name +
                     "</string>\n\t<key>CFBundleIdentifier</key>\n\t<string>" + identifier +
                     "</string>\n\t<key>CFBundlePackageType</key>\n\t<string>APPL</string>\n";
  if (!signature.empty()) body += "\t<key>CFBundleSignature</key>\n\t<string>" + signature + "</string>\n";
  body += "</dict>\n";
  if (!WriteFile(contents + "/Info.plist", XMLPropertyList(body))) return false;
  std::error_code error;
  std::filesystem::create_directories(contents + "/MacOS", error);
  if (error) return false;
  if (executable.empty()) return true;
  std::filesystem::copy_file(executable, contents + "/MacOS/" + name, error);
  return !error;
}

bool StopProcess(pid_t pid) {
  if (pid <= 0) return false;
  kill(pid, SIGKILL);
  for (int i = 0; i < 500; ++i) {
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string line;
    if (!stat || !std::getline(stat, line)) return true;
    size_t close = line.rfind(')');
    if (close != std::string::npos && close + 2 < line.size() && (line[close + 2] == 'Z' || line[close + 2] == 'X')) {
      return true;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return false;
}

bool StopApplications(OSType signature) {
  ProcessSerialNumber psn;
  while (ZRApplicationWithSignatureIsRunning(signature, &psn)) {
    pid_t pid = -1;
    if (GetProcessPID(&psn, &pid) != noErr || !StopProcess(pid)) return false;
  }
  return true;
}

ToolResult RunTool(const std::string& toolPath, const std::string& arguments, const std::string& input,
                   const std::string& folder, bool onTerminal) {
  ToolResult result;
  std::string in = folder + "/in", out = folder + "/out", err = folder + "/err";
  if (!WriteFile(in, input)) return result;
  std::string command = "'" + toolPath + "' " + arguments;
  std::string line = onTerminal ? "script -qec \"" + command + "\" /dev/null" : command;
  line += " <'" + in + "' >'" + out + "' 2>'" + err + "'";
  int status = std::system(line.c_str());
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  auto readAll = [](const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  };
  result.out = readAll(out);
  result.err = readAll(err);
  return result;
}

}  // namespace zrtest
