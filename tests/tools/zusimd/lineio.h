// What the front-end tests share: their data files, and reading one line-terminated answer
// from a socket or a terminal within a time limit.
#pragma once

#include <poll.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <string>

namespace zusimd {

inline std::string data(const std::string& file) {
    const char* dir = getenv("TALMIK_TEST_DATA");
    return std::string(dir ? dir : ".") + "/" + file;
}

// Bytes up to and with the first line feed; less when the time runs out or the peer closes.
inline std::string answer(int fd, int ms = 2000) {
    std::string got;
    auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
    while (got.empty() || got.back() != '\n') {
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            end - std::chrono::steady_clock::now());
        pollfd p{fd, POLLIN, 0};
        if (left.count() <= 0 || poll(&p, 1, static_cast<int>(left.count())) <= 0) break;
        char c;  // one byte at a time, so that a second answer stays for the next call
        if (read(fd, &c, 1) != 1) break;
        got += c;
    }
    return got;
}

}  // namespace zusimd
