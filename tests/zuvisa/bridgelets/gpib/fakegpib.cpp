// linux-gpib's library, played by a bus of simulated instruments (see fakegpib.h).
#include "fakegpib.h"

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <deque>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "zuvisa/bridgelets/gpib/libgpib.h"

namespace {

using namespace zuvisa::gpib;  // the constants the bridgelet declares from the documentation

struct Device {
    Device(int p, int s) : pad(p), sad(s) {}
    int pad, sad;  // sad: -1 none, else 0..30
    std::string input;
    std::deque<std::string> output;
    size_t pos = 0;
    int stb = 0;
    bool srq = false;
    FakeGpibDevice state{};
};

struct Descriptor {
    int pad = 0, sad = 0;  // sad as the library takes it
    int tmo = 11;
    bool eot = true;
    int eos = 0;
};

struct Bus {
    std::vector<Device> devices;
    std::map<int, Descriptor> descriptors;
    int nextUd = 16;
    FakeGpibState board{};
    std::set<Device*> listeners;
    Device* talker = nullptr;
    int boardBits = 0;
    bool removed = false;
    int waits = 0;
};

std::mutex gMutex;
std::condition_variable gChanged;
Bus gBus;

thread_local int tSta = 0, tErr = 0;
thread_local long tCntl = 0;

void resetLocked() {
    gBus = Bus{};
    gBus.devices = {Device(5, -1), Device(7, -1), Device(9, 3)};
    gBus.board.cic = gBus.board.systemController = true;
    gBus.board.passedTo = -1;
}

struct Init {
    Init() { resetLocked(); }
} gInit;

bool anySrq() {
    for (const Device& d : gBus.devices) {
        if (d.srq) return true;
    }
    return false;
}

int boardStatus() {
    int s = kCmpl | gBus.boardBits;
    if (gBus.board.cic) s |= kCic;
    if (gBus.board.atn) s |= kAtn;
    if (anySrq()) s |= kSrqi;
    return s;
}

}  // namespace

extern "C" {
int ibsta, iberr, ibcnt;
long ibcntl;
}

namespace {

int finish(int sta) {
    tSta = ibsta = sta;
    return sta;
}
int fail(int err, int sta = 0) {
    tErr = iberr = err;
    return finish(sta | kErr);
}
int failErrno(int e) {
    tCntl = ibcntl = e;
    return fail(kEdvr);
}
void count(long n) {
    tCntl = ibcntl = n;
    ibcnt = static_cast<int>(n);
}

Device* deviceAt(int pad, int sadCode) {
    for (Device& d : gBus.devices) {
        int code = d.sad < 0 ? kNoSad : kSadBase + d.sad;
        if (d.pad == pad && code == sadCode) return &d;
    }
    return nullptr;
}

bool isBoard(int ud) { return ud >= 0 && ud < 16; }

// What a descriptor is: the board (0), a board that is not there, a device, or nothing.
enum class Kind { Board, NoBoard, Device, Bad };
Kind kind(int ud) {
    if (ud == 0) return Kind::Board;
    if (isBoard(ud)) return Kind::NoBoard;
    return gBus.descriptors.count(ud) ? Kind::Device : Kind::Bad;
}

void handle(Device& d, std::string message) {
    while (!message.empty() && (message.back() == '\n' || message.back() == '\r')) message.pop_back();
    if (message == "*IDN?") {
        d.output.push_back("ZU,GPIB-FAKE," + std::to_string(d.pad) + ",1.0\n");
    } else if (message.rfind("ECHO? ", 0) == 0) {
        d.output.push_back(message.substr(6) + "\n");
    } else if (message == "SRQ") {
        d.stb = 0x01;
        d.srq = true;
    } else {
        snprintf(d.state.lastCommand, sizeof d.state.lastCommand, "%s", message.c_str());
    }
    gChanged.notify_all();
}

void receive(Device& d, const char* bytes, long n, bool eoi) {
    for (long i = 0; i < n; ++i) {
        d.input.push_back(bytes[i]);
        if (bytes[i] == '\n' || (eoi && i == n - 1)) {
            std::string m;
            m.swap(d.input);
            handle(d, m);
        }
    }
}

// Reads from a talker under the rules of a descriptor: at most n bytes, ending at the EOS
// character when asked to, with END on the last byte of an answer (EOI).
int talk(Device* d, const Descriptor& desc, char* buf, long n, std::unique_lock<std::mutex>& lock) {
    auto limit = std::chrono::microseconds(desc.tmo ? kTimeoutMicros[desc.tmo] : 3600LL * 1000000);
    auto deadline = std::chrono::steady_clock::now() + limit;
    while (!d || d->output.empty()) {
        if (gChanged.wait_until(lock, deadline) == std::cv_status::timeout) {
            count(0);
            return fail(kEabo, kTimo);
        }
        if (gBus.removed) return failErrno(ENODEV);
    }
    const std::string& msg = d->output.front();
    long got = 0;
    int sta = kCmpl;
    while (got < n && d->pos < msg.size()) {
        char c = msg[d->pos++];
        buf[got++] = c;
        bool eos = (desc.eos & kReos) &&
                   ((desc.eos & kBin) ? static_cast<uint8_t>(c) == (desc.eos & 0xFF) : (c & 0x7F) == (desc.eos & 0x7F));
        if (d->pos == msg.size()) {
            sta |= kEnd;
            d->output.pop_front();
            d->pos = 0;
            break;
        }
        if (eos) {
            sta |= kEnd;
            break;
        }
    }
    count(got);
    return finish(sta | (gBus.board.cic ? kCic : 0));
}

}  // namespace

extern "C" {

int ThreadIbsta() { return tSta; }
int ThreadIberr() { return tErr; }
int ThreadIbcnt() { return static_cast<int>(tCntl); }
long ThreadIbcntl() { return tCntl; }

#define FAKE_ENTER(ud)                                                      \
    std::unique_lock<std::mutex> lock(gMutex);                              \
    if (gBus.removed) return failErrno(ENODEV);                             \
    Kind k = kind(ud);                                                      \
    if (k == Kind::NoBoard) return fail(kEneb);                             \
    if (k == Kind::Bad) return fail(kEarg)

int ibdev(int board, int pad, int sad, int tmo, int eot, int eos) {
    std::lock_guard<std::mutex> lock(gMutex);
    if (gBus.removed) return failErrno(ENODEV), -1;
    if (board != 0) return fail(kEneb), -1;
    if (pad < 0 || pad > 30 || (sad != kNoSad && (sad < kSadBase || sad > kSadBase + 30)) || tmo < 0 || tmo > 17) {
        return fail(kEarg), -1;
    }
    int ud = gBus.nextUd++;
    gBus.descriptors[ud] = Descriptor{pad, sad, tmo, eot != 0, eos};
    finish(kCmpl);
    return ud;
}

int ibonl(int ud, int online) {
    FAKE_ENTER(ud);
    if (k == Kind::Device && !online) gBus.descriptors.erase(ud);
    return finish(kCmpl);
}

int ibwrt(int ud, const void* buf, long n) {
    FAKE_ENTER(ud);
    if (!gBus.board.cic) return fail(kEcic);
    const char* bytes = static_cast<const char*>(buf);
    if (k == Kind::Device) {
        const Descriptor& d = gBus.descriptors[ud];
        Device* dev = deviceAt(d.pad, d.sad);
        if (!dev) return fail(kEnol);
        receive(*dev, bytes, n, d.eot);
    } else {
        if (gBus.listeners.empty()) return fail(kEnol);
        gBus.board.atn = false;
        for (Device* dev : gBus.listeners) receive(*dev, bytes, n, true);
    }
    count(n);
    return finish(boardStatus());
}

int ibrd(int ud, void* buf, long n) {
    FAKE_ENTER(ud);
    if (!gBus.board.cic) return fail(kEcic);
    char* out = static_cast<char*>(buf);
    if (k == Kind::Device) {
        Descriptor d = gBus.descriptors[ud];
        return talk(deviceAt(d.pad, d.sad), d, out, n, lock);
    }
    gBus.board.atn = false;
    Descriptor boardDesc;
    boardDesc.tmo = 11;
    return talk(gBus.talker, boardDesc, out, n, lock);
}

int ibcmd(int ud, const void* buf, long n) {
    FAKE_ENTER(ud);
    if (k != Kind::Board) return fail(kEarg);
    if (!gBus.board.cic) return fail(kEcic);
    const uint8_t* b = static_cast<const uint8_t*>(buf);
    Device* last = nullptr;
    bool lastListens = false;
    for (long i = 0; i < n; ++i) {
        uint8_t c = b[i];
        char hex[4];
        snprintf(hex, sizeof hex, "%02X", c);
        if (strlen(gBus.board.commands) + 2 < sizeof gBus.board.commands) strcat(gBus.board.commands, hex);
        if (c == 0x3F) {
            gBus.listeners.clear();
        } else if (c == 0x5F) {
            gBus.talker = nullptr;
        } else if (c >= 0x20 && c <= 0x3E) {
            last = deviceAt(c - 0x20, kNoSad);
            lastListens = true;
            if (!last) {
                for (Device& d : gBus.devices) {
                    if (d.pad == c - 0x20) last = &d;  // waits for its secondary address
                }
            } else {
                gBus.listeners.insert(last);
                if (gBus.board.ren) last->state.remote = 1;
            }
        } else if (c >= 0x40 && c <= 0x5E) {
            last = deviceAt(c - 0x40, kNoSad);
            lastListens = false;
            if (last) gBus.talker = last;
            else {
                for (Device& d : gBus.devices) {
                    if (d.pad == c - 0x40) last = &d;
                }
            }
        } else if (c >= 0x60 && c <= 0x7E && last) {
            Device* d = deviceAt(last->pad, c);
            if (d && lastListens) {
                gBus.listeners.insert(d);
                if (gBus.board.ren) d->state.remote = 1;
            } else if (d) {
                gBus.talker = d;
            }
        } else if (c == 0x01) {
            for (Device* d : gBus.listeners) d->state.remote = 0;
        } else if (c == 0x04) {
            for (Device* d : gBus.listeners) ++d->state.clears;
        } else if (c == 0x14) {
            for (Device& d : gBus.devices) ++d.state.clears;
        } else if (c == 0x08) {
            for (Device* d : gBus.listeners) ++d->state.triggers;
        } else if (c == 0x11) {
            for (Device& d : gBus.devices) d.state.lockedOut = 1;
        }
    }
    gBus.board.atn = true;
    count(n);
    return finish(boardStatus());
}

int ibclr(int ud) {
    FAKE_ENTER(ud);
    if (k != Kind::Device) return fail(kEarg);
    const Descriptor& d = gBus.descriptors[ud];
    Device* dev = deviceAt(d.pad, d.sad);
    if (!dev) return fail(kEnol);
    ++dev->state.clears;
    dev->output.clear();
    dev->pos = 0;
    dev->input.clear();
    return finish(kCmpl);
}

int ibtrg(int ud) {
    FAKE_ENTER(ud);
    if (k != Kind::Device) return fail(kEarg);
    const Descriptor& d = gBus.descriptors[ud];
    Device* dev = deviceAt(d.pad, d.sad);
    if (!dev) return fail(kEnol);
    ++dev->state.triggers;
    return finish(kCmpl);
}

int ibrsp(int ud, char* spr) {
    FAKE_ENTER(ud);
    if (k != Kind::Device) return fail(kEarg);
    if (!gBus.board.cic) return fail(kEcic);
    const Descriptor& d = gBus.descriptors[ud];
    Device* dev = deviceAt(d.pad, d.sad);
    if (!dev) return fail(kEabo, kTimo);
    *spr = static_cast<char>(dev->stb | (dev->srq ? 0x40 : 0));
    dev->srq = false;
    return finish(kCmpl);
}

int ibtmo(int ud, int code) {
    FAKE_ENTER(ud);
    if (code < 0 || code > 17) return fail(kEarg);
    if (k == Kind::Device) gBus.descriptors[ud].tmo = code;
    return finish(kCmpl);
}

int ibeos(int ud, int eos) {
    FAKE_ENTER(ud);
    if (k == Kind::Device) gBus.descriptors[ud].eos = eos;
    return finish(kCmpl);
}

int ibeot(int ud, int eot) {
    FAKE_ENTER(ud);
    if (k == Kind::Device) gBus.descriptors[ud].eot = eot != 0;
    return finish(kCmpl);
}

int ibsre(int ud, int enable) {
    FAKE_ENTER(ud);
    if (k != Kind::Board) return fail(kEarg);
    if (!gBus.board.systemController) return fail(kEsac);
    gBus.board.ren = enable != 0;
    if (!enable) {
        for (Device& d : gBus.devices) d.state.remote = d.state.lockedOut = 0;
    }
    return finish(boardStatus());
}

int ibsic(int ud) {
    FAKE_ENTER(ud);
    if (k != Kind::Board) return fail(kEarg);
    if (!gBus.board.systemController) return fail(kEsac);
    ++gBus.board.ifcs;
    gBus.board.cic = true;
    gBus.listeners.clear();
    gBus.talker = nullptr;
    return finish(boardStatus());
}

int ibcac(int ud, int) {
    FAKE_ENTER(ud);
    if (k != Kind::Board) return fail(kEarg);
    if (!gBus.board.cic) return fail(kEcic);
    gBus.board.atn = true;
    return finish(boardStatus());
}

int ibgts(int ud, int) {
    FAKE_ENTER(ud);
    if (k != Kind::Board) return fail(kEarg);
    if (!gBus.board.cic) return fail(kEcic);
    gBus.board.atn = false;
    return finish(boardStatus());
}

int ibpct(int ud) {
    FAKE_ENTER(ud);
    if (k != Kind::Device) return fail(kEarg);
    if (!gBus.board.cic) return fail(kEcic);
    gBus.board.passedTo = gBus.descriptors[ud].pad;
    gBus.board.cic = false;
    gBus.board.atn = false;
    return finish(kCmpl);
}

int ibwait(int ud, int mask) {
    FAKE_ENTER(ud);
    ++gBus.waits;
    int sta = kCmpl;
    if (k == Kind::Board) {
        sta = boardStatus();
        gBus.boardBits &= ~(mask & (kDcas | kDtas));  // named in the mask: cleared after this
    } else {
        const Descriptor& d = gBus.descriptors[ud];
        Device* dev = deviceAt(d.pad, d.sad);
        if (dev && dev->srq) sta |= kRqs;  // as the driver's automatic serial polling shows it
    }
    return finish(sta);
}

int ibask(int ud, int option, int* value) {
    FAKE_ENTER(ud);
    const Descriptor* d = k == Kind::Device ? &gBus.descriptors[ud] : nullptr;
    switch (option) {
    case kOptPad: *value = d ? d->pad : gBus.board.boardPad; break;
    case kOptSad: *value = d ? d->sad : gBus.board.boardSad; break;
    case kOptTmo: *value = d ? d->tmo : 11; break;
    case kOptEot: *value = d ? d->eot : 1; break;
    case kOptSc: *value = gBus.board.systemController; break;
    case kOptAutopoll: *value = 1; break;
    case kOptHsCableLength: return fail(kEcap);
    default: return fail(kEarg);
    }
    return finish(kCmpl);
}

int ibconfig(int ud, int option, int) {
    FAKE_ENTER(ud);
    if (option == kOptHsCableLength) return fail(kEcap);
    if (option == kOptUnAddr) return finish(kCmpl);
    return fail(kEarg);
}

int ibloc(int ud) {
    FAKE_ENTER(ud);
    if (k == Kind::Device) {
        const Descriptor& d = gBus.descriptors[ud];
        if (Device* dev = deviceAt(d.pad, d.sad)) dev->state.remote = 0;
    }
    return finish(kCmpl);
}

int iblines(int ud, short* lines) {
    FAKE_ENTER(ud);
    int l = 0xFF;  // every line's state is known
    if (gBus.board.ren) l |= kBusRen;
    if (gBus.board.atn) l |= kBusAtn;
    if (anySrq()) l |= kBusSrq;
    if (!gBus.listeners.empty()) l |= kBusNdac;
    *lines = static_cast<short>(l);
    return finish(boardStatus());
}

int ibln(int ud, int pad, int sad, short* found) {
    FAKE_ENTER(ud);
    if (k != Kind::Board) return fail(kEarg);
    if (!gBus.board.cic) return fail(kEcic);
    *found = 0;
    for (const Device& d : gBus.devices) {
        int code = d.sad < 0 ? kNoSad : kSadBase + d.sad;
        if (d.pad == pad && (sad == -1 || sad == code)) *found = 1;
    }
    return finish(boardStatus());
}

int ibpad(int ud, int pad) {
    FAKE_ENTER(ud);
    if (pad < 0 || pad > 30) return fail(kEarg);
    if (k == Kind::Board) gBus.board.boardPad = pad;
    return finish(kCmpl);
}

int ibsad(int ud, int sad) {
    FAKE_ENTER(ud);
    if (sad != kNoSad && (sad < kSadBase || sad > kSadBase + 30)) return fail(kEarg);
    if (k == Kind::Board) gBus.board.boardSad = sad;
    return finish(kCmpl);
}

int ibrsc(int ud, int request) {
    FAKE_ENTER(ud);
    gBus.board.systemController = request != 0;
    return finish(boardStatus());
}

int ibrsv(int ud, int stb) {
    FAKE_ENTER(ud);
    gBus.board.statusByte = stb;
    return finish(boardStatus());
}

// ---- the test's controls ---------------------------------------------------------------------

void fakeGpibReset() {
    std::lock_guard<std::mutex> lock(gMutex);
    resetLocked();
}

void fakeGpibRequestService(int pad, int sad, int stb) {
    std::lock_guard<std::mutex> lock(gMutex);
    if (Device* d = deviceAt(pad, sad < 0 ? kNoSad : kSadBase + sad)) {
        d->stb = stb & ~0x40;
        d->srq = true;
    }
}

void fakeGpibSetCic(bool cic) {
    std::lock_guard<std::mutex> lock(gMutex);
    gBus.board.cic = cic;
}

void fakeGpibSetBoardStatus(int bits) {
    std::lock_guard<std::mutex> lock(gMutex);
    gBus.boardBits = bits;
}

void fakeGpibRemoveBoard() {
    std::lock_guard<std::mutex> lock(gMutex);
    gBus.removed = true;
    gChanged.notify_all();
}

void fakeGpibState(FakeGpibState* out) {
    std::lock_guard<std::mutex> lock(gMutex);
    *out = gBus.board;
}

bool fakeGpibDevice(int pad, int sad, FakeGpibDevice* out) {
    std::lock_guard<std::mutex> lock(gMutex);
    Device* d = deviceAt(pad, sad < 0 ? kNoSad : kSadBase + sad);
    if (!d) return false;
    *out = d->state;
    return true;
}

int fakeGpibWaits() {
    std::lock_guard<std::mutex> lock(gMutex);
    return gBus.waits;
}
}
