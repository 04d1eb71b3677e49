// A ring on a panel of the runtime, as the session window's attribute and event panels have,
// and what it holds after filling.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "uiruntime/testing/uitest.h"
#include "uiruntime/uiruntime.h"
#include "zuvisa/visatype.h"

class RingTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(UiTest_Start(), 0);
        panel = NewPanel(0, "Rings", 0, 0, 200, 300);
        ring = NewCtrl(panel, CTRL_RING, "Ring", 20, 10);
        ASSERT_EQ(SetCtrlAttribute(panel, ring, ATTR_DATA_TYPE, VAL_UNSIGNED_INTEGER), 0);
    }
    void TearDown() override { UiTest_Reset(); }
    // (text, value) of every item, emptying the ring for the next fill.
    std::vector<std::pair<std::string, ViUInt32>> take() {
        int n = 0;
        GetNumListItems(panel, ring, &n);
        std::vector<std::pair<std::string, ViUInt32>> items;
        for (int i = 0; i < n; ++i) {
            char text[256] = "";
            unsigned int value = 0;
            GetLabelFromIndex(panel, ring, i, text);
            GetValueFromIndex(panel, ring, i, &value);
            items.emplace_back(text, value);
        }
        ClearListCtrl(panel, ring);
        return items;
    }
    int panel = 0, ring = 0;
};
