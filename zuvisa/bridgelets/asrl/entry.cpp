// The module's one entry point.
#include "zuvisa/bridgelets/asrl/asrl.h"

extern "C" __attribute__((visibility("default"))) ViStatus zuvisaBridgeletRegister(
    zuvisa::Registrar* registrar) {
    try {
        return zuvisa::asrl::registerAsrl(registrar);
    } catch (...) {
        return VI_ERROR_SYSTEM_ERROR;
    }
}
