// Asynchronous reads, writes and moves: one worker thread per session runs the jobs in order and
// reports each through VI_EVENT_IO_COMPLETION.
#include "zuvisa/session.h"

namespace zuvisa {

namespace {

// The local buffer of a job, which VI_ATTR_BUFFER names (0 for a move between two bus spaces).
uintptr_t bufferOf(const Job& job) {
    switch (job.kind) {
    case Job::Kind::Read: return reinterpret_cast<uintptr_t>(job.readBuf);
    case Job::Kind::Write: return reinterpret_cast<uintptr_t>(job.writeBuf);
    case Job::Kind::Move:
        if (job.move.destSpace == VI_LOCAL_SPACE) return static_cast<uintptr_t>(job.move.destOffset);
        if (job.move.srcSpace == VI_LOCAL_SPACE) return static_cast<uintptr_t>(job.move.srcOffset);
        return 0;
    }
    return 0;
}

void complete(Session& s, const Job& job, ViStatus status, uint64_t count) {
    EventData e;
    e.type = VI_EVENT_IO_COMPLETION;
    e.numbers = {{VI_ATTR_JOB_ID, job.id},
                 {VI_ATTR_STATUS, static_cast<ViUInt32>(status)},
                 {VI_ATTR_RET_COUNT_64, count},
                 {VI_ATTR_BUFFER, bufferOf(job)}};
    e.texts = {{VI_ATTR_OPER_NAME, job.operation}};
    s.raise(e);
}

// A move runs like a synchronous one: with the session's access checked, its I/O serialised and
// its timeout, and it ends early when the job is terminated.
ViStatus runMove(Session& s, Job& job, uint64_t* done) {
    ViStatus st = checkAccess(s);
    if (st < 0) return st;
    std::lock_guard<std::mutex> io(s.ioMutex);
    const MoveRequest& m = job.move;
    ViBusSize moved = 0;
    st = s.link->move(m.srcSpace, m.srcOffset, m.srcWidth, m.destSpace, m.destOffset, m.destWidth, m.length,
                      IoControl::fromTimeout(s.timeoutMs(), &job.cancel), &moved);
    *done = moved;
    return st;
}

ViStatus run(Session& s, Job& job, uint64_t* done) {
    if (job.kind == Job::Kind::Move) return runMove(s, job, done);
    size_t n = 0;
    ViStatus st = job.kind == Job::Kind::Read ? sessionRead(s, job.readBuf, job.count, &n, &job.cancel)
                                              : sessionWrite(s, job.writeBuf, job.count, &n, &job.cancel);
    *done = n;
    return st;
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
        uint64_t done = 0;
        ViStatus st = run(*self, *job, &done);
        if (job->cancel.load() && st < 0) st = VI_ERROR_ABORT;
        {
            std::lock_guard<std::mutex> lock(a->m);
            a->running.reset();
        }
        complete(*self, *job, st, done);
        self.reset();
    }
}

ViStatus queue(Session& s, std::shared_ptr<Job> job, ViJobId* id) {
    job->id = Library::instance().nextJobId();
    AsyncState& a = *s.async;
    std::lock_guard<std::mutex> lock(a.m);
    if (a.stop) return VI_ERROR_INV_OBJECT;
    a.pending.push_back(job);
    if (!a.worker.joinable()) a.worker = std::thread(jobLoop, s.async, s.weak_from_this());
    a.cv.notify_all();
    if (id) *id = job->id;
    return VI_SUCCESS;
}

}  // namespace

ViStatus startJob(Session& s, bool isRead, ViByte* readBuf, const ViByte* writeBuf,
                  ViUInt32 count, ViJobId* id) {
    auto job = std::make_shared<Job>();
    job->kind = isRead ? Job::Kind::Read : Job::Kind::Write;
    job->operation = isRead ? "viReadAsync" : "viWriteAsync";
    job->readBuf = readBuf;
    job->writeBuf = writeBuf;
    job->count = count;
    return queue(s, std::move(job), id);
}

ViStatus startMoveJob(Session& s, const MoveRequest& move, const char* operation, ViJobId* id) {
    auto job = std::make_shared<Job>();
    job->kind = Job::Kind::Move;
    job->operation = operation;
    job->move = move;
    return queue(s, std::move(job), id);
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
