// The DM-6500 multimeter through VISA: connecting, its settings and a measurement. VISA comes
// through visalib, so any VISA library that reaches the meter will do.
#pragma once

#include <string>

#include "zuvisa/visa.h"

inline constexpr char kDmmDefaultResource[] = "GPIB0::22::INSTR";
inline constexpr size_t kDmmMaxReply = 256;

struct DmmFunction {
    const char* command;  // as the meter names it
    const char* unit;     // shown behind a reading
};
// The functions the meter offers, ended by a row with a null command.
extern const DmmFunction kDmmFunctions[];
const DmmFunction* Dmm_FindFunction(const std::string& command);

struct DmmLink {
    ViSession rm = VI_NULL;
    ViSession vi = VI_NULL;
    std::string resource;
};

// Opens the resource and asks who it is; on failure the link stays closed.
ViStatus Dmm_Connect(DmmLink* link, const std::string& resource, std::string* identity);
void Dmm_Disconnect(DmmLink* link);
bool Dmm_Connected(const DmmLink& link);

// Writes a command with its line end.
ViStatus Dmm_Send(DmmLink* link, const std::string& command);
// Writes a query and reads the reply without its line end. A reply longer than kDmmMaxReply
// is VI_ERROR_IO.
ViStatus Dmm_Query(DmmLink* link, const std::string& query, std::string* reply);

// One reading ("READ?"). A reply that is not a number: VI_ERROR_IO, with the reply kept.
ViStatus Dmm_Measure(DmmLink* link, double* value, std::string* reply);
ViStatus Dmm_GetFunction(DmmLink* link, std::string* function);
ViStatus Dmm_SetFunction(DmmLink* link, const std::string& function);
ViStatus Dmm_GetRange(DmmLink* link, double* range);
ViStatus Dmm_SetRange(DmmLink* link, double range);
// The oldest entry of the meter's error queue; "" when it holds none.
ViStatus Dmm_NextError(DmmLink* link, std::string* error);

// "viRead: 0xBFFF0015 The timeout expired..." for a status, in the words of the VISA library.
std::string Dmm_StatusText(const DmmLink& link, const char* what, ViStatus status);
