#include "zuvisa/bridgelets/tcpip/vxi11.h"

namespace zuvisa::tcpip::vxi11 {

ViStatus statusOf(int32_t error) {
    switch (error) {
        case kNoError:
            return VI_SUCCESS;
        case kSyntaxError:
            return VI_ERROR_INV_EXPR;
        case kNotAccessible:
            return VI_ERROR_RSRC_NFOUND;
        case kInvalidLink:
            return VI_ERROR_CONN_LOST;
        case kParameterError:
            return VI_ERROR_INV_PARAMETER;
        case kNoChannel:
            return VI_ERROR_INV_SETUP;
        case kNotSupported:
            return VI_ERROR_NSUP_OPER;
        case kOutOfResources:
            return VI_ERROR_ALLOC;
        case kLocked:
            return VI_ERROR_RSRC_LOCKED;
        case kNoLock:
            return VI_ERROR_SESN_NLOCKED;
        case kIoTimeout:
            return VI_ERROR_TMO;
        case kInvalidAddress:
            return VI_ERROR_RSRC_NFOUND;
        case kAborted:
            return VI_ERROR_ABORT;
        case kChannelEstablished:
            return VI_SUCCESS;
        default:
            return VI_ERROR_IO;  // 17 and anything unknown
    }
}

int32_t errorOf(ViStatus status) {
    if (status >= 0) return kNoError;
    switch (status) {
        case VI_ERROR_TMO:
            return kIoTimeout;
        case VI_ERROR_ABORT:
            return kAborted;
        case VI_ERROR_NSUP_OPER:
            return kNotSupported;
        case VI_ERROR_RSRC_LOCKED:
            return kLocked;
        case VI_ERROR_SESN_NLOCKED:
            return kNoLock;
        case VI_ERROR_ALLOC:
            return kOutOfResources;
        case VI_ERROR_INV_PARAMETER:
            return kParameterError;
        default:
            return kIoError;
    }
}

void encode(XdrWriter& w, const CreateLinkParms& p) {
    w.i32(p.clientId);
    w.boolean(p.lockDevice);
    w.u32(p.lockTimeout);
    w.string(p.device);
}
void encode(XdrWriter& w, const CreateLinkResp& p) {
    w.i32(p.error);
    w.i32(p.lid);
    w.u32(p.abortPort);
    w.u32(p.maxRecvSize);
}
void encode(XdrWriter& w, const WriteParms& p) {
    w.i32(p.lid);
    w.u32(p.ioTimeout);
    w.u32(p.lockTimeout);
    w.u32(p.flags);
    w.opaque(p.data.data(), p.data.size());
}
void encode(XdrWriter& w, const WriteResp& p) {
    w.i32(p.error);
    w.u32(p.size);
}
void encode(XdrWriter& w, const ReadParms& p) {
    w.i32(p.lid);
    w.u32(p.requestSize);
    w.u32(p.ioTimeout);
    w.u32(p.lockTimeout);
    w.u32(p.flags);
    w.u32(p.termChar);
}
void encode(XdrWriter& w, const ReadResp& p) {
    w.i32(p.error);
    w.u32(p.reason);
    w.opaque(p.data.data(), p.data.size());
}
void encode(XdrWriter& w, const GenericParms& p) {
    w.i32(p.lid);
    w.u32(p.flags);
    w.u32(p.lockTimeout);
    w.u32(p.ioTimeout);
}
void encode(XdrWriter& w, const LockParms& p) {
    w.i32(p.lid);
    w.u32(p.flags);
    w.u32(p.lockTimeout);
}
void encode(XdrWriter& w, const EnableSrqParms& p) {
    w.i32(p.lid);
    w.boolean(p.enable);
    w.string(p.handle);
}
void encode(XdrWriter& w, const RemoteFunc& p) {
    w.u32(p.hostAddr);
    w.u32(p.hostPort);
    w.u32(p.progNum);
    w.u32(p.progVers);
    w.u32(p.progFamily);
}

bool decode(XdrReader& r, CreateLinkParms* p) {
    p->clientId = r.i32();
    p->lockDevice = r.boolean();
    p->lockTimeout = r.u32();
    p->device = r.string(kMaxDeviceName);
    return r.ok();
}
bool decode(XdrReader& r, CreateLinkResp* p) {
    p->error = r.i32();
    p->lid = r.i32();
    p->abortPort = r.u32();
    p->maxRecvSize = r.u32();
    if (p->abortPort > 0xFFFF) r.fail();
    return r.ok();
}
bool decode(XdrReader& r, WriteParms* p, size_t maxData) {
    p->lid = r.i32();
    p->ioTimeout = r.u32();
    p->lockTimeout = r.u32();
    p->flags = r.u32();
    p->data = r.opaque(maxData);
    return r.ok();
}
bool decode(XdrReader& r, WriteResp* p) {
    p->error = r.i32();
    p->size = r.u32();
    return r.ok();
}
bool decode(XdrReader& r, ReadParms* p) {
    p->lid = r.i32();
    p->requestSize = r.u32();
    p->ioTimeout = r.u32();
    p->lockTimeout = r.u32();
    p->flags = r.u32();
    p->termChar = static_cast<uint8_t>(r.u32());
    return r.ok();
}
bool decode(XdrReader& r, ReadResp* p, size_t maxData) {
    p->error = r.i32();
    p->reason = r.u32();
    p->data = r.opaque(maxData);
    return r.ok();
}
bool decode(XdrReader& r, GenericParms* p) {
    p->lid = r.i32();
    p->flags = r.u32();
    p->lockTimeout = r.u32();
    p->ioTimeout = r.u32();
    return r.ok();
}
bool decode(XdrReader& r, LockParms* p) {
    p->lid = r.i32();
    p->flags = r.u32();
    p->lockTimeout = r.u32();
    return r.ok();
}
bool decode(XdrReader& r, EnableSrqParms* p) {
    p->lid = r.i32();
    p->enable = r.boolean();
    p->handle = r.string(kMaxHandle);
    return r.ok();
}
bool decode(XdrReader& r, RemoteFunc* p) {
    p->hostAddr = r.u32();
    p->hostPort = r.u32();
    p->progNum = r.u32();
    p->progVers = r.u32();
    p->progFamily = r.u32();
    return r.ok();
}

}  // namespace zuvisa::tcpip::vxi11
