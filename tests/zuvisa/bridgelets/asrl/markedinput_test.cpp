// Error marks in received serial data, whole and cut at every point between two reads.
#include "zuvisa/bridgelets/asrl/markedinput.h"

#include <gtest/gtest.h>

#include <string>

namespace zuvisa::asrl {
namespace {

// Items as text: data bytes as they are, "<B>" for a break, "<E:xx>" for a bad byte.
std::string show(const std::vector<MarkedInput::Item>& items) {
    std::string s;
    for (const auto& i : items) {
        char buf[16];
        switch (i.kind) {
        case MarkedInput::Kind::Data: s.push_back(static_cast<char>(i.byte)); break;
        case MarkedInput::Kind::Break: s += "<B>"; break;
        case MarkedInput::Kind::BadByte:
            snprintf(buf, sizeof buf, "<E:%02x>", i.byte);
            s += buf;
            break;
        }
    }
    return s;
}

struct Case {
    std::string wire, decoded;
};

const Case kCases[] = {
    {"plain\n", "plain\n"},
    {std::string("a\xff\xff" "b", 4), "a\xff" "b"},                     // a received FF
    {std::string("a\xff\x00\x00" "b", 5), "a<B>b"},                     // a break
    {std::string("\xff\x00\x41", 3), "<E:41>"},                        // a byte with an error
    {std::string("\xff\x00\xff", 3), "<E:ff>"},                        // an FF with an error
    {std::string("\xff\xff\x00\x00", 4), std::string("\xff\x00\x00", 3)},  // FF then two NULs
    {std::string("\x00\x00", 2), std::string("\x00\x00", 2)},           // NULs are data
    {std::string("\xff\x41", 2), "\xff" "A"},                           // not a mark: kept
    {std::string("\xff\x00\x00\xff\x00\x00", 6), "<B><B>"},
};

TEST(MarkedInput, DecodesMarksWholeAndCutAnywhere) {
    for (const Case& c : kCases) {
        const auto* bytes = reinterpret_cast<const uint8_t*>(c.wire.data());
        for (size_t cut = 0; cut <= c.wire.size(); ++cut) {
            MarkedInput d;
            std::vector<MarkedInput::Item> out;
            d.feed(bytes, cut, &out);
            d.feed(bytes + cut, c.wire.size() - cut, &out);
            EXPECT_EQ(show(out), c.decoded) << "cut at " << cut;
        }
    }
}

TEST(MarkedInput, ResetDropsAHalfReceivedMark) {
    MarkedInput d;
    std::vector<MarkedInput::Item> out;
    const uint8_t start[] = {'x', 0xFF, 0x00};
    d.feed(start, sizeof start, &out);
    d.reset();
    const uint8_t next[] = {0x00, 'y'};
    d.feed(next, sizeof next, &out);
    EXPECT_EQ(show(out), std::string("x\0y", 3));
}

}  // namespace
}  // namespace zuvisa::asrl
