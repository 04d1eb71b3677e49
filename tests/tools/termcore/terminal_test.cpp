#include "tools/termcore/terminal.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/demobench.h"

namespace {

// A terminal on ZU-VISA and its demo bench.
class Terminal : public ::testing::Test {
  protected:
    void TearDown() override { Term_Stop(&state); }

    struct Step {
        std::string line;
        std::string shown;  // what the line prints, exactly
        bool failed = false;
    };
    void run(const TermTool& tool, const std::vector<Step>& steps) {
        std::string out;
        ASSERT_TRUE(Term_Start(&state, tool, &out)) << out;
        EXPECT_EQ(out, "");
        for (const Step& s : steps) {
            out.clear();
            Term_RunLine(&state, s.line, &out);
            EXPECT_EQ(out, s.shown) << s.line;
            EXPECT_EQ(state.failed, s.failed) << s.line;
        }
    }

    DemoBenchVisa visa;
    TermState state;
};

const char kIdn[] = "ZU Instruments,DM-6500 (simulated),SIM0022,1.0\\n\n";

TEST_F(Terminal, MessageBasedSession) {
    run(kGpibTerminal,
        {
            {"*IDN?", "error: no session: /open RESOURCE first (/find lists them)\n", true},
            {"", ""},
            {"/open GPIB0::22::INSTR", "Opened GPIB0::22::INSTR (timeout 2000 ms).\n"},
            {"*IDN?", kIdn},
            {"*IDN?\\n", kIdn},  // a line that ends with the line end gets no second one
            {"  /query *IDN?", kIdn},
            {"FUNC VOLT:AC", ""},  // no "?": nothing is read
            {"FUNC?", "VOLT:AC\\n\n"},
            {"/write FUNC?\\n", "Wrote 6 bytes.\n"},
            {"/read", "VOLT:AC\\n\n"},
            {"/write FUNC?\\n", "Wrote 6 bytes.\n"},
            {"/read 3", "VOL\n(3 bytes; more may follow: /read)\n"},
            {"/read", "T:AC\\n\n"},
            {"/timeout 100", "Timeout: 100 ms.\n"},
            {"/read",
             "error: viRead: 0xBFFF0015 The timeout expired before the operation completed.\n",
             true},
            {"/timeout inf", "Timeout: none (waits for ever).\n"},
            {"/timeout -5", "error: usage: /timeout [MILLISECONDS|inf]\n", true},
            {"/timeout 0x10", "Timeout: 16 ms.\n"},
            {"/read 0", "error: usage: /read [COUNT], COUNT from 1 to 1048576\n", true},
            {"/stb", "Status byte: 0x00 (0)\n"},
            {"/clear", "Cleared.\n"},
            {"/eol \\r\\n", "Typed lines end with \\r\\n.\n"},
            {"/eol none", "Typed lines end with nothing.\n"},
            {"/eol \\n", "Typed lines end with \\n.\n"},
            {"/autoread off", "Typed lines are only written.\n"},
            {"*IDN?", ""},
            {"/read", kIdn},
            {"/autoread always", "A reply is read after every typed line.\n"},
            {"/timeout 100", "Timeout: 100 ms.\n"},
            {"*CLS", "(no reply)\n"},
            {"/autoread sometimes", "error: usage: /autoread [off|queries|always]\n", true},
            {"/frob", "error: unknown command /frob: /help lists the commands\n", true},
            {"/cmd 0xDFFF", "error: unknown command /cmd: /help lists the commands\n", true},
            {"/open GPIB0::30::INSTR",
             "error: viOpen: 0xBFFF0011 No resource matches the name or the expression.\n", true},
            {"*IDN?", "error: no session: /open RESOURCE first (/find lists them)\n",
             true},  // the failed open closed it
        });
    EXPECT_EQ(Term_Prompt(state), "gpterm> ");
}

TEST_F(Terminal, FindAndClose) {
    run(kGpibTerminal,
        {
            {"/find GPIB[01]::?*INSTR",
             "GPIB0::22::INSTR\nGPIB0::7::INSTR\nGPIB1::3::INSTR\nGPIB1::9::INSTR\n4 resources.\n"},
            {"/list ASRL?*", "ASRL1::INSTR\n1 resource.\n"},
            {"/find VXI9?*", "No resource matches VXI9?*.\n"},
            {"/find visa://lab7.invalid/?*",
             "error: viFindRsrc: 0xBFFF00A7 The remote machine does not exist or does not accept "
             "connections.\n",
             true},
            {"/find " + std::string(300, '?'),
             "error: find expressions have at most 255 characters\n", true},
            {"/open TCPIP0::sim.invalid::5025::SOCKET",
             "Opened TCPIP0::sim.invalid::5025::SOCKET (timeout 2000 ms).\n"},
            {"/close", "Closed TCPIP0::sim.invalid::5025::SOCKET.\n"},
            {"/close", "error: no session: /open RESOURCE first (/find lists them)\n", true},
        });
}

TEST_F(Terminal, VxiCommands) {
    run(kVxiTerminal,
        {
            {"/open VXI0::24::INSTR", "Opened VXI0::24::INSTR (timeout 2000 ms).\n"},
            {"*IDN?", "ZU Instruments,VX-4101 DMM (simulated),SIM4101,1.0\\n\n"},
            {"/regs",
             "ID          0xBE5A  message-based device, A16 only, manufacturer 0xE5A\n"
             "Device type 0x0101  model 0x101\nStatus      0x7FFC  passed, ready\nOffset      "
             "0x0000\n"},
            {"/cmd 0xDFFF", "Response: 0x7FF7 (32759)\n"},  // Read Protocol
            {"/cmd 0xEDFF 16", "Sent 0xEDFF (60927).\n"},
            {"/cmd 0x1DFFF",
             "error: usage: /cmd COMMAND [16|16/16|16/32|32|32/16|32/32], or /cmd /16 or /32 for a "
             "response\n",
             true},
            {"/cmd 0xDFFF 8/8",
             "error: usage: /cmd COMMAND [16|16/16|16/32|32|32/16|32/32], or /cmd /16 or /32 for a "
             "response\n",
             true},
            {"/in16 A16 0", "0xBE5A (48730)\n"},
            {"/in8 a16 1", "0x5A (90)\n"},
            {"/in16 Z16 0",
             "error: usage: /in16 SPACE OFFSET, SPACE one of A16 A24 A32 A64 CFG BAR0..BAR5\n",
             true},
            {"/in32 A16",
             "error: usage: /in32 SPACE OFFSET, SPACE one of A16 A24 A32 A64 CFG BAR0..BAR5\n",
             true},
            {"/out16 A16 0x20 0x10000",
             "error: usage: /out16 SPACE OFFSET VALUE, SPACE one of A16 A24 A32 A64 CFG "
             "BAR0..BAR5\n",
             true},
            {"/open VXI0::16::INSTR", "Opened VXI0::16::INSTR (timeout 2000 ms).\n"},
            {"/in16 A24 0", "0x7FFF (32767)\n"},
            {"/out16 A16 0x20 1", "Wrote 0x0001 (1).\n"},
            {"/cmd 0xDFFF",
             "error: viVxiCommandQuery: 0xBFFF0067 This resource does not support the operation.\n",
             true},
            {"/in16 A24 0x100000", "error: viIn16Ex: 0xBFFF0051 The offset is not valid.\n", true},
        });
    EXPECT_EQ(Term_Prompt(state), "VXI0::16::INSTR> ");
}

TEST(TerminalHelp, EachToolListsItsOwnCommands) {
    std::string gp = Term_Help(kGpibTerminal), vx = Term_Help(kVxiTerminal);
    EXPECT_EQ(gp.rfind("Usage: gpterm [RESOURCE]\n", 0), 0u);
    EXPECT_EQ(vx.rfind("Usage: vxterm [RESOURCE]\n", 0), 0u);
    for (const char* c :
         {"/open", "/find", "/read", "/write", "/query", "/timeout", "/stb", "/clear", "/quit"}) {
        EXPECT_NE(gp.find(c), std::string::npos) << c;
        EXPECT_NE(vx.find(c), std::string::npos) << c;
    }
    for (const char* c : {"/cmd", "/regs", "/in8", "/out8"}) {
        EXPECT_EQ(gp.find(c), std::string::npos) << c;
        EXPECT_NE(vx.find(c), std::string::npos) << c;
    }
}

TEST(TerminalNumbers, ParseStrictly) {
    const struct {
        const char* text;
        unsigned long long max;
        bool ok;
        unsigned long long value;
    } cases[] = {
        {"12", 100, true, 12},
        {" 0x1F ", 100, true, 31},
        {"0X1f", 100, true, 31},
        {"101", 100, false, 0},
        {"-1", 100, false, 0},
        {"+1", 100, false, 0},
        {"0x", 100, false, 0},
        {"12abc", 100, false, 0},
        {"", 100, false, 0},
        {"18446744073709551615", ~0ull, true, ~0ull},
        {"18446744073709551616", ~0ull, false, 0},
        {"1 2", 100, false, 0},
    };
    for (const auto& c : cases) {
        unsigned long long v = 0;
        EXPECT_EQ(Term_ParseNumber(c.text, c.max, &v), c.ok) << c.text;
        if (c.ok) {
            EXPECT_EQ(v, c.value) << c.text;
        }
    }
}

}  // namespace
