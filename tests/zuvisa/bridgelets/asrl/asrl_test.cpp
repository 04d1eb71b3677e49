// ASRL sessions on pseudo-terminal pairs through the C API: what a pseudo-terminal carries of
// the line settings, message ends, buffers, events, sharing and exclusion, and faults.
#include "zuvisa/bridgelets/asrl/asrl.h"

#include <signal.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <termios.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <thread>

#include "ptybench.h"

namespace zuvisa::testing {
namespace {

using Asrl = PtyBench;
using LineSettings = asrl::tty::LineSettings;

// onPort checks what the port's end sees; null for settings a pseudo-terminal does not carry
// (its driver keeps eight data bits and no parity whatever it is told).
struct SettingCase {
    ViAttr attr;
    ViAttrState value;
    bool (*onPort)(const LineSettings&);
};

const SettingCase kSettings[] = {
    {VI_ATTR_ASRL_BAUD, 115200, [](const LineSettings& s) { return s.baud == 115200; }},
    {VI_ATTR_ASRL_BAUD, 12345, [](const LineSettings& s) { return s.baud == 12345; }},
    {VI_ATTR_ASRL_BAUD, 4000000, [](const LineSettings& s) { return s.baud == 4000000; }},
    {VI_ATTR_ASRL_DATA_BITS, 7, nullptr},
    {VI_ATTR_ASRL_DATA_BITS, 6, nullptr},
    {VI_ATTR_ASRL_PARITY, VI_ASRL_PAR_ODD, nullptr},
    {VI_ATTR_ASRL_PARITY, VI_ASRL_PAR_EVEN, nullptr},
    {VI_ATTR_ASRL_PARITY, VI_ASRL_PAR_MARK, nullptr},
    {VI_ATTR_ASRL_PARITY, VI_ASRL_PAR_SPACE, nullptr},
    {VI_ATTR_ASRL_PARITY, VI_ASRL_PAR_NONE, nullptr},
    {VI_ATTR_ASRL_STOP_BITS, VI_ASRL_STOP_TWO, [](const LineSettings& s) { return s.stopBits == VI_ASRL_STOP_TWO; }},
    {VI_ATTR_ASRL_STOP_BITS, VI_ASRL_STOP_ONE, [](const LineSettings& s) { return s.stopBits == VI_ASRL_STOP_ONE; }},
    {VI_ATTR_ASRL_FLOW_CNTRL, VI_ASRL_FLOW_RTS_CTS, [](const LineSettings& s) { return s.rtsCts && !s.xonXoff; }},
    {VI_ATTR_ASRL_FLOW_CNTRL, VI_ASRL_FLOW_XON_XOFF, [](const LineSettings& s) { return s.xonXoff && !s.rtsCts; }},
    {VI_ATTR_ASRL_XON_CHAR, 0x01, [](const LineSettings& s) { return s.xon == 0x01; }},
    {VI_ATTR_ASRL_XOFF_CHAR, 0x02, [](const LineSettings& s) { return s.xoff == 0x02; }},
    {VI_ATTR_ASRL_FLOW_CNTRL, VI_ASRL_FLOW_NONE, [](const LineSettings& s) { return !s.xonXoff && !s.rtsCts; }},
};

TEST_F(Asrl, LineSettingsReachThePort) {
    ViSession vi = open();
    // A new session: 9600 baud, 8 data bits, no parity, one stop bit, no handshake.
    LineSettings fresh = pty().settings();
    EXPECT_EQ(fresh.baud, 9600u);
    EXPECT_EQ(fresh.dataBits, 8);
    EXPECT_EQ(fresh.parity, VI_ASRL_PAR_NONE);
    EXPECT_EQ(fresh.stopBits, VI_ASRL_STOP_ONE);
    EXPECT_FALSE(fresh.rtsCts || fresh.xonXoff);
    for (const SettingCase& c : kSettings) {
        EXPECT_EQ(viSetAttribute(vi, c.attr, c.value), VI_SUCCESS) << std::hex << c.attr << " " << c.value;
        if (c.onPort) {
            EXPECT_TRUE(c.onPort(pty().settings())) << std::hex << c.attr << " " << c.value;
        }
        ViAttrState back = 0;
        EXPECT_EQ(viGetAttribute(vi, c.attr, &back), VI_SUCCESS);
        EXPECT_EQ(back, c.value) << std::hex << c.attr;
    }
    viClose(vi);
}

// Another program on the line (socat making its pty, say) may reset it to its own raw mode;
// the next setting restores ours, so 0xFF bytes are not taken for error marks.
TEST_F(Asrl, ASettingRestoresTheRawModeAnotherProgramChanged) {
    ViSession vi = open();
    viSetAttribute(vi, VI_ATTR_ASRL_END_IN, VI_ASRL_END_NONE);
    termios t{};
    ASSERT_EQ(tcgetattr(pty().master(), &t), 0);
    cfmakeraw(&t);
    ASSERT_EQ(tcsetattr(pty().master(), TCSANOW, &t), 0);
    EXPECT_EQ(viSetAttribute(vi, VI_ATTR_ASRL_BAUD, 19200), VI_SUCCESS);
    const std::string bytes("\xFE\xFF\x00\x01\xFF", 5);
    pty().send(bytes);
    char buf[8] = {};
    ViUInt32 n = 0;
    EXPECT_EQ(viRead(vi, reinterpret_cast<ViPBuf>(buf), 5, &n), VI_SUCCESS_MAX_CNT);
    EXPECT_EQ(std::string(buf, n), bytes);
    viClose(vi);
}

TEST_F(Asrl, SettingsThePortCannotTakeAreRefusedAndChangeNothing) {
    ViSession vi = open();
    struct Refused {
        ViAttr attr;
        ViAttrState value;
    };
    const Refused refused[] = {
        {VI_ATTR_ASRL_STOP_BITS, VI_ASRL_STOP_ONE5},        // 1.5 only with 5 data bits
        {VI_ATTR_ASRL_FLOW_CNTRL, VI_ASRL_FLOW_DTR_DSR},    // a pseudo-terminal has no DSR
        {VI_ATTR_ASRL_DATA_BITS, 9},                        // out of range
        {VI_ATTR_ASRL_BAUD, 0},
        {VI_ATTR_ASRL_PARITY, 5},
        {VI_ATTR_ASRL_WIRE_MODE, VI_ASRL_WIRE_485_2_AUTO},  // no RS-485 driver behind it
    };
    LineSettings before = pty().settings();
    for (const Refused& r : refused) {
        EXPECT_EQ(viSetAttribute(vi, r.attr, r.value), VI_ERROR_NSUP_ATTR_STATE) << std::hex << r.attr;
    }
    LineSettings after = pty().settings();
    EXPECT_EQ(after.baud, before.baud);
    EXPECT_EQ(after.stopBits, before.stopBits);
    EXPECT_EQ(after.dataBits, before.dataBits);
    EXPECT_EQ(attr<ViUInt16>(vi, VI_ATTR_ASRL_FLOW_CNTRL), VI_ASRL_FLOW_NONE);
    // With five data bits it is the other way round.
    EXPECT_EQ(viSetAttribute(vi, VI_ATTR_ASRL_DATA_BITS, 5), VI_SUCCESS);
    EXPECT_EQ(viSetAttribute(vi, VI_ATTR_ASRL_STOP_BITS, VI_ASRL_STOP_ONE5), VI_SUCCESS);
    EXPECT_EQ(attr<ViUInt16>(vi, VI_ATTR_ASRL_STOP_BITS), VI_ASRL_STOP_ONE5);
    EXPECT_EQ(viSetAttribute(vi, VI_ATTR_ASRL_STOP_BITS, VI_ASRL_STOP_TWO), VI_ERROR_NSUP_ATTR_STATE);
    viClose(vi);
}

TEST_F(Asrl, WritesEndAsEndOutSays) {
    ViSession vi = open();
    struct Case {
        ViUInt16 endOut;
        ViBoolean sendEnd;
        std::string sent, onWire;
    };
    const Case cases[] = {
        {VI_ASRL_END_NONE, VI_TRUE, "ab", "ab"},
        {VI_ASRL_END_TERMCHAR, VI_TRUE, "ab", "ab\n"},
        {VI_ASRL_END_TERMCHAR, VI_FALSE, "ab", "ab"},
        {VI_ASRL_END_LAST_BIT, VI_TRUE, "a\xE1" "b", "a" "a" "\xE2"},  // top bit cleared, set on the last
        {VI_ASRL_END_BREAK, VI_TRUE, "ab", "ab"},                   // a break is no byte on a pty
    };
    for (const Case& c : cases) {
        viSetAttribute(vi, VI_ATTR_ASRL_END_OUT, c.endOut);
        viSetAttribute(vi, VI_ATTR_SEND_END_EN, c.sendEnd);
        ViUInt32 n = 0;
        EXPECT_EQ(viWrite(vi, reinterpret_cast<ViConstBuf>(c.sent.data()), static_cast<ViUInt32>(c.sent.size()), &n), VI_SUCCESS);
        EXPECT_EQ(n, c.sent.size());
        EXPECT_EQ(pty().receive(c.onWire.size()), c.onWire) << "end out " << c.endOut;
    }
    // The break after a message lasts VI_ATTR_ASRL_BREAK_LEN before the write returns.
    EXPECT_EQ(viSetAttribute(vi, VI_ATTR_ASRL_BREAK_LEN, 300), VI_SUCCESS);
    viSetAttribute(vi, VI_ATTR_ASRL_END_OUT, VI_ASRL_END_BREAK);
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(write(vi, "x"), VI_SUCCESS);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(300));
    viClose(vi);
}

TEST_F(Asrl, ReadsEndAsEndInTermcharAndCountSay) {
    ViSession vi = open();
    viSetAttribute(vi, VI_ATTR_TMO_VALUE, 150);
    ViStatus st;
    // By default a read ends at the termination character.
    pty().send("one\ntwo\n");
    EXPECT_EQ(read(vi, &st), "one\n");
    EXPECT_EQ(st, VI_SUCCESS_TERM_CHAR);
    EXPECT_EQ(read(vi, &st), "two\n");
    EXPECT_EQ(st, VI_SUCCESS_TERM_CHAR);
    // The count ends it first.
    pty().send("three\n");
    EXPECT_EQ(read(vi, &st, 3), "thr");
    EXPECT_EQ(st, VI_SUCCESS_MAX_CNT);
    EXPECT_EQ(read(vi, &st), "ee\n");
    // No end mode: only count or time.
    viSetAttribute(vi, VI_ATTR_ASRL_END_IN, VI_ASRL_END_NONE);
    pty().send("x\ny");
    EXPECT_EQ(read(vi, &st), "x\ny");
    EXPECT_EQ(st, VI_ERROR_TMO);
    // ... unless the termination character is asked for by VI_ATTR_TERMCHAR_EN.
    viSetAttribute(vi, VI_ATTR_TERMCHAR, '!');
    viSetAttribute(vi, VI_ATTR_TERMCHAR_EN, VI_TRUE);
    pty().send("hi!rest");
    EXPECT_EQ(read(vi, &st), "hi!");
    EXPECT_EQ(st, VI_SUCCESS_TERM_CHAR);
    viSetAttribute(vi, VI_ATTR_TERMCHAR_EN, VI_FALSE);
    EXPECT_EQ(read(vi, &st), "rest");
    // The last-bit mode ends at a byte with its top bit set.
    viSetAttribute(vi, VI_ATTR_ASRL_END_IN, VI_ASRL_END_LAST_BIT);
    pty().send("ab\xE2\x21\x62");
    EXPECT_EQ(read(vi, &st), "ab\xE2");
    EXPECT_EQ(st, VI_SUCCESS);
    viSetAttribute(vi, VI_ATTR_ASRL_DATA_BITS, 7);  // with seven bits the top one is 0x40
    EXPECT_EQ(read(vi, &st), "\x21\x62");
    EXPECT_EQ(st, VI_SUCCESS);
    viSetAttribute(vi, VI_ATTR_ASRL_DATA_BITS, 8);
    // Discarding NUL bytes.
    viSetAttribute(vi, VI_ATTR_ASRL_END_IN, VI_ASRL_END_TERMCHAR);
    viSetAttribute(vi, VI_ATTR_TERMCHAR, '\n');
    viSetAttribute(vi, VI_ATTR_ASRL_DISCARD_NULL, VI_TRUE);
    pty().send(std::string("a\0b\0\n", 5));
    EXPECT_EQ(read(vi, &st), "ab\n");
    viClose(vi);
}

TEST_F(Asrl, TheReceiveBufferHoldsWhatViSetBufAllows) {
    ViSession vi = open();
    viSetAttribute(vi, VI_ATTR_ASRL_END_IN, VI_ASRL_END_NONE);
    viSetAttribute(vi, VI_ATTR_TMO_VALUE, 500);
    EXPECT_EQ(viSetBuf(vi, VI_ASRL_IN_BUF, 16), VI_SUCCESS);
    EXPECT_EQ(viSetBuf(vi, VI_ASRL_OUT_BUF, 64), VI_WARN_NSUP_BUF);
    std::string block;
    for (int i = 0; i < 300; ++i) block.push_back(static_cast<char>('A' + i % 26));
    pty().send(block);
    // Sixteen bytes wait in the library, the rest in the driver; both count as available.
    ASSERT_TRUE(arrived(vi, 300));
    EXPECT_EQ(attr<ViUInt32>(vi, VI_ATTR_ASRL_AVAIL_NUM), 300u);
    ViStatus st;
    EXPECT_EQ(read(vi, &st, 300), block);
    EXPECT_EQ(st, VI_SUCCESS_MAX_CNT);
    EXPECT_EQ(attr<ViUInt32>(vi, VI_ATTR_ASRL_AVAIL_NUM), 0u);
    viClose(vi);
}

TEST_F(Asrl, FlushAndDiscardReachTheDriver) {
    ViSession vi = open();
    viSetAttribute(vi, VI_ATTR_TMO_VALUE, 100);
    int on = 1;
    ASSERT_EQ(ioctl(pty().master(), TIOCPKT, &on), 0);
    pty().send("stale\n");
    ASSERT_TRUE(arrived(vi, 6));
    struct Case {
        ViUInt16 mask;
        int packet;  // what the instrument's end hears
    };
    const Case cases[] = {
        {VI_ASRL_IN_BUF_DISCARD, TIOCPKT_FLUSHREAD},
        {VI_ASRL_IN_BUF, TIOCPKT_FLUSHREAD},
        {VI_ASRL_OUT_BUF_DISCARD, TIOCPKT_FLUSHWRITE},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(viFlush(vi, c.mask), VI_SUCCESS) << c.mask;
        std::string heard = pty().receive(1, 500);
        ASSERT_EQ(heard.size(), 1u) << c.mask;
        EXPECT_TRUE(heard[0] & c.packet) << c.mask;
    }
    EXPECT_EQ(attr<ViUInt32>(vi, VI_ATTR_ASRL_AVAIL_NUM), 0u);
    ViStatus st;
    EXPECT_EQ(read(vi, &st), "");
    EXPECT_EQ(st, VI_ERROR_TMO);
    EXPECT_EQ(viFlush(vi, VI_ASRL_OUT_BUF), VI_SUCCESS);
    // Holding transmission is heard as the line being stopped, then started.
    EXPECT_EQ(viSetAttribute(vi, VI_ATTR_ASRL_ALLOW_TRANSMIT, VI_FALSE), VI_SUCCESS);
    std::string heard = pty().receive(1, 500);
    ASSERT_EQ(heard.size(), 1u);
    EXPECT_TRUE(heard[0] & TIOCPKT_STOP);
    EXPECT_EQ(write(vi, "held"), VI_ERROR_TMO);
    EXPECT_EQ(viSetAttribute(vi, VI_ATTR_ASRL_ALLOW_TRANSMIT, VI_TRUE), VI_SUCCESS);
    heard = pty().receive(1, 500);
    ASSERT_EQ(heard.size(), 1u);
    EXPECT_TRUE(heard[0] & TIOCPKT_START);
    EXPECT_EQ(write(vi, "go"), VI_SUCCESS);
    EXPECT_EQ(pty().receive(3), std::string("\0go", 3));  // a data packet
    viClose(vi);
}

TEST_F(Asrl, APseudoTerminalHasNoModemLines) {
    ViSession vi = open();
    for (ViAttr line : {VI_ATTR_ASRL_CTS_STATE, VI_ATTR_ASRL_DSR_STATE, VI_ATTR_ASRL_DCD_STATE,
                        VI_ATTR_ASRL_RI_STATE, VI_ATTR_ASRL_DTR_STATE, VI_ATTR_ASRL_RTS_STATE}) {
        EXPECT_EQ(attr<ViInt16>(vi, line), VI_STATE_UNKNOWN) << std::hex << line;
    }
    EXPECT_EQ(viSetAttribute(vi, VI_ATTR_ASRL_DTR_STATE, VI_STATE_UNASSERTED), VI_ERROR_NSUP_ATTR_STATE);
    EXPECT_EQ(viSetAttribute(vi, VI_ATTR_ASRL_RTS_STATE, VI_STATE_ASSERTED), VI_ERROR_NSUP_ATTR_STATE);
    EXPECT_EQ(attr<ViInt16>(vi, VI_ATTR_ASRL_WIRE_MODE), VI_ASRL_WIRE_232_DTE);
    EXPECT_EQ(viSetAttribute(vi, VI_ATTR_ASRL_WIRE_MODE, VI_ASRL_WIRE_232_DTE), VI_SUCCESS);
    EXPECT_EQ(attr<ViBoolean>(vi, VI_ATTR_ASRL_CONNECTED), VI_TRUE);
    EXPECT_EQ(viSetAttribute(vi, VI_ATTR_ASRL_BREAK_STATE, VI_STATE_ASSERTED), VI_SUCCESS);
    EXPECT_EQ(attr<ViInt16>(vi, VI_ATTR_ASRL_BREAK_STATE), VI_STATE_ASSERTED);
    EXPECT_EQ(viSetAttribute(vi, VI_ATTR_ASRL_BREAK_STATE, VI_STATE_UNASSERTED), VI_SUCCESS);
    viClose(vi);
}

TEST_F(Asrl, ArrivingBytesRaiseCharacterAndTermcharEvents) {
    ViSession vi = open();
    ASSERT_EQ(viEnableEvent(vi, VI_EVENT_ASRL_CHAR, VI_QUEUE, VI_NULL), VI_SUCCESS);
    ASSERT_EQ(viEnableEvent(vi, VI_EVENT_ASRL_TERMCHAR, VI_QUEUE, VI_NULL), VI_SUCCESS);
    pty().send("a\nb\n");
    ViEventType type = 0;
    ViEvent ctx = 0;
    EXPECT_EQ(viWaitOnEvent(vi, VI_EVENT_ASRL_CHAR, 2000, &type, &ctx), VI_SUCCESS);
    viClose(ctx);
    int termchars = 0;
    while (viWaitOnEvent(vi, VI_EVENT_ASRL_TERMCHAR, 500, &type, &ctx) >= VI_SUCCESS) {
        viClose(ctx);
        ++termchars;
    }
    EXPECT_EQ(termchars, 2);
    viClose(vi);
}

TEST_F(Asrl, SessionsOfOneProgramShareThePortAndOthersAreKeptOut) {
    ViSession a = open();
    ViSession b = open();
    EXPECT_EQ(viSetAttribute(a, VI_ATTR_ASRL_BAUD, 57600), VI_SUCCESS);
    EXPECT_EQ(attr<ViUInt32>(b, VI_ATTR_ASRL_BAUD), 57600u);
    EXPECT_EQ(write(a, "ping\n"), VI_SUCCESS);
    EXPECT_EQ(pty().receive(5), "ping\n");
    pty().send("pong\n");
    ViStatus st;
    EXPECT_EQ(read(b, &st), "pong\n");
    // Another program cannot take the port from under the sessions.
    int other = ::open(pty().slave().c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK);
    if (other < 0) {
        EXPECT_EQ(errno, EBUSY);  // kept out by the exclusive flag (the superuser is not)
    } else {
        EXPECT_NE(flock(other, LOCK_EX | LOCK_NB), 0);
        close(other);
    }
    viClose(a);
    viClose(b);
}

TEST_F(Asrl, APortAnotherProgramHoldsIsBusy) {
    // A program that locks the port the way serial programs do.
    int holder = ::open(pty().slave().c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK);
    ASSERT_GE(holder, 0);
    ASSERT_EQ(flock(holder, LOCK_EX | LOCK_NB), 0);
    open("ASRL1::INSTR", VI_ERROR_RSRC_BUSY);
    close(holder);
    ViSession vi = open();
    viClose(vi);
    // A program that announces the port in a lock file, and one that did but is gone.
    std::string lockFile = locks.file("LCK.." + pty().slave().substr(pty().slave().rfind('/') + 1));
    char line[16];
    snprintf(line, sizeof line, "%10d\n", static_cast<int>(getppid()));
    writeFile(lockFile, line);
    open("ASRL1::INSTR", VI_ERROR_RSRC_BUSY);
    writeFile(lockFile, "  99999999\n");
    vi = open();
    viClose(vi);
}

TEST_F(Asrl, ThePortVanishingEndsAWaitingReadAtOnce) {
    ViSession vi = open();
    viSetAttribute(vi, VI_ATTR_TMO_VALUE, 20000);
    pty().send("partial");
    std::thread pull([this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        pty().hangUp();
    });
    ViStatus st;
    auto start = std::chrono::steady_clock::now();
    std::string got = read(vi, &st);
    pull.join();
    EXPECT_EQ(st, VI_ERROR_CONN_LOST);
    EXPECT_EQ(got, "partial");
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
    EXPECT_EQ(attr<ViBoolean>(vi, VI_ATTR_ASRL_CONNECTED), VI_FALSE);
    EXPECT_EQ(write(vi, "anyone?\n"), VI_ERROR_CONN_LOST);
    EXPECT_EQ(read(vi, &st), "");
    EXPECT_EQ(st, VI_ERROR_CONN_LOST);
    EXPECT_EQ(viClose(vi), VI_SUCCESS);
}

TEST_F(Asrl, GarbageComesThroughByteForByte) {
    // What a wrong baud rate looks like on a line: any byte, marks included.
    ViSession vi = open();
    viSetAttribute(vi, VI_ATTR_ASRL_END_IN, VI_ASRL_END_NONE);
    viSetAttribute(vi, VI_ATTR_TMO_VALUE, 2000);
    ASSERT_EQ(viEnableEvent(vi, VI_EVENT_ASRL_BREAK, VI_QUEUE, VI_NULL), VI_SUCCESS);
    std::mt19937 random(16);
    std::string noise(3000, '\0');
    for (char& c : noise) c = static_cast<char>(random() & 0xFF);
    noise += std::string("\xff\x00\x00\xff\x00\x41\xff\xff\xff", 9);  // look like marks, are not
    pty().send(noise);
    ViStatus st;
    EXPECT_EQ(read(vi, &st, static_cast<ViUInt32>(noise.size())), noise);
    EXPECT_EQ(st, VI_SUCCESS_MAX_CNT);
    ViEventType type = 0;
    ViEvent ctx = 0;
    EXPECT_EQ(viWaitOnEvent(vi, VI_EVENT_ASRL_BREAK, 0, &type, &ctx), VI_ERROR_TMO);
    // Noise without a termination character: the time runs out with what came.
    viSetAttribute(vi, VI_ATTR_ASRL_END_IN, VI_ASRL_END_TERMCHAR);
    viSetAttribute(vi, VI_ATTR_TMO_VALUE, 100);
    pty().send("\x80\x81\x82");
    EXPECT_EQ(read(vi, &st), "\x80\x81\x82");
    EXPECT_EQ(st, VI_ERROR_TMO);
    viClose(vi);
}

TEST_F(Asrl, The4882StringsProtocolPollsAndTriggersWithStrings) {
    ViSession vi = open();
    ViUInt16 stb = 0;
    EXPECT_EQ(viReadSTB(vi, &stb), VI_ERROR_INV_SETUP);
    EXPECT_EQ(viAssertTrigger(vi, VI_TRIG_PROT_DEFAULT), VI_ERROR_INV_SETUP);
    ASSERT_EQ(viSetAttribute(vi, VI_ATTR_IO_PROT, VI_PROT_4882_STRS), VI_SUCCESS);
    std::thread instrument([this] {
        if (pty().receive(6) == "*STB?\n") pty().send("72\n");
    });
    EXPECT_EQ(viReadSTB(vi, &stb), VI_SUCCESS);
    instrument.join();
    EXPECT_EQ(stb, 72);
    EXPECT_EQ(viAssertTrigger(vi, VI_TRIG_PROT_DEFAULT), VI_SUCCESS);
    EXPECT_EQ(pty().receive(5), "*TRG\n");
    EXPECT_EQ(viClear(vi), VI_SUCCESS);
    EXPECT_EQ(pty().receive(5), "*CLS\n");
    viClose(vi);
}

class AsrlMissing : public PtyBench {
protected:
    AsrlMissing()
        : PtyBench(1, "ASRL2 = \"/dev/serial/by-id/no-such-adapter\"\nASRL3 = \"" + notATty() + "\"\n") {}
    static std::string notATty() {
        static TempDir dir;
        writeFile(dir.file("plain"), "");
        return dir.file("plain");
    }
};

TEST_F(AsrlMissing, PortsThatAreNotThereAreNotListedAndDoNotOpen) {
    ViFindList list = 0;
    ViUInt32 count = 0;
    char name[VI_FIND_BUFLEN];
    ASSERT_EQ(viFindRsrc(rm, "ASRL?*", &list, &count, name), VI_SUCCESS);
    std::vector<std::string> names = {name};
    while (viFindNext(list, name) == VI_SUCCESS) names.push_back(name);
    viClose(list);
    std::sort(names.begin(), names.end());
    // The plain file is there, so it is listed; opening it finds no serial port.
    EXPECT_EQ(names, (std::vector<std::string>{"ASRL1::INSTR", "ASRL3::INSTR"}));
    open("ASRL2::INSTR", VI_ERROR_RSRC_NFOUND);
    open("ASRL3::INSTR", VI_ERROR_RSRC_NFOUND);
    open("ASRL99::INSTR", VI_ERROR_RSRC_NFOUND);
}

// socat as the far end of the cable, looping back what it receives.
class AsrlSocat : public ::testing::Test {
protected:
    void SetUp() override {
        if (system("command -v socat >/dev/null 2>&1") != 0) GTEST_SKIP() << "socat is not installed";
        link_ = dir_.file("port");
        config_ = std::make_unique<TempConfig>("[Bridgelets]\nasrl = True\n\n[asrl]\nScan = False\nASRL4 = \"" + link_ + "\"\n");
        pid_ = fork();
        if (pid_ == 0) {
            std::string pty = "PTY,link=" + link_ + ",raw,echo=0";
            execlp("socat", "socat", pty.c_str(), "EXEC:cat", static_cast<char*>(nullptr));
            _exit(127);
        }
        for (int i = 0; i < 300 && access(link_.c_str(), F_OK) != 0; ++i) usleep(10000);
        ASSERT_EQ(access(link_.c_str(), F_OK), 0) << "socat made no pseudo-terminal";
        ASSERT_EQ(viOpenDefaultRM(&rm_), VI_SUCCESS);
    }
    void TearDown() override {
        if (rm_) viClose(rm_);
        stopSocat();
    }
    void stopSocat() {
        if (pid_ <= 0) return;
        kill(pid_, SIGTERM);
        int status = 0;
        waitpid(pid_, &status, 0);
        pid_ = 0;
    }
    std::string roundTrip(ViSession vi, const std::string& text, ViStatus* st) {
        ViUInt32 n = 0;
        EXPECT_EQ(viWrite(vi, reinterpret_cast<ViConstBuf>(text.data()), static_cast<ViUInt32>(text.size()), &n), VI_SUCCESS);
        std::vector<char> buf(text.size() + 16);
        *st = viRead(vi, reinterpret_cast<ViPBuf>(buf.data()), static_cast<ViUInt32>(text.size()), &n);
        return std::string(buf.data(), n);
    }

    TempDir dir_;
    std::string link_;
    std::unique_ptr<TempConfig> config_;
    pid_t pid_ = 0;
    ViSession rm_ = 0;
};

TEST_F(AsrlSocat, ALoopBackCableReturnsEveryByteAtEveryRate) {
    ViSession vi = 0;
    ASSERT_EQ(viOpen(rm_, "ASRL4::INSTR", VI_NULL, 0, &vi), VI_SUCCESS);
    viSetAttribute(vi, VI_ATTR_TMO_VALUE, 3000);
    ViStatus st;
    for (ViUInt32 baud : {9600u, 19200u, 115200u, 921600u}) {
        ASSERT_EQ(viSetAttribute(vi, VI_ATTR_ASRL_BAUD, baud), VI_SUCCESS);
        std::string line = "rate " + std::to_string(baud) + "\n";
        EXPECT_EQ(roundTrip(vi, line, &st), line);
        EXPECT_EQ(st, VI_SUCCESS_TERM_CHAR);
    }
    viSetAttribute(vi, VI_ATTR_ASRL_END_IN, VI_ASRL_END_NONE);
    std::string every;
    for (int i = 0; i < 1024; ++i) every.push_back(static_cast<char>(i & 0xFF));
    EXPECT_EQ(roundTrip(vi, every, &st), every);
    EXPECT_EQ(st, VI_SUCCESS_MAX_CNT);
    // The far end goes away while a read waits.
    std::thread stop([this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        stopSocat();
    });
    char buf[16];
    ViUInt32 n = 0;
    EXPECT_EQ(viRead(vi, reinterpret_cast<ViPBuf>(buf), sizeof buf, &n), VI_ERROR_CONN_LOST);
    stop.join();
    viClose(vi);
}

// zusimd serving the simulated power supply of the test bench on a pseudo-terminal.
class AsrlZusimd : public ::testing::Test {
protected:
    void SetUp() override {
        const char* zusimd = getenv("ZUSIMD");
        ASSERT_TRUE(zusimd && *zusimd) << "ZUSIMD names no program";
        int out[2];
        ASSERT_EQ(pipe(out), 0);
        std::string bench = testData("data/hardware.yaml");
        pid_ = fork();
        if (pid_ == 0) {
            dup2(out[1], 1);
            close(out[0]);
            execl(zusimd, zusimd, "--no-socket", "--no-vxi11", "--no-hislip", "--pty-dir", dir_.path().c_str(),
                  bench.c_str(), static_cast<char*>(nullptr));
            _exit(127);
        }
        close(out[1]);
        // zusimd says "ready" once it serves.
        std::string said;
        char c;
        while (said.find("ready\n") == std::string::npos && read(out[0], &c, 1) == 1) said.push_back(c);
        close(out[0]);
        ASSERT_NE(said.find("ready\n"), std::string::npos) << said;
        config_ = std::make_unique<TempConfig>("[Bridgelets]\nasrl = True\n\n[asrl]\nScan = False\nASRL2 = \"" +
                                               dir_.file("asrl1") + "\"\n");
        ASSERT_EQ(viOpenDefaultRM(&rm_), VI_SUCCESS);
    }
    void TearDown() override {
        if (rm_) viClose(rm_);
        stopZusimd();
    }
    void stopZusimd() {
        if (pid_ <= 0) return;
        kill(pid_, SIGTERM);
        int status = 0;
        waitpid(pid_, &status, 0);
        pid_ = 0;
    }
    std::string query(ViSession vi, const std::string& text, ViStatus* st) {
        ViUInt32 n = 0;
        EXPECT_EQ(viWrite(vi, reinterpret_cast<ViConstBuf>(text.data()), static_cast<ViUInt32>(text.size()), &n), VI_SUCCESS);
        char buf[256];
        *st = viRead(vi, reinterpret_cast<ViPBuf>(buf), sizeof buf, &n);
        return std::string(buf, n);
    }

    TempDir dir_;
    pid_t pid_ = 0;
    std::unique_ptr<TempConfig> config_;
    ViSession rm_ = 0;
};

TEST_F(AsrlZusimd, TheSimulatedInstrumentAnswersThroughARealSerialSession) {
    ViSession vi = 0;
    ASSERT_EQ(viOpen(rm_, "ASRL2::INSTR", VI_NULL, 0, &vi), VI_SUCCESS);
    viSetAttribute(vi, VI_ATTR_TMO_VALUE, 3000);
    viSetAttribute(vi, VI_ATTR_ASRL_END_OUT, VI_ASRL_END_TERMCHAR);
    ViStatus st;
    EXPECT_EQ(query(vi, "*IDN?", &st), "ZU,PS-3,1,1.0\n");
    EXPECT_EQ(st, VI_SUCCESS_TERM_CHAR);
    // Its answer with NUL bytes in it, whole and with the NULs dropped.
    EXPECT_EQ(query(vi, "NUL?", &st), std::string("A\0B\n", 4));
    viSetAttribute(vi, VI_ATTR_ASRL_DISCARD_NULL, VI_TRUE);
    EXPECT_EQ(query(vi, "NUL?", &st), "AB\n");
    EXPECT_EQ(viSetAttribute(vi, VI_ATTR_ASRL_BAUD, 115200), VI_SUCCESS);
    EXPECT_EQ(query(vi, "*IDN?", &st), "ZU,PS-3,1,1.0\n");
    // The server stops while a read waits.
    std::thread stop([this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        stopZusimd();
    });
    char buf[16];
    ViUInt32 n = 0;
    EXPECT_EQ(viRead(vi, reinterpret_cast<ViPBuf>(buf), sizeof buf, &n), VI_ERROR_CONN_LOST);
    stop.join();
    viClose(vi);
}

// A kernel tty that keeps its own rate whatever it is told: a virtual console nobody uses.
// Its settings are put back afterwards.
class AsrlRefusing : public ::testing::Test {
protected:
    static constexpr const char* kConsole = "/dev/tty63";
    void SetUp() override {
        saved_ = ::open(kConsole, O_RDWR | O_NOCTTY | O_NONBLOCK);
        if (saved_ < 0 || tcgetattr(saved_, &before_) != 0) GTEST_SKIP() << kConsole << " cannot be opened here";
        config_ = std::make_unique<TempConfig>(std::string("[Bridgelets]\nasrl = True\n\n[asrl]\nScan = False\nASRL9 = \"") +
                                               kConsole + "\"\n");
        ASSERT_EQ(viOpenDefaultRM(&rm_), VI_SUCCESS);
    }
    void TearDown() override {
        if (rm_) viClose(rm_);
        if (saved_ >= 0) {
            tcsetattr(saved_, TCSANOW, &before_);
            close(saved_);
        }
    }
    int saved_ = -1;
    termios before_{};
    std::unique_ptr<TempConfig> config_;
    ViSession rm_ = 0;
};

TEST_F(AsrlRefusing, ARateThePortCannotMakeIsRefusedAndTheRateStays) {
    ViSession vi = 0;
    // The session opens at what the port has, since it cannot have 9600.
    ASSERT_EQ(viOpen(rm_, "ASRL9::INSTR", VI_NULL, 0, &vi), VI_SUCCESS);
    ViUInt32 rate = 0;
    ASSERT_EQ(viGetAttribute(vi, VI_ATTR_ASRL_BAUD, &rate), VI_SUCCESS);
    EXPECT_NE(rate, 12345u);
    EXPECT_EQ(viSetAttribute(vi, VI_ATTR_ASRL_BAUD, 12345), VI_ERROR_NSUP_ATTR_STATE);
    ViUInt32 after = 0;
    EXPECT_EQ(viGetAttribute(vi, VI_ATTR_ASRL_BAUD, &after), VI_SUCCESS);
    EXPECT_EQ(after, rate);
    EXPECT_EQ(viSetAttribute(vi, VI_ATTR_ASRL_BAUD, rate), VI_SUCCESS);
    viClose(vi);
}

}  // namespace
}  // namespace zuvisa::testing
