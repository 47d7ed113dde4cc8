#include "commands/program.h"

#include "files/size_text.h"
#include "store/features.h"
#include "upkeep/list_document.h"
#include "upkeep/shown_text.h"

#include <fmt/format.h>

#include <map>
#include <memory>

namespace corvid {

namespace {

struct ListArguments {
    CommonOptions common;
    std::vector<std::string> items;
    std::string depth = "feature";
    std::string order = "tree";
    bool isReversed = false;
    bool isCsv = false;
};

const std::map<std::string, ListDepth>& depths() {
    static const std::map<std::string, ListDepth> kDepths = {
        {"root", ListDepth::Root},
        {"project", ListDepth::Project},
        {"composition", ListDepth::Composition},
        {"feature", ListDepth::Feature}};
    return kDepths;
}

const std::map<std::string, ListOrder>& orders() {
    static const std::map<std::string, ListOrder> kOrders = {{"tree", ListOrder::Tree},
                                                             {"size", ListOrder::Size},
                                                             {"date", ListOrder::Date},
                                                             {"name", ListOrder::Name},
                                                             {"files", ListOrder::Files}};
    return kOrders;
}

// Lines for people: the figures first, then the names, each level further in.
class ListTable {
public:
    explicit ListTable(ListDepth depth) : m_depth(depth) {
        m_text =
            fmt::format("{:>12}  {:>11}  {:<16}  {}\n", "Size", "Files", "Last modified", "Name");
    }

    void add(const CacheList& list) {
        for (const ListedRoot& root : list.roots) {
            add(root);
        }
        m_text += '\n' + totalsLine(list) + '\n';
        writeOut(m_text);
    }

private:
    static std::string counted(std::uint64_t number, const char* one, const char* several) {
        return groupedText(number) + " " + (number == 1 ? one : several);
    }

    static std::string totalsLine(const CacheList& list) {
        std::string line = counted(list.projects, "project", "projects") + ", " +
                           counted(list.compositions, "composition", "compositions") + ", " +
                           counted(list.features, "feature", "features") + ": " +
                           sizeText(list.totals.bytes) + " in " +
                           counted(list.totals.files, "file", "files");
        if (list.strays.count > 0) {
            line += "; not named by any table: " + counted(list.strays.count, "item", "items") +
                    ", " + sizeText(list.strays.numbers.bytes);
        }
        return line;
    }

    void line(const ListNumbers& numbers, std::size_t level, std::string_view name) {
        fmt::format_to(std::back_inserter(m_text), "{:>12}  {:>11}  {:<16}  {:{}}{}\n",
                       sizeText(numbers.bytes), groupedText(numbers.files),
                       localTimeText(numbers.newest), "", 2 * level, shownText(name));
        if (m_text.size() > kPiece) {
            writeOut(m_text);
            m_text.clear();
        }
    }

    void add(const ListedRoot& root) {
        if (root.state != ListedState::Ok) {
            fmt::format_to(std::back_inserter(m_text), "{:>12}  {:>11}  {:<16}  {}\n", "-", "-",
                           wordOf(root.state), shownText(root.path));
            return;
        }
        line(root.numbers, 0, root.path);
        if (m_depth == ListDepth::Root) {
            return;
        }
        for (const ListedProject& project : root.projects) {
            add(project);
        }
        for (const ListedStray& stray : root.strays) {
            line(stray.numbers, 1, stray.path + " (" + wordOf(stray.kind) + ")");
        }
    }

    void add(const ListedProject& project) {
        line(project.numbers, 1, shownName(project.key));
        if (m_depth == ListDepth::Project) {
            return;
        }
        for (const ListedComposition& composition : project.compositions) {
            line(composition.numbers, 2, shownName(composition.key));
            if (m_depth == ListDepth::Composition) {
                continue;
            }
            for (const ListedFeature& feature : composition.features) {
                line(feature.numbers, 3,
                     feature.label() != nullptr ? feature.label() : feature.directory);
            }
        }
    }

    static constexpr std::size_t kPiece = std::size_t{64} * 1024;

    ListDepth m_depth;
    std::string m_text;
};

void writeJson(const CacheList& list, JsonWriter& json, ListDepth depth) {
    writeState(json, list.isComplete(), list.problems);
    writeList(json, list, depth, {});
    json.endObject();
    json.finish();
}

Exit runList(const ListArguments& arguments) {
    if (arguments.isCsv && arguments.common.isJson) {
        throw UsageError("--csv and --json exclude each other");
    }
    checkOptions(arguments.common);
    JsonWriter json(standardOutput());
    if (arguments.common.isJson) {
        beginAnswer(json, "list");
        if (arguments.items.empty()) {
            json.flush(); // nothing can be wrong any more, and whoever waits sees an answer
        }
    }
    const ListDepth depth = depths().at(arguments.depth);
    const ListOrder order = orders().at(arguments.order);
    CacheList list = readList(arguments.common, arguments.items);
    if (order != ListOrder::Tree || arguments.isReversed) {
        sortList(list, order, arguments.isReversed);
    }
    if (arguments.common.isJson) {
        writeJson(list, json, depth);
    } else if (arguments.isCsv) {
        writeListCsv(standardOutput(), list, depth);
    } else {
        ListTable(depth).add(list);
    }
    return tellProblems(list, arguments.common);
}

} // namespace

void addListCommand(CLI::App& program, Run& run) {
    CLI::App& command = *program.add_subcommand(
        "list", "The caches: projects, compositions and features with size, files and date");
    const auto arguments = std::make_shared<ListArguments>();
    command.add_option("ITEM", arguments->items,
                       "Only these: an id, ROOT:ID, a path, or a name that only one item bears");
    command.add_option("--depth", arguments->depth, "How far down to go (feature)")
        ->check(CLI::IsMember(depths()));
    command.add_option("--sort", arguments->order, "The order of siblings (tree)")
        ->check(CLI::IsMember(orders()));
    command.add_flag("--reverse", arguments->isReversed, "The last first");
    command.add_flag("--csv", arguments->isCsv, "One line a feature, as RFC 4180 has it");
    addCommonOptions(command, arguments->common);
    setExample(command, "corvid-cache list --depth project --sort size");
    command.callback([arguments, &run] { run = [arguments] { return runList(*arguments); }; });
}

} // namespace corvid
