// The status table. Descriptions are written for someone reading them in a test tool: what
// happened, in one sentence, without the code's name.
#include "zuvisa/status.h"

#include <cstring>
#include <iterator>

namespace zuvisa {

namespace {

#define ROW(code, text) {code, #code, text}

const StatusInfo kStatuses[] = {
    ROW(VI_SUCCESS, "The operation completed successfully."),
    ROW(VI_SUCCESS_EVENT_EN, "The event was already enabled for at least one of the given mechanisms."),
    ROW(VI_SUCCESS_EVENT_DIS, "The event was already disabled for at least one of the given mechanisms."),
    ROW(VI_SUCCESS_QUEUE_EMPTY, "The operation completed; the event queue was already empty."),
    ROW(VI_SUCCESS_TERM_CHAR, "The read stopped at the termination character."),
    ROW(VI_SUCCESS_MAX_CNT, "The read stopped after the requested number of bytes; more data may follow."),
    ROW(VI_SUCCESS_DEV_NPRESENT, "The session was opened, but the device does not answer at this address."),
    ROW(VI_SUCCESS_TRIG_MAPPED, "The trigger path was already mapped as requested."),
    ROW(VI_SUCCESS_QUEUE_NEMPTY, "An event was returned; more events of the requested types are waiting."),
    ROW(VI_SUCCESS_NCHAIN, "The handler returned; the event is not passed to the other handlers."),
    ROW(VI_SUCCESS_NESTED_SHARED, "The shared lock was taken again; this session now holds it more than once."),
    ROW(VI_SUCCESS_NESTED_EXCLUSIVE, "The exclusive lock was taken again; this session now holds it more than once."),
    ROW(VI_SUCCESS_SYNC, "The asynchronous operation was carried out at once, before the call returned."),
    ROW(VI_WARN_QUEUE_OVERFLOW, "An event was returned, but events arrived while the queue was full and were lost."),
    ROW(VI_WARN_CONFIG_NLOADED, "The resource manager opened, but part of the configuration (a bridgelet or a simulation file) could not be loaded."),
    ROW(VI_WARN_NULL_OBJECT, "The handle given was the null object; nothing was done."),
    ROW(VI_WARN_NSUP_ATTR_STATE, "The attribute value was taken, but the resource does not act on it."),
    ROW(VI_WARN_UNKNOWN_STATUS, "The status code is not known to this library."),
    ROW(VI_WARN_NSUP_BUF, "The buffer setting is not supported by this resource and was ignored."),
    ROW(VI_ERROR_SYSTEM_ERROR, "The library could not carry out the operation because of a fault in the system."),
    ROW(VI_ERROR_INV_OBJECT, "The handle does not refer to an open session, find list or event."),
    ROW(VI_ERROR_RSRC_LOCKED, "Another session holds a lock on the resource that forbids this access."),
    ROW(VI_ERROR_INV_EXPR, "The find expression is not valid."),
    ROW(VI_ERROR_RSRC_NFOUND, "No resource matches the name or the expression."),
    ROW(VI_ERROR_INV_RSRC_NAME, "The resource name is not valid."),
    ROW(VI_ERROR_INV_ACC_MODE, "The access mode is not valid."),
    ROW(VI_ERROR_TMO, "The timeout expired before the operation completed."),
    ROW(VI_ERROR_CLOSING_FAILED, "The object could not be closed."),
    ROW(VI_ERROR_INV_DEGREE, "The degree given is not valid."),
    ROW(VI_ERROR_INV_JOB_ID, "No pending asynchronous job of this session has this identifier."),
    ROW(VI_ERROR_NSUP_ATTR, "The attribute is not defined for this kind of object."),
    ROW(VI_ERROR_NSUP_ATTR_STATE, "The attribute does not accept this value."),
    ROW(VI_ERROR_ATTR_READONLY, "The attribute can be read but not written."),
    ROW(VI_ERROR_INV_LOCK_TYPE, "The lock type is not valid."),
    ROW(VI_ERROR_INV_ACCESS_KEY, "The access key does not match the shared lock held on the resource."),
    ROW(VI_ERROR_INV_EVENT, "The event type is not valid for this session."),
    ROW(VI_ERROR_INV_MECH, "The event mechanism is not valid."),
    ROW(VI_ERROR_HNDLR_NINSTALLED, "No handler is installed for this event type."),
    ROW(VI_ERROR_INV_HNDLR_REF, "The handler and user handle given are not installed for this event type."),
    ROW(VI_ERROR_INV_CONTEXT, "The event context is not valid."),
    ROW(VI_ERROR_QUEUE_OVERFLOW, "The event queue overflowed and an event was lost."),
    ROW(VI_ERROR_NENABLED, "The session must enable the event for the queue before waiting on it."),
    ROW(VI_ERROR_ABORT, "The operation was stopped by a request to end it."),
    ROW(VI_ERROR_RAW_WR_PROT_VIOL, "The device broke the protocol while data was written."),
    ROW(VI_ERROR_RAW_RD_PROT_VIOL, "The device broke the protocol while data was read."),
    ROW(VI_ERROR_OUTP_PROT_VIOL, "The device reported an output protocol error."),
    ROW(VI_ERROR_INP_PROT_VIOL, "The device reported an input protocol error."),
    ROW(VI_ERROR_BERR, "A bus error occurred during the transfer."),
    ROW(VI_ERROR_IN_PROGRESS, "Another operation of this kind is still running."),
    ROW(VI_ERROR_INV_SETUP, "The operation cannot start with the current settings of the session."),
    ROW(VI_ERROR_QUEUE_ERROR, "The request could not be queued."),
    ROW(VI_ERROR_ALLOC, "Not enough memory for the operation."),
    ROW(VI_ERROR_INV_MASK, "The buffer mask is not valid."),
    ROW(VI_ERROR_IO, "An input or output error occurred."),
    ROW(VI_ERROR_INV_FMT, "The format specifier is not valid."),
    ROW(VI_ERROR_NSUP_FMT, "The format specifier is not supported."),
    ROW(VI_ERROR_LINE_IN_USE, "The trigger line is already in use."),
    ROW(VI_ERROR_NSUP_MODE, "The mode is not supported by this resource."),
    ROW(VI_ERROR_SRQ_NOCCURRED, "No service request is pending."),
    ROW(VI_ERROR_INV_SPACE, "The address space is not valid."),
    ROW(VI_ERROR_INV_OFFSET, "The offset is not valid."),
    ROW(VI_ERROR_INV_WIDTH, "The access width is not valid."),
    ROW(VI_ERROR_NSUP_OFFSET, "The offset cannot be reached from this session."),
    ROW(VI_ERROR_NSUP_VAR_WIDTH, "Different source and destination widths are not supported."),
    ROW(VI_ERROR_WINDOW_NMAPPED, "No window is mapped for this session."),
    ROW(VI_ERROR_RESP_PENDING, "An earlier response is still waiting to be read."),
    ROW(VI_ERROR_NLISTENERS, "No device is listening on the bus."),
    ROW(VI_ERROR_NCIC, "The interface is not the controller in charge."),
    ROW(VI_ERROR_NSYS_CNTLR, "The interface is not the system controller."),
    ROW(VI_ERROR_NSUP_OPER, "This resource does not support the operation."),
    ROW(VI_ERROR_INTR_PENDING, "An interrupt is still pending from an earlier call."),
    ROW(VI_ERROR_ASRL_PARITY, "A parity error occurred during the serial transfer."),
    ROW(VI_ERROR_ASRL_FRAMING, "A framing error occurred during the serial transfer."),
    ROW(VI_ERROR_ASRL_OVERRUN, "Serial data arrived before the previous character was taken and was lost."),
    ROW(VI_ERROR_TRIG_NMAPPED, "The trigger path is not mapped."),
    ROW(VI_ERROR_NSUP_ALIGN_OFFSET, "The offset is not aligned to the access width."),
    ROW(VI_ERROR_USER_BUF, "The user buffer cannot be used for this transfer."),
    ROW(VI_ERROR_RSRC_BUSY, "The resource is valid but cannot be accessed now."),
    ROW(VI_ERROR_NSUP_WIDTH, "The access width is not supported by this resource."),
    ROW(VI_ERROR_INV_PARAMETER, "A parameter is not valid."),
    ROW(VI_ERROR_INV_PROT, "The protocol is not valid."),
    ROW(VI_ERROR_INV_SIZE, "The size is not valid."),
    ROW(VI_ERROR_WINDOW_MAPPED, "A window is already mapped for this session."),
    ROW(VI_ERROR_NIMPL_OPER, "The operation is not implemented."),
    ROW(VI_ERROR_INV_LENGTH, "The length is not valid."),
    ROW(VI_ERROR_INV_MODE, "The mode is not valid."),
    ROW(VI_ERROR_SESN_NLOCKED, "This session holds no lock on the resource."),
    ROW(VI_ERROR_MEM_NSHARED, "The device does not export memory."),
    ROW(VI_ERROR_LIBRARY_NFOUND, "A library that the operation needs could not be found."),
    ROW(VI_ERROR_NSUP_INTR, "The interface cannot generate this interrupt."),
    ROW(VI_ERROR_INV_LINE, "The line is not valid."),
    ROW(VI_ERROR_FILE_ACCESS, "The file could not be opened."),
    ROW(VI_ERROR_FILE_IO, "An error occurred while reading or writing the file."),
    ROW(VI_ERROR_NSUP_LINE, "The line is not supported by this resource."),
    ROW(VI_ERROR_NSUP_MECH, "The event mechanism is not supported for this event type."),
    ROW(VI_ERROR_INTF_NUM_NCONFIG, "The interface number is not configured."),
    ROW(VI_ERROR_CONN_LOST, "The connection to the resource was lost."),
    ROW(VI_ERROR_MACHINE_NAVAIL, "The remote machine does not exist or does not accept connections."),
    ROW(VI_ERROR_NPERMISSION, "Access to the remote machine is denied."),
};

#undef ROW

}  // namespace

const StatusInfo* findStatus(ViStatus status) {
    for (const StatusInfo& s : kStatuses) {
        if (s.status == status) return &s;
    }
    return nullptr;
}

const StatusInfo* findStatusByName(const char* name) {
    if (!name) return nullptr;
    for (const StatusInfo& s : kStatuses) {
        if (std::strcmp(s.name, name) == 0) return &s;
    }
    return nullptr;
}

const StatusInfo* statusTable(int* count) {
    if (count) *count = static_cast<int>(std::size(kStatuses));
    return kStatuses;
}

}  // namespace zuvisa
