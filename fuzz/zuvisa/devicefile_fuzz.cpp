// Device files: load arbitrary text; when it loads, run its devices through a few messages and
// put its bench together, opening every resource and calling a few operations on each.
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "zuvisa/bridgelets/sim/devicefile.h"
#include "zuvisa/bridgelets/sim/sim.h"
#include "zuvisa/bridgelets/sim/simdevice.h"

namespace {

void exercise(zuvisa::Link& link) {
    using zuvisa::IoControl;
    ViUInt64 v = 0;
    link.in(VI_A16_SPACE, 0, 16, &v);
    link.out(VI_A16_SPACE, 0x20, 16, 1);
    link.in(VI_PXI_CFG_SPACE, 0, 32, &v);
    link.out(VI_PXI_BAR0_SPACE, 0x10, 32, 5);
    static const ViByte idn[] = "*IDN?\n";
    size_t done = 0;
    IoControl now = IoControl::fromTimeout(0, nullptr);
    link.write(idn, sizeof idn - 1, true, now, &done);
    ViByte buf[64];
    link.read(buf, sizeof buf, zuvisa::ReadOptions{}, now, &done);
    ViUInt32 response = 0;
    link.vxiCommandQuery(VI_VXI_CMD16_RESP16, 0xDFFF, &response, now);
    static const ViByte commands[] = {0x3F, 0x5F, 0x40, 0x25, 0x14, 0x08};
    link.gpibCommand(commands, sizeof commands, &done);
    link.assertTrigger(VI_TRIG_PROT_DEFAULT);
    ViAddr window = nullptr;
    if (link.mapAddress(VI_A24_SPACE, 0, 16, false, nullptr, &window) == VI_SUCCESS) {
        link.peek(window, 16, &v);
        link.unmapAddress();
    }
    ViBusAddress64 block = 0;
    if (link.memAlloc(16, &block) == VI_SUCCESS) link.memFree(block);
    ViUInt16 stb = 0;
    link.readStb(&stb);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string_view text(reinterpret_cast<const char*>(data), size);
    zuvisa::sim::DeviceFile file;
    std::string why;
    if (zuvisa::sim::parseDeviceText(text, "", &file, &why) != VI_SUCCESS) return 0;
    for (const zuvisa::sim::DeviceDef& def : file.devices) {
        zuvisa::sim::Device dev(std::make_shared<const zuvisa::sim::DeviceDef>(def), "GPIB INSTR");
        for (const auto& d : def.dialogues) dev.query(d.q);
        for (const auto& p : def.properties) {
            if (p.hasGetter) dev.query(p.getter.q);
            if (p.hasSetter) dev.query(p.setter.q);
        }
        dev.query("*IDN?");
        dev.query("*ESR?");
    }
    // Injected delays would only slow the fuzzer down; their statuses still count.
    for (auto& r : file.resources) {
        for (auto& f : r.faults) f.delayMs = 0;
    }
    zuvisa::sim::SimBridgelet bench;
    bench.addFile(file);
    bench.build();
    std::vector<zuvisa::ResourceInfo> found;
    bench.enumerate(found);
    for (const zuvisa::ResourceInfo& info : found) {
        std::unique_ptr<zuvisa::Link> link;
        if (bench.open(info.name, 0, nullptr, &link) >= 0 && link) exercise(*link);
    }
    return 0;
}
