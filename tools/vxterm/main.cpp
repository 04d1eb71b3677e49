// vxterm: a line-oriented terminal to VXI instruments, with word-serial commands and registers.
#include "tools/termcore/termmain.h"

int main(int argc, char** argv) {
    return Term_Main(argc, argv, kVxiTerminal);
}
