#pragma once

// What all commands of the command line share: where answers and messages go, the options that
// every command has, and the exit statuses.

#include "upkeep/cache_list.h"
#include "upkeep/json_writer.h"

#include <CLI/CLI.hpp>

#include <functional>
#include <stdexcept>
#include <string>

namespace corvid {

// The highest reason wins, in this order from the last one up: see worse().
enum class Exit {
    Done = 0,
    Partly = 1, // done in part, something could not be read, something was found
    Changed = 4,
    Refused = 3,
    NotOurs = 5, // a file that was given is not one of the program's or is damaged
    Usage = 2,
    Interrupted = 130,
};
Exit worse(Exit left, Exit right);

// Wrong usage; the text is one line that says what was wrong and what would be right.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Standard output was closed: nobody wants the rest.
class OutputClosed : public std::exception {};

// An answer could not be written.
class OutputFailed : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The options that commands about caches have.
struct CommonOptions {
    std::string root;
    std::string timeout = "5s";
    std::string progress = "auto";
    bool isQuiet = false;
    bool isJson = false;
    bool hasNoColor = false;
};

// Refuses an empty text.
CLI::Validator notEmpty();
// --progress, --quiet and --no-color.
void addQuietOptions(CLI::App& command, CommonOptions& options);
// These and --json, for every command that answers.
void addAnswerOptions(CLI::App& command, CommonOptions& options);
// These without --json, and --root and --timeout, for those that read the caches.
void addReadingOptions(CLI::App& command, CommonOptions& options);
// All of them.
void addCommonOptions(CLI::App& command, CommonOptions& options);
// The last lines of a command's help.
void setExample(CLI::App& command, const std::string& example);

// Writes an answer to standard output. Throws OutputClosed and OutputFailed.
void writeOut(std::string_view text);
TextSink standardOutput();
// A line on standard error, after the program's name.
void complain(const std::string& line);

// Reads the caches for a command: the registered ones or --root. A running count is shown when
// somebody looks at it; the first Ctrl-C ends the reading. Throws UsageError.
CacheList readList(const CommonOptions& options, const std::vector<std::string>& items = {});
// Refuses what is wrong with the options before anything is answered. Throws UsageError.
void checkOptions(const CommonOptions& options);
// Adds the problem of settings that cannot be read.
void checkSettings(CacheList& list);
// Complains about what could not be read, briefly; the status that follows from it.
Exit tellProblems(const CacheList& list, const CommonOptions& options);

// Begins a document of the program's own, at this time.
void beginAnswer(JsonWriter& json, std::string_view command);

// What a command does when it was chosen.
using Run = std::function<Exit()>;
// One function per command: adds it to the program and sets *run when it is chosen.
void addListCommand(CLI::App& program, Run& run);
void addStatusCommand(CLI::App& program, Run& run);
void addCheckCommand(CLI::App& program, Run& run);
void addExportCommand(CLI::App& program, Run& run);
void addQueueCommand(CLI::App& program, Run& run);
void addSettingsCommand(CLI::App& program, Run& run);

} // namespace corvid
