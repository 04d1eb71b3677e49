// The exported formatted I/O operations: viPrintf, viScanf, viQueryf, their string forms and
// their va_list forms, on the session's formatted I/O buffers (shared with viBufWrite and
// viBufRead and governed by VI_ATTR_WR_BUF_OPER_MODE and VI_ATTR_RD_BUF_OPER_MODE).
#include <cstdarg>
#include <cstring>

#include "zuvisa/entry.h"
#include "zuvisa/formatio.h"
#include "zuvisa/session.h"

using namespace zuvisa;

namespace {

using fmtio::Size;

class VaArgs : public fmtio::ArgSource {
public:
    explicit VaArgs(va_list ap) { va_copy(ap_, ap); }
    ~VaArgs() override { va_end(ap_); }
    VaArgs(const VaArgs&) = delete;
    VaArgs& operator=(const VaArgs&) = delete;

    int64_t integer(Size s) override { return s == Size::LongLong ? va_arg(ap_, long long) : va_arg(ap_, int); }
    double real() override { return va_arg(ap_, double); }
    long double longReal() override { return va_arg(ap_, long double); }
    const void* input(size_t) override { return va_arg(ap_, const void*); }
    void* output(size_t) override { return va_arg(ap_, void*); }
    const char* text() override { return va_arg(ap_, const char*); }

private:
    va_list ap_;
};

// The session's read buffer, refilled from the device until the message ends.
class SessionSource : public fmtio::ByteSource {
public:
    explicit SessionSource(Session& s) : s_(s), mayEnd_(s.readPos < s.readEnd) {
        // The white space that ended an earlier message (its newline) is not a message of its
        // own: a scan starts with the next one.
        if (mayEnd_ && readMessageEnded(s)) {
            size_t p = s.readPos;
            while (p < s.readEnd && strchr(" \t\r\n", s.readBuf[p])) ++p;
            if (p == s.readEnd) {
                s.readPos = s.readEnd;
                mayEnd_ = false;
            }
        }
    }

    int peek() override {
        if (s_.readPos < s_.readEnd) return s_.readBuf[s_.readPos];
        if (done_) return -1;
        // What is left of an earlier fill belongs to its message; a drained buffer whose fill
        // ended the message (or failed) ends this input.
        if (mayEnd_ && (readMessageEnded(s_) || s_.readFillStatus < 0)) {
            if (s_.readFillStatus < 0) error_ = s_.readFillStatus;
            done_ = true;
            return -1;
        }
        ViStatus rs = fillReadLocked(s_);
        mayEnd_ = true;
        if (s_.readEnd == 0) {
            if (rs < 0) error_ = rs;
            done_ = true;
            return -1;
        }
        return s_.readBuf[s_.readPos];
    }
    void next() override {
        if (s_.readPos < s_.readEnd) ++s_.readPos;
    }
    ViStatus error() const override { return error_; }

private:
    Session& s_;
    bool mayEnd_;
    bool done_ = false;
    ViStatus error_ = VI_SUCCESS;
};

class TextSource : public fmtio::ByteSource {
public:
    explicit TextSource(std::string_view text) : text_(text) {}
    int peek() override { return pos_ < text_.size() ? static_cast<unsigned char>(text_[pos_]) : -1; }
    void next() override {
        if (pos_ < text_.size()) ++pos_;
    }
    ViStatus error() const override { return VI_SUCCESS; }

private:
    std::string_view text_;
    size_t pos_ = 0;
};

ViStatus parse(ViConstString format, bool forInput, std::vector<fmtio::Piece>* pieces) {
    if (!format) return VI_ERROR_USER_BUF;
    size_t len = strnlen(format, fmtio::kMaxFormatLength + 1);
    return fmtio::parseFormat(std::string_view(format, len), forInput, pieces);
}

// Formats and hands the bytes to the write buffer; each "\n" of the format sends what the
// buffer holds with END, and VI_FLUSH_ON_ACCESS sends the rest when the call ends.
ViStatus printLocked(Session& s, const std::vector<fmtio::Piece>& pieces, fmtio::ArgSource& args) {
    fmtio::Output out;
    ViStatus st = fmtio::formatOutput(pieces, args, &out);
    if (st != VI_SUCCESS) return st;
    const ViByte* bytes = reinterpret_cast<const ViByte*>(out.bytes.data());
    size_t from = 0, done = 0;
    for (size_t end : out.ends) {
        if ((st = bufferWriteLocked(s, bytes + from, end - from, &done)) < 0) return st;
        if ((st = flushWriteLocked(s, true)) < 0) return st;
        from = end;
    }
    if ((st = bufferWriteLocked(s, bytes + from, out.bytes.size() - from, &done)) < 0) return st;
    if (s.attrs.numberOr(VI_ATTR_WR_BUF_OPER_MODE, VI_FLUSH_WHEN_FULL) == VI_FLUSH_ON_ACCESS) {
        return flushWriteLocked(s, true);
    }
    return VI_SUCCESS;
}

// Output still waiting in the write buffer goes first, since it may be what the device answers.
ViStatus scanLocked(Session& s, const std::vector<fmtio::Piece>& pieces, fmtio::ArgSource& args) {
    ViStatus st = flushWriteLocked(s, true);
    if (st < 0) return st;
    SessionSource source(s);
    int assigned = 0;
    st = fmtio::scanInput(pieces, args, source, &assigned);
    if (s.attrs.numberOr(VI_ATTR_RD_BUF_OPER_MODE, VI_FLUSH_DISABLE) == VI_FLUSH_ON_ACCESS) {
        ViStatus fs = flushReadLocked(s, true);
        if (st >= 0 && fs < 0) st = fs;
    }
    return st;
}

template <typename F>
ViStatus withIo(Session& s, F&& f) {
    if (!(s.kind & kMessageKinds)) return VI_ERROR_NSUP_OPER;
    ViStatus st = checkAccess(s);
    if (st < 0) return st;
    std::lock_guard<std::mutex> io(s.ioMutex);
    return f();
}

}  // namespace

ZU_API ViStatus viVPrintf(ViSession vi, ViConstString writeFmt, ViVAList params) {
    return onSession("viPrintf", vi, [&](Session& s) -> ViStatus {
        std::vector<fmtio::Piece> pieces;
        ViStatus st = parse(writeFmt, false, &pieces);
        if (st != VI_SUCCESS) return st;
        VaArgs args(params);
        return withIo(s, [&] { return printLocked(s, pieces, args); });
    });
}

ZU_API ViStatus viPrintf(ViSession vi, ViConstString writeFmt, ...) {
    va_list ap;
    va_start(ap, writeFmt);
    ViStatus st = viVPrintf(vi, writeFmt, ap);
    va_end(ap);
    return st;
}

ZU_API ViStatus viVScanf(ViSession vi, ViConstString readFmt, ViVAList params) {
    return onSession("viScanf", vi, [&](Session& s) -> ViStatus {
        std::vector<fmtio::Piece> pieces;
        ViStatus st = parse(readFmt, true, &pieces);
        if (st != VI_SUCCESS) return st;
        VaArgs args(params);
        return withIo(s, [&] { return scanLocked(s, pieces, args); });
    });
}

ZU_API ViStatus viScanf(ViSession vi, ViConstString readFmt, ...) {
    va_list ap;
    va_start(ap, readFmt);
    ViStatus st = viVScanf(vi, readFmt, ap);
    va_end(ap);
    return st;
}

ZU_API ViStatus viVQueryf(ViSession vi, ViConstString writeFmt, ViConstString readFmt, ViVAList params) {
    return onSession("viQueryf", vi, [&](Session& s) -> ViStatus {
        std::vector<fmtio::Piece> out, in;
        ViStatus st = parse(writeFmt, false, &out);
        if (st == VI_SUCCESS) st = parse(readFmt, true, &in);
        if (st != VI_SUCCESS) return st;
        VaArgs args(params);
        return withIo(s, [&]() -> ViStatus {
            ViStatus ws = printLocked(s, out, args);
            if (ws < 0) return ws;
            return scanLocked(s, in, args);
        });
    });
}

ZU_API ViStatus viQueryf(ViSession vi, ViConstString writeFmt, ViConstString readFmt, ...) {
    va_list ap;
    va_start(ap, readFmt);
    ViStatus st = viVQueryf(vi, writeFmt, readFmt, ap);
    va_end(ap);
    return st;
}

ZU_API ViStatus viVSPrintf(ViSession vi, ViPBuf buf, ViConstString writeFmt, ViVAList params) {
    return onSession("viSPrintf", vi, [&](Session&) -> ViStatus {
        if (!buf) return VI_ERROR_USER_BUF;
        std::vector<fmtio::Piece> pieces;
        ViStatus st = parse(writeFmt, false, &pieces);
        if (st != VI_SUCCESS) return st;
        VaArgs args(params);
        fmtio::Output out;
        st = fmtio::formatOutput(pieces, args, &out);
        if (st != VI_SUCCESS) return st;
        std::memcpy(buf, out.bytes.data(), out.bytes.size());
        buf[out.bytes.size()] = '\0';
        return VI_SUCCESS;
    });
}

ZU_API ViStatus viSPrintf(ViSession vi, ViPBuf buf, ViConstString writeFmt, ...) {
    va_list ap;
    va_start(ap, writeFmt);
    ViStatus st = viVSPrintf(vi, buf, writeFmt, ap);
    va_end(ap);
    return st;
}

ZU_API ViStatus viVSScanf(ViSession vi, ViConstBuf buf, ViConstString readFmt, ViVAList params) {
    return onSession("viSScanf", vi, [&](Session&) -> ViStatus {
        if (!buf) return VI_ERROR_USER_BUF;
        std::vector<fmtio::Piece> pieces;
        ViStatus st = parse(readFmt, true, &pieces);
        if (st != VI_SUCCESS) return st;
        VaArgs args(params);
        const char* text = reinterpret_cast<const char*>(buf);
        TextSource source(std::string_view(text, strlen(text)));
        int assigned = 0;
        return fmtio::scanInput(pieces, args, source, &assigned);
    });
}

ZU_API ViStatus viSScanf(ViSession vi, ViConstBuf buf, ViConstString readFmt, ...) {
    va_list ap;
    va_start(ap, readFmt);
    ViStatus st = viVSScanf(vi, buf, readFmt, ap);
    va_end(ap);
    return st;
}
