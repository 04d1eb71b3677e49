#include "zuvisa/bridgelets/tcpip/hislip.h"

#include <gtest/gtest.h>

#include "zuvisa/bridgelets/tcpip/links.h"

namespace zuvisa::tcpip::hislip {
namespace {

TEST(Hislip, HeaderRoundTripsAtFullWidth) {
    const Header cases[] = {{kInitialize, 0, 0x02005A55, 7},
                            {kDataEnd, 1, 0xFFFFFF00, 0x0102030405060708ull},
                            {kAsyncLockInfoResponse, 0xFF, 0, 0}};
    for (const Header& h : cases) {
        uint8_t bytes[kHeaderSize];
        encodeHeader(h, bytes);
        EXPECT_EQ(bytes[0], 'H');
        EXPECT_EQ(bytes[1], 'S');
        Header back;
        ASSERT_TRUE(decodeHeader(bytes, &back));
        EXPECT_EQ(back.type, h.type);
        EXPECT_EQ(back.control, h.control);
        EXPECT_EQ(back.parameter, h.parameter);
        EXPECT_EQ(back.length, h.length);
    }
}

TEST(Hislip, HeadersWithoutPrologueOrOfUnknownTypeAreRefused) {
    uint8_t bytes[kHeaderSize] = {'H', 'S', kData};
    Header h;
    EXPECT_TRUE(decodeHeader(bytes, &h));
    bytes[1] = 's';
    EXPECT_FALSE(decodeHeader(bytes, &h));
    bytes[1] = 'S';
    bytes[2] = 200;
    EXPECT_FALSE(decodeHeader(bytes, &h));
}

TEST(Hislip, LanDeviceNamesGiveSubAddressAndPort) {
    struct Case {
        const char* device;
        bool hislip;
        const char* sub;
        uint16_t port;
    };
    const Case cases[] = {{"hislip0", true, "hislip0", 4880},
                          {"HiSLIP3,4881", true, "HiSLIP3", 4881},
                          {"inst0", false, "", 0},
                          {"hislip0,", false, "", 0},
                          {"hislip0,70000", false, "", 0},
                          {"hislip0,12a", false, "", 0}};
    for (const Case& c : cases) {
        std::string sub;
        uint16_t port = 0;
        EXPECT_EQ(hislipDevice(c.device, &sub, &port), c.hislip) << c.device;
        if (c.hislip) {
            EXPECT_EQ(sub, c.sub);
            EXPECT_EQ(port, c.port);
        }
    }
}

}  // namespace
}  // namespace zuvisa::tcpip::hislip
