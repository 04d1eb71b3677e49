// Names and descriptions of every completion, warning and error code.
#pragma once

#include "zuvisa/visa.h"

namespace zuvisa {

struct StatusInfo {
    ViStatus status;
    const char* name;
    const char* description;
};

// Null when the library does not know the code.
const StatusInfo* findStatus(ViStatus status);
// By symbolic name ("VI_ERROR_TMO"), exact; null when unknown. Device files name statuses so.
const StatusInfo* findStatusByName(const char* name);
// The table in ascending code order within completion codes, then errors; for listing.
const StatusInfo* statusTable(int* count);

}  // namespace zuvisa
