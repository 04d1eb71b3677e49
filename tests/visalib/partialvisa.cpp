// A VISA library that lacks most of the API, for tests of the binding's refusal.
#include "zuvisa/visa.h"

extern "C" ViStatus _VI_FUNC viOpenDefaultRM(ViPSession vi) {
    *vi = 1;
    return VI_SUCCESS;
}
