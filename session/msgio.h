// Message-based I/O panels: Write, Read, Assert Trigger, Read STB, Clear, Write From File, Read
// To File, Set Buffer and Flush. Their callbacks are bound by name from the panel resource.
#pragma once

// The look of the Read and Write panels while an asynchronous job of theirs is in progress:
// inputs and results dimmed, Abort in place of Execute, the progress message shown. Idle undoes
// all of it.
void setReadBusy(int panel, bool busy);
void setWriteBusy(int panel, bool busy);
