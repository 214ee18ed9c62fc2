// SystemBus.cpp: the private system bus and mock logind of the event tests.
#include "SystemBus.h"

#include <signal.h>
#include <sys/wait.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <thread>

#include "TestSupport.h"

namespace zrtest {
namespace {

pid_t Start(const std::vector<std::string>& arguments, const std::string& busAddress) {
  std::vector<char*> argv;
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  pid_t pid = fork();
  if (pid == 0) {
    setenv("DBUS_SYSTEM_BUS_ADDRESS", busAddress.c_str(), 1);
    setenv("DBUS_SESSION_BUS_ADDRESS", busAddress.c_str(), 1);
    execv(argv[0], argv.data());
    _exit(127);
  }
  return pid;
}

void Stop(pid_t* pid) {
  if (*pid <= 0) return;
  kill(*pid, SIGTERM);
  int status = 0;
  waitpid(*pid, &status, 0);
  *pid = -1;
}

// Opens a connection of our own to the private bus, never to the real one.
sd_bus* Connect(const std::string& address) {
  sd_bus* bus = nullptr;
  if (sd_bus_new(&bus) < 0) return nullptr;
  if (sd_bus_set_address(bus, address.c_str()) < 0 || sd_bus_set_bus_client(bus, 1) < 0 || sd_bus_start(bus) < 0) {
    sd_bus_unref(bus);
    return nullptr;
  }
  return bus;
}

bool NameHasOwner(const std::string& address, const char* name) {
  sd_bus* bus = Connect(address);
  if (!bus) return false;
  sd_bus_message* reply = nullptr;
  int owned = 0;
  if (sd_bus_call_method(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "NameHasOwner",
                         nullptr, &reply, "s", name) >= 0) {
    sd_bus_message_read(reply, "b", &owned);
  }
  sd_bus_message_unref(reply);
  sd_bus_flush_close_unref(bus);
  return owned != 0;
}

template <class Condition>
bool WaitFor(Condition condition) {
  for (int i = 0; i < 1000; ++i) {
    if (condition()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return false;
}

}  // namespace

std::string AbsentBusAddress() { return "unix:path=/nonexistent/zr-no-system-bus"; }

PrivateSystemBus::PrivateSystemBus(bool withLogind) {
  folder_ = MakeTemporaryFolder("SystemBus");
  if (folder_.empty()) return;
  std::string socket = folder_ + "/system_bus_socket";
  address_ = "unix:path=" + socket;
  std::string config = folder_ + "/bus.conf";
  if (!WriteFile(config,
                 "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\"\n"
                 " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
                 "<busconfig>\n  <type>system</type>\n  <listen>" +
                     address_ +
                     "</listen>\n"
                     "  <auth>EXTERNAL</auth>\n"
                     "  <policy context=\"default\">\n    <allow user=\"*\"/>\n    <allow own=\"*\"/>\n"
                     "    <allow send_destination=\"*\" eavesdrop=\"true\"/>\n    <allow eavesdrop=\"true\"/>\n"
                     "  </policy>\n</busconfig>\n")) {
    return;
  }
  daemon_ = Start({"/usr/bin/dbus-daemon", "--nofork", "--nopidfile", "--config-file=" + config}, address_);
  // The socket's file appears when the daemon binds it, a moment before it listens: ready is when
  // the bus itself answers for its own name.
  if (daemon_ <= 0 || !WaitFor([&] { return NameHasOwner(address_, "org.freedesktop.DBus"); })) return;
  setenv("DBUS_SYSTEM_BUS_ADDRESS", address_.c_str(), 1);
  if (withLogind) {
    logind_ =
        Start({"/usr/bin/python3", "-m", "dbusmock", "--system", "--template", "logind", "-l", folder_ + "/calls.log"},
              address_);
    if (logind_ <= 0 || !WaitFor([&] { return NameHasOwner(address_, "org.freedesktop.login1"); })) return;
  }
  ok_ = true;
}

PrivateSystemBus::~PrivateSystemBus() {
  setenv("DBUS_SYSTEM_BUS_ADDRESS", AbsentBusAddress().c_str(), 1);
  Stop(&logind_);
  Stop(&daemon_);
  if (!folder_.empty()) RemoveFolder(folder_);
}

std::vector<std::string> PrivateSystemBus::Calls() const {
  std::vector<std::string> calls;
  std::ifstream log(folder_ + "/calls.log");
  std::string line;
  while (std::getline(log, line)) {
    // "<seconds since the epoch> <method> <arguments>"
    size_t blank = line.find(' ');
    calls.push_back(blank == std::string::npos ? line : line.substr(blank + 1));
  }
  return calls;
}

bool PrivateSystemBus::MakeMethodFail(const std::string& method, const std::string& signature,
                                      const std::string& errorName) {
  sd_bus* bus = Connect(address_);
  if (!bus) return false;
  std::string code = "raise dbus.exceptions.DBusException('refused by the test', name='" + errorName + "')";
  int result = sd_bus_call_method(bus, "org.freedesktop.login1", "/org/freedesktop/login1", "org.freedesktop.DBus.Mock",
                                  "AddMethod", nullptr, nullptr, "sssss", "org.freedesktop.login1.Manager",
                                  method.c_str(), signature.c_str(), "", code.c_str());
  sd_bus_flush_close_unref(bus);
  return result >= 0;
}

bool RequirePrivateSystemBus(const PrivateSystemBus& bus) {
  const char* address = getenv("DBUS_SYSTEM_BUS_ADDRESS");
  return bus.ok() && address && bus.address() == address && bus.address().find("/SystemBus.") != std::string::npos;
}

}  // namespace zrtest
