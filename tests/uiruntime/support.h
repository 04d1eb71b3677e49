// Shared by the runtime's tests: a fixture that starts the runtime through the test driver,
// and the callbacks the example panels name, which record every event they get.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "example_uir.h"
#include "uiruntime/testing/uitest.h"
#include "uiruntime/uiruntime.h"

struct Seen {
    int panel;
    int control;  // -1 for panel events, the menu item for menu events
    int event;    // -2 for menu events
    int data1;
    int data2;
    bool operator==(const Seen& o) const {
        return panel == o.panel && control == o.control && event == o.event && data1 == o.data1 &&
               data2 == o.data2;
    }
};
std::ostream& operator<<(std::ostream& os, const Seen& s);

// Every event the example callbacks received, in order.
extern std::vector<Seen> g_seen;
// What the control callback returns for an event (default 0).
extern std::map<int, int> g_controlAnswer;
// Events of one control, or of the panel (control -1).
std::vector<int> eventsOf(int panel, int control);

class RuntimeTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
    // Loads a panel of the example bundle and displays it.
    int load(int resource, int parent = 0);
};

// A fresh directory under the system's temporary directory, removed by the destructor.
class TempDir {
public:
    TempDir();
    ~TempDir();
    const std::string& path() const { return path_; }
    std::string file(const std::string& name) const { return path_ + "/" + name; }
    void write(const std::string& name, const std::string& content) const;

private:
    std::string path_;
};

std::string readFile(const std::string& path);
