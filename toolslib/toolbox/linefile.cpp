#include "toolslib/toolbox/linefile.h"

#include <cctype>
#include <cstdio>
#include <new>

#include "toolslib/toolbox/diagnostics.h"

namespace {
constexpr int kBufferSize = 2048;
}

struct LineFileRecord {
    void* source;
    LineFileReadFunc read;
    char buffer[kBufferSize];
    int32_t bytesLeft;
    int32_t readPosition;
    int linesRead;
    int64_t totalBytesDelivered;
    char lastTerminator;
    int64_t offsetOfLastLine;
    int extraTerminatorChars;
    int charsInEmptyLines;
};

namespace {

bool isTerminator(char c) {
    return c == '\n' || c == '\r' || c == '\0';
}

// Next byte of the stream: 1 and the byte, 0 at the end, or a negative read code.
int nextChar(LineFile lf, char* c) {
    if (lf->bytesLeft <= 0) {
        int got = 0;
        int status = lf->read(lf->source, kBufferSize, &got, lf->buffer);
        if (status < 0) return status;
        if (got <= 0) return 0;
        if (got > kBufferSize) got = kBufferSize;  // a careless source never overruns us
        lf->bytesLeft = got;
        lf->readPosition = 0;
        lf->totalBytesDelivered += got;
    }
    *c = lf->buffer[lf->readPosition++];
    --lf->bytesLeft;
    return 1;
}

}  // namespace

int LineFile_ReadFromFile(void* stream, int numBytesWanted, int* numBytesRead, char* buffer) {
    FILE* file = static_cast<FILE*>(stream);
    size_t got = std::fread(buffer, 1, static_cast<size_t>(numBytesWanted), file);
    *numBytesRead = static_cast<int>(got);
    return std::ferror(file) ? ToolErr_ErrorReadingFile : 0;
}

LineFile LineFile_New(LineFileReadFunc readFunction, void* source) {
    LineFile lf = new (std::nothrow) LineFileRecord;
    if (!lf) return nullptr;
    lf->source = source;
    lf->read = readFunction ? readFunction : LineFile_ReadFromFile;
    lf->bytesLeft = 0;
    lf->readPosition = 0;
    lf->linesRead = 0;
    lf->totalBytesDelivered = 0;
    lf->lastTerminator = 0;
    lf->offsetOfLastLine = -1;
    lf->extraTerminatorChars = 0;
    lf->charsInEmptyLines = 0;
    return lf;
}

void LineFile_Dispose(LineFile lf) {
    delete lf;
}

int LineFile_Read(LineFile lf, char* buffer, int maxChars, int* length, int* endOfFile) {
    int stored = 0;
    bool eof = false;
    lf->offsetOfLastLine = lf->totalBytesDelivered - lf->bytesLeft;
    lf->extraTerminatorChars = 0;
    bool first = true;
    int status = 0;
    for (;;) {
        char c;
        int got = nextChar(lf, &c);
        if (got < 0) {
            status = got;
            break;
        }
        if (got == 0) {
            eof = stored == 0;
            if (!eof) ++lf->linesRead;
            break;
        }
        if (isTerminator(c)) {
            // The second half of a CR LF or LF CR pair belongs to the previous line.
            if (first && c != lf->lastTerminator) {
                ++lf->offsetOfLastLine;
                ++lf->extraTerminatorChars;
                first = false;
                continue;
            }
            lf->lastTerminator = c;
            ++lf->linesRead;
            break;
        }
        first = false;
        if (stored < maxChars) buffer[stored++] = c;
    }
    buffer[stored] = '\0';
    if (length) *length = stored;
    if (endOfFile) *endOfFile = eof;
    return status;
}

int LineFile_ReadNonEmpty(LineFile lf, char* buffer, int maxChars, int* length, int* endOfFile) {
    lf->charsInEmptyLines = 0;
    for (;;) {
        int len = 0, eof = 0;
        int status = LineFile_Read(lf, buffer, maxChars, &len, &eof);
        if (status < 0 || eof) {
            if (length) *length = len;
            if (endOfFile) *endOfFile = eof;
            return status;
        }
        bool blank = true;
        for (int i = 0; i < len && blank; ++i)
            blank = std::isspace(static_cast<unsigned char>(buffer[i])) != 0;
        if (!blank) {
            if (length) *length = len;
            if (endOfFile) *endOfFile = 0;
            return 0;
        }
        lf->charsInEmptyLines += len + 1 + lf->extraTerminatorChars;
    }
}

int LineFile_NumLinesRead(LineFile lf) {
    return lf->linesRead;
}
int64_t LineFile_OffsetOfLastLine(LineFile lf) {
    return lf->offsetOfLastLine;
}
int LineFile_NumExtraLineTermChars(LineFile lf) {
    return lf->extraTerminatorChars;
}
int LineFile_NumCharsInEmptyLines(LineFile lf) {
    return lf->charsInEmptyLines;
}
