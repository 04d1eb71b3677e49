// How a trace record reads: the pieces a window shows, a description of the whole record, and
// the record as a JSON object or a CSV row. Names come from the application's naming functions
// (VisaTrace_SetNames) and from the VISA standard's own constants (address spaces, modes,
// trigger lines); what neither knows is shown as a number.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "visalib/trace.h"

// "viWrite", ..., "handler" for an event handler's invocation.
const char* VisaTrace_FunctionName(int function);
// The function whose name this is, or -1.
int VisaTrace_FunctionByName(const char* name);

// Local time "HH:MM:SS.uuuuuu", with the date before it when asked.
std::string VisaTrace_TimeText(const VisaTraceRecord& r, bool withDate);
// ISO 8601 with the offset from UTC: "2024-05-01T12:34:56.123456+02:00".
std::string VisaTrace_IsoTime(const VisaTraceRecord& r);
// Microseconds, with one decimal below a millisecond; "running" for a handler that has not
// returned.
std::string VisaTrace_DurationText(const VisaTraceRecord& r);
// "main" for the program's first thread, else the thread id.
std::string VisaTrace_ThreadText(const VisaTraceRecord& r);
std::string VisaTrace_HandleText(ViSession handle);

// The arguments as (name, value) pairs in the function's order, outputs as the call left them
// ("-" when it left none); a handler's record adds the completion it carries.
std::vector<std::pair<std::string, std::string>> VisaTrace_ArgumentList(const VisaTraceRecord& r);
// The same on one line: "vi=0x00000001, buf=6 bytes, cnt=6, retCnt=6".
std::string VisaTrace_ArgumentsText(const VisaTraceRecord& r);

// "0x3FFF0005"; "" for a peek or poke, or a handler still running.
std::string VisaTrace_StatusText(const VisaTraceRecord& r);
// The status's symbolic name; "" when nobody knows it.
std::string VisaTrace_StatusName(const VisaTraceRecord& r);
// An error: a negative status, or a job that completed with one.
bool VisaTrace_IsError(const VisaTraceRecord& r);

// The bytes kept, as escaped text (the toolbox's codec, with its line breaks after line ends)
// and as hexadecimal pairs separated by blanks.
std::string VisaTrace_DataText(const VisaTraceRecord& r);
std::string VisaTrace_DataHex(const VisaTraceRecord& r);

// Everything about the record, on several lines, for a details view.
std::string VisaTrace_Details(const VisaTraceRecord& r);

// One JSON object on one line.
std::string VisaTrace_Json(const VisaTraceRecord& r);
// CSV (RFC 4180): the header line and a record's line, each without its line end.
std::string VisaTrace_CsvHeader();
std::string VisaTrace_CsvRow(const VisaTraceRecord& r);
