// One thread that runs the timed work of a simulated bench: delayed and periodic actions, a
// controller that hands GPIB control back. Tasks run without any lock of the scheduler held, so
// they may take device and bus locks; they must not wait for the scheduler itself.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <thread>

namespace zuvisa::sim {

class Scheduler {
public:
    using Task = std::function<void()>;
    ~Scheduler() { stop(); }

    // Runs task after ms milliseconds (0: as soon as the thread gets to it).
    void after(uint32_t ms, Task task);
    // Drops every pending task and ends the thread; tasks scheduled later are dropped.
    void stop();

private:
    void loop();

    std::mutex m_;
    std::condition_variable cv_;
    std::multimap<std::chrono::steady_clock::time_point, Task> tasks_;
    std::thread thread_;
    bool stopped_ = false;
};

}  // namespace zuvisa::sim
