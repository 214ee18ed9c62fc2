// AE.h: the Apple Event Manager: descriptors, Apple events, and sending them.
//
// Descriptors and events are real records that own their bytes. Sending reaches one receiver on
// Linux: the system process ({0, kSystemProcess}), whose four events of the class 'aevt' (sleep,
// shut down, restart, log out) go to systemd-logind on the system D-Bus, never asking the user
// (see docs/system.md). Events to other processes give connectionInvalid: Linux applications do
// not take Apple events.
#pragma once

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef FourCharCode DescType;
typedef FourCharCode AEKeyword;
typedef FourCharCode AEEventClass;
typedef FourCharCode AEEventID;
typedef SInt16 AEReturnID;
typedef SInt32 AETransactionID;
typedef SInt32 AESendMode;
typedef SInt16 AESendPriority;

typedef struct OpaqueAEDataStorageType* AEDataStorageType;
typedef AEDataStorageType* AEDataStorage;

struct AEDesc {
  DescType descriptorType;
  AEDataStorage dataHandle;
};
typedef struct AEDesc AEDesc;
typedef AEDesc* AEDescPtr;
typedef AEDesc AEAddressDesc;
typedef AEDesc AEDescList;
typedef AEDesc AERecord;
typedef AEDesc AppleEvent;
typedef AppleEvent* AppleEventPtr;

// Idle and filter functions: never called here (the send does not wait for user events).
typedef struct OpaqueAEIdleProc* AEIdleUPP;
typedef struct OpaqueAEFilterProc* AEFilterUPP;

// Descriptor types and event codes, written as their four-character values.
enum {
  typeNull = 0x6E756C6C,                 // 'null'
  typeProcessSerialNumber = 0x70736E20,  // 'psn '
  typeKernelProcessID = 0x6B706964,      // 'kpid'
  typeAppleEvent = 0x61657674,           // 'aevt'
  kCoreEventClass = 0x61657674,          // 'aevt'
  kAESleep = 0x736C6570,                 // 'slep'
  kAEShutDown = 0x73687574,              // 'shut'
  kAERestart = 0x72657374,               // 'rest'
  kAEReallyLogOut = 0x726C676F           // 'rlgo'
};

enum { kAutoGenerateReturnID = -1, kAnyTransactionID = 0 };
enum { kAENoReply = 0x00000001, kAEQueueReply = 0x00000002, kAEWaitReply = 0x00000003 };
enum { kAENormalPriority = 0x00000000, kAEHighPriority = 0x00000001 };
enum { kAEDefaultTimeout = -1, kNoTimeOut = -2 };

enum {
  errAENotAppleEvent = -1707,
  errAEUnknownSendMode = -1710,
  errAEUnknownAddressType = -1716,
  errAEDescIsNull = -1739
};

// Makes *result a null descriptor (typeNull, no data).
CF_EXPORT void AEInitializeDesc(AEDesc* desc);
// A descriptor of typeCode holding a copy of dataSize bytes (typeNull makes a null descriptor).
// paramErr for a NULL result, a negative size or NULL data with a size; memFullErr without memory
// (result then a null descriptor).
CF_EXPORT OSErr AECreateDesc(DescType typeCode, const void* dataPtr, Size dataSize, AEDesc* result);
// Frees the descriptor's data and makes it a null descriptor; NULL or a null descriptor is noErr.
CF_EXPORT OSErr AEDisposeDesc(AEDesc* theAEDesc);
// The size of a descriptor's data (0 for a null descriptor), and a copy of at most maximumSize of it.
CF_EXPORT Size AEGetDescDataSize(const AEDesc* theAEDesc);
CF_EXPORT OSErr AEGetDescData(const AEDesc* theAEDesc, void* dataPtr, Size maximumSize);
// An Apple event of the class and ID to the target (a copy is kept). paramErr for NULL arguments,
// errAEUnknownAddressType for a target that is not a process address, memFullErr without memory.
CF_EXPORT OSErr AECreateAppleEvent(AEEventClass theAEEventClass, AEEventID theAEEventID, const AEAddressDesc* target,
                                   AEReturnID returnID, AETransactionID transactionID, AppleEvent* result);
// Sends the event; *reply (when given) becomes a null descriptor, since no receiver here answers
// with data. The call returns once the receiver has taken the request (or refused it), waiting at
// most timeOutInTicks (1/60 s; kAEDefaultTimeout: the bus's default of 25 s, kNoTimeOut: no limit).
// Statuses: connectionInvalid (no system bus, or a target other than the system process),
// procNotFound (logind is not on the bus), errAEPrivilegeError (logind refuses the caller),
// errAETimeout, errAEEventNotHandled (an event the receiver does not know), errAEEventFailed
// (logind failed otherwise), errAENotAppleEvent, errAEUnknownSendMode.
CF_EXPORT OSErr AESend(const AppleEvent* theAppleEvent, AppleEvent* reply, AESendMode sendMode,
                       AESendPriority sendPriority, SInt32 timeOutInTicks, AEIdleUPP idleProc, AEFilterUPP filterProc);
// The event's class and ID (errAENotAppleEvent for another descriptor).
CF_EXPORT OSErr AEGetEventClassAndID(const AppleEvent* theAppleEvent, AEEventClass* eventClass, AEEventID* eventID);

CF_EXTERN_C_END
