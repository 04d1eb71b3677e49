// Binds the VISA implementation at run time, so that talmik runs on whatever VISA the machine
// has: the library named by $TALMIK_VISA_LIBRARY when set; otherwise the system's libvisa.so;
// otherwise the bundled ZU-VISA (libzuvisa.so) beside the program. The standard VISA functions
// are defined here and forward to the loaded library; the first call loads it.
#pragma once

#include "zuvisa/visa.h"

// 0 when a library is bound, else -1 with the reason in VisaLib_Error(). Loads at most once
// until VisaLib_Unload; safe from any thread. Until a library is bound, every VISA function
// returns VI_ERROR_LIBRARY_NFOUND.
int VisaLib_Load();
// Why the last load failed, or "" after a successful one.
const char* VisaLib_Error();
// The path of the bound library, or "".
const char* VisaLib_Path();
// Unbinds the library (its sessions must be closed; it stays mapped); the next VISA call binds
// again, to whatever library is chosen then.
void VisaLib_Unload();
