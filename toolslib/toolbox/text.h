// String helpers and strict number parsing.
#pragma once

#include <cstddef>

char* StrDup(const char* s);
char* StrDupWithoutSurrWhiteSpace(const char* s);
char* StrDupWithoutQuotes(const char* s, int* hadQuotes);
void StringCopyMax(char* dst, const char* src, int max);

char* SkipWhiteSpace(const char* s);
char* SkipNonWhiteSpace(const char* s);
int HasNonWhiteSpace(const char* s);
void RemoveSurroundingWhiteSpace(char* s);

int StrICmp(const char* a, const char* b);
int StrICmpWithoutSurrWhiteSpace(const char* a, const char* b);

// 1 on success, 0 on failure (value untouched). Decimal only, see ConvertNumStrToUint.
int StrToInt(const char* s, int* value);
int StrToUInt(const char* s, unsigned int* value);
// The shared scanner: magnitude and sign of a decimal number with optional surrounding space.
int ConvertNumStrToUint(const char* s, unsigned int* magnitude, int* negative);

// Value of a hexadecimal digit, -1 for any other character.
int GetHexCharValue(int c);
