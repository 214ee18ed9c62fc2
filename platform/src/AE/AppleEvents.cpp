// AppleEvents.cpp: descriptors, Apple events, and AESend to the system process, which hands the
// four system events to systemd-logind on the system D-Bus through sd-bus.
#include <ApplicationServices/Processes.h>
#include <CoreServices/CoreServices.h>
#include <systemd/sd-bus.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <new>
#include <vector>

#include "runtime/Object.h"

// What a descriptor's handle leads to: the bytes of a plain descriptor, or an event's parts.
struct OpaqueAEDataStorageType {
  std::vector<UInt8> bytes;
  AEEventClass eventClass = 0;
  AEEventID eventID = 0;
  DescType targetType = typeNull;
  std::vector<UInt8> targetBytes;
  AEReturnID returnID = 0;
  AETransactionID transactionID = 0;
};

namespace {

// A handle and its block in one allocation: dataHandle points at `master`, which points at `data`.
struct Storage {
  AEDataStorageType master = nullptr;
  OpaqueAEDataStorageType data;
};

Storage* NewStorage() {
  if (!zrp::AllocationAllowed()) return nullptr;
  auto* storage = new (std::nothrow) Storage;
  if (storage) storage->master = &storage->data;
  return storage;
}

Storage* StorageOf(const AEDesc* desc) {
  if (!desc || !desc->dataHandle) return nullptr;
  return reinterpret_cast<Storage*>(reinterpret_cast<char*>(desc->dataHandle) - offsetof(Storage, master));
}

std::atomic<AEReturnID> gNextReturnID{1};

// logind's method for each of the system process's events, and its one argument.
struct SystemEvent {
  AEEventID eventID;
  const char* method;
};
constexpr SystemEvent kSystemEvents[] = {
    {kAESleep, "Suspend"}, {kAEShutDown, "PowerOff"}, {kAERestart, "Reboot"}, {kAEReallyLogOut, "TerminateSession"}};

// The Apple Event Manager's status for what the bus or logind answered.
OSErr StatusOfBusError(const sd_bus_error* error, int result) {
  if (error && error->name) {
    if (sd_bus_error_has_names(error, SD_BUS_ERROR_SERVICE_UNKNOWN, SD_BUS_ERROR_NAME_HAS_NO_OWNER)) {
      return procNotFound;
    }
    if (sd_bus_error_has_names(error, SD_BUS_ERROR_ACCESS_DENIED, SD_BUS_ERROR_AUTH_FAILED,
                               SD_BUS_ERROR_INTERACTIVE_AUTHORIZATION_REQUIRED)) {
      return errAEPrivilegeError;
    }
    if (sd_bus_error_has_names(error, SD_BUS_ERROR_NO_REPLY, SD_BUS_ERROR_TIMEOUT,
                               "org.freedesktop.DBus.Error.TimedOut")) {
      return errAETimeout;
    }
    if (sd_bus_error_has_names(error, SD_BUS_ERROR_UNKNOWN_METHOD, SD_BUS_ERROR_UNKNOWN_OBJECT,
                               SD_BUS_ERROR_UNKNOWN_INTERFACE)) {
      return errAEEventNotHandled;
    }
    return errAEEventFailed;
  }
  if (result == -ETIMEDOUT) return errAETimeout;
  return connectionInvalid;
}

// Asks logind for the event; the call returns once logind has taken or refused the request.
OSErr SendToLogind(const char* method, SInt32 timeOutInTicks) {
  sd_bus* bus = nullptr;
  int result = sd_bus_open_system(&bus);
  if (result < 0) return connectionInvalid;
  uint64_t timeout = 0;  // the bus's default
  if (timeOutInTicks == kNoTimeOut) {
    timeout = UINT64_MAX;
  } else if (timeOutInTicks > 0) {
    timeout = static_cast<uint64_t>(timeOutInTicks) * 1000000u / 60u;
  }
  sd_bus_message* call = nullptr;
  sd_bus_message* reply = nullptr;
  sd_bus_error error = SD_BUS_ERROR_NULL;
  result = sd_bus_message_new_method_call(bus, &call, "org.freedesktop.login1", "/org/freedesktop/login1",
                                          "org.freedesktop.login1.Manager", method);
  if (result >= 0) {
    // The platform's events never ask the user; "auto" is the caller's own session (or, for a
    // process outside any session, its user's graphical one).
    if (std::strcmp(method, "TerminateSession") == 0) {
      result = sd_bus_message_append(call, "s", "auto");
    } else {
      result = sd_bus_message_append(call, "b", 0);
    }
  }
  if (result >= 0) result = sd_bus_call(bus, call, timeout, &error, &reply);
  OSErr status = result >= 0 ? static_cast<OSErr>(noErr) : StatusOfBusError(&error, result);
  sd_bus_error_free(&error);
  sd_bus_message_unref(reply);
  sd_bus_message_unref(call);
  sd_bus_flush_close_unref(bus);
  return status;
}

}  // namespace

void AEInitializeDesc(AEDesc* desc) {
  if (!desc) return;
  desc->descriptorType = typeNull;
  desc->dataHandle = nullptr;
}

OSErr AECreateDesc(DescType typeCode, const void* dataPtr, Size dataSize, AEDesc* result) {
  if (!result) return paramErr;
  AEInitializeDesc(result);
  if (dataSize < 0 || (!dataPtr && dataSize > 0)) return paramErr;
  if (typeCode == typeNull) return noErr;
  Storage* storage = NewStorage();
  if (!storage) return memFullErr;
  try {
    const auto* bytes = static_cast<const UInt8*>(dataPtr);
    storage->data.bytes.assign(bytes, bytes + dataSize);
  } catch (const std::bad_alloc&) {
    delete storage;
    return memFullErr;
  }
  result->descriptorType = typeCode;
  result->dataHandle = &storage->master;
  return noErr;
}

OSErr AEDisposeDesc(AEDesc* theAEDesc) {
  if (!theAEDesc) return noErr;
  delete StorageOf(theAEDesc);
  AEInitializeDesc(theAEDesc);
  return noErr;
}

Size AEGetDescDataSize(const AEDesc* theAEDesc) {
  Storage* storage = StorageOf(theAEDesc);
  return storage ? static_cast<Size>(storage->data.bytes.size()) : 0;
}

OSErr AEGetDescData(const AEDesc* theAEDesc, void* dataPtr, Size maximumSize) {
  if (!theAEDesc || (!dataPtr && maximumSize > 0) || maximumSize < 0) return paramErr;
  Storage* storage = StorageOf(theAEDesc);
  if (!storage) return theAEDesc->descriptorType == typeNull ? OSErr{errAEDescIsNull} : OSErr{paramErr};
  size_t count = std::min(static_cast<size_t>(maximumSize), storage->data.bytes.size());
  if (count) std::memcpy(dataPtr, storage->data.bytes.data(), count);
  return noErr;
}

OSErr AECreateAppleEvent(AEEventClass theAEEventClass, AEEventID theAEEventID, const AEAddressDesc* target,
                         AEReturnID returnID, AETransactionID transactionID, AppleEvent* result) {
  if (!result) return paramErr;
  AEInitializeDesc(result);
  if (!target) return paramErr;
  if (target->descriptorType != typeProcessSerialNumber && target->descriptorType != typeKernelProcessID) {
    return errAEUnknownAddressType;
  }
  Storage* storage = NewStorage();
  if (!storage) return memFullErr;
  try {
    Storage* targetStorage = StorageOf(target);
    if (targetStorage) storage->data.targetBytes = targetStorage->data.bytes;
  } catch (const std::bad_alloc&) {
    delete storage;
    return memFullErr;
  }
  storage->data.eventClass = theAEEventClass;
  storage->data.eventID = theAEEventID;
  storage->data.targetType = target->descriptorType;
  storage->data.returnID = returnID == kAutoGenerateReturnID ? gNextReturnID.fetch_add(1) : returnID;
  storage->data.transactionID = transactionID;
  result->descriptorType = typeAppleEvent;
  result->dataHandle = &storage->master;
  return noErr;
}

OSErr AEGetEventClassAndID(const AppleEvent* theAppleEvent, AEEventClass* eventClass, AEEventID* eventID) {
  Storage* storage = StorageOf(theAppleEvent);
  if (!storage || theAppleEvent->descriptorType != typeAppleEvent) return errAENotAppleEvent;
  if (eventClass) *eventClass = storage->data.eventClass;
  if (eventID) *eventID = storage->data.eventID;
  return noErr;
}

OSErr AESend(const AppleEvent* theAppleEvent, AppleEvent* reply, AESendMode sendMode, AESendPriority sendPriority,
             SInt32 timeOutInTicks, AEIdleUPP idleProc, AEFilterUPP filterProc) {
  (void)sendPriority;
  (void)idleProc;
  (void)filterProc;
  if (reply) AEInitializeDesc(reply);
  Storage* storage = StorageOf(theAppleEvent);
  if (!storage || theAppleEvent->descriptorType != typeAppleEvent) return errAENotAppleEvent;
  AESendMode replyMode = sendMode & 0x3;
  if (replyMode != kAENoReply && replyMode != kAEQueueReply && replyMode != kAEWaitReply) return errAEUnknownSendMode;

  // Only the system process takes events here.
  const OpaqueAEDataStorageType& event = storage->data;
  ProcessSerialNumber system = {0, kSystemProcess};
  if (event.targetType != typeProcessSerialNumber || event.targetBytes.size() != sizeof system ||
      std::memcmp(event.targetBytes.data(), &system, sizeof system) != 0) {
    return connectionInvalid;
  }
  if (event.eventClass != kCoreEventClass) return errAEEventNotHandled;
  for (const SystemEvent& known : kSystemEvents) {
    if (known.eventID == event.eventID) return SendToLogind(known.method, timeOutInTicks);
  }
  return errAEEventNotHandled;
}
