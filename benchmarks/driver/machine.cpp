#include "benchmarks/driver/machine.h"

#include <QtGlobal>

#include <cstdlib>
#include <ctime>
#include <fstream>
#include <sstream>
#include <thread>

#include <sys/utsname.h>
#include <unistd.h>

namespace corvid::bench {

namespace {

// The value of the first line "name : value" of a file of /proc.
std::string procValue(const std::string& file, const std::string& name) {
    std::ifstream lines(file);
    for (std::string line; std::getline(lines, line);) {
        const std::size_t colon = line.find(':');
        if (line.rfind(name, 0) == 0 && colon != std::string::npos) {
            return line.substr(line.find_first_not_of(" \t", colon + 1));
        }
    }
    return "unknown";
}

// The type of the mount with the longest path that leads to the folder.
std::string fileSystemOf(const std::string& folder) {
    std::ifstream mounts("/proc/self/mounts");
    std::string type = "unknown";
    std::size_t longest = 0;
    for (std::string line; std::getline(mounts, line);) {
        std::istringstream fields(line);
        std::string device;
        std::string path;
        std::string name;
        fields >> device >> path >> name;
        const std::string below = path == "/" ? path : path + "/";
        if ((folder + "/").rfind(below, 0) == 0 && below.size() >= longest) {
            longest = below.size();
            type = name;
        }
    }
    return type;
}

std::string today() {
    const std::time_t now = std::time(nullptr);
    std::tm date{};
    char text[32] = {};
    ::localtime_r(&now, &date);
    static_cast<void>(std::strftime(text, sizeof(text), "%Y-%m-%d", &date));
    return text;
}

std::string loadAverage() {
    double average[1] = {};
    if (::getloadavg(average, 1) != 1) {
        return "unknown";
    }
    std::ostringstream text;
    text.precision(1);
    text << std::fixed << average[0];
    return text.str();
}

} // namespace

std::vector<std::string> describeMachine(const std::string& folder) {
    utsname system{};
    ::uname(&system);
    const long pages = ::sysconf(_SC_PHYS_PAGES);
    const long pageSize = ::sysconf(_SC_PAGESIZE);
    const long gibibytes = pages / ((1L << 30) / pageSize);
    return {"Date: " + today() + ", load of the last minute: " + loadAverage(),
            "Processor: " + std::to_string(std::thread::hardware_concurrency()) + " cores, " +
                procValue("/proc/cpuinfo", "model name"),
            "Memory: " + std::to_string(gibibytes) + " GiB",
            "System: " + std::string(system.sysname) + " " + system.release + ", " + system.machine,
            "File system: " + fileSystemOf(folder),
            std::string("Qt ") + qVersion()};
}

} // namespace corvid::bench
