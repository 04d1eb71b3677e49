// linux-gpib's C library (libgpib.so.0), loaded at run time: the functions the gpib bridgelet
// calls and the constants of their arguments and results, declared here from the library's
// documentation. ZU-VISA builds and runs without the library; the bridgelet then says so.
#pragma once

#include <string>

namespace zuvisa::gpib {

// ibsta bits.
inline constexpr int kDcas = 0x1, kDtas = 0x2, kLacs = 0x4, kTacs = 0x8, kAtn = 0x10, kCic = 0x20,
                     kRem = 0x40, kLok = 0x80, kCmpl = 0x100, kEvent = 0x200, kSpoll = 0x400,
                     kRqs = 0x800, kSrqi = 0x1000, kEnd = 0x2000, kTimo = 0x4000, kErr = 0x8000;

// iberr codes.
inline constexpr int kEdvr = 0, kEcic = 1, kEnol = 2, kEadr = 3, kEarg = 4, kEsac = 5, kEabo = 6,
                     kEneb = 7, kEdma = 8, kEoip = 10, kEcap = 11, kEfso = 12, kEbus = 14, kEstb = 15,
                     kEsrq = 16, kEtab = 20;

// ibeos flags (the low byte is the character).
inline constexpr int kReos = 0x400, kXeos = 0x800, kBin = 0x1000;

// iblines bits: a line's value is meaningful when its Valid bit is set.
inline constexpr int kValidNdac = 0x02, kValidRen = 0x10, kValidSrq = 0x20, kValidAtn = 0x40;
inline constexpr int kBusNdac = 0x0200, kBusRen = 0x1000, kBusSrq = 0x2000, kBusAtn = 0x4000;

// ibask and ibconfig options.
inline constexpr int kOptPad = 0x1, kOptSad = 0x2, kOptTmo = 0x3, kOptEot = 0x4, kOptAutopoll = 0x7,
                     kOptSc = 0xa, kOptSre = 0xb, kOptUnAddr = 0x1b, kOptHsCableLength = 0x1f;

// Secondary addresses go to the library as 0x60 + address; 0 is none.
inline constexpr int kSadBase = 0x60;
inline constexpr int kNoSad = 0;

// Timeout codes: kTimeoutMicros[n] is the limit of code n (code 0: none).
inline constexpr int kTimeoutCodes = 18;
inline constexpr long long kTimeoutMicros[kTimeoutCodes] = {
    0,         10,        30,         100,        300,         1000,        3000,      10000,     30000,
    100000,    300000,    1000000,    3000000,    10000000,    30000000,    100000000, 300000000, 1000000000};
// The smallest code whose limit is at least ms (0 for VI_TMO_INFINITE).
int timeoutCode(unsigned ms, bool infinite);

struct Api {
    int (*ibdev)(int board, int pad, int sad, int tmo, int eot, int eos);
    int (*ibonl)(int ud, int online);
    int (*ibwrt)(int ud, const void* buf, long count);
    int (*ibrd)(int ud, void* buf, long count);
    int (*ibcmd)(int ud, const void* buf, long count);
    int (*ibclr)(int ud);
    int (*ibtrg)(int ud);
    int (*ibrsp)(int ud, char* spr);
    int (*ibtmo)(int ud, int code);
    int (*ibeos)(int ud, int eos);
    int (*ibeot)(int ud, int eot);
    int (*ibsre)(int ud, int enable);
    int (*ibsic)(int ud);
    int (*ibcac)(int ud, int synchronous);
    int (*ibgts)(int ud, int shadow);
    int (*ibpct)(int ud);
    int (*ibwait)(int ud, int mask);
    int (*ibask)(int ud, int option, int* value);
    int (*ibconfig)(int ud, int option, int value);
    int (*ibloc)(int ud);
    int (*iblines)(int ud, short* lines);
    int (*ibln)(int ud, int pad, int sad, short* found);
    int (*ibpad)(int ud, int pad);
    int (*ibsad)(int ud, int sad);
    int (*ibrsc)(int ud, int request);
    int (*ibrsv)(int ud, int stb);
    int (*ThreadIbsta)();
    int (*ThreadIberr)();
    long (*ThreadIbcntl)();
};

// Loads the library (a file name the dynamic loader looks for, or a path). Null with the
// reason when the library or one of its functions is missing.
const Api* loadApi(const std::string& library, std::string* problem);

}  // namespace zuvisa::gpib
