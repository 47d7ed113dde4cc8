#include "commands/program.h"

#include "files/text_file.h"
#include "upkeep/list_document.h"
#include "upkeep/metrics.h"
#include "upkeep/settings.h"
#include "upkeep/shown_text.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <memory>

namespace corvid {

namespace {

struct ExportArguments {
    CommonOptions common;
    std::string format;
    std::string output;
    int projects = static_cast<int>(MetricsOptions{}.projects);
};

std::string textOf(const std::string& path) {
    std::string text;
    const ReadResult result = readLines(path.c_str(), [&text](const char* line) {
        text += line;
        return AfterPiece::GoOn;
    });
    return result == ReadResult::Whole ? text : "";
}

std::string metrics(const CacheList& list, const ExportArguments& arguments) {
    MetricsOptions options{.limit = cacheLimit(),
                           .projects = static_cast<std::size_t>(arguments.projects)};
    if (list.isComplete()) {
        options.lastCompleteReading = static_cast<long>(std::time(nullptr));
    } else if (!arguments.output.empty()) {
        options.lastCompleteReading = lastCompleteReadingIn("\n" + textOf(arguments.output));
    }
    return metricsText(list, options,
                       arguments.format == "openmetrics" ? MetricsDialect::OpenMetrics
                                                         : MetricsDialect::Prometheus);
}

void writeExport(const CacheList& list, const ExportArguments& arguments, const TextSink& sink) {
    if (arguments.format == "csv") {
        writeListCsv(sink, list, ListDepth::Feature);
    } else if (arguments.format == "json") {
        writeListLines(sink, list);
    } else {
        sink(metrics(list, arguments));
    }
}

// Replaced whole, so that a reader never sees half of it.
void writeFile(const std::string& path, const std::string& text) {
    if (replaceTextFile(path.c_str(), text) != ReplaceOutcome::Replaced) {
        throw OutputFailed(fmt::format("{}: cannot be written: {}", shownText(path),
                                       std::strerror(errno))); // NOLINT(concurrency-mt-unsafe)
    }
}

Exit runExport(const ExportArguments& arguments) {
    CacheList list = readList(arguments.common);
    checkSettings(list);
    if (list.isInterrupted) { // figures of a part would be taken for those of the whole
        complain("interrupted: nothing was exported");
        return Exit::Interrupted;
    }
    if (arguments.output.empty()) {
        writeExport(list, arguments, standardOutput());
    } else {
        std::string text;
        writeExport(list, arguments, [&text](std::string_view piece) { text += piece; });
        writeFile(arguments.output, text);
    }
    return tellProblems(list, {});
}

} // namespace

void addExportCommand(CLI::App& program, Run& run) {
    CLI::App& command = *program.add_subcommand("export", "The figures for collectors");
    const auto arguments = std::make_shared<ExportArguments>();
    command
        .add_option("--format", arguments->format,
                    "prometheus (the classic text of a node exporter's folder), openmetrics, csv, "
                    "or json (one feature a line)")
        ->required()
        ->check(CLI::IsMember({"prometheus", "openmetrics", "csv", "json"}));
    command.add_option("-o,--output", arguments->output, "Replaces this file whole")
        ->type_name("FILE")
        ->check(notEmpty());
    command
        .add_option("--projects", arguments->projects,
                    "So many projects, the largest, have series of their own (60)")
        ->check(CLI::Range(0, 1000000));
    addReadingOptions(command, arguments->common);
    setExample(command, "corvid-cache export --format prometheus "
                        "-o /var/lib/prometheus/node-exporter/corvid-cache.prom");
    command.callback([arguments, &run] { run = [arguments] { return runExport(*arguments); }; });
}

} // namespace corvid
