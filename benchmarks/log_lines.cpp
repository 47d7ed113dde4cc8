// log_lines THREADS LINES: writes so many lines in all into the log, from so many threads.
// CORVIDPRO_ROOT chooses the log.

#include "runtime/maro_log.h"

#include <cstdlib>
#include <thread>
#include <vector>

int main(int argc, char** argv) {
    const long count = argc > 1 ? std::strtol(argv[1], nullptr, 10) : 1;
    const long lines = argc > 2 ? std::strtol(argv[2], nullptr, 10) : 0;
    initializeAndDetermineMaroLogging("bench.log", "/tmp");
    std::vector<std::thread> threads;
    for (long number = 0; number < count; ++number) {
        const long share = lines / count + (number < lines % count ? 1 : 0);
        threads.emplace_back([number, share] {
            for (long line = 0; line < share; ++line) {
                maro_log("Thread %ld reports line %ld of %ld", number, line, share);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    return 0;
}
