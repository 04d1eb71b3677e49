/* What ZU-VISA offers beyond the standard C API: its manufacturer identification, its own
   attributes, and the log sink. */
#ifndef ZUVISA_ZUVISA_H
#define ZUVISA_ZUVISA_H

#include "visa.h"

/* The manufacturer identification that the resource manager reports in VI_ATTR_RSRC_MANF_ID.
   Chosen from the 12-bit range away from the blocks given to instrument makers. */
#define HOUSE_MANF_ID 0x0E5A
#define HOUSE_MANF_NAME "ZU Instruments"
/* 1.0.0, as major.minor.sub in 12.12.8 bits, the encoding of VI_SPEC_VERSION. */
#define ZUVISA_IMPL_VERSION 0x00100000UL

/* Read from a find list: the state of the VXI resource manager of the simulated or real buses
   (0 when it ran cleanly, negative when it did not complete). */
#define VI_ATTR_ZU_VXI_RM_STATUS 0x3FFF8110UL

/* Read from a GPIB INTFC or SERVANT session of a simulated board: the last command bytes (at
   most 64) that the board put on the bus with ATN asserted, oldest first, as upper-case
   hexadecimal pairs separated by blanks ("3F 5F 40 36"). */
#define VI_ATTR_ZU_GPIB_CMD_LOG 0xBFFF8111UL

#if defined(__cplusplus)
extern "C" {
#endif

enum { ZUVISA_LOG_ERROR = 0, ZUVISA_LOG_WARNING = 1, ZUVISA_LOG_INFO = 2, ZUVISA_LOG_DEBUG = 3 };

/* Receives one line of log text (no terminator). Called from any thread of the library. */
typedef void (*ZuVisaLogSink)(void* userData, int level, const char* text);

/* Replaces the log sink; a null sink silences the library (the default). */
void zuvisaSetLogSink(ZuVisaLogSink sink, void* userData, int maxLevel);

#if defined(__cplusplus)
}
#endif

#endif
