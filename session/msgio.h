// Message-based I/O panels: Write, Read, Assert Trigger, Read STB, Clear, Write From File, Read
// To File, Set Buffer and Flush. Their callbacks are bound by name from the panel resource.
#pragma once

#include <initializer_list>

#include "zuvisa/visa.h"

// The look of a panel while an asynchronous job of its own runs: its inputs dimmed, Abort in
// place of Execute, its message line (0: none) shown. Idle undoes it.
void setAsyncBusyLook(int panel, bool busy, std::initializer_list<int> inputs, int execute,
                      int abort, int message);

// Shows a panel's message line with a text.
void showMessage(int panel, int message, const char* text);
// Shows "Asynchronous job 0x%08lX in progress..." on a panel's message line.
void showJobInProgress(int panel, int message, ViJobId jobId);

// The look of the Read and Write panels while an asynchronous job of theirs is in progress:
// inputs and results dimmed, Abort in place of Execute, the progress message shown. Idle undoes
// all of it.
void setReadBusy(int panel, bool busy);
void setWriteBusy(int panel, bool busy);
