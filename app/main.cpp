#include "app/talmik.h"
#include "uiruntime/uiruntime.h"

int main(int argc, char** argv) {
    if (!InitKestrelRTEEx(0, argv, 0)) return -1;
    return talmik_main(findOnStartFromCommandLine(argc, argv));
}
