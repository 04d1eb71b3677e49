// The VXI-11 client against a server that answers with the fuzzer's bytes: the portmapper
// connection gets a proper answer, then each call on the core channel gets the next piece of
// the input as its reply body (with the call's transaction id put in, so that the decoders
// past the RPC header are reached), or raw bytes when a piece asks for it.
#include <cstdint>
#include <cstring>
#include <memory>

#include "linkfuzz.h"
#include "zuvisa/bridgelets/tcpip/links.h"
#include "zuvisa/bridgelets/tcpip/rpc.h"
#include "zuvisa/rsrcname.h"

using namespace zuvisa;
using namespace zuvisa::tcpip;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static fuzzpeer::Peer portmapper, core;
    // Pieces: a 2-byte length (top bit: send raw, without record mark or id), then the bytes.
    std::vector<std::pair<bool, std::vector<uint8_t>>> pieces;
    for (size_t at = 0; at + 2 <= size && pieces.size() < 16;) {
        size_t len = ((data[at] & 0x7F) << 8) | data[at + 1];
        bool raw = data[at] & 0x80;
        at += 2;
        len = std::min(len, size - at);
        pieces.emplace_back(raw, std::vector<uint8_t>(data + at, data + at + len));
        at += len;
    }
    portmapper.run([&](int fd, int) {
        std::vector<uint8_t> rec;
        if (rpc::readRecord(fd, 4096, IoControl::fromTimeout(200, nullptr), &rec) < 0 ||
            rec.size() < 4)
            return;
        XdrWriter w;
        w.u32(core.port());
        std::vector<uint8_t> reply = rpc::encodeReply(0, rpc::kSuccess, w.bytes());
        std::memcpy(reply.data(), rec.data(), 4);
        rpc::writeRecord(fd, reply, IoControl::fromTimeout(200, nullptr));
    });
    core.run([&](int fd, int) {
        for (auto& [raw, body] : pieces) {
            std::vector<uint8_t> rec;
            if (rpc::readRecord(fd, rpc::kMaxRecord, IoControl::fromTimeout(200, nullptr), &rec) <
                0)
                return;
            if (raw) {
                sendAll(fd, body.data(), body.size(), IoControl::fromTimeout(200, nullptr));
                continue;
            }
            std::vector<uint8_t> reply = body;
            if (reply.size() >= 4 && rec.size() >= 4) std::memcpy(reply.data(), rec.data(), 4);
            rpc::writeRecord(fd, reply, IoControl::fromTimeout(200, nullptr));
        }
    });
    ResourceName name;
    parseResourceName("TCPIP0::127.0.0.1::inst0::INSTR", &name);
    Settings s;
    s.connectTimeout = 300;
    s.portmapperPort = portmapper.port();
    std::unique_ptr<Link> link;
    std::string why;
    if (openVxi11(name, s, 300, nullptr, nullptr, &link, &why) == VI_SUCCESS) {
        link->setAttribute(VI_ATTR_TMO_VALUE, 50);
        IoControl io = IoControl::fromTimeout(50, nullptr);
        size_t done = 0;
        const ViByte cmd[] = "*IDN?\n";
        link->write(cmd, 6, true, io, &done);
        ViByte buf[256];
        ReadOptions opt;
        opt.termCharEnabled = true;
        link->read(buf, sizeof buf, opt, io, &done);
        if (done > sizeof buf) abort();
        ViUInt16 stb = 0;
        link->readStb(&stb);
        link->lock(VI_EXCLUSIVE_LOCK, 10, std::string());
        link->clear();
        link.reset();
    }
    portmapper.finish();
    core.finish();
    return 0;
}
