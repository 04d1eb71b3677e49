#include "app/iotrace.h"

#include <algorithm>
#include <cstdio>
#include <deque>
#include <set>
#include <string>
#include <vector>

#include "app/prefs.h"
#include "app/talmik.h"
#include "session/sessionrecord.h"
#include "session/statusnames.h"
#include "talmik_uir.h"
#include "toolslib/toolbox/files.h"
#include "uiruntime/uiruntime.h"
#include "visaio_uir.h"
#include "visalib/trace.h"
#include "visalib/traceformat.h"

namespace {

enum Column { kCall, kTime, kDuration, kThread, kSession, kOperation, kArguments, kStatus, kData };

// The longest text a cell of the Data column shows; the details show all that was kept.
constexpr size_t kDataCellLimit = 300;
// Records looked at per hold of the trace's lock, so that VISA's threads never wait long.
constexpr size_t kScanChunk = 4096;

struct Filter {
    ViSession session = VI_NULL;
    int function = -1;
    bool errorsOnly = false;
};

struct Window {
    int panel = 0;
    Filter filter;
    std::deque<uint64_t> rows;     // the sequence of each call shown, oldest first
    uint64_t scanned = 0;          // the next sequence to look at
    std::set<uint64_t> running;    // shown handlers that had not returned when last seen
    std::set<ViSession> sessions;  // in the session ring
    std::set<int> functions;       // in the operation ring
    VisaTraceRecord cached;        // the record of the row drawn last
    uint64_t cachedSequence = 0;
};

Window g;

// The session a call was made on, if it is a session of its own (not an event or a find list).
ViSession ownSession(const VisaTraceRecord& r) {
    if (r.function == VisaTrace_viOpen && (r.outputsSet & (1u << 4))) return static_cast<ViSession>(r.args[4]);
    if (r.function == VisaTrace_viOpenDefaultRM && (r.outputsSet & 1u)) return static_cast<ViSession>(r.args[0]);
    if (!r.session || VisaTrace_HandleOwner(r.session, r.sequence) != r.session) return VI_NULL;
    return r.session;
}

bool matches(const VisaTraceRecord& r, const Filter& f) {
    if (f.function >= 0 && r.function != f.function) return false;
    if (f.errorsOnly && !VisaTrace_IsError(r)) return false;
    if (f.session == VI_NULL) return true;
    // Events and find lists belong to the session they came from; a session to the call that opened it.
    return r.session == f.session || VisaTrace_HandleOwner(r.session, r.sequence) == f.session ||
           ownSession(r) == f.session;
}

struct Scan {
    const Filter* filter;
    std::vector<uint64_t> rows;
    std::vector<uint64_t> running;
    std::set<ViSession> sessions;
    std::set<int> functions;
};

void visit(const VisaTraceRecord& r, void* data) {
    auto* s = static_cast<Scan*>(data);
    s->functions.insert(r.function);
    if (ViSession own = ownSession(r)) s->sessions.insert(own);
    if (!matches(r, *s->filter)) return;
    s->rows.push_back(r.sequence);
    if (r.flags & kVisaTraceRunning) s->running.push_back(r.sequence);
}

std::string sessionLabel(ViSession session) {
    std::string name = VisaTrace_HandleName(session, UINT64_MAX);
    return VisaTrace_HandleText(session) + (name.empty() ? "" : "  " + name);
}

void listSession(ViSession session) {
    if (!session || !g.sessions.insert(session).second) return;
    InsertListItem(g.panel, IOTRACE_SESSION, -1, sessionLabel(session).c_str(), session);
}

// Operations are listed by name, after "All operations".
void listFunction(int function) {
    if (!g.functions.insert(function).second) return;
    const std::string name = VisaTrace_FunctionName(function);
    int count = 0;
    GetNumListItems(g.panel, IOTRACE_OPERATION, &count);
    int at = 1;
    for (; at < count; ++at) {
        char label[64] = "";
        GetLabelFromIndex(g.panel, IOTRACE_OPERATION, at, label);
        if (name < label) break;
    }
    InsertListItem(g.panel, IOTRACE_OPERATION, at, name.c_str(), function);
}

void showCount() {
    uint64_t first = 0, next = 0;
    VisaTrace_Range(&first, &next);
    char text[128];
    std::snprintf(text, sizeof text, "%zu of %llu calls kept are shown", g.rows.size(),
                  static_cast<unsigned long long>(next - first));
    SetCtrlVal(g.panel, IOTRACE_COUNT, text);
}

// Takes in the calls made since the last look and lets go of those the trace no longer keeps.
void update() {
    uint64_t first = 0, next = 0;
    VisaTrace_Range(&first, &next);
    size_t gone = 0;
    while (gone < g.rows.size() && g.rows[gone] < first) ++gone;
    if (gone) {
        DeleteTableRows(g.panel, IOTRACE_CALLS, 0, static_cast<int>(gone));
        g.rows.erase(g.rows.begin(), g.rows.begin() + static_cast<long>(gone));
    }
    g.running.erase(g.running.begin(), g.running.lower_bound(first));
    g.scanned = std::max(g.scanned, first);
    Scan s{&g.filter, {}, {}, {}, {}};
    while (g.scanned < next) {
        uint64_t to = VisaTrace_Scan(g.scanned, kScanChunk, visit, &s);
        if (to <= g.scanned) break;
        g.scanned = to;
    }
    bool changed = gone || !s.rows.empty();
    for (auto it = g.running.begin(); it != g.running.end();) {
        VisaTraceRecord r;
        if (!VisaTrace_Get(*it, &r) || !(r.flags & kVisaTraceRunning)) {
            it = g.running.erase(it);
            changed = true;
        } else {
            ++it;
        }
    }
    g.running.insert(s.running.begin(), s.running.end());
    g.rows.insert(g.rows.end(), s.rows.begin(), s.rows.end());
    if (changed) {
        g.cachedSequence = 0;
        SetNumTableRows(g.panel, IOTRACE_CALLS, static_cast<int>(g.rows.size()));
        RefreshTable(g.panel, IOTRACE_CALLS);
    }
    for (ViSession session : s.sessions) listSession(session);
    for (int function : s.functions) listFunction(function);
    showCount();
}

void rebuild() {
    g.rows.clear();
    g.running.clear();
    g.scanned = 0;
    g.cachedSequence = 0;
    SetNumTableRows(g.panel, IOTRACE_CALLS, 0);
    ResetTextBox(g.panel, IOTRACE_DETAILS, "");
    update();
}

const VisaTraceRecord* recordOfRow(int row) {
    if (row < 0 || static_cast<size_t>(row) >= g.rows.size()) return nullptr;
    uint64_t sequence = g.rows[static_cast<size_t>(row)];
    if (sequence != g.cachedSequence) {
        if (!VisaTrace_Get(sequence, &g.cached)) return nullptr;
        g.cachedSequence = sequence;
    }
    return &g.cached;
}

// The arguments after the session, which has a column of its own.
std::string argumentsAfterSession(const VisaTraceRecord& r) {
    auto args = VisaTrace_ArgumentList(r);
    std::string out;
    size_t from = !args.empty() && r.session && args[0].second == VisaTrace_HandleText(r.session) ? 1 : 0;
    for (size_t k = from; k < args.size(); ++k) out += (out.empty() ? "" : ", ") + args[k].first + "=" + args[k].second;
    return out;
}

std::string cellText(const VisaTraceRecord& r, int column) {
    switch (column) {
        case kCall: return std::to_string(r.sequence);
        case kTime: return VisaTrace_TimeText(r, false);
        case kDuration: return VisaTrace_DurationText(r);
        case kThread: return VisaTrace_ThreadText(r);
        case kSession: return r.session ? sessionLabel(r.session) : "";
        case kOperation: return std::string(r.handlerSequence ? "  \u21B3 " : "") + VisaTrace_FunctionName(r.function);
        case kArguments: return argumentsAfterSession(r);
        case kStatus: {
            if (r.flags & kVisaTraceRunning) return "running";
            std::string name = VisaTrace_StatusName(r);
            return name.empty() ? VisaTrace_StatusText(r) : name;
        }
        case kData: {
            // The codec breaks lines after line ends; a row shows their escapes only.
            std::string text = VisaTrace_DataText(r);
            text.erase(std::remove(text.begin(), text.end(), '\n'), text.end());
            if (text.size() > kDataCellLimit) text = text.substr(0, kDataCellLimit) + "...";
            return text;
        }
        default: return "";
    }
}

void cellOf(int, int, int row, int column, TableCell* cell, void*) {
    const VisaTraceRecord* r = recordOfRow(row);
    std::string text = r ? cellText(*r, column) : (column == kOperation ? "(no longer kept)" : "");
    std::snprintf(cell->text, cell->textSize, "%s", text.c_str());
    if (r && VisaTrace_IsError(*r)) cell->textColor = statusTextColor(r->status < 0 ? r->status : r->completionStatus);
}

void showDetails() {
    int row = -1;
    GetCtrlVal(g.panel, IOTRACE_CALLS, &row);
    const VisaTraceRecord* r = recordOfRow(row);
    ResetTextBox(g.panel, IOTRACE_DETAILS, r ? VisaTrace_Details(*r).c_str() : "");
}

std::vector<int> selectedRows() {
    int count = 0;
    GetSelectedTableRows(g.panel, IOTRACE_CALLS, nullptr, 0, &count);
    std::vector<int> rows(static_cast<size_t>(count));
    if (count > 0) GetSelectedTableRows(g.panel, IOTRACE_CALLS, rows.data(), count, &count);
    return rows;
}

void copySelected() {
    std::string text = VisaTrace_CsvHeader() + "\n";
    for (int row : selectedRows()) {
        VisaTraceRecord r;
        if (VisaTrace_Get(g.rows[static_cast<size_t>(row)], &r)) text += VisaTrace_CsvRow(r) + "\n";
    }
    ClipboardPutText(text.c_str());
}

// Writes the calls shown to a file next to the target, which then takes its place, so that a
// failure never leaves half a file behind.
bool writeExport(const std::string& path, bool json) {
    std::string temporary;
    FILE* f = nullptr;
    if (CreateAndOpenTemporaryFileNamed(path.c_str(), "trace", json ? "json" : "csv", "w", &temporary, &f) < 0)
        return false;
    bool ok = true;
    auto put = [&](const std::string& s) { ok = ok && std::fwrite(s.data(), 1, s.size(), f) == s.size(); };
    put(json ? "[" : VisaTrace_CsvHeader() + "\n");
    bool first = true;
    VisaTraceRecord r;
    for (uint64_t sequence : g.rows) {
        if (!VisaTrace_Get(sequence, &r)) continue;  // fell off meanwhile
        if (json) put((first ? "\n" : ",\n") + VisaTrace_Json(r));
        else put(VisaTrace_CsvRow(r) + "\n");
        first = false;
    }
    if (json) put(first ? "]\n" : "\n]\n");
    ok = std::fclose(f) == 0 && ok;
    if (ok && DeleteAndRename(temporary.c_str(), path.c_str()) == 0) return true;
    RemoveFileIfExists(temporary.c_str());
    return false;
}

void exportCalls(bool json) {
    char path[MAX_PATHNAME_LEN] = "";
    int choice = FileSelectPopup("", json ? "*.json" : "*.csv", "", json ? "Export the I/O Trace as JSON" : "Export the I/O Trace as CSV",
                                 VAL_SAVE_BUTTON, 0, 0, 1, 1, path);
    if (choice <= 0) return;
    SetWaitCursor(1);
    bool ok = writeExport(path, json);
    SetWaitCursor(0);
    if (!ok) {
        char text[MAX_PATHNAME_LEN + 64];
        std::snprintf(text, sizeof text, "Unable to write the I/O trace to \"%s\".", path);
        MessagePopup(pszAppName, text);
    }
}

// Keeps the table and the details below it filling the window as it is resized.
void layout() {
    int height = 0, width = 0;
    GetPanelAttribute(g.panel, ATTR_HEIGHT, &height);
    GetPanelAttribute(g.panel, ATTR_WIDTH, &width);
    width = std::max(width, 700);
    height = std::max(height, 400);
    const int detailsHeight = std::min(190, height / 3);
    const int buttonsTop = height - 40;
    const int detailsTop = buttonsTop - 10 - detailsHeight;
    SetCtrlAttribute(g.panel, IOTRACE_CALLS, ATTR_WIDTH, width - 24);
    SetCtrlAttribute(g.panel, IOTRACE_CALLS, ATTR_HEIGHT, detailsTop - 26 - 80);
    SetCtrlAttribute(g.panel, IOTRACE_DETAILS, ATTR_TOP, detailsTop);
    SetCtrlAttribute(g.panel, IOTRACE_DETAILS, ATTR_HEIGHT, detailsHeight);
    SetCtrlAttribute(g.panel, IOTRACE_DETAILS, ATTR_WIDTH, width - 24);
    for (int button : {IOTRACE_COPY, IOTRACE_EXPORTCSV, IOTRACE_EXPORTJSON, IOTRACE_CLOSE})
        SetCtrlAttribute(g.panel, button, ATTR_TOP, buttonsTop);
    SetCtrlAttribute(g.panel, IOTRACE_COUNT, ATTR_TOP, buttonsTop + 5);
    SetCtrlAttribute(g.panel, IOTRACE_CLOSE, ATTR_LEFT, width - 122);
}

bool openWindow() {
    if (g.panel > 0) return true;
    int panel = LoadPanel(0, uirPath().c_str(), IOTRACE);
    if (panel <= 0) return false;
    g = Window{};
    g.panel = panel;
    SetTableCellSource(panel, IOTRACE_CALLS, cellOf, nullptr);
    SetCtrlAttribute(panel, IOTRACE_DETAILS, ATTR_CTRL_MODE, VAL_INDICATOR);
    SetCtrlAttribute(panel, IOTRACE_DETAILS, ATTR_TEXT_FONT, VAL_EDITOR_META_FONT);
    SetCtrlVal(panel, IOTRACE_KEEP, static_cast<int>(VisaTrace_Capacity()));
    rebuild();
    return true;
}

void closeWindow() {
    if (g.panel > 0) DiscardPanel(g.panel);  // the discard event forgets the window
}

void readFilter() {
    unsigned int session = 0;
    int function = -1, errorsOnly = 0;
    GetCtrlVal(g.panel, IOTRACE_SESSION, &session);
    GetCtrlVal(g.panel, IOTRACE_OPERATION, &function);
    GetCtrlVal(g.panel, IOTRACE_ERRORSONLY, &errorsOnly);
    g.filter = Filter{static_cast<ViSession>(session), function, errorsOnly != 0};
}

}  // namespace

void OpenIoTrace(ViSession session) {
    if (!openWindow()) return;
    listSession(session);
    if (SetCtrlVal(g.panel, IOTRACE_SESSION, static_cast<unsigned int>(session)) == 0 && g.filter.session != session) {
        readFilter();
        rebuild();
    }
    DisplayPanel(g.panel);
    SetActivePanel(g.panel);
}

void applyIoTracePreferences(IniText ini) {
    int size = 0;
    if (Ini_GetInt(ini, kPreferencesSection, kIoTraceSizeKey, &size) > 0) VisaTrace_SetCapacity(static_cast<size_t>(size));
}

void DoIoTrace(int, int, void*, int) {
    if (!openWindow()) return;
    DisplayPanel(g.panel);
    SetActivePanel(g.panel);
}

int IoTracePanel(int, int event, void*, int, int) {
    switch (event) {
        case EVENT_CLOSE: closeWindow(); break;
        case EVENT_PANEL_SIZE: layout(); break;
        case EVENT_DISCARD: g = Window{}; break;
        default: break;
    }
    return 0;
}

int IoTraceTick(int, int, int event, void*, int, int) {
    if (event == EVENT_TIMER_TICK) update();
    return 0;
}

int IoTraceFilter(int, int, int event, void*, int, int) {
    if (event != EVENT_COMMIT) return 0;
    readFilter();
    rebuild();
    return 0;
}

int IoTraceCalls(int, int, int event, void*, int eventData1, int) {
    if (event == EVENT_VAL_CHANGED || event == EVENT_COMMIT) showDetails();
    // Ctrl+C copies the selected calls, as the Copy button does.
    if (event == EVENT_KEYPRESS && (eventData1 == (VAL_MENUKEY_MODIFIER | 'C') || eventData1 == (VAL_MENUKEY_MODIFIER | 'c'))) {
        copySelected();
        return 1;
    }
    return 0;
}

int IoTraceKeep(int panel, int control, int event, void*, int, int) {
    if (event != EVENT_COMMIT) return 0;
    int size = 0;
    GetCtrlVal(panel, control, &size);
    if (VisaTrace_SetCapacity(static_cast<size_t>(size)) == 0 && ini) {
        Ini_RemoveItem(ini, kPreferencesSection, kIoTraceSizeKey);
        Ini_PutInt(ini, kPreferencesSection, kIoTraceSizeKey, size);
    }
    update();
    return 0;
}

int IoTraceClear(int, int, int event, void*, int, int) {
    if (event != EVENT_COMMIT) return 0;
    VisaTrace_Clear();
    rebuild();
    return 0;
}

int IoTraceCopy(int, int, int event, void*, int, int) {
    if (event == EVENT_COMMIT) copySelected();
    return 0;
}

int IoTraceExport(int, int control, int event, void*, int, int) {
    if (event == EVENT_COMMIT) exportCalls(control == IOTRACE_EXPORTJSON);
    return 0;
}

int IoTraceClose(int, int, int event, void*, int, int) {
    if (event == EVENT_COMMIT) closeWindow();
    return 0;
}

// The I/O Trace button of a session window (Ctrl+T anywhere in it): the session is read from
// the window's record, so that the button needs no callback data of its own.
int SessionTraceCallback(int panel, int, int event, void*, int, int) {
    if (event != EVENT_COMMIT) return 0;
    void* data = nullptr;
    GetPanelAttribute(panel, ATTR_CALLBACK_DATA, &data);
    const auto* record = static_cast<const SessionRecord*>(data);
    if (record && record->session != VI_NULL) OpenIoTrace(record->session);
    return 1;
}
