// TestSupport.h: helpers shared by the test suites: log capture, ERROR lines, strings and data as
// test values, random bytes, and the leak-checking fixture.
#pragma once

#include <ZRFramework/ZRFramework.h>
#include <ZRPlatform/Testing.h>
#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace zrtest {

// Captures every NSLog message (the text without the date and process prefix) while alive.
class LogCapture {
 public:
  LogCapture();
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  const std::vector<std::string>& lines() const { return lines_; }
  void clear() { lines_.clear(); }

 private:
  static void Sink(const char* message, void* context);
  std::vector<std::string> lines_;
};

// Fails a test that ends with more or fewer live host objects than it began with. Fixtures that
// hold an autorelease pool drain it in their own TearDown before calling this one.
class LeakCheckedTest : public ::testing::Test {
 protected:
  void SetUp() override;
  // Disarms an allocation failure the test left pending, then compares the counts.
  void TearDown() override;

  long liveObjects_ = 0;
};

// Runs each test in en_US.UTF-8 with a preferences folder of its own (XDG_CONFIG_HOME): made
// empty before the test, and removed with everything in it after the test.
class PrivatePreferencesTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  std::string configHome_;
};

// One of the two allocation seams: how to make the n-th allocation fail (n <= 0 disarms) and
// whether that failure is still to come.
struct AllocationSeam {
  const char* name;
  void (*fail)(long n);
  Boolean (*pending)();
};

// The seams of the host's allocations (ZRTestingFailAllocation) and of C++ allocations
// (ZRTestingFailCxxAllocation), in that order, for tests that run a call under each.
const std::vector<AllocationSeam>& AllocationSeams();

// Runs `call` twice, first with inLog true and then false, each time with the n-th allocation on
// this thread failing when failingAllocation > 0 (expecting that failure to be reached): expects
// both runs to return `status`, the first to write exactly `lines` (compared without line numbers)
// and the second to write nothing. The log is cleared before each run. `call` releases what it
// made, and may check its out-parameters itself.
void ExpectFailureLinesOnlyWithInLog(LogCapture* log, long failingAllocation, OSStatus status,
                                     const std::vector<std::string>& lines,
                                     const std::function<OSStatus(Boolean inLog)>& call);
// The same with the n-th allocation of the seam given failing.
void ExpectFailureLinesOnlyWithInLog(LogCapture* log, const AllocationSeam& seam, long failingAllocation,
                                     OSStatus status, const std::vector<std::string>& lines,
                                     const std::function<OSStatus(Boolean inLog)>& call);

// Calls `create` with its 1st, 2nd, ... allocation failing, at most `limit` times, until a call
// returns an object without having reached its armed failure. `isComplete`, when given, looks at
// each object returned (it may check it) and tells whether it is the full answer rather than one
// that a failure cut short; only a full answer ends the loop. Each object is released. Expects
// every call to leave the live-object count as it found it, at least one call to return NULL,
// and the loop to end with a full answer.
void ExpectAllocationFailuresHandled(long limit, const std::function<CFTypeRef()>& create,
                                     const std::function<bool(CFTypeRef)>& isComplete = nullptr);

// The same with the n-th C++ allocation failing (ZRTestingFailCxxAllocation) instead: also
// expects no exception to leave `create`.
void ExpectCxxAllocationFailuresHandled(long limit, const std::function<CFTypeRef()>& create,
                                        const std::function<bool(CFTypeRef)>& isComplete = nullptr);

// The string's characters as UTF-8; "<NULL>" for NULL, "<unconvertible>" when the characters
// have no UTF-8 form (a lone surrogate). The text ends at the first NUL character.
std::string Utf8(CFTypeRef string);

// The object's description (what %@ prints) as UTF-8, as Utf8 gives it; "<NULL>" when there is
// no description.
std::string Description(CFTypeRef object);

// A new string from UTF-8 text (the caller releases it); NULL when the text is not UTF-8.
CFStringRef MakeString(const std::string& utf8);

// A new string of exactly these UTF-16 units, lone surrogates included (the caller releases it).
CFStringRef MakeUnits(const std::u16string& units);

// The string's UTF-16 units; u"<NULL>" for NULL.
std::u16string Units(CFStringRef string);

// New data holding a copy of the bytes (the caller releases it); empty data for "".
CFDataRef MakeData(const std::string& bytes);

// A new number holding the int (the caller releases it).
CFNumberRef Number(int value);

// The number's value as an int, converted as CFNumberGetValue converts it; 0 for a number that
// gives no value.
int IntOf(const void* number);

// An autoreleased string from UTF-8 text; NULL when the text is not UTF-8. Needs a pool.
NSString* AutoreleasedString(const std::string& utf8);

// An autoreleased string of the UTF-16 units, NUL characters included. Needs a pool.
NSString* AutoreleasedStringOfUnits(const std::u16string& units);

// Autoreleased data holding a copy of the bytes; empty data for "". Needs a pool.
NSData* AutoreleasedData(const std::string& bytes);

// The data's bytes; "" for empty data.
std::string Bytes(CFDataRef data);

// `length` bytes from the generator, every value 0 to 255 alike; "" for length 0.
std::string RandomBytes(size_t length, std::mt19937* generator);

// A new empty folder "<temporary folder>/<name>.XXXXXX" for a test's own files; "" when none
// could be made.
std::string MakeTemporaryFolder(const std::string& name);

// Removes the folder and everything in it. True when nothing of it is left, a folder that was
// already gone included.
bool RemoveFolder(const std::string& path);

// Runs `body` in a child process that first becomes the unprivileged user "nobody" (its group too,
// with no supplementary groups) when this process runs as root, so that file modes hold for it as
// for any user; otherwise the child keeps this process's user. Returns what the body returned, or
// records a test failure and returns "" when the child could not give up root or did not finish.
// GoogleTest's assertions made in the child are lost with it: the body returns what it saw, as
// text, and the test compares that.
std::string RunUnprivileged(const std::function<std::string()>& body);

// Writes the bytes to the file, replacing what it held and making the folders above it that are
// missing. False when the bytes could not all be written.
bool WriteFile(const std::string& path, const std::string& bytes);

// "" when files in the folder take user extended attributes; else why not ("... refuses user
// attributes: <error>"), for the test to print when it skips.
std::string UserAttributesUnsupported(const std::string& folder);

// The largest value, in bytes, that the user extended attribute `name` of the file can hold
// (found by trying, the attribute removed afterwards): file systems limit it differently (ext4:
// what is left of a block beside the file's other attributes and the name).
size_t LargestAttributeValue(const std::string& file, const char* name);

// Runs Debian's python3 (/usr/bin/python3) on the script with the bytes as its standard input;
// true, with its standard output in *output, when it ran and exited with status 0. For checks
// against an independent implementation (plistlib).
bool RunPython(const std::string& script, const std::string& input, std::string* output);

// The text of an XML property-list file: the XML declaration, the platform's DOCTYPE line and
// "<plist version="1.0">" on lines of their own, then the body as given and "</plist>\n".
std::string XMLPropertyList(const std::string& body);

// Unsets the locale variables LANGUAGE, LC_ALL, LC_MESSAGES, LC_NUMERIC, LC_COLLATE and LANG, then
// sets the given ones and tells the host that the locale settings changed; with none given the
// process falls back to the POSIX locale.
void SetLocaleEnvironment(const std::vector<std::pair<const char*, const char*>>& variables);

// SetLocaleEnvironment with LC_ALL and LANG both naming the POSIX locale, such as "de_DE.UTF-8".
void UseLocale(const char* name);

// What %p prints for a pointer, as the platform writes it: "0x0" for NULL, else "0x" and hex.
std::string Pointer(const void* pointer);

// The ERROR line that ZR_LOG_ERROR writes: "ERROR <message> (<function>,<line>)" without the line
// number, for comparisons that must not depend on where in the source the check stands.
std::string WithoutLine(const std::string& errorLine);

// WithoutLine of each line, in order; empty for no lines.
std::vector<std::string> WithoutLines(const std::vector<std::string>& lines);

// The ERROR line of `function` for the message, without a line number: "ERROR <message> (<function>)".
std::string ErrorLine(const char* function, const std::string& message);

// ErrorLine with the message made from a format of the host (%@ and the printf conversions).
std::string FormattedErrorLine(const char* function, CFStringRef format, ...);

// Lays out a DRM connector "card<card>-<connector>" (such as "HDMI-A-1") in a fixture sysfs tree
// under root, as the kernel shows one: its status ("connected", "disconnected") and its modes
// (the preferred one first, "" for none). False when the files could not be written.
bool AddDrmConnector(const std::string& root, int card, const std::string& connector, const std::string& status,
                     const std::string& modes);

// Gives card<card> of a fixture sysfs tree a render node, as a GPU's device has.
bool AddDrmRenderNode(const std::string& root, int card);

// Lays out the application bundle "<folder>/<name>.app" with an Info.plist of the signature
// (four characters, "" for none) and identifier, whose executable Contents/MacOS/<name> is a copy
// of the program at executable ("" for a bundle without one). False when it could not be made.
bool MakeApplicationBundle(const std::string& folder, const std::string& name, const std::string& signature,
                           const std::string& identifier, const std::string& executable);

// Stops every process that carries the signature (StopProcess); false when one outlived it.
bool StopApplications(OSType signature);

// What a command-line tool printed and how it ended.
struct ToolResult {
  int status = -1;  // the exit status; -1 when it did not exit normally or could not be run
  std::string out;
  std::string err;
};

// Runs the tool at toolPath with the arguments (shell words, quoted by the caller) as a user would,
// standard input from the text, through files in folder; on a terminal of its own (`script`) when
// onTerminal.
ToolResult RunTool(const std::string& toolPath, const std::string& arguments, const std::string& input,
                   const std::string& folder, bool onTerminal = false);

// Kills the process (which need not be a child of this one) and waits, up to five seconds, until
// it has ended. True when it is gone or only a zombie is left.
bool StopProcess(pid_t pid);

}  // namespace zrtest
