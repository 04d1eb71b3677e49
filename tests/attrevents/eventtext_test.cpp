#include "attrevents/eventtext.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "tests/support/tempdir.h"
#include "visalib/visalib.h"
#include "zuvisa/visa.h"

namespace {

using Lines = std::vector<std::string>;

EventValues values(ViEventType type) {
    EventValues v;
    v.type = type;
    return v;
}

TEST(EventText, HandlerSheetAndWaitListPerType) {
    const struct {
        EventValues event;
        Lines sheet, wait;
    } cases[] = {
        {[] {
             EventValues v = values(VI_EVENT_IO_COMPLETION);
             v.jobId = 0x2A;
             v.retCount = 4000000000u;
             v.status = VI_ERROR_TMO;
             return v;
         }(),
         {"VI_ATTR_EVENT_TYPE:  VI_EVENT_IO_COMPLETION", "  VI_ATTR_JOB_ID: 0x0000002A",
          "  VI_ATTR_RET_COUNT: 4000000000", "  VI_ATTR_STATUS: 0xBFFF0015"},
         {"VI_ATTR_EVENT_TYPE:", "  VI_EVENT_IO_COMPLETION", "VI_ATTR_JOB_ID:", "  0x0000002A",
          "VI_ATTR_RET_COUNT:", "  4000000000", "VI_ATTR_STATUS:", "  0xBFFF0015"}},
        {[] {
             EventValues v = values(VI_EVENT_GPIB_CIC);
             v.cicState = VI_TRUE;
             return v;
         }(),
         {"VI_ATTR_EVENT_TYPE:  VI_EVENT_GPIB_CIC", "  VI_ATTR_GPIB_RECV_CIC_STATE: VI_TRUE"},
         {"VI_ATTR_EVENT_TYPE:", "  VI_EVENT_GPIB_CIC",
          "VI_ATTR_GPIB_RECV_CIC_STATE:", "  VI_TRUE"}},
        {values(VI_EVENT_GPIB_CIC),
         {"VI_ATTR_EVENT_TYPE:  VI_EVENT_GPIB_CIC", "  VI_ATTR_GPIB_RECV_CIC_STATE: VI_FALSE"},
         {"VI_ATTR_EVENT_TYPE:", "  VI_EVENT_GPIB_CIC",
          "VI_ATTR_GPIB_RECV_CIC_STATE:", "  VI_FALSE"}},
        {[] {
             EventValues v = values(VI_EVENT_VXI_SIGP);
             v.sigpStatusId = 0xfd10;
             return v;
         }(),
         {"VI_ATTR_EVENT_TYPE:  VI_EVENT_VXI_SIGP", "  VI_ATTR_SIGP_STATUS_ID:  0xFD10"},
         {"VI_ATTR_EVENT_TYPE:", "  VI_EVENT_VXI_SIGP", "VI_ATTR_SIGP_STATUS_ID:", "  0xFD10"}},
        {[] {
             EventValues v = values(VI_EVENT_TCPIP_CONNECT);
             strcpy(v.tcpipAddress, "10.0.0.5");
             return v;
         }(),
         {"VI_ATTR_EVENT_TYPE:  0x3FFF2036", "  VI_ATTR_RECV_TCPIP_ADDR: 10.0.0.5"},
         {"VI_ATTR_EVENT_TYPE:", "  0x3FFF2036", "VI_ATTR_RECV_TCPIP_ADDR:", "  10.0.0.5"}},
        {[] {
             EventValues v = values(VI_EVENT_TRIG);
             v.trigId = VI_TRIG_SW;
             return v;
         }(),
         {"VI_ATTR_EVENT_TYPE:  VI_EVENT_TRIG", "  VI_ATTR_RECV_TRIG_ID:  -1"},
         {"VI_ATTR_EVENT_TYPE:", "  VI_EVENT_TRIG", "VI_ATTR_RECV_TRIG_ID:", "  -1"}},
        {[] {
             EventValues v = values(VI_EVENT_EXCEPTION);
             v.status = VI_ERROR_NSUP_OPER;
             strcpy(v.operationName, "viIn16");
             return v;
         }(),
         {"VI_ATTR_EVENT_TYPE:  VI_EVENT_EXCEPTION", "  VI_ATTR_STATUS: 0xBFFF0067",
          "  VI_ATTR_OPER_NAME: viIn16"},
         {"VI_ATTR_EVENT_TYPE:", "  VI_EVENT_EXCEPTION"}},
        {[] {
             EventValues v = values(VI_EVENT_VXI_DEV_CMD);
             v.devCmdType = VI_VXI_CMD16;
             v.devCmdValue = 0xCFFF;
             return v;
         }(),
         {"VI_ATTR_EVENT_TYPE:  VI_EVENT_VXI_DEV_CMD", "  VI_ATTR_VXI_DEV_CMD_TYPE: 512",
          "  VI_ATTR_VXI_DEV_CMD_VALUE: 0x0000CFFF"},
         {"VI_ATTR_EVENT_TYPE:", "  VI_EVENT_VXI_DEV_CMD", "VI_ATTR_VXI_DEV_CMD_TYPE:", "  512",
          "VI_ATTR_VXI_DEV_CMD_VALUE:", "  0x0000CFFF"}},
        {[] {
             EventValues v = values(VI_EVENT_VXI_VME_INTR);
             v.intrStatusId = 0x1208;
             v.intrLevel = 5;
             return v;
         }(),
         {"VI_ATTR_EVENT_TYPE:  VI_EVENT_VXI_VME_INTR", "  VI_ATTR_INTR_STATUS_ID:  0x00001208",
          "  VI_ATTR_RECV_INTR_LEVEL:  5"},
         {"VI_ATTR_EVENT_TYPE:", "  VI_EVENT_VXI_VME_INTR",
          "VI_ATTR_INTR_STATUS_ID:", "  0x00001208", "VI_ATTR_RECV_INTR_LEVEL:", "  5"}},
        {values(VI_EVENT_SERVICE_REQ),
         {"VI_ATTR_EVENT_TYPE:  VI_EVENT_SERVICE_REQ"},
         {"VI_ATTR_EVENT_TYPE:", "  VI_EVENT_SERVICE_REQ"}},
        {values(0x12345678),
         {"VI_ATTR_EVENT_TYPE:  0x12345678"},
         {"VI_ATTR_EVENT_TYPE:", "  0x12345678"}},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(handlerSheetLines(c.event), c.sheet);
        EXPECT_EQ(waitOnEventItems(c.event), c.wait);
    }
}

TEST(EventText, AnOperationNameEndsWithItsLine) {
    EventValues v = values(VI_EVENT_EXCEPTION);
    memset(v.operationName, 'x', sizeof v.operationName - 1);
    Lines lines = handlerSheetLines(v);
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[2].size(), 255u);
    EXPECT_EQ(lines[2].substr(0, 22), "  VI_ATTR_OPER_NAME: x");
}

// The values come from an event context of a real library at the widths the texts use.
class EventValuesFromZuVisa : public ::testing::Test {
  protected:
    void SetUp() override {
        setenv("TALMIK_VISA_LIBRARY",
               (std::string(getenv("TALMIK_BIN_DIR")) + "/libzuvisa.so").c_str(), 1);
        writeFile(dir.file("zuvisa.ini"), "[Bridgelets]\nsim = True\n");
        setenv("ZUVISA_CONFIG", dir.file("zuvisa.ini").c_str(), 1);
        ASSERT_EQ(viOpenDefaultRM(&rm), VI_SUCCESS) << VisaLib_Error();
    }
    void TearDown() override {
        viClose(rm);
        VisaLib_Unload();
        unsetenv("ZUVISA_CONFIG");
        unsetenv("TALMIK_VISA_LIBRARY");
    }
    ViSession open(const char* name) {
        ViSession vi = 0;
        EXPECT_EQ(viOpen(rm, name, VI_NULL, 0, &vi), VI_SUCCESS) << name;
        return vi;
    }
    Lines next(ViSession vi, ViEventType type) {
        ViEventType got = 0;
        ViEvent ctx = 0;
        EXPECT_EQ(viWaitOnEvent(vi, type, 2000, &got, &ctx), VI_SUCCESS);
        EventValues v;
        readEventValues(ctx, got, &v);
        viClose(ctx);
        return handlerSheetLines(v);
    }
    TempDir dir;
    ViSession rm = 0;
};

TEST_F(EventValuesFromZuVisa, InterruptsCommandsAndCompletions) {
    ViSession dig = open("VXI0::16::INSTR");
    ViSession bp = open("VXI0::0::BACKPLANE");
    ViSession servant = open("VXI0::SERVANT");
    ViSession commander = open("VXI0::0::INSTR");
    for (ViEventType t : {VI_EVENT_VXI_SIGP, VI_EVENT_VXI_VME_INTR})
        viEnableEvent(dig, t, VI_QUEUE, VI_NULL);
    viEnableEvent(bp, VI_EVENT_TRIG, VI_QUEUE, VI_NULL);
    viEnableEvent(servant, VI_EVENT_VXI_DEV_CMD, VI_QUEUE, VI_NULL);
    viEnableEvent(dig, VI_EVENT_IO_COMPLETION, VI_QUEUE, VI_NULL);

    viAssertIntrSignal(bp, VI_ASSERT_SIGNAL, 0xFD10);
    EXPECT_EQ(next(dig, VI_EVENT_VXI_SIGP), (Lines{"VI_ATTR_EVENT_TYPE:  VI_EVENT_VXI_SIGP",
                                                   "  VI_ATTR_SIGP_STATUS_ID:  0xFD10"}));
    viAssertIntrSignal(bp, VI_ASSERT_IRQ6, 0xAB10);
    EXPECT_EQ(next(dig, VI_EVENT_VXI_VME_INTR),
              (Lines{"VI_ATTR_EVENT_TYPE:  VI_EVENT_VXI_VME_INTR",
                     "  VI_ATTR_INTR_STATUS_ID:  0x0000AB10", "  VI_ATTR_RECV_INTR_LEVEL:  6"}));
    viAssertTrigger(bp, VI_TRIG_PROT_SYNC);
    EXPECT_EQ(next(bp, VI_EVENT_TRIG),
              (Lines{"VI_ATTR_EVENT_TYPE:  VI_EVENT_TRIG", "  VI_ATTR_RECV_TRIG_ID:  0"}));
    viVxiCommandQuery(commander, VI_VXI_CMD16, 0xCFFF, nullptr);
    EXPECT_EQ(next(servant, VI_EVENT_VXI_DEV_CMD),
              (Lines{"VI_ATTR_EVENT_TYPE:  VI_EVENT_VXI_DEV_CMD", "  VI_ATTR_VXI_DEV_CMD_TYPE: 512",
                     "  VI_ATTR_VXI_DEV_CMD_VALUE: 0x0000CFFF"}));
    ViUInt16 samples[3];
    ViJobId job = 0;
    ASSERT_EQ(viMoveAsync(dig, VI_A24_SPACE, 0, VI_WIDTH_16, VI_LOCAL_SPACE,
                          reinterpret_cast<uintptr_t>(samples), VI_WIDTH_16, 3, &job),
              VI_SUCCESS);
    char jobText[32];
    snprintf(jobText, sizeof jobText, "  VI_ATTR_JOB_ID: 0x%08lX", static_cast<unsigned long>(job));
    EXPECT_EQ(next(dig, VI_EVENT_IO_COMPLETION),
              (Lines{"VI_ATTR_EVENT_TYPE:  VI_EVENT_IO_COMPLETION", jobText,
                     "  VI_ATTR_RET_COUNT: 3", "  VI_ATTR_STATUS: 0x00000000"}));
}

ViStatus _VI_FUNCH describeException(ViSession, ViEventType type, ViEvent ctx, ViAddr user) {
    EventValues v;
    readEventValues(ctx, type, &v);
    *static_cast<Lines*>(user) = handlerSheetLines(v);
    return VI_SUCCESS;
}

TEST_F(EventValuesFromZuVisa, AnExceptionNamesTheFailedOperation) {
    ViSession dig = open("VXI0::16::INSTR");
    Lines lines;
    ASSERT_EQ(viInstallHandler(dig, VI_EVENT_EXCEPTION, describeException, &lines), VI_SUCCESS);
    ASSERT_EQ(viEnableEvent(dig, VI_EVENT_EXCEPTION, VI_HNDLR, VI_NULL), VI_SUCCESS);
    ViUInt16 v = 0;
    EXPECT_EQ(viIn16(dig, VI_A16_SPACE, 0x40, &v), VI_ERROR_INV_OFFSET);
    EXPECT_EQ(lines, (Lines{"VI_ATTR_EVENT_TYPE:  VI_EVENT_EXCEPTION",
                            "  VI_ATTR_STATUS: 0xBFFF0051", "  VI_ATTR_OPER_NAME: viIn16"}));
}

}  // namespace
