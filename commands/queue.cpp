#include "commands/program.h"

#include "upkeep/list_document.h"
#include "upkeep/queue.h"
#include "upkeep/shown_text.h"

#include <fmt/format.h>

#include <memory>

namespace corvid {

namespace {

constexpr char kBroken[] = "The render queue cannot be read to its end.";

void writePairs(JsonWriter& json, std::string_view name, const std::vector<QueuePair>& pairs) {
    json.beginArray(name);
    for (const QueuePair& pair : pairs) {
        json.beginObject();
        json.diskText("name", pair.name);
        json.diskText("key", pair.key);
        json.diskText("value", pair.value);
        json.endObject();
    }
    json.endArray();
}

void writeJob(JsonWriter& json, const QueueJob& job) {
    json.newLine();
    json.beginObject();
    json.number("index", job.index);
    if (job.state) {
        json.diskText("state", *job.state);
    } else {
        json.null("state");
    }
    json.beginArray("files");
    for (const std::string& file : job.files) {
        json.text("", file);
    }
    json.endArray();
    writePairs(json, "pairs", job.pairs);
    json.beginArray("modules");
    for (const std::vector<QueuePair>& module : job.modules) {
        json.beginObject();
        writePairs(json, "pairs", module);
        json.endObject();
    }
    json.endArray();
    json.endObject();
}

void writeJson(const RenderQueueList& queue) {
    JsonWriter json(standardOutput());
    beginAnswer(json, "queue list");
    std::vector<ListProblem> problems;
    if (!queue.isComplete) {
        problems.push_back({"RQ.txt", ListProblemKind::Damaged, kBroken});
    }
    writeState(json, queue.isComplete, problems);
    json.beginArray("jobs");
    for (const QueueJob& job : queue.jobs) {
        writeJob(json, job);
    }
    json.endArray();
    json.endObject();
    json.finish();
}

void writeTable(const RenderQueueList& queue) {
    std::string text =
        fmt::format("{:>5}  {:<16}  {:>7}  {}\n", "Job", "State", "Modules", "Files");
    for (const QueueJob& job : queue.jobs) {
        std::string files;
        for (const std::string& file : job.files) {
            files += (files.empty() ? "" : ", ") + shownText(file);
        }
        text += fmt::format("{:>5}  {:<16}  {:>7}  {}\n", job.index,
                            job.state ? shownText(*job.state) : "-", job.modules.size(), files);
    }
    writeOut(text);
}

Exit runList(bool isJson) {
    const RenderQueueList queue = readRenderQueue();
    if (isJson) {
        writeJson(queue);
    } else {
        writeTable(queue);
        if (!queue.isComplete) {
            complain(kBroken);
        }
    }
    return queue.isComplete ? Exit::Done : Exit::Partly;
}

} // namespace

void addQueueCommand(CLI::App& program, Run& run) {
    CLI::App& command = *program.add_subcommand("queue", "The render queue");
    command.require_subcommand(1);
    setExample(command, "corvid-cache queue list");
    CLI::App& list = *command.add_subcommand("list", "The jobs with state, files and modules");
    const auto options = std::make_shared<CommonOptions>();
    addAnswerOptions(list, *options);
    setExample(list, "corvid-cache queue list --json");
    list.callback([options, &run] { run = [options] { return runList(options->isJson); }; });
}

} // namespace corvid
