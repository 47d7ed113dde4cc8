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
    addCheckCommand(program, run);
    addExportCommand(program, run);
    addQueueCommand(program, run);
    addSettingsCommand(program, run);
}

// Refuses a word that stands where a command must stand and is none, by its name.
void checkCommands(const CLI::App& program, const std::vector<std::string>& words) {
    const CLI::App* command = &program;
    for (const std::string& word : words) {
        const bool wantsCommand = command->get_require_subcommand_min() > 0;
        if (!wantsCommand || word.empty() || word.front() == '-') {
            return;
        }
        const std::vector<const CLI::App*> meant = command->get_subcommands(
            [&word](const CLI::App* each) { return each->get_name() == word; });
        if (meant.empty()) {
            throw UsageError("'" + shownText(word) + "' is no command");
        }
        command = meant.front();
    }
}

// "help list" is "list --help". The last word comes first, as the parser takes them.
std::vector<std::string> wordsOf(const CLI::App& program, int argc, char** argv) {
    std::vector<std::string> words(argv + 1, argv + argc);
    const bool isHelp = !words.empty() && words.front() == "help";
    if (isHelp) {
        words.erase(words.begin());
    }
    checkCommands(program, words);
    if (isHelp) {
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
    for (CLI::App* command : program.get_subcommands({})) {
        command->set_version_flag("--version", CORVID_VERSION, "The version of the program");
    }
    try {
        program.parse(wordsOf(program, argc, argv));
    } catch (const CLI::CallForVersion&) {
        writeOut(kVersionLine);
        return Exit::Done;
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
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
    Exit exit = Exit::Partly;
    try {
        if (argc == 2 && std::strcmp(argv[1], "--version") == 0) { // at once
            corvid::writeOut(corvid::kVersionLine);
            exit = Exit::Done;
        } else {
            exit = corvid::runProgram(argc, argv);
        }
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
