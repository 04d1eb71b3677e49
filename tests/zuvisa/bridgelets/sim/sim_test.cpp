// The bench as a search sees it, through the C API: every resource with the interface type,
// numbers and addresses a resource browser records, duplicates, mainframes and MXI links, and
// interface names that say the resources are simulated.
#include <chrono>
#include <map>
#include <thread>

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
