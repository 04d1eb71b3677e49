// The front ends zusimd offers on loopback (or another address it is told): raw sockets,
// VXI-11 with its own portmapper, and HiSLIP; and serial instruments on pseudo-terminals.
#pragma once

#include <memory>
#include <string>

#include "tools/zusimd/bench.h"
#include "tools/zusimd/server.h"

namespace zusimd {

struct Options {
    std::string address = "127.0.0.1";
    bool socketPortsFromFile = false;  // else every SOCKET instrument gets a free port
    uint16_t portmapperPort = 0;       // 0: a free port
    bool portmapper111 = true;         // also on 111 when it can be had
    uint16_t vxi11Port = 0;
    uint16_t hislipPort = 0;
    uint32_t vxi11MaxRecv = 1u << 20;  // the largest write a VXI-11 client may send at once
    std::string ptyDirectory;          // links to the serial instruments' terminals go here
};

std::unique_ptr<Frontend> makeSocketFrontend(Bench& bench, const Options& o);
std::unique_ptr<Frontend> makeVxi11Frontend(Bench& bench, const Options& o);
std::unique_ptr<Frontend> makeHislipFrontend(Bench& bench, const Options& o);
std::unique_ptr<Frontend> makeSerialFrontend(Bench& bench, const Options& o);

// The host part of a resource name for an address ("127.0.0.1", "[::1]").
std::string hostForName(const std::string& address);

}  // namespace zusimd
