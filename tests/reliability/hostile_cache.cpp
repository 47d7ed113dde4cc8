#include "tests/reliability/hostile_cache.h"

#include "files/directory_scan.h"
#include "files/unique_fd.h"
#include "tests/reliability/runs.h"
#include "tests/support/frame_cache_levels.h"
#include "tests/support/product_root.h"
#include "tools/sample_plan.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace corvid::test {
namespace {

constexpr int kNestLevels = kSanitized ? 1000 : 4000;
constexpr std::size_t kLongestName = 255;

std::string randomBytes(SampleNumbers& numbers, std::size_t length) {
    std::string bytes;
    while (bytes.size() < length) {
        const auto byte = static_cast<char>(1 + numbers.below(255));
        if (byte != '/') {
            bytes.append(1, byte);
        }
    }
    return bytes;
}

// A name that means something to a shell, an option parser, a printing function or a terminal, or
// that is simply odd.
std::string hostileName(SampleNumbers& numbers) {
    static const char* const kNames[] = {"$(touch canary)",
                                         "`touch canary`",
                                         "a\"; touch canary; \"",
                                         "; touch canary;",
                                         "| touch canary",
                                         "\ntouch canary\n",
                                         "-rf",
                                         "--help",
                                         "%s%n%d%999999d",
                                         "\\",
                                         "\\\"",
                                         "'",
                                         "*",
                                         "?",
                                         "[a-z]",
                                         "~",
                                         "$HOME",
                                         " ",
                                         "\t",
                                         "\n",
                                         "#",
                                         "...",
                                         "..x",
                                         ".hidden",
                                         ".removed",
                                         "-1",
                                         "00000001.raw\n",
                                         "\xff\xfe",
                                         "\xc3",
                                         "\xe2\x80\xae"};
    switch (numbers.below(4)) {
    case 0:
        return randomBytes(numbers, kLongestName);
    case 1:
        return "x" + randomBytes(numbers, 1 + numbers.below(40));
    default:
        return kNames[numbers.below(std::size(kNames))];
    }
}

// The same as a key, which may hold a "/" but has to stand in a table's line.
std::string hostileKey(SampleNumbers& numbers, std::size_t number) {
    std::string key = numbers.oneIn(3) ? "/Jobs/../" + hostileName(numbers) : hostileName(numbers);
    std::replace(key.begin(), key.end(), '\n', 'n');
    const std::size_t start = key.find_first_not_of(" \t");
    return (start != std::string::npos ? key.substr(start) : "") + std::to_string(number);
}

std::string frameName(SampleNumbers& numbers) {
    char name[32];
    static_cast<void>(std::snprintf(name, sizeof(name), "%.8d.raw", numbers.upTo(99)));
    return numbers.oneIn(3) ? hostileName(numbers) : name;
}

// Every step is taken from an open directory, so that no link that was made leads a later one away.
class Builder {
public:
    Builder(SampleNumbers& numbers, std::string guarded, const HostileOptions& options)
        : m_numbers(numbers), m_guarded(std::move(guarded)), m_options(options) {}

    // A directory that `fill` fills, and that may be closed afterwards.
    template <class Fill>
    void addDirectory(int parent, const std::string& name, Fill fill, bool staysOpen = false) {
        ::mkdirat(parent, name.c_str(), 0777);
        const UniqueFd directory = openDirectory(parent, name.c_str(), LinkRule::Refuse);
        if (directory.isOpen()) {
            fill(directory.get());
            if (!staysOpen && m_numbers.oneIn(12)) {
                static constexpr mode_t kModes[] = {0000, 0300, 0400, 0500, 0600};
                ::fchmod(directory.get(), kModes[m_numbers.below(std::size(kModes))]);
            }
        }
    }

    // The same, or, now and then, anything else or nothing in its place.
    template <class Fill>
    void addDirectoryOrOther(int parent, const std::string& name, Fill fill) {
        switch (m_numbers.below(10)) {
        case 0:
            break;
        case 1:
            addFile(parent, name);
            break;
        case 2:
            addLink(parent, name);
            break;
        default:
            addDirectory(parent, name, fill);
        }
    }

    void addFiles(int directory, int most) {
        for (int i = m_numbers.upTo(most); i > 0; --i) {
            addFile(directory, frameName(m_numbers));
        }
    }

    // Files, and directories in directories.
    void addContents(int directory, int levels) {
        addFiles(directory, 6);
        if (levels > 0 && m_numbers.oneIn(3)) {
            addDirectory(directory, hostileName(m_numbers),
                         [this, levels](int inner) { addContents(inner, levels - 1); });
        }
    }

    void addNest(int parent) {
        const std::string name(1 + m_numbers.below(200), 'n');
        UniqueFd directory(::fcntl(parent, F_DUPFD_CLOEXEC, 0));
        for (int level = 0; level < kNestLevels && directory.isOpen(); ++level) {
            ::mkdirat(directory.get(), name.c_str(), 0777);
            directory = openDirectory(directory.get(), name.c_str(), LinkRule::Refuse);
            if (m_numbers.oneIn(20)) {
                addRegular(directory.get(), "frame");
            }
        }
    }

    void addFile(int parent, const std::string& name) {
        switch (m_numbers.below(12)) {
        case 0:
        case 1:
            addLink(parent, name);
            break;
        case 2:
            ::mkfifoat(parent, name.c_str(), 0666);
            break;
        case 3:
            ::mknodat(parent, name.c_str(), S_IFSOCK | 0666, 0);
            break;
        case 4:
            addSparse(parent, name);
            break;
        case 5:
            ::linkat(AT_FDCWD, (m_guarded + "/file").c_str(), parent, name.c_str(), 0);
            break;
        default:
            addRegular(parent, name);
        }
    }

private:
    UniqueFd create(int parent, const std::string& name) {
        return UniqueFd(::openat(parent, name.c_str(),
                                 O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666));
    }

    void addRegular(int parent, const std::string& name) {
        const UniqueFd file = create(parent, name);
        if (!file.isOpen()) {
            return; // the name is taken
        }
        const std::string bytes(m_numbers.below(3000), 'x');
        static_cast<void>(::write(file.get(), bytes.data(), bytes.size()));
        if (m_numbers.oneIn(3)) {
            const auto date = static_cast<std::time_t>(m_numbers.below(1U << 31U)) - 1000;
            const timespec times[2] = {{date, 0}, {date, 0}};
            ::futimens(file.get(), times);
        }
        if (m_numbers.oneIn(25)) {
            static constexpr mode_t kModes[] = {0000, 0200, 0400, 0444};
            ::fchmod(file.get(), kModes[m_numbers.below(std::size(kModes))]);
        }
    }

    void addSparse(int parent, const std::string& name) {
        const UniqueFd file = create(parent, name);
        if (file.isOpen()) { // a file system that knows no such size leaves it empty
            static_cast<void>(::ftruncate(file.get(), static_cast<off_t>(m_options.sparseBytes)));
        }
    }

    void addLink(int parent, const std::string& name) {
        const std::string targets[] = {m_options.hasLinksToTheMachine ? "/" : m_guarded,
                                       "..",
                                       "../..",
                                       ".",
                                       "nowhere",
                                       "/dev/zero",
                                       name,
                                       "./" + name + "/x",
                                       m_guarded,
                                       m_guarded + "/",
                                       m_guarded + "/inner",
                                       m_guarded + "/file"};
        ::symlinkat(targets[m_numbers.below(std::size(targets))].c_str(), parent, name.c_str());
    }

    SampleNumbers& m_numbers;
    std::string m_guarded;
    HostileOptions m_options;
};

std::vector<HostileProject> namedProjects(SampleNumbers& numbers) {
    std::vector<HostileProject> projects;
    std::size_t key = 0;
    std::vector<std::string> shared; // compositions of one key in several projects
    for (int i = 1 + numbers.upTo(3); i > 0; --i) {
        HostileProject& project = projects.emplace_back();
        project.key = hostileKey(numbers, ++key);
        project.directory = hashOf(project.key);
        for (int j = 1 + numbers.upTo(2); j > 0; --j) {
            HostileComposition composition;
            const bool isShared = !shared.empty() && numbers.oneIn(3);
            composition.key =
                isShared ? shared[numbers.below(shared.size())] : hostileKey(numbers, ++key);
            shared.push_back(composition.key);
            composition.directory = hashOf(composition.key);
            composition.features = {KAVRO_FEATURE_SUBDIRS[numbers.below(3)]};
            for (int k = numbers.upTo(2); k > 0; --k) {
                composition.features.push_back(hostileName(numbers));
            }
            project.compositions.push_back(std::move(composition));
        }
    }
    return projects;
}

// Puts the directories that the tables name, and a few that they do not, into a root.
class RootBuilder {
public:
    RootBuilder(SampleNumbers& numbers, Builder& builder, bool isDeep)
        : m_numbers(numbers), m_builder(builder), m_isDeep(isDeep) {}

    void add(int root, const std::vector<HostileProject>& projects) {
        addFirst(root, projects.front());
        for (std::size_t i = 1; i < projects.size(); ++i) {
            m_builder.addDirectoryOrOther(root, projects[i].directory, [&](int directory) {
                addCompositions(directory, projects[i].compositions, 0);
            });
        }
        addStrangers(root);
    }

private:
    // The project that is there in any case, with a composition that is, too.
    void addFirst(int root, const HostileProject& project) {
        const auto fill = [&](int directory) {
            const HostileComposition& first = project.compositions.front();
            const auto fillFirst = [&](int inner) {
                addFeatures(inner, first);
                if (m_isDeep) {
                    m_builder.addNest(inner);
                }
            };
            m_builder.addDirectory(directory, first.directory, fillFirst, true);
            addCompositions(directory, project.compositions, 1);
        };
        m_builder.addDirectory(root, project.directory, fill, true);
    }
    void addCompositions(int directory, const std::vector<HostileComposition>& compositions,
                         std::size_t first) {
        for (std::size_t i = first; i < compositions.size(); ++i) {
            m_builder.addDirectoryOrOther(directory, compositions[i].directory,
                                          [&](int inner) { addFeatures(inner, compositions[i]); });
        }
        addStrangers(directory);
    }
    void addFeatures(int directory, const HostileComposition& composition) {
        for (const std::string& feature : composition.features) {
            m_builder.addDirectoryOrOther(directory, feature,
                                          [this](int inner) { m_builder.addContents(inner, 4); });
        }
        m_builder.addFiles(directory, 1);
    }
    void addStrangers(int directory) {
        m_builder.addFiles(directory, 2);
        if (m_numbers.oneIn(8)) {
            m_builder.addDirectory(directory, hostileName(m_numbers), [](int) {});
        }
    }

    SampleNumbers& m_numbers;
    Builder& m_builder;
    bool m_isDeep;
};

} // namespace

HostileCache::HostileCache(std::string path, const std::string& guarded,
                           const HostileOptions& options)
    : m_path(std::move(path)) {
    SampleNumbers numbers(options.seed);
    Builder builder(numbers, guarded, options);
    m_projects = namedProjects(numbers);
    makeDirectory(m_path);
    const UniqueFd root = openDirectory(AT_FDCWD, m_path.c_str(), LinkRule::Follow);
    RootBuilder(numbers, builder, options.isDeep).add(root.get(), m_projects);
    writeTables();
    writeDecoys(guarded);
}

// Whoever follows a link there in the place of a project or of a composition finds what it looks
// for.
void HostileCache::writeDecoys(const std::string& guarded) const {
    for (const HostileProject& project : m_projects) {
        for (const HostileComposition& composition : project.compositions) {
            for (const std::string& feature : composition.features) {
                writeFile(guarded + "/" + feature + "/00000000.raw", "kept");
                writeFile(guarded + "/" + composition.directory + "/" + feature + "/00000000.raw",
                          "kept");
            }
        }
    }
}

void HostileCache::writeTables() const {
    std::string projects;
    std::string compositions;
    for (const HostileProject& project : m_projects) {
        projects.append(project.directory).append(" ").append(project.key).append("\n");
        for (const HostileComposition& composition : project.compositions) {
            compositions.append(composition.directory).append(" ");
            compositions.append(composition.key).append("\n");
        }
    }
    writeFile(m_path + "/ProjectHash.txt", projects);
    writeFile(m_path + "/CompositionHash.txt", compositions);
}

} // namespace corvid::test
