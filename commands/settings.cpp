#include "commands/program.h"

#include "upkeep/list_document.h"
#include "upkeep/settings.h"
#include "upkeep/shown_text.h"

#include <fmt/format.h>

#include <memory>

namespace corvid {

namespace {

constexpr char kNotRead[] = "The settings cannot be read.";

void writeJson(const std::optional<std::vector<GlobalSetting>>& settings) {
    JsonWriter json(standardOutput());
    beginAnswer(json, "settings show");
    std::vector<ListProblem> problems;
    if (!settings) {
        problems.push_back({"Config.txt", ListProblemKind::Unreadable, kNotRead});
    }
    writeState(json, problems.empty(), problems);
    json.beginObject("settings");
    for (const GlobalSetting& setting : settings.value_or(std::vector<GlobalSetting>())) {
        json.newLine();
        if (const int* number = std::get_if<int>(&setting.value)) {
            json.number(setting.key, *number);
        } else {
            json.diskText(setting.key, std::get<std::string>(setting.value));
        }
    }
    json.endObject();
    json.endObject();
    json.finish();
}

void writeTable(const std::vector<GlobalSetting>& settings) {
    std::string text;
    for (const GlobalSetting& setting : settings) {
        const int* number = std::get_if<int>(&setting.value);
        text += fmt::format("{:<34}  {}\n", shownText(setting.key),
                            number != nullptr ? std::to_string(*number)
                                              : shownText(std::get<std::string>(setting.value)));
    }
    writeOut(text);
}

Exit runShow(bool isJson) {
    const std::optional<std::vector<GlobalSetting>> settings = readGlobalSettings();
    if (isJson) {
        writeJson(settings);
    } else if (settings) {
        writeTable(*settings);
    } else {
        complain(kNotRead);
    }
    return settings ? Exit::Done : Exit::Partly;
}

Exit runSet(const std::string& key, const std::string& value) {
    std::string wanted;
    switch (setGlobalSetting(key, value, &wanted)) {
    case SetOutcome::Set:
        return Exit::Done;
    case SetOutcome::UnknownKey:
        throw UsageError(fmt::format("'{}' is no setting; 'corvid-cache settings show' lists them",
                                     shownText(key)));
    case SetOutcome::WrongValue:
        throw UsageError(
            fmt::format("{}: '{}' is not {}", shownText(key), shownText(value), wanted));
    case SetOutcome::NotWritten:
        break;
    }
    complain("the settings cannot be written");
    return Exit::Partly;
}

} // namespace

void addSettingsCommand(CLI::App& program, Run& run) {
    CLI::App& command = *program.add_subcommand("settings", "The settings of the product");
    command.require_subcommand(1);
    setExample(command, "corvid-cache settings set SizeOfFrameCacheInMB 50000");

    CLI::App& show = *command.add_subcommand("show", "Every setting with its value");
    const auto options = std::make_shared<CommonOptions>();
    addAnswerOptions(show, *options);
    setExample(show, "corvid-cache settings show");
    show.callback([options, &run] { run = [options] { return runShow(options->isJson); }; });

    CLI::App& set = *command.add_subcommand("set", "Changes one setting");
    const auto words = std::make_shared<std::pair<std::string, std::string>>();
    set.add_option("KEY", words->first, "As 'settings show' names it")->required();
    set.add_option("VALUE", words->second, "A number or a text, as the setting has it")->required();
    setExample(set, "corvid-cache settings set SizeOfFrameCacheInMB 50000");
    set.callback([words, &run] { run = [words] { return runSet(words->first, words->second); }; });
}

} // namespace corvid
