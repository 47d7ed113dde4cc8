#include "MacCacheManager/tree_building.h"

#include "MacCacheManager/BoundedName.h"
#include "runtime/maro_log.h"
#include "store/KavroPISSFrameCache.h"
#include "store/PISSMD5.h"

#include <cstring>
#include <ctime>
#include <memory>
#include <utility>

namespace corvid {

namespace {

// Adds a node to its parent; null, and nothing added, when there is no memory for its texts.
FrameCacheEntry* addNode(FrameCacheEntry& parent, int type, const char* name, const char* path,
                         const char* cacheRoot) {
    auto node = std::make_unique<FrameCacheEntry>(type, name, path);
    node->setParent(&parent);
    node->setPathToRootCache(cacheRoot);
    const bool isWhole = node->getName() != nullptr && node->getPath() != nullptr &&
                         node->getPathToRootCache() != nullptr;
    return isWhole ? parent.addChild(std::move(node)) : nullptr;
}

// Calls add(item, key) for the items that the table names, up to the first that it does not name.
// Each remaining step fails at that one.
template <class Item, class Add>
void addLevel(const char* level, const std::vector<Item>& items, const HashTable* table, Add add) {
    for (std::size_t i = 0; i < items.size(); ++i) {
        const char* directory = items[i].directory.c_str();
        const char* key = table != nullptr ? table->keyOf(directory) : nullptr;
        if (key != nullptr) {
            add(items[i], key);
            continue;
        }
        for (std::size_t steps = items.size() - i; steps > 0; --steps) {
            maro_logError("GetNextItemIn%sList: FindOriginal%sKeyGivenHash[%s] failed\n", level,
                          level, directory);
        }
        return;
    }
}

void logUnlisted(const char* level, const std::string& directory) {
    maro_logError("Prepare%sList::GetDirectoryOrFileList( '%s' ) failed\n", level,
                  directory.c_str());
}

// What opening a model whose keys are in the tables writes into the log.
void logModelOpened(const RootTables& tables) {
    if (tables.compositions != nullptr) {
        logHashesWithoutKey("Composition", *tables.compositions);
    }
    if (tables.projects != nullptr) {
        logHashesWithoutKey("Project", *tables.projects);
    }
}

// A key with its hash, which takes time to make.
struct HashedKey {
    explicit HashedKey(const char* key) : text(key), hash(key) {}
    const char* text;
    PrintableHash hash;
};

bool isKnown(const HashTable* table, const HashedKey& key) {
    return table != nullptr && table->contains(key.hash.text(), key.text);
}

// Opens a model of a project for what it leaves and says.
void openModel(const char* root, const HashedKey& project, RootTables& tables) {
    if (isKnown(tables.projects.get(), project)) {
        logModelOpened(tables);
        return;
    }
    const KavroPISSFrameCache model(root, project.text);
    tables = tablesOfRoot(root);
}

// The same of a composition.
void openModel(const char* root, const HashedKey& project, const HashedKey& composition,
               RootTables& tables) {
    if (isKnown(tables.projects.get(), project) &&
        isKnown(tables.compositions.get(), composition)) {
        logModelOpened(tables);
        return;
    }
    const KavroPISSFrameCache model(root, project.text, composition.text);
    tables = tablesOfRoot(root);
}

void addFeature(FrameCacheEntry& composition, const std::string& directory, const ReadFeature& read,
                const RootTables& tables) {
    const std::string path = directory + read.directory;
    FrameCacheEntry* feature = addNode(composition, kFeatureNode, read.directory.c_str(),
                                       path.c_str(), composition.getPathToRootCache());
    if (feature == nullptr) {
        return;
    }
    const DirectoryMeasure measure = read.parts.total();
    logUnreadableFiles(measure);
    feature->setFileSize(measure.bytes);
    feature->setFileCount(static_cast<int>(measure.files));
    logModelOpened(tables);
    if (!measure.opened) {
        logUnlisted("FrameCache", path + "/");
    }
    const long newest = measure.newest != 0 ? measure.newest : std::time(nullptr);
    feature->setModifiedTime(static_cast<int>(newest));
}

std::string directoryOf(const FrameCacheEntry& node, const HashedKey& project) {
    return rootPath(node.getPathToRootCache()) + project.hash.text() + "/";
}

// What lies in the directory that a key leads to: mostly the item in which the key was found.
template <class Level, class Item>
const Item* itemOfKey(const Level& level, const Item& found, const HashedKey& key) {
    return found.directory == key.hash.text() ? &found : level.inDirectory(key.hash.text());
}

void addFeaturesOf(FrameCacheEntry& composition, const HashedKey& project, const HashedKey& key,
                   const ReadComposition* read, RootTables& tables) {
    openModel(composition.getPathToRootCache(), project, key, tables);
    const std::string directory = directoryOf(composition, project) + key.hash.text() + "/";
    if (read == nullptr || !read->opened) {
        logUnlisted("Feature", directory);
        return;
    }
    for (const ReadFeature& feature : read->features) {
        addFeature(composition, directory, feature, tables);
    }
}

void addCompositionsOf(FrameCacheEntry& project, const HashedKey& projectKey,
                       const ReadProject* read, RootTables& tables) {
    openModel(project.getPathToRootCache(), projectKey, tables);
    const std::string directory = directoryOf(project, projectKey);
    if (read == nullptr || !read->opened) {
        logUnlisted("Composition", directory);
        return;
    }
    std::vector<std::pair<FrameCacheEntry*, const ReadComposition*>> added;
    addLevel("Composition", read->compositions, tables.compositions.get(),
             [&](const ReadComposition& composition, const char* key) {
                 added.emplace_back(addNode(project, kCompositionNode, key,
                                            (directory + composition.directory).c_str(),
                                            project.getPathToRootCache()),
                                    &composition);
             });
    for (const auto& [node, composition] : added) {
        if (node != nullptr) {
            const BoundedName name(node->getName());
            const HashedKey key(name.text());
            addFeaturesOf(*node, projectKey, key, itemOfKey(*read, *composition, key), tables);
        }
    }
}

} // namespace

bool addProjects(FrameCacheEntry& treeRoot, const ReadRoot& read) {
    const std::string path = rootPath(read.path);
    const KavroPISSFrameCache model(read.path.c_str()); // says what its tables lack
    if (read.state != RootState::Ok) {
        logUnlisted("Project", path);
        return false;
    }
    addLevel("Project", read.projects, read.tables.projects.get(),
             [&](const ReadProject& project, const char* key) {
                 addNode(treeRoot, kProjectNode, key, (path + project.directory).c_str(),
                         read.path.c_str());
             });
    return true;
}

void addContents(FrameCacheEntry& project, const ReadRoot& read, RootTables& tables) {
    const BoundedName name(project.getName());
    const HashedKey key(name.text());
    addCompositionsOf(project, key, read.inDirectory(key.hash.text()), tables);
}

void addCompositions(FrameCacheEntry& project, const char* projectName, const ReadProject* read,
                     RootTables& tables) {
    addCompositionsOf(project, HashedKey(projectName), read, tables);
}

void addFeatures(FrameCacheEntry& composition, const char* projectName, const char* compName,
                 const ReadComposition* read, RootTables& tables) {
    addFeaturesOf(composition, HashedKey(projectName), HashedKey(compName), read, tables);
}

} // namespace corvid
