// TestSupport.h: helpers shared by the test suites: log capture, ERROR lines, strings and data as
// test values, random bytes, and the leak-checking fixture.
#pragma once

#include <ZRFramework/ZRFramework.h>
#include <ZRPlatform/Testing.h>
#include <gtest/gtest.h>

#include <random>
#include <string>
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

// Autoreleased data holding a copy of the bytes; empty data for "". Needs a pool.
NSData* AutoreleasedData(const std::string& bytes);

// The data's bytes; "" for empty data.
std::string Bytes(CFDataRef data);

// `length` bytes from the generator, every value 0 to 255 alike; "" for length 0.
std::string RandomBytes(size_t length, std::mt19937* generator);

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

}  // namespace zrtest
