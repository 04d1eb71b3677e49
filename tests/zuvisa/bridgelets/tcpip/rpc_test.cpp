#include "zuvisa/bridgelets/tcpip/rpc.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

namespace zuvisa::tcpip::rpc {
namespace {

TEST(Rpc, CallRoundTripsAndReplyCarriesResults) {
    XdrWriter args;
    args.u32(42);
    std::vector<uint8_t> call = encodeCall({7, 0x0607AF, 1, 11}, args.bytes());
    XdrReader r(call.data(), call.size());
    Call c;
    ASSERT_TRUE(decodeCall(r, &c));
    EXPECT_EQ(c.xid, 7u);
    EXPECT_EQ(c.program, 0x0607AFu);
    EXPECT_EQ(c.procedure, 11u);
    EXPECT_EQ(r.u32(), 42u);

    std::vector<uint8_t> reply = encodeReply(7, kSuccess, args.bytes());
    XdrReader rr(reply.data(), reply.size());
    ASSERT_EQ(decodeReply(rr, 7, nullptr), VI_SUCCESS);
    EXPECT_EQ(rr.u32(), 42u);
}

TEST(Rpc, RepliesThatAreNotSuccessAreRefused) {
    struct Case {
        const char* what;
        std::vector<uint8_t> reply;
        uint32_t xid;
        ViStatus status;
    };
    std::vector<uint8_t> denied = {0, 0, 0, 9, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1};
    const Case cases[] = {
        {"another call's reply", encodeReply(8, kSuccess, {}), 9, kMalformedReply},
        {"program unavailable", encodeReply(9, kProgUnavail, {}), 9, VI_ERROR_IO},
        {"version mismatch", encodeReply(9, kProgMismatch, {}, 1, 1), 9, VI_ERROR_IO},
        {"garbage arguments", encodeReply(9, kGarbageArgs, {}), 9, VI_ERROR_IO},
        {"denied", denied, 9, VI_ERROR_IO},
        {"a call, not a reply", encodeCall({9, 1, 1, 1}, {}), 9, kMalformedReply},
        {"truncated", {0, 0, 0, 9, 0, 0, 0, 1, 0, 0}, 9, kMalformedReply},
    };
    for (const Case& c : cases) {
        XdrReader r(c.reply.data(), c.reply.size());
        std::string why;
        EXPECT_EQ(decodeReply(r, c.xid, &why), c.status) << c.what;
    }
}

TEST(Rpc, RecordsJoinFragmentsAndRefuseOversizeOnes) {
    struct Case {
        const char* what;
        std::vector<uint8_t> stream;
        ViStatus status;
        std::string body;
    };
    std::vector<uint8_t> twoLarge = {0, 0, 0, 60};
    twoLarge.resize(64, 'x');
    twoLarge.insert(twoLarge.end(), {0x80, 0, 0, 60});
    const Case cases[] = {
        {"one fragment", {0x80, 0, 0, 3, 'a', 'b', 'c'}, VI_SUCCESS, "abc"},
        {"two fragments", {0, 0, 0, 2, 'a', 'b', 0x80, 0, 0, 1, 'c'}, VI_SUCCESS, "abc"},
        {"longer than allowed", {0x80, 0, 0, 200}, kMalformedReply, ""},
        {"fragments adding up to too much", twoLarge, kMalformedReply, ""},
        {"empty fragment without end", {0, 0, 0, 0, 0x80, 0, 0, 0}, kMalformedReply, ""},
        {"stream ends inside", {0x80, 0, 0, 9, 'a'}, VI_ERROR_CONN_LOST, ""},
    };
    for (const Case& c : cases) {
        int sv[2];
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, sv), 0);
        // The first case's body is small: the limit is 100 bytes.
        ASSERT_EQ(write(sv[0], c.stream.data(), c.stream.size()),
                  static_cast<ssize_t>(c.stream.size()));
        close(sv[0]);
        std::vector<uint8_t> body;
        ViStatus st = readRecord(sv[1], 100, IoControl::fromTimeout(1000, nullptr), &body);
        close(sv[1]);
        EXPECT_EQ(st, c.status) << c.what;
        if (st == VI_SUCCESS) {
            EXPECT_EQ(std::string(body.begin(), body.end()), c.body) << c.what;
        }
    }
}

}  // namespace
}  // namespace zuvisa::tcpip::rpc
