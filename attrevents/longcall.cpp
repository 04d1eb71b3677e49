#include "attrevents/longcall.h"

#include <atomic>
#include <chrono>
#include <thread>

#include "attrevents/completion.h"
#include "uiruntime/uiruntime.h"

ViStatus callKeepingWindowsUsable(SessionRecord* r, int panel,
                                  const std::function<ViStatus()>& call, bool* windowClosed) {
    SetPanelAttribute(panel, ATTR_DIMMED, 1);
    ProcessDrawEvents();
    ViStatus status = VI_ERROR_SYSTEM_ERROR;
    std::atomic<bool> done{false};
    holdRecordForCall(r);
    std::thread worker;
    try {
        worker = std::thread([&] {
            status = call();
            done.store(true, std::memory_order_release);
        });
    } catch (...) {
        status = call();  // no thread to be had: wait here as a plain call would
        done.store(true);
    }
    // Other windows stay usable; closing this one closes its session, which ends the call.
    while (!done.load(std::memory_order_acquire)) {
        ProcessSystemEvents();
        if (!done.load(std::memory_order_acquire))
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    if (worker.joinable()) worker.join();
    *windowClosed = r->closed;
    releaseRecordAfterCall(r);
    if (!*windowClosed) SetPanelAttribute(panel, ATTR_DIMMED, 0);
    return status;
}
