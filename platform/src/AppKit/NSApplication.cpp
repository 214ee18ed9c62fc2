// NSApplication.cpp: the application framework's version number.
#include <AppKit/NSApplication.h>

// The platform's 10.6.8, the release Gestalt reports: at or above 900, so applications take the
// paths meant for 10.5 and later.
double NSAppKitVersionNumber = 1038.36;
