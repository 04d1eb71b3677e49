#include "zuvisa/bridgelets/tcpip/xdr.h"

#include <gtest/gtest.h>

namespace zuvisa::tcpip {
namespace {

TEST(Xdr, OpaqueDataIsPaddedAndRoundTrips) {
    struct Case {
        std::string data;
        size_t encoded;
    };
    const Case cases[] = {
        {"", 4}, {"a", 8}, {"abcd", 8}, {"abcde", 12}, {std::string(1000, 'x'), 1004}};
    for (const Case& c : cases) {
        XdrWriter w;
        w.string(c.data);
        w.u32(0xDEADBEEF);
        ASSERT_EQ(w.bytes().size(), c.encoded + 4) << c.data.size();
        XdrReader r(w.bytes().data(), w.bytes().size());
        EXPECT_EQ(r.string(4096), c.data);
        EXPECT_EQ(r.u32(), 0xDEADBEEFu);
        EXPECT_TRUE(r.ok());
        EXPECT_EQ(r.remaining(), 0u);
    }
}

TEST(Xdr, BadInputFailsAndStaysFailed) {
    struct Case {
        const char* what;
        std::vector<uint8_t> bytes;
        size_t max;
    };
    const Case cases[] = {
        {"truncated number", {0, 0, 1}, 100},
        {"length beyond the data", {0, 0, 0, 8, 'a', 'b', 'c', 'd'}, 100},
        {"length above the limit", {0, 0, 0, 5, 'a', 'b', 'c', 'd', 'e', 0, 0, 0}, 4},
        {"padding missing", {0, 0, 0, 3, 'a', 'b', 'c'}, 100},
        {"huge length", {0xFF, 0xFF, 0xFF, 0xFF, 'a'}, SIZE_MAX},
    };
    for (const Case& c : cases) {
        XdrReader r(c.bytes.data(), c.bytes.size());
        r.opaque(c.max);
        EXPECT_FALSE(r.ok()) << c.what;
        EXPECT_EQ(r.u32(), 0u) << c.what;  // later reads give nothing
        EXPECT_FALSE(r.ok()) << c.what;
    }
}

TEST(Xdr, NumbersAreBigEndian) {
    XdrWriter w;
    w.u32(0x01020304);
    w.i32(-2);
    w.boolean(true);
    EXPECT_EQ(w.bytes(), (std::vector<uint8_t>{1, 2, 3, 4, 0xFF, 0xFF, 0xFF, 0xFE, 0, 0, 0, 1}));
    XdrReader r(w.bytes().data(), w.bytes().size());
    EXPECT_EQ(r.u32(), 0x01020304u);
    EXPECT_EQ(r.i32(), -2);
    EXPECT_TRUE(r.boolean());
}

}  // namespace
}  // namespace zuvisa::tcpip
