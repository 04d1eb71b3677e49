// The module's one entry point.
#include "zuvisa/bridgelets/gpib/gpib.h"

extern "C" __attribute__((visibility("default"))) ViStatus zuvisaBridgeletRegister(
    zuvisa::Registrar* registrar) {
    try {
        return zuvisa::gpib::registerGpib(registrar);
    } catch (...) {
        return VI_ERROR_SYSTEM_ERROR;
    }
}
