// Device files: load arbitrary text; when it loads, run its devices through a few messages.
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "zuvisa/bridgelets/sim/devicefile.h"
#include "zuvisa/bridgelets/sim/simdevice.h"

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
    return 0;
}
