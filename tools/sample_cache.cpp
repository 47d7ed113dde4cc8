#include "tools/sample_cache.h"

#include "store/KavroPISSConfig.h"
#include "store/KavroPISSFrameCacheRegistry.h"
#include "store/PISSFileUtilities.h"
#include "tools/sample_plan.h"
#include "tools/sample_root_writer.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>

namespace corvid {

namespace {

// Lets the store library's fixed paths begin below a folder.
class FixedPathsBelow {
public:
    // NOLINTBEGIN(concurrency-mt-unsafe): the caller keeps other threads away from the environment
    explicit FixedPathsBelow(const std::string& root) {
        if (const char* before = std::getenv(kVariable)) {
            m_before = before;
        }
        ::setenv(kVariable, root.c_str(), 1);
    }
    ~FixedPathsBelow() {
        if (m_before) {
            ::setenv(kVariable, m_before->c_str(), 1);
        } else {
            ::unsetenv(kVariable);
        }
    }
    // NOLINTEND(concurrency-mt-unsafe)
    FixedPathsBelow(const FixedPathsBelow&) = delete;
    FixedPathsBelow& operator=(const FixedPathsBelow&) = delete;

private:
    static constexpr const char* kVariable = "CORVIDPRO_ROOT";
    std::optional<std::string> m_before;
};

std::string fixedPath(int (*assign)(char*, int)) {
    char path[4096];
    assign(path, static_cast<int>(sizeof(path)));
    return path;
}

std::vector<std::string> cacheRootPaths(const std::string& root, int count) {
    std::vector<std::string> paths = {fixedPath(assignCorvidProFrameCacheDefaultDirectoryPath)};
    for (int i = 1; i < count; ++i) {
        paths.push_back(root + "/Volumes/Media " + std::to_string(i + 1) + "/Frame Cache/");
    }
    return paths;
}

// Registers every project with its root. Returns the roots in the order in which the registry names
// them.
std::vector<std::size_t> writeRegistry(const CachePlan& plan,
                                       const std::vector<std::string>& roots) {
    KavroPISSFrameCacheRegistry registry;
    std::vector<std::size_t> order;
    std::size_t line = 0;
    for (const ProjectPlan& project : plan.projects) {
        std::string root = roots[project.root];
        if (plan.registryNoise) {
            root.resize(root.size() - 1);
            root.append(line % 3, '/');
            registry.Add(project.key.c_str(), "LastOpened", "with blanks / and slashes/");
            registry.Add(project.key.c_str(), "PathToCacheOfOldVersion", "/nowhere/");
        }
        registry.Add(project.key.c_str(), "PathToCache", root.c_str());
        if (std::find(order.begin(), order.end(), project.root) == order.end()) {
            order.push_back(project.root);
        }
        ++line;
    }
    if (registry.Commit() == 0) {
        failSample("write the registry");
    }
    return order;
}

void makeProjectFolders(const CachePlan& plan) {
    for (const ProjectPlan& project : plan.projects) {
        std::filesystem::create_directories(std::filesystem::path(project.key).parent_path());
    }
}

SampleCache expectation(std::vector<std::vector<SampleProject>> projects,
                        const std::vector<std::string>& roots,
                        const std::vector<std::size_t>& order) {
    SampleCache cache;
    SampleNode all;
    for (const std::size_t root : order) {
        cache.cacheRoots.push_back(roots[root]);
        for (SampleProject& project : projects[root]) {
            all.members.push_back(project.node);
            cache.projects.push_back(std::move(project));
        }
    }
    addUpMembers(all);
    cache.bytes = all.bytes;
    cache.files = all.files;
    cache.newest = all.newest;
    return cache;
}

} // namespace

SampleCache makeSampleCache(const SampleOptions& options) {
    const CachePlan plan = makePlan(options);
    const FixedPathsBelow fixedPaths(options.root);
    const std::string config = fixedPath(assignCorvidProRootConfigDirectoryPath);
    std::filesystem::create_directories(config);
    std::filesystem::create_directories(options.root + "/private/tmp");
    KavroPISSConfig::initializePISSConfig();
    if (plan.projectFolders) {
        makeProjectFolders(plan);
    }

    const std::vector<std::string> roots = cacheRootPaths(options.root, plan.roots);
    SampleNumbers numbers(options.seed ^ 0x5eed);
    std::vector<SampleRootWriter> writers;
    writers.reserve(roots.size());
    for (const std::string& root : roots) {
        writers.emplace_back(root, plan, numbers);
    }
    for (const ProjectPlan& project : plan.projects) {
        writers.at(project.root).addProject(project);
    }
    std::vector<std::vector<SampleProject>> projects;
    projects.reserve(writers.size());
    for (SampleRootWriter& writer : writers) {
        projects.push_back(writer.finish(options.strangers));
    }

    SampleCache cache = expectation(std::move(projects), roots, writeRegistry(plan, roots));
    cache.configDirectory = config;
    return cache;
}

} // namespace corvid
