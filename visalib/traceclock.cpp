#include "visalib/traceclock.h"

#include <time.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <vector>

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#include <x86intrin.h>
#define VISATRACE_TSC 1
#endif

namespace visatrace {

namespace {

bool invariantCounter() {
#ifdef VISATRACE_TSC
    unsigned a = 0, b = 0, c = 0, d = 0;
    // CPUID 0x80000007, EDX bit 8: the counter runs at a constant rate in every state.
    return __get_cpuid(0x80000007, &a, &b, &c, &d) && (d & (1u << 8));
#else
    return false;
#endif
}

const bool g_counter = invariantCounter();

struct Anchor {
    uint64_t stamp;
    int64_t wall;
};

struct Anchors {
    std::mutex mutex;
    std::vector<Anchor> points;
    std::atomic<uint64_t> due{0};
};

// Never destroyed: VISA's threads may record while the program exits.
Anchors& anchors() {
    static Anchors* a = new Anchors;
    return *a;
}

// Bounds the anchors kept (over a day at one a second); the oldest go first.
constexpr size_t kMaxAnchors = 100000;

Anchor now() {
    int64_t wall = wallNs();
    return {stamp(), wall};
}

// Nanoseconds per stamp unit between two anchors; 1 when they are too close to tell.
double rate(const Anchor& a, const Anchor& b) {
    if (b.stamp <= a.stamp || b.wall <= a.wall) return g_counter ? 0.0 : 1.0;
    return static_cast<double>(b.wall - a.wall) / static_cast<double>(b.stamp - a.stamp);
}

}  // namespace

int64_t monotonicNs() {
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<int64_t>(ts.tv_sec) * 1000000000 + ts.tv_nsec;
}

int64_t wallNs() {
    timespec ts;
    clock_gettime(CLOCK_REALTIME, &ts);
    return static_cast<int64_t>(ts.tv_sec) * 1000000000 + ts.tv_nsec;
}

uint64_t stamp() {
#ifdef VISATRACE_TSC
    if (g_counter) return __rdtsc();
#endif
    return static_cast<uint64_t>(monotonicNs());
}

void anchorIfDue(uint64_t s) {
    Anchors& a = anchors();
    if (s < a.due.load(std::memory_order_relaxed)) return;
    std::lock_guard<std::mutex> lock(a.mutex);
    if (s < a.due.load(std::memory_order_relaxed)) return;
    Anchor n = now();
    if (a.points.size() >= kMaxAnchors) a.points.erase(a.points.begin(), a.points.begin() + kMaxAnchors / 10);
    a.points.push_back(n);
    // About a second to the next, once the rate is known; soon after the first.
    double r = a.points.size() > 1 ? rate(a.points.front(), n) : 0.0;
    uint64_t step = r > 0 ? static_cast<uint64_t>(1e9 / r) : 1000000;
    a.due.store(n.stamp + step, std::memory_order_relaxed);
}

int64_t wallOfStamp(uint64_t s) {
    Anchors& a = anchors();
    Anchor current = now();
    std::lock_guard<std::mutex> lock(a.mutex);
    const std::vector<Anchor>& p = a.points;
    if (p.empty()) return current.wall;  // no record was ever finished
    auto after = std::upper_bound(p.begin(), p.end(), s, [](uint64_t v, const Anchor& x) { return v < x.stamp; });
    if (after != p.begin() && after != p.end()) {
        const Anchor& lo = *(after - 1);
        return lo.wall + static_cast<int64_t>(static_cast<double>(s - lo.stamp) * rate(lo, *after));
    }
    // Beyond the anchors: from the nearest one at the rate seen over the whole run.
    double r = rate(p.front(), current);
    const Anchor& near = after == p.begin() ? p.front() : p.back();
    double offset = s >= near.stamp ? static_cast<double>(s - near.stamp) : -static_cast<double>(near.stamp - s);
    return near.wall + static_cast<int64_t>(offset * r);
}

int64_t nanosecondsBetween(uint64_t from, uint64_t to) {
    if (to <= from) return 0;
    if (!g_counter) return static_cast<int64_t>(to - from);
    Anchors& a = anchors();
    Anchor current = now();
    std::lock_guard<std::mutex> lock(a.mutex);
    double r = a.points.empty() ? 0.0 : rate(a.points.front(), current);
    return static_cast<int64_t>(static_cast<double>(to - from) * r);
}

}  // namespace visatrace
