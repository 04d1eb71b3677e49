#include "zuvisa/log.h"

#include <atomic>
#include <mutex>

#include "zuvisa/zuvisa.h"

namespace zuvisa {

namespace {
std::mutex gSinkMutex;
ZuVisaLogSink gSink = nullptr;
void* gSinkData = nullptr;
std::atomic<int> gMaxLevel{-1};
}  // namespace

bool logEnabled(int level) { return level <= gMaxLevel.load(std::memory_order_relaxed); }

void logLine(int level, const std::string& text) {
    if (!logEnabled(level)) return;
    std::lock_guard<std::mutex> lock(gSinkMutex);
    if (gSink) gSink(gSinkData, level, text.c_str());
}

}  // namespace zuvisa

extern "C" void zuvisaSetLogSink(ZuVisaLogSink sink, void* userData, int maxLevel) {
    std::lock_guard<std::mutex> lock(zuvisa::gSinkMutex);
    zuvisa::gSink = sink;
    zuvisa::gSinkData = userData;
    zuvisa::gMaxLevel.store(sink ? maxLevel : -1, std::memory_order_relaxed);
}
