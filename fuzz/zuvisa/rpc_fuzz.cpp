// What comes off the wire for ONC RPC: records, calls (what zusimd decodes) and replies with
// every VXI-11 result structure (what the bridgelet decodes). Decoders must fail cleanly.
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>

#include "zuvisa/bridgelets/tcpip/rpc.h"
#include "zuvisa/bridgelets/tcpip/vxi11.h"

using namespace zuvisa;
using namespace zuvisa::tcpip;

namespace {

void decodeAll(const uint8_t* data, size_t size) {
    {
        XdrReader r(data, size);
        rpc::Call c;
        if (rpc::decodeCall(r, &c)) {
            size_t at = size - r.remaining();
            XdrReader a(data + at, r.remaining());
            switch (c.procedure % 8) {
                case 0: {
                    vxi11::CreateLinkParms p;
                    vxi11::decode(a, &p);
                    break;
                }
                case 1: {
                    vxi11::WriteParms p;
                    vxi11::decode(a, &p, 1u << 20);
                    break;
                }
                case 2: {
                    vxi11::ReadParms p;
                    vxi11::decode(a, &p);
                    break;
                }
                case 3: {
                    vxi11::GenericParms p;
                    vxi11::decode(a, &p);
                    break;
                }
                case 4: {
                    vxi11::LockParms p;
                    vxi11::decode(a, &p);
                    break;
                }
                case 5: {
                    vxi11::EnableSrqParms p;
                    vxi11::decode(a, &p);
                    break;
                }
                case 6: {
                    vxi11::RemoteFunc p;
                    vxi11::decode(a, &p);
                    break;
                }
                default:
                    a.string(256);
                    break;
            }
        }
    }
    XdrReader r(data, size);
    uint32_t xid =
        size >= 4
            ? (uint32_t{data[0]} << 24 | uint32_t{data[1]} << 16 | uint32_t{data[2]} << 8 | data[3])
            : 0;
    std::string why;
    if (rpc::decodeReply(r, xid, &why) != VI_SUCCESS) return;
    size_t at = size - r.remaining();
    for (int kind = 0; kind < 3; ++kind) {
        XdrReader a(data + at, r.remaining());
        if (kind == 0) {
            vxi11::CreateLinkResp p;
            vxi11::decode(a, &p);
        }
        if (kind == 1) {
            vxi11::ReadResp p;
            if (vxi11::decode(a, &p, 64) && p.data.size() > 64) abort();
        }
        if (kind == 2) {
            vxi11::WriteResp p;
            vxi11::decode(a, &p);
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    decodeAll(data, size);
    // The same bytes as a record-marked stream.
    int sv[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, sv) != 0) return 0;
    if (size && write(sv[0], data, size) < 0) {
    }
    close(sv[0]);
    std::vector<uint8_t> record;
    while (rpc::readRecord(sv[1], 4096, IoControl::fromTimeout(100, nullptr), &record) ==
           VI_SUCCESS) {
        if (record.size() > 4096) abort();
        decodeAll(record.data(), record.size());
    }
    close(sv[1]);
    return 0;
}
