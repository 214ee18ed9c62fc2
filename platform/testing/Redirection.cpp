// Redirection.cpp (test variant only): NSLog's messages handed to a test's sink instead of
// standard error and syslog, and status names and comments of a test's choosing in front of the
// host's own table.
#include <ZRPlatform/Testing.h>

#include <map>
#include <mutex>
#include <string>
#include <utility>

#include "runtime/Seams.h"

namespace {

std::mutex gSinkMutex;
ZRTestingLogSink gSink = nullptr;
void* gSinkContext = nullptr;

// The strings live until the override is replaced, so a text handed out stays valid at least
// until then.
struct OverrideTable {
  std::mutex mutex;
  std::map<OSStatus, std::pair<std::string, std::string>> texts;
};

OverrideTable& Overrides() {
  static auto* table = new OverrideTable();
  return *table;
}

}  // namespace

namespace zrp {

bool DeliverLogToSink(const char* message) {
  std::lock_guard<std::mutex> lock(gSinkMutex);
  if (!gSink) return false;
  gSink(message, gSinkContext);
  return true;
}

const char* StatusTextOverride(OSStatus status, bool wantName) {
  OverrideTable& table = Overrides();
  std::lock_guard<std::mutex> lock(table.mutex);
  if (table.texts.empty()) return nullptr;
  auto found = table.texts.find(status);
  if (found == table.texts.end()) return nullptr;
  return wantName ? found->second.first.c_str() : found->second.second.c_str();
}

}  // namespace zrp

extern "C" {

void ZRTestingSetLogSink(ZRTestingLogSink sink, void* context) {
  std::lock_guard<std::mutex> lock(gSinkMutex);
  gSink = sink;
  gSinkContext = context;
}

void ZRTestingSetStatusText(OSStatus status, const char* name, const char* comment) {
  OverrideTable& table = Overrides();
  std::lock_guard<std::mutex> lock(table.mutex);
  if (!name && !comment) {
    table.texts.erase(status);
  } else {
    table.texts[status] = {name ? name : "", comment ? comment : ""};
  }
}

}  // extern "C"
