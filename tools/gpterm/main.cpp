// gpterm: a line-oriented terminal to GPIB and other message-based VISA instruments.
#include "tools/termcore/termmain.h"

int main(int argc, char** argv) {
    return Term_Main(argc, argv, kGpibTerminal);
}
