// Settings files: an in-memory object of named sections holding named text items, read from
// and written to the ini text format.
#pragma once

#include <cstddef>

struct IniTextRecord;
using IniText = IniTextRecord*;

// Delivers one line (without terminator, at most bufferSize-1 characters) and its number.
// Returns 0 or a negative code; sets *endOfSource when no line was delivered.
using Ini_InputFunc = int (*)(void* inputData, char* lineBuffer, int bufferSize, int* endOfSource,
                              int* lineNumber);
// Takes one line without its terminator; returns 0 or a negative code.
using Ini_OutputFunc = int (*)(void* outputData, const char* line);
// A zero result drops the section titled sectionName and its items while reading.
using Ini_SectionFilterFunc = int (*)(IniText ini, void* filterData, const char* sectionName);

IniText Ini_New(int sorted);
void Ini_Dispose(IniText ini);

int Ini_SectionExists(IniText ini, const char* section);
int Ini_NumberOfSections(IniText ini);
int Ini_NthSectionName(IniText ini, int n, char** name);
int Ini_NumberOfItems(IniText ini, const char* section);
int Ini_NthItemName(IniText ini, const char* section, int n, char** name);
int Ini_LineOfLastAccess(IniText ini);
int Ini_RemoveSection(IniText ini, const char* section);
int Ini_RemoveItem(IniText ini, const char* section, const char* item);
int Ini_CopySection(IniText from, const char* section, IniText to, int overwrite);

void Ini_Sort(IniText ini);
void Ini_DisableSorting(IniText ini);
int Ini_SortInternally(IniText ini);
void Ini_DisableInternalSorting(IniText ini);

void Ini_SetTokens(IniText ini, char sectionOpen, char sectionClose, const char* assignToken,
                   const char* commentToken);
void Ini_SetDefaultTokens(IniText ini);
void Ini_SetSectionFilter(IniText ini, Ini_SectionFilterFunc filter, void* filterData);
int Ini_SetDuplicateChecking(IniText ini, int on);

int Ini_PutInt(IniText ini, const char* section, const char* item, int value);
int Ini_PutUInt(IniText ini, const char* section, const char* item, unsigned int value);
int Ini_PutDouble(IniText ini, const char* section, const char* item, double value);
int Ini_PutBoolean(IniText ini, const char* section, const char* item, int value);
int Ini_PutString(IniText ini, const char* section, const char* item, const char* value);
int Ini_PutRawString(IniText ini, const char* section, const char* item, const char* value);
int Ini_PutData(IniText ini, const char* section, const char* item, const unsigned char* data,
                size_t numBytes);

int Ini_GetPointerToRawString(IniText ini, const char* section, const char* item, char** text);
int Ini_GetRawStringCopy(IniText ini, const char* section, const char* item, char** copy);
int Ini_GetRawStringIntoBuffer(IniText ini, const char* section, const char* item, char* buffer,
                               size_t bufferSize);
int Ini_GetPointerToString(IniText ini, const char* section, const char* item, char** text);
int Ini_GetStringCopy(IniText ini, const char* section, const char* item, char** copy);
int Ini_GetStringIntoBuffer(IniText ini, const char* section, const char* item, char* buffer,
                            size_t bufferSize);
int Ini_GetInt(IniText ini, const char* section, const char* item, int* value);
int Ini_GetUInt(IniText ini, const char* section, const char* item, unsigned int* value);
int Ini_GetDouble(IniText ini, const char* section, const char* item, double* value);
int Ini_GetBoolean(IniText ini, const char* section, const char* item, int* value);
int Ini_GetData(IniText ini, const char* section, const char* item, unsigned char** data,
                size_t* numBytes);
int Ini_ItemExists(IniText ini, const char* section, const char* item);
int Ini_ItemOrMultiLineItemExists(IniText ini, const char* section, const char* item);

int Ini_ReadFromFile(IniText ini, const char* path);
int Ini_WriteToFile(IniText ini, const char* path);
int Ini_ReadGeneric(IniText ini, Ini_InputFunc inputFunction, void* inputData);
int Ini_WriteGeneric(IniText ini, Ini_OutputFunc outputFunction, void* outputData);

// Input function over a LineFile (see linefile.h): lines of at most 255 characters.
int Ini_LineFileInputFunction(void* lineFile, char* lineBuffer, int bufferSize, int* endOfSource,
                              int* lineNumber);
