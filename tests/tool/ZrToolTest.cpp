// ZrToolTest.cpp: the zr tool run as a program: its help, every subcommand, exit statuses (2 for
// unknown input, 1 for a failed call), standard input and output. Runs the built tool, or the one
// named by the environment variable ZR_TOOL (scripts/test points it at the installed copy).
#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "TestSupport.h"

extern char** environ;

namespace {

struct Result {
  int status = -1;  // the exit status; -1 when the tool did not exit normally
  std::string out;
  std::string err;
};

std::string ToolPath() {
  const char* given = std::getenv("ZR_TOOL");
  return given && *given ? given : ZR_TOOL_PATH;
}

std::string ReadAll(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::stringstream contents;
  contents << file.rdbuf();
  return contents.str();
}

class ZrToolTest : public ::testing::Test {
 protected:
  void SetUp() override {
    folder_ = zrtest::MakeTemporaryFolder("ZrToolTest");
    ASSERT_FALSE(folder_.empty());
  }
  void TearDown() override { zrtest::RemoveFolder(folder_); }

  // Runs zr with the arguments, the bytes of input on standard input, in English unless the
  // extra environment entries ("NAME=value") say otherwise. Standard output and error go to files,
  // so that no pipe can fill up.
  Result Run(const std::vector<std::string>& arguments, const std::string& input = "",
             const std::vector<std::string>& extraEnvironment = {}) {
    Result result;
    std::string in = folder_ + "/stdin", out = folder_ + "/stdout", err = folder_ + "/stderr";
    EXPECT_TRUE(zrtest::WriteFile(in, input));

    std::vector<std::string> environment = {"LC_ALL=en_US.UTF-8", "LANG=en_US.UTF-8", "LANGUAGE=", "PATH=/usr/bin:/bin",
                                            "DBUS_SESSION_BUS_ADDRESS=disabled:"};
    for (const char* name : {"HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "ASAN_OPTIONS", "UBSAN_OPTIONS"}) {
      if (const char* value = std::getenv(name)) environment.push_back(std::string(name) + "=" + value);
    }
    for (const std::string& entry : extraEnvironment) {
      std::string name = entry.substr(0, entry.find('=') + 1);
      std::erase_if(environment, [&](const std::string& e) { return e.compare(0, name.size(), name) == 0; });
      environment.push_back(entry);
    }

    std::string tool = ToolPath();
    std::vector<char*> argv = {tool.data()};
    std::vector<std::string> copies = arguments;
    for (std::string& argument : copies) argv.push_back(argument.data());
    argv.push_back(nullptr);
    std::vector<char*> envp;
    for (std::string& entry : environment) envp.push_back(entry.data());
    envp.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, in.c_str(), O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    pid_t pid = 0;
    int spawned = posix_spawn(&pid, tool.c_str(), &actions, nullptr, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    EXPECT_EQ(spawned, 0) << "cannot run " << tool;
    if (spawned != 0) return result;
    int wstatus = 0;
    EXPECT_EQ(waitpid(pid, &wstatus, 0), pid);
    if (WIFEXITED(wstatus)) result.status = WEXITSTATUS(wstatus);
    result.out = ReadAll(out);
    result.err = ReadAll(err);
    return result;
  }

  // A run that must succeed and print nothing on standard error; returns its standard output.
  std::string Output(const std::vector<std::string>& arguments, const std::string& input = "",
                     const std::vector<std::string>& extraEnvironment = {}) {
    Result result = Run(arguments, input, extraEnvironment);
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.err, "");
    return result.out;
  }

  // A run that must fail with the status and exactly one line on standard error, and print nothing.
  void ExpectError(const std::vector<std::string>& arguments, int status, const std::string& line,
                   const std::string& input = "") {
    Result result = Run(arguments, input);
    EXPECT_EQ(result.status, status);
    EXPECT_EQ(result.err, line + "\n");
    EXPECT_EQ(result.out, "");
  }

  std::string folder_;
};

// Every command the help lists. A new command gets its cases below and its name here. (The cases
// of `keys` are in zr-keys.sh, which names a keyboard layout for each run; those of `plist`, `info`,
// `support-folder` and `language` in zr-plist.sh, zr-info.sh and zr-files.sh; those of `system`,
// `apps` and `power`, which need fixture applications and a mock logind, in ZrSystemCommandTest.)
const std::set<std::string> kTestedCommands = {
    "error",  "errno",  "size", "number", "remaining",      "combine", "normalize", "base32",
    "base64", "hex",    "sha1", "keys",   "plist",          "xattr",   "path",      "defaults",
    "info",   "system", "apps", "power",  "support-folder", "language"};

TEST_F(ZrToolTest, HelpListsEveryCommandOnStandardOutput) {
  for (const char* flag : {"--help", "-h", "help"}) {
    std::string help = Output({flag});
    EXPECT_EQ(help.rfind("usage: zr COMMAND [ARGUMENTS]\n", 0), 0u) << help;
    EXPECT_NE(help.find("\n  zr --help "), std::string::npos);
  }
  std::set<std::string> listed;
  std::istringstream lines(Output({"--help"}));
  bool inCommands = false;
  for (std::string line; std::getline(lines, line);) {
    if (line == "Commands:") {
      inCommands = true;
    } else if (inCommands && line.rfind("  ", 0) == 0 && line.rfind("  zr ", 0) != 0) {
      listed.insert(line.substr(2, line.find(' ', 2) - 2));
    }
  }
  EXPECT_EQ(listed, kTestedCommands) << "each command needs its cases in this file";
}

TEST_F(ZrToolTest, NoCommandPrintsTheHelpOnStandardErrorWithStatus2) {
  Result result = Run({});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, Output({"--help"}));
}

TEST_F(ZrToolTest, UnknownCommandIsOneLineAndStatus2) {
  ExpectError({"frobnicate"}, 2, "zr: unknown command 'frobnicate' (see zr --help)");
  ExpectError({"--version"}, 2, "zr: unknown command '--version' (see zr --help)");
}

TEST_F(ZrToolTest, Error) {
  EXPECT_EQ(Output({"error", "-50"}), "-50, paramErr, error in user parameter list\n");
  EXPECT_EQ(Output({"error", "0"}), "0, noErr, no error\n");
  ExpectError({"error"}, 2, "zr: usage: zr error STATUS");
  ExpectError({"error", "1", "2"}, 2, "zr: usage: zr error STATUS");
  ExpectError({"error", "abc"}, 2, "zr: not a status (a 32-bit integer): 'abc'");
  ExpectError({"error", "2147483648"}, 2, "zr: not a status (a 32-bit integer): '2147483648'");
}

TEST_F(ZrToolTest, Errno) {
  EXPECT_EQ(Output({"errno", "2"}), "100002, ENOENT, No such file or directory\n");
  ExpectError({"errno"}, 2, "zr: usage: zr errno NUMBER");
  ExpectError({"errno", "two"}, 2, "zr: not an error number: 'two'");
}

TEST_F(ZrToolTest, Size) {
  EXPECT_EQ(Output({"size", "1536", "--decimals", "1"}), "1.5 KB\n");
  EXPECT_EQ(Output({"size", "1073741824"}), "1 GB\n");
  EXPECT_EQ(Output({"size", "123456789", "--decimals", "3"}, "", {"LC_ALL=de_DE.UTF-8"}), "117,738 MB\n");
  ExpectError({"size"}, 2, "zr: usage: zr size BYTES [--unit auto|B|KB|MB|GB|0-5] [--decimals D]");
  ExpectError({"size", "1", "--unit", "TB"}, 2, "zr: usage: zr size BYTES [--unit auto|B|KB|MB|GB|0-5] [--decimals D]");
  ExpectError({"size", "-1"}, 2, "zr: not a byte count: '-1'");
}

TEST_F(ZrToolTest, Number) {
  EXPECT_EQ(Output({"number", "1234567"}), "1,234,567\n");
  EXPECT_EQ(Output({"number", "3.14159", "--decimals", "3"}), "3.142\n");
  ExpectError({"number", "many"}, 2, "zr: not a number: 'many'");
  ExpectError({"number", "1", "--decimals"}, 2, "zr: usage: zr number VALUE [--decimals D]");
}

TEST_F(ZrToolTest, Remaining) {
  std::string english = Output({"remaining", "121"});
  EXPECT_FALSE(english.empty());
  EXPECT_EQ(english.back(), '\n');
  EXPECT_NE(Output({"remaining", "7200"}, "", {"LANGUAGE=de", "LC_ALL=de_DE.UTF-8"}), Output({"remaining", "7200"}));
  ExpectError({"remaining", "soon"}, 2, "zr: not a number of seconds: 'soon'");
}

// Values far outside any count of seconds or digits: each is an answer, never undefined behaviour
// (under the sanitizers a float-to-integer overflow would print a report and fail the run).
TEST_F(ZrToolTest, ExtremeNumbersGiveAnAnswer) {
  for (const char* value : {"1e300", "-1e300", "inf", "-inf", "nan", "1e19", "-9223372036854775808"}) {
    EXPECT_FALSE(Output({"remaining", value}).empty()) << value;
    EXPECT_FALSE(Output({"number", value, "--decimals", "2"}).empty()) << value;
  }
  EXPECT_FALSE(Output({"size", "18446744073709551615", "--decimals", "3"}).empty());
}

TEST_F(ZrToolTest, CombineReadsLinesFromStandardInput) {
  EXPECT_EQ(Output({"combine"}, "Pear\napple\nPear\n"), Output({"combine"}, "Pear\r\napple\r\nPear\r\n"));
  EXPECT_NE(Output({"combine"}, "b\nB\na\nb\n"), Output({"combine", "--multiline"}, "b\nB\na\nb\n"));
  ExpectError({"combine", "--single"}, 2, "zr: usage: zr combine [--multiline] < LINES");
  ExpectError({"combine"}, 1, "zr: line 2 is not UTF-8", "ok\n\xff\xfe\n");
}

TEST_F(ZrToolTest, Normalize) {
  EXPECT_EQ(Output({"normalize", "  two   words "}), "two words\n");
  ExpectError({"normalize"}, 2, "zr: usage: zr normalize TEXT");
  // A failed call: the library's ERROR line, then the tool's line with the status; exit status 1.
  Result spaces = Run({"normalize", "   "});
  EXPECT_EQ(spaces.status, 1);
  EXPECT_EQ(spaces.out, "");
  EXPECT_NE(spaces.err.find(" ERROR "), std::string::npos) << spaces.err;
  std::string last =
      "zr: ZRCopyStringRefOfStringRefAfterNormalizingWhitespace returns -2223, unknownErr, unknown error\n";
  EXPECT_TRUE(spaces.err.ends_with("\n" + last)) << spaces.err;
}

TEST_F(ZrToolTest, Base32) {
  EXPECT_EQ(Output({"base32", "encode"}, "foobar"), "MZXW6YTBOI\n");
  EXPECT_EQ(Output({"base32", "decode"}, "MZXW6YTBOI\n"), "foobar");
  EXPECT_EQ(Output({"base32", "encode"}, ""), "");
  ExpectError({"base32"}, 2, "zr: usage: zr base32 encode|decode < INPUT > OUTPUT");
  ExpectError({"base32", "decode"}, 1, "zr: base32: the input is not unpadded Base32 text", "MZXW6YTBOI=\n");
}

TEST_F(ZrToolTest, Base64) {
  EXPECT_EQ(Output({"base64", "encode"}, "foobar"), "Zm9vYmFy\n");
  std::string binary("\0\xab\xff\n\r", 5);
  EXPECT_EQ(Output({"base64", "decode"}, Output({"base64", "encode"}, binary)), binary);
  ExpectError({"base64", "both"}, 2, "zr: usage: zr base64 encode|decode < INPUT > OUTPUT");
  ExpectError({"base64", "decode"}, 1, "zr: base64: the input is not Base64 text", "Zm9v!mFy\n");
}

TEST_F(ZrToolTest, Hex) {
  EXPECT_EQ(Output({"hex", "encode"}, std::string("\0\xab\xff", 3)), "00abff\n");
  EXPECT_EQ(Output({"hex", "decode"}, "00ABff\n"), std::string("\0\xab\xff", 3));
  EXPECT_EQ(Output({"hex", "decode"}, ""), "");
  ExpectError({"hex"}, 2, "zr: usage: zr hex encode|decode < INPUT > OUTPUT");
  ExpectError({"hex", "decode"}, 1, "zr: hex: the input is not hexadecimal text", "0g\n");
}

TEST_F(ZrToolTest, Sha1PrintsAsSha1sum) {
  std::string first = folder_ + "/abc.txt", second = folder_ + "/empty";
  ASSERT_TRUE(zrtest::WriteFile(first, "abc"));
  ASSERT_TRUE(zrtest::WriteFile(second, ""));
  EXPECT_EQ(Output({"sha1", first, second}), "a9993e364706816aba3e25717850c26c9cd0d89d  " + first +
                                                 "\nda39a3ee5e6b4b0d3255bfef95601890afd80709  " + second + "\n");
  ExpectError({"sha1"}, 2, "zr: usage: zr sha1 FILE...");
  // A file without a digest: its ERROR line, the tool's line, status 1, and the other files still done.
  std::string missing = folder_ + "/missing";
  Result result = Run({"sha1", missing, first});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out, "a9993e364706816aba3e25717850c26c9cd0d89d  " + first + "\n");
  EXPECT_NE(result.err.find("ERROR"), std::string::npos) << result.err;
  EXPECT_NE(result.err.find("zr: sha1: " + missing + ": no digest\n"), std::string::npos) << result.err;
}

// The home folder is the platform's, whatever HOME says: expanding and tilding again round-trips.
TEST_F(ZrToolTest, PathTildesAndExpands) {
  std::string expanded = Output({"path", "expand", "~/Documents"});
  ASSERT_TRUE(expanded.ends_with("/Documents\n")) << expanded;
  expanded.pop_back();
  EXPECT_EQ(Output({"path", "tilde", expanded}), "~/Documents\n");
  EXPECT_EQ(Output({"path", "tilde", "/usr/bin"}), "/usr/bin\n");
  ExpectError({"path", "sideways", "x"}, 2, "zr: usage: zr path tilde PATH | expand TILDEPATH | from-hfs HFSPATH");
  ExpectError({"path", "tilde"}, 2, "zr: usage: zr path tilde PATH | expand TILDEPATH | from-hfs HFSPATH");
}

TEST_F(ZrToolTest, XattrSetsListsAndDeletes) {
  std::string file = folder_ + "/file";
  ASSERT_TRUE(zrtest::WriteFile(file, "contents"));
  EXPECT_EQ(Output({"xattr", "list", file}), "");
  EXPECT_EQ(Output({"xattr", "set", file, "note", "hello"}), "");
  EXPECT_EQ(Output({"xattr", "list", file}), "note\n");
  EXPECT_EQ(Output({"xattr", "delete", file, "note"}), "");
  ExpectError({"xattr", "delete", file, "note"}, 1, "zr: no attribute 'note'");
  Result usage = Run({"xattr", "list"});
  EXPECT_EQ(usage.status, 2);
  EXPECT_EQ(usage.out, "");
  EXPECT_EQ(usage.err.rfind("zr: usage: zr xattr list FILE | get FILE NAME", 0), 0u) << usage.err;
}

// Preferences in a home and configuration folder of the test's own.
TEST_F(ZrToolTest, DefaultsWritesReadsAndDeletes) {
  std::vector<std::string> own = {"HOME=" + folder_, "XDG_CONFIG_HOME=" + folder_ + "/config"};
  EXPECT_EQ(Output({"defaults", "write", "com.example.zrtool", "greeting", "hello"}, "", own), "");
  EXPECT_EQ(Output({"defaults", "write", "com.example.zrtool", "farewell", "bye"}, "", own), "");
  EXPECT_EQ(Output({"defaults", "read", "com.example.zrtool", "greeting"}, "", own), "hello\n");
  EXPECT_EQ(Output({"defaults", "delete", "com.example.zrtool", "greeting"}, "", own), "");
  Result gone = Run({"defaults", "read", "com.example.zrtool", "greeting"}, "", own);
  EXPECT_EQ(gone.status, 1);
  EXPECT_EQ(gone.out, "");
  EXPECT_EQ(gone.err, "zr: The domain/default pair of (com.example.zrtool, greeting) does not exist\n");
  // Without its last key the domain itself is gone.
  EXPECT_EQ(Output({"defaults", "delete", "com.example.zrtool", "farewell"}, "", own), "");
  ExpectError({"defaults", "read", "com.example.zrtool"}, 1, "zr: Domain com.example.zrtool does not exist");
  ExpectError({"defaults", "frob"}, 2, "zr: unknown defaults command 'frob'");
  ExpectError({"defaults"}, 2, "zr: usage: zr defaults read|write|delete|domains ...");
}

}  // namespace
