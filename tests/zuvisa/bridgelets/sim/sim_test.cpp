// The bench as a search sees it, through the C API: every resource with the interface type,
// numbers and addresses a resource browser records, duplicates, mainframes and MXI links, and
// interface names that say the resources are simulated.
#include <chrono>
#include <cstdio>
#include <fstream>
#include <map>
#include <set>
#include <thread>
#include <vector>

#include "simbench.h"

namespace zuvisa::testing {
namespace {

using Topology = SimBench;

struct Record {
    ViInt16 intfType;  // negated for a class other than INSTR
    ViUInt16 intfNum;
    ViUInt16 parentNum;  // 32767 when not GPIB-VXI
    ViUInt16 primary;    // 0 when not GPIB or GPIB-VXI
    ViInt16 mainframe;   // -1 when not applicable
    ViInt16 la;          // -1 when not applicable
    bool operator==(const Record&) const = default;
};

std::ostream& operator<<(std::ostream& o, const Record& r) {
    return o << "{" << r.intfType << ", " << r.intfNum << ", " << r.parentNum << ", " << r.primary << ", "
             << r.mainframe << ", " << r.la << "}";
}

// What a resource browser reads of each resource it finds.
Record recordOf(ViSession rm, const std::string& name, std::string* instName) {
    Record r{32767, 32767, 32767, 0, -1, -1};
    ViSession vi = 0;
    if (viOpen(rm, name.c_str(), VI_NULL, 0, &vi) < 0) return r;
    char text[256] = "";
    viGetAttribute(vi, VI_ATTR_INTF_INST_NAME, text);
    *instName = text;
    ViUInt16 type = 0;
    viGetAttribute(vi, VI_ATTR_INTF_TYPE, &type);
    viGetAttribute(vi, VI_ATTR_INTF_NUM, &r.intfNum);
    r.intfType = static_cast<ViInt16>(type);
    bool instr = name.find("::INSTR") != std::string::npos;
    if (type == VI_INTF_GPIB_VXI) viGetAttribute(vi, VI_ATTR_INTF_PARENT_NUM, &r.parentNum);
    if (type == VI_INTF_GPIB || type == VI_INTF_GPIB_VXI) viGetAttribute(vi, VI_ATTR_GPIB_PRIMARY_ADDR, &r.primary);
    if (type == VI_INTF_VXI || type == VI_INTF_GPIB_VXI) {
        if (instr || name.find("::BACKPLANE") != std::string::npos) viGetAttribute(vi, VI_ATTR_MAINFRAME_LA, &r.mainframe);
        if (instr || name.find("::MEMACC") != std::string::npos || name.find("::SERVANT") != std::string::npos) {
            viGetAttribute(vi, VI_ATTR_VXI_LA, &r.la);
        }
    }
    if (!instr) r.intfType = static_cast<ViInt16>(-r.intfType);
    viClose(vi);
    return r;
}

TEST_F(Topology, EveryResourceCarriesItsPlaceOnTheBench) {
    std::map<std::string, Record> expected = {
        {"GPIB0::INTFC", {-1, 0, 32767, 0, -1, -1}},
        {"GPIB0::SERVANT", {-1, 0, 32767, 0, -1, -1}},
        {"GPIB0::5::INSTR", {1, 0, 32767, 5, -1, -1}},
        {"GPIB0::7::INSTR", {1, 0, 32767, 7, -1, -1}},
        {"GPIB1::INTFC", {-1, 1, 32767, 0, -1, -1}},
        {"GPIB1::9::INSTR", {1, 1, 32767, 9, -1, -1}},  // the GPIB-VXI controller itself
        {"GPIB-VXI0::24::INSTR", {3, 0, 1, 9, 0, 24}},
        {"GPIB-VXI0::MEMACC", {-3, 0, 1, 9, -1, 0}},
        {"GPIB-VXI0::0::BACKPLANE", {-3, 0, 1, 9, 0, -1}},
        {"GPIB-VXI10::8::INSTR", {3, 10, 1, 10, 0, 8}},  // an interface number above 9
        {"GPIB1::10::INSTR", {1, 1, 32767, 10, -1, -1}},
        {"VXI0::8::INSTR", {2, 0, 32767, 0, 0, 8}},
        {"VXI0::40::INSTR", {2, 0, 32767, 0, 0, 40}},
        {"VXI0::300::INSTR", {2, 0, 32767, 0, 0, 300}},
        {"VXI0::MEMACC", {-2, 0, 32767, 0, -1, 0}},
        {"VXI0::0::BACKPLANE", {-2, 0, 32767, 0, 0, -1}},
        {"VXI0::SERVANT", {-2, 0, 32767, 0, -1, 0}},
        {"VXI1::0::INSTR", {2, 1, 32767, 0, 0, 0}},
        {"VXI1::130::INSTR", {2, 1, 32767, 0, 128, 130}},
        {"VXI1::MEMACC", {-2, 1, 32767, 0, -1, 0}},
        {"ASRL1::INSTR", {4, 1, 32767, 0, -1, -1}},
        {"PXI0::15::INSTR", {5, 0, 32767, 0, -1, -1}},
        {"PXI0::MEMACC", {-5, 0, 32767, 0, -1, -1}},
    };
    ViFindList list = 0;
    ViUInt32 count = 0;
    char name[256];
    ASSERT_EQ(viFindRsrc(rm, "?*", &list, &count, name), VI_SUCCESS);
    size_t checked = 0;
    for (ViUInt32 i = 0; i < count; ++i) {
        if (i) {
            ASSERT_EQ(viFindNext(list, name), VI_SUCCESS);
        }
        std::string inst;
        Record r = recordOf(rm, name, &inst);
        EXPECT_NE(inst.find("simulated"), std::string::npos) << name << ": " << inst;
        auto it = expected.find(name);
        if (it == expected.end()) continue;
        EXPECT_EQ(r, it->second) << name;
        ++checked;
    }
    EXPECT_EQ(checked, expected.size());
    ViInt32 rmStatus = -5;
    EXPECT_EQ(viGetAttribute(list, VI_ATTR_ZU_VXI_RM_STATUS, &rmStatus), VI_SUCCESS);
    EXPECT_EQ(rmStatus, 0);
    viClose(list);

    // The interface behind an MXI extender says so, which marks its own instrument as the link.
    ViSession mxi = open("VXI1::MEMACC");
    EXPECT_NE(text(mxi, VI_ATTR_INTF_INST_NAME).find("MXI"), std::string::npos);
    ViSession dig = open("VXI0::8::INSTR");
    EXPECT_EQ(text(dig, VI_ATTR_INTF_INST_NAME), "Test VXI (simulated)");
    EXPECT_EQ(attr<ViInt16>(dig, VI_ATTR_SLOT), 3);
    EXPECT_EQ(attr<ViInt16>(dig, VI_ATTR_CMDR_LA), 0);
    EXPECT_EQ(attr<ViUInt16>(dig, VI_ATTR_MANF_ID), 0xE5A);
    EXPECT_EQ(attr<ViUInt32>(dig, VI_ATTR_VXI_TRIG_SUPPORT), (1u << VI_TRIG_TTL0) | (1u << VI_TRIG_TTL2));
    ViSession gv = open("GPIB-VXI0::24::INSTR");
    EXPECT_EQ(attr<ViUInt16>(gv, VI_ATTR_GPIB_SECONDARY_ADDR), 3) << "logical address 24 / 8";
}

TEST_F(Topology, FindExpressionsSeeTheBenchsAttributes) {
    ViUInt32 count = 0;
    EXPECT_EQ(viFindRsrc(rm, "?*INSTR{VI_ATTR_VXI_DEV_CLASS == 3}", nullptr, &count, nullptr), VI_SUCCESS);
    EXPECT_EQ(count, 2u) << "the digitizer and the failing module";
    EXPECT_EQ(viFindRsrc(rm, "GPIB?*{VI_ATTR_INTF_PARENT_NUM == 1}", nullptr, &count, nullptr), VI_SUCCESS);
    EXPECT_EQ(count, 4u);
    EXPECT_EQ(viFindRsrc(rm, "?*{VI_ATTR_MAINFRAME_LA == 128}", nullptr, &count, nullptr), VI_SUCCESS);
    EXPECT_EQ(count, 1u);
}

TEST_F(Topology, TimedActionsRunWhileTheResourceIsOpen) {
    ViSession vi = open("PXI0::15::INSTR");
    listen(vi, VI_EVENT_PXI_INTR);
    ViEvent ctx = 0;
    ASSERT_EQ(wait(vi, VI_EVENT_PXI_INTR, &ctx), VI_SUCCESS);
    EXPECT_EQ(attr<ViUInt32>(ctx, VI_ATTR_PXI_RECV_INTR_DATA), 7u);
    viClose(ctx);
    viClose(vi);
    // Closed, the timer stops; opened again, it starts over.
    std::this_thread::sleep_for(std::chrono::milliseconds(120));
    vi = open("PXI0::15::INSTR");
    listen(vi, VI_EVENT_PXI_INTR);
    EXPECT_EQ(wait(vi, VI_EVENT_PXI_INTR, &ctx), VI_SUCCESS);
    viClose(ctx);
}

}  // namespace
}  // namespace zuvisa::testing

namespace zuvisa::testing {
namespace {

// A device file written for the published format alone.
class Compat : public SimBench {
protected:
    Compat() : SimBench("data/compat.yaml") {}
};

TEST_F(Compat, ShortNamesAreListedAndOpenedUnderTheirFullNames) {
    ViFindList list = 0;
    ViUInt32 count = 0;
    char name[VI_FIND_BUFLEN];
    ASSERT_EQ(viFindRsrc(rm, "?*INSTR", &list, &count, name), VI_SUCCESS);
    std::set<std::string> names{name};
    while (viFindNext(list, name) == VI_SUCCESS) names.insert(name);
    EXPECT_EQ(names, (std::set<std::string>{"USB0::0x1111::0x2222::0x1234::0::INSTR", "TCPIP0::localhost::inst0::INSTR",
                                            "TCPIP0::localhost:1111::inst0::INSTR", "GPIB0::8::INSTR"}));
    struct Case {
        const char* spelling;
        const char* listed;
    } cases[] = {
        {"USB::0x1111::0x2222::0x1234::INSTR", "USB0::0x1111::0x2222::0x1234::0::INSTR"},
        {"usb0::4369::8738::0x1234::0::instr", "USB0::0x1111::0x2222::0x1234::0::INSTR"},
        {"TCPIP::LOCALHOST::INSTR", "TCPIP0::localhost::inst0::INSTR"},
        {"TCPIP0::localhost::INST0::INSTR", "TCPIP0::localhost::inst0::INSTR"},
        {"TCPIP::localhost:1111::INSTR", "TCPIP0::localhost:1111::inst0::INSTR"},
        {"GPIB::8::INSTR", "GPIB0::8::INSTR"},
        {"GPIB0::8::0::INSTR", "GPIB0::8::INSTR"},
    };
    for (const Case& c : cases) {
        ViSession vi = open(c.spelling);
        EXPECT_EQ(text(vi, VI_ATTR_RSRC_NAME), c.listed) << c.spelling;
        EXPECT_EQ(query(vi, "*IDN?\n"), "ZU,SUPPLY,0,1.0\n") << c.spelling;
        viClose(vi);
    }
    ViSession vi = 0;
    EXPECT_EQ(viOpen(rm, "USB::0x1111::0x2222::0x1234::1::INSTR", VI_NULL, 0, &vi), VI_ERROR_RSRC_NFOUND);
    EXPECT_EQ(viOpen(rm, "TCPIP::localhost:1112::INSTR", VI_NULL, 0, &vi), VI_ERROR_RSRC_NFOUND);
}

TEST_F(Compat, ChannelsRandomValuesAndErrors) {
    ViSession vi = open("USB::0x1111::0x2222::0x1234::INSTR");
    viSetAttribute(vi, VI_ATTR_TMO_VALUE, 100);
    struct Step {
        const char* message;
        const char* answer;  // null: none
    } steps[] = {
        // The selection property picks the channel that the following queries address.
        {"VOLT 5.00\n", "OK\n"},  {"VOLT?\n", "5.00\n"},  {"I 2\n", nullptr},        {"VOLT?\n", "1.00\n"},
        {"VOLT 7.5\n", "OK\n"},   {"I?\n", "2\n"},        {"I 1\n", nullptr},        {"VOLT?\n", "5.00\n"},
        {"I 02\n", nullptr},      {"VOLT?\n", "7.50\n"},
        // Channels that cannot be selected carry their id in every command.
        {"SENS:A:RANG 100\n", nullptr}, {"SENS:A:RANG?\n", "100\n"}, {"SENS:B:RANG?\n", "10\n"},
        {"SENS:B:NAME?\n", "sense B\n"},
        // A refusal and an unknown command answer the error and queue it, and set the register.
        {"SENS:B:RANG 5\n", "RANGE ERROR\n"}, {"I 4\n", "ERROR\n"}, {"VOLT 99\n", "ERROR\n"}, {"FOO\n", "ERROR\n"},
        {"I?\n", "2\n"},
        {"*ESR?\n", "32\n"}, {"*ESR?\n", "0\n"},
        {"SYST:ERR?\n", "-100, Command error\n"}, {"SYST:ERR?\n", "-100, Command error\n"},
        {"SYST:ERR?\n", "-100, Command error\n"}, {"SYST:ERR?\n", "-100, Command error\n"},
        {"SYST:ERR?\n", "0, No error\n"},
        {"QUIET\n", nullptr},     {"RAW?\n", "#14DATA\n"},
    };
    for (const Step& s : steps) {
        ASSERT_EQ(write(vi, s.message), VI_SUCCESS) << s.message;
        ViStatus st = VI_SUCCESS;
        std::string got = read(vi, &st);
        if (s.answer) {
            EXPECT_EQ(got, s.answer) << s.message;
        } else {
            EXPECT_EQ(st, VI_ERROR_TMO) << s.message << " answered " << got;
        }
    }
    for (int round = 0; round < 5; ++round) {
        std::string values = query(vi, ":READ?\n");
        double a = -1, b = -1, c = -1;
        ASSERT_EQ(sscanf(values.c_str(), "%lf, %lf, %lf", &a, &b, &c), 3) << values;
        for (double v : {a, b, c}) {
            EXPECT_GE(v, 0.0);
            EXPECT_LE(v, 4.55);
        }
        EXPECT_EQ(values.size(), std::string("0.00000, 0.00000, 0.00000\n").size()) << values;
        std::string noise = query(vi, "NOISE?\n");
        EXPECT_EQ(noise.size(), 5u) << noise;
        EXPECT_TRUE(noise >= "1.00" && noise <= "2.00\n") << noise;
    }
}

TEST(CompatLoading, MalformedRandomFormsAreReportedAndTheFileSkipped) {
    TempConfig tc("");
    std::ofstream(tc.dir() + "/bad.yaml") << "spec: \"1.1\"\ndevices:\n  d:\n    dialogues:\n"
                                             "      - {q: \"R?\", r: \"{RANDOM(0, 1, 0):.2f}\"}\n"
                                             "resources:\n  GPIB0::9::INSTR: {device: d}\n";
    std::ofstream(tc.path()) << "[Bridgelets]\nsim = True\n[Simulation]\nA = \"bad.yaml\"\nB = \""
                             << testData("data/compat.yaml") << "\"\n";
    static std::vector<std::string> lines;
    lines.clear();
    zuvisaSetLogSink([](void*, int, const char* line) { lines.emplace_back(line); }, nullptr, ZUVISA_LOG_WARNING);
    ViSession rm = 0;
    EXPECT_EQ(viOpenDefaultRM(&rm), VI_WARN_CONFIG_NLOADED);
    ViSession vi = 0;
    EXPECT_EQ(viOpen(rm, "GPIB0::9::INSTR", VI_NULL, 0, &vi), VI_ERROR_RSRC_NFOUND);
    EXPECT_EQ(viOpen(rm, "GPIB0::8::INSTR", VI_NULL, 0, &vi), VI_SUCCESS);  // the other file counts
    viClose(rm);
    zuvisaSetLogSink(nullptr, nullptr, 0);
    bool reported = false;
    for (const std::string& line : lines) {
        reported |= line.find("bad.yaml") != std::string::npos && line.find("RANDOM: the count") != std::string::npos;
    }
    EXPECT_TRUE(reported) << ::testing::PrintToString(lines);
}

}  // namespace
}  // namespace zuvisa::testing
