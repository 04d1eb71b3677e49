// The generator: the header it writes, and the forms it refuses.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>

#include "../support.h"

namespace {

const char* kForm = R"(<ui version="4.0"><widget class="QWidget" name="%s">%s</widget></ui>)";

std::string form(const std::string& name, const std::string& body) {
    char buf[4096];
    std::snprintf(buf, sizeof buf, kForm, name.c_str(), body.c_str());
    return buf;
}

int run(const TempDir& dir, const std::vector<std::string>& forms, std::string* out) {
    const char* gen = std::getenv("UIRGEN");
    std::string cmd = std::string(gen ? gen : "uirgen") + " test " + dir.file("test_uir.h") + " " +
                      dir.file("test.qrc") + " " + dir.path();
    for (const std::string& f : forms) cmd += " " + dir.file(f);
    cmd += " 2>" + dir.file("err.txt");
    int status = std::system(cmd.c_str());
    *out = readFile(dir.file("err.txt"));
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(Uirgen, WritesConstantsCallbacksAndTheirRegistration) {
    TempDir dir;
    dir.write("b.ui", form("SECOND", R"(<widget class="QPushButton" name="GO"><property name="callback" stdset="0"><string>Go</string></property></widget>)"));
    dir.write("a.ui", form("FIRST", R"(<property name="callback" stdset="0"><string>Panel</string></property><widget class="QLineEdit" name="TEXT"/>)"));
    std::string err;
    ASSERT_EQ(run(dir, {"b.ui", "a.ui"}, &err), 0) << err;
    std::string h = readFile(dir.file("test_uir.h"));
    // Panels are numbered by file name, whatever order they were given in.
    EXPECT_NE(h.find("#define FIRST 1\n"), std::string::npos) << h;
    EXPECT_NE(h.find("#define FIRST_TEXT 2  // string\n"), std::string::npos) << h;
    EXPECT_NE(h.find("#define SECOND 2\n"), std::string::npos) << h;
    EXPECT_NE(h.find("int Panel(int panel, int event, void* callbackData, int eventData1, int eventData2);"), std::string::npos);
    EXPECT_NE(h.find("int Go(int panel, int control, int event,"), std::string::npos);
    EXPECT_NE(h.find("inline int RegisterUirCallbacks_test()"), std::string::npos);
    EXPECT_NE(h.find("{\"Go\", Go},"), std::string::npos);
    std::string qrc = readFile(dir.file("test.qrc"));
    EXPECT_NE(qrc.find("alias=\"a.ui\""), std::string::npos) << qrc;
}

TEST(Uirgen, RefusesClashingNamesAndKinds) {
    struct {
        const char* what;
        std::string a, b;
        const char* mentions;
    } cases[] = {
        {"a control's macro equals another panel's",
         form("A", R"(<widget class="QPushButton" name="B_C"/>)"), form("A_B", R"(<widget class="QPushButton" name="C"/>)"),
         "A_B_C"},
        {"one callback as two kinds",
         form("A", R"(<property name="callback" stdset="0"><string>Same</string></property>)"),
         form("B", R"(<widget class="QPushButton" name="X"><property name="callback" stdset="0"><string>Same</string></property></widget>)"),
         "Same"},
        {"an unsupported widget", form("A", ""), form("B", R"(<widget class="QDial" name="D"/>)"), "QDial"},
    };
    for (auto& c : cases) {
        TempDir dir;
        dir.write("a.ui", c.a);
        dir.write("b.ui", c.b);
        std::string err;
        EXPECT_NE(run(dir, {"a.ui", "b.ui"}, &err), 0) << c.what;
        EXPECT_NE(err.find(c.mentions), std::string::npos) << c.what << ": " << err;
    }
}

}  // namespace
