// The tree of made-up caches, against what was put there and against the plain walk of a frame
// cache model.

#include "MacCacheManager/CacheDataSource.h"

#include "files/owned_text.h"
#include "store/KavroPISSFrameCache.h"
#include "store/KavroPISSFrameCacheRegistry.h"
#include "tests/support/cache_tree.h"
#include "tests/support/product_root.h"
#include "tools/sample_cache.h"
#include "tools/sample_plan.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <ctime>
#include <set>
#include <string>
#include <vector>

namespace {

using corvid::SampleDate;
using corvid::SampleNode;
using corvid::test::ProductRoot;
using corvid::test::treeText;

// The same steps as the tree's building, one model after the other.
std::unique_ptr<FrameCacheEntry> plainWalk(CacheDataSource& builder) {
    auto tree = std::make_unique<FrameCacheEntry>(corvid::kRootNode, "none", "root");
    KavroPISSFrameCacheRegistry registry;
    registry.PrepareKeyValuePairList();
    std::set<std::string> visited;
    while (const sFrameCacheRegistryEntry* entry = registry.GetNextKeyValuePairInList()) {
        if (std::strcmp(entry->key, "PathToCache") != 0) {
            continue;
        }
        std::string value = entry->value;
        CacheDataSource::stripTrailingSlashes(value.data());
        value = value.c_str();
        if (!visited.insert(value).second) {
            continue;
        }
        KavroPISSFrameCache cache(value.c_str());
        cache.PrepareProjectList();
        for (int i = 1; i <= cache.GetNumberOfProjects(); ++i) {
            char* path = nullptr;
            char* name = nullptr;
            const int isItem = cache.GetNextItemInProjectList(&path, &name);
            const corvid::OwnedText ownedPath(path);
            const corvid::OwnedText ownedName(name);
            if (isItem != 0) {
                auto node = std::make_unique<FrameCacheEntry>(corvid::kProjectNode, name, path);
                node->setParent(tree.get());
                node->setPathToRootCache(value.c_str());
                tree->addChild(std::move(node));
            }
        }
    }
    for (int i = 0; i < tree->getNumberOfChildren(); ++i) {
        FrameCacheEntry* project = tree->getChildAt(i);
        builder.addCompsToNode(project, project->getName(), project->getPath());
    }
    CacheDataSource::calculateFilecountForNode(tree.get());
    CacheDataSource::calculateFilesizeForNode(tree.get());
    CacheDataSource::calculateLastModifiedForNode(tree.get());
    return tree;
}

corvid::SampleOptions randomOptions(const std::string& root, std::uint64_t seed) {
    corvid::SampleOptions options;
    options.root = root;
    options.shape = corvid::SampleShape::Random;
    options.seed = seed;
    options.roots = 1 + static_cast<int>(seed % 3);
    options.projects = 6;
    options.compositions = 4;
    options.frames = 6;
    options.frameBytes = 3000;
    options.strangers = static_cast<int>(seed / 3 % 3);
    return options;
}

class SampleTree : public ::testing::TestWithParam<std::uint64_t> {
protected:
    const FrameCacheEntry& build() {
        m_source.setShouldProvideData(true);
        m_start = std::time(nullptr);
        m_source.reload();
        return *m_source.getRootNode();
    }
    void expectDate(const FrameCacheEntry& node, const SampleDate& date) const {
        switch (date.kind) {
        case SampleDate::Kind::Never:
            EXPECT_EQ(node.getLastModifiedTime(), "\?\?-\?\?-\?\?\?\?");
            break;
        case SampleDate::Kind::Known:
            EXPECT_EQ(node.getModifiedTime(), date.seconds);
            EXPECT_NE(node.getLastModifiedTime(), "\?\?-\?\?-\?\?\?\?");
            break;
        case SampleDate::Kind::TimeOfReading:
            EXPECT_GE(node.getModifiedTime(), m_start);
            EXPECT_LE(node.getModifiedTime(), std::time(nullptr));
            break;
        }
    }
    void expectNode(const FrameCacheEntry& node, const SampleNode& expected) const {
        SCOPED_TRACE(expected.path);
        EXPECT_EQ(node.getName(), expected.name);
        EXPECT_EQ(node.getPath(), expected.path);
        EXPECT_EQ(node.getFileSize(), expected.bytes);
        EXPECT_EQ(static_cast<std::uint64_t>(node.getFileCount()), expected.files);
        expectDate(node, expected.newest);
        ASSERT_EQ(static_cast<std::size_t>(node.getNumberOfChildren()), expected.members.size());
        for (std::size_t i = 0; i < expected.members.size(); ++i) {
            expectNode(*node.getChildAt(static_cast<int>(i)), expected.members[i]);
        }
    }
    // What the two kinds of building give and log, both on the same tables.
    void expectSameAsThePlainWalk() {
        const std::map<std::string, std::string> before = tables();
        m_root.clearLog();
        const FrameCacheEntry& built = build();
        const std::string builtText = treeText(built, m_start);
        const std::vector<std::string> builtLog = m_root.logMessages();
        const std::map<std::string, std::string> builtTables = tables();
        for (const auto& [path, text] : before) {
            corvid::test::writeFile(path, text);
        }
        m_root.clearLog();
        const auto walked = plainWalk(m_source);
        EXPECT_EQ(builtText, treeText(*walked, m_start));
        EXPECT_EQ(builtLog, m_root.logMessages());
        EXPECT_EQ(builtTables, tables());
    }
    std::map<std::string, std::string> tables() const {
        std::map<std::string, std::string> all;
        for (const std::string& root : m_cache.cacheRoots) {
            for (const char* name : {"ProjectHash.txt", "CompositionHash.txt"}) {
                all[root + name] = corvid::test::readFile(root + name);
            }
        }
        return all;
    }
    void misleadTables() const;

    ProductRoot m_root;
    corvid::SampleCache m_cache = corvid::makeSampleCache(randomOptions(m_root.path(), GetParam()));
    CacheDataSource m_source;
    std::time_t m_start = 0;
};

// Lines that lead to other directories, that lack their key, that come twice, or that are gone.
void SampleTree::misleadTables() const {
    corvid::SampleNumbers numbers(GetParam());
    for (const auto& [path, text] : tables()) {
        std::vector<std::string> lines = corvid::test::linesOf(path);
        for (std::string& line : lines) {
            if (numbers.oneIn(3)) {
                std::string& other = lines[numbers.below(lines.size())];
                const std::string key = line.substr(std::min<std::size_t>(line.size(), 33));
                const std::string otherKey = other.substr(std::min<std::size_t>(other.size(), 33));
                line = line.substr(0, 32) + " " + otherKey;
                other = other.substr(0, 32) + " " + key;
            } else if (numbers.oneIn(8)) {
                line = line.substr(0, 32);
            } else if (numbers.oneIn(8)) {
                line = line.substr(0, 32) + " key of nothing " + std::to_string(numbers.below(3));
            }
        }
        std::string changed;
        for (const std::string& line : lines) {
            if (!numbers.oneIn(10)) {
                changed += line + "\n";
            }
        }
        corvid::test::writeFile(path, changed);
    }
}

TEST_P(SampleTree, HoldsWhatWasPutThere) {
    const FrameCacheEntry& tree = build();
    ASSERT_EQ(static_cast<std::size_t>(tree.getNumberOfChildren()), m_cache.projects.size());
    for (std::size_t i = 0; i < m_cache.projects.size(); ++i) {
        const FrameCacheEntry& project = *tree.getChildAt(static_cast<int>(i));
        EXPECT_EQ(project.getPathToRootCache(), m_cache.projects[i].cacheRoot);
        expectNode(project, m_cache.projects[i].node);
    }
    EXPECT_EQ(tree.getFileSize(), m_cache.bytes);
    EXPECT_EQ(static_cast<std::uint64_t>(tree.getFileCount()), m_cache.files);
    expectDate(tree, m_cache.newest);
}

TEST_P(SampleTree, AndItsLogAreThoseOfThePlainWalk) {
    expectSameAsThePlainWalk();
}

TEST_P(SampleTree, AndItsLogAreThoseOfThePlainWalkOverMisleadingTables) {
    misleadTables();
    expectSameAsThePlainWalk();
}

// Names that a user can see in the test's name, and few enough programs: every test is a process.
INSTANTIATE_TEST_SUITE_P(Seeds, SampleTree, ::testing::Range<std::uint64_t>(1, 201));

} // namespace
