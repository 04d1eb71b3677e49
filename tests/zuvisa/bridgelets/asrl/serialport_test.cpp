// What a UART's driver marks in received data (breaks, bytes received with a parity or framing
// error) as reads and events see it. A pseudo-terminal never marks anything, so the marked
// bytes are handed to the port as its reader would hand them on.
#include "zuvisa/bridgelets/asrl/serialport.h"

#include <mutex>

#include "ptybench.h"

namespace zuvisa::asrl {

class SerialPortProbe {
  public:
    static void arrive(SerialPort& port, const std::string& marked) {
        port.take(reinterpret_cast<const uint8_t*>(marked.data()), marked.size());
    }
};

namespace {

class Recorder : public PortListener {
  public:
    void received(const uint8_t* bytes, size_t count) override {
        std::lock_guard<std::mutex> lock(m);
        data.append(reinterpret_cast<const char*>(bytes), count);
    }
    void signal(ViEventType type) override {
        std::lock_guard<std::mutex> lock(m);
        events.push_back(type);
    }
    std::mutex m;
    std::string data;
    std::vector<ViEventType> events;
};

struct MarkCase {
    const char* what;
    ViUInt16 parity;
    std::string marked;
    std::vector<std::pair<std::string, ViStatus>> reads;  // each read's bytes and status
    size_t breaks;
};

const MarkCase kCases[] = {
    {"a break between two lines",
     VI_ASRL_PAR_NONE,
     std::string("one\n\xff\x00\x00two\n", 11),
     {{"one\n", VI_SUCCESS_TERM_CHAR}, {"two\n", VI_SUCCESS_TERM_CHAR}},
     1},
    {"a bad byte without parity is a framing error",
     VI_ASRL_PAR_NONE,
     std::string("ab\xff\x00\x41"
                 "c\n",
                 7),
     {{"ab?", VI_ERROR_ASRL_FRAMING}, {"c\n", VI_SUCCESS_TERM_CHAR}},
     0},
    {"a bad byte under parity is a parity error",
     VI_ASRL_PAR_EVEN,
     std::string("\xff\x00\xff"
                 "x\n",
                 5),
     {{"?", VI_ERROR_ASRL_PARITY}, {"x\n", VI_SUCCESS_TERM_CHAR}},
     0},
    {"a received FF is data",
     VI_ASRL_PAR_NONE,
     std::string("\xff\xff\xff\x00\x00\n", 6),
     {{"\xff\n", VI_SUCCESS_TERM_CHAR}},
     1},
};

TEST(SerialPortMarks, BreaksBecomeEventsAndBadBytesEndAReadWithTheirError) {
    for (const MarkCase& c : kCases) {
        zuvisa::testing::PtyPair pty;
        std::shared_ptr<SerialPort> port;
        ASSERT_EQ(SerialPort::open(pty.slave(), "", &port), VI_SUCCESS) << c.what;
        ASSERT_EQ(port->change([&](PortSettings& s) { s.line.parity = c.parity; }), VI_SUCCESS)
            << c.what;
        Recorder rec;
        port->attach(&rec);
        SerialPortProbe::arrive(*port, c.marked);
        ReadSpec spec;
        spec.termCharEnabled = true;
        spec.replaceChar = '?';
        for (const auto& [bytes, status] : c.reads) {
            char buf[64];
            size_t done = 0;
            ViStatus st = port->read(reinterpret_cast<uint8_t*>(buf), sizeof buf, spec,
                                     IoControl::fromTimeout(200, nullptr), &done);
            EXPECT_EQ(std::string(buf, done), bytes) << c.what;
            EXPECT_EQ(st, status) << c.what;
        }
        port->detach(&rec);
        size_t breaks = 0;
        for (ViEventType e : rec.events) breaks += e == VI_EVENT_ASRL_BREAK;
        EXPECT_EQ(breaks, c.breaks) << c.what;
    }
}

}  // namespace
}  // namespace zuvisa::asrl
