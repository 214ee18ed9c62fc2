// Processes.h: the Process Manager over Linux's processes (/proc).
//
// Every user-space process is a process here, in process-id order; kernel threads are not. A
// serial number is {pid, start time}: the high word the process id, the low word the low 32 bits
// of its start time in clock ticks since boot, so a number never names a later process that
// reuses the id. An application's signature is the "CFBundleSignature" of the bundle its
// executable lies in (<Name>.app/Contents/MacOS/ or Contents/Linux/); see docs/system.md.
#pragma once

#include <CoreFoundation/CFBase.h>
#include <sys/types.h>

CF_EXTERN_C_BEGIN

struct ProcessSerialNumber {
  UInt32 highLongOfPSN;
  UInt32 lowLongOfPSN;
};
typedef struct ProcessSerialNumber ProcessSerialNumber;
typedef ProcessSerialNumber* ProcessSerialNumberPtr;

// The low words of the special serial numbers, each with a high word of 0.
enum {
  kNoProcess = 0,      // before the first process; where iteration starts and ends
  kSystemProcess = 1,  // the system (here: the init process, and logind for Apple events)
  kCurrentProcess = 2  // the calling process
};

typedef struct FSRef FSRef;

struct ProcessInfoRec {
  UInt32 processInfoLength;  // set by the caller to sizeof(ProcessInfoRec)
  StringPtr processName;     // NULL, or room for a Str31 that receives the name
  ProcessSerialNumber processNumber;
  UInt32 processType;       // 'APPL' for an application bundle's process, else '????'
  OSType processSignature;  // the bundle's CFBundleSignature, else '????'
  UInt32 processMode;
  Ptr processLocation;
  UInt32 processSize;
  UInt32 processFreeMem;
  ProcessSerialNumber processLauncher;  // the parent, {0, kNoProcess} when it is gone
  UInt32 processLaunchDate;             // ticks (1/60 s) since the system started
  UInt32 processActiveTime;             // ticks of processor time used
  FSRef* processAppRef;                 // never filled here: leave it NULL
};
typedef struct ProcessInfoRec ProcessInfoRec;
typedef ProcessInfoRec* ProcessInfoRecPtr;

// The four-character codes of processType and processSignature.
enum { kProcessTypeApplication = 0x4150504C, kUnknownProcessSignature = 0x3F3F3F3F };  // 'APPL', '????'

// The process after *PSN ({0, kNoProcess} gives the first). At the end: *PSN becomes
// {0, kNoProcess} and the result is procNotFound. paramErr for NULL or another special number.
CF_EXPORT OSErr GetNextProcess(ProcessSerialNumber* PSN);
// Fills *info for the process (kCurrentProcess and kSystemProcess are accepted). procNotFound when
// the process is gone; paramErr for NULL arguments or a processInfoLength too small for the record.
CF_EXPORT OSErr GetProcessInformation(const ProcessSerialNumber* PSN, ProcessInfoRec* info);
// The calling process's serial number.
CF_EXPORT OSErr GetCurrentProcess(ProcessSerialNumber* PSN);
// The process id of a serial number, and the serial number of a process id; procNotFound when
// there is no such process.
CF_EXPORT OSStatus GetProcessPID(const ProcessSerialNumber* psn, pid_t* pid);
CF_EXPORT OSStatus GetProcessForPID(pid_t pid, ProcessSerialNumber* psn);
// *result: whether the two numbers name the same process (special numbers resolved first).
CF_EXPORT OSErr SameProcess(const ProcessSerialNumber* PSN1, const ProcessSerialNumber* PSN2, Boolean* result);

CF_EXTERN_C_END
