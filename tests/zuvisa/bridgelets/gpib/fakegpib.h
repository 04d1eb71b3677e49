// A stand-in for linux-gpib's library, exporting the same functions (ibdev, ibwrt, ibrd, ...,
// ThreadIbsta, ThreadIberr, ThreadIbcntl) with the same rules: ibsta returned and kept per
// thread, iberr and ibcntl set on failure, board descriptors 0 to 15, device descriptors from
// ibdev, secondary addresses as 0x60 + address, timeouts as codes 0 to 17.
//
// Behind board 0 (primary address 0, system controller, in charge) sit instruments at 5, 7 and
// 9 with secondary 3. A message ends with EOI or a newline. "*IDN?" answers the identity with
// the address, "ECHO? text" the text, "SRQ" requests service with status byte 0x41 (with RQS),
// other messages are kept as the device's last command. Boards 1 to 15 are not there.
#pragma once

#include <cstdint>

extern "C" {

struct FakeGpibState {
    bool ren, atn, cic, systemController;
    int ifcs;                // IFC pulses
    int passedTo;            // the primary address control was passed to, -1 none
    int boardPad, boardSad;  // as the library keeps them (sad: 0 or 0x60 + address)
    int statusByte;          // what the board answers a serial poll with (ibrsv)
    char commands[256];      // the command bytes sent, as hexadecimal pairs
};

struct FakeGpibDevice {
    int remote, lockedOut, clears, triggers;
    char lastCommand[128];
};

void fakeGpibReset();
void fakeGpibRequestService(int pad, int sad, int stb);
// Another controller takes control (cic false) or passes it back.
void fakeGpibSetCic(bool cic);
// The board's own state as a device: talk or listen addressed, cleared, triggered (ibsta bits).
void fakeGpibSetBoardStatus(int bits);
// The board goes away (a USB adapter pulled): every call fails with EDVR and ENODEV.
void fakeGpibRemoveBoard();
void fakeGpibState(FakeGpibState* out);
bool fakeGpibDevice(int pad, int sad, FakeGpibDevice* out);
// Calls to ibwait so far (the watcher's pace).
int fakeGpibWaits();
}
