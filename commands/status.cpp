#include "commands/program.h"

#include "files/path_text.h"
#include "files/size_text.h"
#include "upkeep/list_document.h"
#include "upkeep/settings.h"
#include "upkeep/shown_text.h"

#include <fmt/format.h>

#include <cerrno>
#include <memory>

#include <sys/stat.h>

namespace corvid {

namespace {

using Bytes = std::optional<std::uint64_t>;

// What lies in the holding area of a root, beside it on the same volume; none when it cannot be
// read.
Bytes heldBytes(const ListedRoot& root) {
    if (root.state != ListedState::Ok) {
        return std::nullopt;
    }
    const std::string name(lastComponent(root.path));
    const std::string parent = root.path.substr(0, root.path.size() - name.size());
    const std::string area = parent + ".corvid-held/" + name;
    struct stat status {};
    if (::lstat(area.c_str(), &status) != 0) {
        return errno == ENOENT ? Bytes(0) : std::nullopt;
    }
    const DirectoryMeasure measure = measureDirectory(area.c_str());
    const bool isWhole = measure.opened && measure.closedDirectories == 0;
    return isWhole ? Bytes(measure.bytes) : std::nullopt;
}

// Of each root; an area that cannot be read becomes a problem.
std::vector<Bytes> heldOf(CacheList& list) {
    std::vector<Bytes> held;
    held.reserve(list.roots.size());
    for (const ListedRoot& root : list.roots) {
        held.push_back(heldBytes(root));
        if (!held.back() && root.state == ListedState::Ok) {
            list.problems.push_back({root.path, ListProblemKind::Unreadable,
                                     "The holding area beside it cannot be read."});
        }
    }
    return held;
}

void writeRoot(JsonWriter& json, const ListedRoot& root, Bytes held, Bytes limit) {
    const bool isRead = root.state == ListedState::Ok;
    json.newLine();
    json.beginObject();
    json.diskText("path", root.path);
    json.number("used", isRead ? Bytes(root.numbers.bytes) : std::nullopt);
    json.number("allocated", isRead ? Bytes(root.numbers.allocated) : std::nullopt);
    json.number("held", held);
    json.number("limit", limit);
    json.number("free", root.volume ? Bytes(root.volume->free) : std::nullopt);
    json.number("total", root.volume ? Bytes(root.volume->total) : std::nullopt);
    json.null("days_left"); // nothing is known of growth yet
    json.endObject();
}

void writeJson(const CacheList& list, const std::vector<Bytes>& held, Bytes limit) {
    JsonWriter json(standardOutput());
    beginAnswer(json, "status");
    writeState(json, list.isComplete(), list.problems);
    json.beginArray("roots");
    for (std::size_t i = 0; i < list.roots.size(); ++i) {
        writeRoot(json, list.roots[i], held[i], limit);
    }
    json.endArray();
    json.endObject();
    json.finish();
}

std::string sizeOrDash(Bytes bytes) {
    return bytes ? sizeText(*bytes) : "-";
}

void writeTable(const CacheList& list, const std::vector<Bytes>& held, Bytes limit) {
    std::string text = fmt::format("{:>12}  {:>12}  {:>12}  {:>12}  {}\n", "Used", "Held", "Free",
                                   "Volume", "Cache root");
    for (std::size_t i = 0; i < list.roots.size(); ++i) {
        const ListedRoot& root = list.roots[i];
        text += fmt::format(
            "{:>12}  {:>12}  {:>12}  {:>12}  {}\n",
            root.state == ListedState::Ok ? sizeText(root.numbers.bytes) : wordOf(root.state),
            sizeOrDash(held[i]), sizeOrDash(root.volume ? Bytes(root.volume->free) : std::nullopt),
            sizeOrDash(root.volume ? Bytes(root.volume->total) : std::nullopt),
            shownText(root.path));
    }
    text += "\nAll caches together: " + sizeText(list.totals.bytes);
    if (limit) {
        text += " of the " + sizeText(*limit) + " that the settings allow";
        text += list.totals.bytes > *limit ? ": over the limit" : "";
    } else {
        text += "; no limit is set";
    }
    writeOut(text + "\n");
}

Exit runStatus(const CommonOptions& options) {
    CacheList list = readList(options);
    checkSettings(list);
    const std::vector<Bytes> held = heldOf(list);
    const Bytes limit = cacheLimit();
    if (options.isJson) {
        writeJson(list, held, limit);
    } else {
        writeTable(list, held, limit);
    }
    const bool isOver = limit && list.totals.bytes > *limit;
    return worse(tellProblems(list, options), isOver ? Exit::Partly : Exit::Done);
}

} // namespace

void addStatusCommand(CLI::App& program, Run& run) {
    CLI::App& command = *program.add_subcommand(
        "status", "How full the caches and their volumes are; status 1 when over the limit");
    const auto options = std::make_shared<CommonOptions>();
    addCommonOptions(command, *options);
    setExample(command, "corvid-cache status --json");
    command.callback([options, &run] { run = [options] { return runStatus(*options); }; });
}

} // namespace corvid
