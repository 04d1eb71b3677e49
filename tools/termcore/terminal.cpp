#include "tools/termcore/terminal.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "toolslib/toolbox/escaped.h"

namespace {

constexpr ViUInt32 kMaxReadSize = 1 << 20;

void appendShown(void* context, const char* piece, size_t length) {
    static_cast<std::string*>(context)->append(piece, length);
}

// Bytes as escaped text, ending with a line break.
void showBytes(const unsigned char* bytes, size_t count, std::string* out) {
    size_t from = out->size();
    EscText_Encode(bytes, count, appendShown, out);
    if (out->size() == from || out->back() != '\n') out->push_back('\n');
}

std::string shownText(const std::string& bytes) {
    std::string out;
    EscText_Encode(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), appendShown,
                   &out);
    if (!out.empty() && out.back() == '\n') out.pop_back();
    return out;
}

std::string decoded(const std::string& typed) {
    std::string text = typed;
    text.push_back('\0');
    size_t n = EscText_Decode(text.data());
    text.resize(n);
    return text;
}

void closeSession(TermState* s) {
    if (s->vi != VI_NULL) viClose(s->vi);
    s->vi = VI_NULL;
    s->rsrcName.clear();
}

bool writeBytes(TermState* s, const std::string& bytes, std::string* out) {
    ViUInt32 written = 0;
    ViStatus st = viWrite(s->vi, reinterpret_cast<ViConstBuf>(bytes.data()),
                          static_cast<ViUInt32>(bytes.size()), &written);
    if (!Term_Report(s, "viWrite", st, out)) return false;
    if (written != bytes.size()) {
        out->append("(" + std::to_string(written) + " of " + std::to_string(bytes.size()) +
                    " bytes written)\n");
    }
    return true;
}

// One read of up to readSize bytes, shown; quietTimeout shows a timeout as "no reply".
void readReply(TermState* s, bool quietTimeout, std::string* out) {
    std::vector<unsigned char> buffer(s->readSize);
    ViUInt32 count = 0;
    ViStatus st = viRead(s->vi, buffer.data(), s->readSize, &count);
    if (st == VI_ERROR_TMO && quietTimeout && count == 0) {
        out->append("(no reply)\n");
        return;
    }
    if (count > 0) showBytes(buffer.data(), count, out);
    if (st == VI_SUCCESS_MAX_CNT) {
        out->append("(" + std::to_string(count) + " bytes; more may follow: /read)\n");
    } else if (st != VI_SUCCESS_TERM_CHAR) {
        Term_Report(s, "viRead", st, out);
    }
}

bool looksLikeQuery(std::string bytes) {
    while (!bytes.empty() && (bytes.back() == '\n' || bytes.back() == '\r' || bytes.back() == ' ' ||
                              bytes.back() == '\t'))
        bytes.pop_back();
    return !bytes.empty() && bytes.back() == '?';
}

// A typed line: written with the line end, then a reply read as /autoread says.
void sendLine(TermState* s, const std::string& typed, bool forceRead, std::string* out) {
    if (!Term_NeedSession(s, out)) return;
    std::string bytes = decoded(typed);
    bool hasEnd = bytes.size() >= s->eol.size() &&
                  bytes.compare(bytes.size() - s->eol.size(), s->eol.size(), s->eol) == 0;
    if (!hasEnd) bytes += s->eol;
    if (!writeBytes(s, bytes, out)) return;
    bool read = forceRead || s->autoRead == AutoRead::Always ||
                (s->autoRead == AutoRead::Queries && looksLikeQuery(bytes));
    if (read) readReply(s, s->autoRead == AutoRead::Always && !forceRead, out);
}

void cmdOpen(TermState* s, const std::string& args, std::string* out) {
    std::vector<std::string> w = Term_Words(args);
    if (w.size() != 1) return Term_Fail(s, "usage: /open RESOURCE", out);
    if (w[0].size() >= VI_FIND_BUFLEN)
        return Term_Fail(s, "resource names have at most 255 characters", out);
    closeSession(s);
    ViSession vi = VI_NULL;
    ViStatus st = viOpen(s->rm, w[0].c_str(), VI_NULL, VI_NULL, &vi);
    if (!Term_Report(s, "viOpen", st, out)) return;
    s->vi = vi;
    s->rsrcName = w[0];
    ViUInt32 timeout = 0;
    std::string detail;
    if (viGetAttribute(vi, VI_ATTR_TMO_VALUE, &timeout) >= 0)
        detail = timeout == VI_TMO_INFINITE ? " (no timeout)"
                                            : " (timeout " + std::to_string(timeout) + " ms)";
    out->append("Opened " + w[0] + detail + ".\n");
}

void cmdClose(TermState* s, const std::string&, std::string* out) {
    if (!Term_NeedSession(s, out)) return;
    out->append("Closed " + s->rsrcName + ".\n");
    closeSession(s);
}

void cmdFind(TermState* s, const std::string& args, std::string* out) {
    std::string expr = args.empty() ? s->tool->defaultFind : args;
    if (expr.size() >= VI_FIND_BUFLEN)
        return Term_Fail(s, "find expressions have at most 255 characters", out);
    ViFindList list = VI_NULL;
    ViUInt32 count = 0;
    char name[VI_FIND_BUFLEN] = "";
    ViStatus st = viFindRsrc(s->rm, expr.c_str(), &list, &count, name);
    if (st == VI_ERROR_RSRC_NFOUND) {
        out->append("No resource matches " + expr + ".\n");
        return;
    }
    if (!Term_Report(s, "viFindRsrc", st, out)) return;
    out->append(std::string(name) + "\n");
    ViUInt32 shown = 1;
    for (; shown < count; ++shown) {
        if (!Term_Report(s, "viFindNext", viFindNext(list, name), out)) break;
        out->append(std::string(name) + "\n");
    }
    viClose(list);
    out->append(std::to_string(shown) + (shown == 1 ? " resource" : " resources") +
                (shown < count ? " of " + std::to_string(count) + ".\n" : std::string(".\n")));
}

void cmdWrite(TermState* s, const std::string& args, std::string* out) {
    if (!Term_NeedSession(s, out)) return;
    std::string bytes = decoded(args);
    if (bytes.empty())
        return Term_Fail(s, "usage: /write TEXT (written as typed, without a line end)", out);
    if (writeBytes(s, bytes, out))
        out->append("Wrote " + std::to_string(bytes.size()) +
                    (bytes.size() == 1 ? " byte.\n" : " bytes.\n"));
}

void cmdRead(TermState* s, const std::string& args, std::string* out) {
    if (!Term_NeedSession(s, out)) return;
    ViUInt32 saved = s->readSize;
    if (!args.empty()) {
        unsigned long long n = 0;
        if (!Term_ParseNumber(args, kMaxReadSize, &n) || n == 0)
            return Term_Fail(
                s, "usage: /read [COUNT], COUNT from 1 to " + std::to_string(kMaxReadSize), out);
        s->readSize = static_cast<ViUInt32>(n);
    }
    readReply(s, false, out);
    s->readSize = saved;
}

void cmdQuery(TermState* s, const std::string& args, std::string* out) {
    if (args.empty()) return Term_Fail(s, "usage: /query TEXT", out);
    sendLine(s, args, true, out);
}

void cmdTimeout(TermState* s, const std::string& args, std::string* out) {
    if (!Term_NeedSession(s, out)) return;
    if (!args.empty()) {
        unsigned long long ms = 0;
        if (args == "inf" || args == "infinite")
            ms = VI_TMO_INFINITE;
        else if (!Term_ParseNumber(args, 0xFFFFFFFEull, &ms))
            return Term_Fail(s, "usage: /timeout [MILLISECONDS|inf]", out);
        if (!Term_Report(s, "viSetAttribute",
                         viSetAttribute(s->vi, VI_ATTR_TMO_VALUE, static_cast<ViAttrState>(ms)),
                         out))
            return;
    }
    ViUInt32 timeout = 0;
    if (!Term_Report(s, "viGetAttribute", viGetAttribute(s->vi, VI_ATTR_TMO_VALUE, &timeout), out))
        return;
    out->append(timeout == VI_TMO_INFINITE ? std::string("Timeout: none (waits for ever).\n")
                                           : "Timeout: " + std::to_string(timeout) + " ms.\n");
}

void cmdStb(TermState* s, const std::string&, std::string* out) {
    if (!Term_NeedSession(s, out)) return;
    ViUInt16 stb = 0;
    if (!Term_Report(s, "viReadSTB", viReadSTB(s->vi, &stb), out)) return;
    char text[64];
    std::snprintf(text, sizeof text, "Status byte: 0x%02X (%u)\n", stb, stb);
    out->append(text);
}

void cmdClear(TermState* s, const std::string&, std::string* out) {
    if (!Term_NeedSession(s, out)) return;
    if (Term_Report(s, "viClear", viClear(s->vi), out)) out->append("Cleared.\n");
}

void cmdTrigger(TermState* s, const std::string&, std::string* out) {
    if (!Term_NeedSession(s, out)) return;
    if (Term_Report(s, "viAssertTrigger", viAssertTrigger(s->vi, VI_TRIG_PROT_DEFAULT), out))
        out->append("Triggered.\n");
}

void cmdEol(TermState* s, const std::string& args, std::string* out) {
    if (args == "none")
        s->eol.clear();
    else if (!args.empty())
        s->eol = decoded(args);
    out->append("Typed lines end with " +
                (s->eol.empty() ? std::string("nothing") : shownText(s->eol)) + ".\n");
}

void cmdAutoRead(TermState* s, const std::string& args, std::string* out) {
    static const struct {
        const char* word;
        AutoRead mode;
        const char* meaning;
    } modes[] = {
        {"off", AutoRead::Off, "Typed lines are only written."},
        {"queries", AutoRead::Queries, "A reply is read after a typed line that ends with \"?\"."},
        {"always", AutoRead::Always, "A reply is read after every typed line."},
    };
    bool known = args.empty();
    for (const auto& m : modes) {
        if (args == m.word) {
            s->autoRead = m.mode;
            known = true;
        }
    }
    if (!known) return Term_Fail(s, "usage: /autoread [off|queries|always]", out);
    for (const auto& m : modes)
        if (m.mode == s->autoRead) out->append(std::string(m.meaning) + "\n");
}

void cmdHelp(TermState* s, const std::string&, std::string* out) {
    out->append(Term_Help(*s->tool));
}

void cmdQuit(TermState* s, const std::string&, std::string*) {
    s->quit = true;
}

const TermCommand kCommon[] = {
    {"open", "RESOURCE", "open a session (closing the one open)", cmdOpen},
    {"close", "", "close the session", cmdClose},
    {"find", "[EXPRESSION]", "list resources (viFindRsrc)", cmdFind},
    {"list", "[EXPRESSION]", "the same as /find", cmdFind},
    {"write", "TEXT", "write TEXT exactly, without a line end", cmdWrite},
    {"read", "[COUNT]", "read a reply (up to COUNT bytes)", cmdRead},
    {"query", "TEXT", "write TEXT with the line end and read the reply", cmdQuery},
    {"timeout", "[MS|inf]", "show or set the timeout", cmdTimeout},
    {"stb", "", "read the status byte (viReadSTB)", cmdStb},
    {"clear", "", "clear the device (viClear)", cmdClear},
    {"trigger", "", "send a trigger (viAssertTrigger)", cmdTrigger},
    {"eol", "[TEXT|none]", "show or set the line end put behind typed lines", cmdEol},
    {"autoread", "[off|queries|always]", "when to read a reply after a typed line", cmdAutoRead},
    {"help", "", "this text", cmdHelp},
    {"quit", "", "leave (also /exit or Ctrl-D)", cmdQuit},
    {"exit", "", "", cmdQuit},
    {nullptr, nullptr, nullptr, nullptr},
};

const TermCommand* findCommand(const TermCommand* table, const std::string& name) {
    for (const TermCommand* c = table; c && c->name; ++c)
        if (name == c->name) return c;
    return nullptr;
}

void appendCommandHelp(const TermCommand* table, std::string* out) {
    for (const TermCommand* c = table; c && c->name; ++c) {
        if (!*c->help) continue;
        std::string usage = std::string("  /") + c->name + (*c->args ? " " : "") + c->args;
        if (usage.size() < 30)
            usage.append(30 - usage.size(), ' ');
        else
            usage += "  ";
        out->append(usage + c->help + "\n");
    }
}

}  // namespace

const TermTool kGpibTerminal = {
    "gpterm",           "a line-oriented terminal to GPIB and other message-based VISA instruments",
    "?*INSTR",          nullptr,
    "GPIB0::22::INSTR",
};

bool Term_Start(TermState* state, const TermTool& tool, std::string* out) {
    state->tool = &tool;
    ViStatus st = viOpenDefaultRM(&state->rm);
    if (st < 0) {
        char text[64];
        std::snprintf(text, sizeof text, "viOpenDefaultRM: 0x%08X", static_cast<unsigned>(st));
        out->append(std::string(text) + ": the VISA resource manager could not be opened.\n");
        state->rm = VI_NULL;
        return false;
    }
    Term_Report(state, "viOpenDefaultRM", st, out);
    return true;
}

void Term_Stop(TermState* state) {
    closeSession(state);
    if (state->rm != VI_NULL) viClose(state->rm);
    state->rm = VI_NULL;
}

void Term_RunLine(TermState* state, const std::string& line, std::string* out) {
    state->failed = false;
    size_t start = line.find_first_not_of(" \t");
    if (start == std::string::npos) return;  // an empty line does nothing
    if (line[start] != '/') return sendLine(state, line, false, out);
    size_t nameEnd = line.find_first_of(" \t", start);
    std::string name = line.substr(
        start + 1, nameEnd == std::string::npos ? std::string::npos : nameEnd - start - 1);
    std::string args;
    if (nameEnd != std::string::npos) {
        size_t from = line.find_first_not_of(" \t", nameEnd);
        if (from != std::string::npos) args = line.substr(from);
    }
    const TermCommand* c = findCommand(state->tool->commands, name);
    if (!c) c = findCommand(kCommon, name);
    if (!c) return Term_Fail(state, "unknown command /" + name + ": /help lists the commands", out);
    c->run(state, args, out);
}

std::string Term_Prompt(const TermState& state) {
    return (state.vi != VI_NULL ? state.rsrcName : std::string(state.tool->name)) + "> ";
}

std::string Term_Help(const TermTool& tool) {
    std::string h =
        std::string("Usage: ") + tool.name + " [RESOURCE]\n" + tool.name + ": " + tool.purpose +
        ".\n\n" +
        "Each line typed is written to the open resource in escaped text, followed by the line "
        "end\n"
        "(\\n unless /eol says otherwise); a reply is read after a line that ends with \"?\" (see\n"
        "/autoread) and shown in escaped text. Escapes: \\n \\r \\t \\a \\b \\f \\v \\\\, \\ and "
        "up to three\n"
        "decimal digits (\\65 is A), \\o and up to three octal digits, \\x and two hexadecimal "
        "digits;\n"
        "\\/ starts a line with a slash. Lines that start with / are commands:\n\n";
    appendCommandHelp(kCommon, &h);
    if (tool.commands) {
        h += "\nFor VXI devices:\n";
        appendCommandHelp(tool.commands, &h);
    }
    h += std::string("\nOn a terminal, Up and Down recall earlier lines, kept in ~/.") + tool.name +
         "_history.\nExample: " + tool.name + " " + tool.exampleResource +
         ", then *IDN? and Enter.\nThe VISA library is $TALMIK_VISA_LIBRARY, else the system's "
         "libvisa.so, else the\n"
         "bundled ZU-VISA beside the program.\n";
    return h;
}

bool Term_NeedSession(TermState* state, std::string* out) {
    if (state->vi != VI_NULL) return true;
    Term_Fail(state, "no session: /open RESOURCE first (/find lists them)", out);
    return false;
}

bool Term_Report(TermState* state, const char* operation, ViStatus status, std::string* out) {
    if (status == VI_SUCCESS) return true;
    char desc[256] = "";
    ViObject about = state->vi != VI_NULL ? state->vi : state->rm;
    if (viStatusDesc(about, status, desc) < 0) desc[0] = '\0';
    desc[sizeof desc - 1] = '\0';
    char code[48];
    std::snprintf(code, sizeof code, ": 0x%08X ", static_cast<unsigned>(status));
    out->append(std::string(status < 0 ? "error: " : "") + operation + code + desc + "\n");
    if (status < 0) state->failed = true;
    return status >= 0;
}

bool Term_ParseNumber(const std::string& typed, unsigned long long max, unsigned long long* value) {
    size_t from = typed.find_first_not_of(" \t"), to = typed.find_last_not_of(" \t");
    std::string text =
        from == std::string::npos ? std::string() : typed.substr(from, to - from + 1);
    if (text.empty() || text.size() > 20 || text[0] == '-' || text[0] == '+' || text[0] == ' ')
        return false;
    bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    char* end = nullptr;
    errno = 0;
    unsigned long long v = std::strtoull(text.c_str(), &end, hex ? 16 : 10);
    if (errno || *end || v > max || (hex && text.size() == 2)) return false;
    *value = v;
    return true;
}

std::vector<std::string> Term_Words(const std::string& text) {
    std::vector<std::string> words;
    size_t i = 0;
    while ((i = text.find_first_not_of(" \t", i)) != std::string::npos) {
        size_t end = text.find_first_of(" \t", i);
        words.push_back(text.substr(i, end - i));
        i = end;
    }
    return words;
}

void Term_Fail(TermState* state, const std::string& message, std::string* out) {
    out->append("error: " + message + "\n");
    state->failed = true;
}
