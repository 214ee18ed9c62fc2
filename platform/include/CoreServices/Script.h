// Script.h: the Script Manager's variables that name the current keyboard script and its layout.
#pragma once

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef SInt16 ScriptCode;
enum { smRoman = 0, smUnicodeScript = 0x7E };

// Selectors of GetScriptManagerVariable.
enum { smSysScript = 18, smKeyScript = 22 };
// Selectors of GetScriptVariable.
enum { smScriptKeys = 32 };

// smSysScript and smKeyScript: the script of the current keyboard layout (smRoman for every
// layout here). Other selectors give 0, as the platform does for selectors it does not know.
CF_EXPORT long GetScriptManagerVariable(short selector);
// smScriptKeys of the keyboard script: the resource identifier of the current keyboard layout
// (0 when it cannot be compiled); other scripts and selectors give 0.
CF_EXPORT long GetScriptVariable(short script, short selector);

CF_EXTERN_C_END
