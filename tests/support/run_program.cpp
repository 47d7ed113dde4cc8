#include "tests/support/run_program.h"

#include "tests/support/product_root.h"

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ; // NOLINT(readability-redundant-declaration)

namespace corvid::test {

ProgramRun runProgram(const std::vector<std::string>& words) {
    char folder[] = "/tmp/corvid-run-XXXXXX";
    if (::mkdtemp(folder) == nullptr) {
        throw std::runtime_error("no folder for the program's output");
    }
    const std::string out = std::string(folder) + "/out";
    const std::string err = std::string(folder) + "/err";
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    ::posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, out.c_str(), O_WRONLY | O_CREAT,
                                       0600);
    ::posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, err.c_str(), O_WRONLY | O_CREAT,
                                       0600);
    std::vector<char*> argv;
    for (const std::string& word : words) {
        argv.push_back(const_cast<char*>(word.c_str()));
    }
    argv.push_back(nullptr);
    pid_t child = 0;
    const int error = ::posix_spawn(&child, argv[0], &actions, nullptr, argv.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        throw std::runtime_error("cannot start " + words.front());
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    ProgramRun run{WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), readFile(out),
                   readFile(err)};
    std::filesystem::remove_all(folder);
    return run;
}

} // namespace corvid::test
