// The module's one entry point.
#include "zuvisa/bridgelets/tcpip/tcpip.h"

extern "C" __attribute__((visibility("default"))) ViStatus zuvisaBridgeletRegister(
    zuvisa::Registrar* registrar) {
    try {
        return zuvisa::tcpip::registerTcpip(registrar);
    } catch (...) {
        return VI_ERROR_SYSTEM_ERROR;
    }
}
