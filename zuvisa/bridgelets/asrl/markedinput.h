// Received serial data as the line discipline delivers it with error marking on: a break
// arrives as FF 00 00, a byte received with a parity or framing error as FF 00 byte, and a
// received FF as FF FF. The decoder splits the stream back into data, breaks and bad bytes;
// a sequence cut by the end of one read is completed by the next.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace zuvisa::asrl {

class MarkedInput {
public:
    enum class Kind : uint8_t { Data, Break, BadByte };
    struct Item {
        Kind kind;
        uint8_t byte;  // the data byte, or the byte received with an error
    };

    // Decodes count bytes, appending what they complete to out.
    void feed(const uint8_t* bytes, size_t count, std::vector<Item>* out);
    // Forgets a sequence begun but not completed (input was discarded).
    void reset() { state_ = State::Plain; }

private:
    enum class State : uint8_t { Plain, Escape, Marked };
    State state_ = State::Plain;
};

}  // namespace zuvisa::asrl
