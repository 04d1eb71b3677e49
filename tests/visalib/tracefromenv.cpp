// A program for the trace tests: a few calls on the bench with $TALMIK_TRACE set by the test,
// then a normal exit, after which the file must hold every call.
#include "visalib/visalib.h"

int main() {
    ViSession rm = 0, vi = 0;
    if (viOpenDefaultRM(&rm) < VI_SUCCESS || viOpen(rm, "GPIB0::5::INSTR", VI_NULL, 0, &vi) < VI_SUCCESS) return 1;
    static const char query[] = "*IDN?\n";
    ViUInt32 n = 0;
    unsigned char buf[64];
    viWrite(vi, reinterpret_cast<ViConstBuf>(query), sizeof query - 1, &n);
    viRead(vi, buf, sizeof buf, &n);
    viClose(rm);
    return 0;
}
