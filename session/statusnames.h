// Names of VISA status codes and the fixed text in which a return value is shown.
#pragma once

#include <cstddef>

#include "zuvisa/visatype.h"

struct ErrorListEntry {
    const char* name;
    ViUInt32 status;
};

// Every named status of the VISA standard, ended by a row with a null name.
extern const ErrorListEntry errorList[];

// The symbolic name of a status, "<Unknown>" when it has none; never null.
const char* statusName(ViStatus status);

// "Return value: 0x%08lX\nStatus name: %s\n\n" for the status.
void formatReturnValue(char* buffer, size_t size, ViStatus status);

// Red for errors (negative statuses), black for success and warnings.
int statusTextColor(ViStatus status);

// Breaks a long description into lines of at least 50 characters, only at blanks: while 56 or
// more characters remain, 50 are skipped and the next blank becomes a line feed.
void wrapStatusDescription(char* text);
