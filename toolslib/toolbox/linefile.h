// Cuts a byte stream into lines whatever its terminators (LF, CR, CR LF, LF CR).
#pragma once

#include <cstdint>

// Fills buffer with up to numBytesWanted bytes; *numBytesRead = 0 means the source is exhausted.
// Returns 0 or a negative code.
using LineFileReadFunc = int (*)(void* source, int numBytesWanted, int* numBytesRead, char* buffer);

struct LineFileRecord;
using LineFile = LineFileRecord*;

// A null read function reads the source as a FILE* (LineFile_ReadFromFile).
LineFile LineFile_New(LineFileReadFunc readFunction, void* source);
void LineFile_Dispose(LineFile lf);

// buffer must hold maxChars+1 bytes; length and endOfFile may be null.
int LineFile_Read(LineFile lf, char* buffer, int maxChars, int* length, int* endOfFile);
int LineFile_ReadNonEmpty(LineFile lf, char* buffer, int maxChars, int* length, int* endOfFile);

int LineFile_NumLinesRead(LineFile lf);
int64_t LineFile_OffsetOfLastLine(LineFile lf);
int LineFile_NumExtraLineTermChars(LineFile lf);
int LineFile_NumCharsInEmptyLines(LineFile lf);

int LineFile_ReadFromFile(void* stream, int numBytesWanted, int* numBytesRead, char* buffer);
