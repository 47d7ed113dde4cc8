#include "tools/sample_root_writer.h"

#include "store/PISSMD5.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace corvid {

namespace {

constexpr std::int64_t kMinute = 60;

UniqueFd makeDirectory(int parent, const std::string& name) {
    if (::mkdirat(parent, name.c_str(), 0777) != 0 && errno != EEXIST) {
        failSample("mkdir " + name);
    }
    UniqueFd directory(::openat(parent, name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!directory.isOpen()) {
        failSample("open " + name);
    }
    return directory;
}

void makeFile(int directory, const char* name, std::uint64_t bytes, std::int64_t date) {
    const UniqueFd file(::openat(directory, name, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
    const timespec seconds{static_cast<std::time_t>(date), 0};
    const timespec dates[2] = {seconds, seconds};
    if (!file.isOpen() || (bytes > 0 && ::ftruncate(file.get(), static_cast<off_t>(bytes)) != 0) ||
        ::futimens(file.get(), dates) != 0) {
        failSample(std::string("file ") + name);
    }
}

// Writes one feature and adds up what a reader has to find in it.
class FeatureWriter {
public:
    FeatureWriter(int composition, const FeaturePlan& plan, SampleNumbers& numbers)
        : m_plan(plan), m_numbers(numbers), m_directory(makeDirectory(composition, plan.name)) {}

    SampleNode write(const std::string& compositionPath) {
        m_node.name = m_plan.name;
        m_node.path = compositionPath + "/" + m_plan.name;
        writeFrames();
        writeOddFiles();
        writeNestedFiles();
        // Nothing is dated 1970 in earnest: a reader takes that for no date at all.
        m_node.newest = m_newest > 0 ? SampleDate{SampleDate::Kind::Known, m_newest}
                                     : SampleDate{SampleDate::Kind::TimeOfReading, 0};
        return std::move(m_node);
    }

private:
    void count(std::uint64_t bytes, std::int64_t date) {
        m_node.bytes += bytes;
        ++m_node.files;
        m_newest = std::max(m_newest, date);
    }

    void writeFrames() {
        for (std::uint64_t i = 0; i < m_plan.frames; ++i) {
            char name[32];
            static_cast<void>(std::snprintf(name, sizeof(name), "%.8llu.raw",
                                            static_cast<unsigned long long>(i)));
            const std::uint64_t bytes =
                m_plan.leastBytes + m_numbers.below(m_plan.mostBytes - m_plan.leastBytes + 1);
            const auto age = static_cast<std::int64_t>((m_plan.frames - 1 - i) % 50);
            const std::int64_t date =
                m_plan.newest > 0 ? m_plan.newest - age * kMinute : m_plan.newest;
            makeFile(m_directory.get(), name, bytes, date);
            count(bytes, date);
            if (i == 0) {
                m_firstBytes = bytes;
                m_firstDate = date;
            }
        }
    }

    void writeOddFiles() {
        const std::int64_t older = m_plan.newest > 0 ? m_plan.newest - kDay : m_plan.newest;
        for (int i = 0; i < m_plan.hiddenFiles + m_plan.otherFiles; ++i) {
            const bool hidden = i < m_plan.hiddenFiles;
            const std::string name = (hidden ? ".hidden " : "notes ") + std::to_string(i) + ".txt";
            makeFile(m_directory.get(), name.c_str(), 37, older);
            count(37, older);
        }
        for (int i = 0; i < m_plan.links && m_plan.frames > 0; ++i) {
            const std::string target = (i % 2 == 0 ? "" : m_node.path + "/") + "00000000.raw";
            const std::string name = "link " + std::to_string(i) + ".raw";
            if (::symlinkat(target.c_str(), m_directory.get(), name.c_str()) != 0) {
                failSample("link " + name);
            }
            count(m_firstBytes, m_firstDate);
        }
    }

    // They count as files, but their dates, the newest of all, must not show.
    void writeNestedFiles() {
        UniqueFd directory;
        for (int i = 0; i < m_plan.nestedFiles; ++i) {
            const int parent = directory.isOpen() ? directory.get() : m_directory.get();
            directory = makeDirectory(parent, i % 2 == 0 ? "nested" : ".deeper");
            makeFile(directory.get(), "00000001.raw", 1000, m_plan.newest + kDay);
            m_node.bytes += 1000;
            ++m_node.files;
        }
    }

    const FeaturePlan& m_plan;
    SampleNumbers& m_numbers;
    UniqueFd m_directory;
    SampleNode m_node;
    std::int64_t m_newest = 0;
    std::uint64_t m_firstBytes = 0;
    std::int64_t m_firstDate = 0;
};

// The names of a directory in its own order.
std::vector<std::string> listedNames(const std::string& path) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(path)) {
        if (entry.symlink_status().type() == std::filesystem::file_type::directory) {
            names.push_back(entry.path().filename().string());
        }
    }
    return names;
}

std::string lastComponent(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

// Puts nodes into the order of the directory that holds them.
template <class Node, class PathOf>
void orderAsListed(std::vector<Node>& nodes, const std::string& directory, PathOf pathOf) {
    std::map<std::string, std::size_t> positions;
    for (const std::string& name : listedNames(directory)) {
        positions.emplace(name, positions.size());
    }
    std::sort(nodes.begin(), nodes.end(), [&](const Node& left, const Node& right) {
        return positions.at(lastComponent(pathOf(left))) <
               positions.at(lastComponent(pathOf(right)));
    });
}

void orderMembers(SampleNode& node) {
    orderAsListed(node.members, node.path, [](const SampleNode& member) { return member.path; });
}

} // namespace

[[noreturn]] void failSample(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), "sample cache: " + what);
}

void addUpMembers(SampleNode& node) {
    for (const SampleNode& member : node.members) {
        node.bytes += member.bytes;
        node.files += member.files;
        if (node.newest.kind == SampleDate::Kind::Never) {
            node.newest.kind = SampleDate::Kind::Known;
        }
        if (member.newest.kind == SampleDate::Kind::TimeOfReading) {
            node.newest = member.newest;
        } else if (node.newest.kind == SampleDate::Kind::Known) {
            node.newest.seconds = std::max(node.newest.seconds, member.newest.seconds);
        }
    }
}

void TableLines::add(const std::string& hash, const std::string& key) {
    if (m_known.insert(hash).second) {
        m_text += hash + " " + key + "\n";
    }
}

void TableLines::write(const std::string& path) const {
    std::ofstream file(path, std::ios::binary);
    file << m_text;
    if (!file.flush()) {
        failSample("write " + path);
    }
}

SampleRootWriter::SampleRootWriter(std::string path, const CachePlan& plan, SampleNumbers& numbers)
    : m_path(std::move(path)), m_plan(plan), m_numbers(numbers) {
    std::filesystem::create_directories(m_path);
    m_directory = UniqueFd(::open(m_path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!m_directory.isOpen()) {
        failSample("open " + m_path);
    }
    if (m_plan.tableNoise) {
        for (TableLines* table : {&m_projectTable, &m_compositionTable}) {
            table->add(hashOf("gone"), "gone");
        }
    }
}

void SampleRootWriter::addProject(const ProjectPlan& plan) {
    const std::string hash = hashOf(plan.key);
    SampleNode project;
    project.name = plan.key;
    project.path = withoutSlash() + "/" + hash;
    const UniqueFd directory = makeDirectory(m_directory.get(), hash);
    m_projectTable.add(hash, plan.key);
    addForeignFile(directory.get());
    for (const CompositionPlan& composition : plan.compositions) {
        project.members.push_back(addComposition(directory.get(), project.path, composition));
    }
    orderMembers(project);
    addUpMembers(project);
    m_projects.push_back({std::move(project), withoutSlash()});
}

std::vector<SampleProject> SampleRootWriter::finish(int strangers) {
    m_projectTable.write(m_path + "ProjectHash.txt");
    m_compositionTable.write(m_path + "CompositionHash.txt");
    addForeignFile(m_directory.get());
    for (int i = 0; i < strangers; ++i) {
        makeDirectory(m_directory.get(), hashOf("stranger " + std::to_string(i)));
    }
    orderAsListed(m_projects, m_path,
                  [](const SampleProject& project) { return project.node.path; });
    std::size_t met = 0;
    for (const std::string& name : listedNames(m_path)) {
        if (!m_projectTable.knows(name)) {
            break;
        }
        ++met;
    }
    m_projects.resize(met);
    return std::move(m_projects);
}

SampleNode SampleRootWriter::addComposition(int project, const std::string& projectPath,
                                            const CompositionPlan& plan) {
    const std::string hash = hashOf(plan.key);
    SampleNode composition;
    composition.name = plan.key;
    composition.path = projectPath + "/" + hash;
    const UniqueFd directory = makeDirectory(project, hash);
    m_compositionTable.add(hash, plan.key);
    addForeignFile(directory.get());
    for (const FeaturePlan& feature : plan.features) {
        composition.members.push_back(
            FeatureWriter(directory.get(), feature, m_numbers).write(composition.path));
    }
    orderMembers(composition);
    addUpMembers(composition);
    return composition;
}

// A file where only directories are looked at: no reader may count it.
void SampleRootWriter::addForeignFile(int directory) {
    if (m_plan.foreignFiles && m_numbers.oneIn(2)) {
        makeFile(directory, m_numbers.oneIn(2) ? ".DS_Store" : "Read me.txt", 4096, kDay);
    }
}

} // namespace corvid
