#include "session/escaped.h"

#include <cstring>

#include "toolslib/toolbox/escaped.h"
#include "uiruntime/uiruntime.h"

namespace {

struct TextBox {
    int panel, control;
};

void appendPiece(void* context, const char* piece, size_t length) {
    const TextBox* box = static_cast<const TextBox*>(context);
    char text[kEscTextPieceMax + 1];
    std::memcpy(text, piece, length);
    text[length] = '\0';
    SetCtrlVal(box->panel, box->control, text);
}

}  // namespace

ViUInt32 beautifyWrite(char* text) {
    return static_cast<ViUInt32>(EscText_Decode(text));
}

void beautifyRead(const ViByte* bytes, ViUInt32 count, int panel, int textBox) {
    ResetTextBox(panel, textBox, "");
    TextBox box{panel, textBox};
    EscText_Encode(bytes, count, appendPiece, &box);
    SetCtrlAttribute(panel, textBox, ATTR_FIRST_VISIBLE_LINE, 0);
}
