#include "tools/termcore/termmain.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "tools/termcore/console.h"
#include "visalib/visalib.h"

int Term_Main(int argc, char** argv, const TermTool& tool) {
    std::string resource;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0) {
            std::fputs(Term_Help(tool).c_str(), stdout);
            return 0;
        }
        if (argv[i][0] == '-' || !resource.empty()) {
            std::fprintf(
                stderr,
                "%s: unexpected argument \"%s\"\nUsage: %s [RESOURCE]; %s --help tells more.\n",
                tool.name, argv[i], tool.name, tool.name);
            return 2;
        }
        resource = argv[i];
    }
    if (VisaLib_Load() != 0) {
        std::fprintf(stderr, "%s: %s\n", tool.name, VisaLib_Error());
        return 1;
    }
    TermState state;
    std::string out;
    if (!Term_Start(&state, tool, &out)) {
        std::fprintf(stderr, "%s: %s", tool.name, out.c_str());
        return 1;
    }
    Console console;
    const char* home = std::getenv("HOME");
    Console_Open(&console, STDIN_FILENO, STDOUT_FILENO,
                 home && *home ? std::string(home) + "/." + tool.name + "_history" : std::string());
    if (console.terminal) {
        out.insert(
            0, std::string(tool.name) + ": " + tool.purpose + ".\nVISA library: " + VisaLib_Path() +
                   "\n/help lists the commands, /find the resources; /quit or Ctrl-D leaves.\n");
    }
    if (!resource.empty()) Term_RunLine(&state, "/open " + resource, &out);
    Console_Write(&console, out);
    while (!state.quit) {
        std::string line;
        ReadResult r = Console_ReadLine(&console, Term_Prompt(state), &line);
        if (r == ReadResult::EndOfInput || r == ReadResult::Error) break;
        out.clear();
        if (r == ReadResult::TooLong)
            out = "error: a line longer than " + std::to_string(kMaxEditLine) +
                  " characters was ignored\n";
        else
            Term_RunLine(&state, line, &out);
        if (!Console_Write(&console, out)) break;
    }
    Term_Stop(&state);
    Console_Close(&console);
    return 0;
}
