// The HiSLIP client against a server whose two channels answer with the fuzzer's bytes: the
// input is split into what the synchronous and what the asynchronous channel sends.
#include <cstdint>
#include <memory>

#include "linkfuzz.h"
#include "zuvisa/bridgelets/tcpip/links.h"
#include "zuvisa/rsrcname.h"

using namespace zuvisa;
using namespace zuvisa::tcpip;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static fuzzpeer::Peer server;
    if (size < 2) return 0;
    size_t split = std::min<size_t>((size_t{data[0]} << 8 | data[1]), size - 2);
    std::vector<uint8_t> sync(data + 2, data + 2 + split), async(data + 2 + split, data + size);
    server.run([&](int fd, int index) {
        const std::vector<uint8_t>& mine = index == 0 ? sync : async;
        // Half now, half once the client spoke again: replies meet requests in both orders.
        size_t half = mine.size() / 2;
        fuzzpeer::drain(fd);
        sendAll(fd, mine.data(), half, IoControl::fromTimeout(100, nullptr));
        fuzzpeer::drain(fd, 5);
        sendAll(fd, mine.data() + half, mine.size() - half, IoControl::fromTimeout(100, nullptr));
        fuzzpeer::drain(fd, 5);
    });
    ResourceName name;
    parseResourceName("TCPIP0::127.0.0.1::hislip0," + std::to_string(server.port()) + "::INSTR",
                      &name);
    Settings s;
    s.connectTimeout = 200;
    std::unique_ptr<Link> link;
    std::string why;
    if (openHislip(name, s, 200, nullptr, &link, &why) == VI_SUCCESS) {
        link->setAttribute(VI_ATTR_TMO_VALUE, 30);
        IoControl io = IoControl::fromTimeout(30, nullptr);
        size_t done = 0;
        const ViByte cmd[] = "*IDN?\n";
        link->write(cmd, 6, true, io, &done);
        ViByte buf[300];
        ReadOptions opt;
        for (int i = 0; i < 3; ++i) {
            opt.termCharEnabled = i == 1;
            link->read(buf, sizeof buf, opt, io, &done);
            if (done > sizeof buf) abort();
        }
        ViUInt16 stb = 0;
        link->readStb(&stb);
        link->lock(VI_SHARED_LOCK, 10, "key");
        link->unlock(VI_SHARED_LOCK);
        link->clear();
        link.reset();
    }
    server.finish();
    return 0;
}
