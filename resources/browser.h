// The resource browser on the " VISA I/O" sheet: the tree of the resources found, by type or by
// connection, the name of the selected one, and opening it in a session window.
#pragma once

struct TreeView;

// The tree, made when it is first drawn.
extern TreeView* target;
// The label of the tree's root: the host's name.
extern char compName[80];

// Rebuilds the tree from the records of the last search in the current view.
void AddIoRsrcs(int ioPanel);
// While a search runs: the tree shows this one line (once it exists).
void showSearchPlaceholder(const char* text);
// Closes the tree and frees its images (at exit).
void closeRsrcTree();
