// How trace records read: arguments by what they mean, names from the application's naming
// functions, and the JSON and CSV forms read back. The calls are made with no library behind
// them, so what they were given is recorded and nothing else happens.
#include "visalib/traceformat.h"

#include <gtest/gtest.h>

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

#include <cstdlib>
#include <functional>
#include <regex>
#include <string>
#include <vector>

#include "tests/support/csv.h"
#include "visalib/visalib.h"

namespace {

class TraceFormat : public ::testing::Test {
protected:
    void SetUp() override {
        VisaLib_Unload();
        setenv("TALMIK_VISA_LIBRARY", "/nonexistent/libvisa.so", 1);
    }
    void TearDown() override {
        VisaTrace_SetNames(nullptr);
        VisaLib_Unload();
        unsetenv("TALMIK_VISA_LIBRARY");
    }
    // The record of the last call that f makes.
    static VisaTraceRecord recordOf(const std::function<void()>& f) {
        f();
        uint64_t first = 0, next = 0;
        VisaTrace_Range(&first, &next);
        VisaTraceRecord r;
        EXPECT_TRUE(VisaTrace_Get(next - 1, &r));
        return r;
    }
};

constexpr ViSession kVi = 0x401;

TEST_F(TraceFormat, ArgumentsReadAsWhatTheyMean) {
    unsigned char buf[8] = {};
    char text[256] = "";
    ViSession s = 0;
    ViJobId job = 0;
    const struct {
        std::function<void()> call;
        const char* expected;
    } cases[] = {
        {[&] { viOpen(1, "GPIB0::5::INSTR", VI_EXCLUSIVE_LOCK | VI_LOAD_CONFIG, 2000, &s); },
         "sesn=0x00000001, name=\"GPIB0::5::INSTR\", mode=VI_EXCLUSIVE_LOCK|VI_LOAD_CONFIG, timeout=2000 ms, vi=-"},
        {[&] { viOpen(1, "A\"B\\\n", 0x10, VI_TMO_INFINITE, &s); },
         "sesn=0x00000001, name=\"A\\\"B\\\\\\x0a\", mode=0x10, timeout=VI_TMO_INFINITE, vi=-"},
        {[&] { viLock(kVi, VI_SHARED_LOCK, VI_TMO_IMMEDIATE, nullptr, text); },
         "vi=0x00000401, lockType=VI_SHARED_LOCK, timeout=VI_TMO_IMMEDIATE, requestedKey=VI_NULL, accessKey=-"},
        {[&] { viMoveIn16(kVi, VI_A24_SPACE, 0x200, 4, reinterpret_cast<ViAUInt16>(buf)); },
         nullptr},  // the buffer is an address here; checked below
        {[&] { viMove(kVi, VI_A16_SPACE, 0x10, VI_WIDTH_16, VI_OPAQUE_SPACE, 0x2000, VI_WIDTH_32, 8); },
         "vi=0x00000401, srcSpace=VI_A16_SPACE, srcOffset=0x10, srcWidth=VI_WIDTH_16, destSpace=VI_OPAQUE_SPACE, "
         "destOffset=0x2000, destWidth=VI_WIDTH_32, srcLength=8"},
        {[&] { viEnableEvent(kVi, 0x3FFF200B, VI_QUEUE | VI_HNDLR, VI_NULL); },
         "vi=0x00000401, eventType=0x3FFF200B, mechanism=VI_QUEUE|VI_HNDLR, context=VI_NULL"},
        {[&] { viDisableEvent(kVi, VI_ALL_ENABLED_EVENTS, VI_ALL_MECH); },
         "vi=0x00000401, eventType=VI_ALL_ENABLED_EVENTS, mechanism=VI_ALL_MECH"},
        {[&] { viMapTrigger(kVi, VI_TRIG_TTL3, VI_TRIG_STAR_SLOT1, VI_NULL); },
         "vi=0x00000401, trigSrc=VI_TRIG_TTL3, trigDest=VI_TRIG_STAR_SLOT1, mode=VI_NULL"},
        {[&] { viAssertTrigger(kVi, VI_TRIG_PROT_SYNC); }, "vi=0x00000401, protocol=VI_TRIG_PROT_SYNC"},
        {[&] { viSetBuf(kVi, VI_READ_BUF | VI_WRITE_BUF, 4096); },
         "vi=0x00000401, mask=VI_READ_BUF|VI_WRITE_BUF, size=4096"},
        {[&] { viGpibControlREN(kVi, VI_GPIB_REN_ASSERT_ADDRESS_LLO); }, "vi=0x00000401, mode=VI_GPIB_REN_ASSERT_ADDRESS_LLO"},
        {[&] { viGpibControlATN(kVi, 9); }, "vi=0x00000401, mode=9"},
        {[&] { viAssertIntrSignal(kVi, VI_ASSERT_SIGNAL, 0xFD01); }, "vi=0x00000401, mode=VI_ASSERT_SIGNAL, statusID=0xFD01"},
        {[&] { viVxiCommandQuery(kVi, VI_VXI_CMD16_RESP16, 0xCFFF, nullptr); },
         "vi=0x00000401, mode=VI_VXI_CMD16_RESP16, cmd=0xCFFF, response=-"},
        {[&] { viGpibPassControl(kVi, 3, VI_NO_SEC_ADDR); }, "vi=0x00000401, primAddr=3, secAddr=VI_NO_SEC_ADDR"},
        {[&] { viSetAttribute(kVi, 0x3FFF001A, 1000); }, "vi=0x00000401, attrName=0x3FFF001A, attrValue=1000 (0x3E8)"},
        {[&] { viStatusDesc(kVi, VI_ERROR_TMO, text); }, "vi=0x00000401, status=0xBFFF0015, desc=-"},
        {[&] { viReadAsync(kVi, buf, 8, &job); }, nullptr},
        {[&] { viGpibCommand(kVi, reinterpret_cast<ViConstBuf>("?_"), 2, nullptr); },
         "vi=0x00000401, cmd=2 bytes, cnt=2, retCnt=-"},
    };
    for (const auto& c : cases) {
        VisaTraceRecord r = recordOf(c.call);
        EXPECT_EQ(r.status, VI_ERROR_LIBRARY_NFOUND);
        if (c.expected) {
            EXPECT_EQ(VisaTrace_ArgumentsText(r), c.expected) << VisaTrace_FunctionName(r.function);
        }
    }
    // Bytes given to a call are kept even when it fails; a buffer to be filled stays an address.
    VisaTraceRecord command = recordOf(cases[18].call);
    EXPECT_EQ(std::string(command.data.begin(), command.data.end()), "?_");
    VisaTraceRecord moveIn = recordOf(cases[3].call);
    EXPECT_FALSE(moveIn.hasData);
    EXPECT_NE(VisaTrace_ArgumentsText(moveIn).find("space=VI_A24_SPACE, offset=0x200, length=4, buf16=0x"),
              std::string::npos);
}

// Names that a test gives in place of the application's catalogues.
const char* testStatus(ViStatus s) { return s == VI_ERROR_LIBRARY_NFOUND ? "VI_ERROR_LIBRARY_NFOUND" : nullptr; }
const char* testAttribute(ViAttr a) { return a == 0x3FFF001A ? "VI_ATTR_TMO_VALUE" : nullptr; }
const char* testEvent(ViEventType e) { return e == 0x3FFF200B ? "VI_EVENT_SERVICE_REQ" : nullptr; }
int testSize(ViAttr) { return 4; }

TEST_F(TraceFormat, NamesComeFromTheApplicationAndNumbersStandInForThem) {
    static const VisaTraceNames names = {testStatus, testAttribute, testEvent, testSize};
    auto setAttribute = [] { viSetAttribute(kVi, 0x3FFF001A, 5); };
    auto enable = [] { viEnableEvent(kVi, 0x3FFF200B, VI_QUEUE, VI_NULL); };
    auto write = [] { viWrite(kVi, reinterpret_cast<ViConstBuf>("a\\\x01\xff\r\n"), 6, nullptr); };

    VisaTraceRecord a = recordOf(setAttribute), e = recordOf(enable), w = recordOf(write);
    EXPECT_EQ(VisaTrace_StatusName(a), "");
    EXPECT_EQ(VisaTrace_StatusText(a), "0xBFFF009E");
    EXPECT_NE(VisaTrace_ArgumentsText(a).find("attrName=0x3FFF001A"), std::string::npos);
    EXPECT_NE(VisaTrace_ArgumentsText(e).find("eventType=0x3FFF200B"), std::string::npos);
    // The bytes as the I/O panels show them: escapes, and a line break after a line end.
    EXPECT_EQ(VisaTrace_DataText(w), "a\\\\\\x01\\xff\\r\\n\n");
    EXPECT_EQ(VisaTrace_DataHex(w), "61 5c 01 ff 0d 0a");

    // Names are made when a record is read, so records made before the names came get them too.
    VisaTrace_SetNames(&names);
    EXPECT_EQ(VisaTrace_StatusName(a), "VI_ERROR_LIBRARY_NFOUND");
    EXPECT_NE(VisaTrace_ArgumentsText(a).find("attrName=VI_ATTR_TMO_VALUE"), std::string::npos);
    EXPECT_NE(VisaTrace_ArgumentsText(e).find("eventType=VI_EVENT_SERVICE_REQ"), std::string::npos);
}

TEST_F(TraceFormat, TimesDurationsAndThreads) {
    VisaTraceRecord r = recordOf([] { viClear(kVi); });
    EXPECT_TRUE(std::regex_match(VisaTrace_IsoTime(r), std::regex(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{6}[+-]\d\d:\d\d)")))
        << VisaTrace_IsoTime(r);
    EXPECT_TRUE(std::regex_match(VisaTrace_TimeText(r, false), std::regex(R"(\d\d:\d\d:\d\d\.\d{6})")));
    EXPECT_EQ(VisaTrace_TimeText(r, true).substr(11), VisaTrace_TimeText(r, false));
    EXPECT_EQ(VisaTrace_ThreadText(r), "main");
    r.durationNs = 12345;
    EXPECT_EQ(VisaTrace_DurationText(r), "12.3");
    r.durationNs = 200430512;
    EXPECT_EQ(VisaTrace_DurationText(r), "200431");
    r.flags |= kVisaTraceRunning;
    EXPECT_EQ(VisaTrace_DurationText(r), "running");
    EXPECT_EQ(VisaTrace_StatusText(r), "");
}

TEST_F(TraceFormat, JsonAndCsvReadBackToTheSameValues) {
    static const char kAwkward[] = "say \"hi\", then\r\nquit\\\x00\x7f\xe9";
    const std::string awkward(kAwkward, sizeof kAwkward - 1);
    VisaTraceRecord r = recordOf([&] {
        viWrite(kVi, reinterpret_cast<ViConstBuf>(awkward.data()), static_cast<ViUInt32>(awkward.size()), nullptr);
    });

    QJsonParseError error{};
    QJsonObject o = QJsonDocument::fromJson(QByteArray::fromStdString(VisaTrace_Json(r)), &error).object();
    ASSERT_EQ(error.error, QJsonParseError::NoError) << VisaTrace_Json(r);
    EXPECT_EQ(o["sequence"].toInteger(), static_cast<qint64>(r.sequence));
    EXPECT_EQ(o["function"].toString(), "viWrite");
    EXPECT_EQ(o["session"].toString(), "0x00000401");
    EXPECT_EQ(o["status"].toString(), "0xBFFF009E");
    EXPECT_EQ(o["dataLength"].toInteger(), static_cast<qint64>(awkward.size()));
    EXPECT_EQ(o["dataText"].toString().toStdString(), VisaTrace_DataText(r));
    EXPECT_EQ(o["dataHex"].toString().toStdString(), VisaTrace_DataHex(r));
    QByteArray fromHex = QByteArray::fromHex(o["dataHex"].toString().toLatin1());
    EXPECT_EQ(fromHex.toStdString(), awkward);
    EXPECT_EQ(o["arguments"].toObject()["cnt"].toString(), QString::number(awkward.size()));
    EXPECT_EQ(o["time"].toString().toStdString(), VisaTrace_IsoTime(r));

    std::string csv = VisaTrace_CsvHeader() + "\n" + VisaTrace_CsvRow(r) + "\n";
    size_t at = 0;
    std::vector<std::string> header = readCsvLine(csv, &at), row = readCsvLine(csv, &at);
    EXPECT_EQ(at, csv.size());
    ASSERT_EQ(header.size(), row.size());
    auto column = [&](const char* name) {
        for (size_t i = 0; i < header.size(); ++i)
            if (header[i] == name) return row[i];
        ADD_FAILURE() << "no column " << name;
        return std::string();
    };
    EXPECT_EQ(column("Call"), std::to_string(r.sequence));
    EXPECT_EQ(column("Operation"), "viWrite");
    EXPECT_EQ(column("Arguments"), VisaTrace_ArgumentsText(r));
    EXPECT_EQ(column("Status"), "0xBFFF009E");
    EXPECT_EQ(column("Data"), VisaTrace_DataText(r));
    EXPECT_EQ(QByteArray::fromHex(QByteArray::fromStdString(column("Data (hex)"))).toStdString(), awkward);
}

TEST_F(TraceFormat, DetailsShowEveryArgumentAndAHexDump) {
    std::string bytes = "0123456789abcdefXYZ";
    VisaTraceRecord r = recordOf([&] {
        viWrite(kVi, reinterpret_cast<ViConstBuf>(bytes.data()), static_cast<ViUInt32>(bytes.size()), nullptr);
    });
    std::string d = VisaTrace_Details(r);
    for (const char* part : {"viWrite", "Session:   0x00000401", "  cnt     19", "Status:    0xBFFF009E",
                             "Data:      19 bytes", "0000  30 31 32 33 34 35 36 37 38 39 61 62 63 64 65 66  0123456789abcdef",
                             "0010  58 59 5a"})
        EXPECT_NE(d.find(part), std::string::npos) << part << "\n" << d;
    // A read of nothing says so, with no empty dump under it.
    unsigned char buf[8];
    ViUInt32 n = 0;
    d = VisaTrace_Details(recordOf([&] { viRead(kVi, buf, 0, &n); }));
    EXPECT_NE(d.find("Data:      0 bytes"), std::string::npos) << d;
    EXPECT_EQ(d.find("Hexadecimal"), std::string::npos) << d;
}

}  // namespace
