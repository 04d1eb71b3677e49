// Canvas drawing, bitmaps, fonts, and the mouse and keys a tree view needs.
#include <gtest/gtest.h>

#include <algorithm>

#include "support.h"

namespace {

class Canvas : public RuntimeTest {
protected:
    void SetUp() override {
        RuntimeTest::SetUp();
        p = NewPanel(0, "C", 0, 0, 300, 300);
        c = NewCtrl(p, CTRL_CANVAS, "", 20, 30);
        SetCtrlAttribute(p, c, ATTR_WIDTH, 200);
        SetCtrlAttribute(p, c, ATTR_HEIGHT, 170);
        InstallCtrlCallback(p, c, ExampleControl, nullptr);
        DisplayPanel(p);
    }
    int pixel(int x, int y) {
        int rgb = -1;
        EXPECT_EQ(CanvasGetPixel(p, c, MakePoint(x, y), &rgb), 0);
        return rgb;
    }
    int p = 0, c = 0;
};

TEST_F(Canvas, FillsFramesAndLinesWithThePenColours) {
    SetCtrlAttribute(p, c, ATTR_PICT_BGCOLOR, 0xFFFFFF);
    CanvasClear(p, c, VAL_ENTIRE_OBJECT);
    SetCtrlAttribute(p, c, ATTR_PEN_COLOR, 0x808080);
    SetCtrlAttribute(p, c, ATTR_PEN_FILL_COLOR, 0x0000FF);
    CanvasDrawRect(p, c, MakeRect(10, 10, 20, 30), VAL_DRAW_FRAME_AND_INTERIOR);
    EXPECT_EQ(pixel(20, 20), 0x0000FF);
    EXPECT_EQ(pixel(10, 10), 0x808080);
    EXPECT_EQ(pixel(9, 9), 0xFFFFFF);
    CanvasDrawRect(p, c, MakeRect(50, 50, 10, 10), VAL_DRAW_FRAME);
    EXPECT_EQ(pixel(55, 55), 0xFFFFFF);
    SetCtrlAttribute(p, c, ATTR_PEN_COLOR, 0xFF0000);
    CanvasDrawLine(p, c, MakePoint(0, 100), MakePoint(199, 100));
    EXPECT_EQ(pixel(150, 100), 0xFF0000);
    CanvasDrawPoint(p, c, MakePoint(3, 150));
    EXPECT_EQ(pixel(3, 150), 0xFF0000);
    // What is drawn shows on the panel at the canvas's place.
    ProcessDrawEvents();
    int rgb = 0;
    UiTest_PixelAt(p, 30 + 20, 20 + 20, &rgb);
    EXPECT_EQ(rgb, 0x0000FF);
    EXPECT_EQ(CanvasGetPixel(p, c, MakePoint(200, 0), &rgb), UIEInvalidAttributeValue);
}

TEST_F(Canvas, ScrollingShiftsARegionAndClearsWhatItUncovers) {
    SetCtrlAttribute(p, c, ATTR_PICT_BGCOLOR, 0xFFFFFF);
    CanvasClear(p, c, VAL_ENTIRE_OBJECT);
    SetCtrlAttribute(p, c, ATTR_PEN_FILL_COLOR, 0x00FF00);
    CanvasDrawRect(p, c, MakeRect(34, 0, 17, 200), VAL_DRAW_INTERIOR);  // row 2 of 17-pixel rows
    ASSERT_EQ(CanvasScroll(p, c, MakeRect(0, 0, 170, 200), 0, -17), 0);
    EXPECT_EQ(pixel(100, 20), 0x00FF00);
    EXPECT_EQ(pixel(100, 40), 0xFFFFFF);
    EXPECT_EQ(pixel(100, 169), 0xFFFFFF);
}

TEST_F(Canvas, DrawsBitmapsAndText) {
    int pixels[4] = {0xFF0000, 0x00FF00, 0x0000FF, 0xFFFFFF};
    int bmp = 0;
    ASSERT_EQ(NewBitmap(2, 2, pixels, &bmp), 0);
    int w = 0, h = 0;
    GetBitmapInfo(bmp, &w, &h);
    EXPECT_EQ(w, 2);
    ASSERT_EQ(CanvasDrawBitmap(p, c, bmp, VAL_ENTIRE_OBJECT, MakeRect(5, 7, VAL_KEEP_SAME_SIZE, VAL_KEEP_SAME_SIZE)), 0);
    EXPECT_EQ(pixel(7, 5), 0xFF0000);
    EXPECT_EQ(pixel(8, 6), 0xFFFFFF);
    EXPECT_EQ(pixel(7, 6), 0x0000FF);
    DiscardBitmap(bmp);
    EXPECT_EQ(CanvasDrawBitmap(p, c, bmp, VAL_ENTIRE_OBJECT, VAL_ENTIRE_OBJECT), UIEInvalidBitmap);
    SetCtrlAttribute(p, c, ATTR_PICT_BGCOLOR, 0xFFFFFF);
    CanvasClear(p, c, VAL_ENTIRE_OBJECT);
    SetCtrlAttribute(p, c, ATTR_PEN_COLOR, 0x000000);
    ASSERT_EQ(CanvasDrawText(p, c, "GPIB0::22::INSTR", VAL_APP_META_FONT, MakeRect(60, 17, 17, 150), VAL_CENTER_LEFT), 0);
    int dark = 0;
    for (int y = 0; y < 170; ++y)
        for (int x = 0; x < 200; ++x) {
            int v = pixel(x, y);
            if (v != 0xFFFFFF) {
                ++dark;
                EXPECT_TRUE(y >= 60 && y < 77 && x >= 17 && x < 167) << x << "," << y;
            }
        }
    EXPECT_GT(dark, 30);
}

TEST_F(Canvas, BatchesNestAndMustBeOpened) {
    EXPECT_EQ(CanvasEndBatchDraw(p, c), UIENotDrawing);
    EXPECT_EQ(CanvasStartBatchDraw(p, c), 1);
    EXPECT_EQ(CanvasStartBatchDraw(p, c), 2);
    CanvasDrawLine(p, c, MakePoint(0, 0), MakePoint(10, 10));
    EXPECT_EQ(CanvasEndBatchDraw(p, c), 1);
    EXPECT_EQ(CanvasEndBatchDraw(p, c), 0);
    int s = NewCtrl(p, CTRL_STRING, "", 0, 0);
    EXPECT_EQ(CanvasStartBatchDraw(p, s), UIEInvalidControlType);
}

// Mouse events carry the panel's coordinates: eventData1 vertical, eventData2 horizontal.
TEST_F(Canvas, MouseAndKeysReachTheCallbackWithCoordinates) {
    ASSERT_EQ(UiTest_Click(p, c, 40, 17 * 2 + 5), 0);
    ASSERT_EQ(g_seen.size(), 2u);
    EXPECT_EQ(g_seen[0], (Seen{p, c, EVENT_LEFT_CLICK, 20 + 39, 30 + 40}));
    EXPECT_EQ(g_seen[1], (Seen{p, c, EVENT_LEFT_CLICK_UP, 20 + 39, 30 + 40}));
    g_seen.clear();
    UiTest_DoubleClick(p, c, 5, 6);
    EXPECT_EQ(eventsOf(p, c), (std::vector<int>{EVENT_LEFT_CLICK, EVENT_LEFT_CLICK_UP, EVENT_LEFT_DOUBLE_CLICK,
                                                EVENT_LEFT_CLICK_UP}));
    g_seen.clear();
    UiTest_RightClick(p, c, 5, 6);
    EXPECT_EQ(eventsOf(p, c), std::vector<int>{EVENT_RIGHT_CLICK});
    g_seen.clear();
    UiTest_Drag(p, c, 10, 10, 10, 50);
    std::vector<int> ev = eventsOf(p, c);
    EXPECT_EQ(ev.front(), EVENT_LEFT_CLICK);
    EXPECT_EQ(ev.back(), EVENT_LEFT_CLICK_UP);
    EXPECT_EQ(std::count(ev.begin(), ev.end(), EVENT_MOUSE_POINTER_MOVE), 4);
    EXPECT_EQ(g_seen.back().data1, 20 + 50);
    g_seen.clear();
    for (int key : {static_cast<int>(VAL_UP_ARROW_VKEY), static_cast<int>(VAL_ENTER_VKEY), int('+'), int('-')})
        UiTest_KeyPress(p, c, key);
    ASSERT_EQ(g_seen.size(), 4u);
    EXPECT_EQ(g_seen[0].data1, VAL_UP_ARROW_VKEY);
    EXPECT_EQ(g_seen[1].data1, VAL_ENTER_VKEY);
    EXPECT_EQ(g_seen[2].data1, '+');
    EXPECT_EQ(g_seen[3].data1, '-');
}

TEST_F(Canvas, HeldButtonAndWheel) {
    ASSERT_EQ(UiTest_MouseDown(p, c, 10, 12), 0);
    EXPECT_EQ(eventsOf(p, c), std::vector<int>{EVENT_LEFT_CLICK});
    UiTest_MouseUp(p, c, 10, 12);
    EXPECT_EQ(g_seen.back(), (Seen{p, c, EVENT_LEFT_CLICK_UP, 20 + 12, 30 + 10}));
    g_seen.clear();
    UiTest_Wheel(p, c, 10, 12, -2);
    UiTest_Wheel(p, c, 10, 12, 1);
    ASSERT_EQ(g_seen.size(), 2u);
    EXPECT_EQ(g_seen[0], (Seen{p, c, EVENT_MOUSE_WHEEL_SCROLL, -2, 0}));
    EXPECT_EQ(g_seen[1].data1, 1);
}

TEST_F(Canvas, PicturesGiveTheirImageAsABitmap) {
    int e = load(EXAMPLE);
    int bmp = 0, w = 0, h = 0;
    ASSERT_EQ(GetCtrlBitmap(e, EXAMPLE_LOGO, 0, &bmp), 0);
    GetBitmapInfo(bmp, &w, &h);
    EXPECT_EQ(w, 48);
    EXPECT_EQ(h, 48);
    ASSERT_EQ(CanvasDrawBitmap(p, c, bmp, MakeRect(0, 0, 48, 48), MakeRect(0, 0, 17, 17)), 0);
    EXPECT_NE(pixel(8, 8), 0xFFFFFF);
    EXPECT_EQ(GetCtrlBitmap(e, EXAMPLE_NAME, 0, &bmp), UIEInvalidControlType);
}

TEST_F(Canvas, MetaFontsAndTextSizes) {
    int h1 = 0, w1 = 0, h2 = 0, w2 = 0;
    ASSERT_EQ(GetTextDisplaySize("Resource", VAL_DIALOG_META_FONT, &h1, &w1), 0);
    ASSERT_EQ(CreateMetaFont("Big", VAL_DIALOG_META_FONT, 18, 1, 0, 0, 0), 0);
    ASSERT_EQ(GetTextDisplaySize("Resource", "Big", &h2, &w2), 0);
    EXPECT_GT(h2, h1);
    EXPECT_GT(w2, w1);
    GetTextDisplaySize("two\nlines", VAL_DIALOG_META_FONT, &h2, &w2);
    EXPECT_GT(h2, h1 * 3 / 2);
    EXPECT_EQ(CreateMetaFont("", VAL_DIALOG_META_FONT, 10, 0, 0, 0, 0), UIEInvalidAttributeValue);
}

}  // namespace
