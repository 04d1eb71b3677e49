// The module's one entry point.
#include "zuvisa/bridgelets/usbtmc/usbtmc.h"

extern "C" __attribute__((visibility("default"))) ViStatus zuvisaBridgeletRegister(
    zuvisa::Registrar* registrar) {
    try {
        return zuvisa::usbtmc::registerUsbtmc(registrar);
    } catch (...) {
        return VI_ERROR_SYSTEM_ERROR;
    }
}
