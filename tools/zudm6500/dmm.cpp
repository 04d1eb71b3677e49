#include "tools/zudm6500/dmm.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>

const DmmFunction kDmmFunctions[] = {
    {"VOLT:DC", "V DC"}, {"VOLT:AC", "V AC"}, {"CURR:DC", "A DC"},
    {"RES", "Ohm"},      {nullptr, nullptr},
};

namespace {

bool parseNumber(const std::string& text, double* value) {
    if (text.empty() || text.size() > 64) return false;
    char* end = nullptr;
    errno = 0;
    double v = std::strtod(text.c_str(), &end);
    if (errno || *end || end == text.c_str()) return false;
    *value = v;
    return true;
}

}  // namespace

const DmmFunction* Dmm_FindFunction(const std::string& command) {
    for (const DmmFunction* f = kDmmFunctions; f->command; ++f)
        if (command == f->command) return f;
    return nullptr;
}

ViStatus Dmm_Connect(DmmLink* link, const std::string& resource, std::string* identity) {
    Dmm_Disconnect(link);
    if (resource.empty() || resource.size() >= VI_FIND_BUFLEN) return VI_ERROR_INV_RSRC_NAME;
    ViStatus st = viOpenDefaultRM(&link->rm);
    if (st < 0) {
        link->rm = VI_NULL;
        return st;
    }
    st = viOpen(link->rm, resource.c_str(), VI_NULL, VI_NULL, &link->vi);
    if (st < 0) {
        link->vi = VI_NULL;
        Dmm_Disconnect(link);
        return st;
    }
    link->resource = resource;
    st = Dmm_Query(link, "*IDN?", identity);
    if (st < 0) Dmm_Disconnect(link);
    return st;
}

void Dmm_Disconnect(DmmLink* link) {
    if (link->vi != VI_NULL) viClose(link->vi);
    if (link->rm != VI_NULL) viClose(link->rm);
    link->vi = link->rm = VI_NULL;
    link->resource.clear();
}

bool Dmm_Connected(const DmmLink& link) {
    return link.vi != VI_NULL;
}

ViStatus Dmm_Send(DmmLink* link, const std::string& command) {
    if (!Dmm_Connected(*link)) return VI_ERROR_INV_OBJECT;
    std::string bytes = command + "\n";
    ViUInt32 written = 0;
    return viWrite(link->vi, reinterpret_cast<ViConstBuf>(bytes.data()),
                   static_cast<ViUInt32>(bytes.size()), &written);
}

ViStatus Dmm_Query(DmmLink* link, const std::string& query, std::string* reply) {
    reply->clear();
    ViStatus st = Dmm_Send(link, query);
    if (st < 0) return st;
    char buffer[kDmmMaxReply + 1];
    ViUInt32 count = 0;
    st = viRead(link->vi, reinterpret_cast<ViPBuf>(buffer), sizeof buffer, &count);
    if (st < 0) return st;
    if (count > kDmmMaxReply) {
        viClear(link->vi);  // drop the rest of an answer that no meter of this kind gives
        return VI_ERROR_IO;
    }
    reply->assign(buffer, count);
    while (!reply->empty() && (reply->back() == '\n' || reply->back() == '\r')) reply->pop_back();
    return VI_SUCCESS;
}

ViStatus Dmm_Measure(DmmLink* link, double* value, std::string* reply) {
    ViStatus st = Dmm_Query(link, "READ?", reply);
    if (st < 0) return st;
    return parseNumber(*reply, value) ? VI_SUCCESS : VI_ERROR_IO;
}

ViStatus Dmm_GetFunction(DmmLink* link, std::string* function) {
    return Dmm_Query(link, "FUNC?", function);
}

ViStatus Dmm_SetFunction(DmmLink* link, const std::string& function) {
    if (!Dmm_FindFunction(function)) return VI_ERROR_INV_PARAMETER;
    return Dmm_Send(link, "FUNC " + function);
}

ViStatus Dmm_GetRange(DmmLink* link, double* range) {
    std::string reply;
    ViStatus st = Dmm_Query(link, "RANG?", &reply);
    if (st < 0) return st;
    return parseNumber(reply, range) ? VI_SUCCESS : VI_ERROR_IO;
}

ViStatus Dmm_SetRange(DmmLink* link, double range) {
    char command[64];
    std::snprintf(command, sizeof command, "RANG %g", range);
    return Dmm_Send(link, command);
}

ViStatus Dmm_NextError(DmmLink* link, std::string* error) {
    ViStatus st = Dmm_Query(link, "SYST:ERR?", error);
    if (st >= 0 && (error->rfind("+0,", 0) == 0 || error->rfind("0,", 0) == 0)) error->clear();
    return st;
}

std::string Dmm_StatusText(const DmmLink& link, const char* what, ViStatus status) {
    char desc[256] = "";
    ViObject about = link.vi != VI_NULL ? link.vi : link.rm;
    ViSession own = VI_NULL;  // after a failed connection there is nothing to ask but a new manager
    if (about == VI_NULL && viOpenDefaultRM(&own) >= 0) about = own;
    if (viStatusDesc(about, status, desc) < 0) desc[0] = '\0';
    if (own != VI_NULL) viClose(own);
    desc[sizeof desc - 1] = '\0';
    char code[32];
    std::snprintf(code, sizeof code, "0x%08X", static_cast<unsigned>(status));
    return std::string(what) + ": " + code + (desc[0] ? std::string(" ") + desc : std::string());
}
