// The texts that describe a received event: the lines of the event handler sheet and the items
// of the Wait on Event panel's information list. Pure text: the callers read the event and put
// the text on their panels.
#pragma once

#include <string>
#include <vector>

#include "zuvisa/visa.h"

// What an event's context says, each value at the width its text shows it. Values an event
// type does not have stay 0 (text: empty).
struct EventValues {
    ViEventType type = 0;
    ViJobId jobId = 0;
    ViUInt32 retCount = 0;
    ViStatus status = 0;
    ViBoolean cicState = 0;        // VI_ATTR_GPIB_RECV_CIC_STATE
    ViUInt16 sigpStatusId = 0;     // VI_ATTR_SIGP_STATUS_ID
    ViInt16 trigId = 0;            // VI_ATTR_RECV_TRIG_ID
    ViInt16 devCmdType = 0;        // VI_ATTR_VXI_DEV_CMD_TYPE
    ViUInt32 devCmdValue = 0;      // VI_ATTR_VXI_DEV_CMD_VALUE
    ViUInt32 intrStatusId = 0;     // VI_ATTR_INTR_STATUS_ID
    ViInt16 intrLevel = 0;         // VI_ATTR_RECV_INTR_LEVEL
    char tcpipAddress[256] = "";   // VI_ATTR_RECV_TCPIP_ADDR
    char operationName[256] = "";  // VI_ATTR_OPER_NAME
};

// Reads from an event context the attributes that the texts of its type show; the statuses of
// the reads are ignored (a value that cannot be read stays 0).
void readEventValues(ViEvent context, ViEventType type, EventValues* values);

// The handler sheet's lines for one event: "VI_ATTR_EVENT_TYPE:  <name>", then the lines of its
// type (I/O completion: job id, return count, status; GPIB CIC; VXI signal; TCP/IP connect;
// trigger; exception: status and operation; VXI device command; VXI/VME interrupt).
std::vector<std::string> handlerSheetLines(const EventValues& e);

// The Wait on Event panel's list items for one event: each attribute name flush left, its value
// on the next item indented by two blanks. An exception shows only its type.
std::vector<std::string> waitOnEventItems(const EventValues& e);
