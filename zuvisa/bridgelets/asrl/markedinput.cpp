#include "zuvisa/bridgelets/asrl/markedinput.h"

namespace zuvisa::asrl {

void MarkedInput::feed(const uint8_t* bytes, size_t count, std::vector<Item>* out) {
    for (size_t i = 0; i < count; ++i) {
        uint8_t b = bytes[i];
        switch (state_) {
        case State::Plain:
            if (b == 0xFF) state_ = State::Escape;
            else out->push_back({Kind::Data, b});
            break;
        case State::Escape:
            if (b == 0xFF) {
                out->push_back({Kind::Data, 0xFF});
                state_ = State::Plain;
            } else if (b == 0x00) {
                state_ = State::Marked;
            } else {
                // The discipline never sends this; keep both bytes rather than lose data.
                out->push_back({Kind::Data, 0xFF});
                out->push_back({Kind::Data, b});
                state_ = State::Plain;
            }
            break;
        case State::Marked:
            // A break and a NUL with a framing error look alike; the discipline reports
            // breaks this way, so a marked NUL is taken as one.
            out->push_back({b == 0x00 ? Kind::Break : Kind::BadByte, b});
            state_ = State::Plain;
            break;
        }
    }
}

}  // namespace zuvisa::asrl
