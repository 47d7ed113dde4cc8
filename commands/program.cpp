#include "commands/program.h"

#include "files/path_text.h"
#include "store/KavroPISSFrameCacheRegistry.h"
#include "store/PISSFileUtilities.h"
#include "store/product_paths.h"
#include "upkeep/list_document.h"
#include "upkeep/settings.h"
#include "upkeep/shown_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include <unistd.h>

namespace corvid {

Exit worse(Exit left, Exit right) {
    static constexpr std::array<Exit, 7> kOrder = {Exit::Done,       Exit::Partly,  Exit::Changed,
                                                   Exit::Refused,    Exit::NotOurs, Exit::Usage,
                                                   Exit::Interrupted};
    const auto rank = [](Exit exit) { return std::find(kOrder.begin(), kOrder.end(), exit); };
    return rank(left) < rank(right) ? right : left;
}

CLI::Validator notEmpty() {
    return CLI::Validator(
        [](const std::string& text) { return text.empty() ? "'' is no path" : std::string(); }, "");
}

void addAnswerOptions(CLI::App& command, CommonOptions& options) {
    command.add_flag("--json", options.isJson, "The answer as a JSON document");
    addQuietOptions(command, options);
}

void addQuietOptions(CLI::App& command, CommonOptions& options) {
    command.add_option("--progress", options.progress, "auto, always or never")
        ->check(CLI::IsMember({"auto", "always", "never"}));
    command.add_flag("--quiet,-q", options.isQuiet, "No progress");
    command.add_flag("--no-color", options.hasNoColor, "No colours (nor with NO_COLOR)");
}

void addCommonOptions(CLI::App& command, CommonOptions& options) {
    addReadingOptions(command, options);
    command.add_flag("--json", options.isJson, "The answer as a JSON document");
}

void addReadingOptions(CLI::App& command, CommonOptions& options) {
    command.add_option("--root", options.root, "Only this cache root, registered or not")
        ->type_name("PATH")
        ->check(notEmpty());
    command
        .add_option("--timeout", options.timeout,
                    "How long a volume may take to give its first answer (5s)")
        ->type_name("AGE");
    addQuietOptions(command, options);
}

void setExample(CLI::App& command, const std::string& example) {
    command.footer("Example:\n  " + example);
}

namespace {

// False, with errno set, when not all of it could be written.
bool writeTo(int descriptor, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = ::write(descriptor, text.data(), text.size());
        if (written < 0 && errno != EINTR) {
            return false;
        }
        text.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(written, 0)));
    }
    return true;
}

// Nobody could be told that this fails.
void tell(std::string_view text) {
    static_cast<void>(writeTo(STDERR_FILENO, text));
}

} // namespace

void writeOut(std::string_view text) {
    if (writeTo(STDOUT_FILENO, text)) {
        return;
    }
    if (errno == EPIPE) {
        throw OutputClosed();
    }
    throw OutputFailed(std::string("the answer cannot be written: ") +
                       std::strerror(errno)); // NOLINT(concurrency-mt-unsafe)
}

TextSink standardOutput() {
    return [](std::string_view text) { writeOut(text); };
}

void complain(const std::string& line) {
    tell("corvid-cache: " + line + "\n");
}

namespace {

std::atomic<bool> g_isInterrupted = false;

void interrupt(int /*signal*/) {
    g_isInterrupted = true;
}

// The first Ctrl-C asks, the second one ends the program as ever.
void listenForInterrupts() {
    struct sigaction action {};
    action.sa_handler = interrupt;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    ::sigaction(SIGINT, &action, nullptr);
}

// Tells how far a reading has come, on standard error.
class Progress {
public:
    explicit Progress(const CommonOptions& options)
        : m_isOnTerminal(::isatty(STDERR_FILENO) != 0),
          m_isShown(!options.isQuiet && (options.progress == "always" ||
                                         (options.progress == "auto" && m_isOnTerminal))) {}
    ~Progress() {
        if (m_isShown && m_isOnTerminal && m_hasLine) {
            tell("\r\x1b[K");
        }
    }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void show(std::uint64_t files) {
        const std::time_t now = std::time(nullptr);
        if (!m_isShown || (!m_isOnTerminal && now == m_last)) {
            return;
        }
        m_last = now;
        m_hasLine = true;
        const std::string line = "Reading the caches: " + groupedText(files) + " files";
        tell(m_isOnTerminal ? "\r" + line + "\x1b[K" : line + "\n");
    }

private:
    const bool m_isOnTerminal;
    const bool m_isShown;
    bool m_hasLine = false;
    std::time_t m_last = 0;
};

// What could not be read of the registry becomes a problem.
std::vector<std::string> rootsFor(const CommonOptions& options,
                                  std::vector<ListProblem>& problems) {
    if (!options.root.empty()) {
        return {std::string(withoutSeparators(options.root))};
    }
    KavroPISSFrameCacheRegistry registry;
    if (registry.readResult() == ReadResult::Unreadable) {
        problems.push_back({productPath(assignCorvidProFrameCacheRegistryFilePath),
                            ListProblemKind::Unreadable, "The registry cannot be read."});
    }
    return distinctCacheRoots(registry);
}

std::chrono::seconds timeoutOf(const CommonOptions& options) {
    constexpr std::chrono::hours kLongest{24 * 365};
    const std::optional<std::chrono::seconds> timeout = parseAge(options.timeout);
    if (!timeout || timeout->count() == 0) {
        throw UsageError(
            fmt::format("--timeout: '{}' is no time such as 5s or 2m", shownText(options.timeout)));
    }
    return std::min<std::chrono::seconds>(*timeout, kLongest);
}

} // namespace

void checkOptions(const CommonOptions& options) {
    static_cast<void>(timeoutOf(options));
}

CacheList readList(const CommonOptions& options, const std::vector<std::string>& items) {
    std::vector<ListProblem> problems;
    ListOptions reading{.roots = rootsFor(options, problems),
                        .items = items,
                        .timeout = timeoutOf(options),
                        .stop = &g_isInterrupted};
    listenForInterrupts();
    Progress progress(options);
    progress.show(0);
    try {
        CacheList list =
            listCaches(reading, [&progress](std::uint64_t files) { progress.show(files); });
        list.problems.insert(list.problems.begin(), problems.begin(), problems.end());
        return list;
    } catch (const UnknownItem& unknown) {
        throw UsageError(shownText(unknown.what()));
    }
}

void checkSettings(CacheList& list) {
    if (!readGlobalSettings()) {
        list.problems.push_back({productPath(assignCorvidProRootConfigDirectoryPath) + "Config.txt",
                                 ListProblemKind::Unreadable, "The settings cannot be read."});
    }
}

Exit tellProblems(const CacheList& list, const CommonOptions& options) {
    constexpr std::size_t kMost = 10;
    const std::vector<ListProblem>& problems = list.problems;
    for (std::size_t i = 0; i < std::min(kMost, problems.size()) && !options.isJson; ++i) {
        complain(shownText(problems[i].path) + ": " + problems[i].message);
    }
    if (problems.size() > kMost && !options.isJson) {
        complain(fmt::format("and {} more", problems.size() - kMost));
    }
    if (list.isInterrupted) {
        complain("interrupted: the answer holds what had been read until then");
    }
    return list.isInterrupted ? Exit::Interrupted : problems.empty() ? Exit::Done : Exit::Partly;
}

void beginAnswer(JsonWriter& json, std::string_view command) {
    beginDocument(json, command, static_cast<long>(std::time(nullptr)));
}

} // namespace corvid
