#include "upkeep/cache_list.h"

#include "files/directory_scan.h"
#include "files/path_text.h"
#include "store/features.h"
#include "upkeep/answer_in_time.h"
#include "upkeep/item_names.h"

#include <algorithm>
#include <memory>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/sysmacros.h>

namespace corvid {

const char* ListedFeature::label() const {
    const Feature* feature = featureOfDirectory(directory);
    return feature != nullptr ? feature->label : nullptr;
}

namespace {

using SharedFiles = std::vector<DirectoryMeasure::SharedFile>;

// Numbers whose files of several names are not counted yet.
struct Sum {
    ListNumbers numbers;
    SharedFiles shared;

    void add(const ListNumbers& part, const SharedFiles& files) {
        numbers.bytes += part.bytes;
        numbers.allocated += part.allocated;
        numbers.files += part.files;
        numbers.newest = std::max(numbers.newest, part.newest);
        if (part.oldest != 0) {
            numbers.oldest =
                numbers.oldest == 0 ? part.oldest : std::min(numbers.oldest, part.oldest);
        }
        shared.insert(shared.end(), files.begin(), files.end());
    }
    void add(const Sum& part) { add(part.numbers, part.shared); }
    void add(const DirectoryMeasure& measure) {
        add({.bytes = measure.bytes,
             .allocated = measure.allocated,
             .files = measure.files,
             .newest = measure.newest,
             .oldest = measure.newest != 0 ? measure.oldest : 0},
            measure.sharedFiles);
    }
    ListNumbers total() {
        ListNumbers whole = numbers;
        whole.allocated += allocatedOnce(shared);
        return whole;
    }
};

// A volume's first answer.
struct RootProbe {
    std::optional<ListedVolume> volume;
};

RootProbe probe(const std::string& root) {
    const UniqueFd directory = openDirectory(AT_FDCWD, root.c_str(), LinkRule::Follow);
    struct stat status {};
    struct statvfs volume {};
    if (!directory.isOpen() || ::fstat(directory.get(), &status) != 0 ||
        ::fstatvfs(directory.get(), &volume) != 0) {
        return {};
    }
    return {ListedVolume{.id = std::to_string(major(status.st_dev)) + ":" +
                               std::to_string(minor(status.st_dev)),
                         .total = static_cast<std::uint64_t>(volume.f_blocks) * volume.f_frsize,
                         .free = static_cast<std::uint64_t>(volume.f_bavail) * volume.f_frsize}};
}

// Gone only when its folder can be listed and does not have it.
ProjectFile findProjectFile(const std::string& key) {
    struct stat status {};
    if (key.empty() || key.front() != '/') {
        return ProjectFile::Unknown;
    }
    if (::stat(key.c_str(), &status) == 0) {
        return ProjectFile::Present;
    }
    const std::string name(lastComponent(key));
    const std::string folder = key.substr(0, key.rfind('/') + 1);
    DirectoryScan scan(openDirectory(AT_FDCWD, folder.c_str(), LinkRule::Follow));
    if (!scan.isOpen()) {
        return ProjectFile::Unknown;
    }
    for (DirectoryEntry entry{}; scan.next(entry);) {
        if (name == entry.name) {
            return ProjectFile::Unknown; // a link to a volume that is away
        }
    }
    return scan.failed() ? ProjectFile::Unknown : ProjectFile::Gone;
}

bool looksLikeHash(const std::string& name) {
    constexpr std::size_t kHashLength = 32;
    return name.size() == kHashLength &&
           name.find_first_not_of("0123456789abcdef") == std::string::npos;
}

template <class Item>
void sortByDirectory(std::vector<Item>& items) {
    std::sort(items.begin(), items.end(),
              [](const Item& left, const Item& right) { return left.directory < right.directory; });
}

// Turns the reading of one root into what is listed of it, with everything that is not summed up
// yet.
class RootLister {
public:
    // Of an interrupted reading only what it came to is listed, and what it did not come to is no
    // problem.
    RootLister(ListedRoot& root, std::vector<ListProblem>& problems, bool isInterrupted)
        : m_root(root), m_path(rootPath(root.path)), m_problems(problems),
          m_isInterrupted(isInterrupted) {}

    void list(ReadRoot& read) {
        const RootTables& tables = read.tables;
        m_areProjectsKnown = isKnown(tables.projects.get(), tables.areProjectsUnreadable,
                                     projectTablePath(m_root.path));
        m_areCompositionsKnown =
            isKnown(tables.compositions.get(), tables.areCompositionsUnreadable,
                    compositionTablePath(m_root.path));
        noteIfCut(read.isCut, "");
        for (ReadProject& project : read.projects) {
            if (m_isInterrupted && !project.opened) {
                continue;
            }
            if (project.isNamed()) {
                m_root.projects.push_back(listed(project));
            } else if (m_areProjectsKnown) {
                addStray(project.directory, StrayKind::UnnamedProject,
                         [&] { return contentsOf(project); });
            }
        }
        addForeignFiles("", read.others);
        sortByDirectory(m_root.projects);
        std::sort(m_root.strays.begin(), m_root.strays.end(),
                  [](const ListedStray& left, const ListedStray& right) {
                      return left.path < right.path;
                  });
    }

private:
    ListedProject listed(ReadProject& read) {
        ListedProject project{.directory = read.directory, .key = read.key};
        noteUnlessOpened(read.opened, read.directory);
        noteIfCut(read.isCut, read.directory);
        for (ReadComposition& composition : read.compositions) {
            const std::string path = read.directory + "/" + composition.directory;
            if (m_isInterrupted && !composition.opened) {
                continue;
            }
            if (composition.isNamed()) {
                project.compositions.push_back(listed(composition, path));
            } else if (m_areCompositionsKnown) {
                addStray(path, StrayKind::UnnamedComposition,
                         [&] { return contentsOf(composition, path); });
            }
        }
        addForeignFiles(read.directory + "/", read.others);
        sortByDirectory(project.compositions);
        return project;
    }

    ListedComposition listed(ReadComposition& read, const std::string& path) {
        ListedComposition composition{.directory = read.directory, .key = read.key};
        noteUnlessOpened(read.opened, path);
        noteIfCut(read.isCut, path);
        composition.features.reserve(read.features.size());
        for (ReadFeature& feature : read.features) {
            if (m_isInterrupted && !feature.parts.own.opened) {
                continue;
            }
            const DirectoryMeasure measure = measured(feature, path);
            Sum sum;
            sum.add(measure);
            composition.features.push_back({.directory = std::move(feature.directory),
                                            .numbers = sum.numbers,
                                            .firstFrame = measure.firstNumber,
                                            .lastFrame = measure.lastNumber,
                                            .shared = measure.sharedFiles});
        }
        addForeignFiles(path + "/", read.others);
        sortByDirectory(composition.features);
        return composition;
    }

    DirectoryMeasure measured(const ReadFeature& feature, const std::string& composition) {
        DirectoryMeasure measure = feature.parts.total();
        const std::string path = composition + "/" + feature.directory;
        noteUnlessOpened(measure.opened, path);
        if (measure.closedDirectories > 0) {
            m_problems.push_back({.path = m_path + path,
                                  .kind = ListProblemKind::Unreadable,
                                  .message = "A folder in it cannot be read, or not to its end.",
                                  .count = measure.closedDirectories});
        }
        if (!measure.unreadableFiles.empty()) {
            const std::size_t count = measure.unreadableFiles.size();
            m_problems.push_back(
                {.path = m_path + path,
                 .kind = ListProblemKind::Unreadable,
                 .message = count == 1 ? "One file could not be looked at."
                                       : std::to_string(count) + " files could not be looked at.",
                 .count = count});
        }
        return measure;
    }

    // Whether it is known whom the table names. Else nothing is called unnamed for it.
    bool isKnown(const HashTable* table, bool isUnreadable, const std::string& path) {
        if (isUnreadable) {
            m_problems.push_back({path, ListProblemKind::Unreadable, "The table cannot be read."});
        }
        const bool isDamaged = table != nullptr && table->oddHashes() > 0;
        if (isDamaged) {
            m_problems.push_back({path, ListProblemKind::Damaged, "The table is damaged."});
        }
        return !isUnreadable && !isDamaged;
    }

    void noteIfCut(bool isCut, const std::string& path) {
        if (isCut) {
            m_problems.push_back({m_path + path, ListProblemKind::Unreadable,
                                  "The folder could not be read to its end."});
        }
    }

    void noteUnlessOpened(bool isOpened, const std::string& path) {
        if (!isOpened && !m_isInterrupted) {
            m_problems.push_back(
                {m_path + path, ListProblemKind::Unreadable, "The folder cannot be read."});
        }
    }

    // All that lies in a directory that no table names.
    Sum contentsOf(const ReadProject& read) {
        Sum sum;
        noteUnlessOpened(read.opened, read.directory);
        for (const ReadComposition& composition : read.compositions) {
            sum.add(contentsOf(composition, read.directory + "/" + composition.directory));
        }
        addFiles(sum, read.directory + "/", read.others);
        return sum;
    }
    Sum contentsOf(const ReadComposition& read, const std::string& path) {
        Sum sum;
        noteUnlessOpened(read.opened, path);
        for (const ReadFeature& feature : read.features) {
            sum.add(measured(feature, path));
        }
        addFiles(sum, path + "/", read.others);
        return sum;
    }
    void addFiles(Sum& sum, const std::string& folder, const std::vector<std::string>& names) {
        for (const std::string& name : names) {
            sum.add(fileNumbers(folder + name));
        }
    }

    Sum fileNumbers(const std::string& path) {
        static constexpr NameRules kEveryFileHasADate;
        const std::string whole = m_path + path;
        struct stat status {};
        const bool isLink = ::lstat(whole.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
        DirectoryMeasure measure;
        if (!measureFile(AT_FDCWD, {whole.c_str(), EntryKind::File, isLink}, &kEveryFileHasADate,
                         measure) &&
            !isLink) {
            m_problems.push_back(
                {whole, ListProblemKind::Unreadable, "The file could not be looked at."});
        }
        Sum sum;
        sum.add(measure);
        return sum;
    }

    void addForeignFiles(const std::string& folder, const std::vector<std::string>& names) {
        for (const std::string& name : names) {
            addSum(folder + name, StrayKind::Foreign, fileNumbers(folder + name));
        }
    }

    // A directory that no table names; hidden ones are left out.
    template <class Contents>
    void addStray(const std::string& path, StrayKind kind, Contents contents) {
        const std::string name(lastComponent(path));
        if (name.front() != '.') {
            addSum(path, looksLikeHash(name) ? kind : StrayKind::Foreign, contents());
        }
    }
    void addSum(const std::string& path, StrayKind kind, Sum sum) {
        m_root.strays.push_back(
            {.path = path, .kind = kind, .numbers = sum.numbers, .shared = std::move(sum.shared)});
    }

    ListedRoot& m_root;
    const std::string m_path; // with "/" at its end
    std::vector<ListProblem>& m_problems;
    const bool m_isInterrupted;
    bool m_areProjectsKnown = true;
    bool m_areCompositionsKnown = true;
};

ListedState listedState(RootState state) {
    switch (state) {
    case RootState::Ok:
        return ListedState::Ok;
    case RootState::Missing:
        return ListedState::Missing;
    case RootState::NotADirectory:
        return ListedState::NotADirectory;
    case RootState::Unreadable:
        break;
    }
    return ListedState::Unreadable;
}

ListProblem rootProblem(const ListedRoot& root, std::chrono::milliseconds timeout) {
    switch (root.state) {
    case ListedState::Missing:
        return {root.path, ListProblemKind::Missing, "The cache root does not exist."};
    case ListedState::NotADirectory:
        return {root.path, ListProblemKind::NotADirectory, "The cache root is not a folder."};
    case ListedState::TimedOut:
        return {root.path, ListProblemKind::TimedOut,
                "The volume did not answer within " + std::to_string(timeout.count()) + " ms."};
    case ListedState::Ok:
    case ListedState::Unreadable:
        break;
    }
    return {root.path, ListProblemKind::Unreadable, "The cache root cannot be read."};
}

// Shared with a thread that may be left behind.
struct ProjectFileQuestions {
    std::vector<std::string> keys;
    std::vector<ProjectFile> answers;
    std::atomic<std::size_t> answered = 0; // so many from the first on
};

// Asks for all project files; those of a folder that does not answer, and all behind it, stay
// unknown.
void findProjectFiles(CacheList& list, std::chrono::milliseconds timeout) {
    const auto questions = std::make_shared<ProjectFileQuestions>();
    std::vector<ListedProject*> projects;
    for (ListedRoot& root : list.roots) {
        for (ListedProject& project : root.projects) {
            projects.push_back(&project);
            questions->keys.push_back(project.key);
        }
    }
    questions->answers.resize(projects.size());
    const bool isFinished = finishInTime(
        timeout,
        [questions] {
            for (std::size_t i = 0; i < questions->keys.size(); ++i) {
                questions->answers[i] = findProjectFile(questions->keys[i]);
                questions->answered.store(i + 1, std::memory_order_release);
            }
        },
        [&questions] { return questions->answered.load(); });
    const std::size_t answered = questions->answered.load(std::memory_order_acquire);
    for (std::size_t i = 0; i < answered; ++i) {
        projects[i]->projectFile = questions->answers[i];
    }
    if (!isFinished && answered < projects.size()) {
        list.problems.push_back({questions->keys[answered], ListProblemKind::TimedOut,
                                 "The project's folder did not answer."});
    }
}

// From the features upwards.
class SummingUp {
public:
    explicit SummingUp(CacheList& list) : m_list(list) {}

    void run() {
        Sum all;
        Sum strays;
        for (ListedRoot& root : m_list.roots) {
            Sum sum;
            for (ListedProject& project : root.projects) {
                sum.add(sumOf(project));
            }
            root.numbers = sum.total();
            all.add(sum);
            for (ListedStray& stray : root.strays) {
                strays.add(stray.numbers, stray.shared);
                stray.numbers.allocated += allocatedOnce(stray.shared);
                ++m_list.strays.count;
            }
            m_list.projects += root.projects.size();
        }
        m_list.totals = all.total();
        m_list.strays.numbers = strays.total();
    }

private:
    Sum sumOf(ListedProject& project) {
        Sum sum;
        for (ListedComposition& composition : project.compositions) {
            sum.add(sumOf(composition));
        }
        project.numbers = sum.total();
        m_list.compositions += project.compositions.size();
        return sum;
    }
    Sum sumOf(ListedComposition& composition) {
        Sum sum;
        for (ListedFeature& feature : composition.features) {
            sum.add(feature.numbers, feature.shared);
            feature.numbers.allocated += allocatedOnce(feature.shared);
        }
        composition.numbers = sum.total();
        m_list.features += composition.features.size();
        return sum;
    }

    CacheList& m_list;
};

// Which roots answer; the others get their state.
std::vector<std::string> probeRoots(CacheList& list, const ListOptions& options) {
    std::vector<std::string> answering;
    for (const std::string& path : options.roots) {
        if (options.stop != nullptr && *options.stop) {
            break;
        }
        ListedRoot& root = list.roots.emplace_back();
        root.path = path;
        const std::optional<RootProbe> answer =
            answerInTime(options.timeout, [path = rootPath(path)] { return probe(path); });
        if (answer) {
            root.volume = answer->volume;
            answering.push_back(path);
        } else {
            root.state = ListedState::TimedOut;
        }
    }
    return answering;
}

} // namespace

CacheList listCaches(const ListOptions& options, const ReadingProgress& progress) {
    CacheList list;
    std::vector<std::string> answering = probeRoots(list, options);
    CacheReading reading = readCaches(
        {.roots = std::move(answering), .stop = options.stop, .withFrameNumbers = true}, progress);
    list.isInterrupted = reading.isStopped;
    std::size_t next = 0;
    for (ListedRoot& root : list.roots) {
        if (root.state != ListedState::TimedOut) {
            ReadRoot& read = reading.roots[next++];
            root.state = listedState(read.state);
            if (root.state == ListedState::Ok) {
                RootLister(root, list.problems, list.isInterrupted).list(read);
            }
            read = {}; // its memory is wanted
        }
        if (root.state != ListedState::Ok) {
            root.volume.reset();
            list.problems.push_back(rootProblem(root, options.timeout));
        }
    }
    if (!list.isInterrupted) {
        if (!options.items.empty()) {
            keepItems(list, options.items);
        }
        findProjectFiles(list, options.timeout);
    } else if (!options.items.empty()) {
        list.roots.clear(); // whether the items are there is not known
    }
    SummingUp(list).run();
    return list;
}

} // namespace corvid
