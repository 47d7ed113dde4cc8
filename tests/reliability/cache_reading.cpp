#include "tests/reliability/cache_reading.h"

#include "files/owned_text.h"
#include "store/KavroPISSFrameCache.h"
#include "store/KavroPISSFrameCacheRegistry.h"
#include "store/PISSFileUtilities.h"

#include <algorithm>
#include <filesystem>
#include <set>
#include <vector>

#include <sys/stat.h>

namespace corvid::test {
namespace {

namespace fs = std::filesystem;

std::string withoutSlashes(std::string path) {
    while (path.size() > 1 && path.back() == '/') {
        path.pop_back();
    }
    return path;
}

std::vector<std::string> directoriesIn(const std::string& path) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(path)) {
        if (entry.is_directory() && !entry.is_symlink()) {
            names.push_back(entry.path().filename().string());
        }
    }
    return names;
}

std::map<std::string, std::string> tableIn(const std::string& path) {
    std::map<std::string, std::string> keys;
    for (const std::string& line : exists(path) ? linesOf(path) : std::vector<std::string>{}) {
        const std::size_t blank = line.find(' ');
        keys.emplace(line.substr(0, blank), line.substr(blank + 1));
    }
    return keys;
}

Amount amountOf(const std::string& feature) {
    Amount amount;
    for (const auto& entry : fs::recursive_directory_iterator(feature)) {
        struct stat status {};
        if (entry.is_symlink() || !entry.is_directory()) {
            ++amount.files;
            amount.bytes += ::stat(entry.path().c_str(), &status) == 0
                                ? static_cast<std::uint64_t>(status.st_size)
                                : 0;
        }
    }
    return amount;
}

std::set<std::string> rootsIn(const std::string& registry) {
    const std::string key = " string\tPathToCache ";
    std::set<std::string> roots;
    for (const std::string& line :
         exists(registry) ? linesOf(registry) : std::vector<std::string>{}) {
        const std::size_t found = line.find(key);
        if (found != std::string::npos) {
            roots.insert(withoutSlashes(line.substr(found + key.size())));
        }
    }
    return roots;
}

// The nodes of one composition.
void addFeatures(const std::string& path, Tree& tree) {
    for (const std::string& feature : directoriesIn(path)) {
        tree[nodeText(path + "/" + feature, feature)] = amountOf(path + "/" + feature);
    }
}

// Steps a prepared level: node(path, name) for each item.
template <class Step, class Node>
void stepLevel(Step step, Node node) {
    for (;;) {
        char* path = nullptr;
        char* name = nullptr;
        const int isItem = step(&path, &name);
        const OwnedText ownedPath(path);
        const OwnedText ownedName(name);
        if (isItem == 0) {
            return;
        }
        node(std::string(path), std::string(name));
    }
}

void stepFeatures(const std::string& root, const std::string& project,
                  const std::string& composition, Tree& tree) {
    KavroPISSFrameCache cache(root.c_str(), project.c_str(), composition.c_str());
    cache.PrepareFeatureList();
    stepLevel([&](char** path, char** name) { return cache.GetNextItemInFeatureList(path, name); },
              [&](const std::string& path, const std::string& name) {
                  tree[nodeText(path, name)] = {PISSGetSizeOfDirectoryContents(path.c_str()),
                                                PISSGetFileCount(path.c_str())};
              });
}

void stepCompositions(const std::string& root, const std::string& project, Tree& tree) {
    KavroPISSFrameCache cache(root.c_str(), project.c_str());
    cache.PrepareCompositionList();
    stepLevel(
        [&](char** path, char** name) { return cache.GetNextItemInCompositionList(path, name); },
        [&](const std::string& path, const std::string& name) {
            tree[nodeText(path, name)] = {};
            stepFeatures(root, project, name, tree);
        });
}

} // namespace

ExpectedTree treeOnDisk(const ProductWorld& world) {
    ExpectedTree expected;
    for (const std::string& root : rootsIn(world.root.productFile("FrameCache.cvp"))) {
        const auto projects = tableIn(root + "/ProjectHash.txt");
        const auto compositions = tableIn(root + "/CompositionHash.txt");
        for (const std::string& project : directoriesIn(root)) {
            if (projects.count(project) == 0) {
                expected.hasUnnamed = true;
                continue;
            }
            const std::string path = root + "/" + project;
            expected.tree[nodeText(path, projects.at(project))] = {};
            for (const std::string& composition : directoriesIn(path)) {
                const std::string inside = path + "/" + composition;
                expected.tree[nodeText(inside, compositions.at(composition))] = {};
                addFeatures(inside, expected.tree);
            }
        }
    }
    return expected;
}

Tree treeOfModels(const ProductWorld& /*world*/) {
    Tree tree;
    KavroPISSFrameCacheRegistry registry;
    std::set<std::string> roots;
    for (const std::string& root : registeredCacheRoots(registry)) {
        roots.insert(withoutSlashes(root));
    }
    for (const std::string& root : roots) {
        KavroPISSFrameCache cache(root.c_str());
        cache.PrepareProjectList();
        stepLevel(
            [&](char** path, char** name) { return cache.GetNextItemInProjectList(path, name); },
            [&](const std::string& path, const std::string& name) {
                tree[nodeText(path, name)] = {};
                stepCompositions(root, name, tree);
            });
    }
    return tree;
}

::testing::AssertionResult agrees(const Tree& tree, const ExpectedTree& expected) {
    const auto isExpected = [&expected](const auto& node) {
        const auto found = expected.tree.find(node.first);
        return found != expected.tree.end() && found->second == node.second;
    };
    if (std::all_of(tree.begin(), tree.end(), isExpected) &&
        (expected.hasUnnamed || tree.size() == expected.tree.size())) {
        return ::testing::AssertionSuccess();
    }
    ::testing::AssertionResult failure = ::testing::AssertionFailure() << "the tree has\n";
    for (const auto& [node, amount] : tree) {
        failure << "  " << node << " " << amount.bytes << " in " << amount.files << "\n";
    }
    failure << "and the disk\n";
    for (const auto& [node, amount] : expected.tree) {
        failure << "  " << node << " " << amount.bytes << " in " << amount.files << "\n";
    }
    return failure;
}

} // namespace corvid::test
