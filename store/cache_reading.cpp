#include "store/cache_reading.h"

#include "files/directory_scan.h"
#include "files/work_crew.h"
#include "runtime/maro_log.h"
#include "store/PISSMD5.h"
#include "store/kvp_line.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>

namespace corvid {

namespace {

constexpr char kProjectTable[] = "ProjectHash.txt";
constexpr char kCompositionTable[] = "CompositionHash.txt";

using SharedDirectory = std::shared_ptr<const UniqueFd>;

SharedDirectory share(UniqueFd directory) {
    return std::make_shared<const UniqueFd>(std::move(directory));
}

constexpr NameRules kFrameNames{.endsDating = stepsAsMinusOne};
constexpr NameRules kNumberedFrames{.endsDating = stepsAsMinusOne, .numberOf = frameNumber};

// Files that a directory's reading leaves to other threads, on a volume that keeps them waiting.
constexpr std::size_t kFilesPerTask = 32;

// Measures directories on a crew's threads. A directory's numbers come together from parts, in the
// order of the directory, so that they do not depend on who read what.
class CrewMeasurer {
public:
    CrewMeasurer(WorkCrew& crew, const NameRules& names, Identity identity)
        : m_crew(crew), m_names(names), m_identity(identity) {}

    // `parent` is an open directory, or AT_FDCWD. `parts` must stay where it is until the crew is
    // done.
    void measure(int parent, const std::string& name, const std::string& path,
                 MeasureParts& parts) {
        DirectoryScan scan(openDirectory(parent, name.c_str(), LinkRule::Follow));
        if (!scan.isOpen()) {
            return;
        }
        std::vector<std::string> subdirectoryNames;
        std::vector<ListedFile> waiting;
        DirectoryMeasure& own = parts.own;
        own.opened = true;
        if (m_identity == Identity::Ask) {
            identify(scan.descriptor(), own.identity);
        }
        for (DirectoryEntry entry{}; scan.next(entry);) {
            const auto behind = static_cast<std::uint32_t>(subdirectoryNames.size());
            if (entry.kind == EntryKind::Directory) {
                subdirectoryNames.emplace_back(entry.name);
            } else if (waiting.empty() && !m_crew.isWaitingForVolume()) {
                measureListed(scan.descriptor(), path, entry, behind, own);
                m_files.count(own.files);
            } else {
                waiting.push_back({entry.name, entry.isLink, behind});
            }
        }
        m_files.countRest(own.files);
        own.closedDirectories += scan.failed() ? 1U : 0U;
        const SharedDirectory directory = share(scan.takeDescriptor());
        shareFiles(directory, path, waiting, parts);
        for (std::size_t i = 0; i < subdirectoryNames.size(); ++i) {
            shareSubdirectory(directory, path, std::move(subdirectoryNames[i]),
                              static_cast<std::uint32_t>(i + 1), parts);
        }
    }

    std::uint64_t filesSeen() const { return m_files.seen(); }

private:
    struct ListedFile {
        std::string name;
        bool isLink;
        std::uint32_t behind; // so many sub-directories of its directory
    };

    void measureListed(int directory, const std::string& path, const DirectoryEntry& entry,
                       std::uint32_t behind, DirectoryMeasure& measure) const {
        if (!measureFile(directory, entry, &m_names, measure)) {
            measure.unreadableFiles.push_back({joinedPath(path, entry.name), TreePlace(behind)});
        }
    }

    void shareFiles(const SharedDirectory& directory, const std::string& path,
                    const std::vector<ListedFile>& files, MeasureParts& parts) {
        for (std::size_t first = 0; first < files.size(); first += kFilesPerTask) {
            const std::size_t last = std::min(first + kFilesPerTask, files.size());
            std::vector<ListedFile> some(files.begin() + static_cast<std::ptrdiff_t>(first),
                                         files.begin() + static_cast<std::ptrdiff_t>(last));
            m_crew.runOrAdd([this, directory, path, some, &part = parts.rest.emplace_back()] {
                part.opened = true;
                for (const ListedFile& file : some) {
                    measureListed(directory->get(), path,
                                  {file.name.c_str(), EntryKind::File, file.isLink}, file.behind,
                                  part);
                }
                m_files.add(part.files);
            });
        }
    }

    void shareSubdirectory(const SharedDirectory& directory, const std::string& path,
                           std::string name, std::uint32_t nth, MeasureParts& parts) {
        m_crew.runOrAdd([this, directory, path, name = std::move(name), nth,
                         &part = parts.rest.emplace_back()] {
            const std::string whole = path + "/" + name;
            // Only files directly inside have a say in dates and numbers.
            const NameRules noRules;
            part = measureDirectoryAt(directory->get(), name.c_str(), whole, noRules, &m_files,
                                      m_identity);
            ++part.directories;
            part.closedDirectories += part.opened ? 0U : 1U;
            part.newest = 0;
            part.oldest = 0;
            for (DirectoryMeasure::UnreadableFile& file : part.unreadableFiles) {
                file.place.enclose(nth);
            }
        });
    }

    WorkCrew& m_crew;
    const NameRules& m_names;
    Identity m_identity;
    FileCounter m_files;
};

// The directories in an open one, each made into an item by `make`, and the names of the rest.
// Whether its reading broke off.
template <class Item, class Make>
bool listLevel(DirectoryScan& scan, std::vector<Item>& items, std::vector<std::string>& others,
               Make make) {
    for (DirectoryEntry entry{}; scan.next(entry);) {
        if (entry.kind == EntryKind::Directory) {
            items.push_back(make(entry.name));
        } else if (*entry.name != '.') {
            others.emplace_back(entry.name);
        }
    }
    return scan.failed();
}

std::string keyIn(const HashTable* table, const char* directory) {
    const char* key = table != nullptr ? table->keyOf(directory) : nullptr;
    return key != nullptr ? key : "";
}

class Reader {
public:
    explicit Reader(const ReadingOptions& options)
        : m_identity(options.identity),
          m_measurer(m_crew, options.withFrameNumbers ? kNumberedFrames : kFrameNames,
                     options.identity),
          m_stop(options.stop) {}

    // The root's directory is listed at once, what is in it when run() works. `root` must stay
    // where it is until then.
    void add(ReadRoot& root) {
        const std::string path = rootPath(root.path);
        DirectoryScan scan(openDirectory(AT_FDCWD, path.c_str(), LinkRule::Follow));
        root.state = scan.isOpen() ? RootState::Ok : stateOfClosed(path);
        if (!scan.isOpen()) {
            return;
        }
        root.tables = tablesOfRoot(root.path);
        root.isCut = listLevel(scan, root.projects, root.others, [&root](const char* name) {
            return ReadProject{.directory = name, .key = keyIn(root.tables.projects.get(), name)};
        });
        std::erase_if(root.others, [](const std::string& name) {
            return name == kProjectTable || name == kCompositionTable;
        });
        const SharedDirectory directory = share(scan.takeDescriptor());
        // Taken from the end: the first project is read first.
        for (std::size_t i = root.projects.size(); i-- > 0;) {
            addProject(directory, path, root.tables.compositions.get(), root.projects[i]);
        }
    }

    void addProject(const SharedDirectory& root, const std::string& rootPath,
                    const HashTable* compositions, ReadProject& project) {
        m_crew.add([this, root, path = rootPath + project.directory, compositions, &project] {
            readProject(*root, path, compositions, project);
        });
    }

    void run(const ReadingProgress& progress) {
        m_crew.run([this, &progress] {
            if (progress) {
                progress(m_measurer.filesSeen());
            }
        });
    }

private:
    static RootState stateOfClosed(const std::string& path) {
        struct stat status {};
        if (::stat(path.c_str(), &status) == 0) {
            return S_ISDIR(status.st_mode) ? RootState::Unreadable : RootState::NotADirectory;
        }
        return errno == ENOENT    ? RootState::Missing
               : errno == ENOTDIR ? RootState::NotADirectory
                                  : RootState::Unreadable;
    }

    bool isStopped() const { return m_stop != nullptr && m_stop->load(std::memory_order_relaxed); }

    void readProject(const UniqueFd& root, const std::string& path, const HashTable* compositions,
                     ReadProject& project) {
        if (isStopped()) {
            return;
        }
        DirectoryScan scan(openDirectory(root.get(), project.directory.c_str(), LinkRule::Follow));
        project.opened = scan.isOpen();
        if (!project.opened) {
            return;
        }
        identifyLevel(scan, project.identity);
        project.isCut =
            listLevel(scan, project.compositions, project.others, [compositions](const char* name) {
                return ReadComposition{.directory = name, .key = keyIn(compositions, name)};
            });
        const SharedDirectory directory = share(scan.takeDescriptor());
        for (ReadComposition& composition : project.compositions) {
            m_crew.runOrAdd([this, directory, path, &composition] {
                readComposition(*directory, path + "/" + composition.directory, composition);
            });
        }
    }

    void readComposition(const UniqueFd& project, const std::string& path,
                         ReadComposition& composition) {
        if (isStopped()) {
            return;
        }
        DirectoryScan scan(
            openDirectory(project.get(), composition.directory.c_str(), LinkRule::Follow));
        composition.opened = scan.isOpen();
        if (!composition.opened) {
            return;
        }
        identifyLevel(scan, composition.identity);
        composition.isCut =
            listLevel(scan, composition.features, composition.others,
                      [](const char* name) { return ReadFeature{.directory = name}; });
        const SharedDirectory directory = share(scan.takeDescriptor());
        for (ReadFeature& feature : composition.features) {
            m_crew.runOrAdd([this, directory, path, &feature] {
                if (!isStopped()) {
                    m_measurer.measure(directory->get(), feature.directory,
                                       path + "/" + feature.directory, feature.parts);
                }
            });
        }
    }

    void identifyLevel(const DirectoryScan& scan, DirectoryIdentity& identity) const {
        if (m_identity == Identity::Ask) {
            identify(scan.descriptor(), identity);
        }
    }

    Identity m_identity;
    WorkCrew m_crew;
    CrewMeasurer m_measurer;
    const std::atomic<bool>* m_stop;
};

template <class Item>
const Item* itemInDirectory(const std::vector<Item>& items, const std::string& name) {
    const auto found = std::find_if(items.begin(), items.end(),
                                    [&name](const Item& item) { return item.directory == name; });
    return found != items.end() ? &*found : nullptr;
}

} // namespace

DirectoryMeasure MeasureParts::total() const {
    DirectoryMeasure sum = own;
    for (const DirectoryMeasure& part : rest) {
        addMeasure(sum, part);
    }
    return sum;
}

// Numbers begin with blanks or a sign; hardly any name does, so hardly any is read as a number.
bool stepsAsMinusOne(const char* name) {
    return std::strchr("- \t\n\v\f\r", *name) != nullptr && decimalValue(name) == -1;
}

std::optional<std::uint64_t> frameNumber(const char* name) {
    constexpr std::ptrdiff_t kMostDigits = 19; // more may not fit a number
    std::uint64_t number = 0;
    const char* begin = name;
    while (begin[0] == '0' && begin[1] >= '0' && begin[1] <= '9') {
        ++begin;
    }
    const char* end = begin;
    for (; *end >= '0' && *end <= '9'; ++end) {
        number = number * 10 + static_cast<std::uint64_t>(*end - '0');
    }
    const std::ptrdiff_t digits = end - begin;
    const bool isFrame = digits > 0 && digits <= kMostDigits && end[0] == '.' && end[1] == 'r' &&
                         end[2] == 'a' && end[3] == 'w' && end[4] == '\0';
    return isFrame ? std::optional(number) : std::nullopt;
}

void logUnreadableFiles(const DirectoryMeasure& measure) {
    for (const std::string& path : unreadablePaths(measure)) {
        maro_logError("GetSizeOfFileContents: Could not stat on filepath: %s\n", path.c_str());
    }
}

const ReadComposition* ReadProject::inDirectory(const std::string& name) const {
    return itemInDirectory(compositions, name);
}

const ReadProject* ReadRoot::inDirectory(const std::string& name) const {
    return itemInDirectory(projects, name);
}

std::string rootPath(const std::string& root) {
    return root.empty() || root.back() != '/' ? root + "/" : root;
}

namespace {

std::shared_ptr<const HashTable> tableAt(const std::string& path, bool& isUnreadable) {
    ReadResult result = ReadResult::Whole;
    std::shared_ptr<const HashTable> table = sharedHashTable(path.c_str(), &result);
    isUnreadable = result == ReadResult::Unreadable;
    return table;
}

} // namespace

RootTables tablesOfRoot(const std::string& root) {
    const std::string path = rootPath(root);
    RootTables tables;
    tables.projects = tableAt(path + kProjectTable, tables.areProjectsUnreadable);
    tables.compositions = tableAt(path + kCompositionTable, tables.areCompositionsUnreadable);
    return tables;
}

std::string projectTablePath(const std::string& root) {
    return rootPath(root) + kProjectTable;
}

std::string compositionTablePath(const std::string& root) {
    return rootPath(root) + kCompositionTable;
}

CacheReading readCaches(const ReadingOptions& options, const ReadingProgress& progress) {
    CacheReading reading;
    reading.roots.resize(options.roots.size());
    Reader reader(options);
    // From the end: what is added last is read first.
    for (std::size_t i = options.roots.size(); i-- > 0;) {
        reading.roots[i].path = options.roots[i];
        reader.add(reading.roots[i]);
    }
    reader.run(progress);
    reading.isStopped = options.stop != nullptr && options.stop->load();
    return reading;
}

ReadProject readProject(const std::string& root, const std::string& directory,
                        const HashTable* compositions) {
    ReadProject project{.directory = directory};
    const std::string path = rootPath(root);
    const SharedDirectory opened = share(openWay(AT_FDCWD, path.c_str(), LinkRule::Follow));
    if (opened->isOpen()) {
        Reader reader(ReadingOptions{});
        reader.addProject(opened, path, compositions, project);
        reader.run(nullptr);
    }
    return project;
}

namespace {

void addProblems(const ReadProject& project, const std::string& path,
                 std::vector<ReadingProblem>& problems) {
    if (!project.opened) {
        problems.push_back({path, ProblemKind::Unreadable});
    }
    for (const ReadComposition& composition : project.compositions) {
        const std::string below = path + "/" + composition.directory;
        if (!composition.opened) {
            problems.push_back({below, ProblemKind::Unreadable});
        }
        for (const ReadFeature& feature : composition.features) {
            const DirectoryMeasure measure = feature.parts.total();
            if (!measure.opened) {
                problems.push_back({below + "/" + feature.directory, ProblemKind::Unreadable});
            }
            for (const std::string& file : unreadablePaths(measure)) {
                problems.push_back({file, ProblemKind::Unreadable});
            }
        }
    }
}

ProblemKind problemOf(RootState state) {
    return state == RootState::Missing         ? ProblemKind::Missing
           : state == RootState::NotADirectory ? ProblemKind::NotADirectory
                                               : ProblemKind::Unreadable;
}

} // namespace

std::vector<ReadingProblem> problemsOf(const CacheReading& reading) {
    std::vector<ReadingProblem> problems;
    for (const ReadRoot& root : reading.roots) {
        if (root.state != RootState::Ok) {
            problems.push_back({root.path, problemOf(root.state)});
        }
        for (const ReadProject& project : root.projects) {
            addProblems(project, rootPath(root.path) + project.directory, problems);
        }
    }
    return problems;
}

std::vector<MeasureParts> measureDirectories(const std::vector<std::string>& paths) {
    std::vector<MeasureParts> results(paths.size());
    WorkCrew crew;
    CrewMeasurer measurer(crew, kFrameNames, Identity::LeaveOut);
    for (std::size_t i = paths.size(); i-- > 0;) {
        crew.add([&measurer, &path = paths[i], &result = results[i]] {
            measurer.measure(AT_FDCWD, path, path, result);
        });
    }
    crew.run(nullptr);
    return results;
}

} // namespace corvid
