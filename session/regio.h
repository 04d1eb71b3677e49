// Register-based operation panels: In, Out, Move In, Move Out, Move, Map and Unmap Address, Peek,
// Poke, Mem Alloc and Mem Free, with the small callbacks that keep their width buttons, value
// fields and element lists consistent. Callbacks are bound by name from the panel resource.
#pragma once

#include "session/sessionrecord.h"

// The largest block a Move In or Move Out buffer grows to; a larger count is refused as an
// allocation failure rather than taking the machine's memory.
inline constexpr ViUInt64 kMaxMoveBytes = ViUInt64{256} << 20;

// The look of the Move In, Move Out and Move panels while an asynchronous move of theirs runs:
// inputs and status dimmed, Abort in place of Execute, the progress message (Move In, Move)
// shown. Idle undoes it; the element index of Move In and Move Out is left to the caller.
void setMoveInBusy(int panel, bool busy);
void setMoveOutBusy(int panel, bool busy);
void setMoveBusy(int panel, bool busy);

// Sets a value field's data type and maximum to an unsigned width of 8, 16 or 32 bits.
void setValueWidth(int panel, int control, int widthBits);

// Shows the Move In buffer's element at the panel's index, read at moveInWidth (0 when the
// buffer does not reach it).
void showMoveInElement(const SessionRecord* record, int panel);

// The element index control: dimmed for a single element, else stepping up to count - 1.
void setElementIndexRange(int panel, int indexCtrl, ViUInt32 count);

// Grows the Move Out buffer to the panel's count at moveOutWidth. Returns 0, or 1 when it could
// not grow (the buffer is then as it was).
int changeMoveOutBuf(int panel, SessionRecord* record);
