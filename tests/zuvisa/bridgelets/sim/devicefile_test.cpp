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
