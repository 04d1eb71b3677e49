// Internal: the escapes that list and ring labels may hold (see uidefs.h).
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace uir {

struct LabelSegment {
    int x = -1;        // pixel position, -1: directly after the previous segment
    char align = 'l';  // 'l', 'c' or 'r' relative to x
    int fg = -1;       // 0xRRGGBB, -1: the control's text colour
    int bg = -1;       // 0xRRGGBB, -1: none
    std::string text;
};

struct ParsedLabel {
    bool separator = false;
    std::vector<LabelSegment> segments;
};

// Parses a label. A malformed escape is dropped and the characters after it are shown as text.
ParsedLabel parseLabel(std::string_view raw);
// The label as plain text: the segments joined, a blank before each positioned one.
std::string plainLabel(std::string_view raw);
bool hasEscapes(std::string_view raw);

// Item and button names mark their mnemonic letter with "__"; Qt marks it with '&' (and writes
// a literal '&' as "&&"). These convert between the two.
std::string mnemonicToQt(std::string_view name);
std::string mnemonicFromQt(std::string_view text);

}  // namespace uir
