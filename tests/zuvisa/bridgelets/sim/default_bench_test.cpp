// The demo bench that a fresh machine gets: a resource of every kind a session window tells
// apart and of every category of the resource browser, and every operation of the session
// windows doing real work on one of them. Through the C API.
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <set>
#include <sstream>

#include "simbench.h"

namespace zuvisa::testing {
namespace {

// The configuration of a fresh machine: the sim bridgelet and no device file of its own.
class DemoBench : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(viOpenDefaultRM(&rm), VI_SUCCESS) << "the demo bench loads cleanly"; }
    void TearDown() override { viClose(rm); }
    ViSession open(const char* name) {
        ViSession vi = 0;
        EXPECT_EQ(viOpen(rm, name, VI_NULL, 0, &vi), VI_SUCCESS) << name;
        return vi;
    }
    std::string query(ViSession vi, const std::string& q) {
        ViUInt32 n = 0;
        EXPECT_EQ(viWrite(vi, reinterpret_cast<ViConstBuf>(q.data()), static_cast<ViUInt32>(q.size()), &n), VI_SUCCESS);
        char buf[256];
        EXPECT_GE(viRead(vi, reinterpret_cast<ViPBuf>(buf), sizeof buf, &n), VI_SUCCESS) << q;
        return std::string(buf, n);
    }
    TempConfig config{"[Bridgelets]\nsim = True\n"};
    ViSession rm = 0;
};

// The kind of a session as a session window decides it, one bit per kind.
uint32_t kindOf(ViSession vi, const std::string& name) {
    ViUInt16 type = 0;
    viGetAttribute(vi, VI_ATTR_INTF_TYPE, &type);
    auto has = [&](const char* s) { return name.find(s) != std::string::npos; };
    ViUInt16 id = 0;
    switch (type) {
    case VI_INTF_GPIB: return has("::INSTR") ? 0x1 : has("::INTFC") ? 0x400 : has("::SERVANT") ? 0x2000 : 0x1FFFF;
    case VI_INTF_VXI:
        if (has("::INSTR")) {
            ViInt16 la = 0;
            viGetAttribute(vi, VI_ATTR_VXI_LA, &la);
            if (la > 255) return 0x20;
            if (viIn16(vi, VI_A16_SPACE, 0, &id) < 0) return 0x2;
            return (id >> 14) == 2 ? 0x2 : 0x4;
        }
        return has("::BACKPLANE") ? 0x800 : has("::MEMACC") ? 0x80 : has("::SERVANT") ? 0x4000 : 0x1FFFF;
    case VI_INTF_GPIB_VXI:
        if (has("::INSTR")) return viIn16(vi, VI_A16_SPACE, 0, &id) < 0 || (id >> 14) == 2 ? 0x8 : 0x10;
        return has("::BACKPLANE") ? 0x1000 : has("::MEMACC") ? 0x100 : 0x1FFFF;
    case VI_INTF_ASRL: return 0x40;
    case VI_INTF_PXI: return has("::INSTR") ? 0x200 : has("::MEMACC") ? 0x10000 : 0x1FFFF;
    case VI_INTF_TCPIP: return 0x8000;
    default: return 0x1FFFF;
    }
}

TEST_F(DemoBench, HoldsEveryKindAndEveryCategory) {
    ViFindList list = 0;
    ViUInt32 count = 0;
    char name[256];
    ASSERT_EQ(viFindRsrc(rm, "?*", &list, &count, name), VI_SUCCESS);
    uint32_t kinds = 0;
    std::set<int> categories;  // the signed interface type of the browser
    std::vector<std::string> names;
    for (ViUInt32 i = 0; i < count; ++i) {
        if (i) {
            ASSERT_EQ(viFindNext(list, name), VI_SUCCESS);
        }
        names.push_back(name);
        ViSession vi = open(name);
        char inst[256] = "";
        EXPECT_EQ(viGetAttribute(vi, VI_ATTR_INTF_INST_NAME, inst), VI_SUCCESS);
        EXPECT_NE(std::string(inst).find("simulated"), std::string::npos) << name;
        uint32_t k = kindOf(vi, name);
        if (k != 0x1FFFF) kinds |= k;
        ViUInt16 type = 0;
        viGetAttribute(vi, VI_ATTR_INTF_TYPE, &type);
        bool instr = std::string(name).find("::INSTR") != std::string::npos;
        categories.insert(type >= 1 && type <= 6 ? (instr ? type : -type) : 0);
        viClose(vi);
    }
    viClose(list);
    EXPECT_EQ(kinds, 0x1FFFFu) << std::hex << "missing kinds " << (~kinds & 0x1FFFF);
    EXPECT_EQ(categories, (std::set<int>{-6, -5, -3, -2, -1, 0, 1, 2, 3, 4, 5, 6}));

    // A browser recognises the MXI extender's own instrument by the MXI interface listed before
    // it, and hides the GPIB-VXI controller's GPIB instrument as a duplicate.
    auto at = [&](const char* n) { return std::find(names.begin(), names.end(), n) - names.begin(); };
    EXPECT_LT(at("VXI1::MEMACC"), at("VXI1::0::INSTR"));
    ViSession mxi = open("VXI1::MEMACC");
    char inst[256] = "";
    viGetAttribute(mxi, VI_ATTR_INTF_INST_NAME, inst);
    EXPECT_NE(std::string(inst).find("MXI"), std::string::npos);
    ViSession gv = open("GPIB-VXI0::MEMACC");
    ViUInt16 parent = 0, primary = 0;
    viGetAttribute(gv, VI_ATTR_INTF_PARENT_NUM, &parent);
    viGetAttribute(gv, VI_ATTR_GPIB_PRIMARY_ADDR, &primary);
    EXPECT_LT(at(("GPIB" + std::to_string(parent) + "::" + std::to_string(primary) + "::INSTR").c_str()),
              static_cast<long>(names.size()));
}

TEST_F(DemoBench, InstrumentsAnswerAsTheirKindWould) {
    ViSession dmm = open("GPIB0::22::INSTR");
    EXPECT_EQ(query(dmm, "*IDN?\n"), "ZU Instruments,DM-6500 (simulated),SIM0022,1.0\n");
    double volts = std::stod(query(dmm, "READ?\n"));
    EXPECT_NEAR(volts, 10.0, 0.01);
    ViSession scope = open("TCPIP0::sim.invalid::hislip0::INSTR");
    std::string block = query(scope, "CURV?\n");
    EXPECT_EQ(block.substr(0, 4), std::string("#18\0", 4)) << "a binary block";
    ViSession psu = open("ASRL1::INSTR");
    EXPECT_EQ(query(psu, "INST 2\r\nVOLT 12.5\r\nVOLT?\r\n"), "12.50\n");
    ViSession fg = open("TCPIP0::sim.invalid::inst0::INSTR");
    EXPECT_EQ(query(fg, "FREQ 2500\n"), "OK\n");
    ViSession dig = open("VXI0::16::INSTR");
    ViUInt16 samples[256];
    EXPECT_EQ(viMoveIn16(dig, VI_A24_SPACE, 0, 256, samples), VI_SUCCESS);
    EXPECT_EQ(samples[0], 0x7FFF);
    EXPECT_GT(samples[64], 0xE000) << "the crest of the sine";
    EXPECT_LT(samples[192], 0x2000);
}

// Every operation of the Basic, Register and Interface I/O tabs, each with its effect checked.
TEST_F(DemoBench, EveryOperationDoesRealWork) {
    ViUInt32 n = 0;
    // Message-based I/O, synchronous and asynchronous, files, buffers.
    ViSession dmm = open("GPIB0::22::INSTR");
    ViSession sock = open("TCPIP0::sim.invalid::5025::SOCKET");
    EXPECT_EQ(viSetAttribute(dmm, VI_ATTR_TMO_VALUE, 3000), VI_SUCCESS);
    EXPECT_EQ(viEnableEvent(dmm, VI_EVENT_IO_COMPLETION, VI_QUEUE, VI_NULL), VI_SUCCESS);
    const char q[] = "*IDN?\n";
    ViJobId job = 0;
    EXPECT_EQ(viWriteAsync(dmm, reinterpret_cast<ViConstBuf>(q), 6, &job), VI_SUCCESS);
    ViEvent ctx = 0;
    ASSERT_EQ(viWaitOnEvent(dmm, VI_EVENT_IO_COMPLETION, 2000, nullptr, &ctx), VI_SUCCESS);
    viClose(ctx);
    char buf[128] = "";
    EXPECT_EQ(viReadAsync(dmm, reinterpret_cast<ViPBuf>(buf), sizeof buf, &job), VI_SUCCESS);
    ASSERT_EQ(viWaitOnEvent(dmm, VI_EVENT_IO_COMPLETION, 2000, nullptr, &ctx), VI_SUCCESS);
    ViUInt32 got = 0;
    viGetAttribute(ctx, VI_ATTR_RET_COUNT_32, &got);
    viClose(ctx);
    EXPECT_EQ(std::string(buf, got), "ZU Instruments,DM-6500 (simulated),SIM0022,1.0\n");
    EXPECT_EQ(viAssertTrigger(dmm, VI_TRIG_PROT_DEFAULT), VI_SUCCESS);
    EXPECT_NEAR(std::stod(query(dmm, "")), 10.0, 0.01) << "the trigger's reading";
    EXPECT_EQ(viWrite(dmm, reinterpret_cast<ViConstBuf>(q), 6, &n), VI_SUCCESS);
    ViUInt16 stb = 0;
    EXPECT_EQ(viReadSTB(dmm, &stb), VI_SUCCESS);
    EXPECT_TRUE(stb & 0x10);
    EXPECT_EQ(viClear(dmm), VI_SUCCESS);
    EXPECT_EQ(viReadSTB(dmm, &stb), VI_SUCCESS);
    EXPECT_FALSE(stb & 0x10);
    std::string dir = "/tmp/zuvisa-demo-" + std::to_string(getpid());
    std::ofstream(dir + ".in") << "*IDN?\n";
    EXPECT_EQ(viWriteFromFile(dmm, (dir + ".in").c_str(), 100, &n), VI_SUCCESS);
    EXPECT_EQ(n, 6u);
    EXPECT_EQ(viReadToFile(dmm, (dir + ".out").c_str(), 100, &n), VI_SUCCESS);
    std::stringstream saved;
    saved << std::ifstream(dir + ".out").rdbuf();
    EXPECT_EQ(saved.str(), "ZU Instruments,DM-6500 (simulated),SIM0022,1.0\n");
    std::remove((dir + ".in").c_str());
    std::remove((dir + ".out").c_str());
    EXPECT_EQ(viSetBuf(sock, VI_READ_BUF | VI_WRITE_BUF, 64), VI_SUCCESS);
    EXPECT_EQ(viBufWrite(sock, reinterpret_cast<ViConstBuf>(q), 6, &n), VI_SUCCESS);
    EXPECT_EQ(viFlush(sock, VI_WRITE_BUF), VI_SUCCESS);
    EXPECT_EQ(viBufRead(sock, reinterpret_cast<ViPBuf>(buf), sizeof buf, &n), VI_SUCCESS);
    EXPECT_EQ(std::string(buf, n), "ZU Instruments,FG-20 (simulated),SIM0020,1.0\n");

    // Register-based operations on the digitizer and the memory-access session.
    ViSession dig = open("VXI0::16::INSTR");
    ViSession mem = open("VXI0::MEMACC");
    ViUInt16 v = 0;
    EXPECT_EQ(viIn16(dig, VI_A16_SPACE, 0x24, &v), VI_SUCCESS);
    EXPECT_EQ(v, 4096) << "record length register";
    EXPECT_EQ(viOut16(dig, VI_A24_SPACE, 0, 0x1234), VI_SUCCESS);
    ViUInt16 words[2] = {0xAAAA, 0x5555};
    EXPECT_EQ(viMoveOut16(dig, VI_A24_SPACE, 2, 2, words), VI_SUCCESS);
    EXPECT_EQ(viMoveIn16(dig, VI_A24_SPACE, 0, 2, words), VI_SUCCESS);
    EXPECT_EQ(words[0], 0x1234);
    EXPECT_EQ(words[1], 0xAAAA);
    ViUInt32 base = 0;
    viGetAttribute(dig, VI_ATTR_MEM_BASE_32, &base);
    EXPECT_EQ(viMove(mem, VI_A24_SPACE, base, VI_WIDTH_16, VI_A24_SPACE, base + 0x100, VI_WIDTH_16, 3), VI_SUCCESS);
    EXPECT_EQ(viIn16(dig, VI_A24_SPACE, 0x104, &v), VI_SUCCESS);
    EXPECT_EQ(v, 0x5555);
    EXPECT_EQ(viEnableEvent(mem, VI_EVENT_IO_COMPLETION, VI_QUEUE, VI_NULL), VI_SUCCESS);
    ViUInt16 copy[3] = {};
    EXPECT_GE(viMoveAsync(mem, VI_A24_SPACE, base + 0x100, VI_WIDTH_16, VI_LOCAL_SPACE, reinterpret_cast<uintptr_t>(copy),
                          VI_WIDTH_16, 3, &job),
              VI_SUCCESS);
    ASSERT_EQ(viWaitOnEvent(mem, VI_EVENT_IO_COMPLETION, 2000, nullptr, &ctx), VI_SUCCESS);
    viClose(ctx);
    EXPECT_EQ(copy[2], 0x5555);
    ViAddr window = nullptr;
    ASSERT_EQ(viMapAddress(dig, VI_A24_SPACE, 0, 0x100, VI_FALSE, VI_NULL, &window), VI_SUCCESS);
    viPoke16(dig, static_cast<char*>(window) + 8, 0xC0DE);
    viPeek16(dig, static_cast<char*>(window) + 8, &v);
    EXPECT_EQ(v, 0xC0DE);
    EXPECT_EQ(viUnmapAddress(dig), VI_SUCCESS);
    ViBusAddress block = 0;
    EXPECT_EQ(viMemAlloc(dig, 0x400, &block), VI_SUCCESS);
    EXPECT_EQ(viMemFree(dig, block), VI_SUCCESS);
    ViSession pxi = open("PXI0::12::INSTR");
    ViUInt32 id = 0;
    EXPECT_EQ(viIn32(pxi, VI_PXI_BAR0_SPACE, 0, &id), VI_SUCCESS);
    EXPECT_EQ(id, 0x62210003u);

    // Interface-level operations.
    ViSession board = open("GPIB0::INTFC");
    const ViByte address[] = {0x3F, 0x5F, 0x40, 0x20 + 22};  // UNL UNT, board talks, 22 listens
    EXPECT_EQ(viGpibCommand(board, address, sizeof address, &n), VI_SUCCESS);
    EXPECT_EQ(n, sizeof address);
    EXPECT_EQ(viGpibControlATN(board, VI_GPIB_ATN_DEASSERT), VI_SUCCESS);
    EXPECT_EQ(viGpibControlREN(board, VI_GPIB_REN_ASSERT), VI_SUCCESS);
    ViInt16 ren = 0;
    viGetAttribute(dmm, VI_ATTR_GPIB_REN_STATE, &ren);
    EXPECT_EQ(ren, VI_STATE_ASSERTED);
    EXPECT_EQ(viGpibPassControl(board, 22, VI_NO_SEC_ADDR), VI_SUCCESS);
    ViBoolean cic = VI_TRUE;
    viGetAttribute(board, VI_ATTR_GPIB_CIC_STATE, &cic);
    EXPECT_EQ(cic, VI_FALSE);
    EXPECT_EQ(viGpibSendIFC(board), VI_SUCCESS);
    viGetAttribute(board, VI_ATTR_GPIB_CIC_STATE, &cic);
    EXPECT_EQ(cic, VI_TRUE);
    ViSession vxidmm = open("VXI0::24::INSTR");
    ViUInt32 response = 0;
    EXPECT_EQ(viVxiCommandQuery(vxidmm, VI_VXI_CMD16_RESP16, 0xDFFF, &response), VI_SUCCESS);
    EXPECT_EQ(response, 0x7FF7u);
    ViSession servant = open("VXI0::SERVANT");
    EXPECT_EQ(viVxiServantResponse(servant, VI_VXI_RESP16, 0xFF00), VI_SUCCESS);
    ViSession bp = open("VXI0::0::BACKPLANE");
    EXPECT_EQ(viMapTrigger(bp, VI_TRIG_PANEL_IN, VI_TRIG_TTL0, VI_NULL), VI_SUCCESS);
    EXPECT_EQ(viUnmapTrigger(bp, VI_TRIG_PANEL_IN, VI_TRIG_ALL), VI_SUCCESS);
    EXPECT_EQ(viEnableEvent(dig, VI_EVENT_VXI_SIGP, VI_QUEUE, VI_NULL), VI_SUCCESS);
    EXPECT_EQ(viAssertIntrSignal(bp, VI_ASSERT_SIGNAL, 0xFD10), VI_SUCCESS);
    ASSERT_EQ(viWaitOnEvent(dig, VI_EVENT_VXI_SIGP, 2000, nullptr, &ctx), VI_SUCCESS);
    viClose(ctx);
    EXPECT_EQ(viEnableEvent(bp, VI_EVENT_VXI_VME_SYSRESET, VI_QUEUE, VI_NULL), VI_SUCCESS);
    EXPECT_EQ(viAssertUtilSignal(bp, VI_UTIL_ASSERT_SYSRESET), VI_SUCCESS);
    EXPECT_EQ(viWaitOnEvent(bp, VI_EVENT_VXI_VME_SYSRESET, 2000, nullptr, &ctx), VI_SUCCESS);
    viClose(ctx);
}

}  // namespace
}  // namespace zuvisa::testing
