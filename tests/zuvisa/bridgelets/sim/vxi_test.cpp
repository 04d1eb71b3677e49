// VXI and GPIB-VXI devices through the C API: configuration registers, memory, the address
// spaces' errors, word-serial commands and message I/O over them, and trigger lines.
#include <vector>

#include "simbench.h"

namespace zuvisa::testing {
namespace {

using Vxi = SimBench;

TEST_F(Vxi, ConfigurationRegistersIdentifyEachDevice) {
    struct Case {
        const char* name;
        ViUInt16 id;          // class, addressing and manufacturer
        ViUInt16 deviceClass;
        ViUInt16 model;
    } cases[] = {
        {"VXI0::8::INSTR", 0xCE5A, VI_VXI_CLASS_REGISTER, 0x208},   // register-based, A16/A24
        {"VXI0::16::INSTR", 0xBE5A, VI_VXI_CLASS_MESSAGE, 0x110},   // message-based, A16 only
        {"GPIB-VXI0::24::INSTR", 0xBE5A, VI_VXI_CLASS_MESSAGE, 0x110},
        {"VXI1::0::INSTR", 0x7E5A, VI_VXI_CLASS_EXTENDED, 0x3F0},
    };
    for (const Case& c : cases) {
        ViSession vi = open(c.name);
        ViUInt16 id = 0, type = 0;
        EXPECT_EQ(viIn16(vi, VI_A16_SPACE, 0, &id), VI_SUCCESS) << c.name;
        EXPECT_EQ(id, c.id) << c.name;
        EXPECT_EQ(id >> 14, c.deviceClass) << c.name;
        EXPECT_EQ(attr<ViUInt16>(vi, VI_ATTR_VXI_DEV_CLASS), c.deviceClass) << c.name;
        EXPECT_EQ(viIn16(vi, VI_A16_SPACE, 2, &type), VI_SUCCESS);
        EXPECT_EQ(type & 0xFFF, c.model) << c.name;
        EXPECT_EQ(attr<ViUInt16>(vi, VI_ATTR_MODEL_CODE), c.model) << c.name;
        ViUInt8 high = 0;
        EXPECT_EQ(viIn8(vi, VI_A16_SPACE, 0, &high), VI_SUCCESS);
        EXPECT_EQ(high, id >> 8) << "registers are big-endian";
        viClose(vi);
    }
    // A device that failed its self-test says so in its status register.
    ViSession failing = open("VXI0::48::INSTR");
    ViUInt16 status = 0;
    EXPECT_EQ(viIn16(failing, VI_A16_SPACE, 4, &status), VI_SUCCESS);
    EXPECT_EQ(status & 0x0004, 0);
    ViSession good = open("VXI0::8::INSTR");
    EXPECT_EQ(viIn16(good, VI_A16_SPACE, 4, &status), VI_SUCCESS);
    EXPECT_EQ(status & 0x800C, 0x800C);  // memory active, ready, passed
}

TEST_F(Vxi, DeviceMemoryIsTheSameThroughTheInstrumentAndMemoryAccess) {
    ViSession dig = open("VXI0::8::INSTR");
    ViSession mem = open("VXI0::MEMACC");
    EXPECT_EQ(attr<ViUInt16>(dig, VI_ATTR_MEM_SPACE), VI_A24_SPACE);
    EXPECT_EQ(attr<ViUInt32>(dig, VI_ATTR_MEM_SIZE_32), 0x10000u);
    ViUInt32 base = attr<ViUInt32>(dig, VI_ATTR_MEM_BASE_32);
    EXPECT_EQ(base % 0x10000, 0u);
    ViUInt16 offsetRegister = 0;
    EXPECT_EQ(viIn16(dig, VI_A16_SPACE, 6, &offsetRegister), VI_SUCCESS);
    EXPECT_EQ(static_cast<ViUInt32>(offsetRegister) << 8, base);

    ViUInt16 v = 0;
    EXPECT_EQ(viIn16(dig, VI_A24_SPACE, 2, &v), VI_SUCCESS);
    EXPECT_EQ(v, 0x2222);
    EXPECT_EQ(viIn16(mem, VI_A24_SPACE, base + 2, &v), VI_SUCCESS);
    EXPECT_EQ(v, 0x2222);
    EXPECT_EQ(viOut32(mem, VI_A24_SPACE, base + 8, 0xDEADBEEF), VI_SUCCESS);
    ViUInt32 w = 0;
    EXPECT_EQ(viIn32Ex(dig, VI_A24_SPACE, 8, &w), VI_SUCCESS);
    EXPECT_EQ(w, 0xDEADBEEFu);
    // The registers of logical address 8 sit at 0xC000 + 8 * 64 in A16.
    EXPECT_EQ(viIn16(mem, VI_A16_SPACE, 0xC000 + 8 * 64 + 0x20, &v), VI_SUCCESS);
    EXPECT_EQ(v, 0xABCD);
    EXPECT_EQ(attr<ViInt16>(mem, VI_ATTR_VXI_LA), 0);
}

TEST_F(Vxi, AccessErrorsAreThoseOfTheBus) {
    ViSession dig = open("VXI0::8::INSTR");
    ViSession mem = open("VXI0::MEMACC");
    ViSession far = open("VXI0::300::INSTR");
    ViSession absent = open("VXI0::40::INSTR", VI_SUCCESS_DEV_NPRESENT);
    struct Case {
        ViSession vi;
        ViUInt16 space;
        ViBusAddress offset;
        int width;
        ViStatus expected;
    } cases[] = {
        {dig, VI_A32_SPACE, 0, 16, VI_ERROR_INV_SPACE},        // its memory is in A24
        {dig, 99, 0, 16, VI_ERROR_INV_SPACE},
        {dig, VI_A16_SPACE, 0x40, 16, VI_ERROR_INV_OFFSET},    // past its 64 register bytes
        {dig, VI_A24_SPACE, 0x10000, 8, VI_ERROR_INV_OFFSET},  // past its memory
        {dig, VI_A16_SPACE, 0, 32, VI_ERROR_NSUP_WIDTH},       // configuration registers are D16
        {dig, VI_A24_SPACE, 1, 16, VI_ERROR_NSUP_ALIGN_OFFSET},
        {mem, VI_A24_SPACE, 0x00F000, 16, VI_ERROR_BERR},      // nobody decodes it
        {mem, VI_A16_SPACE, 0x10000, 8, VI_ERROR_INV_OFFSET},
        {mem, VI_A16_SPACE, 0xC000 + 40 * 64, 16, VI_ERROR_BERR},
        {far, VI_A16_SPACE, 0, 16, VI_ERROR_INV_SPACE},        // above 255: no A16 registers
        {far, VI_A32_SPACE, 0, 32, VI_SUCCESS},
        {far, VI_A32_SPACE, 0, 64, VI_SUCCESS},
        {absent, VI_A16_SPACE, 0, 16, VI_ERROR_BERR},
    };
    for (const Case& c : cases) {
        ViStatus st;
        if (c.width == 8) {
            ViUInt8 v;
            st = viIn8(c.vi, c.space, c.offset, &v);
        } else if (c.width == 16) {
            ViUInt16 v;
            st = viIn16(c.vi, c.space, c.offset, &v);
        } else if (c.width == 32) {
            ViUInt32 v;
            st = viIn32(c.vi, c.space, c.offset, &v);
        } else {
            ViUInt64 v;
            st = viIn64(c.vi, c.space, c.offset, &v);
        }
        EXPECT_EQ(st, c.expected) << std::hex << c.space << " " << c.offset << " w" << std::dec << c.width;
    }
    EXPECT_EQ(attr<ViInt16>(far, VI_ATTR_VXI_LA), 300);
    ViUInt8 b = 0;
    EXPECT_EQ(viOut8(absent, VI_A16_SPACE, 0x20, 1), VI_ERROR_BERR);
    EXPECT_EQ(viIn8(dig, VI_A24_SPACE, 0, &b), VI_SUCCESS);
    EXPECT_EQ(b, 0x11);
}

// Word-serial commands in every mode of viVxiCommandQuery.
TEST_F(Vxi, WordSerialCommandsAndQueries) {
    ViSession vi = open("VXI0::16::INSTR");
    ViUInt32 r = 0;
    const std::string idn = "*IDN?\n";
    for (size_t i = 0; i < idn.size(); ++i) {
        ViUInt32 word = 0xBC00u | (i + 1 == idn.size() ? 0x100u : 0) | static_cast<ViUInt8>(idn[i]);
        ASSERT_EQ(viVxiCommandQuery(vi, VI_VXI_CMD16, word, nullptr), VI_SUCCESS);
    }
    std::string answer;
    for (int guard = 0; guard < 100; ++guard) {
        ASSERT_EQ(viVxiCommandQuery(vi, VI_VXI_CMD16_RESP16, 0xDEFF, &r), VI_SUCCESS);
        answer.push_back(static_cast<char>(r & 0xFF));
        if (r & 0x100) break;  // END
    }
    EXPECT_EQ(answer, "ZU,CT-10,16,1.0\n");
    EXPECT_EQ(viVxiCommandQuery(vi, VI_VXI_CMD16_RESP16, 0xDEFF, &r), VI_ERROR_TMO);  // nothing to say

    EXPECT_EQ(viVxiCommandQuery(vi, VI_VXI_CMD16_RESP16, 0xCFFF, &r), VI_SUCCESS);  // Read Status
    EXPECT_EQ(r & 0xFF00, 0xFF00u);
    EXPECT_EQ(viVxiCommandQuery(vi, VI_VXI_CMD32_RESP32, 0xDFFF0000, &r), VI_SUCCESS);
    EXPECT_EQ(r, 0xFFFF7FF7u);
    EXPECT_EQ(viVxiCommandQuery(vi, VI_VXI_CMD16, 0xDFFF, &r), VI_SUCCESS);  // response waits
    EXPECT_EQ(viVxiCommandQuery(vi, VI_VXI_CMD16_RESP16, 0xDFFF, &r), VI_ERROR_RESP_PENDING);
    EXPECT_EQ(viVxiCommandQuery(vi, VI_VXI_RESP16, 0, &r), VI_SUCCESS);
    EXPECT_EQ(r, 0x7FF7u);
    EXPECT_EQ(viVxiCommandQuery(vi, VI_VXI_RESP32, 0, &r), VI_ERROR_TMO);
    EXPECT_EQ(viVxiCommandQuery(vi, VI_VXI_CMD32_RESP16, 0xCDFF0000, &r), VI_SUCCESS);  // protocol error
    EXPECT_EQ(r, 0xFFFDu) << "the multiple query";
    EXPECT_EQ(viVxiCommandQuery(vi, VI_VXI_CMD32, 0x12340000, &r), VI_SUCCESS);  // unknown, noted
    EXPECT_EQ(viVxiCommandQuery(vi, VI_VXI_CMD16_RESP16, 0xCDFF, &r), VI_SUCCESS);
    EXPECT_EQ(r, 0xFFFCu);
    EXPECT_EQ(viVxiCommandQuery(vi, 0x0303, 0, &r), VI_ERROR_INV_MODE);
    EXPECT_EQ(viVxiCommandQuery(vi, VI_VXI_CMD16, 0x10000, &r), VI_ERROR_INV_PARAMETER);

    ViSession reg = open("VXI0::8::INSTR");
    EXPECT_EQ(viVxiCommandQuery(reg, VI_VXI_CMD16, 0xFEFF, &r), VI_ERROR_NSUP_OPER);
}

TEST_F(Vxi, MessageIoGoesThroughWordSerial) {
    for (const char* name : {"VXI0::16::INSTR", "GPIB-VXI0::24::INSTR"}) {
        ViSession vi = open(name);
        EXPECT_EQ(query(vi, "*IDN?\n"), "ZU,CT-10,16,1.0\n") << name;
        // The same exchange, by hand through the data registers.
        EXPECT_EQ(write(vi, "FREQ?\n"), VI_SUCCESS);
        ViUInt16 response = 0;
        EXPECT_EQ(viIn16(vi, VI_A16_SPACE, 0x0A, &response), VI_SUCCESS);
        EXPECT_TRUE(response & 0x2000) << "data out ready";
        EXPECT_EQ(viOut16(vi, VI_A16_SPACE, 0x0E, 0xDEFF), VI_SUCCESS);
        ViUInt16 data = 0;
        EXPECT_EQ(viIn16(vi, VI_A16_SPACE, 0x0E, &data), VI_SUCCESS);
        EXPECT_EQ(data & 0xFF, '1');
        EXPECT_EQ(viClear(vi), VI_SUCCESS);  // drops the rest of the answer
        ViStatus st;
        EXPECT_EQ(viSetAttribute(vi, VI_ATTR_TMO_VALUE, 50), VI_SUCCESS);
        read(vi, &st);
        EXPECT_EQ(st, VI_ERROR_TMO);
        ViUInt16 stb = 0xFFFF;
        EXPECT_EQ(viReadSTB(vi, &stb), VI_SUCCESS);
        EXPECT_EQ(stb & 0x10, 0) << "nothing waiting";
        viClose(vi);
    }
    ViSession reg = open("VXI0::8::INSTR");
    EXPECT_EQ(write(reg, "*IDN?\n"), VI_ERROR_NSUP_OPER);
    ViSession absent = open("VXI0::40::INSTR", VI_SUCCESS_DEV_NPRESENT);
    EXPECT_EQ(write(absent, "*IDN?\n"), VI_ERROR_BERR);
}

TEST_F(Vxi, TriggerLinesReachDevicesAndListeners) {
    ViSession dig = open("VXI0::8::INSTR");
    ViSession cnt = open("VXI0::16::INSTR");
    ViSession bp = open("VXI0::0::BACKPLANE");
    EXPECT_EQ(viSetAttribute(dig, VI_ATTR_TRIG_ID, VI_TRIG_TTL5), VI_ERROR_NSUP_ATTR_STATE);  // not its line
    EXPECT_EQ(viSetAttribute(dig, VI_ATTR_TRIG_ID, VI_TRIG_TTL0), VI_SUCCESS);
    EXPECT_EQ(viSetAttribute(cnt, VI_ATTR_TRIG_ID, VI_TRIG_TTL1), VI_SUCCESS);
    listen(dig, VI_EVENT_VXI_SIGP);
    listen(dig, VI_EVENT_TRIG);
    listen(cnt, VI_EVENT_TRIG);
    listen(bp, VI_EVENT_TRIG);

    // A pulse on TTL0: the digitizer hears its line and acts on it, the counter does not.
    EXPECT_EQ(viAssertTrigger(dig, VI_TRIG_PROT_SYNC), VI_SUCCESS);
    ViEvent ctx = 0;
    ASSERT_EQ(wait(dig, VI_EVENT_TRIG, &ctx), VI_SUCCESS);
    EXPECT_EQ(attr<ViInt16>(ctx, VI_ATTR_RECV_TRIG_ID), VI_TRIG_TTL0);
    viClose(ctx);
    ASSERT_EQ(wait(bp, VI_EVENT_TRIG, &ctx), VI_SUCCESS);
    EXPECT_EQ(attr<ViInt16>(ctx, VI_ATTR_RECV_TRIG_ID), VI_TRIG_TTL0);
    viClose(ctx);
    ASSERT_EQ(wait(dig, VI_EVENT_VXI_SIGP, &ctx), VI_SUCCESS);
    EXPECT_EQ(attr<ViUInt16>(ctx, VI_ATTR_SIGP_STATUS_ID), 0x7708);
    viClose(ctx);
    EXPECT_EQ(wait(cnt, VI_EVENT_TRIG, &ctx, 0), VI_ERROR_TMO);

    // ON holds the line, OFF releases it; the backplane shows it.
    EXPECT_EQ(viAssertTrigger(cnt, VI_TRIG_PROT_ON), VI_SUCCESS);
    EXPECT_EQ(attr<ViUInt32>(bp, VI_ATTR_VXI_TRIG_STATUS), 1u << VI_TRIG_TTL1);
    EXPECT_EQ(query(cnt, "*IDN?\n"), "COUNTED\n") << "the counter counts on its line";
    EXPECT_EQ(viAssertTrigger(cnt, VI_TRIG_PROT_OFF), VI_SUCCESS);
    EXPECT_EQ(attr<ViUInt32>(bp, VI_ATTR_VXI_TRIG_STATUS), 0u);
    EXPECT_EQ(viAssertTrigger(cnt, 3), VI_ERROR_INV_PROT);

    // Software triggers: word-serial Trigger for a message-based device.
    ViSession other = open("GPIB-VXI0::24::INSTR");
    EXPECT_EQ(viAssertTrigger(other, VI_TRIG_PROT_ON), VI_ERROR_INV_PROT);
    EXPECT_EQ(viAssertTrigger(other, VI_TRIG_PROT_DEFAULT), VI_SUCCESS);
    EXPECT_EQ(read(other), "COUNTED\n");
}

TEST_F(Vxi, RegisterWritesRaiseTheDevicesInterrupts) {
    ViSession dig = open("VXI0::8::INSTR");
    listen(dig, VI_EVENT_VXI_SIGP);
    listen(dig, VI_EVENT_VXI_VME_INTR);
    EXPECT_EQ(viOut16(dig, VI_A16_SPACE, 0x22, 1), VI_SUCCESS);
    ViEvent ctx = 0;
    ASSERT_EQ(wait(dig, VI_EVENT_VXI_SIGP, &ctx), VI_SUCCESS);
    EXPECT_EQ(attr<ViUInt16>(ctx, VI_ATTR_SIGP_STATUS_ID), 8) << "its logical address";
    viClose(ctx);
    EXPECT_EQ(viOut16(dig, VI_A16_SPACE, 0x24, 1), VI_SUCCESS);
    ASSERT_EQ(wait(dig, VI_EVENT_VXI_VME_INTR, &ctx), VI_SUCCESS);
    EXPECT_EQ(attr<ViUInt32>(ctx, VI_ATTR_INTR_STATUS_ID), 8u);
    EXPECT_EQ(attr<ViInt16>(ctx, VI_ATTR_RECV_INTR_LEVEL), 3);
    viClose(ctx);
}

}  // namespace
}  // namespace zuvisa::testing
