#pragma once

// What this process occupies, as the system counts it.

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace corvid::bench {

// A number of kilobytes from /proc/self/status by its name, such as "VmRSS:" (now) or "VmHWM:" (the
// most so far); 0 when there is none.
inline long ownKilobytes(const char* name) {
    std::FILE* status = std::fopen("/proc/self/status", "r");
    long kilobytes = 0;
    char line[256];
    while (status != nullptr && std::fgets(line, sizeof(line), status) != nullptr) {
        if (std::strncmp(line, name, std::strlen(name)) == 0) {
            kilobytes = std::strtol(line + std::strlen(name), nullptr, 10);
            break;
        }
    }
    if (status != nullptr) {
        std::fclose(status);
    }
    return kilobytes;
}

} // namespace corvid::bench
