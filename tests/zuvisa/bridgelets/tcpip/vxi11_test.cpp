#include "zuvisa/bridgelets/tcpip/vxi11.h"

#include <gtest/gtest.h>

namespace zuvisa::tcpip::vxi11 {
namespace {

TEST(Vxi11, DeviceErrorsMapToStatusesAndBack) {
    struct Case {
        int32_t error;
        ViStatus status;
    };
    const Case cases[] = {{kNoError, VI_SUCCESS},
                          {kIoTimeout, VI_ERROR_TMO},
                          {kLocked, VI_ERROR_RSRC_LOCKED},
                          {kNoLock, VI_ERROR_SESN_NLOCKED},
                          {kAborted, VI_ERROR_ABORT},
                          {kNotSupported, VI_ERROR_NSUP_OPER},
                          {kInvalidLink, VI_ERROR_CONN_LOST},
                          {kNotAccessible, VI_ERROR_RSRC_NFOUND},
                          {kIoError, VI_ERROR_IO},
                          {12345, VI_ERROR_IO}};
    for (const Case& c : cases) EXPECT_EQ(statusOf(c.error), c.status) << c.error;
    // What a server answers for its instrument's statuses comes back as the same status.
    for (ViStatus st :
         {VI_ERROR_TMO, VI_ERROR_ABORT, VI_ERROR_RSRC_LOCKED, VI_ERROR_NSUP_OPER, VI_ERROR_IO}) {
        EXPECT_EQ(statusOf(errorOf(st)), st);
    }
    EXPECT_EQ(errorOf(VI_SUCCESS_TERM_CHAR), kNoError);
}

TEST(Vxi11, MessagesRoundTripAndBoundTheirData) {
    WriteParms w;
    w.lid = 3;
    w.ioTimeout = 1000;
    w.flags = kEnd;
    w.data = "*IDN?\n";
    XdrWriter out;
    encode(out, w);
    XdrReader in(out.bytes().data(), out.bytes().size());
    WriteParms back;
    ASSERT_TRUE(decode(in, &back, 64));
    EXPECT_EQ(back.lid, 3);
    EXPECT_EQ(back.flags, uint32_t{kEnd});
    EXPECT_EQ(back.data, "*IDN?\n");
    XdrReader tooSmall(out.bytes().data(), out.bytes().size());
    EXPECT_FALSE(decode(tooSmall, &back, 4));

    CreateLinkResp resp{0, 9, 70000, 1024};  // an abort port no TCP port can be
    XdrWriter o2;
    encode(o2, resp);
    XdrReader i2(o2.bytes().data(), o2.bytes().size());
    CreateLinkResp r2;
    EXPECT_FALSE(decode(i2, &r2));

    EnableSrqParms srq{1, true, std::string(41, 'h')};  // handles hold at most 40 bytes
    XdrWriter o3;
    encode(o3, srq);
    XdrReader i3(o3.bytes().data(), o3.bytes().size());
    EnableSrqParms s3;
    EXPECT_FALSE(decode(i3, &s3));
}

}  // namespace
}  // namespace zuvisa::tcpip::vxi11
