// The I/O trace window over ZU-VISA's demo bench: the menu item, live rows, filters, details,
// copy, both exports read back, the bound of the ring, handlers, and the size preference.
#include "app/iotrace.h"

#include <gtest/gtest.h>

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "app/prefs.h"
#include "app/talmik.h"
#include "app/tracenames.h"
#include "session/sessionrecord.h"
#include "talmik_uir.h"
#include "tests/support/csv.h"
#include "tests/support/sessionbench.h"
#include "tests/support/tempdir.h"
#include "uiruntime/testing/uitest.h"
#include "visalib/trace.h"
#include "visalib/traceformat.h"
#include "visalib/visalib.h"

namespace {

class IoTrace : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(UiTest_Start(), 0);
        UiTest_SetLoopTimeout(2000);
        std::filesystem::copy_file(binFile("talmik.uir"), dir.file("talmik.uir"));
        std::filesystem::copy_file(binFile("ZUtalmik.hlp"), dir.file("ZUtalmik.hlp"));
        UiTest_SetProjectDir(dir.path().c_str());
        _ResetDirCache_();
        writeFile(dir.file("zuvisa.ini"), "[Bridgelets]\nsim = True\n");
        setenv("ZUVISA_CONFIG", dir.file("zuvisa.ini").c_str(), 1);
        setenv("TALMIK_VISA_LIBRARY", binFile("libzuvisa.so").c_str(), 1);
        RegisterUirCallbacks_talmik();
        GetTalmikPathNames(&pszAppName, &pszHelpName);
        installIoTraceNames();
        VisaTrace_SetCapacity(kVisaTraceDefaultCapacity);
        VisaTrace_Clear();
    }
    void TearDown() override {
        EXPECT_TRUE(UiTest_Failures().empty()) << UiTest_Failures().front();
        if (rm) viClose(rm);
        VisaLib_Unload();
        UiTest_Reset();
        unsetenv("ZUVISA_CONFIG");
        unsetenv("TALMIK_VISA_LIBRARY");
    }

    // A resource manager and a session to one of the demo bench's instruments (its multimeter).
    ViSession openMeter(const char* name = "GPIB0::22::INSTR") {
        if (!rm) {
            EXPECT_EQ(viOpenDefaultRM(&rm), VI_SUCCESS);
        }
        ViSession vi = 0;
        EXPECT_EQ(viOpen(rm, name, VI_NULL, 0, &vi), VI_SUCCESS);
        viSetAttribute(vi, VI_ATTR_TMO_VALUE, 200);
        return vi;
    }
    static ViStatus write(ViSession vi, const std::string& text) {
        ViUInt32 n = 0;
        return viWrite(vi, reinterpret_cast<ViConstBuf>(text.data()), static_cast<ViUInt32>(text.size()), &n);
    }
    static ViStatus read(ViSession vi) {
        unsigned char buf[256];
        ViUInt32 n = 0;
        return viRead(vi, buf, sizeof buf, &n);
    }
    int window() {
        int p = UiTest_FindPanel("IOTRACE");
        EXPECT_GT(p, 0);
        return p;
    }
    void tick() { ASSERT_EQ(UiTest_FireTimer(window(), IOTRACE_TICK), 0); }
    int rows() {
        int n = -1;
        GetNumTableRows(window(), IOTRACE_CALLS, &n);
        return n;
    }
    std::string cell(int row, int column) { return UiTest_TableCellText(window(), IOTRACE_CALLS, row, column); }
    std::vector<std::string> operations() {
        std::vector<std::string> out;
        for (int r = 0; r < rows(); ++r) out.push_back(cell(r, 5));
        return out;
    }

    TempDir dir;
    ViSession rm = 0;
};

enum { kCall = 0, kSession = 4, kOperation = 5, kArguments = 6, kStatus = 7, kData = 8 };

TEST_F(IoTrace, CallsAppearLiveInTheOrderMade) {
    ViSession vi = openMeter();
    OpenIoTrace(VI_NULL);
    int p = window();
    char title[64] = "";
    GetPanelAttribute(p, ATTR_TITLE, title, sizeof title);
    EXPECT_STREQ(title, "VISA I/O Trace");
    EXPECT_EQ(operations(),
              (std::vector<std::string>{"viOpenDefaultRM", "viOpen", "viSetAttribute"}));

    ASSERT_EQ(write(vi, "*IDN?\n"), VI_SUCCESS);
    ASSERT_GE(read(vi), VI_SUCCESS);
    EXPECT_EQ(rows(), 3);  // until the next tick
    tick();
    ASSERT_EQ(rows(), 5);
    EXPECT_EQ(cell(3, kOperation), "viWrite");
    EXPECT_EQ(cell(3, kData), "*IDN?\\n");  // escaped, on one line
    EXPECT_EQ(cell(3, kArguments), "buf=6 bytes, cnt=6, retCnt=6");
    EXPECT_EQ(cell(3, kSession), VisaTrace_HandleText(vi) + "  GPIB0::22::INSTR");
    EXPECT_EQ(cell(3, kStatus), "VI_SUCCESS");
    EXPECT_NE(cell(4, kData).find("ZU Instruments,DM-6500"), std::string::npos);
    EXPECT_LT(std::stoull(cell(3, kCall)), std::stoull(cell(4, kCall)));
    EXPECT_EQ(UiTest_DisplayedText(p, IOTRACE_COUNT), "5 of 5 calls kept are shown");

    // Attributes by their catalogue names, values read at the width the catalogue gives them.
    char name[256] = "";
    ViUInt16 interfaceType = 0;
    viGetAttribute(vi, VI_ATTR_RSRC_NAME, name);
    viGetAttribute(vi, VI_ATTR_INTF_TYPE, &interfaceType);
    tick();
    EXPECT_EQ(cell(2, kArguments), "attrName=VI_ATTR_TMO_VALUE, attrValue=200 (0xC8)");
    EXPECT_EQ(cell(5, kArguments), "attrName=VI_ATTR_RSRC_NAME, attrValue=\"GPIB0::22::INSTR\"");
    EXPECT_EQ(cell(6, kArguments), "attrName=VI_ATTR_INTF_TYPE, attrValue=1 (0x1)");
}

TEST_F(IoTrace, FiltersBySessionOperationAndErrors) {
    ViSession a = openMeter();
    ViSession b = openMeter("GPIB0::7::INSTR");
    write(a, "*IDN?\n");
    read(a);
    write(b, "*IDN?\n");
    read(a);  // nothing asked: a timeout
    viGetAttribute(b, 0x3FFF7777, nullptr);
    ViSession none = 0;
    viOpen(rm, "GPIB0::29::INSTR", VI_NULL, 0, &none);  // no such instrument
    OpenIoTrace(VI_NULL);
    int p = window();
    const struct {
        const char* what;
        ViSession session;
        int function;
        int errorsOnly;
        std::vector<std::string> expected;
    } cases[] = {
        {"session a", a, -1, 0, {"viOpen", "viSetAttribute", "viWrite", "viRead", "viRead"}},
        {"session b", b, -1, 0, {"viOpen", "viSetAttribute", "viWrite", "viGetAttribute"}},
        {"writes", VI_NULL, VisaTrace_viWrite, 0, {"viWrite", "viWrite"}},
        {"errors", VI_NULL, -1, 1, {"viRead", "viGetAttribute", "viOpen"}},
        {"errors of a", a, -1, 1, {"viRead"}},
        {"reads of b", b, VisaTrace_viRead, 0, {}},
        {"everything", VI_NULL, -1, 0,
         {"viOpenDefaultRM", "viOpen", "viSetAttribute", "viOpen", "viSetAttribute", "viWrite", "viRead", "viWrite",
          "viRead", "viGetAttribute", "viOpen"}},
    };
    for (const auto& c : cases) {
        ASSERT_EQ(UiTest_SetValue(p, IOTRACE_SESSION, static_cast<unsigned int>(c.session)), 0) << c.what;
        ASSERT_EQ(UiTest_SetValue(p, IOTRACE_OPERATION, c.function), 0) << c.what;
        ASSERT_EQ(UiTest_SetValue(p, IOTRACE_ERRORSONLY, c.errorsOnly), 0) << c.what;
        EXPECT_EQ(operations(), c.expected) << c.what;
    }
    // The rings list what the trace has seen: the resource manager and both sessions; the
    // operations by name.
    int sessions = 0, functions = 0;
    GetNumListItems(p, IOTRACE_SESSION, &sessions);
    GetNumListItems(p, IOTRACE_OPERATION, &functions);
    EXPECT_EQ(sessions, 4);
    EXPECT_EQ(functions, 7);
    char label[64] = "";
    GetLabelFromIndex(p, IOTRACE_OPERATION, 1, label);
    EXPECT_STREQ(label, "viGetAttribute");
}

TEST_F(IoTrace, TheSelectedCallIsShownInFull) {
    ViSession vi = openMeter();
    write(vi, "*IDN?\n");
    read(vi);
    OpenIoTrace(vi);
    int p = window();
    ASSERT_EQ(UiTest_SelectIndex(p, IOTRACE_CALLS, rows() - 1), 0);
    std::string details = UiTest_DisplayedText(p, IOTRACE_DETAILS);
    for (const char* part : {"viRead", "Session:   " , "GPIB0::22::INSTR", "retCnt", "Status:    0x", "Hexadecimal:",
                             "0000  5a 55 20 49 6e 73 74 72"})
        EXPECT_NE(details.find(part), std::string::npos) << part << "\n" << details;
}

TEST_F(IoTrace, CopyAndBothExportsReadBack) {
    ViSession vi = openMeter();
    write(vi, "*IDN?\n");
    read(vi);
    read(vi);  // a timeout
    OpenIoTrace(vi);
    int p = window();
    const int n = rows();
    ASSERT_EQ(n, 5);

    UiTest_AnswerFileSelect(VAL_NEW_FILE_SELECTED, dir.file("trace.csv").c_str());
    ASSERT_EQ(UiTest_Commit(p, IOTRACE_EXPORTCSV), 0);
    auto csv = readCsv(readFile(dir.file("trace.csv")));
    ASSERT_EQ(csv.size(), static_cast<size_t>(n) + 1);
    EXPECT_EQ(csv[0][5], "Operation");
    for (int r = 0; r < n; ++r) {
        EXPECT_EQ(csv[static_cast<size_t>(r) + 1][0], cell(r, kCall));
        EXPECT_EQ(csv[static_cast<size_t>(r) + 1][5], cell(r, kOperation));
    }
    EXPECT_EQ(csv[3][13], "2a 49 44 4e 3f 0a");
    EXPECT_EQ(csv[5][9], "0xBFFF0015");

    UiTest_AnswerFileSelect(VAL_NEW_FILE_SELECTED, dir.file("trace.json").c_str());
    ASSERT_EQ(UiTest_Commit(p, IOTRACE_EXPORTJSON), 0);
    QJsonParseError error{};
    QJsonArray calls = QJsonDocument::fromJson(QByteArray::fromStdString(readFile(dir.file("trace.json"))), &error).array();
    ASSERT_EQ(error.error, QJsonParseError::NoError);
    ASSERT_EQ(calls.size(), n);
    EXPECT_EQ(calls[2].toObject()["function"].toString(), "viWrite");
    EXPECT_EQ(QByteArray::fromHex(calls[2].toObject()["dataHex"].toString().toLatin1()), QByteArray("*IDN?\n"));
    EXPECT_EQ(calls[3].toObject()["dataText"].toString().toStdString().rfind("ZU Instruments", 0), 0u);
    EXPECT_EQ(calls[4].toObject()["statusName"].toString(), "VI_ERROR_TMO");
    EXPECT_EQ(calls[1].toObject()["sessionName"].toString(), "GPIB0::22::INSTR");

    // A file that cannot be written is said so, and nothing is left behind.
    UiTest_AnswerFileSelect(VAL_NEW_FILE_SELECTED, dir.file("missing/trace.csv").c_str());
    ASSERT_EQ(UiTest_Commit(p, IOTRACE_EXPORTCSV), 0);
    ASSERT_FALSE(UiTest_Popups().empty());
    EXPECT_EQ(UiTest_Popups().back().text, "Unable to write the I/O trace to \"" + dir.file("missing/trace.csv") + "\".");
    EXPECT_EQ(UiTest_Popups().back().title, "TALMIK");

    // Copy takes the selected rows, with the header.
    UiTest_SelectIndex(p, IOTRACE_CALLS, 2);
    UiTest_SelectMoreRows(p, IOTRACE_CALLS, 4);
    ASSERT_EQ(UiTest_Commit(p, IOTRACE_COPY), 0);
    char clip[8192] = "";
    ClipboardGetText(clip, sizeof clip, nullptr);
    auto copied = readCsv(clip);
    ASSERT_EQ(copied.size(), 3u);
    EXPECT_EQ(copied[1][5], "viWrite");
    EXPECT_EQ(copied[2][10], "VI_ERROR_TMO");
    // Ctrl+C in the list does the same.
    ClipboardPutText("");
    UiTest_KeyPress(p, IOTRACE_CALLS, VAL_MENUKEY_MODIFIER | 'c');
    ClipboardGetText(clip, sizeof clip, nullptr);
    EXPECT_EQ(readCsv(clip).size(), 3u);
}

TEST_F(IoTrace, OldCallsFallOffTheTopWithinTheSizeKept) {
    ViSession vi = openMeter();
    OpenIoTrace(VI_NULL);
    int p = window();
    ASSERT_EQ(UiTest_SetValue(p, IOTRACE_KEEP, 100), 0);
    EXPECT_EQ(VisaTrace_Capacity(), 100u);
    ViUInt32 timeout = 0;
    for (int i = 0; i < 150; ++i) viGetAttribute(vi, VI_ATTR_TMO_VALUE, &timeout);
    tick();
    ASSERT_EQ(rows(), 100);
    uint64_t first = 0, next = 0;
    VisaTrace_Range(&first, &next);
    EXPECT_EQ(cell(0, kCall), std::to_string(first));
    EXPECT_EQ(cell(99, kCall), std::to_string(next - 1));
    EXPECT_EQ(UiTest_DisplayedText(p, IOTRACE_COUNT), "100 of 100 calls kept are shown");
    ASSERT_EQ(UiTest_Commit(p, IOTRACE_CLEAR), 0);
    EXPECT_EQ(rows(), 0);
    viGetAttribute(vi, VI_ATTR_TMO_VALUE, &timeout);
    tick();
    EXPECT_EQ(operations(), std::vector<std::string>{"viGetAttribute"});
}

std::atomic<int> g_handled{0};

ViStatus _VI_FUNCH serviceHandler(ViSession vi, ViEventType, ViEvent, ViAddr) {
    ViUInt16 stb = 0;
    viReadSTB(vi, &stb);
    ++g_handled;
    return VI_SUCCESS;
}

TEST_F(IoTrace, HandlersAndTheCallsMadeInThemAreListed) {
    ViSession vi = openMeter();
    g_handled = 0;
    ASSERT_EQ(viInstallHandler(vi, VI_EVENT_SERVICE_REQ, serviceHandler, nullptr), VI_SUCCESS);
    ASSERT_EQ(viEnableEvent(vi, VI_EVENT_SERVICE_REQ, VI_HNDLR, VI_NULL), VI_SUCCESS);
    write(vi, "*CLS;*ESE 1;*SRE 32\n");
    write(vi, "*OPC\n");
    for (int i = 0; i < 400 && g_handled == 0; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(5));
    ASSERT_EQ(g_handled.load(), 1);
    viDisableEvent(vi, VI_EVENT_SERVICE_REQ, VI_HNDLR);  // returns once the handler is done
    OpenIoTrace(vi);
    std::vector<std::string> ops = operations();
    auto handler = std::find(ops.begin(), ops.end(), "handler");
    ASSERT_NE(handler, ops.end());
    ASSERT_NE(handler + 1, ops.end());
    EXPECT_EQ(*(handler + 1), "  \u21B3 viReadSTB");
    int row = static_cast<int>(handler - ops.begin());
    EXPECT_NE(cell(row, kStatus), "running");
    EXPECT_NE(cell(row, kArguments).find("eventType=VI_EVENT_SERVICE_REQ"), std::string::npos);
}

ViStatus _VI_FUNCH completionHandler(ViSession, ViEventType, ViEvent event, ViAddr) {
    ViStatus status = 0;
    viGetAttribute(event, VI_ATTR_STATUS, &status);
    ++g_handled;
    return VI_SUCCESS;
}

// A session as a user would drive it: writes, reads, an error, a service request and an
// asynchronous read. With TALMIK_SHOTS naming a directory, the window is drawn into it.
TEST_F(IoTrace, ASessionWithWritesReadsAnErrorAndEvents) {
    const char* shots = std::getenv("TALMIK_SHOTS");
    auto shoot = [&](const char* name) {
        if (shots) {
            EXPECT_EQ(UiTest_Grab(window(), (std::string(shots) + "/" + name).c_str()), 0);
        }
    };
    ViSession vi = openMeter();
    g_handled = 0;
    viInstallHandler(vi, VI_EVENT_SERVICE_REQ, serviceHandler, nullptr);
    viEnableEvent(vi, VI_EVENT_SERVICE_REQ, VI_HNDLR, VI_NULL);
    viInstallHandler(vi, VI_EVENT_IO_COMPLETION, completionHandler, nullptr);
    viEnableEvent(vi, VI_EVENT_IO_COMPLETION, VI_HNDLR, VI_NULL);
    write(vi, "*IDN?\n");
    read(vi);
    write(vi, "FUNC?\n");
    read(vi);
    read(vi);  // nothing asked: a timeout
    write(vi, "*CLS;*ESE 1;*SRE 32\n");
    write(vi, "*OPC\n");
    write(vi, "READ?\n");
    static unsigned char buffer[64];
    ViJobId job = 0;
    viReadAsync(vi, buffer, sizeof buffer, &job);
    for (int i = 0; i < 400 && g_handled < 2; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(5));
    ASSERT_EQ(g_handled.load(), 2);
    viDisableEvent(vi, VI_ALL_ENABLED_EVENTS, VI_ALL_MECH);
    ViSession other = 0;
    viOpen(rm, "GPIB0::29::INSTR", VI_NULL, 0, &other);  // no such instrument

    OpenIoTrace(VI_NULL);
    int p = window();
    ASSERT_EQ(UiTest_ResizePanel(p, 640, 1260), 0);
    int width = 0, top = 0;
    GetCtrlAttribute(p, IOTRACE_CALLS, ATTR_WIDTH, &width);
    GetCtrlAttribute(p, IOTRACE_CLOSE, ATTR_TOP, &top);
    EXPECT_EQ(width, 1260 - 24);
    EXPECT_EQ(top, 640 - 40);
    int n = rows();
    ASSERT_GT(n, 20);
    std::vector<std::string> ops = operations();
    int readRow = static_cast<int>(std::find(ops.begin(), ops.end(), "viRead") - ops.begin());
    ASSERT_EQ(UiTest_SelectIndex(p, IOTRACE_CALLS, readRow), 0);
    shoot("trace-session.png");

    // The completion of the asynchronous read carries the bytes read.
    auto completion = std::find_if(ops.begin(), ops.end(), [&](const std::string& o) {
        int r = static_cast<int>(&o - ops.data());
        return o == "handler" && cell(r, kArguments).find("jobId=") != std::string::npos;
    });
    ASSERT_NE(completion, ops.end());
    int completionRow = static_cast<int>(completion - ops.begin());
    EXPECT_FALSE(cell(completionRow, kData).empty());
    ASSERT_EQ(UiTest_SelectIndex(p, IOTRACE_CALLS, completionRow), 0);
    EXPECT_NE(UiTest_DisplayedText(p, IOTRACE_DETAILS).find("jobStatus"), std::string::npos);
    // The call the handler made on the event names what it read, and the value it got.
    EXPECT_EQ(cell(completionRow + 1, kArguments).rfind("attrName=VI_ATTR_STATUS, attrValue=", 0), 0u)
        << cell(completionRow + 1, kArguments);
    shoot("trace-completion.png");

    ASSERT_EQ(UiTest_SetValue(p, IOTRACE_ERRORSONLY, 1), 0);
    EXPECT_EQ(operations(), (std::vector<std::string>{"viRead", "viOpen"}));
    UiTest_SelectIndex(p, IOTRACE_CALLS, 0);
    shoot("trace-errors.png");
}

TEST_F(IoTrace, TheMenuOpensItAndItsSizeIsKeptInTheSettings) {
    writeFile(dir.file("talmik.ini"), "[Preferences]\nioTraceSize = 500\n");
    bool checked = false;
    UiTest_OnLoop([&] {
        EXPECT_EQ(VisaTrace_Capacity(), 500u);
        ASSERT_EQ(UiTest_ChooseMenuItem(GetPanelMenuBar(rsrcpanel), MENUBAR_TOOLS_IOTRACE), 0);
        int p = window();
        EXPECT_EQ(UiTest_IsShown(p, IOTRACE_CALLS), 1);
        int keep = 0;
        GetCtrlVal(p, IOTRACE_KEEP, &keep);
        EXPECT_EQ(keep, 500);
        // The start-up's own calls are there.
        std::vector<std::string> ops = operations();
        EXPECT_NE(std::find(ops.begin(), ops.end(), "viOpenDefaultRM"), ops.end());
        ASSERT_EQ(UiTest_SetValue(p, IOTRACE_KEEP, 2000), 0);
        EXPECT_EQ(VisaTrace_Capacity(), 2000u);
        checked = true;
        UiTest_ClosePanel(rsrcpanel);
    });
    EXPECT_EQ(talmik_main(0), 0);
    EXPECT_TRUE(checked);
    EXPECT_NE(readFile(dir.file("talmik.ini")).find("ioTraceSize = 2000"), std::string::npos)
        << readFile(dir.file("talmik.ini"));
}

// Session windows open the trace on their own calls, by their button or by Ctrl+T from any of
// their operation panels.
class SessionWindowTrace : public SessionBench {
  protected:
    void SetUp() override {
        SessionBench::SetUp();
        std::filesystem::copy_file(binFile("talmik.uir"), dir.file("talmik.uir"));
        RegisterUirCallbacks_talmik();
        installIoTraceNames();
        VisaTrace_Clear();
        start();
    }
    static ViSession sessionOf(int window) {
        void* data = nullptr;
        GetPanelAttribute(window, ATTR_CALLBACK_DATA, &data);
        return static_cast<SessionRecord*>(data)->session;
    }
    // The session filter of the trace window.
    static ViSession filterShown(int trace) {
        unsigned int session = 0;
        GetCtrlVal(trace, IOTRACE_SESSION, &session);
        return session;
    }
    // The rows of the trace window as "operation session".
    static std::set<std::string> rowsListed(int trace) {
        std::set<std::string> out;
        int n = 0;
        GetNumTableRows(trace, IOTRACE_CALLS, &n);
        for (int r = 0; r < n; ++r)
            out.insert(UiTest_TableCellText(trace, IOTRACE_CALLS, r, kOperation) + " " +
                       UiTest_TableCellText(trace, IOTRACE_CALLS, r, kSession));
        return out;
    }
};

TEST_F(SessionWindowTrace, EachWindowOpensTheTraceOnItsOwnSession) {
    const int gpib = open("GPIB0::5::INSTR"), serial = open("ASRL1::INSTR");
    ASSERT_GT(gpib, 0);
    ASSERT_GT(serial, 0);
    const int serialPanel = childPanel(serial, "viGetAttribute");  // the sheet shown first
    ASSERT_GT(serialPanel, 0);
    const struct {
        const char* how;
        int window;
        std::function<int()> act;
    } cases[] = {
        {"button", gpib, [&] { return UiTest_Commit(gpib, SESSION_TRACE); }},
        {"Ctrl+T in an operation panel", serial,
         [&] { return UiTest_KeyPressInWindow(serialPanel, 0, VAL_MENUKEY_MODIFIER | 'T'); }},
        {"Ctrl+T on the frame", gpib, [&] { return UiTest_KeyPressInWindow(gpib, 0, VAL_MENUKEY_MODIFIER | 'T'); }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.how);
        ASSERT_EQ(c.act(), 0);
        const int trace = UiTest_FindPanel("IOTRACE");
        ASSERT_GT(trace, 0);
        EXPECT_EQ(filterShown(trace), sessionOf(c.window));
        // The call that opened the session, then only calls on the session itself.
        const std::string rsrc = c.window == gpib ? "GPIB0::5::INSTR" : "ASRL1::INSTR";
        std::set<std::string> rows = rowsListed(trace);
        int opens = 0;
        for (const std::string& row : rows) {
            if (row.rfind("viOpen ", 0) == 0) {
                ++opens;
                EXPECT_NE(row.find("resource manager"), std::string::npos) << row;
            } else {
                EXPECT_NE(row.find(rsrc), std::string::npos) << row;
            }
        }
        EXPECT_EQ(opens, 1);
        EXPECT_GT(rows.size(), 1u);
    }
}

// What the user does in a session window's panels is what the trace shows for it.
TEST_F(SessionWindowTrace, ThePanelsCallsWithTheirBytes) {
    const int window = open("GPIB0::5::INSTR");
    ASSERT_GT(window, 0);
    const int write = childPanel(window, "viWrite"), read = childPanel(window, "viRead");
    ASSERT_EQ(UiTest_SetValue(write, WRITE_TEXT, "*IDN?\\n"), 0);
    ASSERT_EQ(UiTest_Commit(write, WRITE_EXECUTE), 0);
    ASSERT_EQ(UiTest_SetValue(read, READ_COUNT, 100u), 0);
    ASSERT_EQ(UiTest_Commit(read, READ_EXECUTE), 0);
    ASSERT_EQ(UiTest_Commit(window, SESSION_TRACE), 0);
    const int trace = UiTest_FindPanel("IOTRACE");
    ASSERT_GT(trace, 0);
    std::map<std::string, std::string> data;  // operation -> its Data cell
    int n = 0;
    GetNumTableRows(trace, IOTRACE_CALLS, &n);
    for (int r = 0; r < n; ++r)
        data[UiTest_TableCellText(trace, IOTRACE_CALLS, r, kOperation)] = UiTest_TableCellText(trace, IOTRACE_CALLS, r, kData);
    EXPECT_EQ(data["viWrite"], "*IDN?\\n");
    EXPECT_EQ(data["viRead"], "ZU,TALKER,1,1.0\\n");
    if (const char* shots = std::getenv("TALMIK_SHOTS")) {
        EXPECT_EQ(UiTest_Grab(window, (std::string(shots) + "/session-window.png").c_str()), 0);
        EXPECT_EQ(UiTest_Grab(trace, (std::string(shots) + "/trace-of-session.png").c_str()), 0);
    }
}

}  // namespace
