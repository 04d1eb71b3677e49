#include "app/tracenames.h"

#include <cstring>

#include "session/statusnames.h"
#include "visalib/trace.h"

namespace {

// statusName answers "<Unknown>" for a code without a name; the trace then shows the number.
const char* knownStatusName(ViStatus status) {
    const char* name = statusName(status);
    return std::strcmp(name, "<Unknown>") == 0 ? nullptr : name;
}

const VisaTraceNames kNames = {
    knownStatusName,
    nullptr,  // attribute names: the attribute catalogue
    nullptr,  // event names: the event catalogue
    nullptr,  // attribute sizes: the attribute catalogue
    nullptr,  // escaped text: the codec of the I/O panels
};

}  // namespace

void installIoTraceNames() { VisaTrace_SetNames(&kNames); }
