// portconf: views and edits the ZU-VISA configuration file and lists what the library finds.
#pragma once

#include <string>
#include <vector>

namespace portconf {

// Runs one command line (without the program name). Output goes to out, problems to err;
// returns the process exit code.
int run(const std::vector<std::string>& args, std::string* out, std::string* err);

}  // namespace portconf
