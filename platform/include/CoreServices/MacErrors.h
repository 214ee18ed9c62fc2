// MacErrors.h: the platform statuses that the library and its host return.
#pragma once

#include <MacTypes.h>

enum {
  paramErr = -50,                   // error in user parameter list
  memFullErr = -108,                // not enough room in heap zone
  nilHandleErr = -109,              // master pointer was NULL in HandleZone or other
  memWZErr = -111,                  // WhichZone failed (applied to free block)
  fnfErr = -43,                     // file not found
  ioErr = -36,                      // I/O error
  eofErr = -39,                     // end of file
  permErr = -54,                    // permissions error (on file open)
  dupFNErr = -48,                   // duplicate filename (rename)
  dirNFErr = -120,                  // directory not found
  nsvErr = -35,                     // no such volume
  bdNamErr = -37,                   // bad file name
  wrPermErr = -61,                  // write permissions error
  errFSAttributeNotFound = -1427,   // the named extended attribute does not exist
  procNotFound = -600,              // no eligible process with specified descriptor
  connectionInvalid = -609,         // the target does not take Apple events
  gestaltUndefSelectorErr = -5551,  // undefined selector was passed to Gestalt
  errAEEventFailed = -10000,        // Apple event handler failed
  errAEPrivilegeError = -10004,     // a privileged operation failed
  errAEEventNotHandled = -1708,
  errAETimeout = -1712,
  kLSApplicationNotFoundErr = -10814,
  resNotFound = -192,               // resource not found
  kUCOutputBufferTooSmall = -25340  // output buffer too small for Unicode string result
};
