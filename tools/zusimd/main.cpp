// zusimd: serves the instruments of simulation device files to other processes, over raw
// sockets, VXI-11 and HiSLIP on loopback and serial instruments on pseudo-terminals, until
// SIGINT or SIGTERM.
#include <pthread.h>
#include <signal.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "tools/zusimd/bench.h"
#include "tools/zusimd/frontends.h"

namespace {

const char kUsage[] =
    "usage: zusimd [OPTIONS] DEVICE-FILE...\n"
    "  --address ADDR         listen on ADDR (default 127.0.0.1; 0.0.0.0 also answers\n"
    "                         VXI-11 broadcasts from the network)\n"
    "  --portmapper-port N    our portmapper's port (default: a free one)\n"
    "  --no-111               do not also take the standard portmapper port 111\n"
    "  --vxi11-port N         the VXI-11 core channel's port (default: a free one)\n"
    "  --hislip-port N        the HiSLIP port (default: a free one; 4880 is the standard)\n"
    "  --socket-ports-from-file  SOCKET instruments listen on the ports their names give\n"
    "                         (default: each on a free one)\n"
    "  --pty-dir DIR          also link each serial instrument's terminal as DIR/asrlN\n"
    "  --no-socket, --no-vxi11, --no-hislip, --no-serial   leave a front end out\n"
    "Prints one line per served resource name on standard output, then \"ready\"; logs one\n"
    "line per connection on standard error.\n";

bool port(const char* text, uint16_t* out) {
    char* end = nullptr;
    long v = strtol(text, &end, 10);
    if (!*text || *end || v < 0 || v > 65535) return false;
    *out = static_cast<uint16_t>(v);
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    zusimd::Options o;
    bool socket = true, vxi11 = true, hislip = true, serial = true;
    std::vector<std::string> files;
    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        bool more = i + 1 < argc;
        if (a == "--help" || a == "-h") {
            fputs(kUsage, stdout);
            return 0;
        } else if (a == "--address" && more) {
            o.address = argv[++i];
        } else if (a == "--portmapper-port" && more) {
            if (!port(argv[++i], &o.portmapperPort)) return fputs(kUsage, stderr), 2;
        } else if (a == "--vxi11-port" && more) {
            if (!port(argv[++i], &o.vxi11Port)) return fputs(kUsage, stderr), 2;
        } else if (a == "--hislip-port" && more) {
            if (!port(argv[++i], &o.hislipPort)) return fputs(kUsage, stderr), 2;
        } else if (a == "--no-111") {
            o.portmapper111 = false;
        } else if (a == "--socket-ports-from-file") {
            o.socketPortsFromFile = true;
        } else if (a == "--no-socket") {
            socket = false;
        } else if (a == "--no-vxi11") {
            vxi11 = false;
        } else if (a == "--no-hislip") {
            hislip = false;
        } else if (a == "--no-serial") {
            serial = false;
        } else if (a == "--pty-dir" && more) {
            o.ptyDirectory = argv[++i];
        } else if (!a.empty() && a[0] == '-') {
            fprintf(stderr, "zusimd: unknown option %s\n%s", a.c_str(), kUsage);
            return 2;
        } else {
            files.push_back(a);
        }
    }
    if (files.empty()) {
        fputs(kUsage, stderr);
        return 2;
    }

    // Signals are taken by the main thread alone, with sigwait; every thread started from
    // here on inherits the mask.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGINT);
    sigaddset(&stopSignals, SIGTERM);
    sigaddset(&stopSignals, SIGHUP);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);
    signal(SIGPIPE, SIG_IGN);

    zusimd::Bench bench;
    std::vector<std::string> problems;
    bool any = bench.load(files, &problems);
    for (const std::string& p : problems) zusimd::logLine("warning: " + p);
    if (!any) {
        zusimd::logLine("nothing to serve: the files name no message-based instrument");
        return 1;
    }
    std::vector<std::unique_ptr<zusimd::Frontend>> frontends;
    if (socket) frontends.push_back(zusimd::makeSocketFrontend(bench, o));
    if (vxi11) frontends.push_back(zusimd::makeVxi11Frontend(bench, o));
    if (hislip) frontends.push_back(zusimd::makeHislipFrontend(bench, o));
    if (serial) frontends.push_back(zusimd::makeSerialFrontend(bench, o));
    for (auto& f : frontends) {
        std::vector<std::string> lines;
        std::string why;
        if (!f->start(&lines, &why)) {
            zusimd::logLine(std::string(f->name()) + ": cannot start: " + why);
            return 1;
        }
        for (const std::string& l : lines) printf("%s\n", l.c_str());
    }
    printf("ready\n");
    fflush(stdout);

    int sig = 0;
    sigwait(&stopSignals, &sig);
    zusimd::logLine(std::string("stopping on ") + strsignal(sig));
    for (auto& f : frontends) f->stop();
    frontends.clear();
    return 0;
}
