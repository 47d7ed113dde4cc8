#include "upkeep/metrics.h"

#include "upkeep/json_writer.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <vector>

namespace corvid {

namespace {

constexpr char kLastCompleteReading[] = "corvid_cache_last_complete_reading_timestamp_seconds";

// One family: all samples of one name. A text that is no UTF-8 may come to equal another's; the
// samples of equal labels are then added up.
struct Family {
    std::string name;
    const char* unit; // the end of the name, too; "" for a number of things
    const char* help;
    std::map<std::string, std::uint64_t> samples = {}; // by labels as they are written
};

std::string escapedLabel(std::string_view bytes) {
    std::string text;
    for (const char character : asUtf8(bytes)) {
        if (character == '\n') {
            text += "\\n";
        } else {
            text.append(character == '\\' || character == '"' ? 1 : 0, '\\').append(1, character);
        }
    }
    return text;
}

std::string rootLabel(const ListedRoot& root) {
    return "root=\"" + escapedLabel(root.path) + "\"";
}

std::string projectLabels(const ListedRoot& root, std::string_view project) {
    return rootLabel(root) + ",project=\"" + escapedLabel(project) + "\"";
}

// Figures of every root.
struct RootFigure {
    Family family;
    std::optional<std::uint64_t> (*value)(const ListedRoot& root);
};

std::optional<std::uint64_t> ifRead(const ListedRoot& root, std::uint64_t value) {
    return root.state == ListedState::Ok ? std::optional(value) : std::nullopt;
}

std::vector<RootFigure> rootFigures() {
    using Root = ListedRoot;
    return {
        {{"corvid_cache_root_readable", "", "Whether the cache root could be read (1) or not (0)."},
         [](const Root& root) -> std::optional<std::uint64_t> {
             return root.state == ListedState::Ok ? 1 : 0;
         }},
        {{"corvid_cache_root_bytes", "bytes", "Sizes of the files of all projects."},
         [](const Root& root) { return ifRead(root, root.numbers.bytes); }},
        {{"corvid_cache_root_allocated_bytes", "bytes", "What these files take up on the disk."},
         [](const Root& root) { return ifRead(root, root.numbers.allocated); }},
        {{"corvid_cache_root_files", "", "Number of the files of all projects."},
         [](const Root& root) { return ifRead(root, root.numbers.files); }},
        {{"corvid_cache_root_projects", "", "Number of projects."},
         [](const Root& root) { return ifRead(root, root.projects.size()); }},
        {{"corvid_cache_root_stray_bytes", "bytes", "Sizes of the files that no table names."},
         [](const Root& root) {
             std::uint64_t bytes = 0;
             for (const ListedStray& stray : root.strays) {
                 bytes += stray.numbers.bytes;
             }
             return ifRead(root, bytes);
         }},
        {{"corvid_cache_root_newest_timestamp_seconds", "seconds", "Time of the newest frame."},
         [](const Root& root) {
             return root.numbers.newest > 0
                        ? ifRead(root, static_cast<std::uint64_t>(root.numbers.newest))
                        : std::nullopt;
         }},
        {{"corvid_cache_volume_size_bytes", "bytes", "Size of the volume that the root lies on."},
         [](const Root& root) {
             return root.volume ? std::optional(root.volume->total) : std::nullopt;
         }},
        {{"corvid_cache_volume_free_bytes", "bytes", "What an ordinary user may still fill there."},
         [](const Root& root) {
             return root.volume ? std::optional(root.volume->free) : std::nullopt;
         }},
    };
}

void addRoots(const CacheList& list, std::vector<Family>& families) {
    for (RootFigure& figure : rootFigures()) {
        for (const ListedRoot& root : list.roots) {
            if (const std::optional<std::uint64_t> value = figure.value(root)) {
                figure.family.samples[rootLabel(root)] += *value;
            }
        }
        families.push_back(std::move(figure.family));
    }
}

void addProjects(const CacheList& list, std::size_t most, std::vector<Family>& families) {
    struct Place {
        const ListedRoot* root;
        const ListedProject* project;
    };
    std::vector<Place> all;
    for (const ListedRoot& root : list.roots) {
        for (const ListedProject& project : root.projects) {
            all.push_back({&root, &project});
        }
    }
    std::stable_sort(all.begin(), all.end(), [](const Place& left, const Place& right) {
        return left.project->numbers.bytes > right.project->numbers.bytes;
    });
    Family bytes{"corvid_cache_project_bytes", "bytes",
                 "Sizes of a project's files; of the smaller projects together as other."};
    Family newest{"corvid_cache_project_newest_timestamp_seconds", "seconds",
                  "Time of a project's newest frame."};
    for (std::size_t i = 0; i < all.size(); ++i) {
        const ListNumbers& numbers = all[i].project->numbers;
        const bool isOwn = i < most;
        const std::string labels =
            projectLabels(*all[i].root, isOwn ? all[i].project->key : "other");
        bytes.samples[labels] += numbers.bytes;
        if (isOwn && numbers.newest > 0) {
            std::uint64_t& time = newest.samples[labels];
            time = std::max(time, static_cast<std::uint64_t>(numbers.newest));
        }
    }
    families.push_back(std::move(bytes));
    families.push_back(std::move(newest));
}

std::vector<Family> familiesOf(const CacheList& list, const MetricsOptions& options) {
    std::vector<Family> families;
    addRoots(list, families);
    addProjects(list, options.projects, families);
    std::uint64_t problems = 0;
    for (const ListProblem& problem : list.problems) {
        problems += problem.count;
    }
    families.push_back({"corvid_cache_problems", "", "What could not be read.", {{"", problems}}});
    if (options.limit) {
        families.push_back({"corvid_cache_limit_bytes",
                            "bytes",
                            "What the settings allow all caches together.",
                            {{"", *options.limit}}});
    }
    if (options.lastCompleteReading > 0) {
        families.push_back({kLastCompleteReading,
                            "seconds",
                            "When everything could be read last.",
                            {{"", static_cast<std::uint64_t>(options.lastCompleteReading)}}});
    }
    return families;
}

} // namespace

std::string metricsText(const CacheList& list, const MetricsOptions& options,
                        MetricsDialect dialect) {
    const bool isOpen = dialect == MetricsDialect::OpenMetrics;
    std::string text;
    for (const Family& family : familiesOf(list, options)) {
        if (family.samples.empty()) {
            continue;
        }
        text += "# HELP " + family.name + " " + family.help + "\n";
        text += "# TYPE " + family.name + " gauge\n";
        if (isOpen && *family.unit != '\0') {
            text += "# UNIT " + family.name + " " + family.unit + "\n";
        }
        for (const auto& [labels, value] : family.samples) {
            text += family.name + (labels.empty() ? "" : "{" + labels + "}") + " " +
                    std::to_string(value) + "\n";
        }
    }
    return isOpen ? text + "# EOF\n" : text;
}

long lastCompleteReadingIn(const std::string& text) {
    const std::string line = std::string("\n") + kLastCompleteReading + " ";
    const std::size_t place = text.find(line);
    return place == std::string::npos
               ? 0
               : std::strtol(text.c_str() + place + line.size(), nullptr, 10);
}

} // namespace corvid
