// zudm6500: the soft front panel of the DM-6500 digital multimeter.
//
//   zudm6500 [RESOURCE]   (GPIB0::22::INSTR when none is given)
#include <cstdio>
#include <cstring>
#include <string>

#include "tools/zudm6500/dmm.h"
#include "tools/zudm6500/panel.h"
#include "uiruntime/uiruntime.h"
#include "zudm6500_uir.h"

int main(int argc, char** argv) {
    std::string resource = kDmmDefaultResource;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0) {
            std::printf(
                "Usage: zudm6500 [RESOURCE]\n"
                "The soft front panel of the DM-6500 digital multimeter: measures, and sets the\n"
                "function and the range, through VISA. RESOURCE is %s when not given.\n",
                kDmmDefaultResource);
            return 0;
        }
        if (argv[i][0] == '-') {
            std::fprintf(stderr, "zudm6500: unknown option \"%s\"; zudm6500 --help tells more.\n",
                         argv[i]);
            return 2;
        } else {
            resource = argv[i];
        }
    }
    if (!InitKestrelRTEEx(0, argv, 0)) {
        std::fprintf(stderr, "zudm6500: no display\n");
        return 1;
    }
    RegisterUirCallbacks_zudm6500();
    int panel = DmmPanel_Show(resource);
    if (panel < 0) {
        std::fprintf(stderr, "zudm6500: %s (%s)\n", GetUILErrorString(panel),
                     LoadPanelErrorDetail());
        CloseKestrelRTE();
        return 1;
    }
    int rc = RunUserInterface();
    DmmPanel_Discard();
    CloseKestrelRTE();
    return rc;
}
