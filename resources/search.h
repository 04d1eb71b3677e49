// The resource search: every resource the current find expression matches, opened once each to
// learn its interface, numbers and addresses, and the Refresh command that redraws the browser.
#pragma once

// The find expression of the next search (initially every resource).
extern char appFindExpr[256];
// Set until the first search that finds anything has had its chance to warn about VXI.
extern short firstCheck;

// Searches with appFindExpr and fills lpRsrcs. count receives the number of resources the
// library announced (0 when the records could not be allocated). Returns 1 when there are
// records, else 0.
int findIoRsrcs(int* count);

// Frees the last result, searches again and builds both orders.
void refreshIoRsrcs();

// The Refresh command: placeholders while the search runs under the wait cursor, then the new
// tree. Also the search at start-up.
void DoRefresh(int menuBar, int menuItem, void* callbackData, int panel);
