#include "zuvisa/bridgelets/sim/scheduler.h"

namespace zuvisa::sim {

void Scheduler::after(uint32_t ms, Task task) {
    std::lock_guard<std::mutex> lock(m_);
    if (stopped_) return;
    tasks_.emplace(std::chrono::steady_clock::now() + std::chrono::milliseconds(ms), std::move(task));
    if (!thread_.joinable()) thread_ = std::thread([this] { loop(); });
    cv_.notify_all();
}

void Scheduler::stop() {
    std::thread t;
    {
        std::lock_guard<std::mutex> lock(m_);
        stopped_ = true;
        tasks_.clear();
        t = std::move(thread_);
        cv_.notify_all();
    }
    if (t.joinable()) {
        if (t.get_id() == std::this_thread::get_id()) t.detach();
        else t.join();
    }
}

void Scheduler::loop() {
    std::unique_lock<std::mutex> lock(m_);
    while (!stopped_) {
        if (tasks_.empty()) {
            cv_.wait(lock);
            continue;
        }
        auto due = tasks_.begin()->first;
        if (std::chrono::steady_clock::now() < due) {
            cv_.wait_until(lock, due);
            continue;
        }
        Task task = std::move(tasks_.begin()->second);
        tasks_.erase(tasks_.begin());
        lock.unlock();
        task();
        task = nullptr;  // whatever it held goes before the lock is taken again
        lock.lock();
    }
}

}  // namespace zuvisa::sim
