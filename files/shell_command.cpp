#include "files/shell_command.h"

#include <cerrno>
#include <cstring>

#include <spawn.h>
#include <sys/wait.h>
#include <time.h>

extern char** environ; // NOLINT(readability-redundant-declaration): not declared everywhere

namespace corvid {

namespace {

constexpr long kTickNanoseconds = 50L * 1000 * 1000;

bool hasEnded(pid_t process, int& status, int options) {
    pid_t ended = 0;
    do {
        ended = ::waitpid(process, &status, options);
    } while (ended < 0 && errno == EINTR);
    if (ended < 0) {
        status = -1;
    }
    return ended != 0;
}

} // namespace

std::string escapedForShell(const char* text) {
    std::string escaped;
    for (; *text != '\0'; ++text) {
        if (std::strchr("\"\\$`", *text) != nullptr) {
            escaped.append(1, '\\');
        }
        escaped.append(1, *text);
    }
    return escaped;
}

int runShellCommand(const std::string& command, const std::function<void()>& tick) {
    std::string shell = "sh";
    std::string option = "-c";
    std::string text = command;
    char* const arguments[] = {shell.data(), option.data(), text.data(), nullptr};
    pid_t process = 0;
    if (::posix_spawn(&process, "/bin/sh", nullptr, nullptr, arguments, environ) != 0) {
        return -1;
    }
    int status = 0;
    try {
        while (!hasEnded(process, status, tick ? WNOHANG : 0)) {
            const timespec pause{0, kTickNanoseconds};
            ::nanosleep(&pause, nullptr);
            tick();
        }
    } catch (...) {
        hasEnded(process, status, 0); // nobody is told of a command that still runs
        throw;
    }
    return status != -1 && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace corvid
