#include "commands/program.h"

#include "files/size_text.h"
#include "upkeep/check.h"
#include "upkeep/list_document.h"
#include "upkeep/shown_text.h"

#include <fmt/format.h>

#include <memory>

namespace corvid {

namespace {

void writeJson(const CacheList& list, const std::vector<Finding>& findings) {
    JsonWriter json(standardOutput());
    beginAnswer(json, "check");
    writeState(json, list.isComplete(), list.problems);
    json.beginArray("findings");
    for (const Finding& finding : findings) {
        json.newLine();
        json.beginObject();
        json.text("kind", wordOf(finding.kind));
        json.diskText("root", finding.root);
        json.diskText("path", finding.path);
        json.beginObject("hides");
        json.number("bytes", finding.hiddenBytes);
        json.number("files", finding.hiddenFiles);
        json.endObject();
        if (finding.fix) {
            json.text("fix", *finding.fix);
        } else {
            json.null("fix");
        }
        json.endObject();
    }
    json.endArray();
    json.endObject();
    json.finish();
}

void writeLines(const std::vector<Finding>& findings) {
    std::string text;
    for (const Finding& finding : findings) {
        text += fmt::format("{}: {}\n", wordOf(finding.kind), shownText(finding.path));
        if (finding.hiddenFiles > 0) {
            text += fmt::format("    {} in {} files\n", sizeText(finding.hiddenBytes),
                                groupedText(finding.hiddenFiles));
        }
        if (finding.fix) {
            text += "    " + shownText(*finding.fix) + "\n";
        }
    }
    writeOut(findings.empty() ? "Nothing was found.\n" : text);
}

Exit runCheck(const CommonOptions& options) {
    const CacheList list = readList(options);
    const std::vector<Finding> findings = checkCaches(list);
    if (options.isJson) {
        writeJson(list, findings);
    } else {
        writeLines(findings);
    }
    return worse(tellProblems(list, options), findings.empty() ? Exit::Done : Exit::Partly);
}

} // namespace

void addCheckCommand(CLI::App& program, Run& run) {
    CLI::App& command = *program.add_subcommand(
        "check", "What is wrong with the tables and the registry, and what it hides");
    const auto options = std::make_shared<CommonOptions>();
    addCommonOptions(command, *options);
    setExample(command, "corvid-cache check");
    command.callback([options, &run] { run = [options] { return runCheck(*options); }; });
}

} // namespace corvid
