#include "MacCacheManager/CacheDataSource.h"

#include "MacCacheManager/BoundedName.h"
#include "runtime/maro_log.h"
#include "store/KavroPISSFrameCache.h"
#include "store/KavroPISSFrameCacheRegistry.h"
#include "store/PISSFileUtilities.h"
#include "store/product_paths.h"
#include "store/text_file.h"

#include <algorithm>
#include <cstring>
#include <ctime>
#include <map>
#include <unordered_set>

using corvid::BoundedName;

namespace {

std::unique_ptr<FrameCacheEntry> makeNode(int type, const char* name, const char* path,
                                          FrameCacheEntry* parent, const char* cacheRoot) {
    auto node = std::make_unique<FrameCacheEntry>(type, name, path);
    node->setParent(parent);
    node->setPathToRootCache(cacheRoot);
    return node;
}

// Adds a node to its parent; null, and nothing added, when there is no memory for its texts.
FrameCacheEntry* addNode(FrameCacheEntry* parent, int type, const char* name, const char* path,
                         const char* cacheRoot) {
    std::unique_ptr<FrameCacheEntry> node = makeNode(type, name, path, parent, cacheRoot);
    const bool isWhole = node->getName() != nullptr && node->getPath() != nullptr &&
                         node->getPathToRootCache() != nullptr;
    return isWhole ? parent->addChild(std::move(node)) : nullptr;
}

// Steps a prepared level `count` times; a step that gives nothing still uses up its turn.
template <class Count, class Step, class Use>
void stepLevel(Count count, Step step, Use use) {
    for (int i = 1; i <= count(); ++i) {
        char* path = nullptr;
        char* name = nullptr;
        const int isItem = step(&path, &name);
        const corvid::OwnedText ownedPath(path);
        const corvid::OwnedText ownedName(name);
        if (isItem != 0) {
            use(path, name);
        }
    }
}

// The tables of one cache root, as the models of this build see them.
struct RootTables {
    std::shared_ptr<const corvid::HashTable> projects;
    std::shared_ptr<const corvid::HashTable> compositions;
};

RootTables tablesOf(const char* root) {
    const std::string path =
        std::string(root) + (*root != '\0' && root[std::strlen(root) - 1] == '/' ? "" : "/");
    return {corvid::sharedHashTable((path + "ProjectHash.txt").c_str()),
            corvid::sharedHashTable((path + "CompositionHash.txt").c_str())};
}

// What opening a model on those tables writes into the log.
void logModelOpened(const corvid::HashTable* projects, const corvid::HashTable* compositions) {
    if (compositions != nullptr) {
        corvid::logHashesWithoutKey("Composition", *compositions);
    }
    if (projects != nullptr) {
        corvid::logHashesWithoutKey("Project", *projects);
    }
}

// What a walk of a level writes into the log when a directory without a key ends it.
template <class Item>
void logLevel(const char* level, const std::string& directory,
              const corvid::WalkedLevel<Item>& walked) {
    if (!walked.opened) {
        maro_logError("Prepare%sList::GetDirectoryOrFileList( '%s' ) failed\n", level,
                      directory.c_str());
    }
    for (std::size_t i = 0; i < walked.unnamedSteps; ++i) {
        maro_logError("GetNextItemIn%sList: FindOriginal%sKeyGivenHash[%s] failed\n", level, level,
                      walked.unnamed.c_str());
    }
}

std::string lastComponent(const char* path) {
    const char* slash = std::strrchr(path, '/');
    return slash != nullptr ? slash + 1 : path;
}

} // namespace

CacheDataSource::CacheDataSource() {
    reload();
}

void CacheDataSource::reload() {
    m_rootNode = nullptr;
    populateDatasource();
}

void CacheDataSource::populateDatasource() {
    m_rootNode = std::make_unique<FrameCacheEntry>(corvid::kRootNode, "none", "root");
    m_sources = {};
    if (!m_shouldProvideData) {
        return;
    }
    if (m_progressSpinner != nullptr) {
        m_progressSpinner->startAnimation();
    }
    for (const std::string& root : cacheRoots()) {
        addProjectsOfRoot(root);
    }
    addContentsOfProjects();
    calculateFilecountForNode(m_rootNode.get());
    calculateFilesizeForNode(m_rootNode.get());
    calculateLastModifiedForNode(m_rootNode.get());
    if (m_progressSpinner != nullptr) {
        m_progressSpinner->stopAnimation();
    }
}

std::vector<std::string> CacheDataSource::cacheRoots() {
    const std::string registryPath = corvid::productPath(assignCorvidProFrameCacheRegistryFilePath);
    m_sources.hasRegistry = corvid::openTextFile(registryPath.c_str()).isOpen();
    KavroPISSFrameCacheRegistry registry;
    std::vector<std::string> roots;
    std::unordered_set<std::string> visited;
    for (std::string& value : corvid::registeredCacheRoots(registry)) {
        stripTrailingSlashes(value.data());
        value.resize(std::strlen(value.data()));
        if (visited.insert(value).second) {
            roots.push_back(std::move(value));
        }
    }
    m_sources.roots = static_cast<int>(roots.size());
    return roots;
}

void CacheDataSource::addProjectsOfRoot(const std::string& root) {
    KavroPISSFrameCache cache(root.c_str());
    cache.StartTransaction();
    if (cache.PrepareProjectList() == 0) {
        ++m_sources.unreadableRoots;
    }
    stepLevel(
        [&cache] { return cache.GetNumberOfProjects(); },
        [&cache](char** path, char** name) { return cache.GetNextItemInProjectList(path, name); },
        [this, &root](const char* path, const char* name) {
            addNode(m_rootNode.get(), corvid::kProjectNode, name, path, root.c_str());
        });
}

void CacheDataSource::addContentsOfProjects() {
    std::map<std::string, RootTables> tables;
    std::vector<FrameCacheEntry*> walkedNodes;
    std::vector<corvid::ProjectToWalk> toWalk;
    const int count = m_rootNode->getNumberOfChildren();
    for (int i = 0; i < count; ++i) {
        FrameCacheEntry* project = m_rootNode->getChildAt(i);
        if (corvid::isNamedByKey(lastComponent(project->getPath()),
                                 BoundedName(project->getName()).text())) {
            auto [found, isNew] = tables.try_emplace(project->getPathToRootCache());
            if (isNew) {
                found->second = tablesOf(project->getPathToRootCache());
            }
            walkedNodes.push_back(project);
            toWalk.push_back({project->getPath(), found->second.compositions});
        }
    }
    const std::vector<corvid::WalkedProject> walked =
        corvid::walkProjects(toWalk, [this](std::uint64_t files) {
            if (m_progressSpinner != nullptr) {
                m_progressSpinner->showFilesRead(files);
            }
        });
    // Stepping a model may rewrite the tables, and what was read ahead with the old ones is then
    // out of date: once one project had to be stepped, so are those behind it.
    bool isReadAheadValid = true;
    std::size_t next = 0;
    for (int i = 0; i < count; ++i) {
        FrameCacheEntry* project = m_rootNode->getChildAt(i);
        const bool isWalked = next < walkedNodes.size() && walkedNodes[next] == project;
        isReadAheadValid = isReadAheadValid && isWalked;
        if (isReadAheadValid) {
            const RootTables& root = tables[project->getPathToRootCache()];
            isReadAheadValid = addWalkedProject(project, walked[next], root.projects.get(),
                                                root.compositions.get());
        } else {
            addCompsToNode(project, BoundedName(project->getName()).text(), project->getPath());
        }
        next += isWalked ? 1 : 0;
    }
}

bool CacheDataSource::addWalkedProject(FrameCacheEntry* project,
                                       const corvid::WalkedProject& walked,
                                       const corvid::HashTable* projects,
                                       const corvid::HashTable* compositions) {
    const std::string directory = std::string(project->getPath()) + "/";
    logModelOpened(projects, compositions);
    logLevel("Composition", directory, walked);
    std::vector<FrameCacheEntry*> compositionNodes;
    for (const corvid::WalkedComposition& item : walked.items) {
        compositionNodes.push_back(addNode(project, corvid::kCompositionNode, item.key.c_str(),
                                           (directory + item.directory).c_str(),
                                           project->getPathToRootCache()));
    }
    bool isReadAheadValid = true;
    for (std::size_t i = 0; i < walked.items.size(); ++i) {
        FrameCacheEntry* composition = compositionNodes[i];
        if (composition == nullptr) {
            continue;
        }
        isReadAheadValid = isReadAheadValid && walked.items[i].isNamedByKey;
        if (isReadAheadValid) {
            addWalkedComposition(composition, walked.items[i].features, projects, compositions);
        } else {
            addFeaturesToNode(composition, BoundedName(project->getName()).text(),
                              BoundedName(composition->getName()).text());
        }
    }
    return isReadAheadValid;
}

void CacheDataSource::addWalkedComposition(FrameCacheEntry* composition,
                                           const corvid::WalkedLevel<corvid::WalkedFeature>& walked,
                                           const corvid::HashTable* projects,
                                           const corvid::HashTable* compositions) {
    const std::string directory = std::string(composition->getPath()) + "/";
    logModelOpened(projects, compositions);
    logLevel("Feature", directory, walked);
    for (const corvid::WalkedFeature& item : walked.items) {
        FrameCacheEntry* feature =
            addNode(composition, corvid::kFeatureNode, item.name.c_str(),
                    (directory + item.name).c_str(), composition->getPathToRootCache());
        if (feature == nullptr) {
            continue;
        }
        const corvid::DirectoryMeasure measure = item.parts.total();
        corvid::logUnreadableFiles(measure);
        feature->setFileSize(measure.bytes);
        feature->setFileCount(static_cast<int>(measure.files));
        logModelOpened(projects, compositions);
        if (!measure.opened) {
            maro_logError("PrepareFrameCacheList::GetDirectoryOrFileList( '%s' ) failed\n",
                          (directory + item.name + "/").c_str());
        }
        const long newest = measure.newest != 0 ? measure.newest : std::time(nullptr);
        feature->setModifiedTime(static_cast<int>(newest));
    }
}

void CacheDataSource::addCompsToNode(FrameCacheEntry* project, const char* projectName,
                                     const char* /*projectPath*/) {
    KavroPISSFrameCache cache(project->getPathToRootCache(), projectName);
    cache.StartTransaction();
    cache.PrepareCompositionList();
    stepLevel([&cache] { return cache.GetNumberOfCompositions(); },
              [&cache](char** path, char** name) {
                  return cache.GetNextItemInCompositionList(path, name);
              },
              [project](const char* path, const char* name) {
                  addNode(project, corvid::kCompositionNode, name, path,
                          project->getPathToRootCache());
              });
    for (int i = 0; i < project->getNumberOfChildren(); ++i) {
        FrameCacheEntry* composition = project->getChildAt(i);
        addFeaturesToNode(composition, BoundedName(project->getName()).text(),
                          BoundedName(composition->getName()).text());
    }
}

void CacheDataSource::addFeaturesToNode(FrameCacheEntry* composition, const char* projectName,
                                        const char* compName) {
    KavroPISSFrameCache cache(composition->getPathToRootCache(), projectName, compName);
    cache.StartTransaction();
    cache.PrepareFeatureList();
    stepLevel(
        [&cache] { return cache.GetNumberOfFeatures(); },
        [&cache](char** path, char** name) { return cache.GetNextItemInFeatureList(path, name); },
        [&](const char* path, const char* name) {
            FrameCacheEntry* feature = addNode(composition, corvid::kFeatureNode, name, path,
                                               composition->getPathToRootCache());
            if (feature == nullptr) {
                return;
            }
            feature->setFileSize(PISSGetSizeOfDirectoryContents(path));
            feature->setFileCount(static_cast<int>(PISSGetFileCount(path)));
            setLastModifiedDate(feature, projectName, compName, name);
        });
}

void CacheDataSource::setLastModifiedDate(FrameCacheEntry* feature, const char* projectName,
                                          const char* compName, const char* featureName) {
    KavroPISSFrameCache cache(feature->getPathToRootCache(), projectName, compName, featureName);
    long date = 0;
    cache.GetLastModifiedDateForFeature(&date);
    feature->setModifiedTime(static_cast<int>(date));
}

std::uint64_t CacheDataSource::calculateFilesizeForNode(FrameCacheEntry* node) {
    if (node == nullptr || node->getNumberOfChildren() == 0) {
        return node != nullptr ? node->getFileSize() : 0;
    }
    std::uint64_t total = 0;
    for (int i = 0; i < node->getNumberOfChildren(); ++i) {
        total += calculateFilesizeForNode(node->getChildAt(i));
    }
    node->setFileSize(total);
    return total;
}

int CacheDataSource::calculateFilecountForNode(FrameCacheEntry* node) {
    if (node == nullptr || node->getNumberOfChildren() == 0) {
        return node != nullptr ? node->getFileCount() : 0;
    }
    unsigned total = 0; // 32 bits, going round rather than overflowing
    for (int i = 0; i < node->getNumberOfChildren(); ++i) {
        total += static_cast<unsigned>(calculateFilecountForNode(node->getChildAt(i)));
    }
    node->setFileCount(static_cast<int>(total));
    return static_cast<int>(total);
}

int CacheDataSource::calculateLastModifiedForNode(FrameCacheEntry* node) {
    if (node == nullptr || node->getNumberOfChildren() == 0) {
        return node != nullptr ? node->getModifiedTime() : 0;
    }
    int newest = 0;
    for (int i = 0; i < node->getNumberOfChildren(); ++i) {
        newest = std::max(newest, calculateLastModifiedForNode(node->getChildAt(i)));
    }
    node->setModifiedTime(newest);
    return newest;
}

void CacheDataSource::stripTrailingSlashes(char* path) {
    for (std::size_t length = std::strlen(path); length > 1 && path[length - 1] == '/'; --length) {
        path[length - 1] = '\0';
    }
}

FrameCacheEntry* CacheDataSource::outlineViewChildOfItem(int index,
                                                         const FrameCacheEntry* item) const {
    return (item != nullptr ? item : m_rootNode.get())->getChildAt(index);
}

int CacheDataSource::outlineViewNumberOfChildrenOfItem(const FrameCacheEntry* item) const {
    return (item != nullptr ? item : m_rootNode.get())->getNumberOfChildren();
}

bool CacheDataSource::outlineViewIsItemExpandable(const FrameCacheEntry* item) const {
    return item != nullptr && item->getNumberOfChildren() > 0;
}

QString CacheDataSource::outlineViewObjectValueForTableColumn(const QString& identifier,
                                                              const FrameCacheEntry* item) const {
    if (item == nullptr) {
        item = m_rootNode.get();
    }
    if (identifier == u"path") {
        return QString::fromUtf8(item->getPath());
    }
    if (identifier == u"file_count") {
        return item->getFileCountString();
    }
    if (identifier == u"file_size") {
        return item->getFileSizeString();
    }
    if (identifier == u"modified") {
        return item->getLastModifiedTime();
    }
    if (identifier == u"cache_type") {
        return item->getDisplayName();
    }
    return QString::fromUtf8(item->getName());
}
