#include "attrevents/eventlist.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "rings.h"
#include "zuvisa/visa.h"

namespace {

TEST(EventList, RowsAndNames) {
    int n = 0;
    while (eventList[n].viName) ++n;
    ASSERT_EQ(n, 22);
    EXPECT_EQ(eventList[22].eventId, 0u);
    EXPECT_STREQ(eventList[0].viName, "VI_ALL_ENABLED_EVENTS");
    EXPECT_STREQ(eventList[21].viName, "VI_EVENT_ASRL_TERMCHAR");
    const struct {
        ViEventType type;
        const char* name;
        const char* label;  // null: no label
        ViUInt32 mask;
    } rows[] = {
        {VI_ALL_ENABLED_EVENTS, "VI_ALL_ENABLED_EVENTS", "All Enabled Events", 0x1FFFF},
        {VI_EVENT_IO_COMPLETION, "VI_EVENT_IO_COMPLETION", "I/O Completion", 0x1E7FF},
        {VI_EVENT_EXCEPTION, "VI_EVENT_EXCEPTION", "Error Exception", 0xEFFF},
        {VI_EVENT_TRIG, "VI_EVENT_TRIG", "Trigger", 0x7C06},
        {VI_EVENT_VXI_DEV_CMD, "VI_EVENT_VXI_DEV_CMD", "VXI Miscellaneous Command", 0x4000},
        {VI_EVENT_PXI_INTR, "VI_EVENT_PXI_INTR", "PXI Interrupt", 0x200},
        {VI_EVENT_ASRL_TERMCHAR, "VI_EVENT_ASRL_TERMCHAR", nullptr, 0x40},
    };
    for (const auto& r : rows) {
        const EventListEntry* e = findEventRow(r.type);
        ASSERT_NE(e, nullptr) << r.name;
        EXPECT_STREQ(e->viName, r.name);
        EXPECT_STREQ(e->label ? e->label : "(none)", r.label ? r.label : "(none)");
        EXPECT_EQ(e->classMask, r.mask) << r.name;
        EXPECT_STREQ(eventName(r.type), r.name);
    }
    EXPECT_EQ(findEventRow(0), nullptr) << "the terminator is not a row";
}

TEST(EventList, UnknownTypesByNumberInOneSharedBuffer) {
    const char* a = eventName(VI_EVENT_TCPIP_CONNECT);
    EXPECT_STREQ(a, "0x3FFF2036");
    EXPECT_STREQ(eventName(0), "0x00000000");
    const char* b = eventName(0xBFFFFFFF);
    EXPECT_STREQ(b, "0xBFFFFFFF");
    EXPECT_EQ(a, b) << "one buffer";
    EXPECT_STREQ(a, "0xBFFFFFFF") << "overwritten by the next unknown type";
    EXPECT_STREQ(eventName(VI_EVENT_SERVICE_REQ), "VI_EVENT_SERVICE_REQ");
    EXPECT_STREQ(a, "0xBFFFFFFF") << "a known type leaves it alone";
}

using EventRings = RingTest;

TEST_F(EventRings, RingsByKindAndUse) {
    const struct {
        ViUInt32 kind;
        std::vector<std::string> names;  // rows after VI_ALL_ENABLED_EVENTS
    } kinds[] = {
        {0x1, {"VI_EVENT_IO_COMPLETION", "VI_EVENT_EXCEPTION", "VI_EVENT_SERVICE_REQ"}},
        {0x20, {"VI_EVENT_IO_COMPLETION", "VI_EVENT_EXCEPTION", "VI_EVENT_VXI_VME_INTR"}},
        {0x1000, {"VI_EVENT_TRIG", "VI_EVENT_VXI_VME_SYSFAIL", "VI_EVENT_VXI_VME_SYSRESET"}},
        {0x4000,
         {"VI_EVENT_IO_COMPLETION", "VI_EVENT_EXCEPTION", "VI_EVENT_TRIG", "VI_EVENT_CLEAR",
          "VI_EVENT_VXI_VME_SYSRESET", "VI_EVENT_VXI_DEV_CMD"}},
        {0x10000, {"VI_EVENT_IO_COMPLETION"}},
        {0x40,
         {"VI_EVENT_IO_COMPLETION", "VI_EVENT_EXCEPTION", "VI_EVENT_ASRL_BREAK",
          "VI_EVENT_ASRL_CTS", "VI_EVENT_ASRL_DSR", "VI_EVENT_ASRL_DCD", "VI_EVENT_ASRL_RI",
          "VI_EVENT_ASRL_CHAR", "VI_EVENT_ASRL_TERMCHAR"}},
    };
    for (const auto& k : kinds) {
        for (bool withAll : {false, true}) {
            std::vector<std::string> expected = k.names;
            if (withAll) expected.insert(expected.begin(), "VI_ALL_ENABLED_EVENTS");
            expected.push_back("<Other>...");
            EXPECT_EQ(fillEventRing(panel, ring, k.kind, 1, withAll),
                      static_cast<int>(expected.size()));
            std::vector<std::string> got;
            for (const auto& [text, value] : take()) {
                got.push_back(text);
                const EventListEntry* row = findEventRow(value);
                EXPECT_EQ(row ? std::string(row->viName) : "<Other>...", text)
                    << "the value is the event type";
            }
            EXPECT_EQ(got, expected) << std::hex << k.kind << (withAll ? " with" : " without");
        }
    }
    // Every row for an unrecognised kind; labels in the descriptive style, the VISA name where
    // a row has no label.
    EXPECT_EQ(fillEventRing(panel, ring, 0x1FFFF, 2, true), 23);
    auto items = take();
    EXPECT_EQ(items.front().first, "All Enabled Events");
    EXPECT_EQ(items[1].first, "I/O Completion");
    EXPECT_EQ(items[15].first, "VI_EVENT_ASRL_BREAK");
    EXPECT_EQ(items.back(), (std::pair<std::string, ViUInt32>{"<Other>...", 0}));
}

}  // namespace
