#include "tools/termcore/console.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <thread>

namespace {

TEST(Console, LinesFromAPipe) {
    int p[2];
    ASSERT_EQ(pipe(p), 0);
    std::string input = "a\r\nb\n" + std::string(kMaxEditLine + 1, 'x') + "\n" +
                        std::string(kMaxEditLine, 'y') + "\n\n" + std::string(100000, 'z') + "\nc";
    // More than a pipe holds: written while the console reads.
    std::thread writer([&] {
        size_t done = 0;
        while (done < input.size()) {
            ssize_t n = write(p[1], input.data() + done, input.size() - done);
            if (n <= 0) break;
            done += static_cast<size_t>(n);
        }
        close(p[1]);
    });
    Console c;
    Console_Open(&c, p[0], STDOUT_FILENO, "/nonexistent/history");
    EXPECT_FALSE(c.terminal);
    const struct {
        ReadResult result;
        std::string line;
    } expected[] = {
        {ReadResult::Line, "a"},      {ReadResult::Line, "b"},
        {ReadResult::TooLong, ""},    {ReadResult::Line, std::string(kMaxEditLine, 'y')},
        {ReadResult::Line, ""},       {ReadResult::TooLong, ""},
        {ReadResult::Line, "c"},      {ReadResult::EndOfInput, ""},
        {ReadResult::EndOfInput, ""},
    };
    for (const auto& e : expected) {
        std::string line = "junk";
        EXPECT_EQ(Console_ReadLine(&c, "> ", &line), e.result);
        if (e.result != ReadResult::EndOfInput) {
            EXPECT_EQ(line, e.line);
        }
    }
    writer.join();
    close(p[0]);
    Console_Close(&c);
}

}  // namespace
