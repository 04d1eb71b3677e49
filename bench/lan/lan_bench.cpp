// LAN figures: round trips and a large read over loopback, each against a reference client
// measured in the same run on the same server. Prints "name value unit" lines; run.py adds
// pyvisa-py and prints the ratios.
//
// Round trips run on one CPU, which run.py gives zusimd too: on two CPUs a loopback round trip
// takes about 22 or about 32 us depending on whether the scheduler keeps client and server
// together, and that choice, not the client, would decide the ratios.
//
// usage: lan_bench SOCKET-PORT HISLIP-PORT PORTMAPPER-PORT [--lxi] [--cpu N]
#include <dlfcn.h>
#include <sched.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "zuvisa/bridgelets/tcpip/net.h"
#include "zuvisa/visa.h"

using namespace std::chrono;
using zuvisa::IoControl;

namespace {

constexpr int kRounds = 2000;
constexpr size_t kBig = 64u << 20;

double usPer(steady_clock::duration d, int n) {
    return duration<double, std::micro>(d).count() / n;
}

int connectLocal(uint16_t port) {
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_port = htons(port);
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) {
        perror("connect");
        exit(1);
    }
    int one = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    return fd;
}

// One kind of round trip: how its connection opens, a query with its whole answer, and how the
// connection ends. A probe holds its connection only for its own batch, so that the simulated
// instrument serves one client at a time, as it did when the clients were measured one by one.
struct Probe {
    const char* name;
    std::function<void()> open, once, close;
    double bestUs = 1e30;
};

// The reference: a plain blocking C client.
Probe rawProbe(uint16_t port) {
    auto fd = std::make_shared<int>(-1);
    auto buf = std::make_shared<std::vector<char>>(512);
    return {"raw_socket_rtt", [fd, port] { *fd = connectLocal(port); },
            [fd, buf] {
                if (send(*fd, "*IDN?\n", 6, 0) != 6) exit(1);
                for (;;) {
                    ssize_t n = recv(*fd, buf->data(), buf->size(), 0);
                    if (n <= 0) exit(1);
                    if ((*buf)[static_cast<size_t>(n) - 1] == '\n') break;
                }
            },
            [fd] { close(*fd); }};
}

Probe visaProbe(const char* label, ViSession rm, const std::string& name) {
    auto vi = std::make_shared<ViSession>(0);
    auto buf = std::make_shared<std::vector<char>>(512);
    return {label,
            [vi, rm, name] {
                if (viOpen(rm, name.c_str(), VI_NULL, 0, vi.get()) < 0) {
                    fprintf(stderr, "cannot open %s\n", name.c_str());
                    exit(1);
                }
                viSetAttribute(*vi, VI_ATTR_TERMCHAR_EN, VI_TRUE);
            },
            [vi, buf] {
                ViUInt32 n = 0;
                viWrite(*vi, reinterpret_cast<ViConstBuf>("*IDN?\n"), 6, &n);
                if (viRead(*vi, reinterpret_cast<ViPBuf>(buf->data()), 512, &n) < 0) exit(1);
            },
            [vi] { viClose(*vi); }};
}

// liblxi, loaded at run time so that the bench builds where it is missing.
bool lxiProbe(Probe* out) {
    void* lib = dlopen("liblxi.so.1", RTLD_NOW);
    if (!lib) return false;
    auto init = reinterpret_cast<int (*)()>(dlsym(lib, "lxi_init"));
    auto conn = reinterpret_cast<int (*)(const char*, int, const char*, int, int)>(
        dlsym(lib, "lxi_connect"));
    auto sendf = reinterpret_cast<int (*)(int, const char*, int, int)>(dlsym(lib, "lxi_send"));
    auto recvf = reinterpret_cast<int (*)(int, char*, int, int)>(dlsym(lib, "lxi_receive"));
    auto disc = reinterpret_cast<int (*)(int)>(dlsym(lib, "lxi_disconnect"));
    if (!init || !conn || !sendf || !recvf || !disc) return false;
    init();
    auto dev = std::make_shared<int>(-1);
    auto buf = std::make_shared<std::vector<char>>(512);
    *out = {"liblxi_vxi11_rtt",
            [dev, conn] {
                *dev = conn("127.0.0.1", 0, "inst0", 1000, 0 /* VXI11 */);
                if (*dev < 0) exit(1);
            },
            [dev, buf, sendf, recvf] {
                sendf(*dev, "*IDN?\n", 6, 1000);
                if (recvf(*dev, buf->data(), 512, 1000) <= 0) exit(1);
            },
            [dev, disc] { disc(*dev); }};
    return true;
}

// Batches of every probe in turn, each figure at its best batch: a machine that is busier at one
// moment than at another then slows every client alike, not only the one measured at that moment.
void measureInTurn(std::vector<Probe>& probes) {
    for (int turn = 0; turn < 8; ++turn) {
        for (Probe& p : probes) {
            p.open();
            for (int i = 0; i < 50; ++i) p.once();
            auto t0 = steady_clock::now();
            for (int i = 0; i < kRounds / 2; ++i) p.once();
            p.bestUs = std::min(p.bestUs, usPer(steady_clock::now() - t0, kRounds / 2));
            p.close();
        }
    }
}

// A minimal C server that answers any line with 64 MiB.
uint16_t startBulkServer() {
    static zuvisa::tcpip::Fd listener;
    uint16_t port = 0;
    std::string why;
    zuvisa::tcpip::listenTcp("127.0.0.1", 0, &listener, &port, &why);
    std::thread([] {
        static std::vector<char> data(kBig, 'x');
        for (;;) {
            if (zuvisa::tcpip::waitFor(listener.get(), POLLIN,
                                       IoControl::fromTimeout(VI_TMO_INFINITE, nullptr)) < 0)
                return;
            int fd = accept(listener.get(), nullptr, nullptr);
            if (fd < 0) continue;
            std::thread([fd] {
                char c;
                while (recv(fd, &c, 1, 0) == 1) {
                    if (c != '\n') continue;
                    size_t sent = 0;
                    while (sent < kBig) {
                        ssize_t n = send(fd, data.data() + sent, kBig - sent, MSG_NOSIGNAL);
                        if (n <= 0) break;
                        sent += static_cast<size_t>(n);
                    }
                }
                close(fd);
            }).detach();
        }
    }).detach();
    return port;
}

double median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v.size() % 2 ? v[v.size() / 2] : (v[v.size() / 2 - 1] + v[v.size() / 2]) / 2;
}

// 64 MiB reads of a reference C client and of ZU-VISA in turns, each figure the median of its
// turns: single reads swing by half between turns on this kind of machine.
void bulkInTurn(ViSession rm, uint16_t port, std::vector<char>& buf, double* rawMbs,
                double* visaMbs) {
    int fd = connectLocal(port);
    ViSession vi = 0;
    std::string name = "TCPIP0::127.0.0.1::" + std::to_string(port) + "::SOCKET";
    if (viOpen(rm, name.c_str(), VI_NULL, 0, &vi) < 0) exit(1);
    viSetAttribute(vi, VI_ATTR_SUPPRESS_END_EN, VI_TRUE);
    viSetAttribute(vi, VI_ATTR_TMO_VALUE, 20000);
    auto mbs = [](steady_clock::time_point t0) {
        return (kBig / 1048576.0) / duration<double>(steady_clock::now() - t0).count();
    };
    std::vector<double> raw, visa;
    auto rawRead = [&] {
        auto t0 = steady_clock::now();
        if (send(fd, "DATA?\n", 6, 0) != 6) exit(1);
        size_t got = 0;
        while (got < kBig) {
            ssize_t n = recv(fd, buf.data() + got, kBig - got, 0);
            if (n <= 0) exit(1);
            got += static_cast<size_t>(n);
        }
        return mbs(t0);
    };
    auto visaRead = [&] {
        auto t0 = steady_clock::now();
        ViUInt32 n = 0;
        viWrite(vi, reinterpret_cast<ViConstBuf>("DATA?\n"), 6, &n);
        if (viRead(vi, reinterpret_cast<ViPBuf>(buf.data()), kBig, &n) != VI_SUCCESS_MAX_CNT ||
            n != kBig)
            exit(1);
        return mbs(t0);
    };
    rawRead();  // touches the buffer's pages: not counted
    for (int turn = 0; turn < 16; ++turn) {
        // Each goes first in half the turns, so that neither always meets a warm cache.
        if (turn % 2) {
            visa.push_back(visaRead());
            raw.push_back(rawRead());
        } else {
            raw.push_back(rawRead());
            visa.push_back(visaRead());
        }
    }
    viClose(vi);
    close(fd);
    *rawMbs = median(raw);
    *visaMbs = median(visa);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 4) {
        fprintf(stderr, "usage: lan_bench SOCKET-PORT HISLIP-PORT PORTMAPPER-PORT [--lxi] [--cpu N]\n");
        return 2;
    }
    uint16_t socketPort = static_cast<uint16_t>(atoi(argv[1]));
    std::string hislipPort = argv[2];
    std::string pm = argv[3];
    bool lxi = false;
    int cpu = -1;
    for (int i = 4; i < argc; ++i) {
        if (std::string(argv[i]) == "--lxi") lxi = true;
        if (std::string(argv[i]) == "--cpu" && i + 1 < argc) cpu = atoi(argv[++i]);
    }
    cpu_set_t everyCpu;
    sched_getaffinity(0, sizeof everyCpu, &everyCpu);
    if (cpu >= 0) {
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(cpu, &one);
        sched_setaffinity(0, sizeof one, &one);
    }
    std::string config = "/tmp/lan-bench-" + std::to_string(getpid()) + ".ini";
    std::ofstream(config)
        << "[Bridgelets]\ntcpip = True\n[tcpip]\nDiscover = False\nPortmapperPort = " << pm << "\n";
    setenv("ZUVISA_CONFIG", config.c_str(), 1);
    ViSession rm = 0;
    if (viOpenDefaultRM(&rm) < 0) return 1;

    std::vector<Probe> probes;
    probes.push_back(rawProbe(socketPort));
    probes.push_back(visaProbe("zuvisa_socket_rtt", rm,
                               "TCPIP0::127.0.0.1::" + std::to_string(socketPort) + "::SOCKET"));
    probes.push_back(visaProbe("zuvisa_vxi11_rtt", rm, "TCPIP0::127.0.0.1::inst0::INSTR"));
    Probe lxiRtt;
    if (lxi && lxiProbe(&lxiRtt)) probes.push_back(lxiRtt);
    probes.push_back(visaProbe("zuvisa_hislip_rtt", rm,
                               "TCPIP0::127.0.0.1::hislip0," + hislipPort + "::INSTR"));
    measureInTurn(probes);
    for (const Probe& p : probes) printf("%s %.2f us\n", p.name, p.bestUs);
    // The large read streams between two CPUs, as it would to an instrument.
    sched_setaffinity(0, sizeof everyCpu, &everyCpu);
    std::vector<char> buf(kBig);
    uint16_t bulk = startBulkServer();
    double rawMbs = 0, visaMbs = 0;
    bulkInTurn(rm, bulk, buf, &rawMbs, &visaMbs);
    printf("raw_socket_64mib %.1f MiB/s\n", rawMbs);
    printf("zuvisa_socket_64mib %.1f MiB/s\n", visaMbs);
    viClose(rm);
    unlink(config.c_str());
    fflush(stdout);
    _exit(0);  // the bulk server's threads need no goodbye
}
