// Asynchronous reads and writes: one worker thread per session runs the jobs in order and
// reports each through VI_EVENT_IO_COMPLETION.
#include "zuvisa/session.h"

namespace zuvisa {

namespace {

void complete(Session& s, const Job& job, ViStatus status, size_t count) {
    EventData e;
    e.type = VI_EVENT_IO_COMPLETION;
    e.numbers = {{VI_ATTR_JOB_ID, job.id},
                 {VI_ATTR_STATUS, static_cast<ViUInt32>(status)},
                 {VI_ATTR_RET_COUNT_64, count},
                 {VI_ATTR_BUFFER, reinterpret_cast<uintptr_t>(job.isRead ? job.readBuf : job.writeBuf)}};
    e.texts = {{VI_ATTR_OPER_NAME, job.isRead ? "viReadAsync" : "viWriteAsync"}};
    s.raise(e);
}

void jobLoop(std::shared_ptr<AsyncState> a, std::weak_ptr<Session> weak) {
    for (;;) {
        std::shared_ptr<Job> job;
        {
            std::unique_lock<std::mutex> lock(a->m);
            a->cv.wait(lock, [&] { return a->stop || !a->pending.empty(); });
            if (a->stop) return;
            job = a->pending.front();
            a->pending.pop_front();
            a->running = job;
        }
        std::shared_ptr<Session> self = weak.lock();
        if (!self) return;
        size_t done = 0;
        ViStatus st;
        if (job->isRead) st = sessionRead(*self, job->readBuf, job->count, &done, &job->cancel);
        else st = sessionWrite(*self, job->writeBuf, job->count, &done, &job->cancel);
        if (job->cancel.load() && st < 0) st = VI_ERROR_ABORT;
        {
            std::lock_guard<std::mutex> lock(a->m);
            a->running.reset();
        }
        complete(*self, *job, st, done);
        self.reset();
    }
}

}  // namespace

ViStatus startJob(Session& s, bool isRead, ViByte* readBuf, const ViByte* writeBuf,
                  ViUInt32 count, ViJobId* id) {
    auto job = std::make_shared<Job>();
    job->id = Library::instance().nextJobId();
    job->isRead = isRead;
    job->readBuf = readBuf;
    job->writeBuf = writeBuf;
    job->count = count;
    AsyncState& a = *s.async;
    std::lock_guard<std::mutex> lock(a.m);
    if (a.stop) return VI_ERROR_INV_OBJECT;
    a.pending.push_back(job);
    if (!a.worker.joinable()) a.worker = std::thread(jobLoop, s.async, s.weak_from_this());
    a.cv.notify_all();
    if (id) *id = job->id;
    return VI_SUCCESS;
}

ViStatus terminateJob(Session& s, ViUInt16 degree, ViJobId id) {
    if (degree != VI_NULL) return VI_ERROR_INV_DEGREE;
    AsyncState& a = *s.async;
    std::shared_ptr<Job> aborted;
    {
        std::lock_guard<std::mutex> lock(a.m);
        if (a.running && a.running->id == id) {
            a.running->cancel = true;
            return VI_SUCCESS;
        }
        for (auto it = a.pending.begin(); it != a.pending.end(); ++it) {
            if ((*it)->id == id) {
                aborted = *it;
                a.pending.erase(it);
                break;
            }
        }
    }
    if (!aborted) return VI_ERROR_INV_JOB_ID;
    complete(s, *aborted, VI_ERROR_ABORT, 0);
    return VI_SUCCESS;
}

void stopJobs(Session& s) {
    std::shared_ptr<AsyncState> a = s.async;
    std::thread worker;
    {
        std::lock_guard<std::mutex> lock(a->m);
        a->stop = true;
        a->pending.clear();
        if (a->running) a->running->cancel = true;
        worker = std::move(a->worker);
        a->cv.notify_all();
    }
    if (worker.joinable()) {
        if (worker.get_id() == std::this_thread::get_id()) worker.detach();
        else worker.join();
    }
}

}  // namespace zuvisa
