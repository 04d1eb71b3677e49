#include "support.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

std::vector<Seen> g_seen;
std::map<int, int> g_controlAnswer;

std::ostream& operator<<(std::ostream& os, const Seen& s) {
    return os << "{panel " << s.panel << ", control " << s.control << ", event " << s.event << ", "
              << s.data1 << ", " << s.data2 << "}";
}

std::vector<int> eventsOf(int panel, int control) {
    std::vector<int> out;
    for (const Seen& s : g_seen)
        if (s.panel == panel && s.control == control) out.push_back(s.event);
    return out;
}

int ExamplePanel(int panel, int event, void*, int d1, int d2) {
    g_seen.push_back({panel, -1, event, d1, d2});
    return 0;
}

int ExampleControl(int panel, int control, int event, void*, int d1, int d2) {
    g_seen.push_back({panel, control, event, d1, d2});
    auto it = g_controlAnswer.find(event);
    return it == g_controlAnswer.end() ? 0 : it->second;
}

int DialogButton(int panel, int control, int event, void*, int d1, int d2) {
    g_seen.push_back({panel, control, event, d1, d2});
    return 0;
}

void ExampleMenu(int menuBar, int menuItem, void*, int panel) {
    g_seen.push_back({panel, menuItem, -2, menuBar, 0});
}

void RuntimeTest::SetUp() {
    ASSERT_EQ(UiTest_Start(), 0);
    UiTest_Reset();
    ClearCallbackRegistry();
    ASSERT_EQ(RegisterUirCallbacks_example(), 0);
    g_seen.clear();
    g_controlAnswer.clear();
    DisableBreakOnLibraryErrors();
}

void RuntimeTest::TearDown() {
    for (const std::string& f : UiTest_Failures()) ADD_FAILURE() << "test driver: " << f;
    UiTest_Reset();
}

int RuntimeTest::load(int resource, int parent) {
    int p = LoadPanel(parent, "example.uir", resource);
    EXPECT_GT(p, 0) << LoadPanelErrorDetail();
    if (p > 0) DisplayPanel(p);
    return p;
}

TempDir::TempDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "uiruntime-XXXXXX").string();
    std::vector<char> buf(pattern.begin(), pattern.end());
    buf.push_back('\0');
    char* made = mkdtemp(buf.data());
    path_ = made ? made : "";
}

TempDir::~TempDir() {
    std::error_code ec;
    if (!path_.empty()) std::filesystem::remove_all(path_, ec);
}

void TempDir::write(const std::string& name, const std::string& content) const {
    std::ofstream(file(name), std::ios::binary) << content;
}

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

