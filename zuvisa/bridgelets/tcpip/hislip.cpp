#include "zuvisa/bridgelets/tcpip/hislip.h"

namespace zuvisa::tcpip::hislip {

void encodeHeader(const Header& h, uint8_t out[kHeaderSize]) {
    out[0] = 'H';
    out[1] = 'S';
    out[2] = h.type;
    out[3] = h.control;
    for (int i = 0; i < 4; ++i) out[4 + i] = static_cast<uint8_t>(h.parameter >> (24 - 8 * i));
    for (int i = 0; i < 8; ++i) out[8 + i] = static_cast<uint8_t>(h.length >> (56 - 8 * i));
}

bool decodeHeader(const uint8_t in[kHeaderSize], Header* h) {
    if (in[0] != 'H' || in[1] != 'S' || in[2] > kLastKnownType) return false;
    h->type = in[2];
    h->control = in[3];
    h->parameter = 0;
    for (int i = 0; i < 4; ++i) h->parameter = (h->parameter << 8) | in[4 + i];
    h->length = 0;
    for (int i = 0; i < 8; ++i) h->length = (h->length << 8) | in[8 + i];
    return true;
}

}  // namespace zuvisa::tcpip::hislip
