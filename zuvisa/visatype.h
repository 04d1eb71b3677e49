/* Fundamental types of the VISA C API for ZU-VISA, 64-bit Linux ABI:
   32-bit status, session and object handles, 64-bit attribute states and bus addresses. */
#ifndef ZUVISA_VISATYPE_H
#define ZUVISA_VISATYPE_H

#define _VI_FAR
#define _VI_FUNC
#define _VI_FUNCC
#define _VI_FUNCH
#define _VI_SIGNED signed
#define _VI_PTR *

#define _VI_ERROR (-2147483647L - 1)

typedef unsigned long long ViUInt64;
typedef signed long long ViInt64;
typedef ViUInt64* ViPUInt64;
typedef ViUInt64* ViAUInt64;
typedef ViInt64* ViPInt64;
typedef ViInt64* ViAInt64;
#define _VI_INT64_UINT64_DEFINED

typedef unsigned int ViUInt32;
typedef ViUInt32* ViPUInt32;
typedef ViUInt32* ViAUInt32;
typedef _VI_SIGNED int ViInt32;
typedef ViInt32* ViPInt32;
typedef ViInt32* ViAInt32;

typedef unsigned short ViUInt16;
typedef ViUInt16* ViPUInt16;
typedef ViUInt16* ViAUInt16;
typedef _VI_SIGNED short ViInt16;
typedef ViInt16* ViPInt16;
typedef ViInt16* ViAInt16;

typedef unsigned char ViUInt8;
typedef ViUInt8* ViPUInt8;
typedef ViUInt8* ViAUInt8;
typedef _VI_SIGNED char ViInt8;
typedef ViInt8* ViPInt8;
typedef ViInt8* ViAInt8;

typedef char ViChar;
typedef ViChar* ViPChar;
typedef ViChar* ViAChar;
typedef unsigned char ViByte;
typedef ViByte* ViPByte;
typedef ViByte* ViAByte;

typedef void* ViAddr;
typedef ViAddr* ViPAddr;
typedef ViAddr* ViAAddr;

typedef float ViReal32;
typedef ViReal32* ViPReal32;
typedef ViReal32* ViAReal32;
typedef double ViReal64;
typedef ViReal64* ViPReal64;
typedef ViReal64* ViAReal64;

typedef ViPByte ViBuf;
typedef const ViByte* ViConstBuf;
typedef ViPByte ViPBuf;
typedef ViPByte* ViABuf;

typedef ViPChar ViString;
typedef const ViChar* ViConstString;
typedef ViPChar ViPString;
typedef ViPChar* ViAString;

typedef ViString ViRsrc;
typedef ViConstString ViConstRsrc;
typedef ViString ViPRsrc;
typedef ViString* ViARsrc;

typedef ViUInt16 ViBoolean;
typedef ViBoolean* ViPBoolean;
typedef ViBoolean* ViABoolean;

typedef ViInt32 ViStatus;
typedef ViStatus* ViPStatus;
typedef ViStatus* ViAStatus;

typedef ViUInt32 ViVersion;
typedef ViVersion* ViPVersion;
typedef ViVersion* ViAVersion;

typedef ViUInt32 ViObject;
typedef ViObject* ViPObject;
typedef ViObject* ViAObject;

typedef ViObject ViSession;
typedef ViSession* ViPSession;
typedef ViSession* ViASession;

typedef ViUInt32 ViAttr;

#define VI_NULL 0
#define VI_TRUE 1
#define VI_FALSE 0

#endif
