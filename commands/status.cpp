#include "commands/program.h"

#include "files/path_text.h"
#include "files/size_text.h"
#include "upkeep/list_document.h"
#include "upkeep/settings.h"
#include "upkeep/shown_text.h"

#include <fmt/format.h>

#include <memory>

namespace corvid {

namespace {

// What lies in the holding area of a root, beside it on the same volume.
std::uint64_t heldBytes(const ListedRoot& root) {
    const std::string name(lastComponent(root.path));
    const std::string parent = root.path.substr(0, root.path.size() - name.size());
    return measureDirectory((parent + ".corvid-held/" + name).c_str()).bytes;
}

void writeRoot(JsonWriter& json, const ListedRoot& root, std::optional<std::uint64_t> limit) {
    const bool isRead = root.state == ListedState::Ok;
    const auto ifRead = [isRead](std::uint64_t number) {
        return isRead ? std::optional(number) : std::nullopt;
    };
    json.newLine();
    json.beginObject();
    json.diskText("path", root.path);
    json.number("used", ifRead(root.numbers.bytes));
    json.number("allocated", ifRead(root.numbers.allocated));
    json.number("held", isRead ? std::optional(heldBytes(root)) : std::nullopt);
    json.number("limit", limit);
    json.number("free", root.volume ? std::optional(root.volume->free) : std::nullopt);
    json.number("total", root.volume ? std::optional(root.volume->total) : std::nullopt);
    json.null("days_left"); // nothing is known of growth yet
    json.endObject();
}

void writeJson(const CacheList& list, std::optional<std::uint64_t> limit) {
    JsonWriter json(standardOutput());
    beginAnswer(json, "status");
    writeState(json, list.isComplete(), list.problems);
    json.beginArray("roots");
    for (const ListedRoot& root : list.roots) {
        writeRoot(json, root, limit);
    }
    json.endArray();
    json.endObject();
    json.finish();
}

std::string sizeOrDash(std::optional<std::uint64_t> bytes) {
    return bytes ? sizeText(*bytes) : "-";
}

void writeTable(const CacheList& list, std::optional<std::uint64_t> limit) {
    std::string text = fmt::format("{:>12}  {:>12}  {:>12}  {:>12}  {}\n", "Used", "Held", "Free",
                                   "Volume", "Cache root");
    for (const ListedRoot& root : list.roots) {
        const bool isRead = root.state == ListedState::Ok;
        text +=
            fmt::format("{:>12}  {:>12}  {:>12}  {:>12}  {}{}\n",
                        isRead ? sizeText(root.numbers.bytes) : wordOf(root.state),
                        isRead ? sizeText(heldBytes(root)) : "-",
                        sizeOrDash(root.volume ? std::optional(root.volume->free) : std::nullopt),
                        sizeOrDash(root.volume ? std::optional(root.volume->total) : std::nullopt),
                        shownText(root.path), "");
    }
    text += "\nAll caches together: " + sizeText(list.totals.bytes);
    if (limit) {
        text += " of the " + sizeText(*limit) + " that the settings allow";
        text += list.totals.bytes > *limit ? ": over the limit" : "";
    } else {
        text += "; the settings set no limit";
    }
    writeOut(text + "\n");
}

Exit runStatus(const CommonOptions& options) {
    const CacheList list = readList(options);
    const std::optional<std::uint64_t> limit = cacheLimit();
    if (options.isJson) {
        writeJson(list, limit);
    } else {
        writeTable(list, limit);
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
