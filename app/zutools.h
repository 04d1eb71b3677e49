// The house's companion tools on the " ZU I/O" sheet (the graphical VXI tool vxpan, the text
// tools vxterm and gpterm): finding them, remembering their command lines in "AppNames",
// reassigning them and launching them; and the path helpers the soft front panels share.
#pragma once

#include <cstddef>

inline constexpr size_t kToolLineSize = 260;
extern char VxiPan[kToolLineSize], VxiTerm[kToolLineSize], GpibTerm[kToolLineSize];

// Looks for name in every directory of PATH, in order. With copy set, name (kToolLineSize
// bytes) becomes the full path when found and empty when not. Returns 1 when found.
int findInPath(char* name, int copy);
// Fill the empty command lines from ZUVXIPATH's bin (vxpan, vxterm) and the usual directories
// (gpterm), falling back to the search path; text tools start in a terminal when xterm exists.
void findVXIfiles();
void findGPIBfiles();
// The knowledge-base and the two framework directories under VXIPNPPATH (kToolLineSize each).
void findVXIPNPpaths(char* kbase, char* linux, char* glinux);
// Turns every backslash into a slash, in place.
void beautifyPath(char* path);
// At start: the stored command lines, or a discovery that stores what it found.
void findZUfiles(int panel);
