#include "attrevents/locking.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "session/sessionrecord.h"
#include "tests/support/sessionbench.h"
#include "zuvisa/visa.h"

namespace {

TEST(ShownAccessKey, UnprintableBytesShowAsEscapesOnOneLine) {
    EXPECT_EQ(shownAccessKey("key"), "key");
    EXPECT_EQ(shownAccessKey("a\x01" "b"), "a\\x01b");
    EXPECT_EQ(shownAccessKey("a\r\nb\\"), "a\\r\\nb\\\\");
    EXPECT_EQ(shownAccessKey(""), "");
}

// Two windows on one resource.
class Locking : public SessionBench {
  protected:
    void SetUp() override {
        SessionBench::SetUp();
        start("useVisaId = 1\n");
        for (Window* w : {&a, &b}) {
            int window = open("GPIB0::5::INSTR");
            ASSERT_GT(window, 0);
            GetPanelAttribute(window, ATTR_CALLBACK_DATA, reinterpret_cast<void**>(&w->record));
            w->lock = childPanel(window, "viLock");
            w->unlock = childPanel(window, "viUnlock");
            w->write = childPanel(window, "viWrite");
        }
    }
    struct Window {
        SessionRecord* record = nullptr;
        int lock = 0, unlock = 0, write = 0;
    };
    std::string lock(const Window& w, bool shared, const char* key = "", unsigned timeout = 0) {
        UiTest_Commit(w.lock, shared ? LOCK_SHARED : LOCK_EXCLUSIVE);
        UiTest_SetValue(w.lock, LOCK_REQKEY, key);
        UiTest_SetValue(w.lock, LOCK_TIMEOUT, timeout);
        UiTest_Commit(w.lock, LOCK_EXECUTE);
        return UiTest_DisplayedText(w.lock, LOCK_STATUSNAME);
    }
    std::string write(const Window& w) {
        UiTest_SetValue(w.write, WRITE_TEXT, "*IDN?\\n");
        UiTest_Commit(w.write, WRITE_EXECUTE);
        UiTest_SetValue(w.write, WRITE_TEXT, "");
        return UiTest_DisplayedText(w.write, WRITE_STATUSNAME);
    }
    std::string unlock(const Window& w) {
        UiTest_Commit(w.unlock, UNLOCK_EXECUTE);
        return UiTest_DisplayedText(w.unlock, UNLOCK_STATUSNAME);
    }
    static int value(int panel, int control) {
        int v = -1;
        GetCtrlVal(panel, control, &v);
        return v;
    }
    std::string shownKey(const Window& w) { return UiTest_DisplayedText(w.lock, LOCK_ACCESSKEY); }

    Window a, b;
};

TEST_F(Locking, TheTogglesChooseTheTypeAndOpenTheKeyField) {
    UiTest_Commit(a.lock, LOCK_SHARED);
    EXPECT_EQ(intAttribute(a.lock, LOCK_REQKEY, ATTR_DIMMED), 0);
    EXPECT_EQ(value(a.lock, LOCK_EXCLUSIVE), 0);
    UiTest_Commit(a.lock, LOCK_EXCLUSIVE);
    EXPECT_EQ(intAttribute(a.lock, LOCK_REQKEY, ATTR_DIMMED), 1);
    EXPECT_EQ(value(a.lock, LOCK_SHARED), 0);
}

TEST_F(Locking, AnExclusiveLockKeepsTheOtherWindowOutUntilItsRelease) {
    EXPECT_EQ(lock(a, false), "VI_SUCCESS");
    EXPECT_EQ(write(b), "VI_ERROR_RSRC_LOCKED");
    EXPECT_EQ(lock(b, false), "VI_ERROR_TMO");
    EXPECT_EQ(intAttribute(b.lock, LOCK_STATUS, ATTR_TEXT_COLOR), 0xFF0000);
    EXPECT_EQ(lock(b, true, "", 100), "VI_ERROR_TMO");  // waited for the lock, in vain
    EXPECT_EQ(intAttribute(b.lock, LOCK_EXECUTE, ATTR_DIMMED), 0);  // undimmed after the wait
    EXPECT_EQ(write(a), "VI_SUCCESS");
    EXPECT_EQ(unlock(a), "VI_SUCCESS");
    EXPECT_EQ(write(b), "VI_SUCCESS");
    EXPECT_EQ(lock(b, false), "VI_SUCCESS");
    EXPECT_EQ(unlock(b), "VI_SUCCESS");
    EXPECT_EQ(unlock(b), "VI_ERROR_SESN_NLOCKED");
}

TEST_F(Locking, SharedKeysTravelEscapedAndStayUntilTheLastUnlock) {
    // A key typed with escapes reaches the library decoded and comes back shown encoded.
    EXPECT_EQ(lock(a, true, "k\\x01y"), "VI_SUCCESS");
    EXPECT_STREQ(a.record->accessKey, "k\x01y");
    EXPECT_EQ(shownKey(a), "k\\x01y");
    // The other window shares it with the same key, not without.
    EXPECT_EQ(lock(b, true, "other"), "VI_ERROR_INV_ACCESS_KEY");
    EXPECT_EQ(lock(b, true, "k\\1y"), "VI_SUCCESS");
    EXPECT_EQ(unlock(b), "VI_SUCCESS");
    // An exclusive lock returns no key; the shared one stays shown. Its unlock is nested.
    EXPECT_EQ(lock(a, false), "VI_SUCCESS");
    EXPECT_EQ(shownKey(a), "k\\x01y");
    EXPECT_EQ(unlock(a), "VI_SUCCESS_NESTED_SHARED");
    EXPECT_STREQ(a.record->accessKey, "k\x01y");
    EXPECT_EQ(unlock(a), "VI_SUCCESS");
    EXPECT_STREQ(a.record->accessKey, "");
    // Without a requested key the library makes one.
    EXPECT_EQ(lock(a, true), "VI_SUCCESS");
    EXPECT_NE(shownKey(a), "");
    EXPECT_STRNE(a.record->accessKey, "");
    // A key far longer than any buffer is cut, never overrun.
    EXPECT_EQ(unlock(a), "VI_SUCCESS");
    const std::string longKey(5000, 'k');
    lock(a, true, longKey.c_str());
    EXPECT_LT(std::strlen(a.record->accessKey), sizeof a.record->accessKey);
}

}  // namespace
