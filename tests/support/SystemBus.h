// SystemBus.h: a private D-Bus standing in for the system bus, with python-dbusmock's logind on
// it, for tests of the system process's events. Nothing here ever reaches the real system bus:
// the process's DBUS_SYSTEM_BUS_ADDRESS points at the private bus while one is up, and
// RequirePrivateSystemBus refuses to let an event test go on when it does not.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace zrtest {

class PrivateSystemBus {
 public:
  // Starts the bus (and, when withLogind, the mock logind) and points DBUS_SYSTEM_BUS_ADDRESS at
  // it. ok() tells whether everything came up.
  explicit PrivateSystemBus(bool withLogind = true);
  // Stops both and sets DBUS_SYSTEM_BUS_ADDRESS to a path where no bus listens.
  ~PrivateSystemBus();
  PrivateSystemBus(const PrivateSystemBus&) = delete;
  PrivateSystemBus& operator=(const PrivateSystemBus&) = delete;

  bool ok() const { return ok_; }
  const std::string& address() const { return address_; }

  // The calls the mock logind received, in order, as dbusmock logs them: "PowerOff False",
  // "TerminateSession "auto"".
  std::vector<std::string> Calls() const;

  // Makes the mock logind's Manager method fail with the D-Bus error name (such as
  // "org.freedesktop.DBus.Error.AccessDenied"). False when the mock could not be told.
  bool MakeMethodFail(const std::string& method, const std::string& signature, const std::string& errorName);

 private:
  bool ok_ = false;
  std::string folder_;
  std::string address_;
  pid_t daemon_ = -1;
  pid_t logind_ = -1;
};

// True when DBUS_SYSTEM_BUS_ADDRESS names the private bus and that bus lies in a test's own
// folder; event tests call it first and stop when it is false.
bool RequirePrivateSystemBus(const PrivateSystemBus& bus);

// An address where no bus listens, for tests of a missing system bus.
std::string AbsentBusAddress();

}  // namespace zrtest
