// ZRApplications.cpp: finding a running application by its signature, launching one, and the
// system process's Apple events: sleep, shut down, restart and log out.
#include <ZRFramework/ZRFramework.h>
#include <string.h>

#include "diagnostics/Frame.h"

Boolean ZRApplicationWithSignatureIsRunning(OSType inSignature, ProcessSerialNumber* outProcessSerialNumber) {
  ProcessSerialNumber processSerialNumber = {0, kNoProcess};
  ProcessInfoRec processInfo;
  for (;;) {
    // The end of the list and every failure alike read as not running.
    if (GetNextProcess(&processSerialNumber) != noErr) return false;
    // No name and no file are asked for.
    processInfo.processInfoLength = sizeof(ProcessInfoRec);
    processInfo.processName = NULL;
    processInfo.processAppRef = NULL;
    if (GetProcessInformation(&processSerialNumber, &processInfo) != noErr) return false;
    if (processInfo.processSignature == inSignature) break;
  }
  if (outProcessSerialNumber) *outProcessSerialNumber = processSerialNumber;
  return true;
}

OSStatus ZRLaunchApplicationWithSignature(OSType inSignature, ProcessSerialNumber* outProcessSerialNumber,
                                          Boolean inLog) {
  FSRef application;
  memset(&application, 0, sizeof(application));
  OSStatus status = LSFindApplicationForInfo(inSignature, NULL, NULL, &application, NULL);
  if (status != noErr) {
    ZR_LOG_ERROR(inLog, CFSTR("LSFindApplicationForInfo returns %@"), ZRCarbonErrorString(status));
    return status;
  }

  LSApplicationParameters parameters;
  memset(&parameters, 0, sizeof(parameters));
  parameters.version = 0;
  parameters.flags = kLSLaunchDefaults;
  parameters.application = &application;
  status = LSOpenApplication(&parameters, outProcessSerialNumber);
  if (status != noErr) {
    ZR_LOG_ERROR(inLog, CFSTR("LSOpenApplication returns %@"), ZRCarbonErrorString(status));
    return status;
  }
  return noErr;
}

OSStatus ZRLaunchApplicationWithSignatureIfNecessary(OSType inSignature, ProcessSerialNumber* outProcessSerialNumber,
                                                     Boolean inLog) {
  if (ZRApplicationWithSignatureIsRunning(inSignature, outProcessSerialNumber)) return noErr;
  return ZRLaunchApplicationWithSignature(inSignature, outProcessSerialNumber, inLog);
}

OSStatus ZRSendAppleEventToSystemProcess(AEEventID inEventID, Boolean inLog) {
  AEAddressDesc targetDesc = {typeNull, NULL};
  AppleEvent event = {typeNull, NULL};
  AppleEvent reply = {typeNull, NULL};
  ZR_CLEANUP {
    AEDisposeDesc(&reply);
    AEDisposeDesc(&event);
    AEDisposeDesc(&targetDesc);
  };

  ProcessSerialNumber systemProcess = {0, kSystemProcess};
  OSStatus status = AECreateDesc(typeProcessSerialNumber, &systemProcess, sizeof(systemProcess), &targetDesc);
  if (status != noErr) {
    ZR_LOG_ERROR(inLog, CFSTR("AECreateDesc returns %@"), ZRCarbonErrorString(status));
    return status;
  }

  status =
      AECreateAppleEvent(kCoreEventClass, inEventID, &targetDesc, kAutoGenerateReturnID, kAnyTransactionID, &event);
  if (status != noErr) {
    ZR_LOG_ERROR(inLog, CFSTR("AECreateAppleEvent returns %@"), ZRCarbonErrorString(status));
    return status;
  }

  status = AESend(&event, &reply, kAENoReply, kAENormalPriority, kAEDefaultTimeout, NULL, NULL);
  if (status != noErr) {
    // A failed send shows only in the log, never in the status: callers have always taken the
    // request as made.
    ZR_LOG_ERROR(inLog, CFSTR("AESend returns %@"), ZRCarbonErrorString(status));
  }
  return noErr;
}

OSStatus ZRSleepComputer(Boolean inLog) { return ZRSendAppleEventToSystemProcess(kAESleep, inLog); }

OSStatus ZRShutdownComputer(Boolean inLog) { return ZRSendAppleEventToSystemProcess(kAEShutDown, inLog); }

OSStatus ZRRestartComputer(Boolean inLog) { return ZRSendAppleEventToSystemProcess(kAERestart, inLog); }

OSStatus ZRLogoutComputer(Boolean inLog) { return ZRSendAppleEventToSystemProcess(kAEReallyLogOut, inLog); }
