// The tree of hostile caches, at rest and while another process changes them.

#include "MacCacheManager/CacheDataSource.h"
#include "store/cache_reading.h"
#include "tests/reliability/hostile_walk.h"
#include "tests/reliability/hostile_world.h"
#include "tests/reliability/product_world.h"
#include "tests/support/cache_tree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <memory>
#include <string>

namespace {

using namespace corvid::test;
using Node = std::unique_ptr<FrameCacheEntry>;

// The tree as a plain walk sees it.
class PlainTree {
public:
    explicit PlainTree(const HostileCache& cache) : m_cache(cache) {
        m_root = std::make_unique<FrameCacheEntry>(corvid::kRootNode, "none", "root");
        for (const std::string& directory : plainListing(cache.path()).directories()) {
            const auto named = std::find_if(
                cache.projects().begin(), cache.projects().end(),
                [&](const HostileProject& project) { return project.directory == directory; });
            if (named == cache.projects().end()) {
                break; // a directory that no line names ends the level
            }
            Node project = node(corvid::kProjectNode, named->key, cache.path() + "/" + directory);
            addCompositions(*project);
            m_root->addChild(std::move(project));
        }
        addUp(*m_root);
    }
    const FrameCacheEntry& root() const { return *m_root; }

private:
    Node node(int type, const std::string& name, const std::string& path) const {
        auto made = std::make_unique<FrameCacheEntry>(type, name.c_str(), path.c_str());
        made->setPathToRootCache(m_cache.path().c_str());
        return made;
    }
    const std::string* compositionKey(const std::string& directory) const {
        for (const HostileProject& project : m_cache.projects()) {
            for (const HostileComposition& composition : project.compositions) {
                if (composition.directory == directory) {
                    return &composition.key;
                }
            }
        }
        return nullptr;
    }
    void addCompositions(FrameCacheEntry& project) const {
        for (const std::string& directory : plainListing(project.getPath()).directories()) {
            const std::string* key = compositionKey(directory);
            if (key == nullptr) {
                break;
            }
            Node composition = node(corvid::kCompositionNode, *key,
                                    std::string(project.getPath()) + "/" + directory);
            addFeatures(*composition);
            project.addChild(std::move(composition));
        }
        addUp(project);
    }
    void addFeatures(FrameCacheEntry& composition) const {
        for (const std::string& name : plainListing(composition.getPath()).directories()) {
            Node feature =
                node(corvid::kFeatureNode, name, std::string(composition.getPath()) + "/" + name);
            const PlainMeasure measure = plainMeasure(feature->getPath());
            const long newest = measure.newest != 0 ? measure.newest : std::time(nullptr);
            feature->setFileSize(measure.bytes);
            feature->setFileCount(static_cast<int>(measure.files));
            feature->setModifiedTime(static_cast<int>(newest));
            composition.addChild(std::move(feature));
        }
        addUp(composition);
    }
    // A node without children has no numbers.
    static void addUp(FrameCacheEntry& sum) {
        std::uint64_t bytes = 0;
        int files = 0;
        int newest = 0;
        for (int i = 0; i < sum.getNumberOfChildren(); ++i) {
            bytes += sum.getChildAt(i)->getFileSize();
            files += sum.getChildAt(i)->getFileCount();
            newest = std::max(newest, sum.getChildAt(i)->getModifiedTime());
        }
        if (sum.getNumberOfChildren() > 0) {
            sum.setFileSize(bytes);
            sum.setFileCount(files);
            sum.setModifiedTime(newest);
        }
    }

    const HostileCache& m_cache;
    Node m_root;
};

class HostileTreeTest : public ProductTest {
protected:
    HostileTreeTest() {
        writeFile(root.productFile("FrameCache.cvp"),
                  registryLine("any", "PathToCache", root.path("world/cache/")));
    }
};

TEST_F(HostileTreeTest, IsThatOfAPlainWalk) {
    forEachHostileWorld(root, {}, [](HostileWorld& world, const HostileOptions&) {
        const int descriptors = openDescriptors();
        CacheDataSource source;
        source.setShouldProvideData(true);
        const std::time_t start = std::time(nullptr);
        source.reload();
        EXPECT_EQ(treeText(*source.getRootNode(), start),
                  treeText(PlainTree(world.cache).root(), start));
        EXPECT_EQ(openDescriptors(), descriptors);
    });
}

// What was seen while it changed was never whole anywhere; what must hold is that it is a tree.
void expectTree(const FrameCacheEntry& node) {
    std::uint64_t bytes = 0;
    for (int i = 0; i < node.getNumberOfChildren(); ++i) {
        const FrameCacheEntry& child = *node.getChildAt(i);
        EXPECT_EQ(child.getParent(), &node);
        EXPECT_EQ(child.getNodeType(), std::max<int>(node.getNodeType() + 1, corvid::kProjectNode));
        expectTree(child);
        bytes += child.getFileSize();
    }
    EXPECT_TRUE(node.getNumberOfChildren() == 0 || node.getFileSize() == bytes);
}

TEST_F(HostileTreeTest, IsBuiltWhileTheCacheChanges) {
    constexpr std::uint64_t kChanges = 10;
    forEachHostileWorld(root, {}, [](HostileWorld& world, const HostileOptions& made) {
        CacheDataSource source;
        source.setShouldProvideData(true);
        const int descriptors = openDescriptors();
        const Disturber disturber(world, made.seed);
        while (disturber.changes() < kChanges) {
            source.reload();
            expectTree(*source.getRootNode());
        }
        EXPECT_EQ(openDescriptors(), descriptors);
    });
}

} // namespace
