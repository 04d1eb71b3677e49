// The module's one entry point.
#include "zuvisa/bridgelets/sim/sim.h"

extern "C" __attribute__((visibility("default"))) ViStatus zuvisaBridgeletRegister(
    zuvisa::Registrar* registrar) {
    try {
        return zuvisa::sim::registerSim(registrar);
    } catch (...) {
        return VI_ERROR_SYSTEM_ERROR;
    }
}
