#include "zuvisa/bridgelets/sim/simdevice.h"

#include <gtest/gtest.h>

#include <memory>

namespace zuvisa::sim {
namespace {

TEST(Format, ReplacementFields) {
    struct Case {
        const char* spec;
        const char* value;
        const char* out;
    } cases[] = {
        {"", "abc", "abc"},       {".2f", "3.14159", "3.14"}, {"d", "42", "42"},
        {"d", "41.6", "42"},      {"+.1e", "1234", "+1.2e+03"}, {"x", "255", "ff"},
        {">6s", "ab", "    ab"},  {"<6s", "ab", "ab    "},      {"08.3f", "-1.5", "-001.500"},
        {".3s", "abcdef", "abc"},
    };
    for (const Case& c : cases) {
        std::string out;
        ASSERT_TRUE(formatValue(c.spec, c.value, &out)) << c.spec;
        EXPECT_EQ(out, c.out) << c.spec;
    }
    std::string out;
    EXPECT_FALSE(formatValue(".2f", "abc", &out));
    EXPECT_FALSE(formatValue("q", "1", &out));
    EXPECT_FALSE(formatValue("9999d", "1", &out));
    EXPECT_EQ(formatResponse("V={:.1f} V", "2.25"), "V=2.2 V");
    EXPECT_EQ(formatResponse("no field", "2"), "no field");
}

TEST(Format, SetterPatterns) {
    std::string v;
    EXPECT_TRUE(matchPattern("VOLT {:f}", "VOLT 1.5", &v));
    EXPECT_EQ(v, "1.5");
    EXPECT_FALSE(matchPattern("VOLT {:f}", "VOLT abc", &v));
    EXPECT_TRUE(matchPattern("CH{:d}:ON", "CH3:ON", &v));
    EXPECT_EQ(v, "3");
    EXPECT_FALSE(matchPattern("CH{:d}:ON", "CH3:OFF", &v));
    EXPECT_FALSE(matchPattern("MODE {}", "MODE ", &v));
    EXPECT_FALSE(matchPattern("MODE", "MODE", &v));
}

TEST(Format, BytesAndRandom) {
    std::mt19937 rng(1);
    std::string out;
    struct Case {
        const char* text;
        std::string out;
    } bytes[] = {
        {"BYTES(0x23, 49, 0, 255)", std::string("#1\0\xff", 4)},
        {"BYTES(4c)", "L"},
        {"BYTES(01)BYTES(02)", "\x01\x02"},
        {"abBYTES(cd)ef", "ab\xcd" "ef"},
        {"BYTES(aa 55 00)", std::string("\xaa\x55\0", 3)},
        {"BYTES()", "BYTES()"},
    };
    for (const Case& c : bytes) {
        ASSERT_TRUE(expandResponse(c.text, rng, &out)) << c.text;
        EXPECT_EQ(out, c.out) << c.text;
    }
    EXPECT_FALSE(expandResponse("BYTES(256)", rng, &out));
    EXPECT_FALSE(expandResponse("BYTES(x)", rng, &out));
    ASSERT_TRUE(expandResponse("V RANDOM(1, 2)", rng, &out));
    double v = std::stod(out.substr(2));
    EXPECT_GE(v, 1.0);
    EXPECT_LE(v, 2.0);
    ASSERT_TRUE(expandResponse("RANDOM(0, 1, 3)", rng, &out));
    EXPECT_EQ(std::count(out.begin(), out.end(), ','), 2);
    // In a replacement field each value takes the field's format; several are joined by ", ".
    ASSERT_TRUE(expandResponse("<{RANDOM(0, 4.55, 4):.5f}>", rng, &out));
    ASSERT_EQ(out.size(), 2 + 4 * 7 + 3 * 2u) << out;
    EXPECT_EQ(out.substr(8, 2), ", ");
    ASSERT_TRUE(expandResponse("{RANDOM(3, 3, 1)}", rng, &out));
    EXPECT_EQ(out, "3");
    EXPECT_FALSE(expandResponse("RANDOM(2, 1)", rng, &out));
    EXPECT_FALSE(expandResponse("RANDOM(1)", rng, &out));
    EXPECT_FALSE(expandResponse("RANDOM(0, 1, 1e9)", rng, &out));
    EXPECT_FALSE(expandResponse("RANDOM(0, 1", rng, &out));
}

std::shared_ptr<DeviceDef> meter() {
    auto d = std::make_shared<DeviceDef>();
    d->name = "meter";
    d->hasCommandError = true;
    d->commandError = "ERR";
    d->dialogues = {{"*IDN?", "METER", true}, {"NOP", "", false}};
    PropertyDef volt;
    volt.name = "volt";
    volt.defaultValue = "1.0";
    volt.hasGetter = volt.hasSetter = true;
    volt.getter = {"VOLT?", "{:.1f}", true};
    volt.setter = {"VOLT {:f}", "", false};
    volt.specs.type = Specs::Float;
    volt.specs.hasMax = true;
    volt.specs.max = 5;
    PropertyDef mode;
    mode.name = "mode";
    mode.defaultValue = "A";
    mode.hasGetter = mode.hasSetter = true;
    mode.getter = {"MODE?", "{}", true};
    mode.setter = {"MODE {}", "", false};
    mode.setterError = "BAD MODE";
    mode.hasSetterError = true;
    mode.specs.valid = {"A", "B"};
    PropertyDef sel;
    sel.name = "selected_channel";
    sel.defaultValue = "1";
    sel.hasSetter = true;
    sel.setter = {"SEL {:d}", "", false};
    sel.specs.type = Specs::Int;
    d->properties = {volt, mode, sel};
    ChannelsDef fixed;
    fixed.name = "out";
    fixed.ids = {"1", "2"};
    fixed.dialogues = {{"OUT{ch_id}?", "out {ch_id}", true}};
    ChannelsDef selected;
    selected.name = "in";
    selected.ids = {"1", "2"};
    selected.canSelect = true;
    PropertyDef gain;
    gain.name = "gain";
    gain.defaultValue = "1";
    gain.hasGetter = gain.hasSetter = true;
    gain.getter = {"GAIN?", "{}", true};
    gain.setter = {"GAIN {:d}", "", false};
    gain.specs.type = Specs::Int;
    selected.properties = {gain};
    d->channels = {fixed, selected};
    ErrorQueueDef q;
    q.q = "ERR?";
    q.defaultText = "0";
    q.messages = {{"command_error", "-100"}};
    d->errorQueues = {q};
    StatusRegisterDef r;
    r.q = "REG?";
    r.bits = {{"command_error", 32}};
    d->statusRegisters = {r};
    return d;
}

TEST(Device, DialoguesPropertiesChannelsAndErrors) {
    Device dev(meter(), "GPIB INSTR");
    struct Step {
        const char* message;
        const char* answer;  // null: no answer
    } steps[] = {
        {"*IDN?", "METER"},       {"NOP", nullptr},        {"VOLT?", "1.0"},
        {"VOLT 2.5", nullptr},    {"VOLT?", "2.5"},        {"VOLT 9", "ERR"},
        {"VOLT?", "2.5"},         {"MODE C", "BAD MODE"},  {"MODE B", nullptr},
        {"MODE?", "B"},           {"OUT2?", "out 2"},      {"OUT3?", "ERR"},
        {"GAIN 5", nullptr},      {"GAIN?", "5"},          {"SEL 2", nullptr},
        {"GAIN?", "1"},           {"SEL 1", nullptr},      {"GAIN?", "5"},
        {"ERR?", "-100"},         {"ERR?", "-100"},        {"ERR?", "-100"},
        {"ERR?", "0"},            {"REG?", "32"},          {"REG?", "0"},
        {"*IDN?;VOLT?", "METER;2.5"}, {" VOLT? \r", "2.5"},
    };
    for (const Step& s : steps) {
        auto a = dev.query(s.message);
        if (s.answer) {
            ASSERT_TRUE(a.has_value()) << s.message;
            EXPECT_EQ(*a, s.answer) << s.message;
        } else {
            EXPECT_FALSE(a.has_value()) << s.message << " answered " << a.value_or("");
        }
    }
}

TEST(Device, CommonCommandsAndServiceRequests) {
    Device dev(meter(), "GPIB INSTR");
    struct Sink : EventSink {
        int srq = 0;
        void raise(const EventData& e) override { srq += e.type == VI_EVENT_SERVICE_REQ; }
    } sink;
    dev.attach(&sink);
    EXPECT_EQ(dev.query("*ESE 1"), std::nullopt);
    EXPECT_EQ(dev.query("*ESE?"), "1");
    EXPECT_EQ(dev.query("*SRE 32"), std::nullopt);
    EXPECT_EQ(dev.query("*OPC"), std::nullopt);
    EXPECT_EQ(sink.srq, 1);
    EXPECT_EQ(dev.query("*STB?"), "96");  // ESB and MSS
    EXPECT_EQ(dev.query("*OPC"), std::nullopt);
    EXPECT_EQ(sink.srq, 1);  // still pending: no second request
    ViUInt16 stb = 0;
    dev.readStb(&stb);
    EXPECT_EQ(stb, 0x60);
    dev.readStb(&stb);
    EXPECT_EQ(stb, 0x20);
    EXPECT_EQ(dev.query("*ESR?"), "1");
    EXPECT_EQ(dev.query("*OPC"), std::nullopt);
    EXPECT_EQ(sink.srq, 2);
    EXPECT_EQ(dev.query("*OPC?"), "1");
    EXPECT_EQ(dev.query("VOLT 1.5"), std::nullopt);
    EXPECT_EQ(dev.query("*RST"), std::nullopt);
    EXPECT_EQ(dev.query("VOLT?"), "1.0");
    dev.detach(&sink);
}

TEST(Device, EndAndTerminationSplitMessages) {
    Device dev(meter(), "GPIB INSTR");
    size_t done = 0;
    const char two[] = "*IDN?\nVOLT?\n";
    ASSERT_EQ(dev.write(reinterpret_cast<const ViByte*>(two), sizeof two - 1, false, &done), VI_SUCCESS);
    EXPECT_EQ(done, sizeof two - 1);
    ViByte buf[32];
    ReadOptions opt;
    IoControl io = IoControl::fromTimeout(0, nullptr);
    ASSERT_EQ(dev.read(buf, sizeof buf, opt, io, &done), VI_SUCCESS);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(buf), done), "METER\n");
    ASSERT_EQ(dev.read(buf, sizeof buf, opt, io, &done), VI_SUCCESS);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(buf), done), "1.0\n");
    EXPECT_EQ(dev.read(buf, sizeof buf, opt, io, &done), VI_ERROR_TMO);
    std::atomic<bool> cancel{true};
    IoControl cancelled = IoControl::fromTimeout(VI_TMO_INFINITE, &cancel);
    EXPECT_EQ(dev.read(buf, sizeof buf, opt, cancelled, &done), VI_ERROR_ABORT);
}

TEST(Device, QueryErrorAnswersAnEmptyRead) {
    auto d = meter();
    d->hasQueryError = true;
    d->queryError = "QERR";
    Device dev(d, "GPIB INSTR");
    ViByte buf[16];
    size_t done = 0;
    ASSERT_EQ(dev.read(buf, sizeof buf, ReadOptions{}, IoControl::fromTimeout(0, nullptr), &done), VI_SUCCESS);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(buf), done), "QERR\n");
}

}  // namespace
}  // namespace zuvisa::sim
