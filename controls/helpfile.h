// Context help texts: an indexed binary file of short texts keyed by tags (a panel's constant
// name, or panel and control names joined by "_"). Texts stay on disk; each fetch reads one
// into a shared buffer that is valid until the next fetch.
#pragma once

#include <cstdint>

// 0 on success, -1 on failure. Initialising again with the same path only counts a reference;
// another path closes the open file and fails.
int Help_Initialize(const char* path);
// Drops one reference; the last one closes the file and frees everything.
void Help_Close();
// 1 while a help file is open.
int Help_IsOpen();

// The text for a tag, or null.
char* Help_MessageFromTag(const char* tag);
// A place is a panel (control 0) or a control, named by its tag: the panel's constant name, or
// the panel's and the control's joined by "_".
//
// Binds the text of tag to a place, in place of an earlier binding there; 0, or -1 for an
// unknown tag. The binding holds only while the panel and control still carry the names in
// place, so a handle or control id used again by another panel or control does not inherit it.
int Help_BindTag(int panel, int control, const char* tag, const char* place);
// The text of a place: the text of its own tag when the file has one (and the place is bound to
// it), else the text of a tag bound to this place. Null when neither exists.
char* Help_MessageForUI(int panel, int control, const char* place);

uint32_t HashString(const char* s);
uint32_t Hash2Ints(int panel, int control);

// Layout of the file, shared with the compiler of help sources.
namespace helpfile {
inline constexpr char kMagic[4] = {'S', 'I', '9', '5'};
inline constexpr uint32_t kHeaderSize = 64;
// Bounds a file must respect to be loaded.
inline constexpr uint32_t kMaxTags = 1u << 20;
inline constexpr uint32_t kMaxTagBlock = 16u << 20;
inline constexpr uint32_t kMaxBuckets = 1u << 20;
inline constexpr uint32_t kMaxTextLength = 1u << 20;
}  // namespace helpfile
