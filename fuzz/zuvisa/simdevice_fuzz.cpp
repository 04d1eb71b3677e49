// Messages sent to a simulated instrument: any bytes, in any split, with or without END.
#include <cstdint>
#include <memory>

#include "zuvisa/bridgelets/sim/devicefile.h"
#include "zuvisa/bridgelets/sim/simdevice.h"

namespace {

std::shared_ptr<const zuvisa::sim::DeviceDef> device() {
    static const char kText[] = R"yaml(
devices:
  d:
    error:
      response: {command_error: ERR}
      error_queue: [{q: "ERR?", default: "0", command_error: "-100"}]
    dialogues:
      - {q: "*IDN?", r: "ID"}
      - {q: "DATA?", r: "BYTES(1, 2, 3)"}
      - {q: "RND?", r: "RANDOM(0, 1, 4)"}
    properties:
      v:
        default: 1
        getter: {q: "V?", r: "{:+08.3e}"}
        setter: {q: "V {:f}"}
        specs: {min: -5, max: 5, type: float}
      s:
        default: a
        getter: {q: "S?", r: "[{:>5s}]"}
        setter: {q: "S {}"}
    channels:
      c: {ids: [1, 2], dialogues: [{q: "C{ch_id}?", r: "c{ch_id}"}]}
)yaml";
    static std::shared_ptr<const zuvisa::sim::DeviceDef> def = [] {
        zuvisa::sim::DeviceFile f;
        zuvisa::sim::parseDeviceText(kText, "", &f, nullptr);
        return std::make_shared<const zuvisa::sim::DeviceDef>(f.devices.at(0));
    }();
    return def;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    zuvisa::sim::Device dev(device(), "GPIB INSTR");
    size_t done = 0;
    size_t half = size / 2;
    dev.write(data, half, false, &done);
    dev.write(data + half, size - half, size % 2 == 0, &done);
    ViByte buf[64];
    zuvisa::ReadOptions opt;
    opt.termCharEnabled = size % 3 == 0;
    for (int i = 0; i < 4; ++i) {
        if (dev.read(buf, sizeof buf, opt, zuvisa::IoControl::fromTimeout(0, nullptr), &done) == VI_ERROR_TMO) break;
    }
    ViUInt16 stb;
    dev.readStb(&stb);
    return 0;
}
