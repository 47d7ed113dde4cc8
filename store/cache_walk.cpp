#include "store/cache_walk.h"

#include "store/PISSMD5.h"
#include "store/directory_scan.h"
#include "store/work_crew.h"

#include <algorithm>

#include <fcntl.h>

namespace corvid {

namespace {

using SharedDirectory = std::shared_ptr<const UniqueFd>;

SharedDirectory share(UniqueFd directory) {
    return std::make_shared<const UniqueFd>(std::move(directory));
}

// The sub-directories of an open directory, in its order.
std::vector<std::string> subdirectories(DirectoryScan& scan) {
    std::vector<std::string> names;
    for (DirectoryEntry entry{}; scan.next(entry);) {
        if (entry.kind == EntryKind::Directory) {
            names.emplace_back(entry.name);
        }
    }
    return names;
}

// Files that a directory's reading leaves to other threads, on a volume that keeps them waiting.
constexpr std::size_t kFilesPerTask = 32;

// Measures directories on a crew's threads. A directory's numbers come together from parts, in the
// order of the directory, so that they do not depend on who read what.
class CrewMeasurer {
public:
    explicit CrewMeasurer(WorkCrew& crew) : m_crew(crew) {}

    // `parts` must stay where it is until the crew is done.
    void measure(const SharedDirectory& parent, const std::string& name, const std::string& path,
                 MeasureParts& parts) {
        DirectoryScan scan(openDirectory(parent->get(), name.c_str(), LinkRule::Follow));
        if (!scan.isOpen()) {
            return;
        }
        std::vector<std::string> subdirectoryNames;
        std::vector<std::string> waiting;
        DirectoryMeasure& own = parts.own;
        own.opened = true;
        for (DirectoryEntry entry{}; scan.next(entry);) {
            if (entry.kind == EntryKind::Directory) {
                subdirectoryNames.emplace_back(entry.name);
            } else if (waiting.empty() && !m_crew.isWaitingForVolume()) {
                measureFile(scan.descriptor(), path, entry.name, IsDirect::Yes, own);
                m_files.count(own.files);
            } else {
                waiting.emplace_back(entry.name);
            }
        }
        m_files.countRest(own.files);
        const SharedDirectory directory = share(scan.takeDescriptor());
        shareFiles(directory, path, waiting, parts);
        for (std::string& subdirectory : subdirectoryNames) {
            shareSubdirectory(directory, path, std::move(subdirectory), parts);
        }
    }

    std::uint64_t filesSeen() const { return m_files.seen(); }

private:
    void shareFiles(const SharedDirectory& directory, const std::string& path,
                    const std::vector<std::string>& names, MeasureParts& parts) {
        for (std::size_t first = 0; first < names.size(); first += kFilesPerTask) {
            const std::size_t last = std::min(first + kFilesPerTask, names.size());
            std::vector<std::string> some(names.begin() + static_cast<std::ptrdiff_t>(first),
                                          names.begin() + static_cast<std::ptrdiff_t>(last));
            m_crew.runOrAdd([this, directory, path, some, &part = parts.rest.emplace_back()] {
                part.opened = true;
                for (const std::string& name : some) {
                    measureFile(directory->get(), path, name.c_str(), IsDirect::Yes, part);
                }
                m_files.add(part.files);
            });
        }
    }

    void shareSubdirectory(const SharedDirectory& directory, const std::string& path,
                           std::string name, MeasureParts& parts) {
        m_crew.runOrAdd(
            [this, directory, path, name = std::move(name), &part = parts.rest.emplace_back()] {
                const std::string whole = path + "/" + name;
                part = measureDirectoryAt(directory->get(), name.c_str(), whole, &m_files);
                part.newest = 0; // only files directly inside have a say in the date
            });
    }

    WorkCrew& m_crew;
    FileCounter m_files;
};

class ProjectWalker {
public:
    ProjectWalker(const std::vector<ProjectToWalk>& projects, std::vector<WalkedProject>& results)
        : m_measurer(m_crew) {
        // Taken from the end: the first project is read first.
        for (std::size_t i = projects.size(); i-- > 0;) {
            m_crew.add([this, &project = projects[i], &result = results[i]] {
                readProject(project, result);
            });
        }
    }

    void run(const WalkProgress& progress) {
        m_crew.run([this, &progress] {
            if (progress) {
                progress(m_measurer.filesSeen());
            }
        });
    }

private:
    void readProject(const ProjectToWalk& project, WalkedProject& result) {
        DirectoryScan scan(openDirectory(AT_FDCWD, project.path.c_str(), LinkRule::Follow));
        result.opened = scan.isOpen();
        if (!result.opened) {
            return;
        }
        const std::vector<std::string> names = subdirectories(scan);
        for (std::size_t i = 0; i < names.size(); ++i) {
            const char* key =
                project.compositions != nullptr ? project.compositions->keyOf(names[i]) : nullptr;
            if (key == nullptr) {
                result.unnamed = names[i];
                result.unnamedSteps = names.size() - i;
                break;
            }
            result.items.push_back({names[i], key, isNamedByKey(names[i], key), {}});
        }
        const SharedDirectory directory = share(scan.takeDescriptor());
        for (WalkedComposition& composition : result.items) {
            if (composition.isNamedByKey) {
                m_crew.runOrAdd([this, directory, &project, &composition] {
                    readComposition(*directory, project.path, composition);
                });
            }
        }
    }

    void readComposition(const UniqueFd& parent, const std::string& projectPath,
                         WalkedComposition& composition) {
        DirectoryScan scan(
            openDirectory(parent.get(), composition.directory.c_str(), LinkRule::Follow));
        WalkedLevel<WalkedFeature>& features = composition.features;
        features.opened = scan.isOpen();
        if (!features.opened) {
            return;
        }
        for (std::string& name : subdirectories(scan)) {
            features.items.push_back({std::move(name), {}});
        }
        const SharedDirectory directory = share(scan.takeDescriptor());
        for (WalkedFeature& feature : features.items) {
            m_crew.runOrAdd([this, directory, &projectPath, &composition, &feature] {
                const std::string path =
                    projectPath + "/" + composition.directory + "/" + feature.name;
                m_measurer.measure(directory, feature.name, path, feature.parts);
            });
        }
    }

    WorkCrew m_crew;
    CrewMeasurer m_measurer;
};

} // namespace

DirectoryMeasure MeasureParts::total() const {
    DirectoryMeasure sum = own;
    for (const DirectoryMeasure& part : rest) {
        addMeasure(sum, part);
    }
    return sum;
}

bool isNamedByKey(const std::string& directory, const std::string& key) {
    char hash[kPrintableHashSize];
    _MD5GetPrintableHash(key.c_str(), hash);
    return directory == hash;
}

std::vector<WalkedProject> walkProjects(const std::vector<ProjectToWalk>& projects,
                                        const WalkProgress& progress) {
    std::vector<WalkedProject> results(projects.size());
    ProjectWalker walker(projects, results);
    walker.run(progress);
    return results;
}

std::vector<MeasureParts> measureDirectories(const std::vector<std::string>& paths) {
    std::vector<MeasureParts> results(paths.size());
    WorkCrew crew;
    CrewMeasurer measurer(crew);
    const SharedDirectory start = share(UniqueFd(::open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC)));
    for (std::size_t i = paths.size(); i-- > 0;) {
        crew.add([&measurer, &start, &path = paths[i], &result = results[i]] {
            measurer.measure(start, path, path, result);
        });
    }
    crew.run(nullptr);
    return results;
}

} // namespace corvid
