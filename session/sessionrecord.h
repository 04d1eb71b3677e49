// The record of one session window: its session, the buffers of its I/O panels, its one slot
// for an asynchronous job and the operation panels that job completes into. The window owns it;
// it is the callback data of the session panel and of every operation panel and its controls.
#pragma once

#include <atomic>

#include "zuvisa/visa.h"

// How tabs and rings name operations and attributes.
enum { NAME_STYLE_VISA = 1, NAME_STYLE_LABELS = 2 };

// The kind of the asynchronous job in progress.
enum {
    ASYNC_NONE = 0,
    ASYNC_READ = 1,
    ASYNC_WRITE = 2,
    ASYNC_MOVE_IN = 3,
    ASYNC_MOVE_OUT = 4,
    ASYNC_MOVE = 5
};

struct SessionRecord {
    int nameStyle;
    ViSession session;
    ViByte* moveInBuffer;
    ViUInt32 moveInSize;
    ViUInt16 moveInWidth;  // element width in bits: 8, 16 or 32
    ViUInt16 moveOutWidth;
    ViByte* moveOutBuffer;
    ViUInt32 moveOutSize;
    ViByte* readBuffer;
    ViUInt32 readSize;
    char* writeBuffer;
    ViUInt32 writeSize;  // text that fits, one byte less than allocated for Write
    ViJobId jobId;
    ViUInt16 asyncKind;
    ViStatus completionStatus;  // written by the I/O completion handler
    ViUInt32 completionCount;
    int peekPanel, pokePanel, readPanel, writePanel, moveInPanel, moveOutPanel, movePanel;
    int eventHandlerPanel;  // 0 in the descriptive name style
    // Further state.
    ViUInt32 kindMask;  // the resource kind of the session, one bit or all
    char accessKey[256];  // the key of the last shared lock granted, "" when none is known
    // The window Map Address mapped (size 0: none); Peek and Poke stay inside it.
    ViUInt64 mapBase, mapSize;
    // Completions posted to the GUI thread and not yet run; the record outlives them.
    std::atomic<int> completionsPosted;
    bool closed;  // the window is gone; only the posted completions still hold the record
    // Calls of its panels that keep the windows usable while they wait (GUI thread only); the
    // record outlives them too.
    int callsWaiting;
};
