#include "zuvisa/bridgelets/sim/faults.h"

#include <cstring>
#include <thread>

namespace zuvisa::sim {

FaultPlan::FaultPlan(std::vector<FaultDef> faults) : faults_(std::move(faults)), calls_(faults_.size(), 0) {}

ViStatus FaultPlan::apply(const char* family, int width, uint32_t* delayMs) {
    std::string exact = width ? std::string(family) + std::to_string(width) : std::string();
    *delayMs = 0;
    std::lock_guard<std::mutex> lock(m_);
    for (size_t i = 0; i < faults_.size(); ++i) {
        const FaultDef& f = faults_[i];
        if (f.operation != family && f.operation != exact) continue;
        uint64_t n = calls_[i]++;
        if (n < f.after) continue;
        if (f.times >= 0 && n - f.after >= static_cast<uint64_t>(f.times)) continue;
        *delayMs = f.delayMs;
        return f.status;
    }
    return VI_SUCCESS;
}

namespace {

class FaultyLink : public Link {
public:
    FaultyLink(std::unique_ptr<Link> inner, std::shared_ptr<FaultPlan> plan)
        : inner_(std::move(inner)), plan_(std::move(plan)) {}

    ViStatus write(const ViByte* buf, size_t count, bool end, const IoControl& io, size_t* done) override {
        *done = 0;
        if (ViStatus st = fault("viWrite", 0, &io); st != VI_SUCCESS) return st;
        return inner_->write(buf, count, end, io, done);
    }
    ViStatus read(ViByte* buf, size_t count, const ReadOptions& opt, const IoControl& io, size_t* done) override {
        *done = 0;
        if (ViStatus st = fault("viRead", 0, &io); st != VI_SUCCESS) return st;
        return inner_->read(buf, count, opt, io, done);
    }
    ViStatus clear() override { return call("viClear", 0, [&] { return inner_->clear(); }); }
    ViStatus readStb(ViUInt16* stb) override { return call("viReadSTB", 0, [&] { return inner_->readStb(stb); }); }
    ViStatus assertTrigger(ViUInt16 p) override {
        return call("viAssertTrigger", 0, [&] { return inner_->assertTrigger(p); });
    }
    ViStatus setIoBuffer(ViUInt16 mask, ViUInt32 size) override {
        return call("viSetBuf", 0, [&] { return inner_->setIoBuffer(mask, size); });
    }
    ViStatus flushIoBuffer(ViUInt16 mask) override { return call("viFlush", 0, [&] { return inner_->flushIoBuffer(mask); }); }
    ViStatus getAttribute(ViAttr attr, ViAttrState* v, std::string* text) override {
        return call("viGetAttribute", 0, [&] { return inner_->getAttribute(attr, v, text); });
    }
    ViStatus setAttribute(ViAttr attr, ViAttrState v) override {
        return call("viSetAttribute", 0, [&] { return inner_->setAttribute(attr, v); });
    }
    ViStatus in(ViUInt16 space, ViBusAddress64 offset, int width, ViUInt64* value) override {
        return call("viIn", width, [&] { return inner_->in(space, offset, width, value); });
    }
    ViStatus out(ViUInt16 space, ViBusAddress64 offset, int width, ViUInt64 value) override {
        return call("viOut", width, [&] { return inner_->out(space, offset, width, value); });
    }
    ViStatus moveIn(ViUInt16 space, ViBusAddress64 offset, int width, ViBusSize length, void* buf) override {
        return call("viMoveIn", width, [&] { return inner_->moveIn(space, offset, width, length, buf); });
    }
    ViStatus moveOut(ViUInt16 space, ViBusAddress64 offset, int width, ViBusSize length, const void* buf) override {
        return call("viMoveOut", width, [&] { return inner_->moveOut(space, offset, width, length, buf); });
    }
    ViStatus move(ViUInt16 ss, ViBusAddress64 so, int sw, ViUInt16 ds, ViBusAddress64 dof, int dw, ViBusSize n,
                  const IoControl& io, ViBusSize* done) override {
        *done = 0;
        if (ViStatus st = fault("viMove", 0, &io); st != VI_SUCCESS) return st;
        return inner_->move(ss, so, sw, ds, dof, dw, n, io, done);
    }
    ViStatus mapAddress(ViUInt16 space, ViBusAddress64 offset, ViBusSize size, bool access, ViAddr suggested,
                        ViAddr* address) override {
        return call("viMapAddress", 0, [&] { return inner_->mapAddress(space, offset, size, access, suggested, address); });
    }
    ViStatus unmapAddress() override { return call("viUnmapAddress", 0, [&] { return inner_->unmapAddress(); }); }
    ViStatus peek(ViAddr address, int width, ViUInt64* value) override {
        return call("viPeek", width, [&] { return inner_->peek(address, width, value); });
    }
    ViStatus poke(ViAddr address, int width, ViUInt64 value) override {
        return call("viPoke", width, [&] { return inner_->poke(address, width, value); });
    }
    ViStatus memAlloc(ViBusSize size, ViBusAddress64* offset) override {
        return call("viMemAlloc", 0, [&] { return inner_->memAlloc(size, offset); });
    }
    ViStatus memFree(ViBusAddress64 offset) override { return call("viMemFree", 0, [&] { return inner_->memFree(offset); }); }
    ViStatus vxiCommandQuery(ViUInt16 mode, ViUInt32 cmd, ViUInt32* response, const IoControl& io) override {
        if (ViStatus st = fault("viVxiCommandQuery", 0, &io); st != VI_SUCCESS) return st;
        return inner_->vxiCommandQuery(mode, cmd, response, io);
    }
    ViStatus gpibControlRen(ViUInt16 mode) override {
        return call("viGpibControlREN", 0, [&] { return inner_->gpibControlRen(mode); });
    }
    ViStatus gpibControlAtn(ViUInt16 mode) override {
        return call("viGpibControlATN", 0, [&] { return inner_->gpibControlAtn(mode); });
    }
    ViStatus gpibSendIfc() override { return call("viGpibSendIFC", 0, [&] { return inner_->gpibSendIfc(); }); }
    ViStatus gpibCommand(const ViByte* buf, size_t count, size_t* done) override {
        *done = 0;
        return call("viGpibCommand", 0, [&] { return inner_->gpibCommand(buf, count, done); });
    }
    ViStatus gpibPassControl(ViUInt16 primary, ViUInt16 secondary) override {
        return call("viGpibPassControl", 0, [&] { return inner_->gpibPassControl(primary, secondary); });
    }
    ViStatus mapTrigger(ViInt16 src, ViInt16 dest, ViUInt16 mode) override {
        return call("viMapTrigger", 0, [&] { return inner_->mapTrigger(src, dest, mode); });
    }
    ViStatus unmapTrigger(ViInt16 src, ViInt16 dest) override {
        return call("viUnmapTrigger", 0, [&] { return inner_->unmapTrigger(src, dest); });
    }
    ViStatus assertIntrSignal(ViInt16 mode, ViUInt32 statusId) override {
        return call("viAssertIntrSignal", 0, [&] { return inner_->assertIntrSignal(mode, statusId); });
    }
    ViStatus assertUtilSignal(ViUInt16 line) override {
        return call("viAssertUtilSignal", 0, [&] { return inner_->assertUtilSignal(line); });
    }
    ViStatus vxiServantResponse(ViInt16 mode, ViUInt32 response) override {
        return call("viVxiServantResponse", 0, [&] { return inner_->vxiServantResponse(mode, response); });
    }
    ViStatus usbControlOut(ViInt16 t, ViInt16 r, ViUInt16 v, ViUInt16 i, ViUInt16 n, const ViByte* buf) override {
        return call("viUsbControlOut", 0, [&] { return inner_->usbControlOut(t, r, v, i, n, buf); });
    }
    ViStatus usbControlIn(ViInt16 t, ViInt16 r, ViUInt16 v, ViUInt16 i, ViUInt16 n, ViByte* buf, ViUInt16* done) override {
        *done = 0;
        return call("viUsbControlIn", 0, [&] { return inner_->usbControlIn(t, r, v, i, n, buf, done); });
    }

private:
    // The injected delay, then the injected status. A delay longer than an I/O call's timeout
    // ends that call with VI_ERROR_TMO, as a slow instrument would.
    ViStatus fault(const char* family, int width, const IoControl* io) {
        uint32_t delay = 0;
        ViStatus st = plan_->apply(family, width, &delay);
        if (delay) {
            auto until = Clock::now() + std::chrono::milliseconds(delay);
            while (Clock::now() < until) {
                if (io && io->cancelled()) return VI_ERROR_ABORT;
                if (io && io->expired()) return VI_ERROR_TMO;
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        }
        return st;
    }
    template <typename F>
    ViStatus call(const char* family, int width, F&& f) {
        ViStatus st = fault(family, width, nullptr);
        return st != VI_SUCCESS ? st : f();
    }

    std::unique_ptr<Link> inner_;
    std::shared_ptr<FaultPlan> plan_;
};

}  // namespace

std::unique_ptr<Link> withFaults(std::unique_ptr<Link> link, std::shared_ptr<FaultPlan> plan) {
    if (!plan || plan->empty()) return link;
    return std::make_unique<FaultyLink>(std::move(link), std::move(plan));
}

}  // namespace zuvisa::sim
