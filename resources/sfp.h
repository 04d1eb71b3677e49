// The " Soft Front Panels" sheet: the programs of instrument drivers installed in the framework
// directories under VXIPNPPATH, labelled with the driver's directory and the product
// description of its knowledge-base file, and starting the chosen one.
#pragma once

#include "toolslib/toolbox/list.h"
#include "zuvisa/visatype.h"

struct SfpRecord {
    char label[256];   // the directory name in upper case [" - " description]
    char dirName[16];  // the directory name as found
    char exePath[260];  // framework directory / directory name / program
};

extern SfpRecord* lpSfps;
extern int nSfps;
extern ListType ltSfps;  // copies of the records, sorted by label; the sheet is drawn from it

// Forgets the last result and searches both framework directories again.
void refreshSfpRsrcs();
// Appends the soft front panels of one framework directory: 0 when it added any,
// VI_ERROR_RSRC_NFOUND when none (or the directory cannot be listed), VI_ERROR_ALLOC when the
// records cannot grow.
ViStatus searchSfp(const char* kbDir, const char* frameworkDir);
// Frees the records and the list (at every refresh and at exit).
void releaseSfps();
// Fills the sheet's list from ltSfps.
void AddSfpRsrcs(int panel);
