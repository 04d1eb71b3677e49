// The record of one resource found by a search, and the two orders in which the browser shows
// the records: by type and by connection.
#pragma once

// Interface types as VISA numbers them. A record of a class other than INSTR keeps its type
// negated; a resource that could not be opened has kRsrcUnknown as type and number.
enum {
    RSRC_GPIB = 1,
    RSRC_VXI = 2,
    RSRC_GPIB_VXI = 3,
    RSRC_ASRL = 4,
    RSRC_PXI = 5,
    RSRC_TCPIP = 6,
};
inline constexpr short kRsrcUnknown = 32767;
// The logical address of a record outside VXI, or one whose read failed.
inline constexpr short kNoLogicalAddress = -1;

struct RsrcRecord {
    char rsrcName[256];
    char intfInstName[256];
    short intfType;
    unsigned short intfNum;
    unsigned short parentNum;  // the GPIB board of a GPIB-VXI interface
    unsigned short gpibPrimary;
    unsigned short gpibSecondary;
    short mainframeLA;
    short vxiLA;
};

// The records of the last search (zero-filled, nRsrcs of them) and the two orders: each entry is
// a record index, or its complement (~index) for a duplicate that is hidden unless asked for.
extern RsrcRecord* lpRsrcs;
extern int nRsrcs;
extern int* lpSortType;
extern int* lpSortConn;

// Frees the records and both orders and sets nRsrcs to 0.
void releaseRsrcs();

// True when value occurs among the first n entries; complemented entries, and a complemented
// value, count as their index.
bool bIsInList(const int* list, int value, int n);

// A GPIB record that is in fact a GPIB-VXI controller, reached as a GPIB instrument at the same
// board and primary address as one of the GPIB-VXI records.
bool isGpibVxiDuplicate(const RsrcRecord* records, int n, int index);

// Fill order (n entries) from the records. By type: the instruments and then the other classes
// of GPIB, VXI, GPIB-VXI, serial, PXI and TCP/IP, then the rest. By connection: each interface
// in turn, each GPIB board followed by the GPIB-VXI interfaces (numbered 0 to 9) behind it.
void sortRsrcsByType(const RsrcRecord* records, int n, int* order);
void sortRsrcsByConn(const RsrcRecord* records, int n, int* order);

// The category under which the by-type view shows a record of this signed type ("Unknown" for
// any other type), and whether the type has a category of its own.
const char* rsrcCategory(short intfType);
bool hasCategory(short intfType);

// The sign of the type is where a record keeps that its class is not INSTR.
inline bool isNonInstrRecord(const RsrcRecord& r) { return r.intfType < 0; }
