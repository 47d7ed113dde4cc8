// corvid-cache: the caches at the command line. See docs/commands.md.

#include "commands/program.h"

#include "upkeep/shown_text.h"

#include <csignal>
#include <cstring>
#include <new>

#include <unistd.h>

namespace corvid {

namespace {

constexpr char kVersionLine[] = "corvid-cache " CORVID_VERSION "\n";

Exit usage(const std::string& why) {
    const std::string line = why.substr(0, why.find('\n'));
    complain(line + " (see 'corvid-cache --help')");
    return Exit::Usage;
}

void addCommands(CLI::App& program, Run& run) {
    addListCommand(program, run);
    addStatusCommand(program, run);
    addExportCommand(program, run);
    addQueueCommand(program, run);
    addSettingsCommand(program, run);
}

// "help list" is "list --help". The last word comes first, as the parser takes them.
std::vector<std::string> wordsOf(const CLI::App& program, int argc, char** argv) {
    std::vector<std::string> words(argv + 1, argv + argc);
    if (!words.empty() && words.front() == "help") {
        words.erase(words.begin());
        const auto isMeant = [&words](const CLI::App* command) {
            return command->get_name() == words.front();
        };
        if (!words.empty() && program.get_subcommands(isMeant).empty()) {
            throw UsageError("'" + shownText(words.front()) + "' is no command");
        }
        words.emplace_back("--help");
    }
    return {words.rbegin(), words.rend()};
}

Exit runProgram(int argc, char** argv) {
    CLI::App program("The frame caches of this machine: what is in them, how full they are.",
                     "corvid-cache");
    program.require_subcommand(1);
    program.set_version_flag("--version", CORVID_VERSION, "The version of the program");
    program.footer("'corvid-cache help COMMAND' tells more about a command, with an example.");
    Run run;
    addCommands(program, run);
    try {
        program.parse(wordsOf(program, argc, argv));
    } catch (const CLI::Success&) { // help was asked for
        writeOut(program.help());
        return Exit::Done;
    } catch (const CLI::ParseError& error) {
        return usage(shownText(error.what()));
    }
    return run();
}

} // namespace

} // namespace corvid

int main(int argc, char** argv) {
    using corvid::Exit;
    if (argc == 2 && std::strcmp(argv[1], "--version") == 0) {
        const ssize_t written =
            ::write(STDOUT_FILENO, corvid::kVersionLine, std::strlen(corvid::kVersionLine));
        return written < 0 ? static_cast<int>(Exit::Partly) : 0;
    }
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
    Exit exit = Exit::Partly;
    try {
        exit = corvid::runProgram(argc, argv);
    } catch (const corvid::OutputClosed&) {
        exit = Exit::Done;
    } catch (const corvid::UsageError& error) {
        exit = corvid::usage(error.what());
    } catch (const std::bad_alloc&) {
        corvid::complain("out of memory");
    } catch (const std::exception& error) {
        corvid::complain(corvid::shownText(error.what()));
    }
    // Threads that wait for a volume for ever are not waited for.
    ::_exit(static_cast<int>(exit));
}
