#include "zuvisa/bridgelets/sim/devicefile.h"

#include <gtest/gtest.h>

#include <fstream>

namespace zuvisa::sim {
namespace {

const char kFull[] = R"(
spec: "1.1"
devices:
  dev:
    delimiter: ";"
    eom:
      GPIB INSTR: {q: "\r\n", r: "\n"}
    error:
      response: {command_error: CERR, query_error: QERR}
      status_register:
        - q: "*ESR?"
          command_error: 32
          query_error: 4
      error_queue:
        - q: "SYST:ERR?"
          default: "0, none"
          command_error: "-100, command"
    dialogues:
      - q: "?IDN"
        r: "dev 1"
      - q: "!CAL"
    properties:
      freq:
        default: 100.0
        getter: {q: "?FREQ", r: "{:.2f}"}
        setter: {q: "!FREQ {:.2f}", r: OK, e: FREQ_ERROR}
        specs: {min: 1, max: 1000, type: float}
    channels:
      ch:
        ids: [1, 2]
        can_select: False
        dialogues:
          - {q: "CH{ch_id}?", r: "channel {ch_id}"}
    ieee4882: false
    trigger: {r: "T"}
    status_byte: 1
resources:
  GPIB0::3::INSTR:
    device: dev
    attributes:
      VI_ATTR_MANF_NAME: Maker
)";

TEST(DeviceFile, ReadsEveryPart) {
    DeviceFile f;
    std::string why;
    ASSERT_EQ(parseDeviceText(kFull, "", &f, &why), VI_SUCCESS) << why;
    ASSERT_EQ(f.devices.size(), 1u);
    const DeviceDef& d = f.devices[0];
    EXPECT_EQ(d.eom.at("GPIB INSTR").q, "\r\n");
    EXPECT_EQ(d.commandError, "CERR");
    EXPECT_EQ(d.queryError, "QERR");
    ASSERT_EQ(d.statusRegisters.size(), 1u);
    EXPECT_EQ(d.statusRegisters[0].bits.size(), 2u);
    ASSERT_EQ(d.errorQueues.size(), 1u);
    EXPECT_EQ(d.errorQueues[0].defaultText, "0, none");
    ASSERT_EQ(d.dialogues.size(), 2u);
    EXPECT_FALSE(d.dialogues[1].hasResponse);
    ASSERT_EQ(d.properties.size(), 1u);
    EXPECT_EQ(d.properties[0].setterError, "FREQ_ERROR");
    EXPECT_EQ(d.properties[0].specs.type, Specs::Float);
    EXPECT_DOUBLE_EQ(d.properties[0].specs.max, 1000);
    ASSERT_EQ(d.channels.size(), 1u);
    EXPECT_EQ(d.channels[0].ids.size(), 2u);
    EXPECT_FALSE(d.ieee4882);
    EXPECT_EQ(d.triggerResponse, "T");
    EXPECT_EQ(d.statusByte, 1);
    ASSERT_EQ(f.resources.size(), 1u);
    EXPECT_EQ(f.resources[0].attributes[0].second, "Maker");
}

TEST(DeviceFile, StringErrorIsTheCommandError) {
    DeviceFile f;
    ASSERT_EQ(parseDeviceText("devices:\n  d:\n    error: ERROR\n", "", &f, nullptr), VI_SUCCESS);
    EXPECT_TRUE(f.devices[0].hasCommandError);
    EXPECT_FALSE(f.devices[0].hasQueryError);
    EXPECT_EQ(f.devices[0].commandError, "ERROR");
}

TEST(DeviceFile, RejectsWhatItCannotUse) {
    const char* bad[] = {
        "- a list",
        "spec: \"2.0\"\n",
        "spec: \"10.1\"\n",
        "devices:\n  d:\n    dialogues:\n      - r: x\n",
        "devices:\n  d:\n    dialogues: {q: x}\n",
        "devices:\n  d:\n    properties:\n      p:\n        specs: {type: complex}\n",
        "devices:\n  d:\n    properties:\n      p:\n        specs: {min: abc}\n",
        "devices:\n  d:\n    status_byte: 300\n",
        "devices:\n  d:\n    channels:\n      c: {ids: []}\n",
        "devices:\n  d:\n    ieee4882: sometimes\n",
        "resources:\n  GPIB0::1::INSTR:\n    device: nowhere\n",
        "resources:\n  GPIB0::1::INSTR: {}\n",
        "devices:\n  d: {}\nresources:\n  GPIB0::1::INSTR:\n    device: d\n    filename: other.yaml\n",
        "devices: [unclosed",
        "devices:\n  d: {}\n  d: {}\n",
    };
    for (const char* text : bad) {
        DeviceFile f;
        std::string why;
        EXPECT_EQ(parseDeviceText(text, "", &f, &why), VI_ERROR_INV_SETUP) << text;
        EXPECT_FALSE(why.empty()) << text;
    }
    std::string deep(200, '[');
    DeviceFile f;
    EXPECT_EQ(parseDeviceText("devices: " + deep, "", &f, nullptr), VI_ERROR_INV_SETUP);
}

TEST(DeviceFile, MalformedRandomAndBytesFormsAreLoadErrors) {
    struct Case {
        const char* r;
        const char* reason;  // part of the reason given
    } cases[] = {
        {"{RANDOM(0, 1, 0):.2f}", "count"},        {"{RANDOM(0, 1, 2.5):.2f}", "count"},
        {"{RANDOM(a, 1, 1)}", "numbers"},          {"{RANDOM(2, 1, 1)}", "min is above max"},
        {"{RANDOM(1)}", "needs min, max"},         {"{RANDOM(0, 1, 1, 1)}", "needs min, max"},
        {"{RANDOM(0, 1, 1):.2q}", "field format"}, {"{RANDOM(0, 1, 1)", "not closed"},
        {"{RANDOM(0, 1, 1)x}", "not closed"},      {"RANDOM(0, 1", "parenthesis"},
        {"BYTES(4)", "odd"},                        {"BYTES(zz)", "hexadecimal"},
        {"BYTES(1, 300)", "not a byte"},
    };
    for (const Case& c : cases) {
        std::string text = std::string("devices:\n  d:\n    dialogues:\n      - q: \"Q?\"\n        r: \"") + c.r + "\"\n";
        DeviceFile f;
        std::string why;
        EXPECT_EQ(parseDeviceText(text, "", &f, &why), VI_ERROR_INV_SETUP) << c.r;
        EXPECT_NE(why.find(c.reason), std::string::npos) << c.r << ": " << why;
        EXPECT_NE(why.find("dialogues[0].r"), std::string::npos) << why;
    }
    // The same checks hold in getters, setter errors, error responses and triggers.
    const char* places[] = {
        "devices:\n  d:\n    properties:\n      p:\n        getter: {q: \"P?\", r: \"{RANDOM(1, 0, 1)}\"}\n",
        "devices:\n  d:\n    properties:\n      p:\n        setter: {q: \"P {}\", e: \"BYTES(q)\"}\n",
        "devices:\n  d:\n    error: {response: {command_error: \"RANDOM(1)\"}}\n",
        "devices:\n  d:\n    trigger: {r: \"RANDOM(\"}\n",
    };
    for (const char* text : places) {
        DeviceFile f;
        EXPECT_EQ(parseDeviceText(text, "", &f, nullptr), VI_ERROR_INV_SETUP) << text;
    }
}

TEST(DeviceFile, NullResponsesAnswerNothing) {
    DeviceFile f;
    EXPECT_EQ(parseDeviceText("spec: \"1.0\"\n", "", &f, nullptr), VI_SUCCESS);
    std::string why;
    ASSERT_EQ(parseDeviceText("devices:\n  d:\n    error: {response: {command_error: null_response, query_error: Q}}\n"
                              "    dialogues:\n      - {q: \"A\", r: null_response}\n      - {q: \"BYTES(41 42)\", r: ok}\n",
                              "", &f, &why),
              VI_SUCCESS)
        << why;
    const DeviceDef& d = f.devices[0];
    EXPECT_FALSE(d.hasCommandError);
    EXPECT_TRUE(d.hasQueryError);
    EXPECT_FALSE(d.dialogues[0].hasResponse);
    EXPECT_EQ(d.dialogues[1].q, "AB");  // raw bytes in a query
}

// The hardware bench of the ZU-VISA tests uses every extension.
TEST(DeviceFile, ReadsTheExtensions) {
    DeviceFile f;
    std::string why;
    ASSERT_EQ(loadDeviceFile(std::string(getenv("TALMIK_TEST_DATA")) + "/data/hardware.yaml", &f, &why), VI_SUCCESS) << why;
    ASSERT_EQ(f.interfaces.size(), 7u);
    const InterfaceDef& gv = f.interfaces[2];
    EXPECT_EQ(gv.name, "GPIB-VXI0");
    EXPECT_EQ(gv.parent, 1);
    EXPECT_EQ(gv.address, 9);
    EXPECT_EQ(gv.controller, "controller");
    EXPECT_EQ(f.interfaces[0].controlReturnsMs, 100u);
    EXPECT_TRUE(f.interfaces[5].mxi);
    EXPECT_EQ(f.interfaces[5].mainframes, (std::vector<int>{0, 128}));

    const DeviceDef* dig = f.device("digitizer");
    ASSERT_NE(dig, nullptr);
    EXPECT_EQ(dig->vxi.deviceClass, VI_VXI_CLASS_REGISTER);
    EXPECT_EQ(dig->vxi.memorySpace, VI_A24_SPACE);
    EXPECT_EQ(dig->vxi.memorySize, 0x10000u);
    EXPECT_TRUE(dig->vxi.sharedMemory);
    EXPECT_EQ(dig->vxi.triggerLines, (1u << VI_TRIG_TTL0) | (1u << VI_TRIG_TTL2));
    EXPECT_EQ(dig->vxi.interruptLevel, 3);
    ASSERT_EQ(dig->memory.size(), 2u);
    EXPECT_EQ(dig->memory[0].values.size(), 4u);
    ASSERT_EQ(dig->actions.size(), 3u);
    EXPECT_EQ(dig->actions[0].when, ActionDef::When::Write);
    EXPECT_EQ(dig->actions[0].space, VI_A16_SPACE);
    EXPECT_EQ(dig->actions[0].offset, 0x22u);
    EXPECT_EQ(dig->actions[2].when, ActionDef::When::Trigger);
    EXPECT_EQ(dig->actions[2].numbers.at(0), (std::pair<ViAttr, ViAttrState>{VI_ATTR_SIGP_STATUS_ID, 0x7708}));

    const DeviceDef* daq = f.device("daq");
    ASSERT_NE(daq, nullptr);
    EXPECT_EQ(daq->pxi.bars[1].type, VI_PXI_ADDR_IO);
    EXPECT_EQ(daq->pxi.classCode, 0x118000u);
    EXPECT_EQ(daq->actions[1].when, ActionDef::When::Every);
    EXPECT_EQ(daq->actions[1].periodMs, 50u);
    EXPECT_FALSE(f.device("failing module")->vxi.passed);
    EXPECT_TRUE(f.device("supply")->serial.followsRts);

    auto resource = [&](const std::string& name) -> const ResourceDef& {
        for (const ResourceDef& r : f.resources) {
            if (r.name == name) return r;
        }
        static ResourceDef none;
        ADD_FAILURE() << name;
        return none;
    };
    EXPECT_FALSE(resource("GPIB0::7::INSTR").present);
    EXPECT_EQ(resource("VXI1::130::INSTR").mainframe, 128);
    EXPECT_EQ(resource("VXI0::8::INSTR").slot, 3);
    EXPECT_TRUE(resource("GPIB0::INTFC").device.empty());

    DeviceFile faults;
    ASSERT_EQ(loadDeviceFile(std::string(getenv("TALMIK_TEST_DATA")) + "/data/faults.yaml", &faults, &why), VI_SUCCESS) << why;
    EXPECT_TRUE(faults.hasBench);
    EXPECT_EQ(faults.bench.vxiResourceManager, -1);
    EXPECT_EQ(faults.bench.findNextFailsAfter, 3);
    EXPECT_EQ(faults.bench.findNextStatus, VI_ERROR_IO);
    const FaultDef& read = faults.resources[0].faults.at(0);
    EXPECT_EQ(read.operation, "viRead");
    EXPECT_EQ(read.status, VI_ERROR_IO);
    EXPECT_EQ(read.after, 1u);
    EXPECT_EQ(read.times, 2);
    EXPECT_EQ(faults.resources[1].faults.at(0).delayMs, 300u);
    EXPECT_EQ(faults.resources[2].openStatus, VI_ERROR_RSRC_BUSY);
    EXPECT_EQ(faults.resources[3].faults.at(1).status, static_cast<ViStatus>(0xBFFF0015));
}

TEST(DeviceFile, RejectsExtensionsItCannotUse) {
    const char* bad[] = {
        "devices:\n  d:\n    vxi: {class: fancy}\n",
        "devices:\n  d:\n    vxi: {manufacturer: 0x1000}\n",
        "devices:\n  d:\n    vxi: {memory: {space: A16, size: 256}}\n",
        "devices:\n  d:\n    vxi: {memory: {space: A24, size: 300}}\n",
        "devices:\n  d:\n    vxi: {memory: {space: A24, size: 0x1000000}}\n",
        "devices:\n  d:\n    vxi: {triggers: [TTL9]}\n",
        "devices:\n  d:\n    vxi: {interrupt_level: 0}\n",
        "devices:\n  d:\n    vxi: {}\n    pxi: {}\n",
        "devices:\n  d:\n    pxi: {bars: [{type: mem, size: 100}]}\n",
        "devices:\n  d:\n    pxi: {bars: [{type: rom, size: 256}]}\n",
        "devices:\n  d:\n    pxi: {bars: [{}, {}, {}, {}, {}, {}, {}]}\n",
        "devices:\n  d:\n    pxi: {vendor: 0x10000}\n",
        "devices:\n  d:\n    memory: [{space: Q16, values: [1]}]\n",
        "devices:\n  d:\n    memory: [{space: A24, width: 12, values: [1]}]\n",
        "devices:\n  d:\n    memory: [{space: A24, width: 8, values: [256]}]\n",
        "devices:\n  d:\n    memory: [{space: A24}]\n",
        "devices:\n  d:\n    memory: [{space: A24, pattern: sine, count: 8}]\n",
        "devices:\n  d:\n    memory: [{space: A24, pattern: ramp, count: 99999999}]\n",
        "devices:\n  d:\n    actions: [{raise: VI_EVENT_TRIG}]\n",
        "devices:\n  d:\n    actions: [{command: X, every: 100, raise: VI_EVENT_TRIG}]\n",
        "devices:\n  d:\n    actions: [{command: X}]\n",
        "devices:\n  d:\n    actions: [{command: X, raise: VI_EVENT_NOTHING}]\n",
        "devices:\n  d:\n    actions: [{every: 5, raise: VI_EVENT_TRIG}]\n",
        "devices:\n  d:\n    actions: [{command: X, esr: 256}]\n",
        "devices:\n  d:\n    actions: [{command: X, esr: 1, attributes: {VI_ATTR_RECV_TRIG_ID: 1}}]\n",
        "devices:\n  d:\n    actions: [{command: X, raise: VI_EVENT_TRIG, attributes: {VI_ATTR_TMO_VALUE: 1}}]\n",
        "devices:\n  d:\n    actions: [{write: {space: A16}, raise: VI_EVENT_TRIG}]\n",
        "devices:\n  d:\n    serial: {dcd: maybe}\n",
        "interfaces:\n  GPIB0: {address: 31}\n",
        "interfaces:\n  GPIB0: {cic: 2}\n",
        "interfaces:\n  VXI0: {mainframes: [256]}\n",
        "interfaces:\n  VXI0: {}\n  VXI0: {}\n",
        "bench: {vxi_resource_manager: VI_ERROR_NOPE}\n",
        "bench: {find_next_status: VI_SUCCESS}\n",
        "bench: {find_next_fails_after: -1}\n",
        "resources:\n  GPIB0::1::INSTR: {device: d, present: perhaps}\n",
        "devices:\n  d: {}\nresources:\n  GPIB0::1::INSTR: {device: d, open: VI_SUCCESS}\n",
        "devices:\n  d: {}\nresources:\n  GPIB0::1::INSTR: {device: d, faults: [{operation: read, status: VI_ERROR_IO}]}\n",
        "devices:\n  d: {}\nresources:\n  GPIB0::1::INSTR: {device: d, faults: [{operation: viRead}]}\n",
        "devices:\n  d: {}\nresources:\n  GPIB0::1::INSTR: {device: d, faults: [{operation: viRead, status: 12x}]}\n",
        "devices:\n  d: {}\nresources:\n  VXI0::1::INSTR: {device: d, mainframe: 300}\n",
    };
    for (const char* text : bad) {
        DeviceFile f;
        std::string why;
        EXPECT_EQ(parseDeviceText(text, "", &f, &why), VI_ERROR_INV_SETUP) << text;
        EXPECT_FALSE(why.empty()) << text;
    }
}

TEST(DeviceFile, NamesOfSpacesStatusesAndLines) {
    EXPECT_EQ(spaceByName("A24"), VI_A24_SPACE);
    EXPECT_EQ(spaceByName("BAR5"), VI_PXI_BAR5_SPACE);
    EXPECT_EQ(spaceByName("a24"), 0);
    ViStatus st = 0;
    EXPECT_TRUE(statusByText("VI_ERROR_TMO", &st));
    EXPECT_EQ(st, VI_ERROR_TMO);
    EXPECT_TRUE(statusByText("-1073807339", &st));
    EXPECT_EQ(st, VI_ERROR_TMO);
    EXPECT_TRUE(statusByText("0xBFFF0015", &st));
    EXPECT_EQ(st, VI_ERROR_TMO);
    EXPECT_FALSE(statusByText("0x1BFFF0015", &st));
    EXPECT_FALSE(statusByText("VI_ERROR_TMOX", &st));
    ViInt16 line = 0;
    EXPECT_TRUE(triggerLineByName("PANEL_IN", &line));
    EXPECT_EQ(line, VI_TRIG_PANEL_IN);
    EXPECT_FALSE(triggerLineByName("TTL8", &line));
}

TEST(DeviceFile, DevicesFromOtherFiles) {
    char tmpl[] = "/tmp/zuvisa-devfile-XXXXXX";
    std::string dir = mkdtemp(tmpl);
    std::ofstream(dir + "/other.yaml") << "devices:\n  remote:\n    dialogues:\n      - {q: A, r: B}\n";
    std::ofstream(dir + "/main.yaml") << "resources:\n  GPIB0::1::INSTR:\n    device: remote\n    filename: other.yaml\n";
    DeviceFile f;
    std::string why;
    ASSERT_EQ(loadDeviceFile(dir + "/main.yaml", &f, &why), VI_SUCCESS) << why;
    ASSERT_EQ(f.resources.size(), 1u);
    const DeviceDef* d = f.device(f.resources[0].device);
    ASSERT_NE(d, nullptr);
    EXPECT_EQ(d->dialogues[0].r, "B");
    // A file that names itself is stopped after a few rounds.
    std::ofstream(dir + "/loop.yaml") << "resources:\n  GPIB0::1::INSTR:\n    device: x\n    filename: loop.yaml\n";
    EXPECT_EQ(loadDeviceFile(dir + "/loop.yaml", &f, &why), VI_ERROR_INV_SETUP);
    EXPECT_EQ(loadDeviceFile(dir + "/none.yaml", &f, &why), VI_ERROR_FILE_ACCESS);
    std::string cmd = "rm -rf " + dir;
    EXPECT_EQ(system(cmd.c_str()), 0);
}

}  // namespace
}  // namespace zuvisa::sim
